// The settings window and its document library page, loaded for real over
// the emulated Outlook and its mailbox and driven through window messages:
// what the window shows as it opens, tab switches and the display timer, OK
// and Cancel, the browse button against the SharePoint emulator (and its
// faults), and large or long input stored through OK.
#include <doctest/doctest.h>

#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "tests/settings_ui/settings_window_util.h"
#include "tests/sharepoint/spemu_client.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <vector>

using windowtest::Opening;
using windowtest::Window;
using Strings = std::vector<std::wstring>;

namespace {

Strings lines(const std::wstring& text) {
    Strings out;
    for (const std::wstring& s : qbx::split(text, L"\r\n"))
        if (!s.empty()) out.push_back(s);
    return out;
}

// The grid hands its rows over sorted, so that is the order OK stores.
Strings sorted(Strings s) {
    std::sort(s.begin(), s.end());
    return s;
}

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
// emulator (same path), so a typed "server/..." reaches a real server.
class RoutedRequest final : public qbx::DispatchObject {
public:
    explicit RoutedRequest(Strings& opened) : DispatchObject(L"XMLHTTP") {
        method(L"Open", [this, &opened](qbx::Args& a) {
            const std::wstring url = a.str(1);
            opened.push_back(url);
            const std::wstring server = L"HTTP://SERVER/";
            if (url.rfind(server, 0) == 0) {
                qbx::ComPtr<IDispatch> made;
                REQUIRE(SUCCEEDED(qbx::createByProgId(L"Microsoft.XMLHTTP", made.put())));
                real_ = qbx::Disp(std::move(made));
                real_.call(L"Open", a.str(0), spemu::baseUrl() + url.substr(server.size()), false);
            }
            return qbx::Variant();
        });
        method(L"setRequestHeader", [this](qbx::Args& a) {
            if (real_) real_.call(L"setRequestHeader", a.str(0), a.str(1));
            return qbx::Variant();
        });
        method(L"send", [this](qbx::Args& a) {
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

TEST_CASE("opening: one tab and no advanced box; page and grid under the strip; the grid shown by the timer") {
    Window w;
    HWND strip = w.control(IDC_TBSSETTINGS);
    CHECK(TabCtrl_GetItemCount(strip) == 1);
    CHECK(TabCtrl_GetCurSel(strip) == 0);
    CHECK_FALSE(Window::shown(w.control(IDC_CHKADVANCED)));  // no page is flagged advanced
    CHECK(hosttest::windowText(w.hWnd()) == L"Quillbox");

    // The web link's text stands out from the window's face.
    HDC dc = CreateCompatibleDC(nullptr);
    SendMessageW(w.hWnd(), WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(dc),
                 reinterpret_cast<LPARAM>(w.control(IDC_LBLWEBLINK)));
    const COLORREF link = GetTextColor(dc), face = GetSysColor(COLOR_BTNFACE);
    DeleteDC(dc);
    CHECK(std::abs(GetRValue(link) - GetRValue(face)) + std::abs(GetGValue(link) - GetGValue(face)) +
              std::abs(GetBValue(link) - GetBValue(face)) >= 255);

    // The page is on the window at once; the grid only when the timer fires.
    REQUIRE(w.page() != nullptr);
    CHECK(Window::shown(w.page()));
    REQUIRE(w.gridHost() != nullptr);
    CHECK_FALSE(Window::shown(w.gridHost()));
    w.settle();
    CHECK(GetTickCount() - w.loadTick >= frmSettings::kDisplayListDelay - 16);

    // Both directly under the strip, at its left edge.
    const RECT s = hosttest::placement(strip);
    for (HWND placed : {w.page(), w.gridHost()}) {
        const RECT r = hosttest::placement(placed);
        CHECK(r.top == s.bottom);
        CHECK(r.left == s.left);
    }
    // The grid ends above the page's own controls.
    CHECK(hosttest::placement(w.gridHost()).bottom <=
          hosttest::placement(w.page()).top + hosttest::placement(w.pageControl(IDC_CMDBROWSE)).top);

    // A click on the tab makes the page anew: the grid hides again until the timer.
    const HWND firstPage = w.page();
    w.clickTab();
    CHECK(w.page() != nullptr);
    CHECK_FALSE(IsWindow(firstPage));
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
        CHECK(w.form->Closed());
        CHECK_FALSE(Window::shown(w.hWnd()));
        const windowtest::Stored s = w.stored();
        CHECK(lines(s.sites) == sorted(lines(c.opening.sites)));
        CHECK(s.defaultSite == c.opening.defaultSite);
        CHECK(s.always == c.opening.always);
        CHECK_FALSE(blnShuttingDown);
        CHECK_FALSE(blnErrorOccurred);
    }
}

TEST_CASE("typed into the grid: offered at once by the default box; a tab switch saves, Cancel keeps that") {
    Window w({L"http://a/lib/", L"http://a/lib/", false});
    w.settle();
    w.selectCell(L"A3");
    w.typeIntoGrid(L"http://typed/docs/");
    CHECK(w.cell(L"A3") == L"http://typed/docs/");

    // Opening the box reads the grid: the new row is there, the default stays selected.
    Window::command(w.page(), IDC_CMBDEFAULT, CBN_DROPDOWN);
    CHECK(w.comboEntries() == Strings{L"http://a/lib/", L"http://typed/docs/"});
    CHECK(w.comboText() == L"http://a/lib/");
    SendMessageW(w.pageControl(IDC_CMBDEFAULT), CB_SETCURSEL, 1, 0);
    CheckDlgButton(w.page(), IDC_CHKALWAYSDEFAULT, BST_CHECKED);

    // The switch saves the page into the settings, not into the mailbox.
    w.clickTab();
    CHECK(objPersonalSettings->DicList.Items() == Strings{L"http://a/lib/", L"http://typed/docs/"});
    CHECK(objPersonalSettings->strDefaultSite == L"http://typed/docs/");
    CHECK(objPersonalSettings->blnAlwaysDefault);
    w.settle();
    CHECK(gridRows(w) == Strings{L"http://a/lib/", L"http://typed/docs/"});  // the new page shows it

    Window::command(w.hWnd(), IDCANCEL, BN_CLICKED);
    CHECK(w.form->Closed());
    CHECK(objPersonalSettings->DicList.Items() == Strings{L"http://a/lib/", L"http://typed/docs/"});
    CHECK(objPersonalSettings->strDefaultSite == L"http://typed/docs/");
    CHECK(lines(w.stored().sites) == Strings{L"http://a/lib/"});  // Cancel wrote nothing
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("OK with blnEndWithClose: the settings are stored, the window stays loaded and the add-in is released") {
    Window w({.sites = L"http://a/lib/", .endWithClose = true});
    w.settle();
    CheckDlgButton(w.page(), IDC_CHKALWAYSDEFAULT, BST_CHECKED);
    Window::command(w.hWnd(), IDOK, BN_CLICKED);
    CHECK(w.stored().always);
    CHECK(blnShuttingDown);
    CHECK_FALSE(ouaOutlook);
    CHECK(IsWindow(w.hWnd()));
    CHECK(Window::shown(w.hWnd()));
    CHECK_FALSE(w.form->Closed());
    CHECK_FALSE(w.form->objPrevControl);
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("the browse button: the site asked for, the request made, the libraries added in lower case") {
    const struct {
        const char* what;
        int button;
        std::wstring answer;
        Strings requested;  // the addresses the request object was opened with
        Strings rows;       // the grid afterwards (one library there before)
    } cases[] = {
        {"host and path without scheme", IDOK, L"server/sites/team",
         {L"HTTP://SERVER/SITES/TEAM/_vti_bin/lists.asmx"},
         {L"HTTP://SERVER/SITES/TEAM/PROPOSALS/", L"http://server/sites/team/shared documents/"}},
        {"the secure scheme gets the plain one in front", IDOK, L"https://server/sites/team/",
         {L"HTTP://HTTPS://SERVER/SITES/TEAM/_vti_bin/lists.asmx"},
         {L"HTTP://SERVER/SITES/TEAM/PROPOSALS/"}},
        {"six characters are enough", IDOK, L"abcdef", {L"HTTP://ABCDEF/_vti_bin/lists.asmx"},
         {L"HTTP://SERVER/SITES/TEAM/PROPOSALS/"}},
        {"five characters do nothing", IDOK, L"ab/cd", {}, {L"HTTP://SERVER/SITES/TEAM/PROPOSALS/"}},
        {"Cancel does nothing", IDCANCEL, L"server/sites/team", {}, {L"HTTP://SERVER/SITES/TEAM/PROPOSALS/"}},
    };
    for (const auto& c : cases) {
        const std::string what = c.what;
        CAPTURE(what);
        spemu::reset();
        Window w({.sites = L"HTTP://SERVER/SITES/TEAM/PROPOSALS/"});
        w.settle();
        RoutedRequests requests;
        {
            qbxtest::PromptRecorder prompts;
            browse(w, prompts, c.button, c.answer);
            REQUIRE(prompts.prompts().size() == 1);
            CHECK(prompts.prompts()[0].kind == qbx::PromptKind::Input);
            CHECK(prompts.prompts()[0].text == LNGSHAREPOINTSITETOFINDDOCS);
            CHECK(prompts.prompts()[0].title == L"Quillbox");
        }
        CHECK(requests.opened == c.requested);
        CHECK(gridRows(w) == c.rows);
        if (c.answer == L"server/sites/team" && c.button == IDOK) {
            // What reached the server, and what OK stores.
            const auto log = spemu::requests();
            REQUIRE(log.size() == 1);
            CHECK(log[0]["path"].s == "/SITES/TEAM/_vti_bin/lists.asmx");
            CHECK(log[0]["status"].s == "200");
            Window::command(w.hWnd(), IDOK, BN_CLICKED);
            CHECK(lines(w.stored().sites) == c.rows);
        }
        CHECK_FALSE(blnErrorOccurred);
    }
}

TEST_CASE("a discovery site that answers 404, garbage or nothing adds nothing and reports nothing") {
    for (const wchar_t* fault : {L"mode=404", L"mode=notxml", L"mode=reset", L""}) {
        const std::string mode = qbxtest::narrow(fault);
        CAPTURE(mode);
        spemu::reset();
        Window w({.sites = L"http://a/lib/"});
        w.settle();
        std::wstring site = spemu::baseUrl().substr(7) + L"sites/team";  // typed without the scheme
        if (*fault)
            spemu::fault(fault);
        else
            site = L"127.0.0.1:1/sites/team";  // nothing listens there
        {
            qbxtest::PromptRecorder prompts;
            browse(w, prompts, IDOK, site);
            CHECK(prompts.prompts().size() == 1);  // the input box, nothing after it
        }
        CHECK(gridRows(w) == Strings{L"http://a/lib/"});
        if (*fault) {
            const auto log = spemu::requests();
            REQUIRE_FALSE(log.empty());
            for (const auto& r : log) CHECK(r["path"].s == "/SITES/TEAM/_vti_bin/lists.asmx");
        }
        CHECK(IsWindow(w.hWnd()));
        CHECK_FALSE(blnErrorOccurred);
        Window::command(w.hWnd(), IDOK, BN_CLICKED);
        CHECK(lines(w.stored().sites) == Strings{L"http://a/lib/"});
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
    REQUIRE(OpenClipboard(w.hWnd()));
    EmptyClipboard();
    const size_t bytes = (clip.size() + 1) * sizeof(wchar_t);
    HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes);
    memcpy(GlobalLock(memory), clip.c_str(), bytes);
    GlobalUnlock(memory);
    SetClipboardData(CF_UNICODETEXT, memory);
    CloseClipboard();

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

TEST_CASE("a 2,000-character address typed into the grid is stored whole, as library and as default") {
    Window w({.sites = L"http://a/lib/"});
    w.settle();
    const std::wstring longUrl = L"http://intranet/sites/" + std::wstring(2000 - 28, L'x') + L"/docs/";
    REQUIRE(longUrl.size() == 2000);
    w.selectCell(L"A3");
    w.typeIntoGrid(longUrl);
    CHECK(w.cell(L"A3") == longUrl);
    Window::command(w.page(), IDC_CMBDEFAULT, CBN_DROPDOWN);
    const Strings entries = w.comboEntries();
    REQUIRE(entries.size() == 2);
    CHECK(entries[1] == longUrl);
    SendMessageW(w.pageControl(IDC_CMBDEFAULT), CB_SETCURSEL, 1, 0);

    Window::command(w.hWnd(), IDOK, BN_CLICKED);
    const windowtest::Stored s = w.stored();
    CHECK(lines(s.sites) == Strings{L"http://a/lib/", longUrl});
    CHECK(s.defaultSite == longUrl);
    CHECK_FALSE(blnErrorOccurred);
}
