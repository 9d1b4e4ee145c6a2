// What a screen reader reads of the add-in's windows (Microsoft Active
// Accessibility; UI Automation clients read it through Windows' proxy).
//
// oleacc.dll is loaded at run time, so the DLL still imports only the
// system's basic DLLs; without it the windows simply answer no query.
//
// Standard controls are read through Windows' own objects for them. Their
// names come from their captions where they have one; a control without a
// caption of its own (a list, an edit, a combo box, a bare option button)
// gets its label's text here, so every control is named by its label.
#pragma once

#include <windows.h>
#include <oleacc.h>

#include <string>

// IAccessible's interface identifier (oleacc's, written out so nothing
// links oleacc).
extern const IID kIID_IAccessible;

// The oleacc functions the add-in uses; null when the DLL is missing.
struct cOleacc {
    LRESULT(WINAPI* lresultFromObject)(REFIID, WPARAM, LPUNKNOWN) = nullptr;
    HRESULT(WINAPI* createStdAccessibleObject)(HWND, LONG, REFIID, void**) = nullptr;
    static const cOleacc& get();
};

// Answers WM_GETOBJECT with an object (0 when oleacc is missing).
LRESULT fncAnswerGetObject(WPARAM wParam, IAccessible* object);

// Gives a control the accessible name `name` (a label's text; one "&" of a
// mnemonic is dropped) for as long as it lives.
void subSetAccessibleName(HWND control, const std::wstring& name);

// Marks a decoration (a divider line) invisible to screen readers, which
// would otherwise read it as an unnamed item, for as long as it lives.
void subHideFromScreenReaders(HWND control);

// A label's text as a screen reader says it: without the mnemonic's "&".
std::wstring fncWithoutMnemonic(const std::wstring& caption);
