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
}  // namespace

void subSetSettingsWindowHook(SettingsWindowHook h) { hook() = std::move(h); }

void subShowSettingsWindow(const qbx::Disp& mailItem) {
    if (hook()) {
        hook()(mailItem);
        return;
    }
    subSetAction(L"Opening settings form");
    qbx::guarded(L"subShowSettingsWindow", [&] {
        frmSettings form;
        form.blnEndWithClose = false;
        form.blnSetOutlookParent = true;
        form.blnOutlookInspectorParent = true;
        form.Show(fncOutlookWindow(true));
    });
}
