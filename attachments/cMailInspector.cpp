#include "attachments/cMailInspector.h"

#include "attachments/cSafeInspector.h"
#include "attachments/frmChooseSite.h"
#include "attachments/modAttachmentFlow.h"
#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings_ui/modSettingsWindow.h"
#include "sharepoint/modUpload.h"
#include "support/modAssistant.h"
#include "support/modErroHandling.h"
#include "support/modHtml.h"
#include "support/modOutlookCode.h"
#include "support/office_interfaces.h"
#include "support/phrases.h"

#include <algorithm>

namespace {

// The tag that marks the add-in's button on a window's bar.
constexpr const wchar_t* kButtonTag = L"OSAttachments";
constexpr int kButtonWidth = 25;
constexpr int kButtonFaceId = 2497;
// AttachmentAdd handles its own attachment directly at most this often.
constexpr double kSecondsBetweenDirectHandling = 5;
// The second removal attempt, after Outlook's event has ended.
constexpr long kRemovalDelayMilliseconds = 500;
// A removal Outlook keeps refusing is tried this often, then the attachment
// stays on the mail (with its link; it is not moved a second time).
constexpr int kRemovalTries = 20;

// How many attachment handlers (of any window) are running. Their nested
// message loops (the chooser, an error report, a call into Word running in
// its own process) deliver window timers; the removal timer then waits.
int intRunningHandlers = 0;
struct RunningHandler {
    RunningHandler() noexcept { ++intRunningHandlers; }
    ~RunningHandler() { --intRunningHandlers; }
    RunningHandler(const RunningHandler&) = delete;
    RunningHandler& operator=(const RunningHandler&) = delete;
};

// The typed assignment of an object field: anything but the expected Outlook
// object is a Type mismatch, as it is for a field declared with that type.
qbx::Disp fncAsOutlook(const qbx::Disp& object, const IID& iid) {
    if (!object) return {};
    if (!object.supports(iid)) qbx::raiseVb(qbx::vbErrTypeMismatch);
    return object;
}

}  // namespace

cMailInspector::cMailInspector() : DispatchObject(L"cMailInspector") {
    property(
        L"cmdSettings", [this](qbx::Args&) { return qbx::Variant(cmdSettings_); },
        [this](qbx::Args&, const qbx::Variant& v) { setCmdSettings(v.toDisp()); });
    property(
        L"ouiMailItem", [this](qbx::Args&) { return qbx::Variant(ouiMailItem_); },
        [this](qbx::Args&, const qbx::Variant& v) { setOuiMailItem(v.toDisp()); });
    property(
        L"ouiMyInspector", [this](qbx::Args&) { return qbx::Variant(ouiMyInspector_); },
        [this](qbx::Args&, const qbx::Variant& v) { setOuiMyInspector(v.toDisp()); });
    method(L"subAddButtons", [this](qbx::Args&) {
        subAddButtons();
        return qbx::Variant();
    });

    // Class_Initialize: the editor helper is an outside component, created
    // by its name. A missing one is reported like any failure; an object that
    // runs on without it writes no links (see subInsertLink).
    subSetAction(L"Creating the safe inspector object");
    qbx::guarded(L"Class_Initialize", [&] { objSafeInspector_ = qbx::Disp::create(kSafeInspectorProgId); });
}

cMailInspector::~cMailInspector() {
    // Class_Terminate: the window, the mail and the editor helper go; the
    // button and a pending removal go with the object.
    inspectorEvents_.disconnect();
    ouiMyInspector_.reset();
    mailItemEvents_.disconnect();
    ouiMailItem_.reset();
    objSafeInspector_.reset();
    objDeleteAttTimer.reset();
    objAttToDelete_.reset();
    colMovedAttachments_.clear();
    colKeptAttachments_.clear();
    cmdSettingsEvents_.disconnect();
    cmdSettings_.reset();
}

void cMailInspector::setCmdSettings(const qbx::Disp& button) {
    if (button && cmdSettings_.sameAs(button) && cmdSettingsEvents_.connected()) return;
    cmdSettingsEvents_.disconnect();
    cmdSettings_ = button;
    if (!button) return;
    cmdSettingsEvents_.connect(button, {qbx::DIID_CommandBarButtonEvents},
                               {
                                   {qbx::dispid::ButtonClick, [this](qbx::Args& a) {
                                        if (fncIsOwnClick(a.obj(0))) cmdSettings_Click();
                                    }},
                               },
                               qbx::Pin(static_cast<IDispatch*>(this)));
}

