// Opening the settings window from the ribbon or the mail window's button.
#pragma once

#include "support/com.h"

#include <functional>

// Opens the settings window modally, owned by the mail window, and unloads it
// when it closes. Closing it never stops the add-in. mailItem (which may be
// nothing) is the mail the button belongs to.
void subShowSettingsWindow(const qbx::Disp& mailItem);

// Tests watch the opening through this hook: while one is set it is called
// instead of the window (an empty hook restores the window).
using SettingsWindowHook = std::function<void(const qbx::Disp& mailItem)>;
void subSetSettingsWindowHook(SettingsWindowHook hook);

// How many settings windows were shown in this process.
long fncSettingsWindowsShown() noexcept;
