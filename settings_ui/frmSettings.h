// The settings window: a tab strip whose tabs are built at run time from the
// page list (cTabs), the selected tab's page made by its class identifier
// and placed under the strip, and the shared spreadsheet grid for pages that
// edit a table. OK asks the page to save itself, then saves the personal
// settings; Cancel closes without saving.
//
// The opener's sequence:
//
//     frmSettings form;
//     form.blnEndWithClose = false;          // closing never stops the add-in
//     form.blnSetOutlookParent = true;       // owned by an Outlook window
//     form.blnOutlookInspectorParent = true; // ... the mail window
//     form.Show(owner);                      // modal
#pragma once

#include "support/cDialogForm.h"
#include "support/com.h"

#include <memory>
#include <string>

class cFormControls;
class cTabs;

class frmSettings final : public cDialogForm {
public:
    frmSettings();
    ~frmSettings();

    // Window-level variables, set by the opener before the window loads.
    qbx::Disp objPrevControl;        // the page on the window ("CurrTab")
    qbx::Disp objSimpleList;         // the selected tab's extra data
    bool blnEndWithClose = true;     // closing runs the release routine
    bool blnSetOutlookParent = false;
    bool blnOutlookInspectorParent = false;

    // The maker's web site, opened by lblWebLink.
    static const wchar_t* const kWebAddress;
    // The one-shot delay before the grid is shown under a new page.
    static constexpr UINT kDisplayListDelay = 100;

private:
    friend struct frmSettingsTesting;  // frmSettings_testing.h

    // The window's procedures.
    void Form_Load();
    void Form_Paint();
    void Form_Unload();
    void subSetCaptions();
    void subSetupTabs();
    void subSetupList();
    void tbsSettings_Click();
    void chkAdvanced_Click();
    void cmdOK_Click() override;
    void cmdCancel_Click() override;
    void lblWebLink_Click();
    void timDisplayExcelList_Timer();

    INT_PTR fncHandleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
    INT_PTR fncControlColour(HDC dc, HWND child);
    void subClose();
    void subSetTabOrder();
    // The strip's position and size in twips.
    double fncStripTop() const;
    double fncStripLeft() const;
    double fncStripHeight() const;

    std::unique_ptr<cFormControls> controls_;
    std::unique_ptr<cTabs> tabs_;
};

// A host program may export this function; when no test has set an opened
// hook (frmSettings_testing.h), the window calls it with itself once loaded.
using SettingsOpenedExport = void(__stdcall*)(HWND window);
inline constexpr const char* kSettingsOpenedExportName = "QbxSettingsOpened";
