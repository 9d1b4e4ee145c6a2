#include "attachments/cSafeInspector.h"

#include <richedit.h>

namespace {

constexpr long wdCollapseEnd = 0;

bool fncIsRichEdit(HWND h) {
    wchar_t cls[64] = {};
    GetClassNameW(h, cls, 64);
    return _wcsnicmp(cls, L"RichEdit", 8) == 0;
}

// The control holding the user's cursor in a plain- or rich-text window of
// the older editor: after the window was brought forward, the focused rich
// edit control of the active top-level window with the inspector's caption.
// Neither the caption alone (two mails may share it) nor the first rich edit
// of the window (the To, Cc and Subject lines are rich edits too) says where
// the cursor is.
HWND fncFindCursorControl(const std::wstring& caption) {
    HWND focus = GetFocus();
    if (!focus || !fncIsRichEdit(focus)) return nullptr;
    HWND top = GetAncestor(focus, GA_ROOT);
    if (!top) return nullptr;
    int n = GetWindowTextLengthW(top);
    std::wstring title(static_cast<size_t>(n) + 1, L'\0');
    title.resize(static_cast<size_t>(GetWindowTextW(top, title.data(), n + 1)));
    return title == caption ? focus : nullptr;
}

}  // namespace

cSafeInspector::cSafeInspector() : DispatchObject(L"SafeInspector") {
    property(L"Item", [this](qbx::Args&) { return qbx::Variant(objItem_); },
             [this](qbx::Args&, const qbx::Variant& v) { objItem_ = v.isObject() ? v.toDisp() : qbx::Disp(); });
    method(L"InsertText", [this](qbx::Args& a) {
        InsertText(a.str(0));
        return qbx::Variant();
    });
}


void cSafeInspector::InsertText(const std::wstring& text) {
    if (!objItem_) qbx::raiseVb(qbx::vbErrObjectNotSet);

    if (objItem_.get(L"IsWordMail").toBool()) {
        // Word: this mail's own document window's selection (Word's
        // application-wide Selection belongs to whichever document Word has
        // active). Collapse it to its end first, so selected text is kept,
        // then insert and leave the cursor after the new text.
        qbx::Disp selection = objItem_.getObj(L"WordEditor").getObj(L"ActiveWindow").getObj(L"Selection");
        selection.call(L"Collapse", wdCollapseEnd);
        selection.call(L"InsertAfter", text);
        selection.call(L"Collapse", wdCollapseEnd);
        return;
    }

    qbx::Disp html = objItem_.getObj(L"HTMLEditor");
    if (html) {
        qbx::Disp range = html.getObj(L"selection").getObj(L"createRange");
        range.call(L"collapse", false);
        range.put(L"text", text);
        range.call(L"collapse", false);
        range.call(L"select");
        return;
    }

    // A plain- or rich-text window of the older editor offers no editor
    // object: bring it forward and write into the control holding the
    // cursor, at the end of the selection.
    objItem_.call(L"Activate");
    HWND edit = fncFindCursorControl(objItem_.get(L"Caption").toString());
    if (!edit) qbx::raise(qbx::vbErrNoMember, L"The window's editor can't be reached");
    CHARRANGE sel{};
    SendMessageW(edit, EM_EXGETSEL, 0, reinterpret_cast<LPARAM>(&sel));
    sel.cpMin = sel.cpMax;
    SendMessageW(edit, EM_EXSETSEL, 0, reinterpret_cast<LPARAM>(&sel));
    SendMessageW(edit, EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(text.c_str()));
}
