#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include "settings_ui/modAccessibility.h"
#include "support/modGlobals.h"

#include <commctrl.h>

#include <algorithm>
#include <atomic>
#include <cmath>

using qbx::sheet::CellFormat;
using qbx::sheet::HAlign;
using qbx::sheet::kMaxColumns;
using qbx::sheet::kMaxRows;
using qbx::sheet::Rect;

// {3A7C5E21-9D4B-4F6A-8C12-5B0E7D93A6F4}
const CLSID CLSID_QuillboxSpreadsheet = {0x3a7c5e21, 0x9d4b, 0x4f6a, {0x8c, 0x12, 0x5b, 0x0e, 0x7d, 0x93, 0xa6, 0xf4}};
const wchar_t* const kSpreadsheetProgId = L"Quillbox.Spreadsheet";

namespace {

std::atomic<long> live{0};
constexpr wchar_t kWindowClass[] = L"QuillboxSpreadsheetGrid";
constexpr UINT kCommitLater = WM_APP + 0x51;  // the cell editor lost the focus to another window

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

bool shiftDown() { return GetKeyState(VK_SHIFT) < 0; }
bool controlDown() { return GetKeyState(VK_CONTROL) < 0; }

bool isNumber(const qbx::sheet::CellValue& v) { return std::holds_alternative<double>(v); }

// The system's themed check box where a theme is active (uxtheme loaded at
// run time, so the DLL imports stay the system's basic ones).
struct Theme {
    using Open = HANDLE(WINAPI*)(HWND, LPCWSTR);
    using Close = HRESULT(WINAPI*)(HANDLE);
    using Draw = HRESULT(WINAPI*)(HANDLE, HDC, int, int, const RECT*, const RECT*);
    Open open = nullptr;
    Close close = nullptr;
    Draw draw = nullptr;
    static const Theme& get() {
        static const Theme t = [] {
            Theme r;
            if (HMODULE m = LoadLibraryW(L"uxtheme.dll")) {
                r.open = reinterpret_cast<Open>(reinterpret_cast<void*>(GetProcAddress(m, "OpenThemeData")));
                r.close = reinterpret_cast<Close>(reinterpret_cast<void*>(GetProcAddress(m, "CloseThemeData")));
                r.draw = reinterpret_cast<Draw>(reinterpret_cast<void*>(GetProcAddress(m, "DrawThemeBackground")));
            }
            return r;
        }();
        return t;
    }
};

}  // namespace

