#include "settings_ui/modSettingsWindow.h"

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
    // The settings window comes later; until then the buttons open nothing.
}
