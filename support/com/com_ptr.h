// Interface references and the add-in's own COM objects' reference count.
//
// - ComPtr<T>: owns one interface reference.
// - RefCounted: the one reference count every object the add-in implements
//   uses (Unknown<I>, DispatchObject, the connection class); the object goes
//   away through finalRelease() when the count drops to zero. It also keeps
//   the count of such objects alive in the process (liveObjects), which is
//   what decides whether the DLL may be unloaded.
// - Unknown<I>: IUnknown for a class that implements one interface.
//
// Nothing outside this file and the value owners calls AddRef/Release.
#pragma once

#include "support/com/last_error.h"

#include <windows.h>
#include <unknwn.h>

#include <atomic>
#include <cstddef>
#include <utility>

namespace qbx {

template <class T>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(std::nullptr_t) noexcept {}
    // Takes a new reference (AddRef).
    explicit ComPtr(T* p) noexcept : p_(p) { if (p_) p_->AddRef(); }
    ComPtr(const ComPtr& o) noexcept : p_(o.p_) { if (p_) p_->AddRef(); }
    ComPtr(ComPtr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    ~ComPtr() { reset(); }
    ComPtr& operator=(const ComPtr& o) noexcept { ComPtr(o).swap(*this); return *this; }
    ComPtr& operator=(ComPtr&& o) noexcept { ComPtr(std::move(o)).swap(*this); return *this; }
    ComPtr& operator=(std::nullptr_t) noexcept { reset(); return *this; }

    // Adopts a reference the caller already owns (no AddRef).
    static ComPtr attach(T* p) noexcept { ComPtr r; r.p_ = p; return r; }
    T* detach() noexcept { return std::exchange(p_, nullptr); }

    // The release keeps the thread's last error (see last_error.h).
    void reset() noexcept {
        if (T* p = std::exchange(p_, nullptr)) {
            KeepLastError kept;
            p->Release();
        }
    }
    void swap(ComPtr& o) noexcept { std::swap(p_, o.p_); }

    T* get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }
    // For out-parameters: releases what is held and hands out the slot.
    T** put() noexcept { reset(); return &p_; }
    void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }

    template <class U>
    ComPtr<U> as(REFIID iid) const noexcept {
        ComPtr<U> r;
        if (p_) p_->QueryInterface(iid, r.putVoid());
        return r;
    }

    friend bool operator==(const ComPtr& a, const ComPtr& b) noexcept { return a.p_ == b.p_; }

private:
    T* p_ = nullptr;
};

// How many objects of the add-in's own classes exist: every object handed
// out (class factories, event sinks, enumerators, the spreadsheet and its
// sub-objects, accessible objects ...) is one while it lives.
long liveObjects() noexcept;

namespace detail {
void objectMade() noexcept;
void objectGone() noexcept;
}  // namespace detail

// The reference count of an object the add-in implements. A class derives
// from its interface(s) and from this, and answers AddRef/Release with
// addRef()/release().
class RefCounted {
public:
    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;
    ULONG refCount() const noexcept { return refs_.load(); }

protected:
    RefCounted() noexcept { detail::objectMade(); }
    virtual ~RefCounted() { detail::objectGone(); }
    ULONG addRef() noexcept { return ++refs_; }
    ULONG release() noexcept {
        ULONG n = --refs_;
        if (n == 0) finalRelease();
        return n;
    }
    // Called when the last reference goes; the default deletes the object.
    // Objects whose lifetime someone else owns override it with nothing.
    virtual void finalRelease() { delete this; }

private:
    std::atomic<ULONG> refs_{0};
};

// IUnknown for a class that implements one COM interface I: QueryInterface
// answers IUnknown and the IDs the class names in answers().
template <class I>
class Unknown : public I, public RefCounted {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (!out) return E_POINTER;
        if (iid == IID_IUnknown || answers(iid)) {
            *out = static_cast<I*>(this);
            this->AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return addRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return release(); }

protected:
    Unknown() = default;
    // The interface IDs the object answers besides IUnknown.
    virtual bool answers(REFIID iid) const = 0;
};

// COM identity: true when both pointers reach the same object.
bool sameObject(IUnknown* a, IUnknown* b) noexcept;

}  // namespace qbx
