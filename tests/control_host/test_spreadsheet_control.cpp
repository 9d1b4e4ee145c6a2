// Quillbox's spreadsheet control hosted by ProgID as the settings window
// hosts it, driven through the object model and through the window messages
// a person's keys, clicks and the clipboard produce.
#include "host/registration.h"
#include "settings_ui/modControlHost.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"
#include "settings_ui/spreadsheet/sheet_model_testing.h"
#include "settings_ui/spreadsheet/spreadsheet_control_testing.h"
#include "tests/control_host/control_host_util.h"

namespace {

// A grid of 480 by 300 pixels on a form, as the settings window has it.
struct Grid {
    hosttest::SpreadsheetClass spreadsheetClass;
    hosttest::TestForm form{520, 340};
    cFormControls controls{form.hWnd()};
    qbx::Disp extender, sheet, object;
    cSpreadsheetControl* control = nullptr;
    HWND host = nullptr, window = nullptr;

    Grid() {
        controls.AddLicense(kSpreadsheetProgId);  // as the settings grid does; this class needs none
        extender = controls.Add(kSpreadsheetProgId, L"exsList");
        hosttest::place(extender, 300, 300, 7200, 4500);
        object = extender.getObj(L"object");
        sheet = object.getObj(L"ActiveSheet");
        control = dynamic_cast<cSpreadsheetControl*>(object.get());
        host = controls.Window(L"exsList");
        window = GetWindow(host, GW_CHILD);
        REQUIRE(control != nullptr);
        REQUIRE(window != nullptr);
        SetFocus(window);
        hosttest::pump();
    }
    ~Grid() {
        object.reset();
        sheet.reset();
        extender.reset();
        control = nullptr;
    }

    qbx::Variant value(const wchar_t* address) const { return sheet.getObj(L"Range", address).get(L"Value"); }
    std::wstring text(const wchar_t* address) const { return value(address).toString(); }
    // The texts of the cells, joined by "|".
    std::wstring texts(std::initializer_list<const wchar_t*> addresses) const {
        std::wstring out;
        for (const wchar_t* a : addresses) out += text(a) + L"|";
        return out.substr(0, out.size() - 1);
    }

    void key(UINT vk, bool control = false, bool shift = false) {
        BYTE state[256] = {};
        GetKeyboardState(state);
        state[VK_CONTROL] = control ? 0x80 : 0;
        state[VK_SHIFT] = shift ? 0x80 : 0;
        SetKeyboardState(state);
        const HWND edit = cSpreadsheetControlTesting::editWindow(this->control);
        HWND target = GetFocus() == edit && edit ? GetFocus() : window;
        SendMessageW(target, WM_KEYDOWN, vk, 1);
        state[VK_CONTROL] = state[VK_SHIFT] = 0;
        SetKeyboardState(state);
    }
    void type(const std::wstring& keys) {
        for (wchar_t c : keys) {
            const HWND edit = cSpreadsheetControlTesting::editWindow(control);
            SendMessageW(GetFocus() == edit ? GetFocus() : window, WM_CHAR, c, 1);
        }
    }
    POINT centre(int row, int column) const {
        RECT r = cSpreadsheetControlTesting::cellRect(control, row, column);
        REQUIRE(r.left >= 0);
        return POINT{(r.left + r.right) / 2, (r.top + r.bottom) / 2};
    }
    void click(int row, int column, UINT message = WM_LBUTTONDOWN) {
        const POINT p = centre(row, column);
        SendMessageW(window, message, MK_LBUTTON, MAKELPARAM(p.x, p.y));
        if (message == WM_LBUTTONDOWN) SendMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(p.x, p.y));
    }
    void drag(int row1, int column1, int row2, int column2) {
        const POINT a = centre(row1, column1), b = centre(row2, column2);
        SendMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(a.x, a.y));
        SendMessageW(window, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(b.x, b.y));
        SendMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(b.x, b.y));
    }
    std::wstring selection() const { return object.getObj(L"Selection").get(L"Address").toString(); }
};

