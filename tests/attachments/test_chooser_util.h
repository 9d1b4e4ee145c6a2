// Helpers of the library chooser's tests: the dialog is driven through the
// window messages a user's keys and clicks produce, never by a person.
#pragma once

#include "attachments/dialogs.h"
#include "attachments/frmChooseSite.h"
#include "tests/test_support.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <functional>
#include <string>

// Wide texts in doctest's messages.
namespace doctest {
template <>
struct StringMaker<std::wstring> {
    static String convert(const std::wstring& value) { return ("L\"" + qbxtest::narrow(value) + "\"").c_str(); }
};
}  // namespace doctest

namespace choosertest {

// Runs the thread's message loop for about the given time.
inline void pump(DWORD milliseconds) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (;;) {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        const ULONGLONG now = GetTickCount64();
        if (now >= end) return;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
    }
}

inline std::wstring text(HWND window) {
    wchar_t buf[2048] = {};
    GetWindowTextW(window, buf, 2048);
    return buf;
}

// A click on a button, option button or check box as the dialog hears it. A
// check box is toggled first, as the click itself would.
inline void click(frmChooseSite& form, int id) {
    HWND button = form.control(id);
    if ((GetWindowLongW(button, GWL_STYLE) & BS_TYPEMASK) == BS_AUTOCHECKBOX) {
        const bool checked = SendMessageW(button, BM_GETCHECK, 0, 0) == BST_CHECKED;
        SendMessageW(button, BM_SETCHECK, checked ? BST_UNCHECKED : BST_CHECKED, 0);
    }
    SendMessageW(form.hWnd(), WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(button));
}

// The same click, posted: handled once the dialog's loop runs.
inline void postClick(frmChooseSite& form, int id) {
    PostMessageW(form.hWnd(), WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(form.control(id)));
}

// Types the text key by key at the end of an edit field.
inline void type(HWND edit, const std::wstring& keys) {
    const LRESULT end = SendMessageW(edit, WM_GETTEXTLENGTH, 0, 0);
    SendMessageW(edit, EM_SETSEL, static_cast<WPARAM>(end), end);
    for (wchar_t c : keys) SendMessageW(edit, WM_CHAR, c, 1);
}

// Replaces an edit field's text at once (one change, as a paste over all).
inline void replaceText(HWND edit, const std::wstring& value) {
    SendMessageW(edit, EM_SETSEL, 0, -1);
    SendMessageW(edit, EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(value.c_str()));
}

// Clicks an entry of the list (index -1: no entry).
inline void selectEntry(frmChooseSite& form, int index) {
    HWND list = form.control(IDC_LSTSITES);
    SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(index), 0);
    SendMessageW(form.hWnd(), WM_COMMAND, MAKEWPARAM(IDC_LSTSITES, LBN_SELCHANGE), reinterpret_cast<LPARAM>(list));
}

inline void doubleClickEntry(frmChooseSite& form, int index) {
    selectEntry(form, index);
    HWND list = form.control(IDC_LSTSITES);
    SendMessageW(form.hWnd(), WM_COMMAND, MAKEWPARAM(IDC_LSTSITES, LBN_DBLCLK), reinterpret_cast<LPARAM>(list));
}

inline bool checked(frmChooseSite& form, int id) { return IsDlgButtonChecked(form.hWnd(), id) == BST_CHECKED; }
inline bool enabled(frmChooseSite& form, int id) { return IsWindowEnabled(form.control(id)) != FALSE; }

inline bool safetyFired = false;

inline void CALLBACK subSafetyTimer(HWND dialog, UINT, UINT_PTR id, DWORD) {
    KillTimer(dialog, id);
    safetyFired = true;
    EndDialog(dialog, IDCANCEL);
}

// Shows the chooser the way the attachment flow does (fncChooseSite, modal)
// and lets drive() act on it once it has loaded. Whatever drive() does, the
// dialog is ended after five seconds, so no test can hang on it.
inline std::wstring chooseModally(const std::wstring& fileName, std::function<void(frmChooseSite&)> drive) {
    safetyFired = false;
    subSetChooserOpenedHook([&](frmChooseSite& form) {
        SetTimer(form.hWnd(), 0x5AFE, 5000, &subSafetyTimer);
        drive(form);
    });
    std::wstring result = fncChooseSite(fileName);
    subSetChooserOpenedHook({});
    CHECK_FALSE(safetyFired);
    return result;
}

}  // namespace choosertest
