// The phrase table: picks the language column from the system locale, reads
// the "LANGUAGE" resource into a keyed collection of phrase objects and copies
// every phrase into its variable (support/phrases.h).
//
// At start-up:  subSetPhrases(fncGetLanguageColumn());
#pragma once

#include "support/com/dispatch_object.h"

#include <map>
#include <string>
#include <vector>

// One line of the table: the key and its text in the chosen language. Other
// code reads the text late-bound, by the property name "LangPhrase".
class cPhrase final : public qbx::DispatchObject {
public:
    cPhrase();
    std::wstring LangKey;
    std::wstring LangPhrase;
};

// A keyed collection of phrases with the behaviour of Visual Basic's
// Collection: keys compared without regard to case, a second entry under a
// key raises 457, asking for an absent key raises 5.
class cPhraseCollection {
public:
    void add(const qbx::ComPtr<cPhrase>& phrase, const std::wstring& key, qbx::Here where = {});
    qbx::Disp item(const std::wstring& key, qbx::Here where = {}) const;
    size_t count() const noexcept { return items_.size(); }

private:
    std::vector<qbx::ComPtr<cPhrase>> items_;     // in the order added
    std::map<std::wstring, size_t> byKey_;        // upper-case key -> index
};

// The phrases of the last load; made anew by every subReadPhrases.
extern cPhraseCollection colLangPhrases;

// The column (1-16) of the system default locale's language; 4 (English) for
// every locale not in the list.
short fncGetLanguageColumn();
// Reads the phrase table into colLangPhrases, taking each text from the given
// column (English where that cell is empty). blnResourceIsAnsi: the resource
// holds text in the system code page instead of UTF-16LE.
void subReadPhrases(short column, bool blnResourceIsAnsi);
// The text without apostrophes.
std::wstring fncCleanPhrase(const std::wstring& text);
// Reads the table and sets every phrase variable, in table order.
void subSetPhrases(short column);