HRESULT fncCreateSpreadsheetControl(REFIID iid, void** out, qbx::sheet::MemberPolicy policy) {
    if (!out) return E_POINTER;
    *out = nullptr;
    try {
        qbx::ComPtr<cSpreadsheetControl> control(new cSpreadsheetControl(std::move(policy)));
        return control->QueryInterface(iid, out);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

long cSpreadsheetControl::liveObjects() noexcept { return live.load(); }

cSpreadsheetControl::cSpreadsheetControl(qbx::sheet::MemberPolicy policy)
    : Spreadsheet(std::make_shared<qbx::sheet::Sheet>(), std::move(policy)), sheet_(sheetPtr()) {
    ++live;
    sheet_->setView(this);
    accessLink_->control = this;
}

cSpreadsheetControl::~cSpreadsheetControl() {
    // The window outlives no object: it is taken down here, cut off from
    // this object first, so its last messages go to DefWindowProc.
    accessLink_->control = nullptr;  // a screen reader's objects now answer "gone"
    if (window_) SetWindowLongPtrW(window_, 0, 0);
    window_ = nullptr;
    edit_ = nullptr;
    destroyControlWindow();
    sheet_->setView(nullptr);  // objects of the model may outlive the control
    --live;
}

// ---------------------------------------------------------------- the window

HWND cSpreadsheetControl::createControlWindow(HWND parent, const RECT& r) {
    static const bool registered = [] {
        WNDCLASSEXW wc{};
        wc.cbSize = sizeof(wc);
        wc.style = CS_DBLCLKS;
        wc.hInstance = fncAddinModule();
        wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        wc.lpszClassName = kWindowClass;
        wc.cbWndExtra = sizeof(void*);
        wc.lpfnWndProc = &windowProc;  // answers DefWindowProc until the window knows its object
        return RegisterClassExW(&wc) != 0 || GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
    }();
    if (!registered) return nullptr;
    HWND w = CreateWindowExW(0, kWindowClass, L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | WS_CLIPCHILDREN, r.left,
                             r.top, r.right - r.left, r.bottom - r.top, parent, nullptr, fncAddinModule(), nullptr);
    if (!w) return nullptr;
    window_ = w;
    SetWindowLongPtrW(w, 0, reinterpret_cast<LONG_PTR>(this));
    updateScrollBars();
    return w;
}

LRESULT CALLBACK cSpreadsheetControl::windowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
    auto* self = reinterpret_cast<cSpreadsheetControl*>(GetWindowLongPtrW(window, 0));
    if (!self) return DefWindowProcW(window, message, w, l);
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrW(window, 0, 0);
        self->window_ = nullptr;
        self->edit_ = nullptr;
        self->editMode_ = EditMode::None;
        return DefWindowProcW(window, message, w, l);
    }
    // The object stays alive through a message that may drop its last reference.
    qbx::ComPtr<IDispatch> keep(static_cast<IDispatch*>(static_cast<Spreadsheet*>(self)));
    try {
        return self->handle(message, w, l);
    } catch (...) {
        // Nothing leaves a window procedure; a failed step leaves the grid as it was.
        return DefWindowProcW(window, message, w, l);
    }
}

