#include "support/com/com_ptr.h"

namespace qbx {

namespace {
std::atomic<long> live{0};
}

long liveObjects() noexcept { return live.load(); }

namespace detail {
void objectMade() noexcept { ++live; }
void objectGone() noexcept { --live; }
}  // namespace detail

bool sameObject(IUnknown* a, IUnknown* b) noexcept {
    if (a == b) return true;
    if (!a || !b) return false;
    ComPtr<IUnknown> ua, ub;
    a->QueryInterface(IID_IUnknown, ua.putVoid());
    b->QueryInterface(IID_IUnknown, ub.putVoid());
    return ua && ua.get() == ub.get();
}

}  // namespace qbx
