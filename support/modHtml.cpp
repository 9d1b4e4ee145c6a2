#include "support/modHtml.h"

#include "support/com.h"

namespace {

// The replacements for 161-255, in ascending order of the character.
const wchar_t* const kLatin1Entities[] = {
    L"&iexcl;",  L"&cent;",   L"&pound;",  L"&curren;",
    L"&yen;",    L"&brvbar; or &brkbar;",  L"&sect;",
    L"&uml; or &die;",        L"&copy;",   L"&ordf;",
    L"&laquo;",  L"&not",     L"&shy;",    L"&reg;",
    L"&macr; or &hibar;",     L"&deg;",    L"&plusmn;",
    L"&sup2;",   L"&sup3;",   L"&acute;",  L"&micro;",
    L"&para;",   L"&middot;", L"&cedil;",  L"&sup1;",
    L"&ordm;",   L"&raquo;",  L"&frac14;", L"&frac12;",
    L"&frac34;", L"&iquest;", L"&Agrave;", L"&Aacute;",
    L"&Acirc;",  L"&Atilde;", L"&Auml;",   L"&Aring;",
    L"&AElig;",  L"&Ccedil;", L"&Egrave;", L"&Eacute;",
    L"&Ecirc;",  L"&Euml;",   L"&Igrave;", L"&Iacute;",
    L"&Icirc;",  L"&Iuml;",   L"&ETH;",    L"&Ntilde;",
    L"&Ograve;", L"&Oacute;", L"&Ocirc;",  L"&Otilde;",
    L"&Ouml;",   L"&times;",  L"&Oslash;", L"&Ugrave;",
    L"&Uacute;", L"&Ucirc;",  L"&Uuml;",   L"&Yacute;",
    L"&THORN;",  L"&szlig;",  L"&agrave;", L"&aacute;",
    L"&acirc;",  L"&atilde;", L"&auml;",   L"&aring;",
    L"&aelig;",  L"&ccedil;", L"&egrave;", L"&eacute;",
    L"&ecirc;",  L"&euml;",   L"&igrave;", L"&iacute;",
    L"&icirc;",  L"&iuml;",   L"&eth;",    L"&ntilde;",
    L"&ograve;", L"&oacute;", L"&ocirc;",  L"&otilde;",
    L"&ouml;",   L"&divide;", L"&oslash;", L"&ugrave;",
    L"&uacute;", L"&ucirc;",  L"&uuml;",   L"&yacute;",
    L"&thorn;",  L"&yuml;",
};
static_assert(sizeof(kLatin1Entities) / sizeof(kLatin1Entities[0]) == 95, "one entry per character 161-255");

}  // namespace

std::wstring fncHtmlEncode(const std::wstring& text) {
    using qbx::replaceAll;
    std::wstring s = replaceAll(text, L"\"", L"&quot;");
    s = replaceAll(s, L"&", L"&amp;");
    s = replaceAll(s, L"<", L"&lt;");
    s = replaceAll(s, L">", L"&gt;");
    // The no-break space has no rule of its own: its replacement searches for
    // the empty text, which matches nothing, so 160 stays as it is.
    for (int c = 161; c <= 255; ++c)
        s = replaceAll(s, std::wstring(1, static_cast<wchar_t>(c)), kLatin1Entities[c - 161]);
    s = replaceAll(s, L" ", L"%20");
    s = replaceAll(s, L"#", L"");
    return s;
}
