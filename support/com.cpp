#include "com.h"

#include <algorithm>
#include <cstring>

namespace qbx {

// ---------------------------------------------------------------- errors

void raise(long number, const std::wstring& description, Here where) {
    throw Error(number, description, where.line);
}

namespace {

struct VbError {
    HRESULT hr;
    long number;
    const wchar_t* text;
};

// The HRESULTs that Visual Basic turns into its own error numbers.
const VbError kVbErrors[] = {
    {DISP_E_UNKNOWNNAME, vbErrNoMember, L"Object doesn't support this property or method"},
    {DISP_E_MEMBERNOTFOUND, vbErrNoMember, L"Object doesn't support this property or method"},
    {DISP_E_TYPEMISMATCH, vbErrTypeMismatch, L"Type mismatch"},
    {DISP_E_BADPARAMCOUNT, 450, L"Wrong number of arguments or invalid property assignment"},
    {DISP_E_PARAMNOTOPTIONAL, 449, L"Argument not optional"},
    {DISP_E_OVERFLOW, 6, L"Overflow"},
    {DISP_E_BADINDEX, vbErrSubscript, L"Subscript out of range"},
    {E_OUTOFMEMORY, 7, L"Out of memory"},
    {E_INVALIDARG, vbErrInvalidCall, L"Invalid procedure call or argument"},
    {E_NOINTERFACE, 430, L"Class does not support Automation or does not support expected interface"},
    {REGDB_E_CLASSNOTREG, vbErrCantCreate, L"ActiveX component can't create object"},
    {CO_E_CLASSSTRING, vbErrCantCreate, L"ActiveX component can't create object"},
};

std::wstring systemMessage(HRESULT hr) {
    wchar_t* buf = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                 FORMAT_MESSAGE_IGNORE_INSERTS,
                             nullptr, static_cast<DWORD>(hr), 0, reinterpret_cast<wchar_t*>(&buf), 0,
                             nullptr);
    std::wstring s;
    if (n && buf) s.assign(buf, n);
    LocalFree(buf);
    while (!s.empty() && (s.back() == L'\r' || s.back() == L'\n' || s.back() == L' ')) s.pop_back();
    return s;
}

bool isVbControlError(HRESULT hr) { return (static_cast<unsigned long>(hr) & 0xFFFF0000UL) == 0x800A0000UL; }

}  // namespace

long vbNumberFor(HRESULT hr) {
    for (const auto& e : kVbErrors)
        if (e.hr == hr) return e.number;
    if (isVbControlError(hr)) return static_cast<long>(hr & 0xFFFF);
    return static_cast<long>(hr);
}

std::wstring vbDescriptionFor(HRESULT hr) {
    for (const auto& e : kVbErrors)
        if (e.hr == hr) return e.text;
    std::wstring s = systemMessage(hr);
    return s.empty() ? L"Automation error" : L"Automation error\r\n" + s;
}

void raiseHr(HRESULT hr, EXCEPINFO* info, int line) {
    if (hr == DISP_E_EXCEPTION && info) {
        // The texts may come late (deferred fill-in); they are filled into
        // the caller's EXCEPINFO, copied, and freed here.
        if (info->pfnDeferredFillIn) {
            auto fillIn = info->pfnDeferredFillIn;
            info->pfnDeferredFillIn = nullptr;
            fillIn(info);
        }
        long number = info->wCode ? static_cast<long>(info->wCode)
                                  : (isVbControlError(info->scode) ? static_cast<long>(info->scode & 0xFFFF)
                                                                   : static_cast<long>(info->scode));
        std::wstring text = info->bstrDescription
                                ? std::wstring(info->bstrDescription, SysStringLen(info->bstrDescription))
                                : std::wstring();
        const HRESULT scode = info->scode;
        for (BSTR* owned : {&info->bstrSource, &info->bstrDescription, &info->bstrHelpFile}) {
            SysFreeString(*owned);
            *owned = nullptr;
        }
        if (text.empty()) text = vbDescriptionFor(scode ? scode : E_FAIL);
        throw Error(number, text, line);
    }
    throw Error(vbNumberFor(hr), vbDescriptionFor(hr), line);
}

namespace {
// Frees what an EXCEPINFO owns.
struct ExcepInfo {
    EXCEPINFO ei{};
    ~ExcepInfo() {
        SysFreeString(ei.bstrSource);
        SysFreeString(ei.bstrDescription);
        SysFreeString(ei.bstrHelpFile);
    }
};
}  // namespace

