// Read access to the timer form's window, for tests.
#pragma once

#include "attachments/frmTimer.h"

struct frmTimerTesting {
    static HWND windowHandle(const frmTimer& timer) noexcept { return timer.window_.get(); }
};
