// Opening the settings window.
#pragma once

#include "support/com.h"

#include <functional>

// Opens the settings window modally for the given mail item (which may be
// nothing) and unloads it when it closes.
//
// The settings window itself is not built yet: for now this returns at once
// without showing anything.
void subShowSettingsWindow(const qbx::Disp& mailItem);

// Tests watch the opening through this hook: while one is set it is called
// instead of the window (an empty hook restores the window).
using SettingsWindowHook = std::function<void(const qbx::Disp& mailItem)>;
void subSetSettingsWindowHook(SettingsWindowHook hook);
