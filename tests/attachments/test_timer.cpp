// The timer form: ticks only while enabled, about once per interval, never to
// a holder that let go; the button picture.
#include <doctest/doctest.h>

#include "attachments/frmTimer.h"
#include "attachments/frmTimer_testing.h"
#include "testbed/outlook/emulator.h"

#include <olectl.h>

#include <memory>

using emu::Outlook;

TEST_CASE("timer: ticks about once per interval while enabled, and only then") {
    frmTimer timer;
    int ticks = 0;
    timer.setTimerListener([&] { ++ticks; });
    timer.TimerInterval(50);  // the interval alone starts nothing
    Outlook::pumpMessages(150);
    CHECK(ticks == 0);
    timer.TimerEnabled(true);
    Outlook::pumpMessages(400);
    CHECK(ticks >= 4);  // 8 intervals; timer messages coalesce, never double
    CHECK(ticks <= 8);
    timer.TimerEnabled(false);
    const int atStop = ticks;
    Outlook::pumpMessages(200);
    CHECK(ticks == atStop);
    timer.TimerInterval(0);  // enabled without an interval: still nothing
    timer.TimerEnabled(true);
    Outlook::pumpMessages(150);
    CHECK(ticks == atStop);
}

TEST_CASE("timer: a holder that lets go hears no more ticks") {
    int ticks = 0;
    SUBCASE("the one-shot holder drops the timer inside its own tick") {
        auto timer = std::make_unique<frmTimer>();
        HWND window = frmTimerTesting::windowHandle(*timer);
        timer->setTimerListener([&] {
            ++ticks;
            timer->TimerEnabled(false);
            timer.reset();
        });
        timer->TimerInterval(20);
        timer->TimerEnabled(true);
        Outlook::pumpMessages(250);
        CHECK(ticks == 1);
        CHECK_FALSE(IsWindow(window));
    }
    SUBCASE("the holder clears its listener; the timer runs on, heard by no one") {
        frmTimer timer;
        timer.setTimerListener([&] {
            ++ticks;
            timer.setTimerListener(nullptr);
        });
        timer.TimerInterval(20);
        timer.TimerEnabled(true);
        Outlook::pumpMessages(200);
        CHECK(ticks == 1);
    }
}

TEST_CASE("timer: the button picture is a 32 x 32 icon from the resources, with a 16 x 16 one beside it") {
    qbx::ComPtr<IPictureDisp> disp = frmTimer::imgQBXToolbar();
    qbx::ComPtr<IPicture> picture = disp.as<IPicture>(IID_IPicture);
    REQUIRE(picture);
    SHORT type = 0;
    picture->get_Type(&type);
    CHECK(type == PICTYPE_ICON);
    OLE_XSIZE_HIMETRIC width = 0;
    picture->get_Width(&width);
    HDC screen = GetDC(nullptr);
    CHECK(width == doctest::Approx(MulDiv(32, 2540, GetDeviceCaps(screen, LOGPIXELSX))).epsilon(0.01));
    ReleaseDC(nullptr, screen);

    HICON small = static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), L"QBXBUTTON", IMAGE_ICON, 16, 16, 0));
    ICONINFO info = {};
    REQUIRE(GetIconInfo(small, &info));
    BITMAP bm = {};
    GetObjectW(info.hbmColor, sizeof(bm), &bm);
    CHECK(bm.bmWidth == 16);
    CHECK(bm.bmBitsPixel == 32);
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    DestroyIcon(small);
}
