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

#include <windows.h>

#include <functional>
#include <string>

class frmChooseSite {
public:
    frmChooseSite() = default;
    ~frmChooseSite();
    frmChooseSite(const frmChooseSite&) = delete;
    frmChooseSite& operator=(const frmChooseSite&) = delete;

    // On entry the file name; after OK the full target address (or, when no
    // address could be built, what it held before); after Cancel empty text.
    std::wstring strSitePath;

    // Loads the dialog and shows it modally, owned by owner (may be null).
    // Returns when OK or Cancel has hidden it. Raises when the dialog can't
    // be made.
    void Show(HWND owner = nullptr);
    // Loads the dialog without a modal loop of its own and returns at once;
    // the caller's message loop serves it. OK and Cancel hide it. Used where
    // the dialog is driven from outside (tests, the screenshot program).
    HWND Load(HWND owner = nullptr, bool visible = false);
    // Destroys the dialog's window, if there is one.
    void Unload();

    // The dialog's window while it is loaded.
    HWND hWnd() const noexcept { return hwnd_; }
    // One of the dialog's controls (resource numbers in attachments/dialogs.h).
    HWND control(int id) const noexcept { return GetDlgItem(hwnd_, id); }
    // True once OK or Cancel has hidden the dialog.
    bool Hidden() const noexcept { return hidden_; }

    // How often Timer1 makes sure the dialog is still on the task bar.
    static constexpr UINT kTimer1Interval = 1000;

private:
    static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR subHandleMessage(UINT message, WPARAM wParam, LPARAM lParam);

    void Form_Load();
    void subSetCaptions();
    void subBuildSitePath();
    void optNew_Click();
    void optPredefined_Click();
    void lstSites_Click();
    void lstSites_DblClick();
    void txtFileName_Change();
    void txtNewSite_Change();
    void cmdOK_Click();
    void cmdCancel_Click();
    void Timer1_Timer();

    void subSetMode(bool newSite);
    void subHide(int button);
    bool fncIsChecked(int id) const;
    std::wstring fncControlText(int id) const;

    HWND hwnd_ = nullptr;
    bool modal_ = false;
    bool hidden_ = false;
    // True while the form loads: the address is not built meanwhile.
    bool blnLoading = false;
};

// Asks the user for the document library of an attachment and returns the
// full target address (library, "/", file name, entity-converted), or empty
// text when the user cancelled. strFileNameConverted is the attachment's file
// name after fncHtmlEncode. The dialog is owned by owner, the mail window the
// attachment was added to (without one, by the thread's active window), so it
// stays in front of that window.
std::wstring fncChooseSite(const std::wstring& strFileNameConverted, HWND owner = nullptr);

// Seams for programs that must not wait for a person.
// - While an answer hook is set, fncChooseSite calls it instead of showing the
//   dialog and returns what it returns.
using ChooserAnswerHook = std::function<std::wstring(const std::wstring& strFileNameConverted)>;
void subSetChooserAnswerHook(ChooserAnswerHook hook);
// - While an opened hook is set, it is called with the dialog once the dialog
//   has loaded (before it is on screen), so the caller can drive it through
//   window messages: post them, and the dialog's loop handles them.
using ChooserOpenedHook = std::function<void(frmChooseSite& form)>;
void subSetChooserOpenedHook(ChooserOpenedHook hook);
// - A host program (the test bed's Outlook) may export this function; when no
//   in-process hook is set, the dialog calls it with its window once loaded.
using ChooserOpenedExport = void(__stdcall*)(HWND dialog);
inline constexpr const char* kChooserOpenedExportName = "QbxChooserOpened";
