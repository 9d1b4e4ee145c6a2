// The spreadsheet control's picture: where rows and columns fall in the
// window, the fonts at the window's DPI, the scroll bars, and the drawing
// of cells, gridlines, borders, the selection and the headings.
#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include "support/com/win_window.h"

#include <algorithm>
#include <cmath>

using qbx::sheet::CellFormat;
using qbx::sheet::HAlign;
using qbx::sheet::kMaxColumns;
using qbx::sheet::kMaxRows;
using qbx::sheet::Rect;

namespace {

wchar_t const kCheckedBox = 0x00FE;    // character 254: a checked box in Wingdings
wchar_t const kUncheckedBox = 0x00A8;  // character 168: an empty box in Wingdings

COLORREF blend(COLORREF a, COLORREF b, double share) {
    auto mix = [share](int x, int y) { return static_cast<int>(std::lround(x + (y - x) * share)); };
    return RGB(mix(GetRValue(a), GetRValue(b)), mix(GetGValue(a), GetGValue(b)), mix(GetBValue(a), GetBValue(b)));
}

void fill(HDC dc, const RECT& r, COLORREF colour) {
    SetBkColor(dc, colour);
    ExtTextOutW(dc, 0, 0, ETO_OPAQUE, &r, nullptr, 0, nullptr);
}

bool isNumber(const qbx::sheet::CellValue& v) { return std::holds_alternative<double>(v); }

}  // namespace

// ---------------------------------------------------------------- geometry

int cSpreadsheetControl::dpi() const { return static_cast<int>(qbx::windowDpi(window_)); }

// Rows are 12.75 points high (17 pixels at 96 DPI): room for the default
// Arial 10 and for the settings grid's Tahoma 8 alike.
int cSpreadsheetControl::rowHeight() const { return MulDiv(17, dpi(), 96); }

// The width of a digit in the default font (Arial 10): column widths count
// in those.
int cSpreadsheetControl::digitWidth() const {
    const int d = dpi();
    if (digitWidth_ == 0 || digitWidthDpi_ != d) {
        qbx::WindowDc dc(window_);
        qbx::SelectedObject selectedFont(dc.get(), font(L"Arial", 10, false));
        SIZE size{};
        GetTextExtentPoint32W(dc.get(), L"0", 1, &size);
        digitWidth_ = std::max<int>(1, size.cx);
        digitWidthDpi_ = d;
    }
    return digitWidth_;
}

int cSpreadsheetControl::columnPixels(int column) const {
    const double width = sheet_->columnWidth(column);
    if (width <= 0) return 0;
    return static_cast<int>(std::lround(width * digitWidth() + MulDiv(5, dpi(), 96)));
}

cSpreadsheetControl::Layout cSpreadsheetControl::layout() const {
    Layout lay;
    RECT client{};
    if (window_) GetClientRect(window_, &client);
    const auto& s = sheet_->settings;
    const int rh = rowHeight();
    if (s.displayColumnHeadings) lay.headHeight = rh;
    if (s.displayRowHeadings) {
        qbx::WindowDc dc(window_);
        qbx::SelectedObject selectedFont(dc.get(), font(L"Tahoma", 8, false));
        SIZE size{};
        GetTextExtentPoint32W(dc.get(), L"00000", 5, &size);
        lay.headWidth = size.cx + MulDiv(8, dpi(), 96);
    }
    // Only the viewable range's cells are laid out: the rest of the sheet is
    // hidden from the user.
    const Rect& vr = sheet_->viewableRange();
    const int frozenRows = std::clamp(s.frozenRows, 0, kMaxRows - 1);
    const int frozenColumns = std::clamp(s.frozenColumns, 0, kMaxColumns - 1);
    int y = lay.headHeight;
    for (int r = vr.top; r <= std::min(frozenRows, vr.bottom) && y < client.bottom; ++r, y += rh)
        lay.rows.push_back({r, y, rh});
    lay.frozenBottom = y;
    for (int r = std::max({topRow_, frozenRows + 1, vr.top}); r <= vr.bottom && y < client.bottom; ++r, y += rh)
        lay.rows.push_back({r, y, rh});
    int x = lay.headWidth;
    for (int c = vr.left; c <= std::min(frozenColumns, vr.right) && x < client.right; ++c) {
        const int w = columnPixels(c);
        lay.columns.push_back({c, x, w});
        x += w;
    }
    lay.frozenRight = x;
    for (int c = std::max({leftColumn_, frozenColumns + 1, vr.left}); c <= vr.right && x < client.right; ++c) {
        const int w = columnPixels(c);
        if (w == 0) continue;  // a hidden column
        lay.columns.push_back({c, x, w});
        x += w;
    }
    return lay;
}

