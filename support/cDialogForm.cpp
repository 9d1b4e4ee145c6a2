#include "support/cDialogForm.h"

#include "support/modGlobals.h"
#include "support/com.h"

void subSetCaptionsWithMnemonics(const std::vector<std::pair<HWND, std::wstring>>& captions) {
    std::wstring used;  // lower case
    for (const auto& [control, caption] : captions) {
        const std::wstring plain = qbx::replaceAll(caption, L"&", L"&&");
        const std::wstring lower = qbx::toLower(plain);
        std::wstring text = plain;
        for (size_t i = 0; i < lower.size(); ++i) {
            const wchar_t c = lower[i];
            if (!IsCharAlphaNumericW(c) || used.find(c) != std::wstring::npos) continue;
            used += c;
            text.insert(i, L"&");
            break;
        }
        SetWindowTextW(control, text.c_str());
    }
}

cDialogForm::~cDialogForm() {
    qbx::WindowProcedures::cutOff(hwnd_, DWLP_USER);
    Unload();
}

DLGPROC cDialogForm::procedure() noexcept {
    return &qbx::WindowProcedures::dialog<cDialogForm, &cDialogForm::fncDialogMessage>;
}

INT_PTR cDialogForm::fncDialogMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL)) {
        if (HIWORD(wParam) == BN_CLICKED) LOWORD(wParam) == IDOK ? cmdOK_Click() : cmdCancel_Click();
        return TRUE;
    }
    return fncHandleMessage(message, wParam, lParam);
}

void cDialogForm::Show(HWND owner) {
    modal_ = true;
    ended_ = false;
    INT_PTR rc = DialogBoxParamW(fncAddinModule(), MAKEINTRESOURCEW(templateId_), owner, procedure(),
                                 reinterpret_cast<LPARAM>(this));
    modal_ = false;
    if (rc == -1) qbx::raiseLastError(what_ + L" could not be shown");
}

HWND cDialogForm::Load(HWND owner, bool visible) {
    Unload();
    modal_ = false;
    ended_ = false;
    HWND window = CreateDialogParamW(fncAddinModule(), MAKEINTRESOURCEW(templateId_), owner, procedure(),
                                     reinterpret_cast<LPARAM>(this));
    if (!window) qbx::raiseLastError(what_ + L" could not be loaded");
    if (visible && hwnd_) ShowWindow(hwnd_, SW_SHOW);
    return hwnd_;
}

void cDialogForm::Unload() {
    if (hwnd_ && IsWindow(hwnd_)) DestroyWindow(hwnd_);
    hwnd_ = nullptr;
}

void cDialogForm::End(int button) {
    ended_ = true;
    if (modal_)
        EndDialog(hwnd_, button);
    else
        ShowWindow(hwnd_, SW_HIDE);
}
