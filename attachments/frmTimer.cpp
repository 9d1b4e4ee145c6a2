#include "attachments/frmTimer.h"

#include "support/modGlobals.h"
#include "support/modErroHandling.h"

#include <olectl.h>

namespace {

constexpr const wchar_t* kWindowClass = L"QuillboxTimerForm";
constexpr UINT_PTR kTimerId = 1;

// The window class lives while any form does, so a library that is unloaded
// leaves no class behind that points into it.
long liveForms = 0;

void subRegisterClass(WNDPROC proc) {
    if (liveForms++ > 0) return;
    WNDCLASSEXW wc = {};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = proc;
    wc.hInstance = fncAddinModule();
    wc.lpszClassName = kWindowClass;
    if (!RegisterClassExW(&wc) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        --liveForms;
        qbx::raiseLastError(L"The timer window class could not be registered");
    }
}

void subUnregisterClass() noexcept {
    if (--liveForms == 0) UnregisterClassW(kWindowClass, fncAddinModule());
}

}  // namespace

frmTimer::frmTimer() {
    subRegisterClass(&qbx::WindowProcedures::window<frmTimer, &frmTimer::windowMessage>);
    window_.reset(
        CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, fncAddinModule(), this));
    if (!window_) {
        const DWORD code = GetLastError();
        subUnregisterClass();
        qbx::raiseWin32(code, L"The timer window could not be created");
    }
}

frmTimer::~frmTimer() {
    listener_ = nullptr;
    if (window_) {
        // The window forgets this object first: a destruction that runs inside
        // this form's own tick must not let the tick touch it afterwards.
        qbx::WindowProcedures::cutOff(window_.get(), GWLP_USERDATA);
        if (running_) KillTimer(window_.get(), kTimerId);
        window_.reset();
    }
    subUnregisterClass();
}

void frmTimer::TimerEnabled(bool enabled) {
    enabled_ = enabled;
    subApply();
}

void frmTimer::TimerInterval(long milliseconds) {
    if (milliseconds < 0) qbx::raiseVb(qbx::vbErrInvalidPropertyValue);
    interval_ = milliseconds;
    subApply();
}

void frmTimer::subApply() {
    if (enabled_ && interval_ > 0) {
        // SetTimer on a running timer replaces it: the count starts again.
        if (!SetTimer(window_.get(), kTimerId, static_cast<UINT>(interval_), nullptr))
            qbx::raiseLastError(L"The timer could not be started");
        running_ = true;
    } else if (running_) {
        KillTimer(window_.get(), kTimerId);
        running_ = false;
    }
}

void frmTimer::timTimer_Timer() {
    if (!enabled_ || !listener_) return;
    // The listener may drop this form: hold the function itself meanwhile,
    // and touch nothing of this object after it returns.
    TimerListener listener = listener_;
    receiver_.run(listener);
}

std::optional<LRESULT> frmTimer::windowMessage(UINT message, WPARAM wParam, LPARAM) {
    if (message != WM_TIMER || wParam != kTimerId) return std::nullopt;
    timTimer_Timer();
    return 0;
}

qbx::ComPtr<IPictureDisp> frmTimer::imgQBXToolbar() {
    qbx::Icon icon(static_cast<HICON>(
        LoadImageW(fncAddinModule(), L"QBXBUTTON", IMAGE_ICON, 32, 32, LR_DEFAULTCOLOR)));
    if (!icon) qbx::raise(qbx::vbErrInvalidCall, L"The button picture is missing from the resources");
    PICTDESC desc = {};
    desc.cbSizeofstruct = sizeof(desc);
    desc.picType = PICTYPE_ICON;
    desc.icon.hicon = icon.get();
    qbx::ComPtr<IPictureDisp> picture;
    // The picture object owns the icon from here on (fOwn TRUE).
    HRESULT hr = OleCreatePictureIndirect(&desc, IID_IPictureDisp, TRUE, picture.putVoid());
    if (FAILED(hr) || !picture) {
        qbx::raiseHr(FAILED(hr) ? hr : E_FAIL);
    }
    icon.release();
    return picture;
}