int cSpreadsheetControl::fullyVisibleRows() const {
    RECT client{};
    if (window_) GetClientRect(window_, &client);
    const Layout lay = layout();
    return std::max(1, static_cast<int>((client.bottom - lay.frozenBottom) / std::max(1, rowHeight())));
}

int cSpreadsheetControl::fullyVisibleColumns() const {
    RECT client{};
    if (window_) GetClientRect(window_, &client);
    int n = 0;
    for (const Band& b : layout().columns)
        if (b.index > sheet_->settings.frozenColumns && b.start + b.size <= client.right) ++n;
    return std::max(1, n);
}

bool cSpreadsheetControl::hitTest(POINT p, int& row, int& column) const {
    const Layout lay = layout();
    row = column = 0;
    for (const Band& b : lay.rows)
        if (p.y >= b.start && p.y < b.start + b.size) row = b.index;
    for (const Band& b : lay.columns)
        if (p.x >= b.start && p.x < b.start + b.size) column = b.index;
    return row > 0 && column > 0;
}

RECT cSpreadsheetControl::cellRect(int row, int column) const {
    const Layout lay = layout();
    RECT r{-1, -1, -1, -1};
    for (const Band& b : lay.rows)
        if (b.index == row) r.top = b.start, r.bottom = b.start + b.size;
    for (const Band& b : lay.columns)
        if (b.index == column) r.left = b.start, r.right = b.start + b.size;
    return r;
}

double cSpreadsheetControl::measureText(const std::wstring& text, const CellFormat& format) const {
    if (!window_) return -1;
    qbx::WindowDc dc(window_);
    qbx::SelectedObject selectedFont(dc.get(), font(format.fontName, format.fontSize, format.bold));
    SIZE size{};
    GetTextExtentPoint32W(dc.get(), text.c_str(), static_cast<int>(text.size()), &size);
    return static_cast<double>(size.cx + MulDiv(4, dpi(), 96)) / digitWidth();
}

HFONT cSpreadsheetControl::font(const std::wstring& name, double points, bool bold) const {
    const int height = -static_cast<int>(std::lround(points * dpi() / 72.0));
    const std::wstring key = qbx::toLower(name) + L"|" + std::to_wstring(height) + (bold ? L"|b" : L"");
    auto it = fonts_.find(key);
    if (it != fonts_.end()) return it->second.get();
    LOGFONTW lf{};
    lf.lfHeight = height;
    lf.lfWeight = bold ? FW_BOLD : FW_NORMAL;
    lf.lfCharSet = DEFAULT_CHARSET;
    lf.lfQuality = DEFAULT_QUALITY;
    lstrcpynW(lf.lfFaceName, name.c_str(), LF_FACESIZE);
    HFONT f = CreateFontIndirectW(&lf);
    fonts_[key].reset(f);
    return f;
}

namespace {

// Sets a scroll bar only when its range, page or position differ from what
// it has: every change of the sheet asks for the bars again, and setting one
// redraws it at once, which costs about 3 ms under Wine even when nothing
// changed (a Calculate or a protection switch would pay it each time). The
// position is compared as the system keeps it, inside the range (the first
// row under the frozen ones may be asked for as row 1).
void setScrollInfoIfChanged(HWND window, int bar, const SCROLLINFO& wanted) {
    SCROLLINFO now{};
    now.cbSize = sizeof(now);
    now.fMask = SIF_RANGE | SIF_PAGE | SIF_POS;
    const int lastPos = std::max(wanted.nMin, wanted.nMax - std::max(static_cast<int>(wanted.nPage), 1) + 1);
    const int pos = std::clamp(wanted.nPos, wanted.nMin, lastPos);
    if (GetScrollInfo(window, bar, &now) && now.nMin == wanted.nMin && now.nMax == wanted.nMax &&
        now.nPage == wanted.nPage && now.nPos == pos)
        return;
    SetScrollInfo(window, bar, &wanted, TRUE);
}

void setScrollBar(HWND window, int bar, int first, int last, int page, int position) {
    SCROLLINFO si{};
    si.cbSize = sizeof(si);
    si.fMask = SIF_RANGE | SIF_PAGE | SIF_POS | SIF_DISABLENOSCROLL;
    si.nMin = first;
    si.nMax = last;
    si.nPage = static_cast<UINT>(page);
    si.nPos = position;
    setScrollInfoIfChanged(window, bar, si);
}

}  // namespace

