// The safe-inspector component for test programs. Installed, the add-in's DLL
// registers it under its ProgID; a test program links the add-in's code
// instead of loading the DLL, so it offers the component through the
// creation hook, exactly as the DLL's class factory makes it. Every other
// ProgID is created as usual.
#pragma once

#include "attachments/cSafeInspector.h"
#include "support/com.h"

namespace flowtest {

inline HRESULT createWithSafeInspector(const wchar_t* progId, IDispatch** out) {
    if (qbx::textEquals(progId, kSafeInspectorProgId)) {
        qbx::ComPtr<cSafeInspector> object = qbx::makeObject<cSafeInspector>();
        *out = static_cast<IDispatch*>(object.detach());
        return S_OK;
    }
    return qbx::createByProgId(progId, out);
}

// The creation hook of a machine with the add-in installed.
inline void subOfferSafeInspector() { qbx::setCreateHook(&createWithSafeInspector); }

}  // namespace flowtest