void cMailInspector::setOuiMailItem(const qbx::Disp& mailItem) {
    qbx::Disp typed = fncAsOutlook(mailItem, qbx::IID_OutlookMailItem);
    mailItemEvents_.disconnect();
    ouiMailItem_ = typed;
    if (!typed) return;
    mailItemEvents_.connect(typed, {qbx::DIID_ItemEvents_10, qbx::DIID_ItemEvents},
                            {
                                {qbx::dispid::AttachmentAdd, [this](qbx::Args& a) {
                                     ouiMailItem_AttachmentAdd(a.obj(0));
                                 }},
                                {qbx::dispid::BeforeAttachmentSave, [this](qbx::Args& a) {
                                     ouiMailItem_BeforeAttachmentSave(a.obj(0), a);
                                 }},
                            },
                            qbx::Pin(static_cast<IDispatch*>(this)));
}

void cMailInspector::setOuiMyInspector(const qbx::Disp& inspector) {
    qbx::Disp typed = fncAsOutlook(inspector, qbx::IID_OutlookInspector);
    inspectorEvents_.disconnect();
    ouiMyInspector_ = typed;
    if (!typed) return;
    inspectorEvents_.connect(typed, {qbx::DIID_InspectorEvents_10, qbx::DIID_InspectorEvents},
                             {
                                 {qbx::dispid::InspectorActivate, [this](qbx::Args&) {
                                      ouiMyInspector_Activate();
                                  }},
                                 {qbx::dispid::InspectorClose, [this](qbx::Args&) {
                                      ouiMyInspector_Close();
                                  }},
                             },
                             qbx::Pin(static_cast<IDispatch*>(this)));
}

void cMailInspector::subAddButtons() {
    qbx::guarded(L"subAddButtons", [&] {
        qbx::Disp bar = ouiMyInspector_.getObj(L"CommandBars").item(L"Standard");
        qbx::Disp controls = bar.getObj(L"Controls");
        // A button left from an earlier activation is reused, never doubled.
        controls.forEach([&](const qbx::Variant& each) {
            qbx::Disp control = each.toDisp();
            if (!control.get(L"BuiltIn").toBool()) {
                if (control.get(L"Tag").toString() == kButtonTag) setCmdSettings(control);
            }
        });
        if (!cmdSettings_) {
            subSetAction(L"Adding buttons to Outlook SharePoint Addin toolbar");
            setCmdSettings(controls.get(L"Add", qbx::msoControlButton, qbx::missing, qbx::missing, qbx::missing, true)
                               .toDisp());
            cmdSettings_.put(L"Width", kButtonWidth);
            cmdSettings_.put(L"Style", qbx::msoButtonIcon);
            cmdSettings_.put(L"Caption", LNGSETTINGS);
            cmdSettings_.put(L"TooltipText", LNGSETTINGSTT + L" " + kProductName);
            cmdSettings_.put(L"FaceId", kButtonFaceId);
            cmdSettings_.put(L"Tag", kButtonTag);
            cmdSettings_.put(L"Visible", true);
        }
    });
}

void cMailInspector::ouiMyInspector_Activate() { subAddButtons(); }

void cMailInspector::ouiMyInspector_Close() {
    // Errors ignored: the window is going whatever Outlook says.
    qbx::Err err;
    if (cmdSettings_) err.resume([&] { cmdSettings_.call(L"Delete"); });
    // The deleted button's object is of no more use; let go of it and its events.
    err.resume([&] { setCmdSettings(qbx::Disp()); });
    err.resume([&] { setOuiMailItem(qbx::Disp()); });
    err.resume([&] { setOuiMyInspector(qbx::Disp()); });
    // The window's attachments go with it: a pending removal is called off
    // (its timer too), so no attachment object outlives its mail's window
    // while this object waits to be pruned.
    err.resume([&] {
        if (objDeleteAttTimer) objDeleteAttTimer->TimerEnabled(false);
    });
    objDeleteAttTimer.reset();
    objAttToDelete_.reset();
    colPendingKey_.clear();
    colMovedAttachments_.clear();
    err.clear();
}