void cSpreadsheetControl::updateScrollBars() {
    if (!window_) return;
    const auto& s = sheet_->settings;
    if (s.displayVerticalScrollBar != verticalBar_) {
        verticalBar_ = s.displayVerticalScrollBar;
        ShowScrollBar(window_, SB_VERT, verticalBar_);
    }
    if (s.displayHorizontalScrollBar != horizontalBar_) {
        horizontalBar_ = s.displayHorizontalScrollBar;
        ShowScrollBar(window_, SB_HORZ, horizontalBar_);
    }
    const Rect used = sheet_->usedRange();
    const Rect& vr = sheet_->viewableRange();
    if (verticalBar_) {
        const int page = fullyVisibleRows();
        setScrollBar(window_, SB_VERT, std::max(s.frozenRows + 1, vr.top),
                     std::min(vr.bottom, std::max({used.bottom, topRow_ + page, sheet_->activeRow()}) + page), page,
                     topRow_);
    }
    if (horizontalBar_) {
        const int page = fullyVisibleColumns();
        setScrollBar(window_, SB_HORZ, std::max(s.frozenColumns + 1, vr.left),
                     std::min(vr.right, std::max({used.right, leftColumn_ + page, sheet_->activeColumn()}) + page),
                     page, leftColumn_);
    }
}

// ---------------------------------------------------------------- drawing

// Draws into a picture of the window's size and shows it; while
// ScreenUpdating is off the last picture is shown again instead.
void cSpreadsheetControl::paint(HDC target, const RECT& client) {
    const int w = client.right - client.left, h = client.bottom - client.top;
    if (w <= 0 || h <= 0) return;
    qbx::MemoryDc memory(CreateCompatibleDC(target));
    const bool fresh = sheet_->settings.screenUpdating || !lastPicture_;
    if (fresh && (!lastPicture_ || lastPictureSize_.cx != w || lastPictureSize_.cy != h)) {
        lastPicture_.reset(CreateCompatibleBitmap(target, w, h));
        lastPictureSize_ = SIZE{w, h};
    }
    qbx::SelectedObject selectedPicture(memory.get(), lastPicture_.get());
    if (fresh) {
        render(memory.get(), client);
        ++renders_;
    }
    BitBlt(target, 0, 0, w, h, memory.get(), 0, 0, SRCCOPY);
}

void cSpreadsheetControl::render(HDC dc, const RECT& client) {
    const Layout lay = layout();
    fill(dc, client, GetSysColor(COLOR_WINDOW));
    SetBkMode(dc, TRANSPARENT);
    for (const Band& r : lay.rows)
        for (const Band& c : lay.columns)
            drawCell(dc, RECT{c.start, r.start, c.start + c.size, r.start + r.size}, r.index, c.index, lay);
    drawLines(dc, lay);
    drawSelection(dc, lay);
    drawHeadings(dc, client, lay);
}

// The gridlines, the cells' own borders (right and bottom edges) and the
// line under the frozen rows and right of the frozen columns.
void cSpreadsheetControl::drawLines(HDC dc, const Layout& lay) {
    const auto& s = sheet_->settings;
    const COLORREF shadow = GetSysColor(COLOR_BTNSHADOW);
    qbx::Pen gridPen(CreatePen(PS_SOLID, 1, blend(GetSysColor(COLOR_WINDOW), shadow, 0.45)));
    qbx::SelectedObject selectedGridPen(dc, gridPen.get());
    const int right = lay.columns.empty() ? lay.headWidth : lay.columns.back().start + lay.columns.back().size;
    const int bottom = lay.rows.empty() ? lay.headHeight : lay.rows.back().start + lay.rows.back().size;
    if (s.displayGridlines) {
        for (const Band& r : lay.rows) {
            MoveToEx(dc, lay.headWidth, r.start + r.size - 1, nullptr);
            LineTo(dc, right, r.start + r.size - 1);
        }
        for (const Band& c : lay.columns) {
            MoveToEx(dc, c.start + c.size - 1, lay.headHeight, nullptr);
            LineTo(dc, c.start + c.size - 1, bottom);
        }
    }
    drawBorders(dc, lay);

    qbx::Pen splitPen(CreatePen(PS_SOLID, 1, shadow));
    qbx::SelectedObject selectedSplitPen(dc, splitPen.get());
    if (s.frozenRows > 0 && lay.frozenBottom > lay.headHeight) {
        MoveToEx(dc, lay.headWidth, lay.frozenBottom - 1, nullptr);
        LineTo(dc, right, lay.frozenBottom - 1);
    }
    if (s.frozenColumns > 0 && lay.frozenRight > lay.headWidth) {
        MoveToEx(dc, lay.frozenRight - 1, lay.headHeight, nullptr);
        LineTo(dc, lay.frozenRight - 1, bottom);
    }
}

