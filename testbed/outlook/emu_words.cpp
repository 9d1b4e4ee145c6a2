#include "testbed/outlook/emu_words.h"

#include <cwctype>

namespace emu {

std::vector<std::wstring> splitWords(const std::wstring& line,
                                     const std::function<std::wstring(const std::wstring&)>& variable) {
    std::vector<std::wstring> out;
    size_t i = 0;
    // Adds the value of a ${NAME} at i to the word, if there is one.
    auto expanded = [&](std::wstring& w) {
        if (!variable || line.compare(i, 2, L"${") != 0) return false;
        size_t end = line.find(L'}', i + 2);
        if (end == std::wstring::npos) return false;
        w += variable(line.substr(i + 2, end - i - 2));
        i = end + 1;
        return true;
    };
    while (i < line.size()) {
        if (iswspace(line[i])) {
            ++i;
            continue;
        }
        std::wstring w;
        if (line[i] == L'"') {
            ++i;
            while (i < line.size() && line[i] != L'"') {
                if (line[i] == L'\\' && i + 1 < line.size()) {
                    wchar_t e = line[i + 1];
                    w += e == L'n' ? L'\n' : e == L'r' ? L'\r' : e == L't' ? L'\t' : e;
                    i += 2;
                } else if (!expanded(w)) {
                    w += line[i++];
                }
            }
            ++i;
        } else {
            while (i < line.size() && !iswspace(line[i]))
                if (!expanded(w)) w += line[i++];
        }
        out.push_back(w);
    }
    return out;
}

}  // namespace emu
