#include "support/com/disp.h"

namespace qbx {

// ---------------------------------------------------------------- creation

namespace {
CreateHook& createHook() {
    static CreateHook hook;
    return hook;
}
}  // namespace

HRESULT createByProgId(const wchar_t* progId, IDispatch** out) {
    *out = nullptr;
    CLSID clsid;
    HRESULT hr = CLSIDFromProgID(progId, &clsid);
    if (FAILED(hr)) return hr;
    return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IDispatch,
                            reinterpret_cast<void**>(out));
}

void setCreateHook(CreateHook hook) { createHook() = std::move(hook); }

// ---------------------------------------------------------------- Disp

Disp Disp::fromUnknown(IUnknown* u) noexcept {
    ComPtr<IDispatch> d;
    if (u) u->QueryInterface(IID_IDispatch, d.putVoid());
    return Disp(std::move(d));
}

Disp Disp::create(const wchar_t* progId, Here w) {
    ComPtr<IDispatch> d;
    HRESULT hr = createHook() ? createHook()(progId, d.put()) : createByProgId(progId, d.put());
    if (FAILED(hr) || !d) raiseVb(vbErrCantCreate, w);
    return Disp(std::move(d));
}

bool Disp::supports(REFIID iid) const noexcept { return static_cast<bool>(p_.as<IUnknown>(iid)); }

bool Disp::hasMember(const wchar_t* name) const noexcept {
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR n = const_cast<LPOLESTR>(name);
    return p_ && SUCCEEDED(p_->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id)) && id != DISPID_UNKNOWN;
}

DISPID Disp::idOf(const Name& member) const {
    if (!p_) raiseVb(vbErrObjectNotSet, Here(member.line));
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR n = const_cast<LPOLESTR>(member.name);
    HRESULT hr = p_->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) raiseHr(hr, nullptr, Here(member.line));
    return id;
}

Variant Disp::invoke(DISPID id, WORD flags, std::vector<Arg> args, int line) const {
    if (!p_) raiseVb(vbErrObjectNotSet, Here(line));
    Variant result;
    ExcepInfo ei;
    HRESULT hr = invokeRaw(id, flags, args, result, ei.ei);
    if (FAILED(hr)) raiseHr(hr, &ei.ei, Here(line));
    return result;
}

HRESULT Disp::invokeRaw(DISPID id, WORD flags, std::vector<Arg>& args, Variant& result, EXCEPINFO& ei) const {
    // rgvarg holds the arguments last first.
    std::vector<VARIANT> rg(args.size());
    for (size_t i = 0; i < args.size(); ++i) {
        VARIANT& slot = rg[args.size() - 1 - i];
        VariantInit(&slot);
        if (args[i].byRef) {
            // The callee reads and may overwrite the caller's own VARIANT.
            slot.vt = VT_BYREF | VT_VARIANT;
            slot.pvarVal = args[i].byRef->ptr();
        } else {
            slot = args[i].value.raw();  // borrowed; args keeps ownership
        }
    }
    DISPPARAMS dp{rg.empty() ? nullptr : rg.data(), nullptr, static_cast<UINT>(rg.size()), 0};
    // A property put names its value (the last argument, rgvarg[0]).
    DISPID named = DISPID_PROPERTYPUT;
    if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
        dp.rgdispidNamedArgs = &named;
        dp.cNamedArgs = 1;
    }
    UINT argErr = 0;
    const bool wantsResult = (flags & (DISPATCH_PROPERTYGET | DISPATCH_METHOD)) != 0;
    return p_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &dp, wantsResult ? result.put() : nullptr, &ei,
                      &argErr);
}

Disp::Outcome Disp::tryInvoke(const wchar_t* member, std::vector<Arg> args) const {
    Outcome out;
    ExcepInfo ei;
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR n = const_cast<LPOLESTR>(member);
    out.hr = p_ ? p_->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id) : E_POINTER;
    if (SUCCEEDED(out.hr)) out.hr = invokeRaw(id, DISPATCH_METHOD, args, out.value, ei.ei);
    if (FAILED(out.hr)) {
        // The same number and text a raising call would carry.
        try {
            raiseHr(out.hr, &ei.ei, Here::none());
        } catch (const Error& e) {
            out.error = e;
        }
    }
    return out;
}

void Disp::put(Name member, Variant value) const {
    std::vector<Arg> args(1);
    args[0].value = std::move(value);
    invoke(idOf(member), DISPATCH_PROPERTYPUT, std::move(args), member.line);
}

void Disp::putAt(Name member, Variant index, Variant value) const {
    std::vector<Arg> args(2);
    args[0].value = std::move(index);
    args[1].value = std::move(value);
    invoke(idOf(member), DISPATCH_PROPERTYPUT, std::move(args), member.line);
}

void Disp::putRef(Name member, const Disp& value) const {
    std::vector<Arg> args(1);
    args[0].value = Variant(value);
    invoke(idOf(member), DISPATCH_PROPERTYPUTREF, std::move(args), member.line);
}

Disp Disp::item(const Variant& indexOrName, Here w) const { return getObj(Name(L"Item", w), indexOrName); }

void Disp::forEach(const std::function<void(const Variant&)>& visit, Here w) const {
    Variant result = invoke(DISPID_NEWENUM, DISPATCH_METHOD | DISPATCH_PROPERTYGET, {}, w.line);
    ComPtr<IEnumVARIANT> en;
    const VARIANT& r = result.raw();
    IUnknown* u = r.vt == VT_UNKNOWN ? r.punkVal : (r.vt == VT_DISPATCH ? r.pdispVal : nullptr);
    if (!u || FAILED(u->QueryInterface(IID_IEnumVARIANT, en.putVoid()))) raiseVb(vbErrNotAnObject, w);
    for (;;) {
        VARIANT v;
        VariantInit(&v);
        ULONG got = 0;
        HRESULT hr = en->Next(1, &v, &got);
        if (hr != S_OK || got != 1) {
            VariantClear(&v);
            break;
        }
        Variant item = Variant::attach(v);
        visit(item);
    }
}

std::wstring Disp::typeName() const {
    if (!p_) return L"Nothing";
    ComPtr<ITypeInfo> ti;
    if (FAILED(p_->GetTypeInfo(0, LOCALE_USER_DEFAULT, ti.put())) || !ti) return L"Object";
    Bstr name;
    if (FAILED(ti->GetDocumentation(MEMBERID_NIL, name.put(), nullptr, nullptr, nullptr))) return L"Object";
    std::wstring s = name.str();
    if (!s.empty() && s[0] == L'_') s.erase(0, 1);
    return s;
}

}  // namespace qbx
