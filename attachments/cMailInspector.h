// The object behind one open mail window. It keeps the window's settings
// button on the "Standard" command bar, opens the settings from it, lets go
// of the window when it closes (so the reactions object can prune it), and
// carries an added attachment to a document library.
//
// It is reached through IDispatch as well: the reactions object sets
// ouiMyInspector and reads it back by name.
#pragma once

#include "attachments/frmTimer.h"
#include "support/com/dispatch_object.h"
#include "support/com/events.h"

#include <memory>
#include <string>
#include <vector>

class cMailInspector final : public qbx::DispatchObject {
public:
    cMailInspector();            // Class_Initialize
    ~cMailInspector() override;  // Class_Terminate

    // The mail shown in the window (an Outlook MailItem, with its events).
    void setOuiMailItem(const qbx::Disp& mailItem);
    // The reactions object reaches the rest through IDispatch, by name;
    // Outlook's events arrive through the sinks.
private:
    friend struct cMailInspectorTesting;  // cMailInspector_testing.h

    // The settings button this window's "Standard" bar carries; nothing until added.
    void setCmdSettings(const qbx::Disp& button);
    const qbx::Disp& ouiMailItem() const noexcept { return ouiMailItem_; }
    // The window (an Outlook Inspector, with its events).
    const qbx::Disp& ouiMyInspector() const noexcept { return ouiMyInspector_; }
    void setOuiMyInspector(const qbx::Disp& inspector);

    // Puts the settings button on the window's "Standard" bar, reusing one
    // left there by an earlier activation.
    void subAddButtons();

    // Event handlers.
    void ouiMyInspector_Activate();
    void ouiMyInspector_Close();
    void cmdSettings_Click();
    // The attachment flow's two entries: an attachment added to the mail
    // (at most once per 5 seconds directly, then every attachment still on
    // the mail), and an attachment about to be saved into the mail in a
    // window whose editor is not Word. Cancel is never set.
    void ouiMailItem_AttachmentAdd(const qbx::Disp& attachment);
    void ouiMailItem_BeforeAttachmentSave(const qbx::Disp& attachment, const qbx::Args& args);

    // Moves one attachment to a document library: the default one or the
    // one the user picks, saved by Outlook itself (Outlook 2002 and 2003) or
    // through a temporary copy and an upload (the other versions); then the
    // address goes into the mail text at the cursor and the attachment is
    // removed. blnAll False (the event's own attachment) also starts the
    // timer that removes it a second time, in case Outlook refused inside
    // its event. Nothing leaves the mail unless the library has the file.
    // lngOrdinal: in a walk, which attachment of its name this is on the
    // mail (1 the oldest); 0 for an event's own attachment.
    void subHandleAttachment(const qbx::Disp& attachment, bool blnAll, long lngOrdinal = 0);
    // The delayed removal: the timer fires once.
    void objDeleteAttTimer_Timer();

    // The pending-removal timer; nothing while no removal is pending.
    std::unique_ptr<frmTimer> objDeleteAttTimer;

    // Office raises a button's Click on every button that shares its tag, so
    // every window's button hears a click in any window: true when the
    // clicked control is this window's own button.
    bool fncIsOwnClick(const qbx::Disp& clicked);

    // The attachment the timer is to remove; nothing while none is pending.
    qbx::Disp objAttToDelete_;
    // Writes text into the window's editor.
    qbx::Disp objSafeInspector_;
    // When an attachment was last handled from AttachmentAdd (the zero date
    // at first, so the first event always qualifies).
    double datLastHandled_ = 0.0;
    // Set once subHandleAttachment has got as far as saving the attachment.
    bool blnSaveTried_ = false;
    // True while an AttachmentAdd is being handled. The chooser's message loop
    // lets the user drop another file on the same mail meanwhile; that event
    // only sets blnAddedMeanwhile_, and the running handling walks the
    // attachments once more when it is done.
    bool blnInAttachmentAdd_ = false;
    bool blnAddedMeanwhile_ = false;

    // Saves the attachment into the library (errors ignored throughout);
    // true once the library has it.
    bool fncSaveToLibrary(const qbx::Disp& attachment, const std::wstring& strFileName,
                          const std::wstring& strTarget);
    // Writes the address, a blank and a line break at the cursor of the mail
    // text. Raises when the safe inspector is there but the window or its
    // editor refuses; without the safe inspector it writes nothing.
    void subInsertLink(const std::wstring& strTarget);
    // Outlook hands out a new object for the same attachment on each access,
    // so an attachment is known again by its names, not by its object.
    struct AttachmentKey {
        std::wstring fileName, displayName;
        bool operator==(const AttachmentKey&) const = default;
    };
    static AttachmentKey fncAttachmentKey(const qbx::Disp& attachment);
    // True for an attachment this window has already settled: one in the
    // library whose removal is pending, one the user chose to keep by
    // cancelling the chooser, or the one step 1 of the event just tried.
    // Attachments with the same names are told apart by age: Outlook adds at
    // the end, so the older ones are the settled ones. lngOrdinal as for
    // subHandleAttachment; 0 counts the attachments of that name on the mail.
    bool fncIsSettled(const AttachmentKey& key, long lngOrdinal) const;
    std::wstring fncAskTarget(const std::wstring& strFileName, const AttachmentKey& key);
    // Starts the one-shot removal timer.
    void subStartRemovalTimer();
    // How many records the window keeps (pending, kept, moved).
    size_t fncRecordCount() const;
    // Drops the records of kept attachments that are no longer on the mail;
    // keyAdded: the attachment that has just come (or null).
    void subPruneRecords(const AttachmentKey* keyAdded);
    // Removal attempts of the pending removal so far.
    int intRemovalTries_ = 0;

    // objAttToDelete_'s key while it is still on the mail (its removal in
    // step 13 was refused).
    std::vector<AttachmentKey> colPendingKey_;
    // Attachments the user kept on the mail by cancelling the chooser.
    std::vector<AttachmentKey> colKeptAttachments_;
    // The attachment step 1 of the running event tried to save, during the walk.
    std::vector<AttachmentKey> colHandledFirst_;
    // Attachments moved by the walk whose removal Outlook refused; the timer
    // removes them together with objAttToDelete_.
    struct MovedAttachment {
        qbx::Disp attachment;
        AttachmentKey key;
    };
    std::vector<MovedAttachment> colMovedAttachments_;

    qbx::Disp cmdSettings_;
    qbx::Disp ouiMailItem_;
    qbx::Disp ouiMyInspector_;
    qbx::EventConnection cmdSettingsEvents_;
    qbx::EventConnection mailItemEvents_;
    qbx::EventConnection inspectorEvents_;
};
