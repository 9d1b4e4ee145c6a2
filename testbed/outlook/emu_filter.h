// The filter of Items.Find and FindNext, in the Jet form Outlook takes:
// "[Subject] = 'x' AND [strSites] <> 3 AND [blnOn] = True".
#pragma once

#include "testbed/outlook/emu_objects.h"

#include <string>
#include <vector>

namespace emu {

class Filter {
public:
    // Reads the filter; raises Outlook's error for text it can't parse, or
    // for a property that is neither built in nor a user property of an
    // item in the folder (Outlook refuses those too).
    Filter(const std::wstring& text, const Folder& folder);
    // Whether the item, as last saved, meets every condition.
    bool matches(const Item& item) const;

private:
    // One condition: [property] = value, or <> value.
    struct Condition {
        std::wstring property;
        bool notEqual = false;
        qbx::Variant value;
    };
    std::vector<Condition> conditions_;
};

}  // namespace emu
