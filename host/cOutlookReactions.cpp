#include "host/cOutlookReactions.h"

#include "settings_ui/modSettingsWindow.h"

#include "attachments/cMailInspector.h"
#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings/modSettingsStore.h"
#include "support/modAssistant.h"
#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/modOutlookCode.h"
#include "support/modShell.h"
#include "support/office_interfaces.h"
#include "support/phrases.h"

cOutlookReactions::cOutlookReactions() = default;

cOutlookReactions::~cOutlookReactions() {
    // Detach from the application first, then from the inspectors, then drop
    // the mail windows' objects.
    applicationEvents_.disconnect();
    ouaMyOutlook.reset();
    inspectorsEvents_.disconnect();
    ouisMyInspectors.reset();
    colInspectors.clear();
}

void cOutlookReactions::setOuaMyOutlook(const qbx::Disp& application) {
    // Only a real Outlook Application answers Outlook's own interface.
    if (!application.supports(qbx::IID_OutlookApplication)) qbx::raiseVb(qbx::vbErrTypeMismatch);
    applicationEvents_.disconnect();
    ouaMyOutlook = application;
    applicationEvents_.connect(
        application, {qbx::DIID_ApplicationEvents_11, qbx::DIID_ApplicationEvents_10, qbx::DIID_ApplicationEvents},
        {
            {qbx::dispid::ItemSend, [this](qbx::Args& a) {
                 ouaMyOutlook_ItemSend(a.obj(0), a);
             }},
            {qbx::dispid::NewMail, [this](qbx::Args&) {
                 ouaMyOutlook_NewMail();
             }},
            {qbx::dispid::Quit, [this](qbx::Args&) {
                 ouaMyOutlook_Quit();
             }},
            {qbx::dispid::Startup, [this](qbx::Args&) {
                 ouaMyOutlook_Startup();
             }},
        },
        qbx::Pin(weak_from_this()));
}

void cOutlookReactions::setOuisMyInspectors(const qbx::Disp& inspectors) {
    inspectorsEvents_.disconnect();
    ouisMyInspectors = inspectors;
    if (!inspectors) return;
    inspectorsEvents_.connect(inspectors, {qbx::DIID_InspectorsEvents},
                              {
                                  {qbx::dispid::NewInspector, [this](qbx::Args& a) {
                                       ouisMyInspectors_NewInspector(a.obj(0));
                                   }},
                              },
                              qbx::Pin(weak_from_this()));
}

// Sending never cancels; it only prunes the windows that have closed.
void cOutlookReactions::ouaMyOutlook_ItemSend(const qbx::Disp&, const qbx::Args&) { subClearInspectors(); }

void cOutlookReactions::ouaMyOutlook_NewMail() { subClearInspectors(); }

namespace {
// The second entry point of the release at Quit; it only forwards.
void subReleaseAtQuit() { ReleaseOutlookObjects(true); }
}  // namespace

void cOutlookReactions::ouaMyOutlook_Quit() {
    // Quit is the last the add-in hears from Outlook 2010 on (the fast
    // shutdown raises neither OnBeginShutdown nor OnDisconnection, and the
    // process then ends with COM torn down): everything the add-in holds,
    // the personal settings included, goes now, while COM is still up. A
    // settings window still open (its mail window may be Word's, which does
    // not take it along) ends first, without saving.
    subCloseSettingsWindow();
    ReleaseOutlookObjects(true);
    subReleaseAtQuit();
}

void cOutlookReactions::ouaMyOutlook_Startup() {
    qbx::guarded(L"ouaMyOutlook_Startup", [&] {
        strListSeparator = fncGetListSeparator();
        subSetAction(L"Creating a new object for holding buttons");
        ouaOutlook = ouaMyOutlook;
        subResetOutlookVersion();
        subSetPhrases(fncGetLanguageColumn());

        // The settings folder, found (with errors ignored: a mailbox that
        // can't be read counts as one without it) or made. The last error of
        // the lookup is the one the failure message quotes.
        std::wstring strLookupError;
        subFindSettingsFolder(&strLookupError);
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        if (objPersonalSettings->GetSettings()) {
            strAddinPath = fncAddinFolder();
            // A failure reported meanwhile has dropped this object: it then
            // stays deaf to new windows.
            if (objOutlookReactions.get() == this) setOuisMyInspectors(ouaMyOutlook.getObj(L"Inspectors"));
        } else {
            fncAssistantAlert(ouaOutlook, L"Failed to save settings appointment in current folder\r\n" + LNGCHECKPERM +
                                              L"\r\n" + strLookupError);
            ReleaseOutlookObjects();
        }
    });
}

bool cOutlookReactions::fncIsMailClass(const std::wstring& messageClass) {
    return messageClass.size() > 7 && qbx::toUpper(messageClass.substr(0, 8)) == L"IPM.NOTE";
}

void cOutlookReactions::ouisMyInspectors_NewInspector(const qbx::Disp& inspector) {
    subSetAction(L"Adding the new inspector object to the collection");
    qbx::guarded(L"ouisMyInspectors_NewInspector", [&] {
        qbx::Disp item = inspector.getObj(L"CurrentItem");
        std::wstring messageClass = item.get(L"MessageClass").toString();
        intInspectorCount = ouaMyOutlook.getObj(L"Inspectors").get(L"Count").toShort();
        if (!fncIsMailClass(messageClass)) return;

        auto wrapper = qbx::makeObject<cMailInspector>();
        wrapper->setOuiMailItem(item);
        colInspectors.push_back(wrapper);
        // The window is handed to the newest entry by name, as to any object.
        qbx::Disp last(static_cast<IDispatch*>(colInspectors.back().get()));
        last.putRef(L"ouiMyInspector", inspector);
        last.call(L"subAddButtons");
    });
}

void cOutlookReactions::subClearInspectors() noexcept {
    // Errors ignored throughout. Backwards, so that a removal never shifts an
    // entry still to be visited.
    if (colInspectors.empty()) return;
    qbx::Err err;
    for (size_t index = colInspectors.size(); index >= 1; --index) {
        qbx::Disp window;
        bool read = err.resume([&] {
            window = qbx::Disp(static_cast<IDispatch*>(colInspectors[index - 1].get())).getObj(L"ouiMyInspector");
        });
        if (!read || !window) {
            err.resume([&] { colInspectors.erase(colInspectors.begin() + static_cast<std::ptrdiff_t>(index - 1)); });
        }
    }
    err.clear();
}
