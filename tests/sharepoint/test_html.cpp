// Entity conversion: every character 0-255 and a few above, each against a
// table built here from the HTML 4 Latin-1 entity names, and whole texts.
#include <doctest/doctest.h>

#include "support/com.h"
#include "support/modHtml.h"
#include "tests/test_support.h"

#include <sstream>

namespace {

// The HTML 4 Latin-1 entity names for 160-255, in order.
const char* const kHtml4Latin1 =
    "nbsp iexcl cent pound curren yen brvbar sect uml copy ordf laquo not shy reg macr "
    "deg plusmn sup2 sup3 acute micro para middot cedil sup1 ordm raquo frac14 frac12 frac34 iquest "
    "Agrave Aacute Acirc Atilde Auml Aring AElig Ccedil Egrave Eacute Ecirc Euml Igrave Iacute Icirc Iuml "
    "ETH Ntilde Ograve Oacute Ocirc Otilde Ouml times Oslash Ugrave Uacute Ucirc Uuml Yacute THORN szlig "
    "agrave aacute acirc atilde auml aring aelig ccedil egrave eacute ecirc euml igrave iacute icirc iuml "
    "eth ntilde ograve oacute ocirc otilde ouml divide oslash ugrave uacute ucirc uuml yacute thorn yuml";

std::wstring expectedFor(wchar_t c) {
    static std::vector<std::wstring> latin1 = [] {
        std::vector<std::wstring> names;
        std::istringstream in(kHtml4Latin1);
        for (std::string n; in >> n;) names.push_back(qbx::fromUtf8(n));
        return names;
    }();
    REQUIRE(latin1.size() == 96);
    switch (c) {
        case L'"': return L"&amp;quot;";
        case L'&': return L"&amp;";
        case L'<': return L"&lt;";
        case L'>': return L"&gt;";
        case L' ': return L"%20";
        case L'#': return L"";
        case 160: return std::wstring(1, c);
        case 166: return L"&brvbar;%20or%20&brkbar;";
        case 168: return L"&uml;%20or%20&die;";
        case 172: return L"&not";
        case 175: return L"&macr;%20or%20&hibar;";
    }
    if (c >= 161 && c <= 255) return L"&" + latin1[c - 160] + L";";
    return std::wstring(1, c);
}

}  // namespace

TEST_CASE("fncHtmlEncode maps every character as the table says, alone and in one text") {
    std::wstring all, allExpected;
    for (int c = 0; c <= 300; ++c) {
        wchar_t ch = static_cast<wchar_t>(c);
        CAPTURE(c);
        CHECK(qbxtest::narrow(fncHtmlEncode(std::wstring(1, ch))) == qbxtest::narrow(expectedFor(ch)));
        all += ch;
        allExpected += expectedFor(ch);
    }
    for (wchar_t ch : {L'\x20AC', L'\x0152', L'\xFFFD', L'\xD83D'}) {
        all += ch;
        allExpected += ch;
    }
    CHECK(fncHtmlEncode(all) == allExpected);
}

TEST_CASE("fncHtmlEncode on whole names") {
    CHECK(fncHtmlEncode(L"") == L"");
    CHECK(fncHtmlEncode(L"A \"B\"") == L"A%20&amp;quot;B&amp;quot;");
    CHECK(fncHtmlEncode(L"Q&A #1.doc") == L"Q&amp;A%201.doc");
    CHECK(fncHtmlEncode(L"a\xA0\xACz") == L"a\xA0&notz");
    CHECK(fncHtmlEncode(L"&amp;") == L"&amp;amp;");
    CHECK(fncHtmlEncode(L"<r\xE9sum\xE9>.txt") == L"&lt;r&eacute;sum&eacute;&gt;.txt");
}
