// The host program's side of the add-in's settings window: the "configure"
// steps a scenario queues before the click that opens the window, played on
// the real window through window messages (keystrokes into the grid, clicks
// on the page's button, box and check box), and the checks of what the
// window stored in the mailbox. Both are tables, like the host's other
// commands (commands.cpp).
#include "settings_ui/settings_dialogs.h"
#include "support/com/win_window.h"
#include "testbed/host/host.h"

namespace qbxhost {

namespace {

constexpr UINT_PTR kStepTimer = 0x5157;
constexpr UINT kStepInterval = 60;

HWND childOfClass(HWND parent, const wchar_t* className) {
    return FindWindowExW(parent, nullptr, className, nullptr);
}

// The page: the settings window's child dialog.
HWND pageOf(HWND window) { return childOfClass(window, L"#32770"); }

// The grid's host window, the control's window inside it, and the
// spreadsheet object (through atl.dll's container, as the add-in hosts it).
HWND gridHost(HWND window) { return childOfClass(window, L"AtlAxWin"); }

qbx::Disp gridObject(HWND window) {
    HWND host = gridHost(window);
    if (!host) qbx::raise(qbx::vbErrInvalidCall, L"the settings window has no grid");
    static const auto getControl =
        qbx::procAddress<HRESULT WINAPI(HWND, IUnknown**)>(LoadLibraryW(L"atl.dll"), "AtlAxGetControl");
    qbx::ComPtr<IUnknown> control;
    if (!getControl || FAILED(getControl(host, control.put()))) qbx::raise(qbx::vbErrInvalidCall, L"the grid's control can't be reached");
    return qbx::Disp::fromUnknown(control.get());
}

// Where keystrokes go: the cell editor while one is open, else the grid.
HWND keyTarget(HWND window) {
    HWND grid = GetWindow(gridHost(window), GW_CHILD);
    if (HWND edit = childOfClass(grid, L"Edit")) return edit;
    return grid;
}

void key(HWND target, UINT vk) {
    SendMessageW(target, WM_KEYDOWN, vk, 1);
    SendMessageW(target, WM_KEYUP, vk, 0xC0000001);
}

void typeText(HWND window, const std::wstring& text) {
    for (wchar_t c : text) SendMessageW(keyTarget(window), WM_CHAR, c, 1);
    key(keyTarget(window), VK_RETURN);
}

void selectRow(HWND window, long row) {
    gridObject(window).getObj(L"ActiveSheet").getObj(L"Range", L"A" + std::to_wstring(row)).call(L"Select");
}

long firstEmptyRow(HWND window) {
    qbx::Disp sheet = gridObject(window).getObj(L"ActiveSheet");
    for (long row = 2; row < 3000; ++row) {
        qbx::Variant v = sheet.getObj(L"Range", L"A" + std::to_wstring(row)).get(L"Value");
        if (v.isEmpty() || v.isNull() || v.toString().empty()) return row;
    }
    qbx::raise(qbx::vbErrInvalidCall, L"the grid is full");
}

void command(HWND dialog, int id, WORD code) {
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, code), reinterpret_cast<LPARAM>(GetDlgItem(dialog, id)));
}

void CALLBACK stepTimer(HWND window, UINT, UINT_PTR, DWORD) {
    if (Host* host = Host::instance())
        host->driveSettings(window);
    else
        KillTimer(window, kStepTimer);
}

}  // namespace

void Host::queueConfigure(const Words& w) {
    const SettingsStep* step = findCommand(configureCommands(), w[1]);
    if (!step) qbx::raise(qbx::vbErrInvalidCall, alternatives(L"configure", configureCommands()));
    const size_t needs = requiredArguments(step->arguments);
    if (w.size() < needs + 2) qbx::raise(qbx::vbErrArgCount, L"\"configure " + w[1] + L"\" needs " + std::to_wstring(needs) + L" argument(s)");
    configureSteps_.push_back(w);
}

void Host::driveSettings(HWND window) {
    if (!IsWindow(window)) return;
    if (!settingsStarted_.count(window)) {
        // A new window: count it and start playing on its own message loop.
        settingsStarted_.insert(window);
        ++settingsWindows_;
        settingsOwner_ = ownerOf(window);
        wchar_t caption[256] = {};
        GetWindowTextW(window, caption, 256);
        say(L"  settings window " + quoted(caption) + L" opened");
        SetTimer(window, kStepTimer, kStepInterval, &stepTimer);
        return;
    }
    try {
        playSettingsStep(window);
    } catch (const qbx::Error& e) {
        say(L"  error in the settings window: " + e.description());
        ++failures_;
        configureSteps_.clear();
        KillTimer(window, kStepTimer);
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    }
}

