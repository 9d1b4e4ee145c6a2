#include "support/modOutlookCode.h"

#include "host/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/prompt.h"

namespace {
short keptVersion = 0;
}

bool fncStartOutlook() {
    if (ouaOutlook) return true;
    static const wchar_t* const progIds[] = {L"Outlook.Application.12", L"Outlook.Application.11",
                                             L"Outlook.Application.10", L"Outlook.Application.9",
                                             L"Outlook.Application"};
    qbx::Err err;
    for (const wchar_t* progId : progIds) {
        qbx::Disp app;
        if (!err.resume([&] { app = qbx::Disp::create(progId); }) || !app) continue;
        // Attaching is only done once the MAPI namespace answers.
        if (!err.resume([&] { app.call(L"GetNamespace", L"MAPI"); })) continue;
        ouaOutlook = app;
        subResetOutlookVersion();
        return true;
    }
    qbx::fncMsgBox(L"Please start Outlook manually before you execute this application!", MB_ICONEXCLAMATION,
                   kProductName);
    return false;
}

short fncOutlookVersion() {
    if (keptVersion == 0) {
        std::wstring v = ouaOutlook.get(L"Version").toString();
        keptVersion = static_cast<short>(_wtoi(v.substr(0, v.find(L'.')).c_str()));
    }
    return keptVersion;
}

void subResetOutlookVersion() noexcept { keptVersion = 0; }