bool cMailInspector::fncIsOwnClick(const qbx::Disp& clicked) {
    if (!clicked || clicked.sameAs(cmdSettings_)) return true;
    // Office may hand out another object for the same control; then the
    // click was ours when this window is the one in front (a click in a
    // window brings it forward first).
    bool front = false;
    qbx::Err err;
    err.resume([&] { front = ouaOutlook.getObj(L"ActiveInspector").sameAs(ouiMyInspector_); });
    err.clear();
    return front;
}

void cMailInspector::cmdSettings_Click() {
    subSetAction(L"Opening settings form");
    qbx::guarded(L"cmdSettings_Click", [&] {
        if (!ouiMailItem_) setOuiMailItem(ouiMyInspector_.getObj(L"CurrentItem"));
        subShowSettingsWindow(ouiMailItem_);
    });
}

// ---------------------------------------------------------------- attachment flow

void cMailInspector::ouiMailItem_AttachmentAdd(const qbx::Disp& attachment) {
    // A file dropped while this window's chooser is open: the handling that
    // opened it takes this one in its walk afterwards.
    if (blnInAttachmentAdd_) {
        blnAddedMeanwhile_ = true;
        return;
    }
    subSetAction(L"");
    RunningHandler running;
    blnInAttachmentAdd_ = true;
    blnAddedMeanwhile_ = false;
    qbx::guarded(L"ouiMailItem_AttachmentAdd", [&] {
        {
            // The event's own attachment is new on the mail: no record of
            // the window's can be about it.
            AttachmentKey keyAdded;
            qbx::Err err;
            const bool blnKnown = err.resume([&] { keyAdded = fncAttachmentKey(attachment); });
            err.clear();
            subPruneRecords(blnKnown ? &keyAdded : nullptr);
        }
        // A report during this event stops the add-in; the rest of the walk
        // is then left alone.
        const bool blnWasRunning = !blnShuttingDown;
        auto stopped = [&] { return blnWasRunning && blnShuttingDown; };

        // 1. The event's own attachment, at most once per 5 seconds (the zero
        //    start date lets the first one of the session through).
        colHandledFirst_.clear();
        if ((fncFlowNow() - datLastHandled_) * 24 * 60 * 60 > kSecondsBetweenDirectHandling) {
            // Its key is read first: once removed, the attachment answers nothing.
            AttachmentKey key;
            qbx::Err err;
            const bool blnKnown = err.resume([&] { key = fncAttachmentKey(attachment); });
            err.clear();
            blnSaveTried_ = false;
            const size_t lngRecordsBefore = fncRecordCount();
            subHandleAttachment(attachment, false);
            datLastHandled_ = fncFlowNow();
            // Recorded once only: one whose removal is pending (or that the
            // user kept) already counts as settled.
            if (blnSaveTried_ && blnKnown && fncRecordCount() == lngRecordsBefore) colHandledFirst_.push_back(key);
        }

        // 2. Every attachment on the mail, in collection order: how the other
        //    files of a burst are moved. The list is taken first, so that a
        //    removal can't make the walk skip the next attachment. One that
        //    step 1 has just tried to save is not sent a second time. Files
        //    dropped meanwhile (while the chooser was open) get a walk of
        //    their own.
        do {
            blnAddedMeanwhile_ = false;
            if (stopped() || !ouiMailItem_) break;
            qbx::Disp attachments = ouiMailItem_.getObj(L"Attachments");
            if (attachments.get(L"Count").toLong() < 1) break;
            std::vector<qbx::Disp> colAll;
            attachments.forEach([&](const qbx::Variant& each) { colAll.push_back(each.toDisp()); });
            std::vector<AttachmentKey> colSeen;
            for (const qbx::Disp& each : colAll) {
                if (stopped()) break;
                // One removed meanwhile (by the removal timer, or by the
                // user while a dialog was open) answers nothing: skipped.
                AttachmentKey key;
                qbx::Err err;
                const bool blnReadable = err.resume([&] { key = fncAttachmentKey(each); });
                err.clear();
                if (!blnReadable) continue;
                colSeen.push_back(key);
                const long lngOrdinal = static_cast<long>(std::count(colSeen.begin(), colSeen.end(), colSeen.back()));
                subHandleAttachment(each, true, lngOrdinal);
            }
        } while (blnAddedMeanwhile_);
        colHandledFirst_.clear();
    });
    blnInAttachmentAdd_ = false;
    blnAddedMeanwhile_ = false;
}

