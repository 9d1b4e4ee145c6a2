// The timer form: ticks only while enabled, once per interval, never to a
// holder that let go; the button picture.
#include <doctest/doctest.h>

#include "attachments/frmTimer.h"
#include "support/modErroHandling.h"
#include "tests/host/host_test_util.h"
#include "tests/test_support.h"

#include <olectl.h>

#include <memory>

using hosttest::pumpMessages;

TEST_CASE("timer: ticks once per interval while enabled, and only then") {
    frmTimer timer;
    int ticks = 0;
    timer.setTimerListener([&] { ++ticks; });
    CHECK_FALSE(timer.TimerEnabled());
    CHECK(timer.TimerInterval() == 0);

    SUBCASE("the interval alone does not start it") {
        timer.TimerInterval(20);
        pumpMessages(150);
        CHECK(ticks == 0);
    }
    SUBCASE("enabled without an interval does not tick") {
        timer.TimerEnabled(true);
        pumpMessages(150);
        CHECK(ticks == 0);
        CHECK(timer.TimerEnabled());
    }
    SUBCASE("enabled with an interval ticks about once per interval, and stops when switched off") {
        timer.TimerInterval(50);
        timer.TimerEnabled(true);
        pumpMessages(400);
        // 8 intervals; timer messages are coalesced, never doubled.
        CHECK(ticks >= 4);
        CHECK(ticks <= 8);
        timer.TimerEnabled(false);
        int atStop = ticks;
        pumpMessages(200);
        CHECK(ticks == atStop);
        // Switched on again it resumes.
        timer.TimerEnabled(true);
        pumpMessages(200);
        CHECK(ticks > atStop);
    }
    SUBCASE("a negative interval is refused and the timer keeps its value") {
        timer.TimerInterval(500);
        CHECK_THROWS_AS(timer.TimerInterval(-1), qbx::Error);
        CHECK(timer.TimerInterval() == 500);
    }
}

TEST_CASE("timer: a holder that lets go hears no more ticks") {
    SUBCASE("a one-shot holder drops the timer inside its own tick") {
        // The pattern of the delayed attachment removal: switch off, drop.
        auto timer = std::make_unique<frmTimer>();
        HWND window = timer->windowHandle();
        int ticks = 0;
        timer->setTimerListener([&] {
            ++ticks;
            timer->TimerEnabled(false);
            timer.reset();
        });
        timer->TimerInterval(20);
        timer->TimerEnabled(true);
        pumpMessages(250);
        CHECK(ticks == 1);
        CHECK_FALSE(timer);
        CHECK_FALSE(IsWindow(window));
    }
    SUBCASE("a holder that drops the timer without switching it off") {
        int ticks = 0;
        auto timer = std::make_unique<frmTimer>();
        HWND window = timer->windowHandle();
        timer->setTimerListener([&] { ++ticks; });
        timer->TimerInterval(20);
        timer->TimerEnabled(true);
        timer.reset();
        CHECK_FALSE(IsWindow(window));
        pumpMessages(150);
        CHECK(ticks == 0);
    }
    SUBCASE("a holder that clears its listener") {
        frmTimer timer;
        int ticks = 0;
        timer.setTimerListener([&] {
            ++ticks;
            timer.setTimerListener(nullptr);
        });
        timer.TimerInterval(20);
        timer.TimerEnabled(true);
        pumpMessages(200);
        CHECK(ticks == 1);
        CHECK(timer.TimerEnabled());  // still running, heard by no one
    }
    SUBCASE("two timers tick independently") {
        frmTimer fast, slow;
        int fastTicks = 0, slowTicks = 0;
        fast.setTimerListener([&] { ++fastTicks; });
        slow.setTimerListener([&] { ++slowTicks; });
        fast.TimerInterval(20);
        slow.TimerInterval(1000);
        fast.TimerEnabled(true);
        slow.TimerEnabled(true);
        pumpMessages(200);
        CHECK(fastTicks >= 3);
        CHECK(slowTicks == 0);
    }
}

TEST_CASE("timer: the button picture comes from the resources as a 32 x 32 icon picture") {
    qbx::ComPtr<IPictureDisp> first = frmTimer::imgQBXToolbar();
    REQUIRE(first);
    qbx::ComPtr<IPicture> picture = first.as<IPicture>(IID_IPicture);
    REQUIRE(picture);
    SHORT type = 0;
    CHECK(picture->get_Type(&type) == S_OK);
    CHECK(type == PICTYPE_ICON);
    OLE_HANDLE handle = 0;
    CHECK(picture->get_Handle(&handle) == S_OK);
    CHECK(handle != 0);
    OLE_XSIZE_HIMETRIC width = 0;
    OLE_YSIZE_HIMETRIC height = 0;
    picture->get_Width(&width);
    picture->get_Height(&height);
    // 32 pixels at the screen's resolution, in hundredths of a millimetre.
    HDC screen = GetDC(nullptr);
    const long expected = MulDiv(32, 2540, GetDeviceCaps(screen, LOGPIXELSX));
    ReleaseDC(nullptr, screen);
    CHECK(width == doctest::Approx(expected).epsilon(0.01));
    CHECK(height == doctest::Approx(expected).epsilon(0.01));
    // The small size is drawn as well, for the command bar's 16 x 16 slot.
    HICON small = static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), L"QBXBUTTON", IMAGE_ICON, 16, 16, 0));
    REQUIRE(small);
    ICONINFO info = {};
    REQUIRE(GetIconInfo(small, &info));
    BITMAP bm = {};
    GetObjectW(info.hbmColor, sizeof(bm), &bm);
    CHECK(bm.bmWidth == 16);
    CHECK(bm.bmBitsPixel == 32);
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    DestroyIcon(small);
    // Every call hands out a picture of its own.
    qbx::ComPtr<IPictureDisp> second = frmTimer::imgQBXToolbar();
    CHECK(second.get() != first.get());
}
