// An invisible window that carries one window timer for objects that are not
// windows themselves (the delayed attachment removal, the grid's selection
// polling). Each holder creates its own instance; the holder hears the ticks
// through the listener it sets, on the user-interface thread's message loop.
//
// The window is message-only and never shown. The timer and the window die
// with the object, so a holder that drops its instance (or clears its
// listener) hears nothing more, even from inside its own tick.
//
// The same form carries the add-in's button picture, imgQBXToolbar: the
// icon QBXBUTTON of the add-in's resources (host/qbx_button.ico), which the
// ribbon's image callback getImages hands to Outlook.
#pragma once

#include "support/com.h"
#include "support/com/events.h"
#include "support/com/win_window.h"

#include <functional>
#include <optional>

class frmTimer {
public:
    using TimerListener = std::function<void()>;

    frmTimer();
    ~frmTimer();
    frmTimer(const frmTimer&) = delete;
    frmTimer& operator=(const frmTimer&) = delete;

    // Whether the timer runs. Off when the form is made.
    bool TimerEnabled() const noexcept { return enabled_; }
    void TimerEnabled(bool enabled);
    // Milliseconds between ticks; 0 (the initial value) means no ticks even
    // while enabled. Setting it alone does not start the timer; setting it
    // while the timer runs restarts the count with the new interval.
    long TimerInterval() const noexcept { return interval_; }
    void TimerInterval(long milliseconds);

    // The Timer event: called once per tick while the timer runs. An empty
    // listener lets go of the events.
    // The receiver is pinned (kept alive) around every tick it hears.
    void setTimerListener(TimerListener listener, qbx::Pin receiver = {}) {
        listener_ = std::move(listener);
        receiver_ = std::move(receiver);
    }

    // The button picture (16 x 16 and 32 x 32 icon from the add-in's
    // resources) as a new picture object, for the ribbon's image callback.
    // It needs no window, so it is reached without an instance. Raises when
    // the picture can't be made.
    static qbx::ComPtr<IPictureDisp> imgQBXToolbar();

private:
    friend struct frmTimerTesting;  // frmTimer_testing.h

    friend struct qbx::WindowProcedures;
    std::optional<LRESULT> windowMessage(UINT message, WPARAM wParam, LPARAM lParam);
    void subApply();  // sets or kills the window timer to match the properties
    void timTimer_Timer();

    qbx::OwnedWindow window_;
    bool enabled_ = false;
    long interval_ = 0;
    bool running_ = false;
    TimerListener listener_;
    qbx::Pin receiver_;
};
