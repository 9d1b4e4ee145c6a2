// The colouring of controls from the pixel under their centre, and the task
// bar routine the chooser and the settings window use.
#include <doctest/doctest.h>

#include "settings_ui/modXPlooks.h"
#include "support/modErroHandling.h"
#include "support/modTaskbar.h"
#include "tests/attachments/test_chooser_util.h"

namespace {

const COLORREF kTint = RGB(10, 200, 30);

// A 300 x 200 window with a kTint background and a check box at (40, 50),
// 100 x 20, whose centre is (90, 60); and what the window shows, painted by
// itself into a surface.
struct Stage {
    Stage() {
        static const ATOM cls = [] {
            WNDCLASSEXW wc = {};
            wc.cbSize = sizeof wc;
            wc.lpfnWndProc = DefWindowProcW;
            wc.hbrBackground = CreateSolidBrush(kTint);
            wc.lpszClassName = L"QbxLooksStage";
            return RegisterClassExW(&wc);
        }();
        (void)cls;
        window = CreateWindowExW(0, L"QbxLooksStage", L"", WS_POPUP, 0, 0, 300, 200, nullptr, nullptr, nullptr, nullptr);
        box = CreateWindowExW(0, L"BUTTON", L"Box", WS_CHILD | BS_AUTOCHECKBOX, 40, 50, 100, 20, window, nullptr,
                              nullptr, nullptr);
    }
    ~Stage() { DestroyWindow(window); }
    HWND window, box;
};

}  // namespace

TEST_CASE("colouring: a control takes the colour its window shows under the control's centre") {
    Stage stage;
    cWindowSurface surface(stage.window);
    SUBCASE("that pixel and no other") {
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == kTint);
        const RECT centre{90, 60, 91, 61};
        FillRect(surface.hDC(), &centre, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == RGB(0, 0, 0));
        // The parent answers the control's colour message with it.
        HDC dc = GetDC(stage.box);
        INT_PTR brush = 0;
        REQUIRE(fncAnswerCtlColor(stage.box, dc, brush));
        CHECK(GetBkColor(dc) == RGB(0, 0, 0));
        ReleaseDC(stage.box, dc);
    }
    SUBCASE("a centre outside the visible area leaves the colour as it was") {
        subSetControlBackColor(stage.box, RGB(0, 0, 255));
        MoveWindow(stage.box, 1000, 1000, 100, 20, FALSE);
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == RGB(0, 0, 255));
    }
    SUBCASE("the colour goes with its control") {
        subSetControlBackColor(stage.box, RGB(1, 2, 3));
        DestroyWindow(stage.box);
        CHECK(fncGetControlBackColor(stage.box) == CLR_INVALID);
        // A control that is gone takes no colour, and nothing is reported.
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == CLR_INVALID);
    }
}

TEST_CASE("task bar: a window gets the task-bar style, its other styles kept") {
    qbxtest::resetAddinState();
    HWND window = CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", L"", WS_POPUP, 0, 0, 80, 60, nullptr, nullptr, nullptr,
                                  nullptr);
    subMakeSureInTaskbar(window);
    CHECK(GetWindowLongW(window, GWL_EXSTYLE) == (WS_EX_TOOLWINDOW | WS_EX_APPWINDOW));
    CHECK(fncGetAction() == L"Trying to make sure the form appears in the Activity bar");
    DestroyWindow(window);
}
