#include "support/com/values.h"

#include "support/com/boundary.h"
#include "support/com/disp.h"

#include <cstring>

namespace qbx {

// ---------------------------------------------------------------- Variant

Variant::Variant(const Variant& o) {
    VariantInit(&v_);
    if (FAILED(VariantCopy(&v_, const_cast<VARIANT*>(&o.v_)))) raiseVb(vbErrOutOfMemory, Here::none());
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
    if (FAILED(VariantCopyInd(&r.v_, const_cast<VARIANT*>(&v)))) raiseVb(vbErrTypeMismatch, Here::none());
    return r;
}

bool Variant::isNothing() const noexcept {
    const VARIANT* v = &deref(v_);
    switch (v->vt) {
        case VT_DISPATCH: return v->pdispVal == nullptr;
        case VT_UNKNOWN: return v->punkVal == nullptr;
        case VT_BYREF | VT_DISPATCH: return !v->ppdispVal || !*v->ppdispVal;
        case VT_BYREF | VT_UNKNOWN: return !v->ppunkVal || !*v->ppunkVal;
        default: return false;
    }
}

bool Variant::isObject() const noexcept {
    VARTYPE t = static_cast<VARTYPE>(deref(v_).vt & ~VT_BYREF);
    return t == VT_DISPATCH || t == VT_UNKNOWN;
}

Variant Variant::changedTo(VARTYPE vt, Here w) const {
    Variant src = copyOf(v_);  // dereferences by-reference values
    Variant dst;
    HRESULT hr = VariantChangeTypeEx(&dst.v_, &src.v_, LOCALE_USER_DEFAULT, VARIANT_ALPHABOOL, vt);
    if (FAILED(hr)) {
        if (hr == DISP_E_OVERFLOW) raiseVb(vbErrOverflow, w);
        if (src.v_.vt == VT_NULL) raiseVb(vbErrInvalidNull, w);
        raiseVb(vbErrTypeMismatch, w);
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
    const VARIANT* v = &deref(v_);
    switch (v->vt) {
        case VT_DISPATCH: return Disp(v->pdispVal);
        case VT_BYREF | VT_DISPATCH: return Disp(v->ppdispVal ? *v->ppdispVal : nullptr);
        case VT_UNKNOWN: return Disp::fromUnknown(v->punkVal);
        case VT_BYREF | VT_UNKNOWN: return Disp::fromUnknown(v->ppunkVal ? *v->ppunkVal : nullptr);
        default: raiseVb(vbErrObjectRequired, w);
    }
}

// ---------------------------------------------------------------- SafeArray

SafeArray SafeArray::bytes(const void* data, size_t size) {
    SAFEARRAY* a = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(size));
    if (!a) raiseVb(vbErrOutOfMemory, Here::none());
    SafeArray owner(a);
    if (size) std::memcpy(ArrayData<unsigned char>(a).get(), data, size);
    return owner;
}

SafeArray SafeArray::variants(long count, long lowerBound) {
    SAFEARRAY* a = SafeArrayCreateVector(VT_VARIANT, lowerBound, static_cast<ULONG>(count));
    if (!a) raiseVb(vbErrOutOfMemory, Here::none());
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
    if (!a) raiseVb(vbErrOutOfMemory, Here::none());
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
    if (v.type() != (VT_ARRAY | VT_UI1)) raiseVb(vbErrTypeMismatch, w);
    SAFEARRAY* a = v.raw().parray;
    std::vector<unsigned char> out;
    if (!a || SafeArrayGetDim(a) != 1) return out;
    LONG lo = 0, hi = -1;
    SafeArrayGetLBound(a, 1, &lo);
    SafeArrayGetUBound(a, 1, &hi);
    if (hi < lo) return out;
    out.resize(static_cast<size_t>(hi - lo + 1));
    std::memcpy(out.data(), ArrayData<unsigned char>(a, w).get(), out.size());
    return out;
}

// The elements of an array in storage order, each copied out on its own.
std::vector<Variant> elementsOf(const Variant& value, Here where) {
    Variant v = Variant::copyOf(value.raw());  // a by-reference array is dereferenced
    if (!v.isArray()) raiseVb(vbErrTypeMismatch, where);
    SAFEARRAY* a = v.raw().parray;
    std::vector<Variant> out;
    if (!a) return out;
    size_t total = 1;
    for (UINT d = 0; d < a->cDims; ++d) total *= a->rgsabound[d].cElements;
    VARTYPE vt = static_cast<VARTYPE>(v.type() & ~VT_ARRAY);
    const UINT size = SafeArrayGetElemsize(a);
    ArrayData<unsigned char> data(a, where);
    out.reserve(total);
    for (size_t i = 0; i < total; ++i) {
        // A by-reference view of the element, copied out by VariantCopyInd.
        VARIANT ref;
        VariantInit(&ref);
        ref.vt = static_cast<VARTYPE>(VT_BYREF | vt);
        ref.byref = data.get() + i * size;
        out.push_back(Variant::copyOf(ref));
    }
    return out;
}

}  // namespace qbx
