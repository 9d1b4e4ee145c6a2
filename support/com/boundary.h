// Where a failure stops: the edges at which the add-in's C++ code is called
// by something that knows nothing of C++ exceptions (a COM method, a window
// procedure, an event sink, a callback). Each kind of edge has one helper
// that runs the body and, if it fails, gives the answer that kind of edge
// must give; every failure swallowed there is shown to the failure observer,
// which the add-in points at its debug log.
//
// scopeExit runs a piece of code when the scope ends, however it ends: for a
// one-off cleanup or rollback that has no owner type of its own.
#pragma once

#include "support/com/error.h"

#include <utility>

namespace qbx {

// Sees every failure a boundary swallows: the boundary's name and the
// failure. Must not throw. Null (the default) sees nothing.
using FailureObserver = void (*)(const wchar_t* boundary, const Error& failure) noexcept;
void setFailureObserver(FailureObserver observer) noexcept;
FailureObserver failureObserver() noexcept;

// Inside a catch block: the failure being handled, after the observer has
// seen it.
Error noteCaught(const wchar_t* boundary) noexcept;

// The HRESULT that says what failed: Out of memory is E_OUTOFMEMORY, a
// failure that came from an HRESULT keeps it, and any other error number n
// becomes Visual Basic's MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, n).
HRESULT hresultFor(const Error& failure) noexcept;

// A COM method's body: returns what the body returns (an HRESULT), or the
// HRESULT of the failure it raised.
template <class F>
HRESULT comBoundary(const wchar_t* boundary, F&& body) noexcept {
    try {
        return body();
    } catch (...) {
        return hresultFor(noteCaught(boundary));
    }
}

// Runs body; if it fails, runs onFailure inside the catch (where
// caughtError and noteCaught see the failure). True when body ran to its end.
// Every "run it, and if it fails do this" in the add-in is built on it.
template <class F, class OnFailure>
bool ranToEnd(F&& body, OnFailure&& onFailure) noexcept {
    try {
        body();
        return true;
    } catch (...) {
        onFailure();
    }
    return false;
}

// A window or dialog procedure's body, or any callback with an answer of its
// own: returns what the body returns, or fallback (the default answer) when
// it failed.
template <class R, class F>
R answerBoundary(const wchar_t* boundary, R fallback, F&& body) noexcept {
    try {
        return body();
    } catch (...) {
        noteCaught(boundary);
    }
    return fallback;
}

// A body whose caller takes no answer (an event handler, a destructor's
// cleanup): true when it ran to its end.
template <class F>
bool quietBoundary(const wchar_t* boundary, F&& body) noexcept {
    return ranToEnd(body, [boundary]() noexcept { noteCaught(boundary); });
}

// Runs a function when the scope ends, unless dismissed first.
template <class F>
class ScopeExit {
public:
    explicit ScopeExit(F f) noexcept : f_(std::move(f)) {}
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;
    ~ScopeExit() {
        if (armed_) quietBoundary(L"scopeExit", f_);
    }
    void dismiss() noexcept { armed_ = false; }

private:
    F f_;
    bool armed_ = true;
};

template <class F>
[[nodiscard]] ScopeExit<F> scopeExit(F f) noexcept {
    return ScopeExit<F>(std::move(f));
}

}  // namespace qbx
