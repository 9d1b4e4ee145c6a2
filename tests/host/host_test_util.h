// Helpers of the host tests.
#pragma once

#include <windows.h>

namespace hosttest {

// Runs the thread's message loop for about the given time (bounded: it
// returns after it whatever arrives).
inline void pumpMessages(DWORD milliseconds) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (;;) {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        ULONGLONG now = GetTickCount64();
        if (now >= end) return;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
    }
}

}  // namespace hosttest