void Host::playSettingsStep(HWND window) {
    // A step that opened a modal window (an input box a person answers) is
    // still running: the timer ticks inside its message loop play nothing.
    if (settingsStepRunning_ || GetTickCount64() < settingsPauseUntil_) return;
    if (configureSteps_.empty()) {
        // Nothing more queued: the user closes the window.
        KillTimer(window, kStepTimer);
        say(L"    -> Cancel (nothing more to do)");
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        return;
    }
    Words w = configureSteps_.front();
    configureSteps_.pop_front();
    struct Running {
        bool& flag;
        explicit Running(bool& f) : flag(f) { flag = true; }
        ~Running() { flag = false; }
    } running(settingsStepRunning_);
    findCommand(configureCommands(), w[1])->run(*this, window, w);
}

const std::vector<Host::SettingsStep>& Host::configureCommands() {
    static const auto press = [](Host& h, HWND window, const Words& w) {
        KillTimer(window, kStepTimer);
        const int button = w[1] == L"ok" ? IDOK : IDCANCEL;
        h.say(std::wstring(L"    -> ") + (button == IDOK ? L"OK" : L"Cancel"));
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(window, button)));
    };
    // A click in the Nth open mail window (1-based) while this one is open.
    static const auto clickIn = [](Host& h, const std::wstring& n, const std::wstring& what, auto click) {
        auto windows = h.ol_->openWindows();
        const size_t index = static_cast<size_t>(_wtol(n.c_str()));
        if (index < 1 || index > windows.size()) qbx::raise(qbx::vbErrSubscript, L"no window " + n);
        h.say(L"    clicked the " + what + L" of window " + n + L" meanwhile");
        if (!click(windows[index - 1])) qbx::raise(qbx::vbErrInvalidCall, L"window " + n + L" has no " + what);
    };
    static const std::vector<SettingsStep> table = {
        {L"add", L"URL",
         [](Host& h, HWND window, const Words& w) {
             const long row = firstEmptyRow(window);
             selectRow(window, row);
             typeText(window, w[2]);
             h.say(L"    typed " + quoted(w[2]) + L" into row " + std::to_wstring(row));
         },
         L"types URL into the first empty row of the grid"},
        {L"edit", L"ROW URL",
         [](Host& h, HWND window, const Words& w) {
             selectRow(window, _wtol(w[2].c_str()));
             typeText(window, w[3]);
             h.say(L"    typed " + quoted(w[3]) + L" over row " + w[2]);
         },
         L"types URL over row ROW (2 = the first library)"},
        {L"clear", L"ROW",
         [](Host& h, HWND window, const Words& w) {
             selectRow(window, _wtol(w[2].c_str()));
             key(keyTarget(window), VK_DELETE);
             h.say(L"    cleared row " + w[2]);
         },
         L"selects row ROW and presses Delete"},
        {L"browse", L"SITE",
         [](Host& h, HWND window, const Words& w) {
             h.answers_.push_back(Answer{IDOK, w[2]});
             h.say(L"    pressed the page's button to add a site's libraries");
             command(pageOf(window), IDC_CMDBROWSE, BN_CLICKED);
         },
         L"presses the page's button and answers its input box with SITE"},
        {L"press-add", L"",
         [](Host& h, HWND window, const Words&) {
             h.say(L"    pressed the page's button; its input box takes the next queued answer, or a person's");
             command(pageOf(window), IDC_CMDBROWSE, BN_CLICKED);
         },
         L"presses the page's button and leaves its input box to \"answer\" or (--show-prompts) a person"},
        {L"default", L"URL",
         [](Host& h, HWND window, const Words& w) {
             HWND page = pageOf(window);
             HWND combo = GetDlgItem(page, IDC_CMBDEFAULT);
             // Opening the box refreshes it from the grid, as a click on it does.
             command(page, IDC_CMBDEFAULT, CBN_DROPDOWN);
             const LRESULT index = SendMessageW(combo, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                                reinterpret_cast<LPARAM>(w[2].c_str()));
             if (index == CB_ERR) qbx::raise(qbx::vbErrInvalidCall, L"the default box does not offer " + quoted(w[2]));
             SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
             command(page, IDC_CMBDEFAULT, CBN_SELCHANGE);
             h.say(L"    picked " + quoted(w[2]) + L" as the default");
         },
         L"opens the default box and picks URL"},
        {L"always", L"on|off",
         [](Host& h, HWND window, const Words& w) {
             const bool on = qbx::textEquals(w[2], L"on");
             HWND page = pageOf(window);
             SendMessageW(GetDlgItem(page, IDC_CHKALWAYSDEFAULT), BM_SETCHECK, on ? BST_CHECKED : BST_UNCHECKED, 0);
             command(page, IDC_CHKALWAYSDEFAULT, BN_CLICKED);
             h.say(std::wstring(L"    \"always use the default\" ") + (on ? L"on" : L"off"));
         },
         L"sets \"always use the default\""},
        {L"pause", L"SECONDS",
         [](Host& h, HWND, const Words& w) {
             h.settingsPauseUntil_ = GetTickCount64() + 1000ull * static_cast<ULONGLONG>(_wtol(w[2].c_str()));
             h.say(L"    pause " + w[2] + L" s");
         },
         L"leaves the window as it is for SECONDS (for a person or a screenshot to look)"},
        {L"click-in", L"N",
         [](Host& h, HWND, const Words& w) {
             clickIn(h, w[2], L"settings button",
                              [&](emu::Inspector* window) { return h.ol_->clickButton(window, L"OSAttachments"); });
         },
         L"clicks the settings button of the Nth open mail window while this window is open"},
        {L"ribbon-in", L"N",
         [](Host& h, HWND, const Words& w) {
             clickIn(h, w[2], L"settings ribbon button",
                              [&](emu::Inspector* window) { return h.ol_->clickRibbon(window, L"cmdShowSettings"); });
         },
         L"clicks the settings ribbon button of the Nth open mail window while this window is open"},
        {L"quit", L"",
         [](Host& h, HWND, const Words&) {
             h.say(L"    Outlook quits while the settings window is open");
             for (emu::Inspector* w : h.ol_->openWindows()) h.ol_->close(w, 1);
             h.ol_->shutdown();
             if (h.current_ && !h.current_->open) h.current_ = nullptr;
         },
         L"Outlook quits while the settings window is open (its windows close, then the shutdown)"},
        {L"ok", L"", press, L"presses OK"},
        {L"cancel", L"", press, L"presses Cancel"},
    };
    return table;
}

