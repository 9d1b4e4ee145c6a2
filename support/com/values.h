// The owners of Automation values: Bstr (a BSTR), Variant (a VARIANT, with
// Visual Basic's conversions) and SafeArray (a SAFEARRAY), and the helpers
// that read arrays and by-reference values.
#pragma once

#include "support/com/com_ptr.h"
#include "support/com/error.h"

#include <oleauto.h>

#include <string>
#include <utility>
#include <vector>

namespace qbx {

// The VARIANT a by-reference Variant (VT_BYREF | VT_VARIANT) points at, or
// the value itself: how a callee sees an argument passed ByRef ... As Variant.
inline const VARIANT& deref(const VARIANT& v) noexcept {
    return (v.vt == (VT_BYREF | VT_VARIANT) && v.pvarVal) ? *v.pvarVal : v;
}
inline VARIANT& deref(VARIANT& v) noexcept {
    return (v.vt == (VT_BYREF | VT_VARIANT) && v.pvarVal) ? *v.pvarVal : v;
}

// ---------------------------------------------------------------- Bstr

class Bstr {
public:
    Bstr() noexcept = default;
    Bstr(const wchar_t* s) : b_(s ? SysAllocString(s) : nullptr) {}
    Bstr(const std::wstring& s) : b_(SysAllocStringLen(s.data(), static_cast<UINT>(s.size()))) {}
    Bstr(const Bstr& o) : b_(o.b_ ? SysAllocStringLen(o.b_, SysStringLen(o.b_)) : nullptr) {}
    Bstr(Bstr&& o) noexcept : b_(std::exchange(o.b_, nullptr)) {}
    ~Bstr() { SysFreeString(b_); }
    Bstr& operator=(Bstr o) noexcept { std::swap(b_, o.b_); return *this; }

    static Bstr attach(BSTR b) noexcept { Bstr r; r.b_ = b; return r; }
    BSTR detach() noexcept { return std::exchange(b_, nullptr); }
    BSTR get() const noexcept { return b_; }
    BSTR* put() noexcept { SysFreeString(b_); b_ = nullptr; return &b_; }
    UINT length() const noexcept { return SysStringLen(b_); }
    std::wstring str() const { return b_ ? std::wstring(b_, SysStringLen(b_)) : std::wstring(); }

private:
    BSTR b_ = nullptr;
};

class Disp;

// ---------------------------------------------------------------- Variant

class Variant {
public:
    Variant() noexcept { VariantInit(&v_); }
    Variant(const Variant& o);  // raises Out of memory (7) when the copy fails
    Variant(Variant&& o) noexcept { v_ = o.v_; VariantInit(&o.v_); }
    ~Variant() {
        KeepLastError kept;  // clearing may release an object
        VariantClear(&v_);
    }
    Variant& operator=(Variant o) noexcept { std::swap(v_, o.v_); return *this; }

    // Typed construction, as Visual Basic would pass each kind.
    Variant(bool b) noexcept { VariantInit(&v_); v_.vt = VT_BOOL; v_.boolVal = b ? VARIANT_TRUE : VARIANT_FALSE; }
    Variant(short i) noexcept { VariantInit(&v_); v_.vt = VT_I2; v_.iVal = i; }
    Variant(int i) noexcept { VariantInit(&v_); v_.vt = VT_I4; v_.lVal = i; }
    Variant(long i) noexcept { VariantInit(&v_); v_.vt = VT_I4; v_.lVal = i; }
    Variant(double d) noexcept { VariantInit(&v_); v_.vt = VT_R8; v_.dblVal = d; }
    Variant(const wchar_t* s);
    Variant(const std::wstring& s);
    Variant(const Bstr& s) : Variant(s.str()) {}
    Variant(IDispatch* d) noexcept;   // VT_DISPATCH, nothing when null
    Variant(const Disp& d) noexcept;
    Variant(IUnknown* u) noexcept;    // VT_UNKNOWN
    static Variant date(double oleDate) noexcept;
    static Variant nothing() noexcept;  // VT_DISPATCH holding null
    static Variant missing() noexcept;  // an omitted optional argument
    static Variant null() noexcept;     // VT_NULL
    // Takes over a VARIANT the caller owns (the source is left empty).
    static Variant attach(VARIANT& v) noexcept;
    static Variant copyOf(const VARIANT& v);

