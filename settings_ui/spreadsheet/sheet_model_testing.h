// The sheet's internal counts, for tests and benchmarks.
#pragma once

#include "settings_ui/spreadsheet/sheet_model.h"

namespace qbx::sheet {

struct SheetTesting {
    // The format layers held (whole rows and columns are one layer each,
    // never one per cell; repeating a format on the same cells replaces it).
    static size_t formatLayers(const Sheet& sheet) noexcept { return sheet.formats_.size(); }
    // The repaint requests that reached the window.
    static uint64_t repaintRequests(const Sheet& sheet) noexcept { return sheet.repaints_; }
};

}  // namespace qbx::sheet