void cMailInspector::ouiMailItem_BeforeAttachmentSave(const qbx::Disp& attachment, const qbx::Args&) {
    // Raised while this window's attachment handling waits in a dialog (an
    // autosave while the chooser is open): that handling walks the
    // attachments again when it is done, so nobody is asked twice.
    if (blnInAttachmentAdd_) {
        blnAddedMeanwhile_ = true;
        return;
    }
    subSetAction(L"Handling an attachment about to be saved in the mail");
    RunningHandler running;
    blnInAttachmentAdd_ = true;
    blnAddedMeanwhile_ = false;
    qbx::guarded(L"ouiMailItem_BeforeAttachmentSave", [&] {
        if (!ouiMyInspector_) setOuiMyInspector(ouiMailItem_.getObj(L"GetInspector"));
        // Word windows have had their attachment in AttachmentAdd.
        if (!ouiMyInspector_.get(L"IsWordMail").toBool()) {
            subPruneRecords(nullptr);
            subHandleAttachment(attachment, false);
        }
    });
    blnInAttachmentAdd_ = false;
    blnAddedMeanwhile_ = false;
}

cMailInspector::AttachmentKey cMailInspector::fncAttachmentKey(const qbx::Disp& attachment) {
    return {attachment.get(L"FileName").toString(), attachment.get(L"DisplayName").toString()};
}

bool cMailInspector::fncIsSettled(const AttachmentKey& key, long lngOrdinal) const {
    long lngSettled = 0;
    for (const auto* records : {&colPendingKey_, &colKeptAttachments_, &colHandledFirst_})
        lngSettled += static_cast<long>(std::count(records->begin(), records->end(), key));
    for (const MovedAttachment& moved : colMovedAttachments_) lngSettled += moved.key == key;
    if (lngSettled == 0) return false;
    if (lngOrdinal > 0) return lngOrdinal <= lngSettled;
    // An event's own attachment is the newest of its name.
    long lngOnMail = 0;
    ouiMailItem_.getObj(L"Attachments").forEach([&](const qbx::Variant& each) {
        lngOnMail += fncAttachmentKey(each.toDisp()) == key;
    });
    return lngOnMail <= lngSettled;
}

// The library the user picks in the chooser for the file; empty when there
// is nothing to move it to.
std::wstring cMailInspector::fncAskTarget(const std::wstring& strFileName, const AttachmentKey& key) {
    // Owned by this mail's window, which need not be the thread's active one
    // (a Word mail window is Word's).
    qbx::Disp window = ouiMyInspector_;
    qbx::Err err;
    if (!window) err.resume([&] { window = ouiMailItem_.getObj(L"GetInspector"); });
    err.clear();
    std::wstring strTarget = fncChooseSite(strFileName, fncInspectorWindow(window));
    // The window closed (or the add-in stopped) while the chooser was open:
    // there is no mail left to put a link in.
    if (!ouiMailItem_ || blnShuttingDown) return {};
    // Cancel, or OK before a library was picked (the chooser then gives the
    // bare file name back): the attachment stays, and this window does not
    // ask about it again.
    if (strTarget.empty() || !fncIsAbsoluteAddress(strTarget)) {
        colKeptAttachments_.push_back(key);
        return {};
    }
    return strTarget;
}

