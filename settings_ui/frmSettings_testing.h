// Seams of the settings window for programs that must not wait for a person,
// and its state as tests read it.
#pragma once

#include "settings_ui/frmSettings.h"

#include <functional>

// Seams for programs that must not wait for a person, as the chooser has:
// - while an opened hook is set, it is called with the window once loaded;
using SettingsOpenedHook = std::function<void(frmSettings& form)>;
void subSetSettingsOpenedHook(SettingsOpenedHook hook);
// - else a host program may export this function; it gets the window.

// - while a pages hook is set, it adds its pages after the user's ones each
//   time the window builds its page list (other pages, advanced ones, ...).
class cTabs;
using SettingsPagesHook = std::function<void(cTabs& tabs)>;
void subSetSettingsPagesHook(SettingsPagesHook hook);

struct frmSettingsTesting {
    // True once the window was unloaded, or closed by OK or Cancel.
    static bool Closed(const frmSettings& form) noexcept { return form.Ended(); }
    // The controls put on the window at run time (the page, the grid).
    static cFormControls* Controls(const frmSettings& form) noexcept { return form.controls_.get(); }
    // OK and Cancel as their clicks run them.
    static void clickOK(frmSettings& form) { form.cmdOK_Click(); }
    static void clickCancel(frmSettings& form) { form.cmdCancel_Click(); }
};
