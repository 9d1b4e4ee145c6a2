// Outlook helper routines: reaching Outlook, its major version.
#pragma once

#include "support/com.h"

#include <string>

// Leaves the shared Outlook application set, creating Outlook (or attaching to
// the running one) when none is held; shows a message and returns false when
// Outlook can't be reached.
bool fncStartOutlook();

// The major version of the shared Outlook application (9 = 2000, 10 = 2002,
// 11 = 2003, 12 = 2007, 16 = today's), read once from its Version and kept.
short fncOutlookVersion();
// Forgets the kept version (a new Outlook application was connected).
void subResetOutlookVersion() noexcept;
