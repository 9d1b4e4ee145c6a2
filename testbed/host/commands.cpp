// What the host program understands, as tables: its command line, the
// scenario commands and the words after "expect". Each entry carries its
// arguments and help, so the help (and the usage shown on a mistake) is
// made from the very tables the program reads with.
#include "testbed/host/host.h"

#include "testbed/sharepoint/spemu_client.h"

#include <psapi.h>

#include <algorithm>
#include <map>

namespace qbxhost {

namespace {

int buttonFor(const std::wstring& word) {
    static const std::pair<const wchar_t*, int> names[] = {{L"ok", IDOK},       {L"cancel", IDCANCEL}, {L"abort", IDABORT},
                                                           {L"retry", IDRETRY}, {L"ignore", IDIGNORE}, {L"yes", IDYES},
                                                           {L"no", IDNO}};
    for (auto& [n, b] : names)
        if (qbx::textEquals(word, n)) return b;
    qbx::raise(qbx::vbErrInvalidCall, L"unknown answer \"" + word + L"\" (ok, cancel, abort, retry, ignore, yes, no)");
}

emu::EditorKind editorNamed(const std::wstring& name) {
    if (qbx::textEquals(name, L"word")) return emu::EditorKind::Word;
    if (qbx::textEquals(name, L"plain")) return emu::EditorKind::Plain;
    if (qbx::textEquals(name, L"rich")) return emu::EditorKind::Rich;
    return emu::EditorKind::Html;
}

emu::AssistantMode assistantNamed(const std::wstring& name) {
    if (qbx::textEquals(name, L"present")) return emu::AssistantMode::Present;
    if (qbx::textEquals(name, L"absent")) return emu::AssistantMode::Absent;
    return emu::AssistantMode::Auto;
}

bool switchedOn(const std::wstring& word) {
    return qbx::textEquals(word, L"on") || qbx::textEquals(word, L"yes") || word == L"1";
}

// The command line: an option, the word after it (if it takes one), and
// what it sets.
struct CommandLineOption {
    const wchar_t* name;
    const wchar_t* argument;  // nullptr: a switch
    void (*apply)(Options&, const std::wstring&);
    bool repeatable = false;
};

const std::vector<CommandLineOption>& commandLineOptions() {
    static const std::vector<CommandLineOption> table = {
        {L"--version", L"N", [](Options& o, const std::wstring& v) { o.knobs.version = _wtoi(v.c_str()); }},
        {L"--editor", L"word|html|plain|rich", [](Options& o, const std::wstring& v) { o.knobs.editor = editorNamed(v); }},
        {L"--assistant", L"auto|present|absent",
         [](Options& o, const std::wstring& v) { o.knobs.assistant = assistantNamed(v); }},
        {L"--mailbox", L"FILE", [](Options& o, const std::wstring& v) { o.knobs.mailboxFile = windowsPath(v); }},
        {L"--through-dispatch", nullptr, [](Options& o, const std::wstring&) { o.knobs.addinThroughDispatch = true; }},
        {L"--addin", L"PROGID", [](Options& o, const std::wstring& v) { o.onlyAddins.push_back(v); }, true},
        {L"--no-addins", nullptr, [](Options& o, const std::wstring&) { o.noAddins = true; }},
        {L"--no-outlook-class", nullptr, [](Options& o, const std::wstring&) { o.outlookClass = false; }},
        {L"--show-prompts", nullptr, [](Options& o, const std::wstring&) { o.showPrompts = true; }},
    };
    return table;
}

std::wstring usage() {
    const std::wstring head = L"usage: qbxhost.exe";
    std::vector<std::wstring> words;
    for (const auto& o : commandLineOptions())
        words.push_back(L"[" + std::wstring(o.name) + (o.argument ? L" " + std::wstring(o.argument) : L"") + L"]" +
                        (o.repeatable ? L"..." : L""));
    words.push_back(L"SCENARIO");
    std::wstring out = head, line = head;
    for (const auto& w : words) {
        if (line.size() + 1 + w.size() > 100) {
            out += L"\n" + std::wstring(head.size(), L' ');
            line = std::wstring(head.size(), L' ');
        }
        out += L" " + w;
        line += L" " + w;
    }
    return out + L"\n";
}

}  // namespace

size_t requiredArguments(const wchar_t* arguments) {
    size_t fewest = SIZE_MAX;
    for (const std::wstring& choice : qbx::split(arguments, L" | ")) {
        size_t n = 0, depth = 0;
        for (const std::wstring& word : qbx::split(choice, L" ")) {
            if (!word.empty() && word[0] == L'[') ++depth;
            if (!word.empty() && depth == 0) ++n;
            if (!word.empty() && word.find(L']') != std::wstring::npos && depth) --depth;
        }
        fewest = std::min(fewest, n);
    }
    return fewest;
}

std::wstring helpLine(const std::wstring& usage, const wchar_t* help) {
    constexpr size_t kColumn = 40;
    if (usage.size() + 2 < kColumn) return usage + std::wstring(kColumn - usage.size(), L' ') + help + L"\n";
    return usage + L"\n" + std::wstring(kColumn, L' ') + help + L"\n";
}

bool readCommandLine(int argc, wchar_t** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::wstring a = argv[i];
        if (a.rfind(L"--", 0) != 0) {
            options.scenario = windowsPath(a);
            continue;
        }
        bool known = false;
        for (const auto& o : commandLineOptions()) {
            if (a != o.name) continue;
            if (o.argument && i + 1 >= argc) return false;
            o.apply(options, o.argument ? argv[++i] : L"");
            known = true;
        }
        if (!known) return false;
    }
    return !options.scenario.empty();
}

