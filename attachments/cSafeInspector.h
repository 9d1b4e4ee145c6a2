// The safe-inspector component: given a mail window (Item), InsertText writes
// text at the cursor of that window's editor, never replacing or
// reformatting the text around it. Registered by the add-in's DLL under the
// ProgID "SafeBrantholm.SafeInspector"; the attachment flow creates it by
// that name.
#pragma once

#include "support/com/dispatch_object.h"

// {612E3C95-437C-45C2-BC45-D37BD67DD0AC}
inline constexpr CLSID CLSID_SafeInspector = {
    0x612E3C95, 0x437C, 0x45C2, {0xBC, 0x45, 0xD3, 0x7B, 0xD6, 0x7D, 0xD0, 0xAC}};
inline constexpr const wchar_t* kSafeInspectorProgId = L"SafeBrantholm.SafeInspector";

class cSafeInspector final : public qbx::DispatchObject {
public:
    cSafeInspector();

    // Inserts text at the cursor of the window's editor: Word's selection in
    // Word windows, the HTML editor's selection otherwise, and the window's
    // rich edit control for plain-text windows of the older editor.
    void InsertText(const std::wstring& text);

private:
    qbx::Disp objItem_;  // the Inspector
};
