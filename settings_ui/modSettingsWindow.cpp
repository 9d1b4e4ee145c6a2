#include "settings_ui/modSettingsWindow.h"
#include "settings_ui/modSettingsWindow_testing.h"

#include "support/modGlobals.h"
#include "settings_ui/frmSettings.h"
#include "support/modErroHandling.h"
#include "support/modOutlookCode.h"

namespace {
SettingsWindowHook& hook() {
    static SettingsWindowHook h;
    return h;
}

// The settings window while one is open. It is modal to its own mail window
// only, so another mail window's button or ribbon can still be clicked; the
// window edits the one process-wide grid and the one set of settings.
frmSettings* openWindow = nullptr;
}  // namespace

void subSetSettingsWindowHook(SettingsWindowHook h) { hook() = std::move(h); }

void subShowSettingsWindow(const qbx::Disp& mailItem) {
    if (hook()) {
        hook()(mailItem);
        return;
    }
    subSetAction(L"Opening settings form");
    qbx::guarded(L"subShowSettingsWindow", [&] {
        // One settings window at a time: a second click, from any window,
        // brings the open one forward.
        if (openWindow && openWindow->hWnd() && IsWindow(openWindow->hWnd())) {
            HWND window = openWindow->hWnd();
            if (IsIconic(window)) ShowWindow(window, SW_RESTORE);
            BringWindowToTop(window);
            SetForegroundWindow(window);
            return;
        }
        frmSettings form;
        openWindow = &form;
        const auto closed = qbx::scopeExit([] { openWindow = nullptr; });
        form.blnEndWithClose = false;
        form.blnSetOutlookParent = true;
        form.blnOutlookInspectorParent = true;
        form.Show(fncOutlookWindow(true));
    });
}

void subCloseSettingsWindow() noexcept {
    if (!openWindow || !openWindow->hWnd() || !IsWindow(openWindow->hWnd())) return;
    SendMessageW(openWindow->hWnd(), WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
}
