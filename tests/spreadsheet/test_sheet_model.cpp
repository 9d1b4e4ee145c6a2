// The sheet itself, below the object model: how values show and how typed
// entries are read, the used range, formulas reading formulas.
#include <doctest/doctest.h>

#include "settings_ui/spreadsheet/sheet_model.h"
#include "settings_ui/spreadsheet/sheet_model_testing.h"
#include "tests/test_support.h"

using namespace qbx::sheet;
using qbx::Variant;

TEST_CASE("numbers show in their shortest plain form; entries are read as numbers, Booleans or text") {
    struct Shown {
        double value;
        const wchar_t* text;
    };
    for (const Shown& s : {Shown{10, L"10"}, Shown{0, L"0"}, Shown{-2.5, L"-2.5"}, Shown{0.1, L"0.1"},
                           Shown{1.0 / 3, L"0.333333333333333"}, Shown{1234567890123, L"1234567890123"},
                           Shown{1e20, L"1e+20"}}) {
        CAPTURE(s.value);
        CHECK(qbxtest::narrow(displayText(s.value)) == qbxtest::narrow(s.text));
    }
    CHECK(displayText(true) == L"TRUE");

    Sheet sheet;
    struct Entry {
        const wchar_t* typed;
        CellValue stored;
    };
    for (const Entry& e : {Entry{L"42", 42.0}, Entry{L" -1.5e2 ", -150.0}, Entry{L"true", true},
                           Entry{L"'007", std::wstring(L"007")}, Entry{L"12abc", std::wstring(L"12abc")},
                           Entry{L"", CellValue{}}}) {
        CAPTURE(qbxtest::narrow(e.typed));
        sheet.enterText(3, 3, e.typed);
        CHECK(sheet.value(3, 3) == e.stored);
        CHECK_FALSE(sheet.hasFormula(3, 3));
    }
}

TEST_CASE("an empty sheet's used range is A1; a formula reading itself gives 0, not a hang") {
    Sheet sheet;
    CHECK(sheet.usedRange() == Rect{1, 1, 1, 1});
    sheet.setValue(4, 2, 1.0);
    sheet.setValue(2, 5, std::wstring(L"x"));
    CHECK(sheet.usedRange() == Rect{2, 2, 4, 5});
    sheet.setFormula(1, 4, L"=d1");
    CHECK(sheet.value(1, 4) == CellValue{0.0});
    sheet.setFormula(1, 3, L"=d1");  // a formula reading another one
    sheet.setValue(1, 4, std::wstring(L"plain"));
    CHECK_FALSE(sheet.hasFormula(1, 4));
    CHECK(sheet.value(1, 3) == CellValue{std::wstring(L"plain")});
}

namespace {

using qbxtest::errorOf;

CellValue text(const wchar_t* s) { return CellValue{std::wstring(s)}; }

// A window stand-in that counts what the sheet tells it.
struct CountingView final : View {
    int invalidations = 0;
    Rect viewable{};
    void setViewableRange(const Rect& r) override { viewable = r; }
    void invalidate() override { ++invalidations; }
    double measureText(const std::wstring& t, const CellFormat&) const override { return 2.0 * t.size(); }
};

}  // namespace

TEST_CASE("addresses: every form parses in any case and with anchors, anything else raises, and reads back") {
    CHECK(parseAddress(L"f1") == Rect{1, 6, 1, 6});
    CHECK(parseAddress(L" $A$2 ") == Rect{2, 1, 2, 1});
    CHECK(parseAddress(L"b5:a2") == Rect{2, 1, 5, 2});  // corners in any order
    CHECK(parseAddress(L"1:1999") == Rect{1, 1, 1999, kMaxColumns});
    CHECK(parseAddress(L"D:b") == Rect{1, 2, kMaxRows, 4});
    CHECK(parseAddress(L"IV65536") == Rect{kMaxRows, kMaxColumns, kMaxRows, kMaxColumns});
    for (const wchar_t* bad : {L"", L"A0", L"IW1", L"A65537", L"A1:B", L"1:B2", L"A1:", L"A1B2", L"1A", L"A 1"}) {
        CAPTURE(qbxtest::narrow(bad));
        CHECK(errorOf([&] { parseAddress(bad); }) == kErrBadAddress);
    }
    CHECK(columnName(1) == L"A");
    CHECK(columnName(26) == L"Z");
    CHECK(columnName(27) == L"AA");
    CHECK(columnName(kMaxColumns) == L"IV");
    CHECK(formatAddress(Rect{2, 1, 5, 2}) == L"$A$2:$B$5");
    CHECK(formatAddress(Rect{2, 1, 2, 1}, false) == L"A2");
    CHECK(formatAddress(Rect{1, 1, kMaxRows, kMaxColumns}) == L"$1:$65536");  // the whole sheet reads as rows
    CHECK(formatAddress(Rect{1, 1, 3, kMaxColumns}) == L"$1:$3");  // so does a full width
    CHECK(formatAddress(Rect{1, 3, kMaxRows, 3}, false) == L"C:C");
    for (const wchar_t* a : {L"$C$7", L"$B$1:$IV$3", L"$4:$9", L"$B:$D"}) CHECK(formatAddress(parseAddress(a)) == a);
}

