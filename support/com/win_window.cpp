#include "support/com/win_window.h"

namespace qbx {

UINT windowDpi(HWND window, bool horizontal) noexcept {
    // Windows 10 knows each window's DPI; older systems only the screen's.
    static const auto getDpiForWindow =
        procAddress<UINT WINAPI(HWND)>(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow");
    if (window && getDpiForWindow) {
        if (UINT dpi = getDpiForWindow(window)) return dpi;
    }
    WindowDc dc(window);
    const int dpi = dc ? GetDeviceCaps(dc.get(), horizontal ? LOGPIXELSX : LOGPIXELSY) : 0;
    return dpi > 0 ? static_cast<UINT>(dpi) : 96;
}

namespace {

struct ThemeApi {
    HANDLE(WINAPI* open)(HWND, LPCWSTR) = nullptr;
    HRESULT(WINAPI* close)(HANDLE) = nullptr;
    HRESULT(WINAPI* draw)(HANDLE, HDC, int, int, const RECT*, const RECT*) = nullptr;
};

const ThemeApi& themeApi() noexcept {
    static const ThemeApi api = [] {
        ThemeApi a;
        if (HMODULE m = LoadLibraryW(L"uxtheme.dll")) {
            a.open = procAddress<HANDLE WINAPI(HWND, LPCWSTR)>(m, "OpenThemeData");
            a.close = procAddress<HRESULT WINAPI(HANDLE)>(m, "CloseThemeData");
            a.draw = procAddress<HRESULT WINAPI(HANDLE, HDC, int, int, const RECT*, const RECT*)>(
                m, "DrawThemeBackground");
            // Drawing needs all three.
            if (!a.open || !a.close || !a.draw) a = ThemeApi{};
        }
        return a;
    }();
    return api;
}

}  // namespace

void handle_detail::closeThemeData(HANDLE theme) noexcept {
    if (themeApi().close) themeApi().close(theme);
}

ThemeData openThemeData(HWND window, const wchar_t* classes) noexcept {
    return ThemeData(themeApi().open ? themeApi().open(window, classes) : nullptr);
}

HRESULT drawThemeBackground(const ThemeData& theme, HDC dc, int part, int state, const RECT& box) noexcept {
    if (!theme || !themeApi().draw) return E_NOTIMPL;
    return themeApi().draw(theme.get(), dc, part, state, &box, nullptr);
}

}  // namespace qbx
