// Seam of the error handling: the operating-system query behind fncGetOSVersion.
#pragma once

#include "support/modErroHandling.h"

// The operating-system query behind fncGetOSVersion; tests replace it.
using GetVersionFn = BOOL(WINAPI*)(LPOSVERSIONINFOA);
void subSetVersionQuery(GetVersionFn fn) noexcept;

// Called as an error report starts being built (null: nothing). A test
// throws std::bad_alloc from it to see the report when memory has run out.
void subSetReportHook(void (*hook)()) noexcept;