std::wstring Host::help() {
    return usage() +
           L"\nScenario commands, one a line (# starts a comment; quotes group words; ${NAME} is an environment "
           L"variable):\n" +
           helpLines(L"  ", scenarioCommands()) + L"\nWhat \"expect\" checks:\n" + helpLines(L"  expect ", expectCommands()) +
           helpLines(L"  expect ", settingsExpectCommands()) +
           L"\nThe steps \"configure\" queues for the settings window:\n" + helpLines(L"  configure ", configureCommands());
}

void Host::step(const Words& w, int lineNumber) {
    const Step* command = findCommand(scenarioCommands(), w[0]);
    // Anything that is not a step of the set-up is taken for a user action:
    // Outlook and its add-ins start first.
    if (!command || command->when == When::OutlookRunning) {
        if (quit_) qbx::raise(qbx::vbErrInvalidCall, L"Outlook has quit");
        start();
    }
    if (!command) qbx::raise(qbx::vbErrInvalidCall, L"unknown command \"" + w[0] + L"\" in line " + std::to_wstring(lineNumber));
    if (command->when == When::BeforeOutlook && ol_)
        qbx::raise(qbx::vbErrInvalidCall, L"\"" + w[0] + L"\" must come before the mailbox is used or anything starts");
    if (command->when == When::BeforeStart && started_)
        qbx::raise(qbx::vbErrInvalidCall, L"\"" + w[0] + L"\" comes before \"start\": the add-in reads them at start-up");
    need(w, requiredArguments(command->arguments));
    command->run(*this, w);
    // Outlook quit during the action (while a dialog was open): the process
    // ends now that the action is over.
    if (ol_) ol_->processEnds();
}

