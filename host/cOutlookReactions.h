// The one object that listens to the Outlook application for the whole
// session: it completes the add-in's set-up at Startup, gives every new mail
// window its own cMailInspector, and prunes those of closed windows.
#pragma once

#include "support/com.h"
#include "support/com/events.h"

#include <memory>
#include <string>
#include <vector>

class cMailInspector;

class cOutlookReactions : public std::enable_shared_from_this<cOutlookReactions> {
public:
    cOutlookReactions();   // Class_Initialize
    ~cOutlookReactions();  // Class_Terminate

    // The application property: casts the object to Outlook's Application
    // (raising Type mismatch for anything else) and attaches the event sinks.
    void setOuaMyOutlook(const qbx::Disp& application);

    // One entry per mail window opened in this session, in the order opened;
    // entries are reached late-bound, as the objects Outlook sees.
    std::vector<qbx::ComPtr<cMailInspector>> colInspectors;
    // The application's inspectors collection and the application itself.
    qbx::Disp ouisMyInspectors;
    qbx::Disp ouaMyOutlook;

    void ouaMyOutlook_ItemSend(const qbx::Disp& item, const qbx::Args& args);
    void ouaMyOutlook_NewMail();
    void ouaMyOutlook_Quit();
    void ouaMyOutlook_Startup();
    void ouisMyInspectors_NewInspector(const qbx::Disp& inspector);
    void subClearInspectors() noexcept;

    // The mail-class test: true for message classes longer than 7 characters
    // whose first 8, in upper case, are "IPM.NOTE".
    static bool fncIsMailClass(const std::wstring& messageClass);

private:
    void setOuisMyInspectors(const qbx::Disp& inspectors);

    qbx::EventConnection applicationEvents_;
    qbx::EventConnection inspectorsEvents_;
};
