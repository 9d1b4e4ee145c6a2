#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include "support/modAccessibility.h"
#include "support/modGlobals.h"

#include <commctrl.h>

#include <algorithm>
#include <atomic>
#include <cmath>

using qbx::sheet::Rect;

// {3A7C5E21-9D4B-4F6A-8C12-5B0E7D93A6F4}
const CLSID CLSID_QuillboxSpreadsheet = {0x3a7c5e21, 0x9d4b, 0x4f6a, {0x8c, 0x12, 0x5b, 0x0e, 0x7d, 0x93, 0xa6, 0xf4}};
const wchar_t* const kSpreadsheetProgId = L"Quillbox.Spreadsheet";

namespace {

std::atomic<long> live{0};
constexpr wchar_t kWindowClass[] = L"QuillboxSpreadsheetGrid";

}  // namespace

HRESULT fncCreateSpreadsheetControl(REFIID iid, void** out, qbx::sheet::MemberPolicy policy) {
    if (!out) return E_POINTER;
    *out = nullptr;
    return qbx::comBoundary(L"fncCreateSpreadsheetControl", [&] {
        qbx::ComPtr<cSpreadsheetControl> control(new cSpreadsheetControl(std::move(policy)));
        return control->QueryInterface(iid, out);
    });
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
    qbx::WindowProcedures::cutOff(window_, 0);
    window_ = nullptr;
    editSubclass_.reset();
    edit_.reset();
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
        wc.lpfnWndProc = &qbx::WindowProcedures::window<cSpreadsheetControl, &cSpreadsheetControl::windowMessage, 0>;
        return RegisterClassExW(&wc) != 0 || GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
    }();
    if (!registered) return nullptr;
    HWND w = CreateWindowExW(0, kWindowClass, L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | WS_CLIPCHILDREN, r.left,
                             r.top, r.right - r.left, r.bottom - r.top, parent, nullptr, fncAddinModule(), this);
    if (!w) return nullptr;
    updateScrollBars();
    return w;
}

void cSpreadsheetControl::windowDetached() noexcept {
    window_ = nullptr;
    // The cell editor, a child, is gone already.
    editSubclass_.reset();
    edit_.reset();
    editMode_ = EditMode::None;
}

std::optional<LRESULT> cSpreadsheetControl::windowMessage(UINT message, WPARAM w, LPARAM l) {
    // The object stays alive through a message that may drop its last reference.
    qbx::ComPtr<IDispatch> keep(static_cast<IDispatch*>(static_cast<Spreadsheet*>(this)));
    return handle(message, w, l);
}

// The window's messages: painting, size and focus here; the keyboard and
// the mouse in spreadsheet_input.cpp.
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
                MoveWindow(edit_.get(), c.left, c.top, c.right - c.left, c.bottom - c.top, TRUE);
            }
            updateScrollBars();
            refresh();
            return 0;
        case WM_GETDLGCODE:
            return dialogCode(reinterpret_cast<const MSG*>(l));
        case WM_SETFOCUS:
            if (edit_) SetFocus(edit_.get());
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
            if (GetFocus() != self && GetFocus() != edit_.get()) SetFocus(self);
            return MA_ACTIVATE;
        case WM_KEYDOWN:
            if (onKeyDown(w, l)) return 0;
            break;
        case WM_CHAR:
            onChar(w, l);
            return 0;
        case kCommitLater:
            if (edit_) commitEdit();
            return 0;
        case WM_LBUTTONDOWN:
        case WM_LBUTTONDBLCLK:
            onMouseDown(pointOf(l), message == WM_LBUTTONDBLCLK, (w & MK_SHIFT) != 0);
            return 0;
        case WM_MOUSEMOVE:
            onMouseMove(pointOf(l), (w & MK_LBUTTON) != 0);
            return 0;
        case WM_LBUTTONUP:
        case WM_CAPTURECHANGED:
            endDrag();
            return 0;
        case WM_MOUSEWHEEL:
            if (edit_) commitEdit();
            scrollRows(-3 * (GET_WHEEL_DELTA_WPARAM(w) / WHEEL_DELTA));
            return 0;
        case WM_VSCROLL:
        case WM_HSCROLL:
            onScroll(message == WM_VSCROLL, LOWORD(w));
            return 0;
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
    return window_ && (focus == window_ || (edit_ && focus == edit_.get()));
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