const std::vector<Host::Step>& Host::scenarioCommands() {
    constexpr When knob = When::BeforeOutlook, action = When::OutlookRunning;
    static const std::vector<Step> table = {
        // Knobs of the emulated Outlook.
        {L"version", L"N", [](Host& h, const Words& w) { h.options_.knobs.version = _wtoi(w[1].c_str()); },
         L"Outlook's major version (9 2000, 11 2003, 12 2007, 16 today's)", knob},
        {L"editor", L"word|html|plain|rich", [](Host& h, const Words& w) { h.options_.knobs.editor = editorNamed(w[1]); },
         L"the editor of the windows", knob},
        {L"assistant", L"auto|present|absent",
         [](Host& h, const Words& w) { h.options_.knobs.assistant = assistantNamed(w[1]); }, L"the Office Assistant", knob},
        {L"refuse-delete-in-add", L"on|off",
         [](Host& h, const Words& w) { h.options_.knobs.refuseDeleteInAttachmentAdd = switchedOn(w[1]); },
         L"Attachment.Delete fails inside AttachmentAdd", knob},
        {L"before-save-on-add", L"on|off",
         [](Host& h, const Words& w) { h.options_.knobs.beforeSaveOnAdd = switchedOn(w[1]); },
         L"BeforeAttachmentSave right after AttachmentAdd", knob},
        {L"word-call-delay", L"MS",
         [](Host& h, const Words& w) { h.options_.knobs.wordCallDelay = _wtol(w[1].c_str()); },
         L"Word as Outlook 2002/2003's editor in its own process: each call into it runs COM's modal loop MS ms", knob},
        {L"through-dispatch", L"on|off",
         [](Host& h, const Words& w) { h.options_.knobs.addinThroughDispatch = switchedOn(w[1]); },
         L"the add-in is called through IDispatch", knob},

        // The set-up.
        {L"note", L"[TEXT]", [](Host&, const Words&) {}, L"a line for the reader"},
        {L"folder", L"PATH [TYPE]",
         [](Host& h, const Words& w) {
             size_t cut = w[1].find_last_of(L'\\');
             emu::Folder* parent = cut == std::wstring::npos ? nullptr : h.folderAt(w[1].substr(0, cut));
             if (!parent) qbx::raise(qbx::vbErrInvalidCall, L"no folder above " + w[1]);
             std::wstring name = w[1].substr(cut + 1);
             if (!parent->folders->find(name)) parent->folders->add(name, w.size() > 2 ? _wtol(w[2].c_str()) : 6);
         },
         L"makes a folder, e.g. Inbox\\QBXSettings (kept when there)"},
        {L"post", L"FOLDER SUBJECT",
         [](Host& h, const Words& w) {
             emu::Folder* f = h.folderAt(w[1]);
             if (!f) qbx::raise(qbx::vbErrInvalidCall, L"no folder " + w[1]);
             if (!h.postIn(f, w[2])) {
                 emu::Item* it = h.model().make<emu::Item>(emu::ItemKind::Post, L"IPM.Post", f);
                 it->subject = w[2];
                 it->save();
             }
         },
         L"a saved post item in the folder"},
        {L"property", L"FOLDER SUBJECT NAME text|number|date|yesno VALUE",
         [](Host& h, const Words& w) {
             emu::Folder* f = h.folderAt(w[1]);
             emu::Item* it = f ? h.postIn(f, w[2]) : nullptr;
             if (!it) qbx::raise(qbx::vbErrInvalidCall, L"no item " + quoted(w[2]) + L" in " + w[1]);
             static const std::map<std::wstring, long> types = {{L"text", 1}, {L"number", 3}, {L"date", 5}, {L"yesno", 6}};
             auto t = types.find(w[4]);
             if (t == types.end()) qbx::raise(qbx::vbErrInvalidCall, L"property types: text, number, date, yesno");
             emu::UserProperty* p = it->properties->find(w[3]);
             if (!p) p = it->properties->add(w[3], t->second);
             p->assign(qbx::Variant(w[5]));
             it->save();
         },
         L"a user property on that item, saved"},
        {L"settings", L"DEFAULT on|off LIBRARY...", [](Host& h, const Words& w) { h.seedSettings(w); },
         L"the user's settings item as the add-in stores it", When::BeforeStart},
        {L"choose", L"ok [N] [default] | new URL [add] | cancel | close | quit",
         [](Host& h, const Words& w) { h.queueChoice(w); },
         L"queues an answer for the library chooser; close: its mail window closes, quit: Outlook quits"},
        {L"chooser-think", L"MS", [](Host& h, const Words& w) { h.chooserThink_ = static_cast<DWORD>(_wtol(w[1].c_str())); },
         L"the person takes MS ms to answer each chooser (timers fire meanwhile)"},
        {L"autosave-while-choosing", L"",
         [](Host& h, const Words&) { ++h.autosaveWhileChoosing_; },
         L"Outlook saves the mail while the next chooser is open"},
        {L"attach-while-choosing", L"PATH",
         [](Host& h, const Words& w) { h.dropWhileChoosing_.push_back(windowsPath(w[1])); },
         L"dropped on the mail while the next chooser is open"},
        {L"configure", L"STEP...", [](Host& h, const Words& w) { h.queueConfigure(w); },
         L"queues a step for the settings window (below)"},
        {L"server-fault", L"QUERY",
         [](Host& h, const Words& w) { h.serverControl(L"/_emu/fault?" + w[1], [&] { spemu::fault(w[1]); }); },
         L"a fault of the SharePoint emulator (the query of /_emu/fault)"},
        {L"server-reset", L"",
         [](Host& h, const Words&) { h.serverControl(L"/_emu/reset?documents=1", [] { spemu::reset(L"?documents=1"); }); },
         L"no faults, an empty log and empty libraries"},
        {L"start", L"", [](Host& h, const Words&) { h.start(); }, L"loads the add-ins and raises Startup"},
        {L"quit", L"", [](Host& h, const Words&) { h.quit(); }, L"shuts Outlook down and prints the summary"},
        {L"expect", L"WHAT...", [](Host& h, const Words& w) { h.expect(w); }, L"checks something (below)"},
        {L"answer", L"BUTTON [TEXT]",
         [](Host& h, const Words& w) { h.answers_.push_back(Answer{buttonFor(w[1]), w.size() > 2 ? w[2] : std::wstring()}); },
         L"queues an answer to a prompt (ok, cancel, abort, retry, ignore, yes, no)"},
        {L"fail", L"MEMBER COUNT NUMBER TEXT",
         [](Host& h, const Words& w) {
             h.model().failNext(w[1], _wtol(w[2].c_str()), static_cast<long>(wcstoll(w[3].c_str(), nullptr, 0)), w[4]);
         },
         L"injects a failure, e.g. fail Folders.Add 1 0x80070005 \"No permission\""},
        {L"memory", L"",
         [](Host& h, const Words&) {
             PROCESS_MEMORY_COUNTERS_EX pmc{};
             pmc.cb = sizeof pmc;
             GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&pmc), sizeof pmc);
             h.say(L"  memory working=" + std::to_wstring(pmc.WorkingSetSize) + L" peak-working=" +
                   std::to_wstring(pmc.PeakWorkingSetSize) + L" private=" + std::to_wstring(pmc.PrivateUsage) +
                   L" peak-private=" + std::to_wstring(pmc.PeakPagefileUsage));
         },
         L"prints the process's memory in bytes: working set and private bytes, now and at their peak"},
        {L"wait", L"MS", [](Host&, const Words& w) { emu::Outlook::pumpMessages(static_cast<DWORD>(_wtol(w[1].c_str()))); },
         L"runs the message loop (window timers)"},

        // The user's actions.
        {L"compose", L"[SUBJECT]",
         [](Host& h, const Words& w) { h.opened(h.ol_->openCompose(L"IPM.Note", w.size() > 1 ? w[1] : std::wstring())); },
         L"a new mail window (becomes the current window)", action},
        {L"compose-class", L"CLASS", [](Host& h, const Words& w) { h.opened(h.ol_->openCompose(w[1])); },
         L"a new window of that message class", action},
        {L"receive", L"SUBJECT [BODY]",
         [](Host& h, const Words& w) { h.ol_->receiveMail(w[1], w.size() > 2 ? w[2] : std::wstring()); },
         L"a mail arrives in the Inbox", action},
        {L"open", L"SUBJECT",
         [](Host& h, const Words& w) {
             emu::Item* found = nullptr;
             for (emu::Item* it : h.ol_->defaultFolder(6)->contents)
                 if (it->savedSubject == w[1]) found = it;
             if (!found) qbx::raise(qbx::vbErrInvalidCall, L"no mail " + quoted(w[1]) + L" in the Inbox");
             h.opened(h.ol_->openItem(found));
         },
         L"opens a mail of the Inbox in a read window", action},
        {L"window", L"N",
         [](Host& h, const Words& w) {
             auto windows = h.ol_->openWindows();
             size_t n = static_cast<size_t>(_wtol(w[1].c_str()));
             if (n < 1 || n > windows.size()) qbx::raise(qbx::vbErrSubscript, L"no window " + w[1]);
             h.current_ = windows[n - 1];
             h.ol_->activate(h.current_);
         },
         L"the Nth open window becomes current", action},
        {L"activate", L"", [](Host& h, const Words&) { h.ol_->activate(h.current()); },
         L"brings the current window forward", action},
        {L"to", L"ADDRESS", [](Host& h, const Words& w) { h.current()->item->to = w[1]; }, L"the current mail's To",
         action},
        {L"subject", L"TEXT", [](Host& h, const Words& w) { h.current()->item->subject = w[1]; },
         L"the current mail's subject", action},
        {L"type", L"TEXT", [](Host& h, const Words& w) { h.ol_->typeText(h.current(), w[1]); }, L"types at the cursor",
         action},
        {L"cursor", L"N|end",
         [](Host& h, const Words& w) { h.ol_->moveCursor(h.current(), w[1] == L"end" ? -1 : _wtol(w[1].c_str())); },
         L"moves the cursor", action},
        {L"attach", L"PATH...",
         [](Host& h, const Words& w) {
             for (size_t i = 1; i < w.size(); ++i) {
                 h.ol_->attachFile(h.current(), windowsPath(w[i]));
                 emu::Outlook::pumpMessages(0);
             }
         },
         L"attaches the files one by one", action},
        {L"click", L"TAG|CAPTION",
         [](Host& h, const Words& w) {
             if (!h.ol_->clickButton(h.current(), w[1])) qbx::raise(qbx::vbErrInvalidCall, L"no button " + quoted(w[1]) + L" on the Standard bar");
         },
         L"clicks a button of the window's Standard bar", action},
        {L"ribbon", L"ID",
         [](Host& h, const Words& w) {
             if (!h.ol_->clickRibbon(h.current(), w[1])) qbx::raise(qbx::vbErrInvalidCall, L"no ribbon button " + quoted(w[1]) + L" in this window");
         },
         L"clicks a button of the add-in's ribbon", action},
        {L"send", L"",
         [](Host& h, const Words&) {
             emu::Inspector* win = h.current();
             std::wstring subject = win->item->subject;
             if (h.ol_->send(win)) {
                 h.say(L"  sent " + quoted(subject) + L" to " + h.ol_->sentMails().back().to);
                 h.current_ = nullptr;
             } else {
                 h.say(L"  sending was cancelled");
             }
         },
         L"sends the current mail", action},
        {L"close", L"[save|discard]",
         [](Host& h, const Words& w) {
             long mode = w.size() > 1 && qbx::textEquals(w[1], L"save") ? 0 : 1;
             if (h.ol_->close(h.current(), mode)) h.current_ = nullptr;
             else h.say(L"  closing was cancelled");
         },
         L"closes the current window", action},
        {L"autosave", L"", [](Host& h, const Words&) { h.ol_->autosave(h.current()); },
         L"Outlook saves the current mail on its own", action},
        {L"show", L"", [](Host& h, const Words&) { h.showWindow(h.current()); },
         L"prints the current window: caption, text, attachments", action},
    };
    return table;
}

