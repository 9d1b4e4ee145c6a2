// Control colouring: a control takes as its background the colour that its
// window actually shows at the control's centre, so that check boxes, option
// buttons and frames blend into whatever surface lies beneath them (a themed
// page, a tinted window).
//
// Win32 controls don't carry a background colour of their own: the colour is
// kept here, per control, and the window that holds the controls hands it out
// when they ask for their colours:
//
//     case WM_CTLCOLORSTATIC:
//     case WM_CTLCOLORBTN:
//         return fncDialogCtlColor(wParam, lParam);
//
// A colour is forgotten when its control is destroyed.
#pragma once

#include "support/com/win_handles.h"

#include <windows.h>

// Samples the pixel of hdcWindow (the device context of the window holding the
// control, in that window's client coordinates) under the centre of hControl
// and gives the control that colour. A pixel outside the device context's
// visible area (CLR_INVALID) leaves the control as it was; any other failure
// puts the control's previous colour back. Nothing is reported.
void subSetBackColorFromWindow(HDC hdcWindow, HWND hControl);

// The colour kept for a control; CLR_INVALID when it has its default colours.
COLORREF fncGetControlBackColor(HWND hControl);
// Sets (or with CLR_INVALID drops) a control's colour explicitly and repaints it.
void subSetControlBackColor(HWND hControl, COLORREF colour);

// For the window procedure of the control's parent, on WM_CTLCOLORSTATIC and
// WM_CTLCOLORBTN: when a colour is kept for the control, sets it as the text
// background of the control's device context, puts the brush to answer with in
// brush and returns true; false leaves the message to its default handling.
bool fncAnswerCtlColor(HWND hControl, HDC hdcControl, INT_PTR& brush);
// A dialog procedure's answer to WM_CTLCOLORSTATIC / WM_CTLCOLORBTN: the kept
// colour's brush, or FALSE for the default colours.
INT_PTR fncDialogCtlColor(WPARAM wParam, LPARAM lParam);

// What a window shows beneath its controls, before it is on screen: a memory
// device context of the window's client size on which the window has painted
// its own background (WM_ERASEBKGND), without its child windows. A window
// that is not painted yet has nothing to sample; this gives it something.
class cWindowSurface {
public:
    explicit cWindowSurface(HWND hWindow);
    cWindowSurface(const cWindowSurface&) = delete;
    cWindowSurface& operator=(const cWindowSurface&) = delete;

    HDC hDC() const noexcept { return dc_.get(); }

private:
    // In this order, so the bitmap is taken out of the DC before either is deleted.
    qbx::MemoryDc dc_;
    qbx::Bitmap bitmap_;
    qbx::SelectedObject selected_;
};
