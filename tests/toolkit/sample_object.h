// A small automation object of our own for the toolkit's tests.
#pragma once

#include "support/com/dispatch_object.h"

namespace toolkittest {

using qbx::Args;
using qbx::Variant;

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
        // Remembers which string it was handed, to tell a moved argument from a copy.
        method(L"Take", [this](Args& a) {
            const VARIANT& v = qbx::deref(*a.raw(0));
            taken = v.vt == VT_BSTR ? v.bstrVal : nullptr;
            return Variant();
        });
        setEnumerator([this] { return items; });
    }
    // Counts look-ups by name and remembers the flags of the last call.
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) override {
        ++lookups;
        return DispatchObject::GetIDsOfNames(iid, names, count, lcid, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override {
        lastFlags = flags;
        return DispatchObject::Invoke(id, iid, lcid, flags, dp, result, info, argErr);
    }
    BSTR taken = nullptr;
    int lookups = 0;
    WORD lastFlags = 0;
    std::wstring subject;
    std::vector<Variant> items;
    bool lastOptionalPresent = true;
};

}  // namespace toolkittest
