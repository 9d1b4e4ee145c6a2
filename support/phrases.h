// The phrase variables: one process-wide string per phrase key, named as the
// key, holding the text in the language of the system locale. They are empty
// until the phrase table has been loaded.
#pragma once

#include <string>

#define QBX_PHRASE(key) extern std::wstring key;
#include "phrase_keys.inc"
#undef QBX_PHRASE

namespace qbx {

struct PhraseSlot {
    const wchar_t* key;
    std::wstring* variable;
};
// Every key with its variable, in table order.
const PhraseSlot* phraseSlots(size_t* count);

}  // namespace qbx
