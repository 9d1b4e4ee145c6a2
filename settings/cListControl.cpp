#include "settings/cListControl.h"

#include <vector>

namespace {


}  // namespace

cListControl::cListControl(HWND control) : hwnd_(control), combo_(false) {
    wchar_t cls[32] = {};
    GetClassNameW(control, cls, 32);
    if (CompareStringOrdinal(cls, -1, L"ComboBox", -1, TRUE) == CSTR_EQUAL) {
        combo_ = true;
    } else if (CompareStringOrdinal(cls, -1, L"ListBox", -1, TRUE) != CSTR_EQUAL) {
        qbx::raiseVb(qbx::vbErrTypeMismatch);
    }
}

bool cListControl::isDropDownList() const noexcept {
    return combo_ && (GetWindowLongW(hwnd_, GWL_STYLE) & 3) == CBS_DROPDOWNLIST;
}

std::wstring cListControl::Text() const {
    if (combo_ && !isDropDownList()) {
        int n = GetWindowTextLengthW(hwnd_);
        std::vector<wchar_t> buf(static_cast<size_t>(n) + 1, L'\0');
        GetWindowTextW(hwnd_, buf.data(), n + 1);
        return std::wstring(buf.data());
    }
    return List(ListIndex());
}

void cListControl::setText(const std::wstring& text) {
    if (!combo_) qbx::raiseVb(qbx::vbErrReadOnly, L"Text");
    if (isDropDownList()) {
        // Only an entry can be shown: the first one that matches (in any case).
        LRESULT i = SendMessageW(hwnd_, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                 reinterpret_cast<LPARAM>(text.c_str()));
        if (i == CB_ERR) qbx::raiseVb(qbx::vbErrReadOnly, L"Text");
        SendMessageW(hwnd_, CB_SETCURSEL, static_cast<WPARAM>(i), 0);
        return;
    }
    // A combo with an edit field shows any text; the selection follows an entry
    // spelt exactly so.
    long match = -1;
    for (long i = 0, n = ListCount(); i < n; ++i) {
        if (List(i) == text) {
            match = i;
            break;
        }
    }
    SendMessageW(hwnd_, CB_SETCURSEL, static_cast<WPARAM>(match), 0);
    SetWindowTextW(hwnd_, text.c_str());
}

void cListControl::Clear() {
    SendMessageW(hwnd_, msg(CB_RESETCONTENT, LB_RESETCONTENT), 0, 0);
    if (combo_) SetWindowTextW(hwnd_, L"");
}

void cListControl::AddItem(const std::wstring& item) {
    LRESULT r = SendMessageW(hwnd_, msg(CB_ADDSTRING, LB_ADDSTRING), 0, reinterpret_cast<LPARAM>(item.c_str()));
    if (r < 0) qbx::raiseVb(qbx::vbErrOutOfMemory);
}

long cListControl::ListCount() const {
    LRESULT n = SendMessageW(hwnd_, msg(CB_GETCOUNT, LB_GETCOUNT), 0, 0);
    return n < 0 ? 0 : static_cast<long>(n);
}

std::wstring cListControl::List(long index) const {
    if (index < 0 || index >= ListCount()) return std::wstring();
    LRESULT len = SendMessageW(hwnd_, msg(CB_GETLBTEXTLEN, LB_GETTEXTLEN), static_cast<WPARAM>(index), 0);
    if (len < 0) return std::wstring();
    std::vector<wchar_t> buf(static_cast<size_t>(len) + 1, L'\0');
    SendMessageW(hwnd_, msg(CB_GETLBTEXT, LB_GETTEXT), static_cast<WPARAM>(index),
                 reinterpret_cast<LPARAM>(buf.data()));
    return std::wstring(buf.data(), static_cast<size_t>(len));
}

long cListControl::ListIndex() const {
    LRESULT i = SendMessageW(hwnd_, msg(CB_GETCURSEL, LB_GETCURSEL), 0, 0);
    return i < 0 ? -1 : static_cast<long>(i);
}

void cListControl::setListIndex(long index) {
    if (index < -1 || index >= ListCount()) qbx::raiseVb(qbx::vbErrInvalidPropertyValue);
    SendMessageW(hwnd_, msg(CB_SETCURSEL, LB_SETCURSEL), static_cast<WPARAM>(index), 0);
}
