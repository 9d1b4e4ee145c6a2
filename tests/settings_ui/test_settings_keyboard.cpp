// The settings window as a person uses it, by posted keys and clicks through
// the dialog manager: an entry still being typed when the default box opens
// or OK is pressed, what of the grid can be seen and reached, Tab and Escape
// in and out of the grid, and the whole first run without a mouse.
#include <doctest/doctest.h>

#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "testbed/sharepoint/spemu_client.h"
#include "tests/person.h"
#include "tests/settings_ui/settings_window_util.h"

#include <vector>

using persontest::Person;
using windowtest::Window;
using Strings = std::vector<std::wstring>;
using windowtest::lines;

namespace {

const std::wstring kShared = L"http://server/sites/team/Shared Documents/";
const std::wstring kDocuments = L"http://server/Documents/";
const std::wstring kProposals = L"http://server/sites/team/Proposals/";

// The middle of a row of the grid's column A (17 pixels a row at the test
// display's 96 DPI; the grid shows no headings).
POINT rowPoint(int row) { return POINT{40, 17 * (row - 1) + 8}; }

std::string activeCell() {
    return qbxtest::narrow(objListHandler->objSpreadsheet.getObj(L"ActiveCell").get(L"Address").toString());
}

HWND cellEditor(const Window& w) { return FindWindowExW(w.gridWindow(), nullptr, L"Edit", nullptr); }

// The window in English, as a person sees it (the header cell has its
// phrase and counts as a row).
void speakEnglish() { subSetPhrases(fncGetLanguageColumn()); }

}  // namespace

