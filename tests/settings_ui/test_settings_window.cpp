// The settings window and its document library page, loaded for real over
// the emulated Outlook and its mailbox and driven through window messages:
// what the window shows as it opens, tab switches and the display timer, OK
// and Cancel, the browse button against the SharePoint emulator (and its
// faults), and large or long input stored through OK.
#include <doctest/doctest.h>

#include "host/cOutlookReactions.h"
#include "settings_ui/modSettingsWindow.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "testbed/sharepoint/spemu_client.h"
#include "tests/settings_ui/settings_window_util.h"
#include "settings_ui/frmSettings_testing.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <vector>

using windowtest::Opening;
using windowtest::Window;
using Strings = std::vector<std::wstring>;
using windowtest::lines;

namespace {

// The grid's column A under the header, down to the first empty row.
Strings gridRows(const Window& w) {
    Strings out;
    for (int row = 2;; ++row) {
        const std::wstring text = w.cell(L"A" + std::to_wstring(row));
        if (text.empty()) return out;
        out.push_back(text);
    }
}

// Microsoft.XMLHTTP as discovery creates it: records every address opened
// and sends requests for the made-up host "SERVER" to the SharePoint
// emulator (same path), so a typed "server/..." reaches a real server, and
// those for "NOWHERE" to a port nothing listens on.
class RoutedRequest final : public qbx::DispatchObject {
public:
    explicit RoutedRequest(Strings& opened) : DispatchObject(L"XMLHTTP") {
        method(L"Open", [this, &opened](qbx::Args& a) {
            const std::wstring url = a.str(1);
            opened.push_back(url);
            using Route = std::pair<std::wstring, std::wstring>;
            for (const auto& [host, target] :
                 {Route{L"HTTP://SERVER/", spemu::baseUrl()}, Route{L"HTTP://NOWHERE/", L"http://127.0.0.1:1/"}}) {
                if (url.rfind(host, 0) != 0) continue;
                qbx::ComPtr<IDispatch> made;
                REQUIRE(SUCCEEDED(qbx::createByProgId(L"Microsoft.XMLHTTP", made.put())));
                real_ = qbx::Disp(std::move(made));
                real_.call(L"Open", a.str(0), target + url.substr(host.size()), false);
            }
            return qbx::Variant();
        });
        method(L"setRequestHeader", [this](qbx::Args& a) {
            if (real_) real_.call(L"setRequestHeader", a.str(0), a.str(1));
            return qbx::Variant();
        });
        method(L"send", [this, &opened](qbx::Args& a) {
            // The window shows it is busy while it waits for the server.
            if (GetCursor() != LoadCursorW(nullptr, IDC_WAIT)) opened.push_back(L"sent without the busy cursor");
            if (real_) real_.call(L"send", a.str(0));
            return qbx::Variant();
        });
        property(L"responseText", [this](qbx::Args&) { return real_ ? real_.get(L"responseText") : qbx::Variant(L""); });
    }

private:
    qbx::Disp real_;
};

// Every request object made while it lives is a RoutedRequest.
struct RoutedRequests {
    Strings opened;
    RoutedRequests() {
        qbx::setCreateHook([this](const wchar_t* progId, IDispatch** out) -> HRESULT {
            if (_wcsicmp(progId, L"Microsoft.XMLHTTP") != 0) return qbx::createByProgId(progId, out);
            qbx::ComPtr<RoutedRequest> request = qbx::makeObject<RoutedRequest>(opened);
            return request->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(out));
        });
    }
    ~RoutedRequests() { qbx::setCreateHook(nullptr); }
};

// Presses the page's button and answers its input box.
void browse(Window& w, qbxtest::PromptRecorder& prompts, int button, const std::wstring& answer) {
    prompts.queue(button, answer);
    Window::command(w.page(), IDC_CMDBROWSE, BN_CLICKED);
}

}  // namespace