LRESULT cSpreadsheetControl::handle(UINT message, WPARAM w, LPARAM l) {
    HWND self = window_;
    switch (message) {
        case WM_PAINT: {
            qbx::PaintDc dc(self);
            RECT client;
            GetClientRect(self, &client);
            paint(dc.get(), client);
            return 0;
        }
        case WM_ERASEBKGND:
            return 1;
        case WM_SIZE:
            if (edit_) {
                const RECT c = cellRect(editRow_, editColumn_);
                MoveWindow(edit_, c.left, c.top, c.right - c.left, c.bottom - c.top, TRUE);
            }
            updateScrollBars();
            refresh();
            return 0;
        case WM_GETDLGCODE: {
            // The grid keeps the arrows, the characters and Enter (they move
            // between cells and start entries). Tab goes to the dialog when
            // the viewable range is one column wide, so it moves on to the
            // next control; Escape always does (it cancels the window).
            LRESULT code = DLGC_WANTARROWS | DLGC_WANTCHARS;
            if (!oneColumn()) code |= DLGC_WANTTAB;
            if (const MSG* m = reinterpret_cast<const MSG*>(l); m && m->message == WM_KEYDOWN) {
                if (m->wParam == VK_RETURN || (m->wParam == VK_TAB && !oneColumn())) code |= DLGC_WANTMESSAGE;
            }
            return code;
        }
        case WM_SETFOCUS:
            if (edit_) SetFocus(edit_);
            refresh();
            announceActiveCell(true);
            return 0;
        case WM_GETOBJECT:
            if (static_cast<LONG>(l) == OBJID_CLIENT) {
                qbx::ComPtr<IAccessible> table = qbx::ComPtr<IAccessible>::attach(fncCreateGridAccessible(accessLink_));
                if (LRESULT answer = fncAnswerGetObject(w, table.get())) return answer;
            }
            break;
        case WM_KILLFOCUS:
            refresh();
            return 0;
        case WM_MOUSEACTIVATE:
            if (GetFocus() != self && GetFocus() != edit_) SetFocus(self);
            return MA_ACTIVATE;
        case WM_KEYDOWN:
            if (edit_) {
                // Keys that reach the grid while an entry is open belong to the entry.
                if (!editKey(static_cast<UINT>(w))) SendMessageW(edit_, WM_KEYDOWN, w, l);
                return 0;
            }
            if (onKey(static_cast<UINT>(w))) return 0;
            break;
        case WM_CHAR: {
            const wchar_t c = static_cast<wchar_t>(w);
            if (edit_) {
                if (c >= 32) SendMessageW(edit_, WM_CHAR, w, l);
                return 0;
            }
            if (c >= 32 && !controlDown()) startEdit(std::wstring(1, c), EditMode::Enter);
            return 0;
        }
        case kCommitLater:
            if (edit_) commitEdit();
            return 0;
        case WM_LBUTTONDOWN:
        case WM_LBUTTONDBLCLK: {
            SetFocus(self);
            if (edit_ && !commitEdit()) return 0;
            const POINT p{static_cast<short>(LOWORD(l)), static_cast<short>(HIWORD(l))};
            const Layout lay = layout();
            int row = 0, column = 0;
            if (p.y < lay.headHeight && p.x >= lay.headWidth && hitTest(POINT{p.x, lay.headHeight}, row, column)) {
                const Rect& vr = sheet_->viewableRange();
                sheet_->select(Rect{vr.top, column, vr.bottom, column});  // a column heading: the whole column
                anchorRow_ = endRow_ = vr.top;
                anchorColumn_ = endColumn_ = column;
                return 0;
            }
            if (p.x < lay.headWidth && p.y >= lay.headHeight && hitTest(POINT{lay.headWidth, p.y}, row, column)) {
                const Rect& vr = sheet_->viewableRange();
                sheet_->select(Rect{row, vr.left, row, vr.right});  // a row heading: the whole row
                anchorRow_ = endRow_ = row;
                anchorColumn_ = endColumn_ = vr.left;
                return 0;
            }
            if (!hitTest(p, row, column)) return 0;
            if (message == WM_LBUTTONDBLCLK) {
                moveTo(row, column, false);
                startEdit(sheet_->formula(row, column), EditMode::Edit);
                return 0;
            }
            moveTo(row, column, (w & MK_SHIFT) != 0);
            dragging_ = true;
            SetCapture(self);
            return 0;
        }
        case WM_MOUSEMOVE:
            if (dragging_ && (w & MK_LBUTTON)) {
                const POINT p{static_cast<short>(LOWORD(l)), static_cast<short>(HIWORD(l))};
                int row = 0, column = 0;
                if (hitTest(p, row, column) && (row != endRow_ || column != endColumn_)) moveTo(row, column, true);
            }
            return 0;
        case WM_LBUTTONUP:
        case WM_CAPTURECHANGED:
            if (dragging_) {
                dragging_ = false;
                if (GetCapture() == self) ReleaseCapture();
            }
            return 0;
        case WM_MOUSEWHEEL: {
            const int notches = GET_WHEEL_DELTA_WPARAM(w) / WHEEL_DELTA;
            if (edit_) commitEdit();
            scrollRows(-3 * notches);
            return 0;
        }
        case WM_VSCROLL:
        case WM_HSCROLL: {
            const bool vertical = message == WM_VSCROLL;
            SCROLLINFO si{};
            si.cbSize = sizeof(si);
            si.fMask = SIF_ALL;
            GetScrollInfo(self, vertical ? SB_VERT : SB_HORZ, &si);
            const int page = std::max(1, vertical ? fullyVisibleRows() : fullyVisibleColumns());
            int delta = 0;
            switch (LOWORD(w)) {
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
            return 0;
        }
        default:
            break;
    }
    return DefWindowProcW(self, message, w, l);
}

void cSpreadsheetControl::refresh() {
    if (window_ && sheet_->settings.screenUpdating) InvalidateRect(window_, nullptr, FALSE);
}

void cSpreadsheetControl::invalidate() {
    if (!window_) return;
    updateScrollBars();
    refresh();
    announceActiveCell();
}

bool cSpreadsheetControl::hasFocus() const {
    HWND focus = GetFocus();
    return window_ && (focus == window_ || (edit_ && focus == edit_));
}

void cSpreadsheetControl::announceActiveCell(bool always) {
    if (!window_) return;
    const int row = sheet_->activeRow(), column = sheet_->activeColumn();
    if (!always && row == announcedRow_ && column == announcedColumn_) return;
    announcedRow_ = row;
    announcedColumn_ = column;
    const long id = fncCellChildId(row, column);
    NotifyWinEvent(EVENT_OBJECT_SELECTION, window_, OBJID_CLIENT, id);
    if (hasFocus()) NotifyWinEvent(EVENT_OBJECT_FOCUS, window_, OBJID_CLIENT, id);
}

void cSpreadsheetControl::announceValue(int row, int column) {
    if (window_) NotifyWinEvent(EVENT_OBJECT_VALUECHANGE, window_, OBJID_CLIENT, fncCellChildId(row, column));
}

void cSpreadsheetControl::repaint() {
    if (!window_) return;
    updateScrollBars();
    InvalidateRect(window_, nullptr, FALSE);
    // Drawn now, whatever ScreenUpdating says: that is what Repaint asks for.
    qbx::WindowDc dc(window_);
    RECT client;
    GetClientRect(window_, &client);
    const bool updating = sheet_->settings.screenUpdating;
    sheet_->settings.screenUpdating = true;
    paint(dc.get(), client);
    sheet_->settings.screenUpdating = updating;
    ValidateRect(window_, nullptr);
}

// ---------------------------------------------------------------- geometry

int cSpreadsheetControl::dpi() const {
    using GetDpiForWindowFn = UINT(WINAPI*)(HWND);
    static const auto getDpiForWindow = reinterpret_cast<GetDpiForWindowFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow")));
    if (window_ && getDpiForWindow) {
        if (UINT d = getDpiForWindow(window_)) return static_cast<int>(d);
    }
    qbx::WindowDc dc(window_);
    int d = dc ? GetDeviceCaps(dc.get(), LOGPIXELSY) : 96;
    return d > 0 ? d : 96;
}

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

// The viewable range changed: it is shown from its top left, and the user's
// selection moves inside it.
void cSpreadsheetControl::setViewableRange(const Rect& r) {
    topRow_ = r.top;
    leftColumn_ = r.left;
    if (!r.contains(sheet_->activeRow(), sheet_->activeColumn())) {
        if (edit_) cancelEdit();
        anchorRow_ = endRow_ = r.top;
        anchorColumn_ = endColumn_ = r.left;
        sheet_->select(Rect{r.top, r.left, r.top, r.left});
    }
    updateScrollBars();
    refresh();
}

void cSpreadsheetControl::settleEntry() {
    if (edit_ && !settling_) {
        settling_ = true;
        commitEdit();
        settling_ = false;
    }
}

bool cSpreadsheetControl::oneColumn() const {
    const Rect& vr = sheet_->viewableRange();
    return vr.left == vr.right;
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
        SCROLLINFO si{};
        si.cbSize = sizeof(si);
        si.fMask = SIF_RANGE | SIF_PAGE | SIF_POS | SIF_DISABLENOSCROLL;
        si.nMin = std::max(s.frozenRows + 1, vr.top);
        si.nMax = std::min(vr.bottom, std::max({used.bottom, topRow_ + page, sheet_->activeRow()}) + page);
        si.nPage = static_cast<UINT>(page);
        si.nPos = topRow_;
        setScrollInfoIfChanged(window_, SB_VERT, si);
    }
    if (horizontalBar_) {
        const int page = fullyVisibleColumns();
        SCROLLINFO si{};
        si.cbSize = sizeof(si);
        si.fMask = SIF_RANGE | SIF_PAGE | SIF_POS | SIF_DISABLENOSCROLL;
        si.nMin = std::max(s.frozenColumns + 1, vr.left);
        si.nMax = std::min(vr.right, std::max({used.right, leftColumn_ + page, sheet_->activeColumn()}) + page);
        si.nPage = static_cast<UINT>(page);
        si.nPos = leftColumn_;
        setScrollInfoIfChanged(window_, SB_HORZ, si);
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
    const auto& s = sheet_->settings;
    const Layout lay = layout();
    const COLORREF window = GetSysColor(COLOR_WINDOW);
    const COLORREF face = GetSysColor(COLOR_BTNFACE);
    const COLORREF shadow = GetSysColor(COLOR_BTNSHADOW);
    const COLORREF highlight = GetSysColor(COLOR_HIGHLIGHT);
    const COLORREF grid = blend(window, shadow, 0.45);
    fill(dc, client, window);
    SetBkMode(dc, TRANSPARENT);

    for (const Band& r : lay.rows)
        for (const Band& c : lay.columns)
            drawCell(dc, RECT{c.start, r.start, c.start + c.size, r.start + r.size}, r.index, c.index, lay);

    qbx::Pen gridPen(CreatePen(PS_SOLID, 1, grid));
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

    // The cells' own borders (right and bottom edges).
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

    // The frozen split.
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

    // The selection's outline and the active cell's frame.
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
    const bool focused = GetFocus() == window_ || (edit_ && GetFocus() == edit_);
    const COLORREF frame = focused ? GetSysColor(COLOR_WINDOWTEXT) : shadow;
    if (rowsShown && columnsShown) {
        qbx::Brush brush(CreateSolidBrush(frame));
        for (int i = 0; i < 2; ++i) {
            RECT o{outline.left + i, outline.top + i, outline.right - i, outline.bottom - i};
            FrameRect(dc, &o, brush.get());
        }
    }

    // Headings.
    qbx::SelectedObject selectedHeadFont(dc, font(L"Tahoma", 8, false));
    SetTextColor(dc, GetSysColor(COLOR_BTNTEXT));
    qbx::Pen headPen(CreatePen(PS_SOLID, 1, shadow));
    qbx::SelectedObject selectedHeadPen(dc, headPen.get());
    if (lay.headHeight > 0) {
        fill(dc, RECT{0, 0, client.right, lay.headHeight}, face);
        for (const Band& c : lay.columns) {
            RECT cell{c.start, 0, c.start + c.size, lay.headHeight};
            if (c.index >= sel.left && c.index <= sel.right) fill(dc, cell, blend(face, highlight, 0.25));
            SetBkMode(dc, TRANSPARENT);
            const std::wstring name = qbx::sheet::columnName(c.index);
            DrawTextW(dc, name.c_str(), -1, &cell, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
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
            if (r.index >= sel.top && r.index <= sel.bottom) fill(dc, cell, blend(face, highlight, 0.25));
            SetBkMode(dc, TRANSPARENT);
            const std::wstring number = std::to_wstring(r.index);
            DrawTextW(dc, number.c_str(), -1, &cell, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
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
    const Theme& theme = Theme::get();
    if (theme.open && theme.draw && theme.close) {
        if (HANDLE data = theme.open(window_, L"BUTTON")) {
            // BP_CHECKBOX (3), CBS_CHECKEDNORMAL (5) / CBS_UNCHECKEDNORMAL (1)
            const HRESULT hr = theme.draw(data, dc, 3, checked ? 5 : 1, &box, nullptr);
            theme.close(data);
            if (SUCCEEDED(hr)) return;
        }
    }
    DrawFrameControl(dc, &box, DFC_BUTTON, DFCS_BUTTONCHECK | DFCS_FLAT | (checked ? DFCS_CHECKED : 0));
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
    if (!window_ || (message.hwnd != window_ && (!edit_ || message.hwnd != edit_))) return false;
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

// ---------------------------------------------------------------- editing

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
    edit_ = CreateWindowExW(0, L"EDIT", text.c_str(), WS_CHILD | WS_VISIBLE | ES_AUTOHSCROLL | ES_LEFT, c.left,
                            c.top, std::max<int>(c.right - c.left - 1, 8), c.bottom - c.top - 1, window_, nullptr,
                            fncAddinModule(), nullptr);
    if (!edit_) return false;
    editMode_ = mode;
    editRow_ = row;
    editColumn_ = column;
    // A check-box cell shows its character in a readable font while edited.
    const bool symbol = qbx::textEquals(f.fontName, L"Wingdings");
    SendMessageW(edit_, WM_SETFONT,
                 reinterpret_cast<WPARAM>(font(symbol ? L"Tahoma" : f.fontName, f.fontSize, f.bold)), FALSE);
    SendMessageW(edit_, EM_SETMARGINS, EC_LEFTMARGIN | EC_RIGHTMARGIN, MAKELPARAM(1, 1));
    SetWindowSubclass(edit_, &editProc, 1, reinterpret_cast<DWORD_PTR>(this));
    const int end = static_cast<int>(text.size());
    SendMessageW(edit_, EM_SETSEL, end, end);
    SetFocus(edit_);
    refresh();
    return true;
}

// Writes the entry into the cell as a user's entry; a refused entry (a
// locked cell, an unknown formula) keeps the cell as it was.
bool cSpreadsheetControl::commitEdit() {
    if (!edit_) return true;
    const int length = GetWindowTextLengthW(edit_);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    GetWindowTextW(edit_, text.data(), length + 1);
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
    HWND edit = edit_;
    edit_ = nullptr;
    editMode_ = EditMode::None;
    const bool hadFocus = GetFocus() == edit;
    RemoveWindowSubclass(edit, &editProc, 1);
    DestroyWindow(edit);
    if (hadFocus && window_) SetFocus(window_);
    refresh();
}

// Tab out of a one-column grid: the dialog's next (or previous) control
// gets the focus, as it would from any other control.
void cSpreadsheetControl::nextControl(bool previous) {
    if (!window_) return;
    HWND dialog = GetAncestor(window_, GA_ROOT);
    if (dialog && dialog != window_) SendMessageW(dialog, WM_NEXTDLGCTL, previous ? 1 : 0, FALSE);
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

LRESULT CALLBACK cSpreadsheetControl::editProc(HWND window, UINT message, WPARAM w, LPARAM l, UINT_PTR,
                                               DWORD_PTR data) {
    auto* self = reinterpret_cast<cSpreadsheetControl*>(data);
    try {
        switch (message) {
            case WM_GETDLGCODE: return DLGC_WANTALLKEYS | DLGC_WANTCHARS | DLGC_WANTARROWS | DLGC_HASSETSEL;
            case WM_KEYDOWN:
                if (self->editKey(static_cast<UINT>(w))) return 0;
                break;
            case WM_CHAR:
                if (w == L'\r' || w == L'\t' || w == 27) return 0;  // handled as keys; no beep
                break;
            case WM_KILLFOCUS:
                if (self->window_ && reinterpret_cast<HWND>(w) != self->window_)
                    PostMessageW(self->window_, kCommitLater, 0, 0);
                break;
            default: break;
        }
    } catch (...) {
        return 0;
    }
    return DefSubclassProc(window, message, w, l);
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
    if (!OpenClipboard(window_)) return;
    EmptyClipboard();
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    if (HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes)) {
        if (void* p = GlobalLock(memory)) {
            memcpy(p, text.c_str(), bytes);
            GlobalUnlock(memory);
            if (!::SetClipboardData(CF_UNICODETEXT, memory)) GlobalFree(memory);
        } else {
            GlobalFree(memory);
        }
    }
    CloseClipboard();
}

// Pastes tab and line separated text from the active cell on: each line
// fills a row, each tab moves a column. Refused as a whole (with a beep)
// when any cell it would change is locked on a protected sheet.
void cSpreadsheetControl::paste() {
    std::wstring text;
    if (!OpenClipboard(window_)) return;
    if (HANDLE data = ::GetClipboardData(CF_UNICODETEXT)) {
        if (const auto* p = static_cast<const wchar_t*>(GlobalLock(data))) {
            text = p;
            GlobalUnlock(data);
        }
    }
    CloseClipboard();
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
