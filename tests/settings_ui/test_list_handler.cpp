// The grid wrapper on a window-less spreadsheet of Quillbox's own: the look
// and protection it sets up, reading and writing the list, check boxes, the
// selection polling and what reaches the error report.
#include <doctest/doctest.h>

#include "attachments/frmTimer.h"
#include "support/modGlobals.h"
#include "settings_ui/cListHandler.h"
#include "settings_ui/cListHandler_testing.h"
#include "settings_ui/spreadsheet/sheet_objects.h"
#include "support/modErroHandling.h"
#include "support/modScriptingDic.h"
#include "tests/test_support.h"

#include <functional>
#include <map>
#include <vector>

namespace {

using qbx::sheet::Spreadsheet;

// What the window's extender offers of the hosted control: its placement.
class FakeExtender final : public qbx::DispatchObject {
public:
    explicit FakeExtender(qbx::Disp control) : DispatchObject(L"Control") {
        property(L"object", [control](qbx::Args&) { return qbx::Variant(control); });
        for (const wchar_t* name : {L"Top", L"Left", L"Height", L"Width", L"Visible"})
            property(name, [this, name](qbx::Args&) { return values[name]; },
                     [this, name](qbx::Args&, const qbx::Variant& v) { values[name] = v; });
    }
    std::map<std::wstring, qbx::Variant> values;
};

// A grid wrapper set up on a fresh spreadsheet, as AddToForm leaves it.
struct Grid {
    Grid() {
        qbxtest::resetAddinState();
        control = Spreadsheet::create();
        extender = qbx::makeObject<FakeExtender>(qbx::Disp(static_cast<IDispatch*>(control.get())));
        grid.TopPos = 450;
        grid.Height = 6000;
        grid.Width(6500);
        grid.Visible(true);
        REQUIRE(grid.fncAttach(qbx::Disp(static_cast<IDispatch*>(extender.get())), true));
        grid.SetValue(L"A1", qbx::Variant(L"Document libraries"));  // the page's header
    }
    ~Grid() { qbxtest::resetAddinState(); }

    qbx::sheet::Sheet& sheet() { return *control->sheetPtr(); }
    std::wstring text(int row, int column) { return qbx::sheet::displayText(sheet().value(row, column)); }

    qbx::ComPtr<Spreadsheet> control;
    qbx::ComPtr<FakeExtender> extender;
    cListHandler grid;
};

qbx::Disp dictionaryOf(const std::vector<std::wstring>& items) {
    qbx::Disp dic = fncCreateDic();
    for (const auto& item : items) dic.call(L"Add", item, item);
    return dic;
}

std::vector<std::wstring> keysOf(const qbx::Disp& dic) {
    std::vector<std::wstring> out;
    for (const qbx::Variant& key : qbx::elementsOf(dic.get(L"Keys"))) out.push_back(key.toString());
    return out;
}

}  // namespace

