// The spreadsheet control under the keyboard and the mouse: moving the
// active cell and the selection, scrolling, and the keys the grid keeps
// from the dialog.
#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include <algorithm>

using qbx::sheet::kMaxColumns;
using qbx::sheet::Rect;

namespace {

bool shiftDown() { return GetKeyState(VK_SHIFT) < 0; }
bool controlDown() { return GetKeyState(VK_CONTROL) < 0; }

}  // namespace

POINT cSpreadsheetControl::pointOf(LPARAM l) {
    return POINT{static_cast<short>(LOWORD(l)), static_cast<short>(HIWORD(l))};
}

// The grid keeps the arrows, the characters and Enter (they move between
// cells and start entries). Tab goes to the dialog when the viewable range
// is one column wide, so it moves on to the next control; Escape always
// does (it cancels the window).
LRESULT cSpreadsheetControl::dialogCode(const MSG* m) const {
    LRESULT code = DLGC_WANTARROWS | DLGC_WANTCHARS;
    if (!oneColumn()) code |= DLGC_WANTTAB;
    if (m && m->message == WM_KEYDOWN) {
        if (m->wParam == VK_RETURN || (m->wParam == VK_TAB && !oneColumn())) code |= DLGC_WANTMESSAGE;
    }
    return code;
}

// A key pressed in the grid; true when handled.
bool cSpreadsheetControl::onKeyDown(WPARAM w, LPARAM l) {
    if (edit_) {
        // Keys that reach the grid while an entry is open belong to the entry.
        if (!editKey(static_cast<UINT>(w))) SendMessageW(edit_.get(), WM_KEYDOWN, w, l);
        return true;
    }
    return onKey(static_cast<UINT>(w));
}

// A character typed in the grid starts an entry (or goes to the open one).
void cSpreadsheetControl::onChar(WPARAM w, LPARAM l) {
    const wchar_t c = static_cast<wchar_t>(w);
    if (edit_) {
        if (c >= 32) SendMessageW(edit_.get(), WM_CHAR, w, l);
        return;
    }
    if (c >= 32 && !controlDown()) startEdit(std::wstring(1, c), EditMode::Enter);
}

// A click selects the cell (Shift extends the selection) and starts a drag;
// on a heading it selects the whole column or row; a double click edits the
// cell in place.
void cSpreadsheetControl::onMouseDown(POINT p, bool doubleClick, bool shift) {
    SetFocus(window_);
    if (edit_ && !commitEdit()) return;
    if (selectHeading(p)) return;
    int row = 0, column = 0;
    if (!hitTest(p, row, column)) return;
    if (doubleClick) {
        moveTo(row, column, false);
        startEdit(sheet_->formula(row, column), EditMode::Edit);
        return;
    }
    moveTo(row, column, shift);
    dragging_ = true;
    SetCapture(window_);
}

// A click on a column heading selects the column, on a row heading the
// row; false when the point is on no heading.
bool cSpreadsheetControl::selectHeading(POINT p) {
    const Layout lay = layout();
    int row = 0, column = 0;
    const Rect& vr = sheet_->viewableRange();
    if (p.y < lay.headHeight && p.x >= lay.headWidth && hitTest(POINT{p.x, lay.headHeight}, row, column)) {
        sheet_->select(Rect{vr.top, column, vr.bottom, column});
        anchorRow_ = endRow_ = vr.top;
        anchorColumn_ = endColumn_ = column;
        return true;
    }
    if (p.x < lay.headWidth && p.y >= lay.headHeight && hitTest(POINT{lay.headWidth, p.y}, row, column)) {
        sheet_->select(Rect{row, vr.left, row, vr.right});
        anchorRow_ = endRow_ = row;
        anchorColumn_ = endColumn_ = vr.left;
        return true;
    }
    return false;
}

void cSpreadsheetControl::onMouseMove(POINT p, bool buttonDown) {
    if (!dragging_ || !buttonDown) return;
    int row = 0, column = 0;
    if (hitTest(p, row, column) && (row != endRow_ || column != endColumn_)) moveTo(row, column, true);
}

void cSpreadsheetControl::endDrag() {
    if (!dragging_) return;
    dragging_ = false;
    if (GetCapture() == window_) ReleaseCapture();
}

