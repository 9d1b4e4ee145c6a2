#include "support/com/dispatch_object.h"

namespace qbx {

// ---------------------------------------------------------------- Args

Args::Args(DISPPARAMS* dp) noexcept : dp_(dp) {
    if (dp_) count_ = dp_->cArgs - dp_->cNamedArgs;
}

VARIANT* Args::raw(size_t i) const noexcept {
    if (!dp_ || i >= count_) return nullptr;
    return &dp_->rgvarg[dp_->cArgs - 1 - i];
}

bool Args::has(size_t i) const noexcept {
    VARIANT* v = raw(i);
    if (!v) return false;
    const VARIANT& d = deref(*v);
    return !(d.vt == VT_ERROR && d.scode == DISP_E_PARAMNOTFOUND);
}

Variant Args::value(size_t i) const {
    if (!has(i)) raiseVb(vbErrNotOptional, Here::none());
    return Variant::copyOf(*raw(i));
}

void Args::setRef(size_t i, const Variant& value) const {
    VARIANT* v = raw(i);
    if (!v || !(v->vt & VT_BYREF)) return;
    if (v->vt == (VT_BYREF | VT_VARIANT)) {
        VariantCopy(v->pvarVal, const_cast<VARIANT*>(&value.raw()));
        return;
    }
    VARTYPE target = static_cast<VARTYPE>(v->vt & ~VT_BYREF);
    Variant c = value.changedTo(target);
    const VARIANT& r = c.raw();
    switch (target) {
        case VT_BOOL: *v->pboolVal = r.boolVal; break;
        case VT_I2: *v->piVal = r.iVal; break;
        case VT_I4: *v->plVal = r.lVal; break;
        case VT_R8: *v->pdblVal = r.dblVal; break;
        case VT_DATE: *v->pdate = r.date; break;
        case VT_BSTR:
            SysFreeString(*v->pbstrVal);
            *v->pbstrVal = SysAllocStringLen(r.bstrVal, SysStringLen(r.bstrVal));
            break;
        case VT_DISPATCH:
            if (*v->ppdispVal) (*v->ppdispVal)->Release();
            *v->ppdispVal = r.pdispVal;
            if (r.pdispVal) r.pdispVal->AddRef();
            break;
        default: break;
    }
}

// ---------------------------------------------------------------- type name

namespace {

// Just enough type information for TypeName() to name the object.
class NameOnlyTypeInfo final : public Unknown<ITypeInfo> {
public:
    explicit NameOnlyTypeInfo(std::wstring name) : name_(std::move(name)) {}
    bool answers(REFIID iid) const override { return iid == IID_ITypeInfo; }
    HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID id, BSTR* name, BSTR* doc, DWORD* ctx, BSTR* help) override {
        if (id != MEMBERID_NIL) return TYPE_E_ELEMENTNOTFOUND;
        if (name) *name = SysAllocString(name_.c_str());
        if (doc) *doc = nullptr;
        if (ctx) *ctx = 0;
        if (help) *help = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT, FUNCDESC**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVarDesc(UINT, VARDESC**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNames(MEMBERID, BSTR*, UINT, UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT, HREFTYPE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT, INT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR*, UINT, MEMBERID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(PVOID, MEMBERID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID, INVOKEKIND, BSTR*, BSTR*, WORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID, INVOKEKIND, PVOID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID, PVOID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMops(MEMBERID, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib**, UINT*) override { return E_NOTIMPL; }
    void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR*) override {}
    void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC*) override {}
    void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC*) override {}

private:
    std::wstring name_;
};

class VariantEnum final : public Unknown<IEnumVARIANT> {
public:
    explicit VariantEnum(std::vector<Variant> items) : items_(std::move(items)) {}
    bool answers(REFIID iid) const override { return iid == IID_IEnumVARIANT; }
    HRESULT STDMETHODCALLTYPE Next(ULONG n, VARIANT* out, ULONG* got) override {
        ULONG k = 0;
        for (; k < n && pos_ < items_.size(); ++k, ++pos_) {
            VariantInit(&out[k]);
            VariantCopy(&out[k], const_cast<VARIANT*>(&items_[pos_].raw()));
        }
        if (got) *got = k;
        return k == n ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG n) override {
        pos_ += n;
        if (pos_ > items_.size()) {
            pos_ = items_.size();
            return S_FALSE;
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        pos_ = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) override {
        ComPtr<VariantEnum> c(new VariantEnum(items_));
        c->pos_ = pos_;
        *out = c.detach();
        return S_OK;
    }

private:
    std::vector<Variant> items_;
    size_t pos_ = 0;
};

}  // namespace

ComPtr<IEnumVARIANT> makeVariantEnum(std::vector<Variant> items) {
    return ComPtr<IEnumVARIANT>(new VariantEnum(std::move(items)));
}

void fillExcepInfo(EXCEPINFO* info, const Error& e, const std::wstring& source) {
    if (!info) return;
    *info = EXCEPINFO{};
    long n = e.number();
    // Numbers Visual Basic raises itself travel as FACILITY_CONTROL codes;
    // anything else is already an HRESULT.
    info->scode = (n > 0 && n <= 0xFFFF) ? MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, n) : static_cast<SCODE>(n);
    info->bstrDescription = SysAllocStringLen(e.description().data(), static_cast<UINT>(e.description().size()));
    info->bstrSource = SysAllocString(source.c_str());
}

HRESULT nameOnlyTypeInfo(const std::wstring& name, ITypeInfo** out) {
    if (!out) return E_POINTER;
    *out = ComPtr<ITypeInfo>(new NameOnlyTypeInfo(name)).detach();
    return S_OK;
}

// ---------------------------------------------------------------- members

namespace {

// A member name folded to lower case when it is plain ASCII (as every name
// registered here is); false for any other name.
bool asciiFolded(const std::wstring& name, std::wstring& out) {
    out = name;
    for (wchar_t& c : out) {
        if (c >= 128) return false;
        if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + 32);
    }
    return true;
}

}  // namespace