bool sameObject(IUnknown* a, IUnknown* b) noexcept {
    if (a == b) return true;
    if (!a || !b) return false;
    ComPtr<IUnknown> ua, ub;
    a->QueryInterface(IID_IUnknown, ua.putVoid());
    b->QueryInterface(IID_IUnknown, ub.putVoid());
    return ua && ua.get() == ub.get();
}

// ---------------------------------------------------------------- Variant

Variant::Variant(const Variant& o) {
    VariantInit(&v_);
    if (FAILED(VariantCopy(&v_, const_cast<VARIANT*>(&o.v_)))) throw Error(7, L"Out of memory", 0);
}

Variant::Variant(const wchar_t* s) {
    VariantInit(&v_);
    v_.vt = VT_BSTR;
    v_.bstrVal = SysAllocString(s ? s : L"");
}

Variant::Variant(const std::wstring& s) {
    VariantInit(&v_);
    v_.vt = VT_BSTR;
    v_.bstrVal = SysAllocStringLen(s.data(), static_cast<UINT>(s.size()));
}

Variant::Variant(IDispatch* d) noexcept {
    VariantInit(&v_);
    v_.vt = VT_DISPATCH;
    v_.pdispVal = d;
    if (d) d->AddRef();
}

Variant::Variant(const Disp& d) noexcept : Variant(d.get()) {}

Variant::Variant(IUnknown* u) noexcept {
    VariantInit(&v_);
    v_.vt = VT_UNKNOWN;
    v_.punkVal = u;
    if (u) u->AddRef();
}

Variant Variant::date(double oleDate) noexcept {
    Variant r;
    r.v_.vt = VT_DATE;
    r.v_.date = oleDate;
    return r;
}

Variant Variant::nothing() noexcept { return Variant(static_cast<IDispatch*>(nullptr)); }

Variant Variant::missing() noexcept {
    Variant r;
    r.v_.vt = VT_ERROR;
    r.v_.scode = DISP_E_PARAMNOTFOUND;
    return r;
}

Variant Variant::null() noexcept {
    Variant r;
    r.v_.vt = VT_NULL;
    return r;
}

Variant Variant::attach(VARIANT& v) noexcept {
    Variant r;
    r.v_ = v;
    VariantInit(&v);
    return r;
}

Variant Variant::copyOf(const VARIANT& v) {
    Variant r;
    if (FAILED(VariantCopyInd(&r.v_, const_cast<VARIANT*>(&v)))) throw Error(vbErrTypeMismatch, L"Type mismatch", 0);
    return r;
}

bool Variant::isNothing() const noexcept {
    const VARIANT* v = &v_;
    if (v->vt == (VT_BYREF | VT_VARIANT) && v->pvarVal) v = v->pvarVal;
    switch (v->vt) {
        case VT_DISPATCH: return v->pdispVal == nullptr;
        case VT_UNKNOWN: return v->punkVal == nullptr;
        case VT_BYREF | VT_DISPATCH: return !v->ppdispVal || !*v->ppdispVal;
        case VT_BYREF | VT_UNKNOWN: return !v->ppunkVal || !*v->ppunkVal;
        default: return false;
    }
}

bool Variant::isObject() const noexcept {
    VARTYPE t = v_.vt;
    if (t == (VT_BYREF | VT_VARIANT) && v_.pvarVal) t = v_.pvarVal->vt;
    t &= static_cast<VARTYPE>(~VT_BYREF);
    return t == VT_DISPATCH || t == VT_UNKNOWN;
}

Variant Variant::changedTo(VARTYPE vt, Here w) const {
    Variant src = copyOf(v_);  // dereferences by-reference values
    Variant dst;
    HRESULT hr = VariantChangeTypeEx(&dst.v_, &src.v_, LOCALE_USER_DEFAULT, VARIANT_ALPHABOOL, vt);
    if (FAILED(hr)) {
        if (hr == DISP_E_OVERFLOW) throw Error(6, L"Overflow", w.line);
        if (src.v_.vt == VT_NULL) throw Error(94, L"Invalid use of Null", w.line);
        throw Error(vbErrTypeMismatch, L"Type mismatch", w.line);
    }
    return dst;
}