TEST_CASE("an entry still being typed is in the grid before the default box, a tab switch or OK reads it") {
    // Stored, Shared Documents is row 2 and Documents row 3; a read sorts them
    // the other way round.
    speakEnglish();
    Window w({.sites = kShared + L"\r\n" + kDocuments});
    w.settle();
    Person person(w.hWnd());
    person.click(w.gridWindow(), rowPoint(2));
    person.type(kProposals);  // typed over Shared Documents, no Enter
    REQUIRE(cellEditor(w) != nullptr);

    SUBCASE("the default box offers the typed address at once") {
        person.click(w.pageControl(IDC_CMBDEFAULT));
        CHECK(w.comboEntries() == Strings{kDocuments, kProposals});
        person.key(VK_ESCAPE);  // closes the list, not the window
        REQUIRE(IsWindowVisible(w.hWnd()));
        person.click(w.control(IDOK));
    }
    SUBCASE("a tab switch saves the page with the entry in its own row") {
        w.clickTab();
        CHECK(objPersonalSettings->DicList.ToString() == kDocuments + L"\r\n" + kProposals);
        w.settle();
        person.click(w.control(IDOK));
    }
    SUBCASE("OK while the focus stays in the cell") { Window::command(w.hWnd(), IDOK, BN_CLICKED); }
    CHECK(lines(w.stored().sites) == Strings{kDocuments, kProposals});
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("the grid shows and reaches only its one column; Tab and Shift+Tab leave it, Escape ends an entry "
          "and, outside one, the window") {
    speakEnglish();
    Window w({.sites = kDocuments + L"\r\n" + kShared + L"\r\n" + kProposals});
    w.settle();
    Person person(w.hWnd());
    const HWND grid = w.gridWindow();
    person.click(grid, rowPoint(2));
    REQUIRE(GetFocus() == grid);

    // Arrows stay in column A, and the column takes the grid's whole width:
    // a click anywhere on a row lands in it.
    CHECK(activeCell() == "$A$2");
    person.key(VK_RIGHT);
    person.key(VK_RIGHT);
    CHECK(activeCell() == "$A$2");
    CHECK(objListHandler->objSpreadsheet.getObj(L"ActiveWindow").get(L"ViewableRange").toString() == L"$A$1:$A$2999");
    RECT client{};
    GetClientRect(grid, &client);
    person.click(grid, POINT{client.right - 30, rowPoint(4).y});
    CHECK(activeCell() == "$A$4");
    person.key(VK_UP);
    CHECK(activeCell() == "$A$3");

    // Tab ends an entry and moves on to the page's button; Shift+Tab comes
    // back, and from the grid goes back to the tab strip.
    person.type(L"http://server/typed/");
    person.key(VK_TAB);
    CHECK(GetFocus() == w.pageControl(IDC_CMDBROWSE));
    CHECK(w.cell(L"A3") == L"http://server/typed/");
    person.key(VK_TAB, true);
    CHECK(GetFocus() == grid);
    person.key(VK_TAB, true);
    CHECK(GetFocus() == w.control(IDC_TBSSETTINGS));
    person.key(VK_TAB);

    // Escape drops an entry and leaves the window open; the next one closes it.
    person.type(L"dropped");
    person.key(VK_ESCAPE);
    CHECK(cellEditor(w) == nullptr);
    CHECK(w.cell(L"A3") == L"http://server/typed/");
    CHECK_FALSE(frmSettingsTesting::Closed(*w.form));
    person.key(VK_ESCAPE);
    CHECK(frmSettingsTesting::Closed(*w.form));
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("the first run without a mouse: a library typed, a site's libraries added, the default picked, "
          "always on, OK") {
    spemu::reset();
    speakEnglish();
    Window w;
    w.settle();
    Person person(w.hWnd());
    // The window opens with the focus on the tab strip; the grid is next.
    CHECK(GetFocus() == w.control(IDC_TBSSETTINGS));
    person.key(VK_TAB);
    REQUIRE(GetFocus() == w.gridWindow());
    person.key(VK_HOME, false, true);
    person.key(VK_DOWN);
    person.type(L"http://server/typed/");
    person.key(VK_RETURN);

    // Tab to "Add ..." and Space: the site is asked for and its libraries join the list.
    const std::wstring site = qbx::toUpper(spemu::baseUrl()) + L"SITES/TEAM/";
    {
        qbxtest::PromptRecorder prompts;
        prompts.queue(IDOK, site);
        person.key(VK_TAB);
        REQUIRE(GetFocus() == w.pageControl(IDC_CMDBROWSE));
        person.key(VK_SPACE);
        REQUIRE(prompts.prompts().size() == 1);
    }
    const std::wstring team = qbx::toLower(site);  // sorted: the emulator's numeric host first
    const Strings libraries{team + L"proposals/", team + L"shared documents/", L"http://server/typed/"};
    CHECK(Strings{w.cell(L"A2"), w.cell(L"A3"), w.cell(L"A4")} == libraries);

    // The default box by its label's key, the list opened by Alt+Down, an
    // entry picked with the arrows.
    const std::wstring label = hosttest::windowText(w.pageControl(IDC_LBLDEFAULT));
    const size_t amp = label.find(L'&');
    REQUIRE(amp != std::wstring::npos);
    person.alt(label[amp + 1]);
    REQUIRE(GetFocus() == w.pageControl(IDC_CMBDEFAULT));
    person.key(VK_DOWN, false, false, true);
    person.key(VK_END);
    person.key(VK_RETURN);
    const std::wstring chosen = w.comboText();
    CHECK_FALSE(chosen.empty());

    // Tab to "Always use the default", Space, Enter: OK.
    person.key(VK_TAB);
    REQUIRE(GetFocus() == w.pageControl(IDC_CHKALWAYSDEFAULT));
    person.key(VK_SPACE);
    person.key(VK_RETURN);
    CHECK(frmSettingsTesting::Closed(*w.form));
    const windowtest::Stored stored = w.stored();
    CHECK(lines(stored.sites) == libraries);
    CHECK(stored.defaultSite == chosen);
    CHECK(stored.always);
    CHECK_FALSE(blnErrorOccurred);
}
