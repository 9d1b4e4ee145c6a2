// A mail inspector's members that only the tests reach directly.
#pragma once

#include "attachments/cMailInspector.h"

struct cMailInspectorTesting {
    static const qbx::Disp& mailItem(const cMailInspector& inspector) noexcept { return inspector.ouiMailItem(); }
    static const qbx::Disp& window(const cMailInspector& inspector) noexcept { return inspector.ouiMyInspector(); }
    static void setWindow(cMailInspector& inspector, const qbx::Disp& window) { inspector.setOuiMyInspector(window); }
    // The events, as Outlook raises them.
    static void attachmentAdd(cMailInspector& inspector, const qbx::Disp& attachment) {
        inspector.ouiMailItem_AttachmentAdd(attachment);
    }
    static void close(cMailInspector& inspector) { inspector.ouiMyInspector_Close(); }
    // The pending-removal timer; nothing while no removal is pending.
    static frmTimer* removalTimer(const cMailInspector& inspector) noexcept {
        return inspector.objDeleteAttTimer.get();
    }
    // The attachment waiting for its delayed removal; nothing while none is.
    static const qbx::Disp& pendingRemoval(const cMailInspector& inspector) noexcept {
        return inspector.objAttToDelete_;
    }
    // True when the safe-inspector object was made when the class started.
    static bool hasSafeInspector(const cMailInspector& inspector) noexcept {
        return static_cast<bool>(inspector.objSafeInspector_);
    }
};
