// The host program: an emulated Outlook that loads the registered add-ins
// the way Outlook does and plays a scenario of user actions, printing what
// happens as a readable transcript.
#pragma once

#include "testbed/outlook/emulator.h"

#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace qbxhost {

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

private:
    using Words = std::vector<std::wstring>;
    void step(const Words& w, int lineNumber);
    void knob(const Words& w);
    emu::Outlook& model();
    void start();
    void quit();
    emu::Inspector* current();
    emu::Folder* folderAt(const std::wstring& path);
    emu::Item* postIn(emu::Folder* f, const std::wstring& subject);
    void expect(const Words& w);
    void check(bool ok, const std::wstring& what);
    void showWindow(emu::Inspector* w);
    void summary();
    void printLibraries();
    void seedSettings(const Words& w);
    void queueChoice(const Words& w);
    // The settings window: "configure ..." queues a step, "expect libraries
    // / library / default / always / settings-windows" reads the stored
    // settings item (settings_driver.cpp).
    void queueConfigure(const Words& w);
    bool expectSettings(const Words& w);
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
    // library `url`; `flag` ticks Add) or "cancel".
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
    int chooserDepth_ = 0;
    long nestedChoosers_ = 0;
    // Who owned the last chooser and settings window: "mail" (the current
    // mail's window), "none" or the owner's window class.
    std::wstring chooserOwner_, settingsOwner_;
    std::wstring ownerOf(HWND window);
    std::deque<Words> configureSteps_;
    long settingsWindows_ = 0;
    std::set<HWND> settingsStarted_;  // windows whose steps are being played
    long prompts_ = 0;
    long failures_ = 0;
    emu::References afterShutdown_;
    DWORD classCookie_ = 0;
    std::vector<std::wstring> classKeys_;  // registry keys made for the ProgIDs
};

// Splits a scenario line into words: blanks separate, double quotes group
// (with \" \\ \n \r \t inside), ${NAME} is replaced by the environment
// variable, and a word starting with "/" is a Unix path (Wine's Z: drive).
std::vector<std::wstring> splitLine(const std::wstring& line);
std::wstring windowsPath(const std::wstring& path);

}  // namespace qbxhost