TEST_CASE("values: what a cell takes and refuses, and how it crosses to Variant and back") {
    Sheet sheet;
    sheet.setValue(1, 1, std::wstring(kMaxCellText, L'x'));
    CHECK(errorOf([&] { sheet.setValue(1, 2, std::wstring(kMaxCellText + 1, L'x')); }) == kErrBadValue);
    CHECK(isEmpty(sheet.value(1, 2)));
    CHECK(errorOf([&] { sheet.setValue(0, 1, 1.0); }) == kErrBadAddress);
    CHECK(errorOf([&] { sheet.setValue(1, kMaxColumns + 1, 1.0); }) == kErrBadAddress);

    CHECK(fromVariant(Variant(3L)) == CellValue{3.0});
    CHECK(fromVariant(Variant(true)) == CellValue{true});
    CHECK(fromVariant(Variant(L"7")) == text(L"7"));  // text stays text, as Value puts it
    CHECK(isEmpty(fromVariant(Variant())));
    CHECK(errorOf([] { fromVariant(Variant(static_cast<IDispatch*>(nullptr))); }) == kErrBadValue);
    CHECK(toVariant(CellValue{2.5}).toDouble() == 2.5);
    CHECK(toVariant(CellValue{}).type() == VT_EMPTY);
    CHECK(toVariant(text(L"a")).toString() == L"a");
}

TEST_CASE("formulas: the functions understood, results kept up to date, refused ones leave the cell") {
    Sheet sheet;
    sheet.setValue(1, 1, 2.0);
    sheet.setValue(2, 1, text(L"x"));
    sheet.setValue(3, 1, 5.0);
    sheet.setFormula(1, 2, L"= counta ( a1:a10 )");
    sheet.setFormula(2, 2, L"=COUNT(A:A)");
    sheet.setFormula(3, 2, L"=sum(A1:A3)");
    sheet.setFormula(4, 2, L"=a3");
    CHECK(sheet.value(1, 2) == CellValue{3.0});
    CHECK(sheet.value(2, 2) == CellValue{2.0});
    CHECK(sheet.value(3, 2) == CellValue{7.0});
    CHECK(sheet.value(4, 2) == CellValue{5.0});
    CHECK(sheet.formula(1, 2) == L"=COUNTA(A1:A10)");  // blanks dropped, upper case
    CHECK(sheet.formula(1, 1) == L"2");

    sheet.setValue(3, 1, 10.0);  // read after a change: recomputed
    CHECK(sheet.value(3, 2) == CellValue{12.0});
    CHECK(sheet.value(4, 2) == CellValue{10.0});
    sheet.clearContents(Rect{1, 1, 3, 1});
    sheet.calculate();
    CHECK(sheet.value(1, 2) == CellValue{0.0});

    sheet.setValue(5, 2, 1.0);
    for (const wchar_t* bad : {L"=AVERAGE(A1:A2)", L"=SUM(A1:A2", L"=SUM(nowhere)", L"=A1:A2", L"=", L"=1+1"}) {
        CAPTURE(qbxtest::narrow(bad));
        CHECK(errorOf([&] { sheet.setFormula(5, 2, bad); }) == kErrBadValue);
        CHECK(sheet.value(5, 2) == CellValue{1.0});
        CHECK_FALSE(sheet.hasFormula(5, 2));
    }
    CHECK(errorOf([&] { sheet.setFormula(5, 2, L"=" + std::wstring(kMaxCellText, L'A')); }) == kErrBadValue);
}

