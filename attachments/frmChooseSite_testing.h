// Seams of the library chooser for programs that must not wait for a person.
#pragma once

#include "attachments/frmChooseSite.h"

#include <functional>
#include <string>

// Seams for programs that must not wait for a person.
// - While an answer hook is set, fncChooseSite calls it instead of showing the
//   dialog and returns what it returns.
using ChooserAnswerHook = std::function<std::wstring(const std::wstring& strFileNameConverted)>;
void subSetChooserAnswerHook(ChooserAnswerHook hook);
// - While an opened hook is set, it is called with the dialog once the dialog
//   has loaded (before it is on screen), so the caller can drive it through
//   window messages: post them, and the dialog's loop handles them.
using ChooserOpenedHook = std::function<void(frmChooseSite& form)>;
void subSetChooserOpenedHook(ChooserOpenedHook hook);
// - A host program (the test bed's Outlook) may export this function; when no
//   in-process hook is set, the dialog calls it with its window once loaded.
