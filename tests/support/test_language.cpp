// The phrase table: the locale's column, the real resource in all sixteen
// languages against its source file, and odd tables (byte-order marks, a lost
// last line, an empty cell, apostrophes, a duplicate key, a short line).
#include <doctest/doctest.h>

#include "support/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/modLanguage_testing.h"
#include "support/phrases.h"
#include "tests/test_support.h"

#include <cstdio>
#include <map>
#include <vector>

namespace {

const std::wstring CRLF = L"\r\n";

std::vector<qbx::PhraseSlot> slots() {
    size_t n = 0;
    const qbx::PhraseSlot* s = qbx::phraseSlots(&n);
    return {s, s + n};
}

// A made-up table: every cell "KEY.column" unless given; line ends CR LF.
std::wstring madeUpTable(std::map<std::wstring, std::wstring> replacedLines = {}) {
    std::wstring text;
    for (const auto& slot : slots()) {
        std::wstring line = slot.key;
        for (int c = 1; c <= 16; ++c) line += L"\t" + (slot.key + (L"." + std::to_wstring(c)));
        text += (replacedLines.count(slot.key) ? replacedLines[slot.key] : line) + CRLF;
    }
    return text;
}

LCID fakeLocale = 0;
LCID WINAPI fakeLocaleQuery() { return fakeLocale; }

// The table's source, found above the test program (<repo>/build*/x64/tests/).
std::wstring sourceTableText() {
    wchar_t buf[MAX_PATH * 2] = {};
    std::wstring dir(buf, GetModuleFileNameW(nullptr, buf, MAX_PATH * 2));
    for (size_t cut; (cut = dir.find_last_of(L"\\/")) != std::wstring::npos;) {
        dir.resize(cut);
        if (FILE* f = _wfopen((dir + L"\\support\\phrases\\phrases.tsv").c_str(), L"rb")) {
            std::string bytes;
            char chunk[4096];
            for (size_t n; (n = fread(chunk, 1, sizeof chunk, f)) > 0;) bytes.append(chunk, n);
            fclose(f);
            return qbx::fromUtf8(bytes);
        }
    }
    return L"";
}

struct LanguageFixture {
    LanguageFixture() { qbxtest::resetAddinState(); }
    ~LanguageFixture() {
        subSetPhraseSource(nullptr);
        subSetLocaleQuery(nullptr);
        subSetCodePage(0);
        setAll(L"");
        colLangPhrases = cPhraseCollection();
        qbxtest::resetAddinState();
    }
    // Feeds the text to the loader as the resource holds it: UTF-16LE.
    static void feed(const std::wstring& text) {
        std::string bytes(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
        subSetPhraseSource([bytes] { return bytes; });
    }
    static void setAll(const std::wstring& text) {
        for (const auto& slot : slots()) *slot.variable = text;
    }
    static std::vector<std::wstring> values() {
        std::vector<std::wstring> v;
        for (const auto& slot : slots()) v.push_back(*slot.variable);
        return v;
    }
};

}  // namespace

TEST_CASE_FIXTURE(LanguageFixture, "the system locale picks the column by its whole identifier") {
    const std::vector<std::pair<short, std::vector<LCID>>> columns = {
        {1, {0x0405}}, {2, {0x0406}}, {3, {0x0413, 0x0813}}, {5, {0x040B}},
        {6, {0x040C, 0x080C, 0x0C0C, 0x140C, 0x100C}}, {7, {0x0407, 0x0C07, 0x1407, 0x1007, 0x0807}},
        {8, {0x0408}}, {9, {0x0410, 0x0810}}, {10, {0x0414}}, {11, {0x0816}}, {12, {0x0424}},
        {13, {0x0C0A, 0x040A, 0x2C0A, 0x400A, 0x340A, 0x240A, 0x140A, 0x1C0A, 0x300A, 0x100A,
              0x480A, 0x080A, 0x4C0A, 0x180A, 0x280A, 0x500A, 0x3C0A, 0x440A, 0x380A, 0x200A}},
        {14, {0x041D}}, {15, {0x041F}},
        // Russian, Brazilian Portuguese, Swedish in Finland, Nynorsk, US English, Chinese (Hong Kong).
        {4, {0x0419, 0x0416, 0x081D, 0x0814, 0x0409, 0x0C04}},
    };
    subSetLocaleQuery(fakeLocaleQuery);
    for (const auto& [column, lcids] : columns)
        for (LCID lcid : lcids) {
            fakeLocale = lcid;
            CAPTURE(lcid);
            CHECK(fncGetLanguageColumn() == column);
        }
}

TEST_CASE_FIXTURE(LanguageFixture, "every language of the resource loads whole and as its source file reads") {
    // No prompt may appear: the guard fails the test on any.
    std::wstring source = qbx::replaceAll(qbx::replaceAll(sourceTableText(), L"\r\n", L"\n"), L"\n", CRLF);
    REQUIRE_MESSAGE(!source.empty(), "support/phrases/phrases.tsv not found above the test program");
    std::map<std::wstring, std::vector<std::wstring>> cells;
    for (const auto& line : qbx::split(source, CRLF))
        if (!line.empty()) cells[qbx::split(line, L"\t")[0]] = qbx::split(line, L"\t");
    REQUIRE(cells.size() == slots().size());

    for (short column = 1; column <= 16; ++column) {
        CAPTURE(column);
        subSetPhraseSource(nullptr);
        subSetPhrases(column);
        CHECK(colLangPhrases.count() == slots().size());
        const std::vector<std::wstring> fromResource = values();
        for (size_t i = 0; i < slots().size(); ++i) {
            const std::vector<std::wstring>& row = cells[slots()[i].key];
            CAPTURE(qbxtest::narrow(slots()[i].key));
            REQUIRE(row.size() == 17);
            CHECK(!fromResource[i].empty());
            CHECK(fromResource[i].find(L'\'') == std::wstring::npos);
            CHECK(fromResource[i] == fncCleanPhrase(row[column].empty() ? row[4] : row[column]));
        }
        setAll(L"");
        feed(source);
        subSetPhrases(column);
        CHECK(values() == fromResource);
    }
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE_FIXTURE(LanguageFixture, "odd cells load as meant and a last line without CR LF is lost") {
    std::wstring text = madeUpTable({
        {L"LNGOK", L"LNGOK\t1\t2\t3\tO'K\t5\t6\t7\t8\t\t10\t11\t12\t13\t14\t15\t16"},  // Italian empty
        {L"LNGCANCEL", L"LNGCANCEL\t1\t2\t3\t4\t5\t6\t7\t8\t'Annul'la'\t10\t11\t12\t13\t14\t15\t16"},
    });
    text.resize(text.size() - 2);  // the last line loses its CR LF
    feed(L"\uFEFF\uFEFF" + text);  // a second byte-order mark ends up on the first key
    setAll(L"old");
    qbxtest::PromptRecorder prompts(IDNO);
    subSetPhrases(9);

    CHECK(LNGADD == L"LNGADD.9");
    CHECK(LNGOK == L"OK");
    CHECK(LNGCANCEL == L"Annulla");
    CHECK(LNGWEEK == L"LNGWEEK.9");
    CHECK(colLangPhrases.count() == slots().size() - 1);
    // The last key is missing, so the copy stops there with an error.
    CHECK(LNGYEAR == L"old");
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(strErrorReport.find(L"Invalid procedure call or argument" + CRLF + L"#5" + CRLF) != std::wstring::npos);
    CHECK(strErrorReport.find(L" : subSetPhrases ") != std::wstring::npos);
    // Reading the table set the last action before the copy began.
    CHECK(fncGetAction() == L"Reading language phrases from resource file");
}

TEST_CASE_FIXTURE(LanguageFixture, "a broken line ends the load through the error report") {
    // The lines before LNGNEW load; the copy into the variables stops at
    // LNGNEW, and the variables from there on keep what they held.
    std::wstring broken, report;
    SUBCASE("a duplicate key (compared without regard to case)") {
        broken = L"lngAdd\t1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\t13\t14\t15\t16";
        report = L"This key is already associated with an element of this collection" + CRLF + L"#457";
    }
    SUBCASE("a line short of the chosen column") {
        broken = L"LNGNEW\tNový\tNy\tNieuw\tNew\tUusi";
        report = L"Subscript out of range" + CRLF + L"#9";
    }
    feed(madeUpTable({{L"LNGNEW", broken}}));
    setAll(L"old");
    qbxtest::PromptRecorder prompts(IDNO);
    subSetPhrases(6);

    REQUIRE(prompts.prompts().size() == 1);  // the copy's later error shows nothing more
    CHECK(strErrorReport.find(L"Reading language phrases from resource file" + CRLF) != std::wstring::npos);
    CHECK(strErrorReport.find(report + CRLF) != std::wstring::npos);
    CHECK(strErrorReport.find(L" : subReadPhrases ") != std::wstring::npos);
    CHECK(blnShuttingDown);
    bool reached = false;
    for (const auto& slot : slots()) {
        CAPTURE(qbxtest::narrow(slot.key));
        reached = reached || std::wstring(slot.key) == L"LNGNEW";
        CHECK(*slot.variable == (reached ? L"old" : slot.key + std::wstring(L".6")));
    }
}

TEST_CASE_FIXTURE(LanguageFixture, "the byte-order mark is recognised whatever the system code page, UTF-8 included") {
    for (UINT cp : {1252u, 1253u, 1254u, 932u, 65001u}) {
        CAPTURE(cp);
        subSetCodePage(cp);
        feed(L"\uFEFF" + madeUpTable());
        qbxtest::PromptRecorder prompts(IDNO);
        subSetPhrases(15);
        CHECK(prompts.prompts().empty());
        CHECK(LNGADD == L"LNGADD.15");
        CHECK(LNGYEAR == L"LNGYEAR.15");
        CHECK(colLangPhrases.count() == slots().size());
        qbxtest::resetAddinState();
    }
}
