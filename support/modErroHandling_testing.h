// Seam of the error handling: the operating-system query behind fncGetOSVersion.
#pragma once

#include "support/modErroHandling.h"

// The operating-system query behind fncGetOSVersion; tests replace it.
using GetVersionFn = BOOL(WINAPI*)(LPOSVERSIONINFOA);
void subSetVersionQuery(GetVersionFn fn) noexcept;
