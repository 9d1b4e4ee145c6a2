// File and shell utilities: the computer's regional settings.
#pragma once

#include <string>

// The list separator of the user's regional settings (the locale's
// list-separator item, "," or ";" on most systems). Fails into the error
// convention and then gives empty text.
std::wstring fncGetListSeparator();
