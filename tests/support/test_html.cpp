// Entity conversion: every character 0-300, alone and in one text, against a
// table built here from the HTML 4 Latin-1 entity names, and whole names.
#include <doctest/doctest.h>

#include "support/com.h"
#include "support/modHtml.h"
#include "tests/test_support.h"

#include <sstream>

TEST_CASE("fncHtmlEncode maps every character as its table says, alone and in one text") {
    // The HTML 4 Latin-1 entity names of 160-255, in order.
    std::istringstream names(
        "nbsp iexcl cent pound curren yen brvbar sect uml copy ordf laquo not shy reg macr deg plusmn sup2 sup3 "
        "acute micro para middot cedil sup1 ordm raquo frac14 frac12 frac34 iquest Agrave Aacute Acirc Atilde "
        "Auml Aring AElig Ccedil Egrave Eacute Ecirc Euml Igrave Iacute Icirc Iuml ETH Ntilde Ograve Oacute Ocirc "
        "Otilde Ouml times Oslash Ugrave Uacute Ucirc Uuml Yacute THORN szlig agrave aacute acirc atilde auml "
        "aring aelig ccedil egrave eacute ecirc euml igrave iacute icirc iuml eth ntilde ograve oacute ocirc "
        "otilde ouml divide oslash ugrave uacute ucirc uuml yacute thorn yuml");
    std::vector<std::wstring> expected;
    for (int c = 0; c <= 300; ++c) expected.push_back(std::wstring(1, static_cast<wchar_t>(c)));
    std::string name;
    for (int c = 160; names >> name; ++c) expected[c] = L"&" + qbx::fromUtf8(name) + L";";
    REQUIRE(expected[255] == L"&yuml;");
    expected[160] = L"\xA0";  // the no-break space is left alone
    expected[166] = L"&brvbar;%20or%20&brkbar;";
    expected[168] = L"&uml;%20or%20&die;";
    expected[172] = L"&not";
    expected[175] = L"&macr;%20or%20&hibar;";
    expected['"'] = L"&amp;quot;";
    expected['&'] = L"&amp;";
    expected['<'] = L"&lt;";
    expected['>'] = L"&gt;";
    expected[' '] = L"%20";
    expected['#'] = L"";

    std::wstring all, allExpected;
    for (int c = 0; c <= 300; ++c) {
        CAPTURE(c);
        CHECK(qbxtest::narrow(fncHtmlEncode(std::wstring(1, static_cast<wchar_t>(c)))) == qbxtest::narrow(expected[c]));
        all += static_cast<wchar_t>(c);
        allExpected += expected[c];
    }
    CHECK(fncHtmlEncode(all + L"\x20AC\xD83D") == allExpected + L"\x20AC\xD83D");
}

TEST_CASE("fncHtmlEncode on whole names") {
    CHECK(fncHtmlEncode(L"") == L"");
    CHECK(fncHtmlEncode(L"A \"B\"") == L"A%20&amp;quot;B&amp;quot;");
    CHECK(fncHtmlEncode(L"Q&A #1.doc") == L"Q&amp;A%201.doc");
    CHECK(fncHtmlEncode(L"a\xA0\xACz &amp;") == L"a\xA0&notz%20&amp;amp;");
}
