// What the spreadsheet tells its window and what it keeps for it: repaint
// requests under ScreenUpdating, the viewable range and frozen panes,
// borders and column widths.
#include "tests/spreadsheet/sheet_fixture.h"

using namespace sheettest;
using qbx::sheet::Rect;

namespace {

// A window that counts the repaints asked of it and keeps the viewable
// range it was told.
struct FakeView : qbx::sheet::View {
    int invalidated = 0;
    Rect told{};
    void setViewableRange(const Rect& r) override { told = r; }
    void invalidate() override { ++invalidated; }
};

}  // namespace

TEST_CASE("repaints: none while ScreenUpdating is off, one when it comes back, one per bulk write") {
    Grid g;
    FakeView view;
    g.sheet.setView(&view);
    g.ss.put(L"ScreenUpdating", false);
    for (int i = 2; i <= 101; ++i) g.range(L"a" + std::to_wstring(i)).put(L"Value", i);
    g.range(L"1:1").getObj(L"Font").put(L"Bold", true);
    CHECK(view.invalidated == 0);
    g.ss.put(L"ScreenUpdating", true);
    CHECK(view.invalidated == 1);

    g.range(L"b1:c50").put(L"Value", array2D(50, 2, 1, [](long r, long c) { return double(r * c); }));
    g.range(L"b:c").getObj(L"Borders").put(L"LineStyle", 1);
    CHECK(view.invalidated == 3);
    g.sheet.setView(nullptr);
}

TEST_CASE("viewable range and frozen panes, with and without a window") {
    Grid g;
    Disp window = g.ss.getObj(L"ActiveWindow");
    // The whole sheet until told otherwise; then the range as given, also
    // on the spreadsheet, and the window hears of it.
    CHECK(window.get(L"ViewableRange").toString() == L"$1:$65536");
    window.put(L"ViewableRange", L"c40");
    CHECK(g.ss.get(L"ViewableRange").toString() == L"$C$40");
    FakeView view;
    g.sheet.setView(&view);
    window.put(L"ViewableRange", L"a1:a2999");
    CHECK(window.get(L"ViewableRange").toString() == L"$A$1:$A$2999");
    CHECK(view.told == Rect{1, 1, 2999, 1});
    g.sheet.setView(nullptr);

    g.range(L"c2").call(L"Select");
    CHECK(g.ss.getObj(L"ActiveCell").get(L"Address").toString() == L"$C$2");
    window.put(L"FreezePanes", true);
    CHECK((g.sheet.settings.frozenRows == 1 && g.sheet.settings.frozenColumns == 2));
    window.put(L"FreezePanes", false);
    CHECK(g.sheet.settings.frozenRows == 0);
    CHECK(errorOf([&] { window.put(L"ViewableRange", L"nowhere"); }).number() == qbx::sheet::kErrBadAddress);
}

TEST_CASE("borders of whole columns and rows, their items, and thin lines from Constants") {
    Grid g;
    Disp border = g.range(L"c5").getObj(L"EntireColumn").getObj(L"Borders").item(10L);  // right edge
    border.put(L"LineStyle", -4115);
    border.put(L"Color", 0);
    border.put(L"Weight", g.ss.getObj(L"Constants").get(L"owcLineWeightThin"));
    CHECK(g.sheet.format(60000, 3).rightBorder == -4115);
    CHECK(g.sheet.format(1, 3).borderWeight == 2);
    CHECK(g.sheet.format(1, 4).rightBorder == 0);

    g.range(L"a2").getObj(L"EntireRow").getObj(L"Borders").item(8L).put(L"LineStyle", 1);  // top edge
    CHECK(g.sheet.format(1, 200).bottomBorder == 1);
    g.range(L"a1").getObj(L"EntireRow").getObj(L"Borders").item(8L).put(L"LineStyle", 1);  // the sheet's own edge
    g.range(L"b2:c3").getObj(L"Borders").put(L"LineStyle", -4142);
    CHECK(g.sheet.format(2, 2).rightBorder == 0);

    CHECK(errorOf([&] { g.range(L"a1").getObj(L"Borders").item(99L); }).number() == qbx::vbErrSubscript);
    CHECK(errorOf([&] { border.put(L"Weight", 7); }).number() == qbx::sheet::kErrBadValue);
}

TEST_CASE("column widths: set for whole columns, fitted to the longest text without a window") {
    Grid g;
    g.range(L"b1").getObj(L"EntireColumn").put(L"ColumnWidth", 20);
    CHECK(g.sheet.columnWidth(2) == 20);
    CHECK(g.range(L"a1:b1").get(L"ColumnWidth").isNull());  // columns differ

    g.range(L"c1").put(L"Value", L"a fairly long library name, 40 chars...");
    g.range(L"c2").put(L"Value", L"short");
    g.range(L"c1").getObj(L"EntireColumn").call(L"AutoFit");
    CHECK((g.sheet.columnWidth(3) > 30 && g.sheet.columnWidth(3) < 50));
    g.range(L"d:e").call(L"AutoFit");  // nothing in them: widths stay
    CHECK(g.sheet.columnWidth(4) == doctest::Approx(8.43));
    CHECK(errorOf([&] { g.range(L"a1").put(L"ColumnWidth", 300); }).number() == qbx::sheet::kErrBadValue);
}

TEST_CASE("Enter's direction is kept in the grid's terms; the default member is the caption") {
    Grid g;
    g.ss.put(L"MoveAfterReturnDirection", -4161);  // to the right
    CHECK(g.sheet.settings.moveAfterReturnDirection == 1);
    CHECK(g.ss.get(L"MoveAfterReturnDirection").toLong() == -4161);
    CHECK(g.ss.defaultValue().toString() == g.control->caption);
}
