// What the add-in's windows share: the plumbing of their window, dialog and
// subclass procedures, a window's DPI, the visual theme's drawing data, and
// typed access to functions a system DLL may or may not export.
//
// A window procedure finds the object that serves its window in one of the
// window's slots. The object comes with the window's creation (the last
// argument of CreateWindowEx, seen at WM_NCCREATE; the dialog's init
// parameter, seen at WM_INITDIALOG), and is let go at WM_NCDESTROY, the
// window's last message; before and after, and whenever the object's handler
// fails, the window gets the default answer. A failure never leaves the
// procedure: it goes to the failure observer (answerBoundary).
//
// The serving class gives its handler as a member; it may also have
//   void windowAttached(HWND)   called when the object is set on its window,
//   void windowDetached()       called at WM_NCDESTROY, once it is let go,
// and befriends qbx::WindowProcedures when these are private.
#pragma once

#include "support/com/boundary.h"
#include "support/com/win_handles.h"

#include <commctrl.h>

#include <functional>
#include <optional>
#include <type_traits>

namespace qbx {

// A function of a module by name, typed (Fn: the function's type or its
// pointer type); null when the module does not export it (an older Windows,
// a host program without that export).
template <class Fn>
auto procAddress(HMODULE module, const char* name) noexcept {
    using Pointer = std::conditional_t<std::is_pointer_v<Fn>, Fn, Fn*>;
    return module ? reinterpret_cast<Pointer>(reinterpret_cast<void*>(GetProcAddress(module, name))) : Pointer{};
}

// The window's DPI (the screen's where the system can't say per window):
// horizontal or vertical, 96 when nothing answers.
UINT windowDpi(HWND window, bool horizontal = false) noexcept;

// Drawing data of the visual theme for a kind of control ("BUTTON"),
// closed with CloseThemeData; empty when no theme is active. The theme's
// DLL is loaded at run time, so the add-in imports only the system's basic
// DLLs.
namespace handle_detail {
void closeThemeData(HANDLE theme) noexcept;
}
using ThemeData = UniqueHandle<HANDLE, &handle_detail::closeThemeData>;
ThemeData openThemeData(HWND window, const wchar_t* classes) noexcept;
// DrawThemeBackground; E_NOTIMPL without the theme's DLL.
HRESULT drawThemeBackground(const ThemeData& theme, HDC dc, int part, int state, const RECT& box) noexcept;

struct WindowProcedures {
    // A dialog procedure: the object comes with WM_INITDIALOG and is kept in
    // DWLP_USER. Handle(HWND, UINT, WPARAM, LPARAM) or Handle(UINT, WPARAM,
    // LPARAM) answers as a dialog procedure does; FALSE is the default.
    template <class T, auto Handle>
    static INT_PTR CALLBACK dialog(HWND window, UINT message, WPARAM w, LPARAM l) noexcept {
        T* self = nullptr;
        if (message == WM_INITDIALOG) {
            self = reinterpret_cast<T*>(l);
            attach(self, window, DWLP_USER);
        } else {
            self = objectOf<T>(window, DWLP_USER);
        }
        if (!self) return FALSE;
        if (message == WM_NCDESTROY) {
            detach(self, window, DWLP_USER);
            return FALSE;
        }
        return answerBoundary(L"dialog procedure", INT_PTR{FALSE},
                              [&]() -> INT_PTR { return call<T, Handle>(*self, window, message, w, l); });
    }

    // A window procedure: the object comes with WM_NCCREATE and is kept in
    // the window's Slot (GWLP_USERDATA, or the class's extra bytes). Handle
    // answers std::optional<LRESULT>: nothing for DefWindowProc's answer.
    template <class T, auto Handle, int Slot = GWLP_USERDATA>
    static LRESULT CALLBACK window(HWND window, UINT message, WPARAM w, LPARAM l) noexcept {
        if (message == WM_NCCREATE)
            attach(static_cast<T*>(reinterpret_cast<const CREATESTRUCTW*>(l)->lpCreateParams), window, Slot);
        T* self = objectOf<T>(window, Slot);
        if (self && message == WM_NCDESTROY) {
            detach(self, window, Slot);
            self = nullptr;
        }
        if (self) {
            const std::optional<LRESULT> answer = answerBoundary(
                L"window procedure", std::optional<LRESULT>(),
                [&]() -> std::optional<LRESULT> { return call<T, Handle>(*self, window, message, w, l); });
            if (answer) return *answer;
        }
        return DefWindowProcW(window, message, w, l);
    }

    // A subclass procedure (set with WindowSubclass): the object is the
    // subclass's reference data. Handle answers std::optional<LRESULT>:
    // nothing for the window's own answer (DefSubclassProc).
    template <class T, auto Handle>
    static LRESULT CALLBACK subclass(HWND window, UINT message, WPARAM w, LPARAM l, UINT_PTR,
                                     DWORD_PTR data) noexcept {
        if (auto* self = reinterpret_cast<T*>(data)) {
            const std::optional<LRESULT> answer = answerBoundary(
                L"subclass procedure", std::optional<LRESULT>(),
                [&]() -> std::optional<LRESULT> { return call<T, Handle>(*self, window, message, w, l); });
            if (answer) return *answer;
        }
        return DefSubclassProc(window, message, w, l);
    }

    // Cuts a window off from its object before the object goes: the
    // window's later messages (its destruction among them) get the default
    // answer. Slot as for the procedure (DWLP_USER for a dialog).
    static void cutOff(HWND window, int slot) noexcept {
        if (window && IsWindow(window)) SetWindowLongPtrW(window, slot, 0);
    }

private:
    template <class T>
    static T* objectOf(HWND window, int slot) noexcept {
        return reinterpret_cast<T*>(GetWindowLongPtrW(window, slot));
    }

    template <class T>
    static void attach(T* self, HWND window, int slot) noexcept {
        if (!self) return;
        SetWindowLongPtrW(window, slot, reinterpret_cast<LONG_PTR>(self));
        if constexpr (requires { self->windowAttached(window); }) self->windowAttached(window);
    }

    template <class T>
    static void detach(T* self, HWND window, int slot) noexcept {
        SetWindowLongPtrW(window, slot, 0);
        if constexpr (requires { self->windowDetached(); }) self->windowDetached();
    }

    template <class T, auto Handle>
    static auto call(T& self, HWND window, UINT message, WPARAM w, LPARAM l) {
        if constexpr (std::is_invocable_v<decltype(Handle), T&, HWND, UINT, WPARAM, LPARAM>)
            return std::invoke(Handle, self, window, message, w, l);
        else
            return std::invoke(Handle, self, message, w, l);
    }
};

}  // namespace qbx
