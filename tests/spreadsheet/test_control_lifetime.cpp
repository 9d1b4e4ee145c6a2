// The control as the class factory hands it out: it and every object of its
// model count as the DLL's objects, so a sub-object still held by a caller
// keeps the DLL loaded after the control itself is gone.
#include "settings_ui/spreadsheet/spreadsheet_control.h"
#include "tests/spreadsheet/sheet_fixture.h"

using sheettest::Disp;

TEST_CASE("the control's sub-objects keep the DLL's object count up until the last is released") {
    const long before = qbx::liveObjects();
    Disp font;
    {
        qbx::ComPtr<IDispatch> made;
        REQUIRE(fncCreateSpreadsheetControl(IID_IDispatch, made.putVoid()) == S_OK);
        Disp control(made.get());
        CHECK(qbx::liveObjects() > before);
        Disp range = control.getObj(L"ActiveSheet").getObj(L"Range", L"A1:B2");
        range.put(L"Value", L"x");
        font = range.getObj(L"Font");
    }
    CHECK(qbx::liveObjects() > before);  // the font, and what it keeps of the sheet
    font.reset();
    CHECK(qbx::liveObjects() == before);
}
