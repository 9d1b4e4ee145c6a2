// Messages shown while Outlook is in front: through the Office Assistant of
// the Outlook application (so they appear on top of Outlook rather than
// behind it), and a plain message box when no application is at hand.
#pragma once

#include "support/com.h"

#include <string>

// An alert with one OK button and the critical icon. Without an application
// object the text goes to an information message box titled with the
// product's name instead. Returns the button code (callers ignore it).
long fncAssistantAlert(const qbx::Disp& application, const std::wstring& text);

// A Yes/No question, Yes being the default; returns the button code
// ("DoAlert"'s result: 6 for Yes, 7 for No), 0 when the Assistant failed.
long fncAssistantAsk(const qbx::Disp& application, const std::wstring& text);

// Shows the Assistant busy (its "working" animation).
void subAssistantWorking(const qbx::Disp& application);

// The values handed to the Assistant.
namespace qbx::assistant {
inline constexpr int msoButtonSetOK = 0;
inline constexpr int msoButtonSetYesNo = 4;
inline constexpr int msoIconAlertQuery = 2;
inline constexpr int msoIconAlertCritical = 4;
inline constexpr int msoAlertDefaultFirst = 0;
inline constexpr int msoAlertCancelDefault = -1;
inline constexpr int msoAnimationWorkingAtSomething = 25;
}  // namespace qbx::assistant