void cMailInspector::subHandleAttachment(const qbx::Disp& attachment, bool blnAll, long lngOrdinal) {
    subSetAction(L"Moving an attachment to a document library");
    qbx::guarded(L"subHandleAttachment", [&] {
        // 1-2. The file name, converted as it will stand in the address.
        std::wstring strFileName = attachment.get(L"FileName").toString();
        if (strFileName.empty()) return;
        // Moved already and only waiting for its removal, or kept by the
        // user: neither is uploaded (or asked about) a second time.
        const AttachmentKey key = fncAttachmentKey(attachment);
        if (fncIsSettled(key, lngOrdinal)) return;
        strFileName = fncHtmlEncode(strFileName);

        // 3. With one library or none there is nothing to choose from.
        if (!objPersonalSettings) qbx::raiseVb(qbx::vbErrObjectNotSet);
        if (objPersonalSettings->DicList.Count() <= 1) return;

        // While a removal is pending, the event's own attachment waits. This
        // is tested before the target is chosen, so the user is never asked
        // for a library that would not be used.
        if (!blnAll && objAttToDelete_) return;

        // 4-7. The target: the default library, or the user's choice.
        const std::wstring strDefaultSite = objPersonalSettings->strDefaultSite;
        std::wstring strTarget;
        if (objPersonalSettings->blnAlwaysDefault && !strDefaultSite.empty()) {
            strTarget = fncDefaultTarget(strDefaultSite, strFileName);
        } else {
            strTarget = fncAskTarget(strFileName, key);
        }
        // 7. Nothing is saved to a target that is no address at all, so
        //    nothing can land in Outlook's working folder instead of a library.
        if (strTarget.empty() || !fncIsAbsoluteAddress(strTarget)) return;

        // 8.
        if (fncOutlookVersion() < 12) subAssistantWorking(ouaOutlook);

        // 9-12. Saving and uploading, errors ignored: on failure the
        //       attachment stays and the mail is left as it is.
        blnSaveTried_ = true;
        if (!fncSaveToLibrary(attachment, strFileName, strTarget)) return;

        // 13. The library has the file. The link goes in first; only then is
        //     the removal armed, so that no timer (a call into Word may run
        //     a message loop) removes an attachment whose link is not in
        //     the mail. A link that can't be written is reported, and the
        //     attachment stays.
        subInsertLink(strTarget);
        if (!blnAll) {
            objAttToDelete_ = attachment;
            intRemovalTries_ = 0;
            subStartRemovalTimer();
        }
        // Outlook may refuse inside its own event; the timer tries again. An
        // attachment of the walk has no timer of its own: a refusal starts
        // one for it, so that the next walk does not move it a second time.
        qbx::Err err;
        if (!err.resume([&] { attachment.call(L"Delete"); })) {
            if (!blnAll) {
                colPendingKey_.assign(1, key);
            } else {
                colMovedAttachments_.push_back({attachment, key});
                if (!objDeleteAttTimer) subStartRemovalTimer();
            }
        }
        err.clear();
    });
}

void cMailInspector::subStartRemovalTimer() {
    objDeleteAttTimer = std::make_unique<frmTimer>();
    objDeleteAttTimer->setTimerListener([this] { objDeleteAttTimer_Timer(); }, qbx::Pin(static_cast<IDispatch*>(this)));
    objDeleteAttTimer->TimerInterval(kRemovalDelayMilliseconds);
    objDeleteAttTimer->TimerEnabled(true);
}

bool cMailInspector::fncSaveToLibrary(const qbx::Disp& attachment, const std::wstring& strFileName,
                                      const std::wstring& strTarget) {
    qbx::Err err;
    short intVersion = 0;
    if (!err.resume([&] { intVersion = fncOutlookVersion(); })) return false;

    if (intVersion != 9 && intVersion < 12) {
        // Outlook 2002 and 2003 save to a web address themselves.
        const bool blnSaved = err.resume([&] { attachment.call(L"SaveAsFile", strTarget); });
        err.clear();
        return blnSaved;
    }

    // The others through a temporary copy and an upload. The copy goes as
    // soon as the upload has returned, whatever its outcome: a mail's
    // attachment is not left lying in the temporary folder.
    std::wstring strTempPath;
    if (!err.resume([&] { strTempPath = fncTempCopyPath(strFileName); }) || strTempPath.empty()) {
        err.clear();
        return false;
    }
    bool blnUploaded = false;
    if (err.resume([&] { attachment.call(L"SaveAsFile", strTempPath); }))
        blnUploaded = fncUploadFile(strTempPath, fncUploadAddress(strTarget));
    subRemoveTempCopy(strTempPath);
    err.clear();
    return blnUploaded;
}