DISPID MemberTable::add(const std::wstring& name, ObjectGetter get, ObjectSetter put, DISPID id) {
    if (id == DISPID_UNKNOWN) id = nextId_++;
    members_.push_back(Member{name, id, std::move(get), std::move(put)});
    std::wstring key;
    if (asciiFolded(name, key)) byAsciiName_.emplace(std::move(key), id);
    return id;
}

DISPID MemberTable::method(const std::wstring& name, Getter fn, DISPID id) {
    return add(name, [fn = std::move(fn)](DispatchObject*, Args& a) { return fn(a); }, nullptr, id);
}

DISPID MemberTable::property(const std::wstring& name, Getter get, Setter put, DISPID id) {
    ObjectSetter p;
    if (put) p = [put = std::move(put)](DispatchObject*, Args& a, const Variant& v) { put(a, v); };
    return add(name, [get = std::move(get)](DispatchObject*, Args& a) { return get(a); }, std::move(p), id);
}

DISPID MemberTable::find(const std::wstring& name) const {
    std::wstring key;
    if (asciiFolded(name, key)) {
        // Plain ASCII names compare without regard to case as the system's
        // comparison would; the look-up costs one hash for any table size.
        if (auto it = byAsciiName_.find(key); it != byAsciiName_.end()) return it->second;
    } else {
        for (const auto& m : members_)
            if (CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, m.name.c_str(), -1, name.c_str(), -1) == CSTR_EQUAL)
                return m.id;
    }
    if (enumerate_ && CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, name.c_str(), -1, L"_NewEnum", -1) == CSTR_EQUAL)
        return DISPID_NEWENUM;
    return DISPID_UNKNOWN;
}

const std::wstring* MemberTable::nameOf(DISPID id) const {
    const Member* m = byId(id);
    return m ? &m->name : nullptr;
}