qbx::Variant Host::storedSetting(const wchar_t* name) {
    emu::Folder* folder = folderAt(L"Inbox\\QBXSettings");
    emu::Item* item = folder ? postIn(folder, L"Quillbox Settings") : nullptr;
    if (!item) return {};
    for (const auto& p : item->savedProperties)
        if (qbx::textEquals(p.name, name)) return p.value;
    return {};
}

const std::vector<Host::Step>& Host::settingsExpectCommands() {
    static const auto libraries = [](Host& h) {
        std::vector<std::wstring> out;
        for (const std::wstring& s : qbx::split(h.storedSetting(L"strSites").toString(), L"\r\n"))
            if (!s.empty()) out.push_back(s);
        return out;
    };
    static const std::vector<Step> table = {
        {L"libraries", L"N",
         [](Host& h, const Words& w) {
             h.checkCount(static_cast<long>(libraries(h).size()), w[2], L"libraries stored", L"there are");
         },
         L"libraries in the stored settings"},
        {L"library", L"URL [absent]",
         [](Host& h, const Words& w) {
             const bool wanted = !(w.size() > 3 && w[3] == L"absent");
             bool found = false;
             for (const std::wstring& s : libraries(h)) found = found || qbx::textEquals(s, w[2]);
             h.check(found == wanted, L"library " + quoted(w[2]) + (wanted ? L" stored" : L" not stored"));
         },
         L"a library in the stored settings"},
        {L"default", L"URL",
         [](Host& h, const Words& w) {
             const std::wstring stored = h.storedSetting(L"strDefaultSite").toString();
             h.check(stored == w[2], L"default library " + quoted(w[2]) + L" (it is " + quoted(stored) + L")");
         },
         L"the stored default library"},
        {L"always", L"on|off",
         [](Host& h, const Words& w) {
             const qbx::Variant v = h.storedSetting(L"blnAlwaysDefault");
             const bool stored = !v.isEmpty() && v.toBool();
             const bool wanted = qbx::textEquals(w[2], L"on");
             h.check(stored == wanted, std::wstring(L"\"always use the default\" stored ") + (wanted ? L"on" : L"off"));
         },
         L"the stored \"always use the default\""},
        {L"settings-windows", L"N",
         [](Host& h, const Words& w) {
             h.checkCount(h.settingsWindows_, w[2], L"settings windows shown", L"there were");
         },
         L"settings windows shown"},
    };
    return table;
}

}  // namespace qbxhost

// The add-in's settings window comes here once loaded (see settings_ui/frmSettings.h).
extern "C" __declspec(dllexport) void __stdcall QbxSettingsOpened(HWND window) {
    if (qbxhost::Host* host = qbxhost::Host::instance())
        host->driveSettings(window);
    else
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
}
