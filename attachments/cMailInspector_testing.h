// Read access to a mail inspector's private state, for tests.
#pragma once

#include "attachments/cMailInspector.h"

struct cMailInspectorTesting {
    // The attachment waiting for its delayed removal; nothing while none is.
    static const qbx::Disp& pendingRemoval(const cMailInspector& inspector) noexcept {
        return inspector.objAttToDelete_;
    }
    // True when the safe-inspector object was made when the class started.
    static bool hasSafeInspector(const cMailInspector& inspector) noexcept {
        return static_cast<bool>(inspector.objSafeInspector_);
    }
};
