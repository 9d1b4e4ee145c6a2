// The COM toolkit: late-bound calls by name against an object of our own,
// reference balance, by-reference and omitted arguments, and the error numbers
// and lines a failed call reports.
#include <doctest/doctest.h>

#include "support/com/dispatch_object.h"
#include "tests/test_support.h"

using qbx::Args;
using qbx::Disp;
using qbx::Variant;

namespace {

// A small automation object: a property, a method with an optional
// argument, a method writing through a by-reference argument, one that
// raises, a default member and a collection.
class Sample final : public qbx::DispatchObject {
public:
    Sample() : DispatchObject(L"_Sample") {
        property(L"Subject", [this](Args&) { return Variant(subject); },
                 [this](Args&, const Variant& v) { subject = v.toString(); });
        DISPID itemId = method(L"Item", [this](Args& a) {
            long i = a.i32(0);
            if (i < 1 || i > static_cast<long>(items.size())) qbx::raise(qbx::vbErrSubscript, L"Subscript out of range");
            return items[static_cast<size_t>(i - 1)];
        });
        setDefaultMember(itemId);
        method(L"Add", [this](Args& a) {
            lastOptionalPresent = a.has(1);
            items.push_back(a.value(0));
            return Variant(static_cast<long>(items.size()));
        });
        method(L"Double", [](Args& a) {
            a.setRef(0, Variant(a.value(0).toLong() * 2));
            return Variant();
        });
        method(L"Fail", [](Args&) -> Variant { qbx::raise(-2147467259, L"The operation failed."); });
        method(L"Self", [this](Args&) { return Variant(static_cast<IDispatch*>(this)); });
        setEnumerator([this] { return items; });
    }
    std::wstring subject;
    std::vector<Variant> items;
    bool lastOptionalPresent = true;
};

}  // namespace

TEST_CASE("late-bound calls by name reach members case-insensitively and keep references balanced") {
    auto obj = qbx::makeObject<Sample>();
    {
        Disp d(obj.get());
        CHECK(obj->refCount() == 2);
        d.put(L"subject", L"Quarterly report");
        CHECK(d.get(L"SUBJECT").toString() == L"Quarterly report");

        CHECK(d.get(L"Add", L"first").toLong() == 1);
        CHECK_FALSE(obj->lastOptionalPresent);  // not passed at all
        d.get(L"Add", L"second", qbx::missing);
        CHECK_FALSE(obj->lastOptionalPresent);  // passed as omitted
        d.get(L"Add", Variant(3), 7);
        CHECK(obj->lastOptionalPresent);

        CHECK(d.get(L"Item", 2).toString() == L"second");
    }
    CHECK(obj->refCount() == 1);
}

TEST_CASE("collections: Item by index, default member, _NewEnum walk in order") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    d.call(L"Add", L"a");
    d.call(L"Add", L"b");
    d.call(L"Add", L"c");
    CHECK(d.get(L"Item", 3).toString() == L"c");
    std::vector<std::wstring> seen;
    d.forEach([&](const Variant& v) { seen.push_back(v.toString()); });
    CHECK(seen == std::vector<std::wstring>{L"a", L"b", L"c"});
    // An object returned by a member comes back as the same COM identity.
    Disp self = d.getObj(L"Self");
    CHECK(self.sameAs(d));
}

TEST_CASE("a by-reference argument is written back to the caller's variable") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    Variant v(21);
    d.call(L"Double", qbx::ByRef(v));
    CHECK(v.toLong() == 42);
}

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

// Counts the task allocator's blocks that are allocated and not yet freed
// (BSTRs live there once oleaut32's string cache is off).
class AllocationCounter final : public IMallocSpy {
public:
    long live = 0;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IMallocSpy) {
            *out = static_cast<IMallocSpy*>(this);
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
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
class Failing final : public IDispatch {
public:
    bool deferred = false;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch) {
            *out = static_cast<IDispatch*>(this);
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
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

TEST_CASE("Variant conversions follow Visual Basic's rules") {
    CHECK(Variant(true).toString() == L"True");
    CHECK(Variant(L"True").toBool());
    CHECK(Variant(L"0").toBool() == false);
    CHECK(Variant(L"12").toLong() == 12);
    CHECK(Variant(L"12").isNumeric());
    CHECK_FALSE(Variant(L"twelve").isNumeric());
    CHECK(Variant().isNumeric());  // IsNumeric(Empty) is True
    CHECK_FALSE(Variant(L"twelve").isDate());
    CHECK(Variant::date(45000.5).isDate());
    CHECK(Variant().toString().empty());
    CHECK_THROWS_AS(Variant(L"twelve").toLong(), qbx::Error);
    try {
        Variant(L"x").toBool();
    } catch (const qbx::Error& e) {
        CHECK(e.number() == 13);
    }
    CHECK(Variant::nothing().isNothing());
    CHECK_FALSE(Variant(1).isNothing());
}

TEST_CASE("byte arrays round-trip through a SAFEARRAY, zero bytes included") {
    const unsigned char data[] = {0x00, 0xFF, 0x00, 0x41};
    Variant v = qbx::SafeArray::bytes(data, sizeof data).toVariant(VT_UI1);
    CHECK(v.type() == (VT_ARRAY | VT_UI1));
    CHECK(qbx::bytesOf(v) == std::vector<unsigned char>(data, data + sizeof data));
    Variant empty = qbx::SafeArray::bytes(nullptr, 0).toVariant(VT_UI1);
    CHECK(qbx::bytesOf(empty).empty());
}

TEST_CASE("string helpers keep Visual Basic's behaviour") {
    CHECK(qbx::trimSpaces(L"  a b \t ") == L"a b \t");
    CHECK(qbx::split(L"a\r\n\r\nb", L"\r\n") == std::vector<std::wstring>{L"a", L"", L"b"});
    CHECK(qbx::replaceAll(L"a*b*", L"*", L"\"") == L"a\"b\"");
    CHECK(qbx::textEquals(L"Shared Documents", L"SHARED documents"));
    CHECK(qbx::withoutTrailingSlash(L"http://x/lib/") == L"http://x/lib");
    CHECK(qbx::withoutTrailingSlash(L"C:\\Temp\\") == L"C:\\Temp");
    CHECK(qbx::withoutTrailingSlash(L"lib//") == L"lib/");
    CHECK(qbx::toUpper(L"Ärger") == L"ÄRGER");
}

// Under Turkish rules "I" and "i" are no case pair ("i" pairs with the dotted
// capital U+0130, "I" with the dotless U+0131); addresses, keys and folder
// names must compare and fold the same in every user locale.
TEST_CASE("case-insensitive comparison and folding are the same in every locale") {
    CHECK(qbx::textEquals(L"http://intranet/sites/Finance", L"HTTP://INTRANET/SITES/FINANCE"));
    CHECK(qbx::textEquals(L"QBXSettings", L"qbxsettings"));
    CHECK_FALSE(qbx::textEquals(L"\u0130nbox", L"inbox"));
    CHECK_FALSE(qbx::textEquals(L"L\u0131st", L"LIST"));
    CHECK_FALSE(qbx::textEquals(L"list", L"lists"));
    CHECK(qbx::toUpper(L"ipm.note") == L"IPM.NOTE");
    CHECK(qbx::toLower(L"LNGTITLE") == L"lngtitle");
}
