// The spreadsheet control and the clipboard: Ctrl+C copies the selection
// as tab and CR LF separated text, Ctrl+V pastes such text.
#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include <algorithm>
#include <cstring>

using qbx::sheet::Rect;

void cSpreadsheetControl::copySelection() {
    const Rect sel = sheet_->selection();
    const Rect used = sheet_->usedRange();
    // Whole rows or columns copy as far as there is content.
    const Rect r{sel.top, sel.left, std::max(sel.top, std::min(sel.bottom, used.bottom)),
                 std::max(sel.left, std::min(sel.right, used.right))};
    std::wstring text;
    for (int row = r.top; row <= r.bottom; ++row) {
        for (int column = r.left; column <= r.right; ++column) {
            if (column > r.left) text += L'\t';
            text += qbx::sheet::displayText(sheet_->value(row, column));
        }
        text += L"\r\n";
    }
    const qbx::OpenedClipboard clipboard(window_);
    if (!clipboard) return;
    EmptyClipboard();
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    qbx::GlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, bytes));
    {
        const qbx::GlobalLocked locked(memory.get());
        if (!locked) return;
        memcpy(locked.get(), text.c_str(), bytes);
    }
    // The clipboard owns the memory once it took it.
    if (::SetClipboardData(CF_UNICODETEXT, memory.get())) memory.release();
}

// Pastes tab and line separated text from the active cell on: each line
// fills a row, each tab moves a column. Refused as a whole (with a beep)
// when any cell it would change is locked on a protected sheet.
void cSpreadsheetControl::paste() {
    std::wstring text;
    {
        const qbx::OpenedClipboard clipboard(window_);
        if (!clipboard) return;
        const qbx::GlobalLocked data(::GetClipboardData(CF_UNICODETEXT));
        if (data) text = static_cast<const wchar_t*>(data.get());
    }
    text = qbx::replaceAll(text, L"\r\n", L"\n");
    std::vector<std::wstring> lines = qbx::split(text, L"\n");
    if (!lines.empty() && lines.back().empty()) lines.pop_back();
    if (lines.empty()) return;
    const int top = sheet_->activeRow(), left = sheet_->activeColumn();
    const Rect& vr = sheet_->viewableRange();
    std::vector<std::vector<std::wstring>> cells;
    for (const auto& line : lines) cells.push_back(qbx::split(line, L"\t"));
    int right = left;
    for (size_t i = 0; i < cells.size(); ++i) {
        const int row = top + static_cast<int>(i);
        if (row > vr.bottom) break;
        for (size_t j = 0; j < cells[i].size(); ++j) {
            const int column = left + static_cast<int>(j);
            if (column > vr.right) break;
            right = std::max(right, column);
            if (!sheet_->editable(row, column)) {
                MessageBeep(MB_ICONWARNING);
                return;
            }
        }
    }
    {
        qbx::sheet::Sheet::Batch batch(*sheet_);
        // What falls outside the viewable range is not pasted: the user can't see it.
        for (size_t i = 0; i < cells.size() && top + static_cast<int>(i) <= vr.bottom; ++i)
            for (size_t j = 0; j < cells[i].size() && left + static_cast<int>(j) <= vr.right; ++j) {
                try {
                    sheet_->enterText(top + static_cast<int>(i), left + static_cast<int>(j), cells[i][j]);
                } catch (const qbx::Error&) {
                    MessageBeep(MB_ICONWARNING);  // a text the cell can't take; the rest still goes in
                }
            }
        anchorRow_ = top;
        anchorColumn_ = left;
        endRow_ = std::min(vr.bottom, top + static_cast<int>(cells.size()) - 1);
        endColumn_ = std::min(vr.right, right);
        sheet_->select(Rect{top, left, endRow_, endColumn_});
    }
    updateScrollBars();
}
