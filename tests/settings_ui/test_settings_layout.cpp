// The settings window in all sixteen languages: each control shows its own
// phrase and the caption fits the control, measured with the dialog's font;
// the page and the grid lie directly under the tab strip and inside the
// window, above the line over the buttons.
#include <doctest/doctest.h>

#include "support/modLanguage.h"
#include "support/phrases.h"
#include "tests/settings_ui/settings_window_util.h"

using qbxtest::textExtent;

namespace {

RECT inWindow(HWND control, HWND window) {
    RECT r{};
    GetWindowRect(control, &r);
    MapWindowPoints(HWND_DESKTOP, window, reinterpret_cast<POINT*>(&r), 2);
    return r;
}

}  // namespace

TEST_CASE("settings layout: every caption is its control's phrase and fits it, in all sixteen languages") {
    const int box = GetSystemMetrics(SM_CXMENUCHECK) + 6;  // a check box's box and gap
    // Where the control lives, its phrase, and what it draws beside the caption.
    const struct {
        bool onPage;
        int id;
        std::wstring (*phrase)();
        int decoration;
        const char* name;
    } controls[] = {
        {false, IDOK, [] { return LNGOK; }, 10, "OK"},
        {false, IDCANCEL, [] { return LNGCANCEL; }, 10, "Cancel"},
        {false, IDC_CHKADVANCED, [] { return LNGADVANCED; }, box, "Advanced"},
        {false, IDC_LBLWEBLINK, [] { return std::wstring(L"www.quillbox.example"); }, 0, "web link"},
        {true, IDC_CMDBROWSE, [] { return LNGADD + L" ..."; }, 10, "Add ..."},
        {true, IDC_LBLDEFAULT, [] { return LNGDEFAULT; }, 0, "Default"},
        {true, IDC_CHKALWAYSDEFAULT, [] { return LNGALWAYSUSEDEFAULT; }, box, "Always use the default"},
    };
    int leastRoom = 1000;
    std::string tightest;
    for (short column = 1; column <= 16; ++column) {
        CAPTURE(column);
        subSetPhrases(column);
        windowtest::Window w({.sites = L"http://intranet/sites/team/docs/"});
        w.settle();
        qbxtest::checkDialogFont(w.hWnd());
        std::wstring keys;  // the page's mnemonics: one each, none twice
        for (const auto& c : controls) {
            CAPTURE(c.name);
            HWND control = c.onPage ? w.pageControl(c.id) : w.control(c.id);
            REQUIRE(control != nullptr);
            const std::wstring caption = qbxtest::checkedCaption(control, c.onPage, keys);
            CHECK(caption == c.phrase());
            RECT client{};
            GetClientRect(control, &client);
            const int room = client.right - textExtent(control, caption).cx - c.decoration;
            CHECK(room >= 0);
            if (room < leastRoom) {
                leastRoom = room;
                tightest = std::string(c.name) + " in column " + std::to_string(column) + " (" +
                           qbxtest::narrow(caption) + ")";
            }
        }

        // The tab's caption fits its tab, and the tab lies inside the strip.
        HWND strip = w.control(IDC_TBSSETTINGS);
        RECT tab{}, stripClient{};
        REQUIRE(TabCtrl_GetItemRect(strip, 0, &tab));
        GetClientRect(strip, &stripClient);
        CHECK((tab.bottom <= stripClient.bottom && tab.right <= stripClient.right));
        CHECK(textExtent(strip, LNGSITES).cx <= tab.right - tab.left);

        // Page and grid start where the strip ends, and end inside the
        // window above the line over the buttons; the grid above the page's
        // own controls.
        const RECT s = inWindow(strip, w.hWnd());
        const RECT line = inWindow(w.control(IDC_FRAME2), w.hWnd());
        RECT client{};
        GetClientRect(w.hWnd(), &client);
        for (HWND placed : {w.page(), w.gridHost()}) {
            const RECT r = inWindow(placed, w.hWnd());
            CHECK((r.top == s.bottom && r.left == s.left));
            CHECK((r.right <= client.right && r.bottom <= line.top));
        }
        CHECK(inWindow(w.gridHost(), w.hWnd()).bottom <= inWindow(w.pageControl(IDC_CMDBROWSE), w.hWnd()).top);
        // The page's own controls stay inside the page.
        RECT page{};
        GetClientRect(w.page(), &page);
        for (int id : {IDC_CMDBROWSE, IDC_LBLDEFAULT, IDC_CMBDEFAULT, IDC_CHKALWAYSDEFAULT}) {
            const RECT r = hosttest::placement(w.pageControl(id));
            CHECK((r.right <= page.right && r.bottom <= page.bottom));
        }
    }
    MESSAGE("least room left beside a caption: " << leastRoom << " px, " << tightest);
    subSetPhrases(4);
}