void cSpreadsheetControl::onScroll(bool vertical, WORD request) {
    SCROLLINFO si{};
    si.cbSize = sizeof(si);
    si.fMask = SIF_ALL;
    GetScrollInfo(window_, vertical ? SB_VERT : SB_HORZ, &si);
    const int page = std::max(1, vertical ? fullyVisibleRows() : fullyVisibleColumns());
    int delta = 0;
    switch (request) {
        case SB_LINEUP: delta = -1; break;
        case SB_LINEDOWN: delta = 1; break;
        case SB_PAGEUP: delta = -page; break;
        case SB_PAGEDOWN: delta = page; break;
        case SB_THUMBTRACK:
        case SB_THUMBPOSITION: delta = si.nTrackPos - (vertical ? topRow_ : leftColumn_); break;
        default: break;
    }
    if (edit_) commitEdit();
    vertical ? scrollRows(delta) : scrollColumns(delta);
}

// ---------------------------------------------------------------- moving

void cSpreadsheetControl::moveTo(int row, int column, bool extend) {
    const Rect& vr = sheet_->viewableRange();
    row = std::clamp(row, vr.top, vr.bottom);
    column = std::clamp(column, vr.left, vr.right);
    // The selection may have been set by the object model meanwhile.
    const Rect& current = sheet_->selection();
    if (!current.contains(anchorRow_, anchorColumn_) || !current.contains(endRow_, endColumn_)) {
        anchorRow_ = endRow_ = sheet_->activeRow();
        anchorColumn_ = endColumn_ = sheet_->activeColumn();
    }
    endRow_ = row;
    endColumn_ = column;
    if (!extend) {
        anchorRow_ = row;
        anchorColumn_ = column;
    }
    sheet_->select(Rect{std::min(anchorRow_, endRow_), std::min(anchorColumn_, endColumn_),
                        std::max(anchorRow_, endRow_), std::max(anchorColumn_, endColumn_)});
    ensureVisible(row, column);
    announceActiveCell();
}

void cSpreadsheetControl::moveBy(int rows, int columns, bool extend) {
    int row = extend ? endRow_ : sheet_->activeRow();
    int column = extend ? endColumn_ : sheet_->activeColumn();
    if (extend && !sheet_->selection().contains(endRow_, endColumn_)) {
        row = sheet_->activeRow();
        column = sheet_->activeColumn();
    }
    moveTo(row + rows, column + columns, extend);
}

void cSpreadsheetControl::ensureVisible(int row, int column) {
    const auto& s = sheet_->settings;
    bool scrolled = false;
    if (row > s.frozenRows) {
        const int rows = fullyVisibleRows();
        if (row < topRow_) topRow_ = row, scrolled = true;
        else if (row >= topRow_ + rows) topRow_ = row - rows + 1, scrolled = true;
    }
    if (column > s.frozenColumns) {
        if (column < leftColumn_) {
            leftColumn_ = column;
            scrolled = true;
        } else {
            RECT client{};
            GetClientRect(window_, &client);
            // Scroll right until the column's right edge is inside the window.
            for (int guard = 0; guard < kMaxColumns; ++guard) {
                const Layout lay = layout();
                const bool shown = std::any_of(lay.columns.begin(), lay.columns.end(), [&](const Band& b) {
                    return b.index == column && b.start + b.size <= client.right;
                });
                if (shown || leftColumn_ >= column) break;
                ++leftColumn_;
                scrolled = true;
            }
        }
    }
    if (scrolled) {
        updateScrollBars();
        refresh();
    }
}

void cSpreadsheetControl::scrollRows(int delta) {
    const Rect& vr = sheet_->viewableRange();
    const int first = std::max(sheet_->settings.frozenRows + 1, vr.top);
    const int top = std::clamp(topRow_ + delta, first, std::max(first, vr.bottom));
    if (top == topRow_) return;
    topRow_ = top;
    updateScrollBars();
    refresh();
}

