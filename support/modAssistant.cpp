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

// Shows text in the Assistant's balloon with the given buttons and icon and
// returns the button the user chose (0 when the balloon could not be shown).
long fncAssistantBalloon(const qbx::Disp& application, const std::wstring& text, const wchar_t* procedure,
                         long buttons, long icon) {
    long result = 0;
    subSetAction(L"Creating Assistant to display message " + text);
    qbx::guarded(procedure, [&] {
        using namespace qbx::assistant;
        qbx::Disp assistant = fncVisibleAssistant(application);
        result = assistant
                     .get(L"DoAlert", kProductName, text, buttons, icon, msoAlertDefaultFirst, msoAlertCancelDefault,
                          false)
                     .toLong();
    });
    return result;
}

}  // namespace

long fncAssistantAlert(const qbx::Disp& application, const std::wstring& text) {
    subActivateOutlook(application);
    if (!application) {
        return qbx::fncMsgBox(text, MB_ICONINFORMATION, kProductName);
    }
    return fncAssistantBalloon(application, text, L"fncAssistantAlert", qbx::assistant::msoButtonSetOK,
                               qbx::assistant::msoIconAlertCritical);
}

long fncAssistantAsk(const qbx::Disp& application, const std::wstring& text) {
    subActivateOutlook(application);
    return fncAssistantBalloon(application, text, L"fncAssistantAsk", qbx::assistant::msoButtonSetYesNo,
                               qbx::assistant::msoIconAlertQuery);
}

void subAssistantWorking(const qbx::Disp& application) {
    subActivateOutlook(application);
    subSetAction(L"Showing that the Assistant is working");
    qbx::guarded(L"subAssistantWorking", [&] {
        qbx::Disp assistant = fncVisibleAssistant(application);
        assistant.put(L"Animation", qbx::assistant::msoAnimationWorkingAtSomething);
    });
}
