#include "support/com/boundary.h"

#include <atomic>

namespace qbx {

namespace {
std::atomic<FailureObserver> observer{nullptr};
}

void setFailureObserver(FailureObserver f) noexcept { observer.store(f); }

FailureObserver failureObserver() noexcept { return observer.load(); }

Error noteCaught(const wchar_t* boundary) noexcept {
    Error failure = caughtError();
    if (FailureObserver f = observer.load()) f(boundary, failure);
    return failure;
}

HRESULT hresultFor(const Error& failure) noexcept {
    long number = failure.number();
    if (number == vbErrOutOfMemory) return E_OUTOFMEMORY;
    if (number < 0) return static_cast<HRESULT>(number);
    if (number == 0) return E_UNEXPECTED;
    return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number & 0xFFFF);
}

}  // namespace qbx
