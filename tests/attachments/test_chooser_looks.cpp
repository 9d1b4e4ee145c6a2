// The colouring of controls from the pixel under their centre, and the task
// bar routine the chooser and the settings window use.
#include <doctest/doctest.h>

#include "host/modGlobals.h"
#include "settings_ui/modXPlooks.h"
#include "support/modErroHandling.h"
#include "support/modTaskbar.h"
#include "tests/attachments/test_chooser_util.h"
#include "tests/test_support.h"

using namespace choosertest;

namespace {

const COLORREF kTint = RGB(10, 200, 30);

// A 300 x 200 window whose background is kTint, with one check box at
// (40, 50), 100 x 20: its centre is (90, 60).
struct Stage {
    Stage() {
        static ATOM cls = [] {
            WNDCLASSEXW wc = {};
            wc.cbSize = sizeof wc;
            wc.lpfnWndProc = DefWindowProcW;
            wc.hInstance = GetModuleHandleW(nullptr);
            wc.hbrBackground = CreateSolidBrush(kTint);
            wc.lpszClassName = L"QbxLooksStage";
            return RegisterClassExW(&wc);
        }();
        (void)cls;
        window = CreateWindowExW(0, L"QbxLooksStage", L"stage", WS_POPUP, 0, 0, 300, 200, nullptr, nullptr,
                                 GetModuleHandleW(nullptr), nullptr);
        box = CreateWindowExW(0, L"BUTTON", L"Box", WS_CHILD | WS_VISIBLE | BS_AUTOCHECKBOX, 40, 50, 100, 20, window,
                              nullptr, GetModuleHandleW(nullptr), nullptr);
    }
    ~Stage() { DestroyWindow(window); }
    HWND window;
    HWND box;
};

COLORREF fncBrushColour(INT_PTR brush) {
    LOGBRUSH lb{};
    GetObjectW(reinterpret_cast<HBRUSH>(brush), sizeof lb, &lb);
    return lb.lbColor;
}

}  // namespace

TEST_CASE("colouring: a control takes the colour its window shows under the control's centre") {
    qbxtest::resetAddinState();
    Stage stage;
    REQUIRE(stage.box);
    cWindowSurface surface(stage.window);
    CHECK(GetPixel(surface.hDC(), 5, 5) == kTint);

    SUBCASE("the window's own background") {
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == kTint);
    }
    SUBCASE("exactly the centre pixel counts") {
        const RECT centre{89, 59, 91, 61};
        HBRUSH red = CreateSolidBrush(RGB(255, 0, 0));
        FillRect(surface.hDC(), &centre, red);
        DeleteObject(red);
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == RGB(255, 0, 0));
    }
    SUBCASE("the parent answers the control's colour message with that colour") {
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        HDC dc = GetDC(stage.box);
        INT_PTR brush = 0;
        REQUIRE(fncAnswerCtlColor(stage.box, dc, brush));
        CHECK(GetBkColor(dc) == kTint);
        CHECK(fncBrushColour(brush) == kTint);
        ReleaseDC(stage.box, dc);
    }
    CHECK(fncGetAction() == L"Setting the background color of the control");
}

TEST_CASE("colouring: a centre outside the visible area, or a control that is gone, changes nothing") {
    qbxtest::resetAddinState();
    Stage stage;
    cWindowSurface surface(stage.window);

    SUBCASE("outside the window: a kept colour stays") {
        subSetControlBackColor(stage.box, RGB(0, 0, 255));
        MoveWindow(stage.box, 1000, 1000, 100, 20, FALSE);
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == RGB(0, 0, 255));
    }
    SUBCASE("outside the window: an uncoloured control keeps its default colours") {
        MoveWindow(stage.box, -500, 40, 100, 20, FALSE);
        subSetBackColorFromWindow(surface.hDC(), stage.box);
        CHECK(fncGetControlBackColor(stage.box) == CLR_INVALID);
        HDC dc = GetDC(stage.box);
        INT_PTR brush = 0;
        CHECK_FALSE(fncAnswerCtlColor(stage.box, dc, brush));
        ReleaseDC(stage.box, dc);
    }
    SUBCASE("a control that is gone takes no colour and nothing is reported") {
        HWND gone = stage.box;
        DestroyWindow(gone);
        subSetBackColorFromWindow(surface.hDC(), gone);
        CHECK(fncGetControlBackColor(gone) == CLR_INVALID);
        CHECK_FALSE(blnErrorOccurred);
    }
}

TEST_CASE("colouring: a destroyed control's colour goes with it") {
    Stage stage;
    subSetControlBackColor(stage.box, RGB(1, 2, 3));
    HWND box = stage.box;
    CHECK(fncGetControlBackColor(box) == RGB(1, 2, 3));
    DestroyWindow(box);
    CHECK(fncGetControlBackColor(box) == CLR_INVALID);
    // An explicit colour can be dropped again, too.
    Stage other;
    subSetControlBackColor(other.box, RGB(4, 5, 6));
    subSetControlBackColor(other.box, CLR_INVALID);
    CHECK(fncGetControlBackColor(other.box) == CLR_INVALID);
}

TEST_CASE("task bar: the window gets the task-bar style, its other styles kept") {
    qbxtest::resetAddinState();
    HWND owner = CreateWindowExW(0, L"STATIC", L"owner", WS_POPUP, 0, 0, 50, 50, nullptr, nullptr, nullptr, nullptr);
    HWND window = CreateWindowExW(WS_EX_TOOLWINDOW | WS_EX_DLGMODALFRAME, L"STATIC", L"QbxTaskbarTarget", WS_POPUP,
                                  0, 0, 80, 60, owner, nullptr, nullptr, nullptr);
    REQUIRE(window);
    subMakeSureInTaskbar(window);
    const LONG style = GetWindowLongW(window, GWL_EXSTYLE);
    CHECK((style & WS_EX_APPWINDOW) != 0);
    CHECK((style & WS_EX_TOOLWINDOW) != 0);
    CHECK((style & WS_EX_DLGMODALFRAME) != 0);
    CHECK(fncGetAction() == L"Trying to make sure the form appears in the Activity bar");
    // Once more changes nothing.
    subMakeSureInTaskbar(window);
    CHECK(GetWindowLongW(window, GWL_EXSTYLE) == style);
    DestroyWindow(window);
    DestroyWindow(owner);
}

TEST_CASE("task bar: a window that is gone is reported through the error convention") {
    qbxtest::resetAddinState();
    HWND window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    DestroyWindow(window);
    qbxtest::PromptRecorder prompts;
    subMakeSureInTaskbar(window);
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text.find(L"Trying to make sure the form appears in the Activity bar") !=
          std::wstring::npos);
    CHECK(blnShuttingDown);
    qbxtest::resetAddinState();
}
