#include "attachments/cSafeInspector.h"

#include <richedit.h>

#include <atomic>

namespace {

std::atomic<long> live{0};

constexpr long wdCollapseEnd = 0;

BOOL CALLBACK findRichEdit(HWND h, LPARAM found) {
    wchar_t cls[64] = {};
    GetClassNameW(h, cls, 64);
    if (_wcsnicmp(cls, L"RichEdit", 8) != 0) return TRUE;
    *reinterpret_cast<HWND*>(found) = h;
    return FALSE;
}

// The rich edit control of a plain-text window of the older editor: the
// top-level window titled as the inspector, and the first rich edit inside it.
HWND findPlainEditor(const std::wstring& caption) {
    HWND top = FindWindowW(nullptr, caption.c_str());
    HWND found = nullptr;
    if (top) EnumChildWindows(top, findRichEdit, reinterpret_cast<LPARAM>(&found));
    return found;
}

}  // namespace

cSafeInspector::cSafeInspector() : DispatchObject(L"SafeInspector") {
    ++live;
    property(L"Item", [this](qbx::Args&) { return qbx::Variant(objItem); },
             [this](qbx::Args&, const qbx::Variant& v) { objItem = v.isObject() ? v.toDisp() : qbx::Disp(); });
    method(L"InsertText", [this](qbx::Args& a) {
        InsertText(a.str(0));
        return qbx::Variant();
    });
}

cSafeInspector::~cSafeInspector() { --live; }

long cSafeInspector::liveObjects() noexcept { return live.load(); }

void cSafeInspector::InsertText(const std::wstring& text) {
    if (!objItem) qbx::raise(qbx::vbErrObjectNotSet, L"Object variable or With block variable not set");

    if (objItem.call(L"IsWordMail").toBool()) {
        // Word: collapse the selection to its end first, so selected text is
        // kept, then insert and leave the cursor after the new text.
        qbx::Disp selection = objItem.getObj(L"WordEditor").getObj(L"Application").getObj(L"Selection");
        selection.call(L"Collapse", wdCollapseEnd);
        selection.call(L"InsertAfter", text);
        selection.call(L"Collapse", wdCollapseEnd);
        return;
    }

    qbx::Disp html = objItem.getObj(L"HTMLEditor");
    if (html) {
        qbx::Disp range = html.getObj(L"selection").getObj(L"createRange");
        range.call(L"collapse", false);
        range.put(L"text", text);
        range.call(L"collapse", false);
        range.call(L"select");
        return;
    }

    // A plain-text window of the older editor offers no editor object: write
    // into its rich edit control at the end of the selection.
    HWND edit = findPlainEditor(objItem.get(L"Caption").toString());
    if (!edit) qbx::raise(qbx::vbErrNoMember, L"The window's editor can't be reached");
    CHARRANGE sel{};
    SendMessageW(edit, EM_EXGETSEL, 0, reinterpret_cast<LPARAM>(&sel));
    sel.cpMin = sel.cpMax;
    SendMessageW(edit, EM_EXSETSEL, 0, reinterpret_cast<LPARAM>(&sel));
    SendMessageW(edit, EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(text.c_str()));
}
