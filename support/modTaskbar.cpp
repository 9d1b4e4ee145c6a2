#include "support/modTaskbar.h"

#include "support/modErroHandling.h"

void subMakeSureInTaskbar(HWND hWnd, const std::wstring& strActivateTitle) {
    subSetAction(L"Trying to make sure the form appears in the Activity bar");
    qbx::guarded(L"subMakeSureInTaskbar", [&] {
        // GetWindowLong gives 0 both for "no extended style" and for failure;
        // only the last error tells them apart.
        SetLastError(0);
        LONG style = GetWindowLongW(hWnd, GWL_EXSTYLE);
        if (style == 0 && GetLastError() != 0)
            qbx::raiseLastError(L"The window's style could not be read");
        if ((style & WS_EX_APPWINDOW) == 0) {
            SetLastError(0);
            if (SetWindowLongW(hWnd, GWL_EXSTYLE, style | WS_EX_APPWINDOW) == 0 && GetLastError() != 0)
                qbx::raiseLastError(L"The window's style could not be set");
            // A window already on screen picks the new style up only when its
            // frame is recalculated.
            SetWindowPos(hWnd, nullptr, 0, 0, 0, 0,
                         SWP_FRAMECHANGED | SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
        }
        if (!strActivateTitle.empty()) {
            if (HWND target = FindWindowW(nullptr, strActivateTitle.c_str())) SetForegroundWindow(target);
        }
    });
}