HRESULT MemberTable::getIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const {
    if (!names || !ids || count == 0 || !names[0]) return E_INVALIDARG;
    HRESULT hr = S_OK;
    ids[0] = find(names[0]);
    if (ids[0] == DISPID_UNKNOWN) hr = DISP_E_UNKNOWNNAME;
    for (UINT i = 1; i < count; ++i) {  // named arguments are not supported
        ids[i] = DISPID_UNKNOWN;
        hr = DISP_E_UNKNOWNNAME;
    }
    return hr;
}

const MemberTable::Member* MemberTable::byId(DISPID id) const {
    if (id == DISPID_VALUE && defaultMember_ != DISPID_UNKNOWN) id = defaultMember_;
    for (const auto& m : members_)
        if (m.id == id) return &m;
    return nullptr;
}

HRESULT MemberTable::invoke(DISPID id, WORD flags, DISPPARAMS* dp, VARIANT* result, EXCEPINFO* info,
                            const std::wstring& source, DispatchObject* self) const {
    return answerCall(info, source, [&]() -> HRESULT {
        if (id == DISPID_NEWENUM && enumerate_) {
            if (result) {
                VariantInit(result);
                result->vt = VT_UNKNOWN;
                result->punkVal = makeVariantEnum(enumerate_()).detach();
            }
            return S_OK;
        }
        const Member* m = byId(id);
        if (!m) return DISP_E_MEMBERNOTFOUND;
        return callMember(
            flags, dp, result, static_cast<bool>(m->get), [&](Args& a) { return m->get(self, a); },
            static_cast<bool>(m->put), [&](Args& a, const Variant& v) { m->put(self, a, v); });
    });
}

// ---------------------------------------------------------------- object

DispatchObject::DispatchObject(std::wstring typeName) : typeName_(std::move(typeName)) {}

DispatchObject::DispatchObject(std::wstring typeName, const MemberTable& classMembers)
    : typeName_(std::move(typeName)), table_(&classMembers) {}

HRESULT DispatchObject::QueryInterface(REFIID iid, void** out) {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IDispatch) {
        *out = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
    }
    return queryOther(iid, out);
}

HRESULT DispatchObject::queryOther(REFIID, void** out) {
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT answerTypeInfoCount(UINT* n) {
    // One: GetTypeInfo(0) offers a type information that names the object
    // (what TypeName and error reports read); members are found by name.
    if (n) *n = 1;
    return S_OK;
}

HRESULT answerTypeInfo(UINT index, const std::wstring& name, ITypeInfo** out) {
    if (out) *out = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return nameOnlyTypeInfo(name, out);
}

HRESULT DispatchObject::GetTypeInfoCount(UINT* n) { return answerTypeInfoCount(n); }

HRESULT DispatchObject::GetTypeInfo(UINT i, LCID, ITypeInfo** out) { return answerTypeInfo(i, typeName_, out); }

HRESULT DispatchObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    if (!names || !ids || count == 0 || !names[0]) return E_INVALIDARG;
    const HRESULT hr = answerCall(nullptr, typeName_, [&] { return answersName(names[0]) ? S_OK : S_FALSE; });
    if (hr == S_FALSE) {
        for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
        return DISP_E_UNKNOWNNAME;
    }
    if (FAILED(hr)) return hr;
    return table_->getIDsOfNames(names, count, ids);
}

HRESULT DispatchObject::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                               EXCEPINFO* info, UINT*) {
    ComPtr<IDispatch> keepAlive(this);  // a member may drop the caller's last other reference
    const HRESULT hr = answerCall(info, typeName_, [&] {
        beforeCall(id, flags);
        const std::wstring* name = table_->nameOf(id);
        return name ? beforeMember(*name, id, flags) : S_OK;
    });
    if (FAILED(hr)) return hr;
    return table_->invoke(id, flags, dp, result, info, typeName_, this);
}

}  // namespace qbx
