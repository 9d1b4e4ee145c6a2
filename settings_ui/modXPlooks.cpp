#include "settings_ui/modXPlooks.h"

#include "support/modErroHandling.h"
#include "support/com/win_window.h"

#include <commctrl.h>

#include <cmath>
#include <map>
#include <optional>

namespace {

void subForget(HWND control) noexcept;

struct KeptColour {
    COLORREF colour = CLR_INVALID;
    qbx::Brush brush;
    qbx::WindowSubclass watch;

    // Watches the coloured control so that its colour goes with it: a later
    // window that gets the same handle must not inherit it.
    std::optional<LRESULT> watchMessage(HWND window, UINT message, WPARAM, LPARAM) {
        if (message == WM_NCDESTROY) subForget(window);  // this entry (and the watch) end here
        return std::nullopt;
    }
};

// Every coloured control of the process (all on the user-interface thread).
std::map<HWND, KeptColour>& keptColours() {
    static std::map<HWND, KeptColour> colours;
    return colours;
}

constexpr UINT_PTR kSubclassId = 0x51425843;  // "QBXC"

void subForget(HWND control) noexcept {
    auto& colours = keptColours();
    auto found = colours.find(control);
    if (found == colours.end()) return;
    colours.erase(found);
}

// The control's centre in its parent's client coordinates, rounded to whole pixels.
POINT fncControlCentre(HWND control, qbx::Here where = {}) {
    RECT r;
    if (!GetWindowRect(control, &r)) qbx::raiseLastError(L"The control has no position", where);
    HWND parent = GetAncestor(control, GA_PARENT);
    MapWindowPoints(HWND_DESKTOP, parent, reinterpret_cast<POINT*>(&r), 2);
    const double width = r.right - r.left;
    const double height = r.bottom - r.top;
    POINT centre;
    centre.x = std::lround(r.left + width / 2);
    centre.y = std::lround(r.top + height / 2);
    return centre;
}

}  // namespace

COLORREF fncGetControlBackColor(HWND hControl) {
    auto found = keptColours().find(hControl);
    return found == keptColours().end() ? CLR_INVALID : found->second.colour;
}

void subSetControlBackColor(HWND hControl, COLORREF colour) {
    if (colour == CLR_INVALID) {
        subForget(hControl);
    } else {
        if (!IsWindow(hControl)) qbx::raise(qbx::vbErrInvalidCall, L"The control is not a window");
        qbx::Brush brush(CreateSolidBrush(colour));
        if (!brush) qbx::raiseLastError(L"No brush for the control's colour");
        KeptColour& kept = keptColours()[hControl];
        kept.colour = colour;
        kept.brush = std::move(brush);
        if (!kept.watch)
            kept.watch = qbx::WindowSubclass(hControl, &qbx::WindowProcedures::subclass<KeptColour, &KeptColour::watchMessage>,
                                             kSubclassId, reinterpret_cast<DWORD_PTR>(&kept));
    }
    if (IsWindow(hControl)) InvalidateRect(hControl, nullptr, TRUE);
}

bool fncAnswerCtlColor(HWND hControl, HDC hdcControl, INT_PTR& brush) {
    auto found = keptColours().find(hControl);
    if (found == keptColours().end()) return false;
    SetBkColor(hdcControl, found->second.colour);
    brush = reinterpret_cast<INT_PTR>(found->second.brush.get());
    return true;
}

INT_PTR fncDialogCtlColor(WPARAM wParam, LPARAM lParam) {
    INT_PTR brush = FALSE;
    fncAnswerCtlColor(reinterpret_cast<HWND>(lParam), reinterpret_cast<HDC>(wParam), brush);
    return brush;
}

void subSetBackColorFromWindow(HDC hdcWindow, HWND hControl) {
    subSetAction(L"Setting the background color of the control");
    // From here on errors don't stop the routine; a failure puts the kept
    // colour back.
    qbx::Err err;
    COLORREF previous = CLR_INVALID;
    err.resume([&] { previous = fncGetControlBackColor(hControl); });
    POINT centre{};
    err.resume([&] { centre = fncControlCentre(hControl); });
    COLORREF pixel = CLR_INVALID;
    err.resume([&] { if (err.number() == 0) pixel = GetPixel(hdcWindow, centre.x, centre.y); });
    err.resume([&] { if (pixel != CLR_INVALID) subSetControlBackColor(hControl, pixel); });
    if (err.number() != 0) {
        qbx::Err restore;
        restore.resume([&] { subSetControlBackColor(hControl, previous); });
    }
    err.clear();
}

cWindowSurface::cWindowSurface(HWND hWindow) {
    RECT client{};
    GetClientRect(hWindow, &client);
    {
        // The window's own DC serves only as the model of the memory one.
        qbx::WindowDc screen(hWindow);
        dc_.reset(CreateCompatibleDC(screen.get()));
        bitmap_.reset(CreateCompatibleBitmap(screen.get(), client.right > 0 ? client.right : 1,
                                             client.bottom > 0 ? client.bottom : 1));
    }
    if (!dc_ || !bitmap_) {
        qbx::raiseLastError(L"No memory surface for the window");
    }
    selected_ = qbx::SelectedObject(dc_.get(), bitmap_.get());
    SendMessageW(hWindow, WM_ERASEBKGND, reinterpret_cast<WPARAM>(dc_.get()), 0);
}
