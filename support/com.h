// The small COM toolkit every part of the add-in uses.
//
// - ComPtr<T>: owns one interface reference.
// - Bstr, Variant, SafeArray: own a BSTR, a VARIANT, a SAFEARRAY.
// - Disp: an IDispatch reached late-bound by member name, the way Visual Basic
//   reaches Outlook: get/put/putRef/call, collection items, _NewEnum walks.
// - Error: what a failed call becomes. It carries the description and number a
//   Visual Basic Err object would show and the source line of the failing call,
//   so error reports can name the statement.
//
// Nothing here calls AddRef/Release outside ComPtr and the owners.
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <ocidl.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <source_location>
#include <string>
#include <utility>
#include <vector>

namespace qbx {

// ---------------------------------------------------------------- errors

// The source line of a call site, captured by a default argument so that an
// error can say which statement failed.
struct Here {
    Here(std::source_location w = std::source_location::current()) noexcept
        : line(static_cast<int>(w.line())) {}
    explicit Here(int l) noexcept : line(l) {}
    int line;
};

// A run-time error as Visual Basic's Err would see it.
class Error : public std::exception {
public:
    Error(long number, std::wstring description, int line)
        : number_(number), description_(std::move(description)), line_(line) {}
    long number() const noexcept { return number_; }
    const std::wstring& description() const noexcept { return description_; }
    int line() const noexcept { return line_; }
    const char* what() const noexcept override { return "qbx::Error"; }

private:
    long number_;
    std::wstring description_;
    int line_;
};

// Raises an error at the caller's line.
[[noreturn]] void raise(long number, const std::wstring& description, Here where = {});

// Raises the error Visual Basic would raise for a failed HRESULT (with the
// EXCEPINFO of a DISP_E_EXCEPTION when there is one). The EXCEPINFO's texts
// are filled in (a deferred fill-in is run), copied and freed: its BSTRs are
// null afterwards.
[[noreturn]] void raiseHr(HRESULT hr, EXCEPINFO* info, int line);

// The Visual Basic number and text for an HRESULT (438, 429, 13 ... or the
// HRESULT itself with the system's message).
long vbNumberFor(HRESULT hr);
std::wstring vbDescriptionFor(HRESULT hr);

// Common Visual Basic error numbers used by the add-in's own raises.
constexpr long vbErrInvalidCall = 5;        // Invalid procedure call or argument
constexpr long vbErrSubscript = 9;          // Subscript out of range
constexpr long vbErrTypeMismatch = 13;      // Type mismatch
constexpr long vbErrObjectNotSet = 91;      // Object variable or With block variable not set
constexpr long vbErrKeyExists = 457;        // This key is already associated with an element of this collection
constexpr long vbErrCantCreate = 429;       // ActiveX component can't create object
constexpr long vbErrNoMember = 438;         // Object doesn't support this property or method

// ---------------------------------------------------------------- ComPtr

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

    void reset() noexcept { if (T* p = std::exchange(p_, nullptr)) p->Release(); }
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

// IUnknown for a class that implements one COM interface I: the reference
// count (the object deletes itself when it drops to zero) and QueryInterface
// answering IUnknown and the IDs the class names in answers().
template <class I>
class Unknown : public I {
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
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG n = --refs_;
        if (n == 0) delete this;
        return n;
    }

protected:
    Unknown() = default;
    virtual ~Unknown() = default;
    // The interface IDs the object answers besides IUnknown.
    virtual bool answers(REFIID iid) const = 0;

private:
    std::atomic<ULONG> refs_{0};
};

// COM identity: true when both pointers reach the same object.
bool sameObject(IUnknown* a, IUnknown* b) noexcept;

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
    Variant(const Variant& o);
    Variant(Variant&& o) noexcept { v_ = o.v_; VariantInit(&o.v_); }
    ~Variant() { VariantClear(&v_); }
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
    ~SafeArray() { if (a_) SafeArrayDestroy(a_); }

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

// The elements of an array value (any number of dimensions, by reference
// or not) in storage order, the order of For Each, each copied into a
// Variant of its own. A value that is no array raises Type mismatch (13).
std::vector<Variant> elementsOf(const Variant& value, Here where = {});

// The bytes of a VT_ARRAY|VT_UI1 value.
std::vector<unsigned char> bytesOf(const Variant& v, Here w = {});

// ---------------------------------------------------------------- late binding

// A member name as written at a call site; it remembers that site's line so a
// failing call can report it.
struct Name {
    Name(const wchar_t* n, Here w = {}) noexcept : name(n), line(w.line) {}
    const wchar_t* name;
    int line;
};

// A by-reference argument: the callee may write the caller's Variant.
struct ByRef {
    explicit ByRef(Variant& v) noexcept : target(&v) {}
    Variant* target;
};

// Marks an omitted optional argument.
struct Missing {};
inline constexpr Missing missing{};

