#include "host/cOutlookReactions.h"

#include "host/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/office_interfaces.h"

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
    if (!application || !application.ptr().as<IUnknown>(qbx::IID_OutlookApplication))
        qbx::raise(qbx::vbErrTypeMismatch, L"Type mismatch");
    applicationEvents_.disconnect();
    ouaMyOutlook = application;
    // A handler may end with this object released; keep it alive meanwhile.
    applicationEvents_.connect(
        application, {qbx::DIID_ApplicationEvents_11, qbx::DIID_ApplicationEvents_10, qbx::DIID_ApplicationEvents},
        {
            {qbx::dispid::ItemSend, [this](qbx::EventArgs& a) {
                 auto self = shared_from_this();
                 ouaMyOutlook_ItemSend(a.obj(0), a);
             }},
            {qbx::dispid::NewMail, [this](qbx::EventArgs&) {
                 auto self = shared_from_this();
                 ouaMyOutlook_NewMail();
             }},
            {qbx::dispid::Quit, [this](qbx::EventArgs&) {
                 auto self = shared_from_this();
                 ouaMyOutlook_Quit();
             }},
            {qbx::dispid::Startup, [this](qbx::EventArgs&) {
                 auto self = shared_from_this();
                 ouaMyOutlook_Startup();
             }},
        });
}

void cOutlookReactions::setOuisMyInspectors(const qbx::Disp& inspectors) {
    inspectorsEvents_.disconnect();
    ouisMyInspectors = inspectors;
    if (!inspectors) return;
    inspectorsEvents_.connect(inspectors, {qbx::DIID_InspectorsEvents},
                              {
                                  {qbx::dispid::NewInspector, [this](qbx::EventArgs& a) {
                                       auto self = shared_from_this();
                                       ouisMyInspectors_NewInspector(a.obj(0));
                                   }},
                              });
}

// Sending never cancels; it only prunes the windows that have closed.
void cOutlookReactions::ouaMyOutlook_ItemSend(const qbx::Disp&, const qbx::EventArgs&) { subClearInspectors(); }

void cOutlookReactions::ouaMyOutlook_NewMail() { subClearInspectors(); }

namespace {
// The second entry point of the release at Quit; it only forwards.
void subReleaseAtQuit() { ReleaseOutlookObjects(); }
}  // namespace

void cOutlookReactions::ouaMyOutlook_Quit() {
    ReleaseOutlookObjects();
    subReleaseAtQuit();
}

void cOutlookReactions::ouaMyOutlook_Startup() {
    // The start-up sequence arrives with the settings store and phrase table.
}

void cOutlookReactions::ouisMyInspectors_NewInspector(const qbx::Disp&) {}

void cOutlookReactions::subClearInspectors() noexcept {}