    VARTYPE type() const noexcept { return v_.vt; }
    const VARIANT& raw() const noexcept { return v_; }
    // For out-parameters: clears the value and hands out the slot.
    VARIANT* put() noexcept { VariantClear(&v_); return &v_; }
    // The VARIANT itself, for a callee that reads and writes it in place.
    VARIANT* ptr() noexcept { return &v_; }
    VARIANT detach() noexcept { VARIANT r = v_; VariantInit(&v_); return r; }

    bool isEmpty() const noexcept { return v_.vt == VT_EMPTY; }
    bool isNull() const noexcept { return v_.vt == VT_NULL; }
    // True for an object variable that holds no object (Visual Basic's "Is Nothing").
    bool isNothing() const noexcept;
    bool isObject() const noexcept;
    bool isArray() const noexcept { return (v_.vt & VT_ARRAY) != 0; }
    // Visual Basic's IsNumeric and IsDate.
    bool isNumeric() const;
    bool isDate() const;

    // Conversions with Visual Basic's rules (CStr, CLng, CInt, CBool, CDate,
    // CDbl); a value that can't be converted raises "Type mismatch" (13).
    std::wstring toString(Here w = {}) const;
    long toLong(Here w = {}) const;
    short toShort(Here w = {}) const;
    bool toBool(Here w = {}) const;
    double toDouble(Here w = {}) const;
    double toDate(Here w = {}) const;
    // The object held (raises 13 when the value is not an object; Nothing gives an empty Disp).
    Disp toDisp(Here w = {}) const;
    // Converts in place to the given type with Visual Basic's rules.
    Variant changedTo(VARTYPE vt, Here w = {}) const;

private:
    VARIANT v_;
};

// ---------------------------------------------------------------- SafeArray

class SafeArray {
public:
    SafeArray() noexcept = default;
    explicit SafeArray(SAFEARRAY* owned) noexcept : a_(owned) {}
    SafeArray(const SafeArray&) = delete;
    SafeArray& operator=(const SafeArray&) = delete;
    SafeArray(SafeArray&& o) noexcept : a_(std::exchange(o.a_, nullptr)) {}
    SafeArray& operator=(SafeArray&& o) noexcept { std::swap(a_, o.a_); return *this; }
    ~SafeArray() {
        if (!a_) return;
        KeepLastError kept;  // destroying may release the objects it holds
        SafeArrayDestroy(a_);
    }

    // A one-dimensional byte array (VT_ARRAY|VT_UI1) holding a copy of the bytes.
    static SafeArray bytes(const void* data, size_t size);
    // A one-dimensional array of VARIANTs with the given lower bound.
    static SafeArray variants(long count, long lowerBound = 0);
    // A two-dimensional array of VARIANTs, rows x columns, both 0-based.
    static SafeArray variants2D(long rows, long columns);

    SAFEARRAY* get() const noexcept { return a_; }
    SAFEARRAY* detach() noexcept { return std::exchange(a_, nullptr); }
    // Wraps the array in a Variant (VT_ARRAY | element type); the Variant owns it.
    Variant toVariant(VARTYPE elementType) &&;

private:
    SAFEARRAY* a_ = nullptr;
};

// The elements of an array, held in place (SafeArrayAccessData) for the
// scope and let go after: the array can't be destroyed or resized
// meanwhile. A failed access raises the error for its HRESULT.
template <class T>
class ArrayData {
public:
    explicit ArrayData(SAFEARRAY* array, Here where = {}) : array_(array) {
        void* data = nullptr;
        const HRESULT hr = SafeArrayAccessData(array, &data);
        if (FAILED(hr)) raiseHr(hr, nullptr, where);
        data_ = static_cast<T*>(data);
    }
    ArrayData(const ArrayData&) = delete;
    ArrayData& operator=(const ArrayData&) = delete;
    ~ArrayData() { SafeArrayUnaccessData(array_); }

    T* get() const noexcept { return data_; }
    T& operator[](size_t i) const noexcept { return data_[i]; }

private:
    SAFEARRAY* array_;
    T* data_ = nullptr;
};

// The elements of an array value (any number of dimensions, by reference
// or not) in storage order, the order of For Each, each copied into a
// Variant of its own. A value that is no array raises Type mismatch (13).
std::vector<Variant> elementsOf(const Variant& value, Here where = {});

// The bytes of a VT_ARRAY|VT_UI1 value.
std::vector<unsigned char> bytesOf(const Variant& v, Here w = {});

}  // namespace qbx
