#include "attachments/cMailInspector.h"

#include "host/modGlobals.h"
#include "settings_ui/modSettingsWindow.h"
#include "support/modErroHandling.h"
#include "support/office_interfaces.h"
#include "support/phrases.h"

namespace {

// The tag that marks the add-in's button on a window's bar.
constexpr const wchar_t* kButtonTag = L"OSAttachments";
constexpr int kButtonWidth = 25;
constexpr int kButtonFaceId = 2497;

// The typed assignment of an object field: anything but the expected Outlook
// object is a Type mismatch, as it is for a field declared with that type.
qbx::Disp fncAsOutlook(const qbx::Disp& object, const IID& iid) {
    if (!object) return {};
    if (!object.ptr().as<IUnknown>(iid)) qbx::raise(qbx::vbErrTypeMismatch, L"Type mismatch");
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
}

cMailInspector::~cMailInspector() {
    // Class_Terminate: the window, the mail and the editor helper go; the
    // button and a pending removal go with the object.
    inspectorEvents_.disconnect();
    ouiMyInspector_.reset();
    mailItemEvents_.disconnect();
    ouiMailItem_.reset();
    objSafeInspector.reset();
    objDeleteAttTimer.reset();
    objAttToDelete.reset();
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
                                   {qbx::dispid::ButtonClick, [this](qbx::EventArgs& a) {
                                        qbx::ComPtr<cMailInspector> self(this);
                                        if (fncIsOwnClick(a.obj(0))) cmdSettings_Click();
                                    }},
                               });
}

void cMailInspector::setOuiMailItem(const qbx::Disp& mailItem) {
    qbx::Disp typed = fncAsOutlook(mailItem, qbx::IID_OutlookMailItem);
    mailItemEvents_.disconnect();
    ouiMailItem_ = typed;
    if (!typed) return;
    mailItemEvents_.connect(typed, {qbx::DIID_ItemEvents_10, qbx::DIID_ItemEvents},
                            {
                                {qbx::dispid::AttachmentAdd, [this](qbx::EventArgs& a) {
                                     qbx::ComPtr<cMailInspector> self(this);
                                     ouiMailItem_AttachmentAdd(a.obj(0));
                                 }},
                                {qbx::dispid::BeforeAttachmentSave, [this](qbx::EventArgs& a) {
                                     qbx::ComPtr<cMailInspector> self(this);
                                     ouiMailItem_BeforeAttachmentSave(a.obj(0), a);
                                 }},
                            });
}

void cMailInspector::setOuiMyInspector(const qbx::Disp& inspector) {
    qbx::Disp typed = fncAsOutlook(inspector, qbx::IID_OutlookInspector);
    inspectorEvents_.disconnect();
    ouiMyInspector_ = typed;
    if (!typed) return;
    inspectorEvents_.connect(typed, {qbx::DIID_InspectorEvents_10, qbx::DIID_InspectorEvents},
                             {
                                 {qbx::dispid::InspectorActivate, [this](qbx::EventArgs&) {
                                      qbx::ComPtr<cMailInspector> self(this);
                                      ouiMyInspector_Activate();
                                  }},
                                 {qbx::dispid::InspectorClose, [this](qbx::EventArgs&) {
                                      qbx::ComPtr<cMailInspector> self(this);
                                      ouiMyInspector_Close();
                                  }},
                             });
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
            setCmdSettings(controls.call(L"Add", qbx::msoControlButton, qbx::missing, qbx::missing, qbx::missing, true)
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
// The attachment flow is not built yet: until it is, an added attachment
// stays on the mail untouched.

void cMailInspector::ouiMailItem_AttachmentAdd(const qbx::Disp&) {}

void cMailInspector::ouiMailItem_BeforeAttachmentSave(const qbx::Disp&, const qbx::EventArgs&) {}
