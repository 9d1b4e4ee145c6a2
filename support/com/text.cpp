#include "support/com/text.h"

#include <windows.h>

namespace qbx {

std::string toUtf8(const std::wstring& w) {
    if (w.empty()) return {};
    int n = WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), nullptr, 0, nullptr, nullptr);
    std::string s(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), s.data(), n, nullptr, nullptr);
    return s;
}

std::wstring fromUtf8(const std::string& s) {
    if (s.empty()) return {};
    int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
    std::wstring w(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), w.data(), n);
    return w;
}

// Case mapping by the invariant locale: keys, addresses and names fold the
// same way whatever the user's locale (under Turkish rules "i" would become
// a dotted capital I).
static std::wstring mapCase(std::wstring s, DWORD flag) {
    if (s.empty()) return s;
    std::wstring out(s.size(), L'\0');
    int n = LCMapStringEx(LOCALE_NAME_INVARIANT, flag, s.data(), static_cast<int>(s.size()), out.data(),
                          static_cast<int>(out.size()), nullptr, nullptr, 0);
    if (n <= 0) return s;
    out.resize(static_cast<size_t>(n));
    return out;
}

std::wstring toUpper(std::wstring s) { return mapCase(std::move(s), LCMAP_UPPERCASE); }
std::wstring toLower(std::wstring s) { return mapCase(std::move(s), LCMAP_LOWERCASE); }

std::wstring replaceAll(std::wstring s, const std::wstring& what, const std::wstring& with) {
    if (what.empty()) return s;
    std::wstring out;
    out.reserve(s.size());
    size_t pos = 0;
    for (;;) {
        size_t hit = s.find(what, pos);
        if (hit == std::wstring::npos) break;
        out.append(s, pos, hit - pos);
        out += with;
        pos = hit + what.size();
    }
    out.append(s, pos, std::wstring::npos);
    return out;
}

bool textEquals(const std::wstring& a, const std::wstring& b) {
    // Ordinal, case folded as file names are: no user locale decides whether
    // two addresses, keys or folder names are the same.
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

std::wstring trimSpaces(const std::wstring& s) {
    size_t b = s.find_first_not_of(L' ');
    if (b == std::wstring::npos) return {};
    size_t e = s.find_last_not_of(L' ');
    return s.substr(b, e - b + 1);
}

std::vector<std::wstring> split(const std::wstring& s, const std::wstring& sep) {
    std::vector<std::wstring> parts;
    if (sep.empty()) {
        parts.push_back(s);
        return parts;
    }
    size_t pos = 0;
    for (;;) {
        size_t hit = s.find(sep, pos);
        if (hit == std::wstring::npos) break;
        parts.push_back(s.substr(pos, hit - pos));
        pos = hit + sep.size();
    }
    parts.push_back(s.substr(pos));
    return parts;
}

std::wstring withoutTrailingSlash(const std::wstring& s) {
    if (!s.empty() && (s.back() == L'/' || s.back() == L'\\')) return s.substr(0, s.size() - 1);
    return s;
}

}  // namespace qbx
