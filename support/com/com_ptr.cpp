#include "support/com/com_ptr.h"

namespace qbx {

bool sameObject(IUnknown* a, IUnknown* b) noexcept {
    if (a == b) return true;
    if (!a || !b) return false;
    ComPtr<IUnknown> ua, ub;
    a->QueryInterface(IID_IUnknown, ua.putVoid());
    b->QueryInterface(IID_IUnknown, ub.putVoid());
    return ua && ua.get() == ub.get();
}

}  // namespace qbx
