// The host program: an emulated Outlook that loads the registered add-ins
// the way Outlook does and plays a scenario of user actions, printing what
// happens as a readable transcript.
#pragma once

#include "testbed/outlook/emulator.h"

#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace qbxhost {

using Words = std::vector<std::wstring>;

// When a scenario command may come.
enum class When {
    Anytime,
    BeforeOutlook,   // before anything uses the mailbox (the knobs)
    BeforeStart,     // before the add-ins are loaded
    OutlookRunning,  // a user action: Outlook and its add-ins start first
};

// One entry of a command table (the scenario commands, and the words after
// "expect" and "configure"). `arguments` is what the help shows: the words
// outside [ ] must be given, " | " separates alternatives.
template <class Handler>
struct Command {
    const wchar_t* name;
    const wchar_t* arguments;
    Handler run;
    const wchar_t* help;
    When when = When::Anytime;
};

// How many words `arguments` asks for at least (the fewest of its alternatives).
size_t requiredArguments(const wchar_t* arguments);

template <class Handler>
const Command<Handler>* findCommand(const std::vector<Command<Handler>>& table, const std::wstring& name) {
    for (const auto& c : table)
        if (name == c.name) return &c;
    return nullptr;
}

// "PREFIX name arguments | name arguments | ...": the table as one usage line.
template <class Handler>
std::wstring alternatives(const std::wstring& prefix, const std::vector<Command<Handler>>& table) {
    std::wstring out = prefix;
    for (const auto& c : table) {
        out += (&c == table.data() ? L" " : L" | ") + std::wstring(c.name);
        if (*c.arguments) out += L" " + std::wstring(c.arguments);
    }
    return out;
}

// The help of a table, a line or two per entry.
std::wstring helpLine(const std::wstring& usage, const wchar_t* help);
template <class Handler>
std::wstring helpLines(const std::wstring& prefix, const std::vector<Command<Handler>>& table) {
    std::wstring out;
    for (const auto& c : table) out += helpLine(prefix + c.name + (*c.arguments ? L" " : L"") + c.arguments, c.help);
    return out;
}

// One queued answer to a prompt or an Assistant balloon.
struct Answer {
    int button = 0;      // IDOK, IDCANCEL, IDYES, IDNO ... (the balloons use the same numbers)
    std::wstring text;   // input boxes
};

struct Options {
    std::wstring scenario;
    emu::Knobs knobs;
    std::vector<std::wstring> onlyAddins;  // --addin: load these ProgIDs only
    bool noAddins = false;
    // Offer the emulated Outlook as the running "Outlook.Application", so
    // that creating it by ProgID attaches to it, as with Outlook itself.
    bool outlookClass = true;
    // Prompts and the library chooser with no answer queued are left to a
    // person: the real windows, answered by hand (or by a screenshot script).
    bool showPrompts = false;
};

class Host {
public:
    explicit Host(Options options);
    ~Host();

    // Plays the scenario; returns the exit status (0: every step and
    // expectation held, 1: something failed).
    int run();

