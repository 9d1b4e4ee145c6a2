// Helpers of the library chooser's tests: the dialog is driven through the
// window messages a user's keys and clicks produce, never by a person.
#pragma once

#include "attachments/dialogs.h"
#include "attachments/frmChooseSite.h"
#include "attachments/frmChooseSite_testing.h"
#include "tests/doctest_strings.h"
#include "tests/test_support.h"

#include <doctest/doctest.h>

#include <functional>
#include <string>

namespace choosertest {

using qbxtest::windowText;

// A click as the dialog hears it; a check box toggles first, as under a click.
inline void click(frmChooseSite& form, int id, bool post = false) {
    HWND button = form.control(id);
    if ((GetWindowLongW(button, GWL_STYLE) & BS_TYPEMASK) == BS_AUTOCHECKBOX)
        SendMessageW(button, BM_SETCHECK, SendMessageW(button, BM_GETCHECK, 0, 0) ? BST_UNCHECKED : BST_CHECKED, 0);
    const WPARAM w = MAKEWPARAM(id, BN_CLICKED);
    post ? PostMessageW(form.hWnd(), WM_COMMAND, w, reinterpret_cast<LPARAM>(button))
         : SendMessageW(form.hWnd(), WM_COMMAND, w, reinterpret_cast<LPARAM>(button));
}

// Types key by key at the end of an edit field.
inline void type(HWND edit, const std::wstring& keys) {
    const LRESULT end = SendMessageW(edit, WM_GETTEXTLENGTH, 0, 0);
    SendMessageW(edit, EM_SETSEL, static_cast<WPARAM>(end), end);
    for (wchar_t c : keys) SendMessageW(edit, WM_CHAR, c, 1);
}

// Clicks (or double-clicks) an entry of the library list.
inline void selectEntry(frmChooseSite& form, int index, WORD notification = LBN_SELCHANGE) {
    HWND list = form.control(IDC_LSTSITES);
    SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(index), 0);
    SendMessageW(form.hWnd(), WM_COMMAND, MAKEWPARAM(IDC_LSTSITES, notification), reinterpret_cast<LPARAM>(list));
}

inline bool safetyFired = false;
inline void CALLBACK subSafetyTimer(HWND dialog, UINT, UINT_PTR id, DWORD) {
    KillTimer(dialog, id);
    safetyFired = true;
    EndDialog(dialog, IDCANCEL);
}

// Shows the chooser as the attachment flow does (fncChooseSite, modal) and
// lets drive() act on it once loaded; after five seconds it is ended whatever
// drive() did, so no test can hang on it.
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
