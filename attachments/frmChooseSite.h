// The library chooser: the small modal dialog that asks where an attachment
// goes when no default library is in force. The user picks one of the
// configured document libraries or types a new library address; the dialog
// shows the full address of the file as it is built, can make the picked
// library the default and can add the typed library to the list.
//
// The caller's sequence:
//
//     frmChooseSite form;
//     form.strSitePath = fileName;     // already entity-converted
//     form.Show(owner);                // modal; OK or Cancel hides it
//     std::wstring address = form.strSitePath;   // empty after Cancel
//     form.Unload();
//
// fncChooseSite below does exactly that.
#pragma once

#include "support/cDialogForm.h"

#include <windows.h>

#include <string>

class frmChooseSite final : public cDialogForm {
public:
    frmChooseSite();
    ~frmChooseSite();

    // On entry the file name; after OK the full target address (or, when no
    // address could be built, what it held before); after Cancel empty text.
    std::wstring strSitePath;
    // True when the dialog ended through OK. Any other end (Cancel, the
    // window closed, its mail window or Outlook gone) is a Cancel.
    bool blnChoseOK = false;

    // Show (modal, owned by the mail window), Load (driven from outside:
    // tests, the screenshot program; OK and Cancel hide it), Unload, hWnd
    // and control (resource numbers in attachments/dialogs.h) come from
    // cDialogForm.

    // How often Timer1 makes sure the dialog is still on the task bar.
    static constexpr UINT kTimer1Interval = 1000;

private:
    INT_PTR fncHandleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
    INT_PTR fncFrameKey(WORD character);

    void Form_Load();
    void subSetCaptions();
    void subBuildSitePath();
    void optNew_Click();
    void optPredefined_Click();
    void lstSites_Click();
    void lstSites_DblClick();
    void txtFileName_Change();
    void txtNewSite_Change();
    void cmdOK_Click() override;
    void cmdCancel_Click() override;
    void Timer1_Timer();

    void subSetMode(bool newSite);
    void subHide(int button);
    bool fncIsChecked(int id) const;
    std::wstring fncControlText(int id) const;

    // True while the form loads: the address is not built meanwhile.
    bool blnLoading_ = false;
    // The window the dialog was opened over.
    HWND hwndOwner_ = nullptr;
};

// Asks the user for the document library of an attachment and returns the
// full target address (library, "/", file name, entity-converted), or empty
// text when the user cancelled. strFileNameConverted is the attachment's file
// name after fncHtmlEncode. The dialog is owned by owner, the mail window the
// attachment was added to (without one, by the thread's active window), so it
// stays in front of that window.
std::wstring fncChooseSite(const std::wstring& strFileNameConverted, HWND owner = nullptr);

// A host program (the test bed's Outlook) may export this function; when no
// test has set an opened hook (frmChooseSite_testing.h), the dialog calls it
// with its window once loaded.
using ChooserOpenedExport = void(__stdcall*)(HWND dialog);
inline constexpr const char* kChooserOpenedExportName = "QbxChooserOpened";
