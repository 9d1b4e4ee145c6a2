// The sheet itself, below the object model: how values show and how typed
// entries are read, the used range, formulas reading formulas.
#include <doctest/doctest.h>

#include "settings_ui/spreadsheet/sheet_model.h"
#include "tests/test_support.h"

using namespace qbx::sheet;

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
