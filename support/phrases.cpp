#include "phrases.h"

#define QBX_PHRASE(key) std::wstring key;
#include "phrase_keys.inc"
#undef QBX_PHRASE

namespace qbx {

const PhraseSlot* phraseSlots(size_t* count) {
    static const PhraseSlot slots[] = {
#define QBX_PHRASE(key) {L## #key, &::key},
#include "phrase_keys.inc"
#undef QBX_PHRASE
    };
    if (count) *count = sizeof(slots) / sizeof(slots[0]);
    return slots;
}

}  // namespace qbx