void cSpreadsheetControl::scrollColumns(int delta) {
    const Rect& vr = sheet_->viewableRange();
    const int first = std::max(sheet_->settings.frozenColumns + 1, vr.left);
    const int left = std::clamp(leftColumn_ + delta, first, std::max(first, vr.right));
    if (left == leftColumn_) return;
    leftColumn_ = left;
    updateScrollBars();
    refresh();
}

// The keys of the grid while no entry is open; true when handled.
bool cSpreadsheetControl::onKey(UINT key) {
    const bool shift = shiftDown(), control = controlDown();
    const auto& s = sheet_->settings;
    switch (key) {
        case VK_UP: moveBy(-1, 0, shift); return true;
        case VK_DOWN: moveBy(1, 0, shift); return true;
        case VK_LEFT: moveBy(0, -1, shift); return true;
        case VK_RIGHT: moveBy(0, 1, shift); return true;
        case VK_PRIOR: moveBy(-fullyVisibleRows(), 0, shift); return true;
        case VK_NEXT: moveBy(fullyVisibleRows(), 0, shift); return true;
        case VK_TAB:
            if (oneColumn()) {
                nextControl(shift);
                return true;
            }
            moveBy(0, shift ? -1 : 1, false);
            return true;
        case VK_HOME:
            if (control) {
                topRow_ = std::max(s.frozenRows + 1, sheet_->viewableRange().top);
                leftColumn_ = std::max(s.frozenColumns + 1, sheet_->viewableRange().left);
                moveTo(1, 1, shift);
            } else {
                moveTo(endRow_ > 0 && shift ? endRow_ : sheet_->activeRow(), 1, shift);
            }
            return true;
        case VK_END: {
            const Rect used = sheet_->usedRange();
            if (control) moveTo(used.bottom, used.right, shift);
            else moveTo(shift ? endRow_ : sheet_->activeRow(), used.right, shift);
            return true;
        }
        case VK_RETURN: {
            if (!s.moveAfterReturn) return true;
            static const int dr[] = {1, 0, -1, 0}, dc[] = {0, 1, 0, -1};
            const int d = std::clamp(s.moveAfterReturnDirection, 0, 3);
            moveBy(shift ? -dr[d] : dr[d], shift ? -dc[d] : dc[d], false);
            return true;
        }
        case VK_F2:
            startEdit(sheet_->formula(sheet_->activeRow(), sheet_->activeColumn()), EditMode::Edit);
            return true;
        case VK_DELETE: clearSelection(); return true;
        case 'C':
            if (!control) return false;
            copySelection();
            return true;
        case 'V':
            if (!control) return false;
            paste();
            return true;
        default: return false;
    }
}

bool cSpreadsheetControl::translateKey(MSG& message) {
    if (!window_ || (message.hwnd != window_ && (!edit_ || message.hwnd != edit_.get()))) return false;
    if (message.message != WM_KEYDOWN && message.message != WM_KEYUP && message.message != WM_CHAR) return false;
    // Keys with Alt belong to the container (menus, mnemonics); the others
    // the grid uses before any accelerator or dialog key sees them.
    if (GetKeyState(VK_MENU) < 0) return false;
    if (message.message == WM_KEYDOWN) {
        switch (message.wParam) {
            case VK_UP: case VK_DOWN: case VK_LEFT: case VK_RIGHT: case VK_PRIOR: case VK_NEXT:
            case VK_HOME: case VK_END: case VK_RETURN: case VK_F2: case VK_DELETE:
                break;
            case VK_TAB:  // in a one-column grid the dialog moves on to the next control
                if (oneColumn() && !edit_) return false;
                break;
            case VK_ESCAPE:  // outside an entry the dialog's Cancel
                if (!edit_) return false;
                break;
            case 'C': case 'V': case 'X': case 'A': case 'Z':
                if (!controlDown()) return false;
                break;
            default:
                return false;
        }
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
    return true;
}

// Tab out of a one-column grid: the dialog's next (or previous) control
// gets the focus, as it would from any other control.
void cSpreadsheetControl::nextControl(bool previous) {
    if (!window_) return;
    HWND dialog = GetAncestor(window_, GA_ROOT);
    if (dialog && dialog != window_) SendMessageW(dialog, WM_NEXTDLGCTL, previous ? 1 : 0, FALSE);
}
