// A person at a dialog: keys go to the control that has the
// focus and mouse clicks to the middle of a control, as posted input, and
// every message runs through the dialog manager (IsDialogMessage) as in the
// window's own modal loop, so Tab, Enter, Escape and mnemonics are handled
// where a person's would be.
#pragma once

#include <windows.h>

#include <string>

namespace persontest {

class Person {
public:
    explicit Person(HWND dialog) : dialog_(dialog) {}

    // Runs the posted input and what follows from it.
    void settle() const {
        for (int round = 0; round < 3; ++round) {
            MSG msg;
            for (int i = 0; i < 500 && PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE); ++i) {
                if (IsWindow(dialog_) && IsDialogMessageW(dialog_, &msg)) continue;
                TranslateMessage(&msg);
                DispatchMessageW(&msg);
            }
            Sleep(5);
        }
    }

    // One key, pressed and let go, with Shift, Ctrl or Alt held as asked.
    void key(UINT vk, bool shift = false, bool control = false, bool alt = false) const {
        hold(shift, control, alt);
        HWND target = GetFocus();
        const UINT down = alt ? WM_SYSKEYDOWN : WM_KEYDOWN, up = alt ? WM_SYSKEYUP : WM_KEYUP;
        const LPARAM flags = alt ? 0x20000001 : 1;
        PostMessageW(target, down, vk, flags);
        settle();
        PostMessageW(GetFocus(), up, vk, flags | static_cast<LPARAM>(0xC0000000));
        settle();
        hold(false, false, false);
    }
    // Alt and a letter: a mnemonic.
    void alt(wchar_t letter) const {
        hold(false, false, true);
        PostMessageW(GetFocus(), WM_SYSCHAR, letter, 0x20000001);
        settle();
        hold(false, false, false);
    }
    // Characters typed into whatever has the focus.
    void type(const std::wstring& text) const {
        for (wchar_t c : text) {
            PostMessageW(GetFocus(), WM_CHAR, c, 1);
            settle();
        }
    }
    // A click in the middle of a window (or at a point of its client area).
    void click(HWND window) const {
        RECT r{};
        GetClientRect(window, &r);
        click(window, POINT{(r.left + r.right) / 2, (r.top + r.bottom) / 2});
    }
    void click(HWND window, POINT p) const {
        const LPARAM at = MAKELPARAM(p.x, p.y);
        PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, at);
        settle();
        PostMessageW(window, WM_LBUTTONUP, 0, at);
        settle();
    }

private:
    static void hold(bool shift, bool control, bool alt) {
        BYTE state[256] = {};
        GetKeyboardState(state);
        state[VK_SHIFT] = shift ? 0x80 : 0;
        state[VK_CONTROL] = control ? 0x80 : 0;
        state[VK_MENU] = alt ? 0x80 : 0;
        SetKeyboardState(state);
    }

    HWND dialog_;
};

}  // namespace persontest
