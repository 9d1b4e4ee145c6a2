// The OLE control's window as tests read it.
#pragma once

#include "settings_ui/spreadsheet/cOleControl.h"

struct cOleControlTesting {
    // The control's window while it is active in place (null otherwise).
    static HWND controlWindow(const cOleControl& control) noexcept { return control.window_.get(); }
};