std::wstring Variant::toString(Here w) const {
    Variant s = changedTo(VT_BSTR, w);
    return s.v_.bstrVal ? std::wstring(s.v_.bstrVal, SysStringLen(s.v_.bstrVal)) : std::wstring();
}

long Variant::toLong(Here w) const { return changedTo(VT_I4, w).v_.lVal; }
short Variant::toShort(Here w) const { return changedTo(VT_I2, w).v_.iVal; }
bool Variant::toBool(Here w) const { return changedTo(VT_BOOL, w).v_.boolVal != VARIANT_FALSE; }
double Variant::toDouble(Here w) const { return changedTo(VT_R8, w).v_.dblVal; }
double Variant::toDate(Here w) const { return changedTo(VT_DATE, w).v_.date; }

bool Variant::isNumeric() const {
    Variant v = copyOf(v_);
    switch (v.v_.vt) {
        case VT_EMPTY:
        case VT_I1: case VT_I2: case VT_I4: case VT_I8: case VT_UI1: case VT_UI2: case VT_UI4:
        case VT_UI8: case VT_INT: case VT_UINT: case VT_R4: case VT_R8: case VT_CY: case VT_DECIMAL:
        case VT_BOOL:
            return true;
        case VT_BSTR: {
            Variant d;
            return SUCCEEDED(VariantChangeTypeEx(&d.v_, &v.v_, LOCALE_USER_DEFAULT, 0, VT_R8));
        }
        default:
            return false;
    }
}

bool Variant::isDate() const {
    Variant v = copyOf(v_);
    if (v.v_.vt == VT_DATE) return true;
    if (v.v_.vt != VT_BSTR) return false;
    Variant d;
    return SUCCEEDED(VariantChangeTypeEx(&d.v_, &v.v_, LOCALE_USER_DEFAULT, 0, VT_DATE));
}

Disp Variant::toDisp(Here w) const {
    const VARIANT* v = &v_;
    if (v->vt == (VT_BYREF | VT_VARIANT) && v->pvarVal) v = v->pvarVal;
    switch (v->vt) {
        case VT_DISPATCH: return Disp(v->pdispVal);
        case VT_BYREF | VT_DISPATCH: return Disp(v->ppdispVal ? *v->ppdispVal : nullptr);
        case VT_UNKNOWN: return Disp::fromUnknown(v->punkVal);
        case VT_BYREF | VT_UNKNOWN: return Disp::fromUnknown(v->ppunkVal ? *v->ppunkVal : nullptr);
        default: throw Error(424, L"Object required", w.line);
    }
}

// ---------------------------------------------------------------- SafeArray

SafeArray SafeArray::bytes(const void* data, size_t size) {
    SAFEARRAY* a = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(size));
    if (!a) throw Error(7, L"Out of memory", 0);
    SafeArray owner(a);
    if (size) {
        void* p = nullptr;
        SafeArrayAccessData(a, &p);
        std::memcpy(p, data, size);
        SafeArrayUnaccessData(a);
    }
    return owner;
}

SafeArray SafeArray::variants(long count, long lowerBound) {
    SAFEARRAY* a = SafeArrayCreateVector(VT_VARIANT, lowerBound, static_cast<ULONG>(count));
    if (!a) throw Error(7, L"Out of memory", 0);
    return SafeArray(a);
}

SafeArray SafeArray::variants2D(long rows, long columns) {
    SAFEARRAYBOUND b[2];
    // SafeArrayCreate takes the bounds with the leftmost (row) dimension first.
    b[0].cElements = static_cast<ULONG>(rows);
    b[0].lLbound = 0;
    b[1].cElements = static_cast<ULONG>(columns);
    b[1].lLbound = 0;
    SAFEARRAY* a = SafeArrayCreate(VT_VARIANT, 2, b);
    if (!a) throw Error(7, L"Out of memory", 0);
    return SafeArray(a);
}

Variant SafeArray::toVariant(VARTYPE elementType) && {
    VARIANT v;
    VariantInit(&v);
    v.vt = static_cast<VARTYPE>(VT_ARRAY | elementType);
    v.parray = detach();
    return Variant::attach(v);
}