TEST_CASE("the grid's defaults: a shaded bold locked header, Tahoma 8, the count cell, a protected sheet") {
    Grid g;
    const auto header = g.sheet().format(1, 3), last = g.sheet().format(1999, 1);
    CHECK((header.bold && header.interior == RGB(236, 233, 216) && header.locked));
    CHECK((last.fontName == L"Tahoma" && last.fontSize == 8));
    CHECK_FALSE(g.sheet().format(2, 1).locked);
    CHECK_FALSE(g.sheet().format(2000, 6).locked);
    CHECK((g.sheet().protection.enabled && g.sheet().protection.allowSorting));
    CHECK_FALSE(g.sheet().protection.allowInsertingRows);
    CHECK(g.grid.UsedRows(L"F1") == 0);
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("writing a list and reading it back: rows past 200, sorted distinct values, no header") {
    Grid g;
    SUBCASE("250 items go past row 200; only A2:A200 is cleared first") {
        g.grid.SetValue(L"A300", qbx::Variant(L"left alone"));
        std::vector<std::wstring> items;
        for (int i = 0; i < 250; ++i) items.push_back(L"http://server/lib" + std::to_wstring(1000 + i));
        g.grid.SetDicList(dictionaryOf(items));
        CHECK(g.text(2, 1) == L"http://server/lib1000");
        CHECK(g.text(251, 1) == L"http://server/lib1249");
        CHECK(g.text(300, 1) == L"left alone");
        CHECK(g.grid.UsedRows(L"F1") == 251);
    }
    SUBCASE("duplicates appear once, in sorted order") {
        for (auto [row, text] : std::vector<std::pair<int, const wchar_t*>>{{2, L"b"}, {3, L"A"}, {4, L"b"}, {5, L"c"}})
            g.grid.SetValue(L"A" + std::to_wstring(row), qbx::Variant(text));
        CHECK(keysOf(g.grid.fncGetRangeDic(L"F1", L"A")) == std::vector<std::wstring>{L"A", L"b", L"c"});
        CHECK(g.text(2, 1) == L"A");  // the grid itself was sorted
    }
    SUBCASE("no data rows: an empty dictionary and an empty array; one row still gives an array") {
        CHECK(keysOf(g.grid.fncGetRangeDic(L"F1", L"A")).empty());
        CHECK(g.grid.fncGetRangeArray(L"F1", L"A").isEmpty());
        g.grid.SetValue(L"A2", qbx::Variant(L"http://one/"));
        CHECK(g.grid.fncGetRangeArray(L"F1", L"A").isArray());
    }
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("check boxes: an empty cell reads as checked, the characters written for each state") {
    Grid g;
    g.grid.SetCheckedColumn(L"B:B");
    CHECK(g.sheet().format(5, 2).fontName == L"Wingdings");
    CHECK(g.grid.GetChecked(L"B5"));
    for (bool state : {false, true}) {
        g.grid.SetChecked(L"B5", state);
        CHECK(g.text(5, 2) == (state ? L"\u00FE" : L"\u00A8"));
        CHECK(g.grid.GetChecked(L"B5") == state);
    }
}

TEST_CASE("selection: a header cell moves to row 2; the program's own moves raise nothing; a click toggles a box") {
    Grid g;
    std::vector<std::wstring> raised;
    cListHandlerTesting::setSelectionChangeListener(g.grid, [&](const std::wstring& a) { raised.push_back(a); });
    g.grid.RaiseEventsEnabled(true);

    g.sheet().select(qbx::sheet::parseAddress(L"C1"));
    CHECK(g.grid.fncGetSel() == L"$C$2");
    CHECK(g.sheet().activeRow() == 2);

    g.grid.EditMode(true);
    REQUIRE(g.grid.objTimer);
    CHECK_FALSE(g.grid.objTimer->TimerEnabled());  // the program writes: no polling
    g.grid.SelectCell(L"D7");
    g.grid.EditMode(false);
    CHECK(g.grid.objTimer->TimerEnabled());

    cListHandlerTesting::pollSelection(g.grid);  // the user's selection is now D7
    CHECK(raised == std::vector<std::wstring>{L"$D$7"});
    cListHandlerTesting::pollSelection(g.grid);  // unchanged: nothing more
    CHECK(raised.size() == 1);

    g.grid.SetCheckedColumn(L"B:B");
    g.grid.SetChecked(L"B4", false);
    g.sheet().select(qbx::sheet::parseAddress(L"B4"));
    cListHandlerTesting::pollSelection(g.grid);
    CHECK(g.grid.GetChecked(L"B4"));                 // toggled
    CHECK(g.sheet().activeRow() == 7);               // back where the user was
    CHECK(raised.size() == 1);                       // and no event for the box
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("bad input reaches the error report with the grid's action, never a crash") {
    Grid g;
    qbxtest::PromptRecorder prompts;
    struct Case {
        const char* what;
        std::function<void(cListHandler&)> run;
        const wchar_t* action;
    };
    const std::wstring longText(100000, L'x');
    const Case cases[] = {
        {"not an A1 reference", [](cListHandler& h) { h.SetValue(L"A0:ZZZ9", qbx::Variant(L"x")); },
         L"Setting value of cells: A0:ZZZ9 to a value of type String"},
        {"a text longer than a cell holds", [&](cListHandler& h) { h.SetValue(L"A2", qbx::Variant(longText)); },
         L"Setting value of cells: A2 to a value of type String"},
        {"a formula the grid does not know", [](cListHandler& h) { h.SetFormula(L"B2", L"=VLOOKUP(A1)"); },
         L"Setting formula of cells: B2 to a formula: =VLOOKUP(A1)"},
        {"a count that overflows a 16-bit number",
         [](cListHandler& h) {
             h.SetFormula(L"F1", L"");
             h.SetValue(L"F1", qbx::Variant(-32768));
             CHECK(h.UsedRows(L"F1") == 0);
         },
         L"Trying to find number of used rows"},
    };
    for (const Case& c : cases) {
        CAPTURE(c.what);
        qbxtest::resetAddinState();
        c.run(g.grid);
        CHECK(blnErrorOccurred);
        CHECK(strErrorReport.find(c.action) != std::wstring::npos);
    }
}
