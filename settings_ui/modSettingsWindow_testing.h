// Seam of the settings window's opening.
#pragma once

#include "settings_ui/modSettingsWindow.h"

#include <functional>

// Tests watch the opening through this hook: while one is set it is called
// instead of the window (an empty hook restores the window).
using SettingsWindowHook = std::function<void(const qbx::Disp& mailItem)>;
void subSetSettingsWindowHook(SettingsWindowHook hook);
