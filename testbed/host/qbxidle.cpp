// qbxidle.exe: a Wine program with no console and no visible window that
// just waits (at most an hour, or the seconds given on its command line), so
// that the Wine processes stay warm between test programs.
#include <windows.h>

#include <cstdlib>

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, LPWSTR commandLine, int) {
    long seconds = commandLine && *commandLine ? wcstol(commandLine, nullptr, 10) : 3600;
    if (seconds <= 0 || seconds > 3600) seconds = 3600;
    WNDCLASSW wc{};
    wc.lpfnWndProc = DefWindowProcW;
    wc.hInstance = instance;
    wc.lpszClassName = L"QbxIdle";
    RegisterClassW(&wc);
    // A message-only window: it is never shown.
    HWND window = CreateWindowExW(0, L"QbxIdle", L"QbxIdle", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, instance, nullptr);
    SetTimer(window, 1, static_cast<UINT>(seconds * 1000), nullptr);
    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (msg.message == WM_TIMER) break;
        DispatchMessageW(&msg);
    }
    return 0;
}
