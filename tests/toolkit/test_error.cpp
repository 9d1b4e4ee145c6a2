// What failures become: Visual Basic's numbers and texts, the failing line,
// and the exception texts of a failed call freed once copied.
#include <doctest/doctest.h>

#include "support/com/disp.h"
#include "tests/toolkit/sample_object.h"

using qbx::Disp;
using qbx::Variant;
using toolkittest::Sample;

TEST_CASE("failures carry Visual Basic's numbers, texts and the failing line") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());

    int line = __LINE__ + 2;
    try {
        d.call(L"NoSuchMember");
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == 438);
        CHECK(e.description() == L"Object doesn't support this property or method");
        CHECK(e.line() == line);
    }

    // An error the object raises keeps its own number and text; a negative
    // HRESULT stays negative.
    try {
        d.call(L"Fail");
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == -2147467259);
        CHECK(e.description() == L"The operation failed.");
    }

    // Visual Basic's own numbers travel through EXCEPINFO and come back intact.
    try {
        d.get(L"Item", 9);
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == 9);
        CHECK(e.description() == L"Subscript out of range");
    }

    // A call on Nothing is error 91.
    Disp nothing;
    try {
        nothing.get(L"Subject");
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == 91);
    }
    // Creating an unregistered ProgID is error 429.
    try {
        Disp::create(L"Quillbox.NoSuchClass");
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == 429);
        CHECK(e.description() == L"ActiveX component can't create object");
    }
}

namespace {

// A stand-in that lives on the stack: answers IUnknown and I, and counts no
// references.
template <class I, const IID& Iid>
class StackObject : public I {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == Iid) {
            *out = static_cast<I*>(this);
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

// Counts the task allocator's blocks that are allocated and not yet freed
// (BSTRs live there once oleaut32's string cache is off).
class AllocationCounter final : public StackObject<IMallocSpy, IID_IMallocSpy> {
public:
    long live = 0;
    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T cb) override { return cb; }
    void* STDMETHODCALLTYPE PostAlloc(void* p) override {
        if (p) ++live;
        return p;
    }
    void* STDMETHODCALLTYPE PreFree(void* p, BOOL spyed) override {
        if (p && spyed) --live;
        return p;
    }
    void STDMETHODCALLTYPE PostFree(BOOL) override {}
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* p, SIZE_T cb, void** out, BOOL) override {
        *out = p;
        return cb;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* p, BOOL) override { return p; }
    void* STDMETHODCALLTYPE PreGetSize(void* p, BOOL) override { return p; }
    SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T cb, BOOL) override { return cb; }
    void* STDMETHODCALLTYPE PreDidAlloc(void* p, BOOL) override { return p; }
    int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override { return actual; }
    void STDMETHODCALLTYPE PreHeapMinimize() override {}
    void STDMETHODCALLTYPE PostHeapMinimize() override {}
};

HRESULT STDMETHODCALLTYPE fillInLate(EXCEPINFO* info) {
    info->bstrSource = SysAllocString(L"Late.Source");
    info->bstrDescription = SysAllocString(L"Described late");
    info->bstrHelpFile = SysAllocString(L"late.chm");
    info->scode = E_FAIL;
    return S_OK;
}

// An outside object whose every call fails with DISP_E_EXCEPTION, its texts
// either filled in at once or left to the deferred fill-in.
class Failing final : public StackObject<IDispatch, IID_IDispatch> {
public:
    bool deferred = false;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override {
        *n = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* ids) override {
        *ids = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO* info,
                                     UINT*) override {
        if (!info) return DISP_E_EXCEPTION;
        *info = EXCEPINFO{};
        if (deferred) {
            info->pfnDeferredFillIn = fillInLate;
        } else {
            fillInLate(info);
        }
        return DISP_E_EXCEPTION;
    }
};

}  // namespace

TEST_CASE("a failed call's exception texts are freed once copied, deferred ones included") {
    // Without the string cache every BSTR is a block of the task allocator.
    using SetNoCache = void(WINAPI*)();
    if (auto setNoCache = reinterpret_cast<SetNoCache>(GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), "SetOaNoCache")))
        setNoCache();
    AllocationCounter counter;
    REQUIRE(CoRegisterMallocSpy(&counter) == S_OK);
    Failing object;
    Disp d(static_cast<IDispatch*>(&object));
    for (bool deferred : {false, true}) {
        CAPTURE(deferred);
        object.deferred = deferred;
        const long before = counter.live;
        try {
            d.call(L"Anything");
            FAIL("no error");
        } catch (const qbx::Error& e) {
            CHECK(e.description() == L"Described late");
        }
        CHECK(counter.live == before);
    }
    d = Disp();
    CoRevokeMallocSpy();
}


TEST_CASE("raises take Visual Basic's standard texts from one table, and any C++ failure becomes an Error") {
    auto errorOf = [](auto&& f) {
        try {
            f();
        } catch (...) {
            return qbx::caughtError();
        }
        return qbx::Error(0, {}, 0);
    };
    int line = __LINE__ + 1;
    qbx::Error e = errorOf([] { qbx::raiseVb(qbx::vbErrObjectNotSet); });
    CHECK(e.number() == 91);
    CHECK(e.description() == L"Object variable or With block variable not set");
    CHECK(e.line() == line);
    CHECK(errorOf([] { qbx::raiseVb(qbx::vbErrReadOnly, L"Text"); }).description() == L"'Text' property is read-only");
    CHECK(errorOf([] { qbx::raiseVb(12345); }).description() == L"Application-defined or object-defined error");
    // An HRESULT Visual Basic knows keeps its number and text; others stay HRESULTs.
    CHECK(errorOf([] { qbx::raiseHr(DISP_E_TYPEMISMATCH); }).number() == qbx::vbErrTypeMismatch);
    CHECK(errorOf([] { qbx::raiseHr(E_FAIL); }).number() == static_cast<long>(E_FAIL));
    CHECK(errorOf([] { throw std::bad_alloc(); }).number() == qbx::vbErrOutOfMemory);
    qbx::Error other = errorOf([] { throw 42; });
    CHECK(other.number() == qbx::vbErrInternal);
    CHECK(other.description() == L"Internal error");
}
