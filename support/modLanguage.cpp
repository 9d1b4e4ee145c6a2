#include "support/modLanguage.h"
#include "support/modLanguage_testing.h"

#include "support/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"

#include <cstring>

cPhraseCollection colLangPhrases;

namespace {

LocaleQueryFn& localeQuery() {
    static LocaleQueryFn fn = &GetSystemDefaultLCID;
    return fn;
}

PhraseSourceFn& phraseSource() {
    static PhraseSourceFn fn;
    return fn;
}

// The bytes of the "LANGUAGE" resource of type "CUSTOM" in the add-in's module.
std::string fncPhraseResourceBytes(qbx::Here where = {}) {
    HMODULE module = fncAddinModule();
    HRSRC res = FindResourceW(module, L"LANGUAGE", L"CUSTOM");
    HGLOBAL data = res ? LoadResource(module, res) : nullptr;
    const void* bytes = data ? LockResource(data) : nullptr;
    if (!bytes) qbx::raiseVb(qbx::vbErrResourceNotFound, L"LANGUAGE", where);
    return std::string(static_cast<const char*>(bytes), SizeofResource(module, res));
}

// The system code page of the ANSI conversion; a test sets another.
UINT& codePage() {
    static UINT cp = CP_ACP;
    return cp;
}

constexpr wchar_t kByteOrderMark = 0xFEFF;

std::wstring fncFieldAt(const std::vector<std::wstring>& fields, short index, qbx::Here where = {}) {
    if (index < 0 || static_cast<size_t>(index) >= fields.size())
        qbx::raiseVb(qbx::vbErrSubscript, where);
    return fields[static_cast<size_t>(index)];
}

constexpr short kEnglish = 4;

}  // namespace

// ---------------------------------------------------------------- cPhrase

cPhrase::cPhrase() : DispatchObject(L"cPhrase") {
    property(
        L"LangKey", [this](qbx::Args&) { return qbx::Variant(LangKey); },
        [this](qbx::Args&, const qbx::Variant& v) { LangKey = v.toString(); });
    property(
        L"LangPhrase", [this](qbx::Args&) { return qbx::Variant(LangPhrase); },
        [this](qbx::Args&, const qbx::Variant& v) { LangPhrase = v.toString(); });
}

// ---------------------------------------------------------------- cPhraseCollection

void cPhraseCollection::add(const qbx::ComPtr<cPhrase>& phrase, const std::wstring& key, qbx::Here where) {
    std::wstring folded = qbx::toUpper(key);
    if (byKey_.count(folded))
        qbx::raiseVb(qbx::vbErrKeyExists, where);
    byKey_.emplace(std::move(folded), items_.size());
    items_.push_back(phrase);
}

qbx::Disp cPhraseCollection::item(const std::wstring& key, qbx::Here where) const {
    auto found = byKey_.find(qbx::toUpper(key));
    if (found == byKey_.end()) qbx::raiseVb(qbx::vbErrInvalidCall, where);
    return qbx::Disp(static_cast<IDispatch*>(items_[found->second].get()));
}

// ---------------------------------------------------------------- procedures

void subSetLocaleQuery(LocaleQueryFn fn) noexcept { localeQuery() = fn ? fn : &GetSystemDefaultLCID; }

void subSetPhraseSource(PhraseSourceFn source) { phraseSource() = std::move(source); }

void subSetCodePage(UINT cp) noexcept { codePage() = cp ? cp : CP_ACP; }

short fncGetLanguageColumn() {
    // The whole language identifier counts, sublanguage included; the list is
    // deliberately narrow (Brazilian Portuguese, Swedish in Finland, Nynorsk
    // and Russian all get English).
    switch (LANGIDFROMLCID(localeQuery()())) {
        case 0x0405: return 1;  // Czech
        case 0x0406: return 2;  // Danish
        case 0x0413: case 0x0813: return 3;  // Dutch
        case 0x040B: return 5;  // Finnish
        case 0x040C: case 0x080C: case 0x0C0C: case 0x140C: case 0x100C: return 6;  // French
        case 0x0407: case 0x0C07: case 0x1407: case 0x1007: case 0x0807: return 7;  // German
        case 0x0408: return 8;  // Greek
        case 0x0410: case 0x0810: return 9;  // Italian
        case 0x0414: return 10;  // Norwegian
        case 0x0816: return 11;  // Portuguese
        case 0x0424: return 12;  // Slovenian
        case 0x0C0A: case 0x040A: case 0x2C0A: case 0x400A: case 0x340A: case 0x240A: case 0x140A:
        case 0x1C0A: case 0x300A: case 0x100A: case 0x480A: case 0x080A: case 0x4C0A: case 0x180A:
        case 0x280A: case 0x500A: case 0x3C0A: case 0x440A: case 0x380A: case 0x200A: return 13;  // Spanish
        case 0x041D: return 14;  // Swedish
        case 0x041F: return 15;  // Turkish
        default: return kEnglish;
    }
}

void subReadPhrases(short column, bool blnResourceIsAnsi) {
    subSetAction(L"Reading language phrases from resource file");
    qbx::guarded(L"subReadPhrases", [&] {
        std::string bytes = phraseSource() ? phraseSource()() : fncPhraseResourceBytes();
        std::wstring text;
        if (blnResourceIsAnsi) {
            int n = MultiByteToWideChar(codePage(), 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
            text.resize(static_cast<size_t>(n));
            MultiByteToWideChar(codePage(), 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), n);
        } else {
            text.resize(bytes.size() / sizeof(wchar_t));
            std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
        }
        // A byte-order mark is dropped. It is recognised as itself: its
        // translation to the system code page is "?" in most, but three
        // bytes in UTF-8 (65001).
        if (!text.empty() && text[0] == kByteOrderMark) text.erase(0, 1);

        colLangPhrases = cPhraseCollection();
        std::vector<std::wstring> lines = qbx::split(text, L"\r\n");
        // Whatever follows the last CR LF is not a line: a last line without
        // its CR LF is not read.
        for (size_t i = 0; i + 1 < lines.size(); ++i) {
            std::vector<std::wstring> fields = qbx::split(lines[i], L"\t");
            std::wstring chosen = fncFieldAt(fields, column);
            if (chosen.empty()) chosen = fncFieldAt(fields, kEnglish);
            qbx::ComPtr<cPhrase> phrase = qbx::makeObject<cPhrase>();
            phrase->LangKey = fields[0];
            // The second guard against a byte-order mark, on the key itself.
            if (!phrase->LangKey.empty() && phrase->LangKey[0] == kByteOrderMark) phrase->LangKey.erase(0, 1);
            phrase->LangPhrase = fncCleanPhrase(chosen);
            colLangPhrases.add(phrase, phrase->LangKey);
        }
    });
}

std::wstring fncCleanPhrase(const std::wstring& text) {
    if (text.find(L'\'') == std::wstring::npos) return text;
    return qbx::replaceAll(text, L"'", L"");
}

void subSetPhrases(short column) {
    subSetAction(L"Reading phrases from collection into variables");
    qbx::guarded(L"subSetPhrases", [&] {
        subReadPhrases(column, false);
        size_t count = 0;
        const qbx::PhraseSlot* slots = qbx::phraseSlots(&count);
        for (size_t i = 0; i < count; ++i)
            *slots[i].variable = colLangPhrases.item(slots[i].key).get(L"LangPhrase").toString();
    });
}