void cSpreadsheetControl::drawBorders(HDC dc, const Layout& lay) {
    for (const Band& r : lay.rows)
        for (const Band& c : lay.columns) {
            const CellFormat f = sheet_->format(r.index, c.index);
            if (!f.rightBorder && !f.bottomBorder) continue;
            qbx::Pen pen(CreatePen(PS_SOLID, std::max(1, f.borderWeight - 1), f.borderColor));
            qbx::SelectedObject selectedPen(dc, pen.get());
            if (f.rightBorder) {
                MoveToEx(dc, c.start + c.size - 1, r.start - 1, nullptr);
                LineTo(dc, c.start + c.size - 1, r.start + r.size);
            }
            if (f.bottomBorder) {
                MoveToEx(dc, c.start - 1, r.start + r.size - 1, nullptr);
                LineTo(dc, c.start + c.size, r.start + r.size - 1);
            }
        }
}

// The selection's outline and the active cell's frame.
void cSpreadsheetControl::drawSelection(HDC dc, const Layout& lay) {
    const Rect& sel = sheet_->selection();
    RECT outline{};
    bool rowsShown = false, columnsShown = false;
    for (const Band& r : lay.rows)
        if (sel.contains(r.index, sel.left)) {
            if (!rowsShown) outline.top = std::max(lay.headHeight, r.start - 1);
            outline.bottom = r.start + r.size;
            rowsShown = true;
        }
    for (const Band& c : lay.columns)
        if (sel.contains(sel.top, c.index)) {
            if (!columnsShown) outline.left = std::max(lay.headWidth, c.start - 1);
            outline.right = c.start + c.size;
            columnsShown = true;
        }
    if (!rowsShown || !columnsShown) return;
    const bool focused = GetFocus() == window_ || (edit_ && GetFocus() == edit_.get());
    qbx::Brush brush(CreateSolidBrush(focused ? GetSysColor(COLOR_WINDOWTEXT) : GetSysColor(COLOR_BTNSHADOW)));
    for (int i = 0; i < 2; ++i) {
        RECT o{outline.left + i, outline.top + i, outline.right - i, outline.bottom - i};
        FrameRect(dc, &o, brush.get());
    }
}

