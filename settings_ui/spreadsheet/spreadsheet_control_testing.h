// The spreadsheet control's window state, for tests, benchmarks and
// screenshots.
#pragma once

#include "settings_ui/spreadsheet/spreadsheet_control.h"

struct cSpreadsheetControlTesting {
    // How often the grid was drawn.
    static uint64_t renderCount(const cSpreadsheetControl* control) noexcept { return control->renders_; }
    // The cell editor while one is open.
    static HWND editWindow(const cSpreadsheetControl* control) noexcept { return control->edit_.get(); }
    // Where a cell is in the window, in pixels.
    static RECT cellRect(const cSpreadsheetControl* control, int row, int column) {
        return control->cellRect(row, column);
    }
};
