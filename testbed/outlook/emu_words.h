// The line syntax the mailbox file and the host's scenarios share.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace emu {

// Splits a line into words: blanks separate, double quotes group, and inside
// quotes a backslash escapes (\n \r \t for LF, CR and TAB, any other
// character for itself). With `variable`, each ${NAME}, quoted or not, is
// replaced by variable(NAME).
std::vector<std::wstring> splitWords(const std::wstring& line,
                                     const std::function<std::wstring(const std::wstring&)>& variable = {});

}  // namespace emu