class Disp {
public:
    Disp() noexcept = default;
    Disp(std::nullptr_t) noexcept {}
    explicit Disp(ComPtr<IDispatch> p) noexcept : p_(std::move(p)) {}
    explicit Disp(IDispatch* p) noexcept : p_(p) {}
    // Queries the unknown for IDispatch (nothing when it has none).
    static Disp fromUnknown(IUnknown* u) noexcept;

    // Creates an object by ProgID, as CreateObject does; raises 429 on failure.
    // Every creation goes through the creation hook (see setCreateHook).
    static Disp create(const wchar_t* progId, Here w = {});

    explicit operator bool() const noexcept { return static_cast<bool>(p_); }
    bool isNothing() const noexcept { return !p_; }
    IDispatch* get() const noexcept { return p_.get(); }
    const ComPtr<IDispatch>& ptr() const noexcept { return p_; }
    void reset() noexcept { p_.reset(); }
    bool sameAs(const Disp& o) const noexcept { return sameObject(p_.get(), o.p_.get()); }

    // Property get (also answers a method call, as Visual Basic's expressions do).
    template <class... A>
    Variant get(Name member, const A&... args) const {
        return invoke(member, DISPATCH_PROPERTYGET | DISPATCH_METHOD, pack(args...));
    }
    // Property get of an object-valued member.
    template <class... A>
    Disp getObj(Name member, const A&... args) const {
        return get(member, args...).toDisp(Here(member.line));
    }
    // Method call; the result may be ignored.
    template <class... A>
    Variant call(Name member, const A&... args) const {
        return invoke(member, DISPATCH_METHOD | DISPATCH_PROPERTYGET, pack(args...));
    }
    // Property let.
    void put(Name member, const Variant& value) const;
    // Property set (Set x.Member = obj).
    void putRef(Name member, const Disp& value) const;

    // Collection access through the member Item, by 1-based index or by name.
    Disp item(const Variant& indexOrName, Here w = {}) const;
    // Walks the collection through _NewEnum, in its own order.
    void forEach(const std::function<void(const Variant&)>& visit, Here w = {}) const;

    // The object's type name as Visual Basic's TypeName gives it (from the type
    // information; empty when the object has none).
    std::wstring typeName() const;

private:
    struct Arg {
        Variant value;
        Variant* byRef = nullptr;
    };
    static std::vector<Arg> pack() { return {}; }
    template <class... A>
    static std::vector<Arg> pack(const A&... args) {
        std::vector<Arg> v;
        v.reserve(sizeof...(A));
        (v.push_back(toArg(args)), ...);
        return v;
    }
    static Arg toArg(const ByRef& r) { Arg a; a.byRef = r.target; return a; }
    static Arg toArg(const Missing&) { Arg a; a.value = Variant::missing(); return a; }
    static Arg toArg(const Variant& v) { Arg a; a.value = v; return a; }
    template <class T>
    static Arg toArg(const T& v) { Arg a; a.value = Variant(v); return a; }

    Variant invoke(const Name& member, WORD flags, std::vector<Arg> args) const;
    void assign(const Name& member, const Variant& value, WORD flags) const;

    ComPtr<IDispatch> p_;
};

// Object creation by ProgID goes through one replaceable function, so tests can
// make a component fail or stand in for one the machine lacks. The default
// creates the registered class (CLSIDFromProgID + CoCreateInstance).
using CreateHook = std::function<HRESULT(const wchar_t* progId, IDispatch** out)>;
HRESULT createByProgId(const wchar_t* progId, IDispatch** out);
void setCreateHook(CreateHook hook);  // an empty hook restores the default

// Low-level invoke by DISPID (used by the event sinks' tests and the emulator).
HRESULT invokeById(IDispatch* d, DISPID id, WORD flags, std::vector<Variant>& argsInDeclOrder,
                   Variant* result, EXCEPINFO* info);

// Looks up a DISPID by name; DISPID_UNKNOWN when the object has no such member.
DISPID dispIdOf(IDispatch* d, const wchar_t* name);

// ---------------------------------------------------------------- strings

std::string toUtf8(const std::wstring& w);
std::wstring fromUtf8(const std::string& s);
std::wstring toUpper(std::wstring s);  // as UCase$, by the invariant locale (not the user's)
std::wstring toLower(std::wstring s);  // as LCase$, by the invariant locale (not the user's)
// Replaces every occurrence of what by with (exact comparison), as Replace$.
std::wstring replaceAll(std::wstring s, const std::wstring& what, const std::wstring& with);
// Case-insensitive text comparison as Visual Basic's vbTextCompare.
bool textEquals(const std::wstring& a, const std::wstring& b);
// Trims space characters only (not tabs or line breaks), as Trim$.
std::wstring trimSpaces(const std::wstring& s);
// Splits on a separator as Split(), keeping empty pieces.
std::vector<std::wstring> split(const std::wstring& s, const std::wstring& sep);
// Removes one trailing "/" or "\".
std::wstring withoutTrailingSlash(const std::wstring& s);

}  // namespace qbx
