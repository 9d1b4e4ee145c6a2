// Entity conversion of file and document names before they go into a link or
// an upload address.
#pragma once

#include <string>

// Returns the text with the HTML-special characters and the Latin-1
// characters 161-255 written as named entities, spaces as "%20" and every "#"
// removed. The replacements run one after the other in a fixed order, each on
// the result of the one before, so a double quote ends as "&amp;quot;"; the
// no-break space (160) is left as it is and four of the Latin-1 characters
// get the odd replacements the link texts have always carried.
std::wstring fncHtmlEncode(const std::wstring& text);