void Host::expect(const Words& w) {
    model();
    const Step* check = findCommand(expectCommands(), w[1]);
    if (!check) check = findCommand(settingsExpectCommands(), w[1]);
    if (!check) qbx::raise(qbx::vbErrInvalidCall, L"unknown expectation \"" + w[1] + L"\"");
    need(w, 1 + requiredArguments(check->arguments));
    check->run(*this, w);
}

const std::vector<Host::Step>& Host::expectCommands() {
    // The mail in question: the current window's, or else the last one sent.
    static const auto mailText = [](Host& h) -> std::wstring {
        if (h.current_ && h.current_->open) return h.current_->item->body;
        return h.ol_->sentMails().empty() ? std::wstring() : h.ol_->sentMails().back().body;
    };
    static const auto owner = [](Host& h, const Words& w) {
        const std::wstring& who = w[1] == L"chooser-owner" ? h.chooserOwner_ : h.settingsOwner_;
        h.check(who == w[2], w[1].substr(0, w[1].find(L'-')) + L" window owned by " + w[2] + L" (owner: " +
                                 (who.empty() ? std::wstring(L"no window shown") : who) + L")");
    };
    static const std::vector<Step> table = {
        {L"text", L"T",
         [](Host& h, const Words& w) {
             h.check(mailText(h) == w[2], L"mail text is " + quoted(w[2]) + L" (it is " + quoted(mailText(h)) + L")");
         },
         L"the mail's text (the current window's, or the last sent mail's)"},
        {L"text-contains", L"T",
         [](Host& h, const Words& w) { h.check(mailText(h).find(w[2]) != std::wstring::npos, L"mail text contains " + quoted(w[2])); },
         L"the mail's text contains T"},
        {L"attachments", L"N",
         [](Host& h, const Words& w) {
             long n = h.current_ && h.current_->open ? static_cast<long>(h.current_->item->attachments->list.size())
                      : h.ol_->sentMails().empty()   ? 0
                                                     : static_cast<long>(h.ol_->sentMails().back().attachments.size());
             h.checkCount(n, w[2], L"attachments", L"there are");
         },
         L"the mail's attachments"},
        {L"button", L"TAG",
         [](Host& h, const Words& w) {
             long n = 0;
             emu::CommandBar* bar = h.current()->bars->find(L"Standard");
             for (emu::CommandBarButton* b : bar->controls->list)
                 if (!b->builtIn && b->tag == w[2]) ++n;
             h.check(n == 1, L"one button tagged " + quoted(w[2]) + L" on the Standard bar (there are " +
                                 std::to_wstring(n) + L")");
         },
         L"exactly one custom button with that tag on the Standard bar"},
        {L"ribbon", L"ID",
         [](Host& h, const Words& w) {
             auto it = h.ol_->ribbons().find(w[2]);
             bool ok = it != h.ol_->ribbons().end() && it->second.accepted;
             h.check(ok, L"ribbon " + w[2] + L" loaded" +
                             (it != h.ol_->ribbons().end() && !ok ? L" (" + it->second.problem + L")" : L""));
         },
         L"the add-in's ribbon for ID was taken"},
        {L"no-ribbon", L"", [](Host& h, const Words&) { h.check(h.ol_->ribbons().empty(), L"no ribbon asked for"); },
         L"no ribbon was asked for"},
        {L"folder", L"PATH",
         [](Host& h, const Words& w) { h.check(h.folderAt(w[2]) != nullptr, L"folder " + w[2] + L" exists"); },
         L"the folder exists"},
        {L"prompts", L"N",
         [](Host& h, const Words& w) { h.checkCount(h.prompts_, w[2], L"prompts", L"there were"); },
         L"prompts shown"},
        {L"sent", L"N",
         [](Host& h, const Words& w) {
             h.checkCount(static_cast<long>(h.ol_->sentMails().size()), w[2], L"sent mails", L"there are");
         },
         L"mails sent"},
        {L"saves-under", L"PREFIX N",
         [](Host& h, const Words& w) {
             long n = 0;
             for (const auto& s : h.ol_->saveTargets())
                 if (s.target.size() >= w[2].size() && qbx::textEquals(s.target.substr(0, w[2].size()), w[2])) ++n;
             h.checkCount(n, w[3], L"SaveAsFile targets under " + w[2], L"there are");
         },
         L"Attachment.SaveAsFile calls to targets starting with PREFIX"},
        {L"outlook-by-progid", L"",
         [](Host& h, const Words&) {
             // Creating "Outlook.Application" attaches to this Outlook, as the add-in's start-up helper expects.
             CLSID clsid;
             qbx::ComPtr<IDispatch> made;
             if (SUCCEEDED(CLSIDFromProgID(L"Outlook.Application", &clsid)))
                 CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IDispatch, made.putVoid());
             h.check(made && emu::ours<emu::Application>(qbx::Variant(made.get())) == h.ol_->app(),
                     L"Outlook.Application by ProgID is this Outlook");
         },
         L"creating Outlook.Application gives this Outlook"},
        {L"document", L"LIBRARY NAME [absent]",
         [](Host& h, const Words& w) {
             const bool wanted = !(w.size() > 4 && w[4] == L"absent");
             h.check(h.libraryHolds(w[2], w[3]) == wanted,
                     L"library " + w[2] + (wanted ? L" holds " : L" does not hold ") + quoted(w[3]));
         },
         L"a document in a library of the SharePoint emulator"},
        {L"choosers", L"N",
         [](Host& h, const Words& w) { h.checkCount(h.choosers_, w[2], L"choosers shown", L"there were"); },
         L"library choosers shown"},
        {L"nested-choosers", L"N",
         [](Host& h, const Words& w) {
             h.checkCount(h.nestedChoosers_, w[2], L"choosers opened inside another", L"there were");
         },
         L"choosers opened while another was open"},
        {L"chooser-owner", L"mail|none|CLASS", owner,
         L"the owner of the last chooser: the current mail's window, none, or its window class"},
        {L"settings-owner", L"mail|none|CLASS", owner, L"the owner of the last settings window, likewise"},
        {L"late-releases", L"N",
         [](Host& h, const Words& w) {
             if (!h.quit_) qbx::raise(qbx::vbErrInvalidCall, L"\"expect late-releases\" comes after \"quit\"");
             h.checkCount(h.ol_->releasesAfterQuit(), w[2], L"references released after Quit returned", L"there were");
         },
         L"references to Outlook's objects released after a fast shutdown's Quit"},
        {L"references", L"N",
         [](Host& h, const Words& w) {
             if (!h.quit_) qbx::raise(qbx::vbErrInvalidCall, L"\"expect references\" comes after \"quit\"");
             h.checkCount(h.afterShutdown_.total(), w[2], L"references held after shutdown", L"there are");
         },
         L"references held on Outlook's objects after quit"},
    };
    return table;
}

}  // namespace qbxhost