std::wstring clipboardText(HWND owner) {
    std::wstring text;
    REQUIRE(OpenClipboard(owner));
    if (HANDLE data = GetClipboardData(CF_UNICODETEXT)) {
        text = static_cast<const wchar_t*>(GlobalLock(data));
        GlobalUnlock(data);
    }
    CloseClipboard();
    return text;
}

}  // namespace

using hosttest::setClipboardText;

TEST_CASE("registering the DLL makes Quillbox.Spreadsheet resolve to the control's class") {
    REQUIRE(fncRegisterAddin(Scope::Machine) == S_OK);
    CLSID clsid{};
    CHECK(CLSIDFromProgID(kSpreadsheetProgId, &clsid) == S_OK);
    CHECK(IsEqualCLSID(clsid, CLSID_QuillboxSpreadsheet));
    CHECK(fncUnregisterAddin(Scope::Machine) == S_OK);
    CHECK(FAILED(CLSIDFromProgID(kSpreadsheetProgId, &clsid)));
}

TEST_CASE("the spreadsheet hosted by ProgID: its window fills the host, the object model reaches the grid") {
    {
        Grid grid;
        CHECK(hosttest::windowClass(grid.host) == L"AtlAxWin");
        CHECK(hosttest::windowClass(grid.window) == L"QuillboxSpreadsheetGrid");
        RECT outer{};
        GetWindowRect(grid.window, &outer);
        CHECK((outer.right - outer.left == 480 && outer.bottom - outer.top == 300));
        CHECK((SendMessageW(grid.window, WM_GETDLGCODE, 0, 0) & (DLGC_WANTARROWS | DLGC_WANTCHARS | DLGC_WANTTAB)) ==
              (DLGC_WANTARROWS | DLGC_WANTCHARS | DLGC_WANTTAB));
        CHECK(cSpreadsheetControlTesting::renderCount(grid.control) > 0);

        // Column widths come from the sheet.
        grid.sheet.getObj(L"Range", L"B1").getObj(L"EntireColumn").put(L"ColumnWidth", 20);
        const RECT a = cSpreadsheetControlTesting::cellRect(grid.control, 1, 1),
                   b = cSpreadsheetControlTesting::cellRect(grid.control, 1, 2);
        CHECK(b.right - b.left > 2 * (a.right - a.left));

        // Only the viewable range is shown: the rows above it and the
        // columns beside it are hidden; the frozen header row stays.
        grid.control->sheetPtr()->settings.frozenRows = 1;
        grid.object.getObj(L"ActiveWindow").put(L"ViewableRange", L"A1:B60");
        CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 1, 3).left < 0);
        CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 1, 2).left > 0);
        grid.object.getObj(L"ActiveWindow").put(L"ViewableRange", L"A50:D60");
        CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 1, 1).top < 0);
        CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 49, 1).top < 0);
        CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 50, 1).top >= 0);
        CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 61, 1).top < 0);
        CHECK(grid.object.getObj(L"ActiveWindow").get(L"ViewableRange").toString() == L"$A$50:$D$60");
        // The selection moved inside it.
        CHECK(grid.object.getObj(L"ActiveCell").get(L"Address").toString() == L"$A$50");
        grid.object.getObj(L"ActiveWindow").put(L"ViewableRange", L"1:65536");
        grid.control->sheetPtr()->settings.frozenRows = 0;

        // Hiding the headings moves the cells to the window's corner.
        grid.object.put(L"DisplayColumnHeadings", false);
        grid.object.put(L"DisplayRowHeadings", false);
        CHECK((cSpreadsheetControlTesting::cellRect(grid.control, 1, 1).left == 0 &&
               cSpreadsheetControlTesting::cellRect(grid.control, 1, 1).top == 0));
        CHECK(cSpreadsheetControl::liveObjects() == 1);
    }
    CHECK(cSpreadsheetControl::liveObjects() == 0);
}

