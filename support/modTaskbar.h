// File and shell utilities: the task bar.
#pragma once

#include <windows.h>

#include <string>

// Makes sure a window has a button on the task bar, by giving it the extended
// window style that puts a window on the task bar (WS_EX_APPWINDOW), as owned
// windows and dialogs otherwise have none. The other style bits are kept; a
// window that already has the style is left as it is. When strActivateTitle is
// not empty, the top-level window with that caption is then brought to the
// front; with empty text nothing is activated.
// Failures (a window that is gone) go through the error convention.
void subMakeSureInTaskbar(HWND hWnd, const std::wstring& strActivateTitle = {});
