#include "settings_ui/spreadsheet/grid_accessible.h"

#include "support/modAccessibility.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"

using qbx::sheet::Rect;

namespace {

constexpr long kCellFlag = 0x40000000;

bool isCellId(long id) { return (id & kCellFlag) != 0; }
int cellRow(long id) { return static_cast<int>((id >> 9) & 0x1FFFF); }
int cellColumn(long id) { return static_cast<int>(id & 0x1FF); }

HRESULT text(BSTR* out, const std::wstring& s) {
    if (!out) return E_POINTER;
    *out = SysAllocString(s.c_str());
    return *out ? S_OK : E_OUTOFMEMORY;
}

void setI4(VARIANT* v, long value) {
    VariantInit(v);
    v->vt = VT_I4;
    v->lVal = value;
}

}  // namespace

long fncCellChildId(int row, int column) {
    return kCellFlag | (static_cast<long>(row) << 9) | static_cast<long>(column);
}

// One object for the table (row 0) and one per row: the same answers, seen
// from a different level.
class cGridAccessible final : public qbx::Unknown<IAccessible> {
public:
    cGridAccessible(std::shared_ptr<cGridAccessLink> link, int row) : link_(std::move(link)), row_(row) {}

    bool answers(REFIID iid) const override { return iid == IID_IDispatch || iid == kIID_IAccessible; }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override {
        if (n) *n = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE get_accParent(IDispatch** parent) override {
        if (!parent) return E_POINTER;
        *parent = nullptr;
        cSpreadsheetControl* c = control();
        if (!c) return CO_E_OBJNOTCONNECTED;
        if (row_ > 0) {
            *parent = qbx::ComPtr<cGridAccessible>(new cGridAccessible(link_, 0)).detach();
            return S_OK;
        }
        const cOleacc& oleacc = cOleacc::get();
        if (!oleacc.createStdAccessibleObject) return S_FALSE;
        return oleacc.createStdAccessibleObject(c->window_, OBJID_WINDOW, IID_IDispatch,
                                                reinterpret_cast<void**>(parent));
    }
    HRESULT STDMETHODCALLTYPE get_accChildCount(long* count) override {
        if (!count) return E_POINTER;
        *count = 0;
        if (!control()) return CO_E_OBJNOTCONNECTED;
        const Rect r = shown();
        *count = row_ > 0 ? r.columns() : r.rows();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_accChild(VARIANT child, IDispatch** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (!control()) return CO_E_OBJNOTCONNECTED;
        if (child.vt != VT_I4) return E_INVALIDARG;
        if (row_ == 0 && !isCellId(child.lVal)) {
            const Rect r = shown();
            if (child.lVal < 1 || child.lVal > r.rows()) return E_INVALIDARG;
            *out = qbx::ComPtr<cGridAccessible>(new cGridAccessible(link_, r.top + child.lVal - 1)).detach();
            return S_OK;
        }
        int row = 0, column = 0;
        return cellOf(child, row, column) ? S_FALSE : E_INVALIDARG;  // cells are simple elements
    }
    HRESULT STDMETHODCALLTYPE get_accName(VARIANT child, BSTR* name) override {
        if (!name) return E_POINTER;
        *name = nullptr;
        cSpreadsheetControl* c = control();
        if (!c) return CO_E_OBJNOTCONNECTED;
        int row = 0, column = 0;
        if (cellOf(child, row, column)) return text(name, cellText(row, column));
        if (!isSelf(child)) return E_INVALIDARG;
        if (row_ > 0) return text(name, std::to_wstring(row_));  // as the row heading says
        // The table is named by its header cell.
        const Rect& vr = c->sheet_->viewableRange();
        return text(name, c->sheet_->settings.frozenRows >= vr.top ? cellText(vr.top, vr.left) : std::wstring());
    }
    HRESULT STDMETHODCALLTYPE get_accValue(VARIANT child, BSTR* value) override {
        if (!value) return E_POINTER;
        *value = nullptr;
        if (!control()) return CO_E_OBJNOTCONNECTED;
        int row = 0, column = 0;
        if (cellOf(child, row, column)) return text(value, cellText(row, column));
        return isSelf(child) ? S_FALSE : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE get_accDescription(VARIANT, BSTR* d) override { return none(d); }
    HRESULT STDMETHODCALLTYPE get_accRole(VARIANT child, VARIANT* role) override {
        if (!role) return E_POINTER;
        if (!control()) return CO_E_OBJNOTCONNECTED;
        int row = 0, column = 0;
        if (cellOf(child, row, column)) return setI4(role, ROLE_SYSTEM_CELL), S_OK;
        if (!isSelf(child)) return E_INVALIDARG;
        setI4(role, row_ > 0 ? ROLE_SYSTEM_ROW : ROLE_SYSTEM_TABLE);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_accState(VARIANT child, VARIANT* state) override {
        if (!state) return E_POINTER;
        cSpreadsheetControl* c = control();
        if (!c) return CO_E_OBJNOTCONNECTED;
        const bool focused = c->hasFocus();
        long s = 0;
        int row = 0, column = 0;
        if (cellOf(child, row, column)) {
            s = STATE_SYSTEM_FOCUSABLE | STATE_SYSTEM_SELECTABLE;
            if (c->sheet_->selection().contains(row, column)) s |= STATE_SYSTEM_SELECTED;
            if (focused && row == c->sheet_->activeRow() && column == c->sheet_->activeColumn()) s |= STATE_SYSTEM_FOCUSED;
            if (!c->sheet_->editable(row, column)) s |= STATE_SYSTEM_READONLY;
        } else if (isSelf(child)) {
            s = row_ > 0 ? 0 : STATE_SYSTEM_FOCUSABLE | (focused ? STATE_SYSTEM_FOCUSED : 0);
        } else {
            return E_INVALIDARG;
        }
        if (!IsWindowVisible(c->window_)) s |= STATE_SYSTEM_INVISIBLE;
        setI4(state, s);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_accHelp(VARIANT, BSTR* h) override { return none(h); }
    HRESULT STDMETHODCALLTYPE get_accHelpTopic(BSTR* f, VARIANT, long* t) override {
        if (f) *f = nullptr;
        if (t) *t = 0;
        return S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE get_accKeyboardShortcut(VARIANT, BSTR* k) override { return none(k); }
    // The active cell: as a cell id from the table, as a column from its row.
    HRESULT STDMETHODCALLTYPE get_accFocus(VARIANT* focus) override {
        if (!focus) return E_POINTER;
        VariantInit(focus);
        cSpreadsheetControl* c = control();
        if (!c) return CO_E_OBJNOTCONNECTED;
        if (!c->hasFocus()) return S_FALSE;
        return activeCell(focus);
    }
    HRESULT STDMETHODCALLTYPE get_accSelection(VARIANT* selection) override {
        if (!selection) return E_POINTER;
        VariantInit(selection);
        if (!control()) return CO_E_OBJNOTCONNECTED;
        return activeCell(selection);
    }
    HRESULT STDMETHODCALLTYPE get_accDefaultAction(VARIANT, BSTR* a) override { return none(a); }
    HRESULT STDMETHODCALLTYPE accSelect(long flags, VARIANT child) override {
        cSpreadsheetControl* c = control();
        if (!c) return CO_E_OBJNOTCONNECTED;
        int row = 0, column = 0;
        if (!cellOf(child, row, column)) return E_INVALIDARG;
        if (flags & SELFLAG_TAKEFOCUS) SetFocus(c->window_);
        if (flags & (SELFLAG_TAKESELECTION | SELFLAG_TAKEFOCUS)) c->moveTo(row, column, false);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE accLocation(long* x, long* y, long* w, long* h, VARIANT child) override {
        if (!x || !y || !w || !h) return E_POINTER;
        cSpreadsheetControl* c = control();
        if (!c) return CO_E_OBJNOTCONNECTED;
        RECT r{};
        int row = 0, column = 0;
        if (cellOf(child, row, column)) {
            r = c->cellRect(row, column);
        } else if (isSelf(child) && row_ > 0) {
            const Rect s = shown();
            r = c->cellRect(row_, s.left);
            r.right = c->cellRect(row_, s.right).right;
        } else if (isSelf(child)) {
            GetClientRect(c->window_, &r);
        } else {
            return E_INVALIDARG;
        }
        if (r.top < 0 || r.left < 0) return S_FALSE;  // scrolled out of sight
        MapWindowPoints(c->window_, nullptr, reinterpret_cast<POINT*>(&r), 2);
        *x = r.left, *y = r.top, *w = r.right - r.left, *h = r.bottom - r.top;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE accNavigate(long, VARIANT, VARIANT* end) override {
        if (end) VariantInit(end);
        return DISP_E_MEMBERNOTFOUND;
    }
    HRESULT STDMETHODCALLTYPE accHitTest(long x, long y, VARIANT* child) override {
        if (!child) return E_POINTER;
        VariantInit(child);
        cSpreadsheetControl* c = control();
        if (!c) return CO_E_OBJNOTCONNECTED;
        POINT p{x, y};
        ScreenToClient(c->window_, &p);
        int row = 0, column = 0;
        if (!c->hitTest(p, row, column)) return S_FALSE;
        setI4(child, row_ > 0 ? column - shown().left + 1 : fncCellChildId(row, column));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE accDoDefaultAction(VARIANT) override { return DISP_E_MEMBERNOTFOUND; }
    HRESULT STDMETHODCALLTYPE put_accName(VARIANT, BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_accValue(VARIANT, BSTR) override { return E_NOTIMPL; }

private:
    cSpreadsheetControl* control() const {
        cSpreadsheetControl* c = link_->control;
        return c && c->window_ ? c : nullptr;
    }
    static bool isSelf(const VARIANT& v) { return v.vt == VT_I4 && v.lVal == CHILDID_SELF; }
    static HRESULT none(BSTR* out) {
        if (out) *out = nullptr;
        return S_FALSE;
    }
    // The rows and columns that are children: the viewable range, down to
    // the last used (or the active) row and across to the last used (or
    // active) column.
    Rect shown() const {
        const cSpreadsheetControl* c = link_->control;
        const auto& sheet = *c->sheet_;
        const Rect& vr = sheet.viewableRange();
        const Rect used = sheet.usedRange();
        Rect r = vr;
        r.bottom = std::max(vr.top, std::min(vr.bottom, std::max(used.bottom, sheet.activeRow())));
        r.right = std::max(vr.left, std::min(vr.right, std::max(used.right, sheet.activeColumn())));
        return r;
    }
    // A child id that names a cell: any cell id on the table, a column's
    // position on a row.
    bool cellOf(const VARIANT& v, int& row, int& column) const {
        if (v.vt != VT_I4) return false;
        const Rect r = shown();
        if (row_ > 0) {
            if (v.lVal < 1 || v.lVal > r.columns()) return false;
            row = row_;
            column = r.left + v.lVal - 1;
            return true;
        }
        if (!isCellId(v.lVal)) return false;
        row = cellRow(v.lVal);
        column = cellColumn(v.lVal);
        return link_->control->sheet_->viewableRange().contains(row, column);
    }
    std::wstring cellText(int row, int column) const {
        return qbx::sheet::displayText(link_->control->sheet_->value(row, column));
    }
    HRESULT activeCell(VARIANT* out) const {
        const auto& sheet = *link_->control->sheet_;
        if (row_ == 0) {
            setI4(out, fncCellChildId(sheet.activeRow(), sheet.activeColumn()));
            return S_OK;
        }
        if (sheet.activeRow() != row_) return S_FALSE;
        setI4(out, sheet.activeColumn() - shown().left + 1);
        return S_OK;
    }

    std::shared_ptr<cGridAccessLink> link_;
    int row_;
};

IAccessible* fncCreateGridAccessible(const std::shared_ptr<cGridAccessLink>& link) {
    return qbx::answerBoundary<IAccessible*>(L"fncCreateGridAccessible", nullptr, [&] {
        return qbx::ComPtr<cGridAccessible>(new cGridAccessible(link, 0)).detach();
    });
}
