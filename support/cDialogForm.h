// What every dialog window of the add-in shares: made from a template in the
// add-in's resources, shown modally (Show) or loaded without a loop of its
// own for programs that drive it from outside (Load), ended by OK or Cancel
// (End: a modal window returns from Show, a loaded one is hidden), and
// destroyed by Unload. The derived window answers its messages in
// fncHandleMessage; no C++ exception crosses the dialog loop.
#pragma once

#include <windows.h>

#include "support/com/win_window.h"

#include <string>
#include <vector>

// Sets the captions of a dialog's controls, each with a mnemonic (Alt and a
// letter) on its first letter that no caption before it took, so every
// language's captions get keys of their own. Existing "&" are shown as such.
void subSetCaptionsWithMnemonics(const std::vector<std::pair<HWND, std::wstring>>& captions);

class cDialogForm {
public:
    cDialogForm(const cDialogForm&) = delete;
    cDialogForm& operator=(const cDialogForm&) = delete;

    // Loads the window and shows it modally, owned by owner (may be null);
    // returns once it has ended. Raises when the window can't be made.
    void Show(HWND owner = nullptr);
    // Loads the window and returns at once; the caller's message loop serves it.
    HWND Load(HWND owner = nullptr, bool visible = false);
    // Destroys the window, if there is one.
    void Unload();

    HWND hWnd() const noexcept { return hwnd_; }
    HWND control(int id) const noexcept { return GetDlgItem(hwnd_, id); }

protected:
    // templateId: the dialog resource; what: the window's name for errors
    // ("The library chooser").
    cDialogForm(int templateId, std::wstring what) : templateId_(templateId), what_(std::move(what)) {}
    // A derived window calls Unload() in its own destructor: its handlers
    // must not run once it is gone. This one only lets go of the window.
    ~cDialogForm();

    // The window's own messages; OK and Cancel (the button, Enter, Escape
    // and the close box) come to cmdOK_Click and cmdCancel_Click instead.
    virtual INT_PTR fncHandleMessage(UINT message, WPARAM wParam, LPARAM lParam) = 0;
    virtual void cmdOK_Click() = 0;
    virtual void cmdCancel_Click() = 0;
    // OK or Cancel ended the window: a modal one returns from Show with the
    // button, a loaded one is hidden.
    void End(int button);
    // True once End ran (or the window was destroyed) since it was opened.
    bool Ended() const noexcept { return ended_; }

    HWND hwnd_ = nullptr;  // the window while it is loaded

private:
    friend struct qbx::WindowProcedures;
    static DLGPROC procedure() noexcept;
    INT_PTR fncDialogMessage(UINT message, WPARAM wParam, LPARAM lParam);
    void windowAttached(HWND window) noexcept { hwnd_ = window; }
    void windowDetached() noexcept {
        hwnd_ = nullptr;
        ended_ = true;
    }

    int templateId_;
    std::wstring what_;
    bool modal_ = false;
    bool ended_ = false;
};
