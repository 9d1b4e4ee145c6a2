// Opening the settings window from the ribbon or the mail window's button.
#pragma once

#include "support/com.h"

// Opens the settings window modally, owned by the mail window, and unloads it
// when it closes. Closing it never stops the add-in. mailItem (which may be
// nothing) is the mail the button belongs to. While a settings window is
// open, a call (another mail window's button or ribbon) brings that one
// forward instead of opening a second.
void subShowSettingsWindow(const qbx::Disp& mailItem);

// Ends an open settings window as a Cancel (nothing is saved): Outlook is
// quitting, and the settings it edits are about to be released.
void subCloseSettingsWindow() noexcept;