TEST_CASE("protection: a locked cell refuses a user's entry only while the sheet is protected") {
    Sheet sheet;
    Format open;
    open.locked = false;
    sheet.applyFormat(Rect{1, 2, 1, 2}, open);
    CHECK(sheet.editable(1, 1));
    sheet.protection.enabled = true;
    CHECK_FALSE(sheet.editable(1, 1));
    CHECK(sheet.editable(1, 2));
    CHECK(errorOf([&] { sheet.enterText(1, 1, L"no"); }) == kErrProtected);
    CHECK(isEmpty(sheet.value(1, 1)));
    CHECK(errorOf([&] { sheet.enterText(1, 2, L"=1:1"); }) == kErrBadValue);  // a bad formula, not protection
    sheet.enterText(1, 2, L"ok");
    CHECK(sheet.value(1, 2) == text(L"ok"));
    sheet.setValue(1, 1, 4.0);  // the object model writes what the user may not
    CHECK(sheet.value(1, 1) == CellValue{4.0});
    sheet.protection.enabled = false;
    sheet.enterText(1, 1, L"yes");
    CHECK(sheet.value(1, 1) == text(L"yes"));
}

TEST_CASE("clearing: contents, formats or both, and the used range that follows") {
    Sheet sheet;
    Format bold;
    bold.bold = true;
    sheet.setValue(2, 2, 1.0);
    sheet.setFormula(3, 3, L"=B2");
    sheet.applyFormat(Rect{2, 2, 3, 3}, bold);
    CHECK(sheet.usedRange() == Rect{2, 2, 3, 3});
    sheet.clearContents(Rect{3, 3, 3, 3});
    CHECK_FALSE(sheet.hasFormula(3, 3));
    CHECK(sheet.format(3, 3).bold);  // formats stay
    CHECK(sheet.usedRange() == Rect{2, 2, 2, 2});
    sheet.clearFormats(Rect{2, 2, 2, 2});
    CHECK_FALSE(sheet.format(2, 2).bold);
    CHECK(sheet.value(2, 2) == CellValue{1.0});  // contents stay
    CHECK(sheet.format(3, 3).bold);
    sheet.clear(Rect{1, 1, kMaxRows, kMaxColumns});
    CHECK(isEmpty(sheet.value(2, 2)));
    CHECK_FALSE(sheet.format(3, 3).bold);
    CHECK(sheet.usedRange() == Rect{1, 1, 1, 1});
}

TEST_CASE("formats: layers overlay in order, defaults fill the rest, repeating a format adds no layer") {
    Sheet sheet;
    const CellFormat plain = sheet.format(9, 9);
    CHECK(plain.fontName == L"Arial");
    CHECK(plain.fontSize == 10);
    CHECK(plain.locked);
    CHECK(plain.interior == CLR_INVALID);
    CHECK(plain.align == HAlign::General);

    Format column;
    column.fontName = L"Tahoma";
    column.align = HAlign::Right;
    sheet.applyFormat(Rect{1, 2, kMaxRows, 2}, column);
    Format cell;
    cell.align = HAlign::Center;
    cell.bold = true;
    sheet.applyFormat(Rect{5, 2, 5, 2}, cell);
    CHECK(sheet.format(5, 2).fontName == L"Tahoma");
    CHECK(sheet.format(5, 2).align == HAlign::Center);
    CHECK(sheet.format(6, 2).align == HAlign::Right);
    CHECK_FALSE(sheet.format(6, 2).bold);
    CHECK(sheet.format(5, 3).fontName == L"Arial");

    const size_t layers = SheetTesting::formatLayers(sheet);
    for (int i = 0; i < 50; ++i) sheet.applyFormat(Rect{5, 2, 5, 2}, cell);
    CHECK(SheetTesting::formatLayers(sheet) == layers);
    column.align = HAlign::Left;  // a wider layer set later wins over the cell's
    sheet.applyFormat(Rect{1, 2, kMaxRows, 2}, column);
    CHECK(sheet.format(5, 2).align == HAlign::Left);
    CHECK(sheet.format(5, 2).bold);
    sheet.applyFormat(Rect{1, 1, kMaxRows, kMaxColumns}, defaultFormat());
    CHECK(sheet.format(5, 2).fontName == L"Arial");
    CHECK_FALSE(sheet.format(5, 2).bold);
}