std::vector<unsigned char> bytesOf(const Variant& value, Here w) {
    Variant v = Variant::copyOf(value.raw());
    if (v.type() != (VT_ARRAY | VT_UI1)) throw Error(vbErrTypeMismatch, L"Type mismatch", w.line);
    SAFEARRAY* a = v.raw().parray;
    std::vector<unsigned char> out;
    if (!a || SafeArrayGetDim(a) != 1) return out;
    LONG lo = 0, hi = -1;
    SafeArrayGetLBound(a, 1, &lo);
    SafeArrayGetUBound(a, 1, &hi);
    if (hi < lo) return out;
    out.resize(static_cast<size_t>(hi - lo + 1));
    void* p = nullptr;
    SafeArrayAccessData(a, &p);
    std::memcpy(out.data(), p, out.size());
    SafeArrayUnaccessData(a);
    return out;
}

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
    if (FAILED(hr) || !d) throw Error(vbErrCantCreate, L"ActiveX component can't create object", w.line);
    return Disp(std::move(d));
}

DISPID dispIdOf(IDispatch* d, const wchar_t* name) {
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR n = const_cast<LPOLESTR>(name);
    if (!d || FAILED(d->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id))) return DISPID_UNKNOWN;
    return id;
}

Variant Disp::invoke(const Name& member, WORD flags, std::vector<Arg> args) const {
    if (!p_) throw Error(vbErrObjectNotSet, L"Object variable or With block variable not set", member.line);
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR n = const_cast<LPOLESTR>(member.name);
    HRESULT hr = p_->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) raiseHr(hr, nullptr, member.line);

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
    Variant result;
    ExcepInfo ei;
    UINT argErr = 0;
    hr = p_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &dp, result.put(), &ei.ei, &argErr);
    if (FAILED(hr)) raiseHr(hr, &ei.ei, member.line);
    return result;
}

// Property Let and Set differ only in the dispatch flag.
void Disp::assign(const Name& member, const Variant& value, WORD flags) const {
    if (!p_) throw Error(vbErrObjectNotSet, L"Object variable or With block variable not set", member.line);
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR n = const_cast<LPOLESTR>(member.name);
    HRESULT hr = p_->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) raiseHr(hr, nullptr, member.line);
    VARIANT arg = value.raw();
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS dp{&arg, &named, 1, 1};
    ExcepInfo ei;
    UINT argErr = 0;
    hr = p_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &dp, nullptr, &ei.ei, &argErr);
    if (FAILED(hr)) raiseHr(hr, &ei.ei, member.line);
}

void Disp::put(Name member, const Variant& value) const { assign(member, value, DISPATCH_PROPERTYPUT); }

void Disp::putRef(Name member, const Disp& value) const { assign(member, Variant(value), DISPATCH_PROPERTYPUTREF); }

Disp Disp::item(const Variant& indexOrName, Here w) const {
    return get(Name(L"Item", w), indexOrName).toDisp(w);
}

void Disp::forEach(const std::function<void(const Variant&)>& visit, Here w) const {
    if (!p_) throw Error(vbErrObjectNotSet, L"Object variable or With block variable not set", w.line);
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    Variant result;
    ExcepInfo ei;
    HRESULT hr = p_->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                            &none, result.put(), &ei.ei, nullptr);
    if (FAILED(hr)) raiseHr(hr, &ei.ei, w.line);
    ComPtr<IEnumVARIANT> en;
    const VARIANT& r = result.raw();
    IUnknown* u = r.vt == VT_UNKNOWN ? r.punkVal : (r.vt == VT_DISPATCH ? r.pdispVal : nullptr);
    if (!u || FAILED(u->QueryInterface(IID_IEnumVARIANT, en.putVoid())))
        throw Error(451, L"Property let procedure not defined and property get procedure did not return an object", w.line);
    for (;;) {
        VARIANT v;
        VariantInit(&v);
        ULONG got = 0;
        hr = en->Next(1, &v, &got);
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

HRESULT invokeById(IDispatch* d, DISPID id, WORD flags, std::vector<Variant>& args, Variant* result,
                   EXCEPINFO* info) {
    std::vector<VARIANT> rg(args.size());
    for (size_t i = 0; i < args.size(); ++i) rg[args.size() - 1 - i] = args[i].raw();
    DISPPARAMS dp{rg.empty() ? nullptr : rg.data(), nullptr, static_cast<UINT>(rg.size()), 0};
    DISPID named = DISPID_PROPERTYPUT;
    if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
        dp.rgdispidNamedArgs = &named;
        dp.cNamedArgs = 1;
    }
    return d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &dp, result ? result->put() : nullptr, info, nullptr);
}

