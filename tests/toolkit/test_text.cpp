// The text helpers, in every user locale.
#include <doctest/doctest.h>

#include "support/com/text.h"

#include <string>
#include <vector>

TEST_CASE("string helpers keep Visual Basic's behaviour") {
    CHECK(qbx::trimSpaces(L"  a b \t ") == L"a b \t");
    CHECK(qbx::split(L"a\r\n\r\nb", L"\r\n") == std::vector<std::wstring>{L"a", L"", L"b"});
    CHECK(qbx::replaceAll(L"a*b*", L"*", L"\"") == L"a\"b\"");
    CHECK(qbx::textEquals(L"Shared Documents", L"SHARED documents"));
    CHECK(qbx::withoutTrailingSlash(L"http://x/lib/") == L"http://x/lib");
    CHECK(qbx::withoutTrailingSlash(L"C:\\Temp\\") == L"C:\\Temp");
    CHECK(qbx::withoutTrailingSlash(L"lib//") == L"lib/");
    CHECK(qbx::toUpper(L"Ärger") == L"ÄRGER");
}

// Under Turkish rules "I" and "i" are no case pair ("i" pairs with the dotted
// capital U+0130, "I" with the dotless U+0131); addresses, keys and folder
// names must compare and fold the same in every user locale.
TEST_CASE("case-insensitive comparison and folding are the same in every locale") {
    CHECK(qbx::textEquals(L"http://intranet/sites/Finance", L"HTTP://INTRANET/SITES/FINANCE"));
    CHECK(qbx::textEquals(L"QBXSettings", L"qbxsettings"));
    CHECK_FALSE(qbx::textEquals(L"\u0130nbox", L"inbox"));
    CHECK_FALSE(qbx::textEquals(L"L\u0131st", L"LIST"));
    CHECK_FALSE(qbx::textEquals(L"list", L"lists"));
    CHECK(qbx::toUpper(L"ipm.note") == L"IPM.NOTE");
    CHECK(qbx::toLower(L"LNGTITLE") == L"lngtitle");
}