    // Writes a line of the transcript (UTF-8 on stdout).
    void say(const std::wstring& line);
    // Answers a prompt of the add-in or a balloon of the Assistant.
    int answerPrompt(int kind, const std::wstring& text, const std::wstring& title, unsigned style,
                     const std::wstring& defaultText, std::wstring& answerText);
    long answerBalloon(const emu::Balloon& b);
    // Answers the add-in's library chooser once it has loaded (through the
    // host's export QbxChooserOpened): the next queued choice, else Cancel.
    void answerChooser(HWND dialog);
    // Plays the queued "configure" steps on the add-in's settings window once
    // it has loaded (through the host's export QbxSettingsOpened), one step
    // per tick of the window's message loop; without steps it presses Cancel.
    void driveSettings(HWND window);
    // The host that plays the scenario now.
    static Host* instance();
    // The command line's usage and every scenario command with its help.
    static std::wstring help();

private:
    using Step = Command<void (*)(Host&, const Words&)>;
    using SettingsStep = Command<void (*)(Host&, HWND window, const Words&)>;
    static const std::vector<Step>& scenarioCommands();
    static const std::vector<Step>& expectCommands();  // the words after "expect"
    static const std::vector<Step>& settingsExpectCommands();  // those about the settings (settings_driver.cpp)
    static const std::vector<SettingsStep>& configureCommands();  // the words after "configure" (settings_driver.cpp)
    void step(const Words& w, int lineNumber);
    void expect(const Words& w);
    emu::Outlook& model();
    void start();
    void quit();
    emu::Inspector* current();
    emu::Folder* folderAt(const std::wstring& path);
    emu::Item* postIn(emu::Folder* f, const std::wstring& subject);
    void check(bool ok, const std::wstring& what);
    // Checks a count against the scenario's number: "WHAT: WANTED (THERE n)".
    void checkCount(long actual, const std::wstring& wanted, const std::wstring& what, const wchar_t* there);
    void showWindow(emu::Inspector* w);
    void summary();
    void printLibraries();
    bool libraryHolds(const std::wstring& library, const std::wstring& name);  // in the SharePoint emulator
    // Sends a control call to the SharePoint emulator (`call` names it in the error).
    void serverControl(const std::wstring& call, const std::function<void()>& send);
    void opened(emu::Inspector* window);  // a new current window
    void seedSettings(const Words& w);
    void queueChoice(const Words& w);
    // The settings window: "configure ..." queues a step, played on the
    // window once it is open (settings_driver.cpp).
    void queueConfigure(const Words& w);
    void playSettingsStep(HWND window);
    qbx::Variant storedSetting(const wchar_t* name);
    void need(const Words& w, size_t n);
    void offerOutlookClass();
    void withdrawOutlookClass();

    Options options_;
    std::unique_ptr<emu::Outlook> ol_;
    bool started_ = false;
    bool quit_ = false;
    emu::Inspector* current_ = nullptr;
    std::deque<Answer> answers_;
    // A queued answer to the library chooser: "ok" (list entry `entry`, 1 =
    // first; 0 keeps the selection; `flag` ticks Default), "new" (the typed
    // library `url`; `flag` ticks Add), "cancel", or no answer at all:
    // "close" (the mail window is closed while the chooser is open) or
    // "quit" (Outlook quits meanwhile).
    struct Choice {
        std::wstring action, url;
        long entry = 0;
        bool flag = false;
    };
    std::deque<Choice> choices_;
    long choosers_ = 0;
    // Files "attach-while-choosing" drops on the current mail while the next
    // chooser is open, and choosers opened while another one was open.
    std::deque<std::wstring> dropWhileChoosing_;
    // "autosave-while-choosing": Outlook saves the mail while the next
    // chooser is open. "chooser-think": how long the person takes to answer
    // each chooser (the dialog's loop runs meanwhile, timers fire).
    long autosaveWhileChoosing_ = 0;
    DWORD chooserThink_ = 0;
    int chooserDepth_ = 0;
    long nestedChoosers_ = 0;
    // Who owned the last chooser and settings window: "mail" (the current
    // mail's window), "none" or the owner's window class.
    std::wstring chooserOwner_, settingsOwner_;
    std::wstring ownerOf(HWND window);
    std::deque<Words> configureSteps_;
    ULONGLONG settingsPauseUntil_ = 0;  // "configure pause": no step before this tick count
    bool settingsStepRunning_ = false;
    long settingsWindows_ = 0;
    std::set<HWND> settingsStarted_;  // windows whose steps are being played
    long prompts_ = 0;
    long failures_ = 0;
    emu::References afterShutdown_;
    DWORD classCookie_ = 0;
    std::vector<std::wstring> classKeys_;  // registry keys made for the ProgIDs
};

// Reads the command line; false when it is not understood (see Host::help).
bool readCommandLine(int argc, wchar_t** argv, Options& options);

std::wstring quoted(const std::wstring& s);  // "s"

// Splits a scenario line into words: blanks separate, double quotes group
// (with \" \\ \n \r \t inside), ${NAME} is replaced by the environment
// variable, and a word starting with "/" is a Unix path (Wine's Z: drive).
std::vector<std::wstring> splitLine(const std::wstring& line);
std::wstring windowsPath(const std::wstring& path);

}  // namespace qbxhost