// ---------------------------------------------------------------- strings

std::string toUtf8(const std::wstring& w) {
    if (w.empty()) return {};
    int n = WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), nullptr, 0, nullptr, nullptr);
    std::string s(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), s.data(), n, nullptr, nullptr);
    return s;
}

std::wstring fromUtf8(const std::string& s) {
    if (s.empty()) return {};
    int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
    std::wstring w(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), w.data(), n);
    return w;
}

// Case mapping by the invariant locale: keys, addresses and names fold the
// same way whatever the user's locale (under Turkish rules "i" would become
// a dotted capital I).
static std::wstring mapCase(std::wstring s, DWORD flag) {
    if (s.empty()) return s;
    std::wstring out(s.size(), L'\0');
    int n = LCMapStringEx(LOCALE_NAME_INVARIANT, flag, s.data(), static_cast<int>(s.size()), out.data(),
                          static_cast<int>(out.size()), nullptr, nullptr, 0);
    if (n <= 0) return s;
    out.resize(static_cast<size_t>(n));
    return out;
}

std::wstring toUpper(std::wstring s) { return mapCase(std::move(s), LCMAP_UPPERCASE); }
std::wstring toLower(std::wstring s) { return mapCase(std::move(s), LCMAP_LOWERCASE); }

std::wstring replaceAll(std::wstring s, const std::wstring& what, const std::wstring& with) {
    if (what.empty()) return s;
    std::wstring out;
    out.reserve(s.size());
    size_t pos = 0;
    for (;;) {
        size_t hit = s.find(what, pos);
        if (hit == std::wstring::npos) break;
        out.append(s, pos, hit - pos);
        out += with;
        pos = hit + what.size();
    }
    out.append(s, pos, std::wstring::npos);
    return out;
}

bool textEquals(const std::wstring& a, const std::wstring& b) {
    // Ordinal, case folded as file names are: no user locale decides whether
    // two addresses, keys or folder names are the same.
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

std::wstring trimSpaces(const std::wstring& s) {
    size_t b = s.find_first_not_of(L' ');
    if (b == std::wstring::npos) return {};
    size_t e = s.find_last_not_of(L' ');
    return s.substr(b, e - b + 1);
}

std::vector<std::wstring> split(const std::wstring& s, const std::wstring& sep) {
    std::vector<std::wstring> parts;
    if (sep.empty()) {
        parts.push_back(s);
        return parts;
    }
    size_t pos = 0;
    for (;;) {
        size_t hit = s.find(sep, pos);
        if (hit == std::wstring::npos) break;
        parts.push_back(s.substr(pos, hit - pos));
        pos = hit + sep.size();
    }
    parts.push_back(s.substr(pos));
    return parts;
}

std::wstring withoutTrailingSlash(const std::wstring& s) {
    if (!s.empty() && (s.back() == L'/' || s.back() == L'\\')) return s.substr(0, s.size() - 1);
    return s;
}

// The elements of an array in storage order, each copied out on its own.
std::vector<Variant> elementsOf(const Variant& value, Here where) {
    Variant v = Variant::copyOf(value.raw());  // a by-reference array is dereferenced
    if (!v.isArray()) raise(vbErrTypeMismatch, L"Type mismatch", where);
    SAFEARRAY* a = v.raw().parray;
    std::vector<Variant> out;
    if (!a) return out;
    size_t total = 1;
    for (UINT d = 0; d < a->cDims; ++d) total *= a->rgsabound[d].cElements;
    VARTYPE vt = static_cast<VARTYPE>(v.type() & ~VT_ARRAY);
    const UINT size = SafeArrayGetElemsize(a);
    unsigned char* data = nullptr;
    if (FAILED(SafeArrayAccessData(a, reinterpret_cast<void**>(&data)))) raise(vbErrTypeMismatch, L"Type mismatch", where);
    out.reserve(total);
    try {
        for (size_t i = 0; i < total; ++i) {
            // A by-reference view of the element, copied out by VariantCopyInd.
            VARIANT ref;
            VariantInit(&ref);
            ref.vt = static_cast<VARTYPE>(VT_BYREF | vt);
            ref.byref = data + i * size;
            out.push_back(Variant::copyOf(ref));
        }
    } catch (...) {
        SafeArrayUnaccessData(a);
        throw;
    }
    SafeArrayUnaccessData(a);
    return out;
}

}  // namespace qbx
