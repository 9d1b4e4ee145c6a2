// The ribbon documents of the compose and read mail windows.
#pragma once

#include <string>

std::wstring fncBuildComposeXML();
std::wstring fncBuildReadXML();

// The settings-opening routine of the ribbon button: opens the settings
// window for the mail item that is open (the active window's) or else
// selected (the first of the active explorer's selection). When Outlook
// can't be reached it says so and names the support address instead.
void subOpenSettings();
