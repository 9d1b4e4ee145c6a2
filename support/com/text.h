// Text helpers with Visual Basic's behaviour (UCase$, Trim$, Split, Replace$,
// vbTextCompare) and the UTF-8 conversions, independent of the user's locale.
#pragma once

#include <string>
#include <vector>

namespace qbx {

std::string toUtf8(const std::wstring& w);
std::wstring fromUtf8(const std::string& s);
std::wstring toUpper(std::wstring s);  // as UCase$, by the invariant locale (not the user's)
std::wstring toLower(std::wstring s);  // as LCase$, by the invariant locale (not the user's)
// Replaces every occurrence of what by with (exact comparison), as Replace$.
std::wstring replaceAll(std::wstring s, const std::wstring& what, const std::wstring& with);
// Case-insensitive text comparison as Visual Basic's vbTextCompare.
bool textEquals(const std::wstring& a, const std::wstring& b);
// Trims space characters only (not tabs or line breaks), as Trim$.
std::wstring trimSpaces(const std::wstring& s);
// Splits on a separator as Split(), keeping empty pieces.
std::vector<std::wstring> split(const std::wstring& s, const std::wstring& sep);
// Removes one trailing "/" or "\".
std::wstring withoutTrailingSlash(const std::wstring& s);

}  // namespace qbx