// The column headings (letters) and row headings (numbers), those of the
// selection tinted.
void cSpreadsheetControl::drawHeadings(HDC dc, const RECT& client, const Layout& lay) {
    const Rect& sel = sheet_->selection();
    const COLORREF face = GetSysColor(COLOR_BTNFACE);
    const COLORREF tint = blend(face, GetSysColor(COLOR_HIGHLIGHT), 0.25);
    qbx::SelectedObject selectedHeadFont(dc, font(L"Tahoma", 8, false));
    SetTextColor(dc, GetSysColor(COLOR_BTNTEXT));
    qbx::Pen headPen(CreatePen(PS_SOLID, 1, GetSysColor(COLOR_BTNSHADOW)));
    qbx::SelectedObject selectedHeadPen(dc, headPen.get());
    const auto heading = [&](RECT cell, bool selected, const std::wstring& text) {
        if (selected) fill(dc, cell, tint);
        SetBkMode(dc, TRANSPARENT);
        DrawTextW(dc, text.c_str(), -1, &cell, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    };
    if (lay.headHeight > 0) {
        fill(dc, RECT{0, 0, client.right, lay.headHeight}, face);
        for (const Band& c : lay.columns) {
            RECT cell{c.start, 0, c.start + c.size, lay.headHeight};
            heading(cell, c.index >= sel.left && c.index <= sel.right, qbx::sheet::columnName(c.index));
            MoveToEx(dc, cell.right - 1, 0, nullptr);
            LineTo(dc, cell.right - 1, lay.headHeight);
        }
        MoveToEx(dc, 0, lay.headHeight - 1, nullptr);
        LineTo(dc, client.right, lay.headHeight - 1);
    }
    if (lay.headWidth > 0) {
        fill(dc, RECT{0, lay.headHeight, lay.headWidth, client.bottom}, face);
        for (const Band& r : lay.rows) {
            RECT cell{0, r.start, lay.headWidth, r.start + r.size};
            heading(cell, r.index >= sel.top && r.index <= sel.bottom, std::to_wstring(r.index));
            MoveToEx(dc, 0, cell.bottom - 1, nullptr);
            LineTo(dc, lay.headWidth, cell.bottom - 1);
        }
        MoveToEx(dc, lay.headWidth - 1, 0, nullptr);
        LineTo(dc, lay.headWidth - 1, client.bottom);
        if (lay.headHeight > 0) fill(dc, RECT{0, 0, lay.headWidth - 1, lay.headHeight - 1}, face);
    }
}

void cSpreadsheetControl::drawCell(HDC dc, const RECT& cell, int row, int column, const Layout&) {
    const CellFormat f = sheet_->format(row, column);
    const Rect& sel = sheet_->selection();
    const bool active = row == sheet_->activeRow() && column == sheet_->activeColumn();
    COLORREF background = f.interior == CLR_INVALID ? GetSysColor(COLOR_WINDOW) : f.interior;
    if (sel.contains(row, column) && !active && !sel.isCell())
        background = blend(background, GetSysColor(COLOR_HIGHLIGHT), 0.2);
    if (background != GetSysColor(COLOR_WINDOW)) fill(dc, cell, background);
    if (edit_ && row == editRow_ && column == editColumn_) return;

    const qbx::sheet::CellValue value = sheet_->value(row, column);
    if (qbx::sheet::isEmpty(value)) return;
    const std::wstring text = qbx::sheet::displayText(value);
    if (qbx::textEquals(f.fontName, L"Wingdings") && text.size() == 1 &&
        (text[0] == kCheckedBox || text[0] == kUncheckedBox)) {
        drawCheckBox(dc, cell, text[0] == kCheckedBox, f.align);
        return;
    }
    UINT align = DT_LEFT;
    switch (f.align) {
        case HAlign::Left: align = DT_LEFT; break;
        case HAlign::Center: align = DT_CENTER; break;
        case HAlign::Right: align = DT_RIGHT; break;
        case HAlign::General:
            align = isNumber(value) ? DT_RIGHT : std::holds_alternative<bool>(value) ? DT_CENTER : DT_LEFT;
            break;
    }
    const int pad = MulDiv(2, dpi(), 96);
    RECT inner{cell.left + pad, cell.top, cell.right - pad - 1, cell.bottom - 1};
    qbx::SelectedObject selectedFont(dc, font(f.fontName, f.fontSize, f.bold));
    SetTextColor(dc, GetSysColor(COLOR_WINDOWTEXT));
    SetBkMode(dc, TRANSPARENT);
    DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &inner,
              align | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX | DT_END_ELLIPSIS);
}

void cSpreadsheetControl::drawCheckBox(HDC dc, const RECT& cell, bool checked, HAlign align) {
    const int size = std::min<int>(MulDiv(13, dpi(), 96), cell.bottom - cell.top - 3);
    const int pad = MulDiv(3, dpi(), 96);
    int left = (cell.left + cell.right - size) / 2;
    if (align == HAlign::Left) left = cell.left + pad;
    if (align == HAlign::Right) left = cell.right - pad - size;
    const int top = cell.top + (cell.bottom - cell.top - 1 - size) / 2;
    RECT box{left, top, left + size, top + size};
    // The system's themed check box where a theme is active:
    // BP_CHECKBOX (3), CBS_CHECKEDNORMAL (5) / CBS_UNCHECKEDNORMAL (1).
    if (SUCCEEDED(qbx::drawThemeBackground(qbx::openThemeData(window_, L"BUTTON"), dc, 3, checked ? 5 : 1, box)))
        return;
    DrawFrameControl(dc, &box, DFC_BUTTON, DFCS_BUTTONCHECK | DFCS_FLAT | (checked ? DFCS_CHECKED : 0));
}
