// The class factory the DLL hands out for each of its creatable classes, and
// whether the DLL may be unloaded: no object of ours alive (liveObjects, the
// factories included) and no server lock held.
#pragma once

#include "support/com/com_ptr.h"

namespace qbx {

// Makes a new object of the class and answers the interface asked for.
using CreateFunction = HRESULT (*)(REFIID iid, void** out);

// A factory for one class; a failure of create becomes the HRESULT that says
// what failed, and the failure observer sees it.
ComPtr<IClassFactory> makeClassFactory(CreateFunction create);

// What DllCanUnloadNow answers.
bool canUnloadNow() noexcept;

}  // namespace qbx