void cMailInspector::subInsertLink(const std::wstring& strTarget) {
    // Without the safe inspector (its creation was reported when this object
    // was made) no link can be written; the file is in the library, so the
    // attachment still goes.
    if (!objSafeInspector_) return;
    // Any other failure here goes to the caller's error trap, before the
    // attachment is removed: a mail never loses both the file and the link.
    if (!ouiMyInspector_) setOuiMyInspector(ouiMailItem_.getObj(L"GetInspector"));
    // The helper lets go of the window whatever happens, so that nothing
    // holds it once closed.
    const auto letGo = qbx::scopeExit([&helper = objSafeInspector_] {
        qbx::Err err;
        err.resume([&] { helper.putRef(L"Item", qbx::Disp()); });
        err.clear();
    });
    objSafeInspector_.putRef(L"Item", ouiMyInspector_);
    ouiMyInspector_.call(L"Activate");
    objSafeInspector_.call(L"InsertText", strTarget + L" " + L"\r\n");
}

void cMailInspector::objDeleteAttTimer_Timer() {
    // Inside a handler's nested loop (the chooser, an error report, a call
    // into Word) the handler may be reading the attachments: the timer keeps
    // running and tries again at its next tick.
    if (intRunningHandlers > 0) return;
    // Errors ignored throughout: the attachment may be gone already.
    qbx::Err err;
    if (objDeleteAttTimer) err.resume([&] { objDeleteAttTimer->TimerEnabled(false); });
    objDeleteAttTimer.reset();  // the timer fires once
    ++intRemovalTries_;
    // A removal Outlook refuses keeps its record, so that the attachment is
    // not moved a second time, and is tried again; one already gone (removed
    // at once after all) answers nothing and is done.
    auto refused = [&](const qbx::Disp& each) {
        if (!each || err.resume([&] { each.call(L"Delete"); })) return false;
        const bool blnStillThere = err.resume([&] { fncAttachmentKey(each); });
        err.clear();
        return blnStillThere;
    };
    const bool blnGiveUp = intRemovalTries_ >= kRemovalTries;
    if (!refused(objAttToDelete_)) {
        objAttToDelete_.reset();
        colPendingKey_.clear();
    } else if (blnGiveUp) {
        // It stays on the mail, with its link, and is never moved again.
        colKeptAttachments_.insert(colKeptAttachments_.end(), colPendingKey_.begin(), colPendingKey_.end());
        objAttToDelete_.reset();
        colPendingKey_.clear();
    }
    std::vector<MovedAttachment> colMoved = std::move(colMovedAttachments_);
    colMovedAttachments_.clear();
    for (MovedAttachment& moved : colMoved) {
        if (!refused(moved.attachment)) continue;
        if (blnGiveUp) colKeptAttachments_.push_back(moved.key);
        else colMovedAttachments_.push_back(std::move(moved));
    }
    err.clear();
    if (objAttToDelete_ || !colMovedAttachments_.empty()) subStartRemovalTimer();
}

size_t cMailInspector::fncRecordCount() const {
    return colPendingKey_.size() + colKeptAttachments_.size() + colMovedAttachments_.size();
}

void cMailInspector::subPruneRecords(const AttachmentKey* keyAdded) {
    // A record whose attachment has left the mail (the user removed a kept
    // one) would make a later file of the same name count as settled. Each
    // name keeps as many records as the mail has attachments of that name
    // from before (keyAdded: the one just added, which is nobody's); the
    // kept ones go first.
    if (!ouiMailItem_) return;
    std::vector<AttachmentKey> colOnMail;
    qbx::Err err;
    err.resume([&] {
        ouiMailItem_.getObj(L"Attachments").forEach([&](const qbx::Variant& each) {
            AttachmentKey key;
            if (err.resume([&] { key = fncAttachmentKey(each.toDisp()); })) colOnMail.push_back(key);
        });
    });
    err.clear();
    auto onMail = [&](const AttachmentKey& key) {
        return static_cast<long>(std::count(colOnMail.begin(), colOnMail.end(), key)) -
               (keyAdded && *keyAdded == key ? 1 : 0);
    };
    auto recorded = [&](const AttachmentKey& key) {
        long n = static_cast<long>(std::count(colPendingKey_.begin(), colPendingKey_.end(), key) +
                                   std::count(colKeptAttachments_.begin(), colKeptAttachments_.end(), key));
        for (const MovedAttachment& moved : colMovedAttachments_) n += moved.key == key;
        return n;
    };
    for (auto it = colKeptAttachments_.begin(); it != colKeptAttachments_.end();) {
        if (recorded(*it) > onMail(*it)) it = colKeptAttachments_.erase(it);
        else ++it;
    }
}
