// The settings window's list of pages: one cTab record per tab, kept in a
// scripting dictionary from tab caption to record, in insertion order (the
// order of the tabs).
#pragma once

#include "support/com/dispatch_object.h"

#include <string>

// One page of the settings window. Its fields are also readable by name, as
// the dictionary hands records back as plain objects.
class cTab final : public qbx::DispatchObject {
public:
    cTab();

    std::wstring TabCaption;     // the text on the tab, also its key
    std::wstring TabUsrControl;  // the page's class: "Quillbox." & name
    bool HasExcelList = false;   // the page uses the shared grid
    bool EventsEnabled = false;  // the grid raises its change events on this page
    bool SimpleList = false;     // the page edits a simple list (kept, not read)
    bool Advanced = false;       // shown only in advanced mode
    qbx::Variant varExtraData;   // an object handed to the page through the window
};

class cTabs {
public:
    cTabs();   // a new dictionary through the component check
    ~cTabs();  // lets it go

    // Adds a page. A caption already present raises the dictionary's
    // duplicate-key error (457) to the caller.
    void AddTab(const std::wstring& strTabName, const std::wstring& strCaption, bool blnExcelList, bool blnAdvanced,
                bool blnSimpleList, const qbx::Disp& objList, bool blnEvents);

    qbx::Disp dicTabs;
};

// Fills the page list an entitled user gets (the document library page).
void subAddUserTabs(cTabs& tabs);
