// A Win32 combo box or list box seen through the members the list code uses,
// with the behaviour of a form's list-type controls:
//   Text       the text shown (list box: the selected entry). Setting it on a
//              drop-down-list combo selects the matching entry and raises
//              383 when there is none; a list box refuses it always (383).
//   Clear      removes every entry (and a combo's text).
//   AddItem    appends an entry (a sorted control sorts it in).
//   ListCount  the number of entries.
//   List(i)    the entry at index i; empty text outside 0 .. ListCount - 1.
//   ListIndex  the selected index, -1 for none; setting an index outside
//              -1 .. ListCount - 1 raises 380.
#pragma once

#include "support/com.h"

#include <string>

class cListControl {
public:
    // The control is not owned; it must be a "COMBOBOX" or "LISTBOX" window.
    explicit cListControl(HWND control);

    HWND hWnd() const noexcept { return hwnd_; }

    std::wstring Text() const;
    void setText(const std::wstring& text);
    void Clear();
    void AddItem(const std::wstring& item);
    long ListCount() const;
    std::wstring List(long index) const;
    long ListIndex() const;
    void setListIndex(long index);

private:
    bool isDropDownList() const noexcept;
    UINT msg(UINT comboMessage, UINT listMessage) const noexcept { return combo_ ? comboMessage : listMessage; }

    HWND hwnd_;
    bool combo_;
};
