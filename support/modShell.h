// Shell utilities: the computer's regional settings, and opening a document
// or web address with the program the user chose for it.
#pragma once

#include <string>

// The list separator of the user's regional settings (the locale's
// list-separator item, "," or ";" on most systems). Fails into the error
// convention and then gives empty text.
std::wstring fncGetListSeparator();

// Opens a document or web address with the program the user chose for it
// (the shell's "open" verb, or another verb such as "print"). Returns false
// when the shell refused; nothing is shown.
bool fncShellExecute(const std::wstring& verb, const std::wstring& target);
