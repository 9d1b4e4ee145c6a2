#include "support/modAssistant.h"

#include "support/modErroHandling.h"
#include "support/prompt.h"

#include <windows.h>

namespace {

// Brings Outlook's active window to the foreground so that the Assistant's
// balloon is seen. Errors are ignored: with no application, no active window
// or no window of that title nothing happens.
void subActivateOutlook(const qbx::Disp& application) noexcept {
    qbx::Err err;
    std::wstring caption;
    err.resume([&] { caption = application.getObj(L"ActiveWindow").get(L"Caption").toString(); });
    if (!caption.empty()) {
        err.resume([&] {
            if (HWND window = FindWindowW(nullptr, caption.c_str())) SetForegroundWindow(window);
        });
    }
    err.clear();
}

// The Assistant of the application, made visible.
qbx::Disp fncVisibleAssistant(const qbx::Disp& application) {
    qbx::Disp assistant = application.getObj(L"Assistant");
    assistant.put(L"Visible", true);
    return assistant;
}

}  // namespace

long fncAssistantAlert(const qbx::Disp& application, const std::wstring& text) {
    long result = 0;
    subActivateOutlook(application);
    if (!application) {
        return qbx::fncMsgBox(text, MB_ICONINFORMATION, kProductName);
    }
    subSetAction(L"Creating Assistant to display message " + text);
    qbx::guarded(L"fncAssistantAlert", [&] {
        using namespace qbx::assistant;
        qbx::Disp assistant = fncVisibleAssistant(application);
        result = assistant
                     .get(L"DoAlert", kProductName, text, msoButtonSetOK, msoIconAlertCritical, msoAlertDefaultFirst,
                           msoAlertCancelDefault, false)
                     .toLong();
    });
    return result;
}

long fncAssistantAsk(const qbx::Disp& application, const std::wstring& text) {
    long result = 0;
    subActivateOutlook(application);
    subSetAction(L"Creating Assistant to display message " + text);
    qbx::guarded(L"fncAssistantAsk", [&] {
        using namespace qbx::assistant;
        qbx::Disp assistant = fncVisibleAssistant(application);
        result = assistant
                     .get(L"DoAlert", kProductName, text, msoButtonSetYesNo, msoIconAlertQuery, msoAlertDefaultFirst,
                           msoAlertCancelDefault, false)
                     .toLong();
    });
    return result;
}

void subAssistantWorking(const qbx::Disp& application) {
    subActivateOutlook(application);
    subSetAction(L"Showing that the Assistant is working");
    qbx::guarded(L"subAssistantWorking", [&] {
        qbx::Disp assistant = fncVisibleAssistant(application);
        assistant.put(L"Animation", qbx::assistant::msoAnimationWorkingAtSomething);
    });
}