TEST_CASE("a person edits the grid: typing, F2, Escape, Tab, Enter's direction, paste, copy, Delete") {
    Grid grid;
    // Three values typed one under the other: Enter moves down.
    grid.click(1, 1);
    grid.type(L"alpha");
    REQUIRE(cSpreadsheetControlTesting::editWindow(grid.control) != nullptr);
    grid.key(VK_RETURN);
    CHECK(cSpreadsheetControlTesting::editWindow(grid.control) == nullptr);
    for (const wchar_t* entry : {L"beta", L"42"}) {
        grid.type(entry);
        grid.key(VK_RETURN);
    }
    CHECK(grid.texts({L"A1", L"A2"}) == L"alpha|beta");
    CHECK(grid.value(L"A3").type() == VT_R8);
    CHECK(grid.selection() == L"$A$4");

    // F2 opens the cell's content with the caret at its end; Left moves the
    // caret and does not leave the cell.
    grid.click(2, 1);
    grid.key(VK_F2);
    REQUIRE(cSpreadsheetControlTesting::editWindow(grid.control) != nullptr);
    CHECK(hosttest::windowText(cSpreadsheetControlTesting::editWindow(grid.control)) == L"beta");
    grid.key(VK_LEFT);
    CHECK(cSpreadsheetControlTesting::editWindow(grid.control) != nullptr);
    grid.type(L"!");
    grid.key(VK_RETURN);
    CHECK(grid.text(L"A2") == L"bet!a");
    // A double click does the same.
    grid.click(1, 1, WM_LBUTTONDBLCLK);
    CHECK(hosttest::windowText(cSpreadsheetControlTesting::editWindow(grid.control)) == L"alpha");
    grid.key(VK_ESCAPE);
    // Escape drops an entry; an arrow ends an entry that typing started.
    grid.click(4, 1);
    grid.type(L"dropped");
    grid.key(VK_ESCAPE);
    CHECK(grid.value(L"A4").isEmpty());
    grid.type(L"kept");
    grid.key(VK_UP);
    CHECK(grid.text(L"A4") == L"kept");
    CHECK(grid.selection() == L"$A$3");
    // Tab commits and moves right; Shift+Tab back.
    grid.type(L"x");
    grid.key(VK_TAB);
    CHECK(grid.selection() == L"$B$3");
    grid.key(VK_TAB, false, true);
    CHECK(grid.selection() == L"$A$3");
    CHECK(grid.text(L"A3") == L"x");
    // Enter moves to the right when told so.
    grid.control->sheetPtr()->settings.moveAfterReturnDirection = 1;
    grid.click(8, 1);
    grid.type(L"r");
    grid.key(VK_RETURN);
    CHECK(grid.selection() == L"$B$8");
    grid.control->sheetPtr()->settings.moveAfterReturnDirection = 0;

    // Two pasted lines fill two rows from the active cell on.
    setClipboardText(grid.window, L"one\tuno\r\ntwo\tdos\r\n");
    grid.click(5, 2);
    grid.key('V', true);
    CHECK(grid.texts({L"B5", L"C5", L"B6", L"C6", L"B7"}) == L"one|uno|two|dos|");
    CHECK(grid.selection() == L"$B$5:$C$6");

    // A dragged selection copies as tab and line separated text.
    setClipboardText(grid.window, L"");
    grid.drag(1, 1, 2, 2);
    CHECK(grid.selection() == L"$A$1:$B$2");
    grid.key('C', true);
    CHECK(clipboardText(grid.window) == L"alpha\t\r\nbet!a\t\r\n");

    // Delete empties the selection.
    grid.drag(5, 2, 5, 3);
    grid.key(VK_DELETE);
    CHECK(grid.texts({L"B5", L"C5", L"B6"}) == L"||two");

    // Keys move: Ctrl+Home, arrows with Shift extend, Page Down scrolls.
    grid.key(VK_HOME, true);
    CHECK(grid.selection() == L"$A$1");
    grid.key(VK_DOWN, false, true);
    grid.key(VK_RIGHT, false, true);
    CHECK(grid.selection() == L"$A$1:$B$2");
    grid.key(VK_NEXT);
    CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 1, 1).top < 0);
    CHECK(cSpreadsheetControlTesting::cellRect(grid.control, grid.control->sheetPtr()->activeRow(), 1).top >= 0);
    // The wheel scrolls three rows a notch.
    grid.key(VK_HOME, true);
    const int firstTop = cSpreadsheetControlTesting::cellRect(grid.control, 1, 1).top;
    SendMessageW(grid.window, WM_MOUSEWHEEL, MAKEWPARAM(0, -WHEEL_DELTA), 0);
    CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 4, 1).top == firstTop);
    CHECK(cSpreadsheetControlTesting::cellRect(grid.control, 3, 1).top < 0);

    // The container's message loop hands the grid its keys first.
    grid.key(VK_HOME, true);
    MSG msg{grid.window, WM_KEYDOWN, VK_DOWN, 0, 0, {}};
    CHECK(grid.controls.TranslateAccelerator(&msg));
    CHECK(grid.selection() == L"$A$2");
    msg.wParam = VK_F5;
    CHECK_FALSE(grid.controls.TranslateAccelerator(&msg));
}