TEST_CASE("sorting: by a key column either way, text without regard to case, empty cells last, a header kept") {
    Sheet sheet;
    const wchar_t* keys[] = {L"Name", L"pear", L"", L"Apple", L"10", L"banana"};
    for (int i = 0; i < 6; ++i) {
        sheet.enterText(i + 1, 1, keys[i]);
        sheet.setValue(i + 1, 2, static_cast<double>(i));  // travels with its row
    }
    sheet.sort(Rect{1, 1, 100, 2}, 1, true, true);
    CHECK(sheet.value(1, 1) == text(L"Name"));
    CHECK(sheet.value(2, 1) == CellValue{10.0});  // numbers before text
    CHECK(sheet.value(3, 1) == text(L"Apple"));
    CHECK(sheet.value(4, 1) == text(L"banana"));
    CHECK(sheet.value(5, 1) == text(L"pear"));
    CHECK(isEmpty(sheet.value(6, 1)));
    CHECK(sheet.value(6, 2) == CellValue{2.0});
    CHECK(sheet.value(3, 2) == CellValue{3.0});

    sheet.sort(Rect{2, 1, 6, 2}, 1, false, false);
    CHECK(sheet.value(2, 1) == text(L"pear"));
    CHECK(sheet.value(5, 1) == CellValue{10.0});
    CHECK(isEmpty(sheet.value(6, 1)));  // last in either order
    CHECK(errorOf([&] { sheet.sort(Rect{1, 1, 6, 2}, 3, true, false); }) == kErrBadValue);
    CHECK(errorOf([&] { sheet.sort(Rect{1, 1, 6, 2}, 0, true, false); }) == kErrBadValue);
}

TEST_CASE("column widths: the default, the limits, and AutoFit by measure or estimate") {
    Sheet sheet;
    CHECK(sheet.columnWidth(3) == 8.43);
    sheet.setColumnWidth(3, 0);  // hidden
    CHECK(sheet.columnWidth(3) == 0);
    CHECK(errorOf([&] { sheet.setColumnWidth(3, 256); }) == kErrBadValue);
    CHECK(errorOf([&] { sheet.setColumnWidth(3, -1); }) == kErrBadValue);
    CHECK(errorOf([&] { sheet.setColumnWidth(kMaxColumns + 1, 5); }) == kErrBadAddress);

    sheet.setValue(1, 1, text(L"abcd"));
    sheet.setValue(2, 1, text(L"ab"));
    sheet.autoFit(1, 2);
    CHECK(sheet.columnWidth(1) == doctest::Approx(4.7));  // four average characters and the margin
    CHECK(sheet.columnWidth(2) == 8.43);                   // nothing in it: unchanged
    CountingView view;
    sheet.setView(&view);
    sheet.autoFit(1, 1);
    CHECK(sheet.columnWidth(1) == doctest::Approx(8.7));  // as the window measures
    sheet.setValue(3, 1, std::wstring(200, L'w'));
    sheet.autoFit(1, 1);
    CHECK(sheet.columnWidth(1) == 255);
    sheet.setView(nullptr);
}

TEST_CASE("the window is told: one repaint per batch, none while screen updating is off, the viewable range") {
    Sheet sheet;
    CountingView view;
    sheet.setView(&view);
    sheet.setValue(1, 1, 1.0);
    CHECK(view.invalidations == 1);
    {
        Sheet::Batch outer(sheet);
        {
            Sheet::Batch inner(sheet);
            for (int r = 1; r <= 20; ++r) sheet.setValue(r, 2, 2.0);
        }
        CHECK(view.invalidations == 1);  // held back until the outermost batch ends
        sheet.select(Rect{2, 2, 3, 3});
    }
    CHECK(view.invalidations == 2);
    {
        Sheet::Batch quiet(sheet);  // a batch that changes nothing asks for nothing
    }
    CHECK(view.invalidations == 2);
    sheet.settings.screenUpdating = false;
    sheet.setValue(4, 4, 4.0);
    CHECK(view.invalidations == 2);
    CHECK(SheetTesting::repaintRequests(sheet) == 2);
    CHECK(sheet.activeRow() == 2);
    CHECK(sheet.activeColumn() == 2);
    sheet.setViewableRange(Rect{1, 1, 10, 3});
    CHECK(view.viewable == Rect{1, 1, 10, 3});
    CHECK(sheet.viewableRange() == Rect{1, 1, 10, 3});
    sheet.setView(nullptr);
    sheet.setValue(5, 5, 5.0);  // no window: nothing to tell
}
