// The line syntax of the mailbox file and the host's scenarios.
#include <doctest/doctest.h>

#include "testbed/outlook/emu_words.h"

using Words = std::vector<std::wstring>;

TEST_CASE("words: blanks separate, quotes group, escapes only inside quotes") {
    CHECK(emu::splitWords(L"  folder \t\"Personal Folders\"  6 ") == Words{L"folder", L"Personal Folders", L"6"});
    CHECK(emu::splitWords(L"\"\" x") == Words{L"", L"x"});  // an empty quoted word is a word
    CHECK(emu::splitWords(L"\"a\\\"b\\\\c\\r\\n\\t\\q\"") == Words{L"a\"b\\c\r\n\tq"});
    CHECK(emu::splitWords(L"C:\\temp\\new") == Words{L"C:\\temp\\new"});  // a path outside quotes stays as typed
    CHECK(emu::splitWords(L"\"ends in \\") == Words{L"ends in \\"});  // a last backslash, an unclosed quote
    CHECK(emu::splitWords(L"a\"b c\"") == Words{L"a\"b", L"c\""});     // a quote inside a word is a letter
    CHECK(emu::splitWords(L"   ").empty());
}

TEST_CASE("words: ${NAME} is replaced only where variables are asked for") {
    auto variable = [](const std::wstring& name) { return name == L"URL" ? std::wstring(L"http://h/") : std::wstring(); };
    CHECK(emu::splitWords(L"settings \"${URL}sites/a b\" ${URL}x ${NONE}y", variable) ==
          Words{L"settings", L"http://h/sites/a b", L"http://h/x", L"y"});
    // An unclosed ${ stays as written; a value's blanks and quotes are not read again.
    CHECK(emu::splitWords(L"${URL ${", variable) == Words{L"${URL", L"${"});
    auto blanks = [](const std::wstring&) { return std::wstring(L"two \"words\""); };
    CHECK(emu::splitWords(L"${X}", blanks) == Words{L"two \"words\""});
    // The mailbox file asks for none: its text keeps ${...} literally.
    CHECK(emu::splitWords(L"subject \"${URL}\"") == Words{L"subject", L"${URL}"});
}
