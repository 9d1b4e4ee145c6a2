// The spreadsheet control's cell editor: an EDIT child over the cell that
// an entry is typed into, committed into the sheet or cancelled; and Delete,
// which empties the selection's editable cells.
#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include "support/modGlobals.h"

#include <commctrl.h>

#include <algorithm>

using qbx::sheet::CellFormat;
using qbx::sheet::Rect;

bool cSpreadsheetControl::startEdit(const std::wstring& text, EditMode mode) {
    if (!window_) return false;
    const int row = sheet_->activeRow(), column = sheet_->activeColumn();
    if (!sheet_->editable(row, column)) {
        MessageBeep(MB_ICONWARNING);
        return false;
    }
    ensureVisible(row, column);
    const RECT c = cellRect(row, column);
    if (c.left < 0 || c.top < 0) return false;
    const CellFormat f = sheet_->format(row, column);
    edit_.reset(CreateWindowExW(0, L"EDIT", text.c_str(), WS_CHILD | WS_VISIBLE | ES_AUTOHSCROLL | ES_LEFT, c.left,
                            c.top, std::max<int>(c.right - c.left - 1, 8), c.bottom - c.top - 1, window_, nullptr,
                            fncAddinModule(), nullptr));
    if (!edit_) return false;
    editMode_ = mode;
    editRow_ = row;
    editColumn_ = column;
    // A check-box cell shows its character in a readable font while edited.
    const bool symbol = qbx::textEquals(f.fontName, L"Wingdings");
    SendMessageW(edit_.get(), WM_SETFONT,
                 reinterpret_cast<WPARAM>(font(symbol ? L"Tahoma" : f.fontName, f.fontSize, f.bold)), FALSE);
    SendMessageW(edit_.get(), EM_SETMARGINS, EC_LEFTMARGIN | EC_RIGHTMARGIN, MAKELPARAM(1, 1));
    editSubclass_ = qbx::WindowSubclass(
        edit_.get(), &qbx::WindowProcedures::subclass<cSpreadsheetControl, &cSpreadsheetControl::editMessage>, 1,
        reinterpret_cast<DWORD_PTR>(this));
    const int end = static_cast<int>(text.size());
    SendMessageW(edit_.get(), EM_SETSEL, end, end);
    SetFocus(edit_.get());
    refresh();
    return true;
}

// Writes the entry into the cell as a user's entry; a refused entry (a
// locked cell, an unknown formula) keeps the cell as it was.
bool cSpreadsheetControl::commitEdit() {
    if (!edit_) return true;
    const int length = GetWindowTextLengthW(edit_.get());
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    GetWindowTextW(edit_.get(), text.data(), length + 1);
    text.resize(static_cast<size_t>(length));
    const int row = editRow_, column = editColumn_;
    cancelEdit();
    try {
        sheet_->enterText(row, column, text);
    } catch (const qbx::Error&) {
        MessageBeep(MB_ICONWARNING);
        return false;
    }
    updateScrollBars();
    announceValue(row, column);
    return true;
}

void cSpreadsheetControl::cancelEdit() {
    if (!edit_) return;
    editMode_ = EditMode::None;
    const bool hadFocus = GetFocus() == edit_.get();
    // The editor's losing the focus as it goes is no reason to commit.
    editSubclass_.reset();
    edit_.reset();
    if (hadFocus && window_) SetFocus(window_);
    refresh();
}

// The keys an open entry reacts to itself; true when handled.
bool cSpreadsheetControl::editKey(UINT key) {
    switch (key) {
        case VK_ESCAPE: cancelEdit(); return true;
        case VK_RETURN:
            if (commitEdit()) onKey(VK_RETURN);
            return true;
        case VK_TAB:
            if (commitEdit()) onKey(VK_TAB);
            return true;
        case VK_UP: case VK_DOWN: case VK_LEFT: case VK_RIGHT: case VK_PRIOR: case VK_NEXT:
            // An entry started by typing ends with a move; one opened for
            // editing moves the caret instead.
            if (editMode_ != EditMode::Enter) return false;
            if (commitEdit()) onKey(key);
            return true;
        default: return false;
    }
}

std::optional<LRESULT> cSpreadsheetControl::editMessage(UINT message, WPARAM w, LPARAM) {
    switch (message) {
        case WM_GETDLGCODE: return DLGC_WANTALLKEYS | DLGC_WANTCHARS | DLGC_WANTARROWS | DLGC_HASSETSEL;
        case WM_KEYDOWN:
            if (editKey(static_cast<UINT>(w))) return 0;
            break;
        case WM_CHAR:
            if (w == L'\r' || w == L'\t' || w == 27) return 0;  // handled as keys; no beep
            break;
        case WM_KILLFOCUS:
            if (window_ && reinterpret_cast<HWND>(w) != window_) PostMessageW(window_, kCommitLater, 0, 0);
            break;
        default: break;
    }
    return std::nullopt;
}

// Delete: empties the selection's cells that the user may change; locked
// cells of a protected sheet keep their content.
void cSpreadsheetControl::clearSelection() {
    const Rect sel = sheet_->selection();
    const Rect used = sheet_->usedRange();
    const Rect r{std::max(sel.top, used.top), std::max(sel.left, used.left), std::min(sel.bottom, used.bottom),
                 std::min(sel.right, used.right)};
    bool refused = false;
    {
        qbx::sheet::Sheet::Batch batch(*sheet_);
        for (int row = r.top; row <= r.bottom; ++row)
            for (int column = r.left; column <= r.right; ++column) {
                if (!sheet_->editable(row, column)) {
                    refused = refused || !qbx::sheet::isEmpty(sheet_->value(row, column));
                    continue;
                }
                if (!qbx::sheet::isEmpty(sheet_->value(row, column)) || sheet_->hasFormula(row, column))
                    sheet_->clearContents(Rect{row, column, row, column});
            }
    }
    if (refused) MessageBeep(MB_ICONWARNING);
}