TEST_CASE("opening: one tab and no advanced box, the web link stands out, the grid shown by the timer") {
    Window w;
    CHECK(TabCtrl_GetItemCount(w.control(IDC_TBSSETTINGS)) == 1);
    CHECK_FALSE(Window::shown(w.control(IDC_CHKADVANCED)));  // no page is flagged advanced

    // The web link's text stands out from the window's face.
    HDC dc = CreateCompatibleDC(nullptr);
    SendMessageW(w.hWnd(), WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(dc),
                 reinterpret_cast<LPARAM>(w.control(IDC_LBLWEBLINK)));
    const COLORREF link = GetTextColor(dc), face = GetSysColor(COLOR_BTNFACE);
    DeleteDC(dc);
    int difference = 0;
    for (int shift : {0, 8, 16}) difference += std::abs(int((link >> shift) & 0xFF) - int((face >> shift) & 0xFF));
    CHECK(difference >= 255);

    // The page is on the window at once; the grid only when the timer fires
    // (where both lie is the layout test's).
    REQUIRE(w.page() != nullptr);
    CHECK(Window::shown(w.page()));
    REQUIRE(w.gridHost() != nullptr);
    CHECK_FALSE(Window::shown(w.gridHost()));
    w.settle();
    CHECK(GetTickCount() - w.loadTick >= 100 - 16);  // 100 ms, less the tick count's granularity

    // A click on the tab makes the page anew: the grid hides again until the timer.
    const HWND firstPage = w.page();
    w.clickTab();
    CHECK((w.page() != nullptr && !IsWindow(firstPage)));
    CHECK_FALSE(Window::shown(w.gridHost()));
    w.settle();
    CHECK(w.cell(L"A1") == LNGSITES);
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("the page shows the stored settings, and OK stores them back unchanged") {
    const struct {
        const char* what;
        Opening opening;
        Strings rows, entries;
        std::wstring comboText;
    } cases[] = {
        {"no libraries, switch off: the header only, an empty box", {L"", L"", false}, {}, {}, L""},
        {"no libraries, switch on: the check box as stored", {L"", L"http://gone/", true}, {}, {}, L""},
        {"two libraries, the default among them: offered and selected",
         {L"http://b/docs/\r\nhttp://a/lib/", L"http://a/lib/", false},
         {L"http://b/docs/", L"http://a/lib/"},
         {L"http://b/docs/", L"http://a/lib/"},
         L"http://a/lib/"},
        {"a default no longer listed: not in the box, still stored",
         {L"http://a/lib/", L"http://gone/", true}, {L"http://a/lib/"}, {}, L""},
    };
    for (const auto& c : cases) {
        const std::string what = c.what;
        CAPTURE(what);
        Window w(c.opening);
        w.settle();
        CHECK(w.cell(L"A1") == LNGSITES);
        CHECK(gridRows(w) == c.rows);
        CHECK(w.comboEntries() == c.entries);
        CHECK(w.comboText() == c.comboText);
        CHECK((IsDlgButtonChecked(w.page(), IDC_CHKALWAYSDEFAULT) == BST_CHECKED) == c.opening.always);

        Window::command(w.hWnd(), IDOK, BN_CLICKED);
        CHECK(frmSettingsTesting::Closed(*w.form));
        CHECK_FALSE(Window::shown(w.hWnd()));
        const windowtest::Stored s = w.stored();
        Strings sorted = lines(c.opening.sites);  // the grid hands its rows over sorted
        std::sort(sorted.begin(), sorted.end());
        CHECK(lines(s.sites) == sorted);
        CHECK(s.defaultSite == c.opening.defaultSite);
        CHECK(s.always == c.opening.always);
        CHECK_FALSE(blnShuttingDown);
        CHECK_FALSE(blnErrorOccurred);
    }
}

TEST_CASE("a 2,000-character address typed into the grid: offered by the default box, saved by a tab switch, "
          "kept out of the mailbox by Cancel, stored whole by OK") {
    const std::wstring typed = L"http://intranet/sites/" + std::wstring(2000 - 28, L'x') + L"/docs/";
    REQUIRE(typed.size() == 2000);
    const Strings both{L"http://a/lib/", typed};
    for (const int button : {IDCANCEL, IDOK}) {
        CAPTURE(button);
        Window w({L"http://a/lib/", L"http://a/lib/", false});
        w.settle();
        w.selectCell(L"A3");
        w.typeIntoGrid(typed);
        CHECK(w.cell(L"A3") == typed);

        // Opening the box reads the grid: the new row is there, the default stays selected.
        Window::command(w.page(), IDC_CMBDEFAULT, CBN_DROPDOWN);
        CHECK(w.comboEntries() == both);
        CHECK(w.comboText() == L"http://a/lib/");
        SendMessageW(w.pageControl(IDC_CMBDEFAULT), CB_SETCURSEL, 1, 0);
        CheckDlgButton(w.page(), IDC_CHKALWAYSDEFAULT, BST_CHECKED);

        // The switch saves the page into the settings, not into the mailbox; the new page shows it.
        w.clickTab();
        CHECK(objPersonalSettings->DicList.Items() == both);
        CHECK((objPersonalSettings->strDefaultSite == typed && objPersonalSettings->blnAlwaysDefault));
        w.settle();
        CHECK(gridRows(w) == both);

        Window::command(w.hWnd(), button, BN_CLICKED);
        CHECK(frmSettingsTesting::Closed(*w.form));
        CHECK(objPersonalSettings->strDefaultSite == typed);
        const windowtest::Stored s = w.stored();
        CHECK(lines(s.sites) == (button == IDOK ? both : Strings{L"http://a/lib/"}));
        CHECK(s.defaultSite == (button == IDOK ? typed : L"http://a/lib/"));
        CHECK_FALSE(blnErrorOccurred);
    }
}

TEST_CASE("OK with blnEndWithClose: the settings are stored, the window stays loaded and the add-in is released") {
    Window w({.sites = L"http://a/lib/", .endWithClose = true});
    w.settle();
    CheckDlgButton(w.page(), IDC_CHKALWAYSDEFAULT, BST_CHECKED);
    Window::command(w.hWnd(), IDOK, BN_CLICKED);
    CHECK(w.stored().always);
    CHECK(blnShuttingDown);
    CHECK_FALSE(ouaOutlook);
    CHECK(Window::shown(w.hWnd()));
    CHECK_FALSE(frmSettingsTesting::Closed(*w.form));
    CHECK_FALSE(w.form->objPrevControl);
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("the settings button's window: modal, never ends the add-in, and a stopped add-in leaves none waiting") {
    windowtest::Session session;
    hosttest::SpreadsheetClass spreadsheetClass;
    REQUIRE(fncLoadSettings());
    long opened = 0;
    // The window is answered as soon as it has loaded: Cancel, as a user would.
    subSetSettingsOpenedHook([&](frmSettings& form) {
        ++opened;
        CHECK_FALSE(form.blnEndWithClose);
        PostMessageW(form.hWnd(), WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    });
    subShowSettingsWindow(qbx::Disp());
    CHECK(opened == 1);
    CHECK_FALSE(blnShuttingDown);  // closing the window kept the add-in
    CHECK(ouaOutlook);

    // A load that stops the add-in (here: it has stopped already) must not
    // leave a hidden modal window behind: the call returns on its own.
    ReleaseOutlookObjects();
    subShowSettingsWindow(qbx::Disp());
    CHECK(opened == 1);  // closed before anything could be asked of it
    subSetSettingsOpenedHook(nullptr);
}

TEST_CASE("the browse button: the site asked for, the request made, the libraries added in lower case; "
          "a site answering 404, garbage or nothing adds nothing and reports nothing") {
    const std::wstring before = L"HTTP://SERVER/SITES/TEAM/PROPOSALS/";  // the one library there before
    const Strings asked{L"HTTP://SERVER/SITES/TEAM/_vti_bin/lists.asmx"};
    const struct {
        const char* what;
        int button;
        std::wstring answer;
        const wchar_t* fault;  // the emulator's fault while it answers
        Strings requested;     // the addresses the request object was opened with
        Strings rows;          // the grid afterwards, and what OK stores
    } cases[] = {
        {"host and path without scheme", IDOK, L"server/sites/team", L"", asked,
         {before, L"http://server/sites/team/shared documents/"}},
        {"the secure scheme gets the plain one in front", IDOK, L"https://server/sites/team/", L"",
         {L"HTTP://HTTPS://SERVER/SITES/TEAM/_vti_bin/lists.asmx"}, {before}},
        {"six characters are enough", IDOK, L"abcdef", L"", {L"HTTP://ABCDEF/_vti_bin/lists.asmx"}, {before}},
        {"five characters do nothing", IDOK, L"ab/cd", L"", {}, {before}},
        {"Cancel does nothing", IDCANCEL, L"server/sites/team", L"", {}, {before}},
        {"404", IDOK, L"server/sites/team", L"mode=404", asked, {before}},
        {"not XML", IDOK, L"server/sites/team", L"mode=notxml", asked, {before}},
        {"connection reset", IDOK, L"server/sites/team", L"mode=reset", asked, {before}},
        {"nothing listening", IDOK, L"nowhere/sites/team", L"", {L"HTTP://NOWHERE/SITES/TEAM/_vti_bin/lists.asmx"},
         {before}},
    };
    for (const auto& c : cases) {
        const std::string what = c.what;
        CAPTURE(what);
        spemu::reset();
        if (*c.fault) spemu::fault(c.fault);
        Window w({.sites = before});
        w.settle();
        RoutedRequests requests;
        {
            qbxtest::PromptRecorder prompts;
            browse(w, prompts, c.button, c.answer);
            REQUIRE(prompts.prompts().size() == 1);  // the input box, nothing after it
            const qbx::Prompt& p = prompts.prompts()[0];
            CHECK((p.kind == qbx::PromptKind::Input && p.text == LNGSHAREPOINTSITETOFINDDOCS));
        }
        CHECK(requests.opened == c.requested);
        CHECK(gridRows(w) == c.rows);
        if (requests.opened == asked) {  // what reached the server
            const auto log = spemu::requests();
            REQUIRE_FALSE(log.empty());
            for (const auto& r : log) CHECK(r["path"].s == "/SITES/TEAM/_vti_bin/lists.asmx");
            if (!*c.fault) CHECK((log.size() == 1 && log[0]["status"].s == "200"));
        }
        CHECK_FALSE(blnErrorOccurred);
        Window::command(w.hWnd(), IDOK, BN_CLICKED);
        CHECK(lines(w.stored().sites) == c.rows);
    }
}

TEST_CASE("500 libraries pasted into the grid at once, then OK: all 500 stored") {
    Window w;
    w.settle();
    std::wstring clip;
    Strings expected;
    for (int i = 0; i < 500; ++i) {
        expected.push_back(L"http://intranet/sites/s" + std::to_wstring(1000 + i) + L"/docs/");
        clip += expected.back() + L"\r\n";
    }
    hosttest::setClipboardText(w.hWnd(), clip);
    w.selectCell(L"A2");
    SetFocus(w.gridWindow());
    w.ctrlKey('V');
    CHECK(w.cell(L"A501") == expected.back());

    Window::command(w.page(), IDC_CMBDEFAULT, CBN_DROPDOWN);
    CHECK(w.comboEntries().size() == 500);
    Window::command(w.hWnd(), IDOK, BN_CLICKED);
    CHECK(lines(w.stored().sites) == expected);
    CHECK(objPersonalSettings->DicList.Count() == 500);
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("one settings window at a time: a second click while one is open brings it forward") {
    windowtest::Session session;
    hosttest::SpreadsheetClass spreadsheetClass;
    REQUIRE(fncLoadSettings());
    int opened = 0, secondReturned = 0;
    subSetSettingsOpenedHook([&](frmSettings& form) {
        ++opened;
        // Another mail window's button (or ribbon) meanwhile: it comes back
        // at once, without a window of its own.
        if (opened == 1) {
            subShowSettingsWindow(qbx::Disp());
            ++secondReturned;
        }
        PostMessageW(form.hWnd(), WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    });
    subShowSettingsWindow(qbx::Disp());
    CHECK(opened == 1);
    CHECK(secondReturned == 1);
    // Once it has closed, the next click opens one again.
    const int before = opened;
    subShowSettingsWindow(qbx::Disp());
    CHECK(opened == before + 1);
    subSetSettingsOpenedHook(nullptr);
}

namespace {
bool settingsSafetyFired = false;
void CALLBACK subSettingsSafety(HWND window, UINT, UINT_PTR id, DWORD) {
    KillTimer(window, id);
    settingsSafetyFired = true;
    EndDialog(window, IDCANCEL);
}
}  // namespace

TEST_CASE("Outlook quitting while the settings window is open ends it as a Cancel before the settings go") {
    windowtest::Session session;
    hosttest::SpreadsheetClass spreadsheetClass;
    REQUIRE(fncLoadSettings());
    settingsSafetyFired = false;
    int opened = 0;
    subSetSettingsOpenedHook([&](frmSettings& form) {
        ++opened;
        SetTimer(form.hWnd(), 0x5AFE, 3000, &subSettingsSafety);
        // Its mail window is Word's, which does not take it along; Quit is
        // the last the add-in hears.
        cOutlookReactions().ouaMyOutlook_Quit();
    });
    qbxtest::PromptRecorder prompts;
    subShowSettingsWindow(qbx::Disp());
    subSetSettingsOpenedHook(nullptr);
    CHECK(opened == 1);
    CHECK_FALSE(settingsSafetyFired);
    CHECK(prompts.prompts().empty());
    CHECK_FALSE(objPersonalSettings);
}
