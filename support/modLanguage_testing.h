// Seams of the phrase loading for tests.
#pragma once

#include "support/modLanguage.h"

#include <functional>
#include <string>

// Test seams: the locale query behind fncGetLanguageColumn and the bytes
// subReadPhrases reads instead of the resource. Null / empty restores the
// real one.
using LocaleQueryFn = LCID(WINAPI*)();
void subSetLocaleQuery(LocaleQueryFn fn) noexcept;
using PhraseSourceFn = std::function<std::string()>;
void subSetPhraseSource(PhraseSourceFn source);
// The system code page the loader converts with (0: the real one, CP_ACP).
void subSetCodePage(UINT codePage) noexcept;
