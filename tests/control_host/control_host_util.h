// Helpers of the control host's tests: a plain form window, classes made
// creatable by ProgID inside the test program, message pumping and the
// clipboard.
//
// The test program links the add-in's code statically, so no DLL is
// registered: a class factory is registered for the process with
// CoRegisterClassObject (which CoGetClassObject consults before the
// registry), and the ProgID's "CLSID" key is written under
// HKLM\Software\Classes of the build's own Wine prefix (Wine reads classes
// from there only, not from HKCU) and deleted again afterwards.
#pragma once

#include "support/com.h"
#include "tests/doctest_strings.h"
#include "tests/test_support.h"

#include <doctest/doctest.h>

#include <functional>
#include <string>

namespace hosttest {

// Makes a class creatable by ProgID while it lives.
class ClassRegistration {
public:
    ClassRegistration(const std::wstring& progId, const CLSID& clsid, IClassFactory* factory);
    ~ClassRegistration();
    ClassRegistration(const ClassRegistration&) = delete;
    ClassRegistration& operator=(const ClassRegistration&) = delete;

private:
    std::wstring progId_;
    DWORD cookie_ = 0;
};

// Quillbox's spreadsheet control creatable by ProgID while it lives.
struct SpreadsheetClass {
    SpreadsheetClass();
    qbx::ComPtr<IClassFactory> factory;
    ClassRegistration registration;
};

// A visible top-level window to put controls on, destroyed with the object.
class TestForm {
public:
    TestForm(int width = 640, int height = 400);
    ~TestForm();
    TestForm(const TestForm&) = delete;
    TestForm& operator=(const TestForm&) = delete;
    HWND hWnd() const noexcept { return window_; }

private:
    HWND window_ = nullptr;
};

using qbxtest::pump;
using qbxtest::windowText;

// A window's rectangle in its parent's client coordinates.
RECT placement(HWND window);

std::wstring windowClass(HWND window);

// Places a control through its extender, in twips, and shows it.
void place(const qbx::Disp& extender, long left, long top, long width, long height);

void setClipboardText(HWND owner, const std::wstring& text);

}  // namespace hosttest