TEST_CASE("a protected sheet refuses every edit of a locked cell and takes the others") {
    Grid grid;
    const std::wstring url = L"http://intranet.example/sites/a";
    grid.sheet.getObj(L"Range", L"A1").put(L"Value", L"Library");
    grid.sheet.getObj(L"Range", L"A2").put(L"Value", url);
    grid.sheet.getObj(L"Range", L"B1:B20").put(L"Locked", false);
    grid.sheet.getObj(L"Protection").put(L"Enabled", true);

    grid.click(2, 1);
    grid.type(L"typed");
    CHECK(cSpreadsheetControlTesting::editWindow(grid.control) == nullptr);
    grid.key(VK_F2);
    CHECK(cSpreadsheetControlTesting::editWindow(grid.control) == nullptr);
    grid.key(VK_DELETE);
    setClipboardText(grid.window, L"p1\tp2\r\n");
    grid.click(3, 1);
    grid.key('V', true);  // would reach the locked A3: refused as a whole
    CHECK(grid.texts({L"A2", L"A3", L"B3"}) == url + L"||");
    // Delete over locked and unlocked cells empties only the unlocked ones.
    grid.sheet.getObj(L"Range", L"B2").put(L"Value", L"free");
    grid.drag(2, 1, 2, 2);
    grid.key(VK_DELETE);
    CHECK(grid.texts({L"A2", L"B2"}) == url + L"|");
    // Unlocked cells take typing and pasting.
    grid.click(4, 2);
    grid.type(L"ok");
    grid.key(VK_RETURN);
    setClipboardText(grid.window, L"p1\r\np2\r\n");
    grid.click(6, 2);
    grid.key('V', true);
    CHECK(grid.texts({L"B4", L"B6", L"B7", L"A1"}) == L"ok|p1|p2|Library");
}

TEST_CASE("nothing is drawn while ScreenUpdating is off, however much is written") {
    Grid grid;
    grid.object.put(L"ScreenUpdating", false);
    hosttest::pump();
    const uint64_t before = cSpreadsheetControlTesting::renderCount(grid.control);
    const uint64_t requests = qbx::sheet::SheetTesting::repaintRequests(*grid.control->sheetPtr());
    for (int i = 1; i <= 2000; ++i)
        grid.sheet.getObj(L"Range", (L"A" + std::to_wstring(i)).c_str()).put(L"Value", i);
    // A paint the system asks for shows the last picture again.
    InvalidateRect(grid.window, nullptr, FALSE);
    UpdateWindow(grid.window);
    hosttest::pump();
    CHECK(cSpreadsheetControlTesting::renderCount(grid.control) == before);
    CHECK(qbx::sheet::SheetTesting::repaintRequests(*grid.control->sheetPtr()) == requests);
    grid.object.put(L"ScreenUpdating", true);
    UpdateWindow(grid.window);
    hosttest::pump();
    CHECK(cSpreadsheetControlTesting::renderCount(grid.control) > before);
    CHECK(grid.value(L"A2000").toLong() == 2000);
}
