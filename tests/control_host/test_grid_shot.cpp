// Not a check: shows the spreadsheet grid on a window with five libraries,
// set up as the settings window sets it up, for tools/grid_screenshot.sh to
// photograph. Skipped in test runs; the script runs it with --no-skip.
//   QBX_SHOT_SECONDS  how long the window stays at most (default 8); closing
//                     it ends the case sooner
#include "settings_ui/modControlHost.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"
#include "tests/control_host/control_host_util.h"

#include <cstdlib>

TEST_CASE("grid screenshot: five libraries on the settings grid" * doctest::skip()) {
    const char* env = std::getenv("QBX_SHOT_SECONDS");
    const int seconds = env && *env ? std::atoi(env) : 8;
    hosttest::SpreadsheetClass spreadsheetClass;
    hosttest::TestForm form(500, 170);
    SetWindowTextW(form.hWnd(), L"Quillbox grid");
    cFormControls controls(form.hWnd());
    qbx::Disp ext = controls.Add(kSpreadsheetProgId, L"exsList");
    qbx::Disp book = ext.getObj(L"object");
    qbx::Disp sheet = book.getObj(L"ActiveSheet");
    auto range = [&](const wchar_t* a) { return sheet.getObj(L"Range", a); };

    book.put(L"ScreenUpdating", false);
    range(L"1:1").getObj(L"Interior").put(L"Color", static_cast<long>(RGB(236, 233, 216)));
    range(L"1:1").getObj(L"Font").put(L"Bold", true);
    range(L"1:1999").getObj(L"Font").put(L"Name", L"Tahoma");
    range(L"1:1999").getObj(L"Font").put(L"Size", 8);
    range(L"A1").put(L"Value", L"Document library");
    range(L"B1").put(L"Value", L"Default");
    const wchar_t* libraries[] = {
        L"http://intranet.example/sites/sales/Shared Documents",
        L"http://intranet.example/sites/projects/Designs",
        L"http://intranet.example/sites/finance/Quarterly Reports",
        L"http://intranet.example/sites/hr/Policies",
        L"http://intranet.example/sites/legal/Contracts",
    };
    for (int i = 0; i < 5; ++i) {
        const std::wstring row = std::to_wstring(i + 2);
        range((L"A" + row).c_str()).put(L"Value", libraries[i]);
        range((L"B" + row).c_str()).put(L"Value", std::wstring(1, i == 1 ? wchar_t(254) : wchar_t(168)));
    }
    range(L"B:B").getObj(L"Font").put(L"Name", L"Wingdings");
    range(L"B1").getObj(L"Font").put(L"Name", L"Tahoma");
    range(L"B:B").put(L"HorizontalAlignment", -4108);  // centred
    range(L"A:A").getObj(L"EntireColumn").put(L"ColumnWidth", 50);
    range(L"B:B").getObj(L"EntireColumn").put(L"ColumnWidth", 9);
    book.put(L"DisplayColumnHeadings", false);
    book.put(L"DisplayRowHeadings", false);
    book.getObj(L"ActiveWindow").put(L"DisplayHorizontalScrollBar", false);
    range(L"A2").call(L"Select");
    book.getObj(L"ActiveWindow").put(L"FreezePanes", true);
    range(L"A4").call(L"Select");
    book.put(L"ScreenUpdating", true);

    hosttest::place(ext, 120, 120, 7260, 2310);
    SetFocus(GetWindow(controls.Window(L"exsList"), GW_CHILD));

    const DWORD end = GetTickCount() + static_cast<DWORD>(seconds) * 1000;
    while (IsWindow(form.hWnd()) && IsWindowVisible(form.hWnd()) && GetTickCount() < end) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLINPUT);
        hosttest::pump();
    }
}
