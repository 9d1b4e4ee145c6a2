// Base for the objects this project implements and hands to others through
// IDispatch: members are registered by name (looked up without regard to case,
// as Outlook and Visual Basic do), called with their arguments in declaration
// order, and an Error raised by a member reaches the caller as
// DISP_E_EXCEPTION with its number and text. No C++ exception ever leaves a
// COM call.
#pragma once

#include "support/com.h"

#include <atomic>
#include <new>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qbx {

class DispatchObject;

// The arguments of an incoming call or event, in declaration order (rgvarg
// reversed); named arguments (a property put's value) are not counted.
class Args {
public:
    explicit Args(DISPPARAMS* dp) noexcept;
    size_t count() const noexcept { return count_; }
    // True when the argument is present and not an omitted optional one.
    bool has(size_t i) const noexcept;
    // The argument's value, by-reference values dereferenced; raises 449 when
    // it is absent.
    Variant value(size_t i) const;
    std::wstring str(size_t i) const { return value(i).toString(); }
    long i32(size_t i) const { return value(i).toLong(); }
    bool boolean(size_t i) const { return value(i).toBool(); }
    Disp obj(size_t i) const { return value(i).toDisp(); }
    // Writes through a by-reference argument (VT_BYREF of any simple type, or
    // of a VARIANT); does nothing when the argument was passed by value.
    void setRef(size_t i, const Variant& v) const;
    // Writes a by-reference Boolean argument such as an event's Cancel.
    void setBool(size_t i, bool v) const { setRef(i, Variant(v)); }
    VARIANT* raw(size_t i) const noexcept;

private:
    DISPPARAMS* dp_;
    size_t count_ = 0;  // positional arguments
};

// A table of members reached by name: the IDispatch logic shared by every
// object this project implements (DispatchObject, and classes that must offer
// several dual interfaces with different member sets).
//
// A table belongs to one object (its members capture what they work on), or
// is built once for a class and shared by all its objects (objects made for
// nearly every call must cost little to make): such members are called with
// the object, see member<T>().
class MemberTable {
public:
    using Getter = std::function<Variant(Args&)>;
    using Setter = std::function<void(Args&, const Variant&)>;

    // Registers a method (also answers a property get, as automation allows).
    DISPID method(const std::wstring& name, Getter fn, DISPID id = DISPID_UNKNOWN);
    // Registers a property; without a setter it is read-only. The setter
    // answers both Let and Set.
    DISPID property(const std::wstring& name, Getter get, Setter put = nullptr, DISPID id = DISPID_UNKNOWN);
    // Registers a member of a class's shared table: get (a method or a
    // property get) and put (null: read-only) are called with the object of
    // class T the call is made on.
    template <class T>
    DISPID member(const std::wstring& name, std::function<Variant(T&, Args&)> get,
                  std::function<void(T&, Args&, const Variant&)> put = nullptr) {
        ObjectSetter p;
        if (put) p = [put](DispatchObject* o, Args& a, const Variant& v) { put(static_cast<T&>(*o), a, v); };
        return add(name, [get](DispatchObject* o, Args& a) { return get(static_cast<T&>(*o), a); }, std::move(p));
    }
    // Makes a registered member the default one (DISPID_VALUE).
    void setDefaultMember(DISPID id) { defaultMember_ = id; }
    // Gives the object a _NewEnum that walks the values the function returns.
    void setEnumerator(std::function<std::vector<Variant>()> items) { enumerate_ = std::move(items); }

    // Looks a member up by name (case-insensitive); DISPID_UNKNOWN if absent.
    DISPID find(const std::wstring& name) const;
    // The name a member was registered with (DISPID_VALUE: the default
    // member's); null when there is no such member.
    const std::wstring* nameOf(DISPID id) const;
    HRESULT getIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const;
    // Runs a member; an Error it raises becomes DISP_E_EXCEPTION with the
    // EXCEPINFO filled (source = the object's type name), and no other C++
    // exception leaves. A shared table's members are called with self,
    // which must then be the object of their class.
    HRESULT invoke(DISPID id, WORD flags, DISPPARAMS* dp, VARIANT* result, EXCEPINFO* info,
                   const std::wstring& source, DispatchObject* self = nullptr) const;

private:
    // Called with the object the call is made on (a shared table's members
    // need it; an object's own table's members ignore it).
    using ObjectGetter = std::function<Variant(DispatchObject*, Args&)>;
    using ObjectSetter = std::function<void(DispatchObject*, Args&, const Variant&)>;
    struct Member {
        std::wstring name;
        DISPID id;
        ObjectGetter get;
        ObjectSetter put;
    };
    DISPID add(const std::wstring& name, ObjectGetter get, ObjectSetter put, DISPID id = DISPID_UNKNOWN);
    const Member* byId(DISPID id) const;

    std::vector<Member> members_;
    std::unordered_map<std::wstring, DISPID> byAsciiName_;  // names folded to lower case
    DISPID nextId_ = 1000;
    DISPID defaultMember_ = DISPID_UNKNOWN;
    std::function<std::vector<Variant>()> enumerate_;
};

// Fills an EXCEPINFO from an Error, as a Visual Basic object raising it would.
void fillExcepInfo(EXCEPINFO* info, const Error& e, const std::wstring& source);

// Runs the body of an incoming call: an Error it raises becomes
// DISP_E_EXCEPTION with the EXCEPINFO filled (source = the object's type
// name); any other C++ failure is shown to the failure observer and answered
// with the HRESULT that says what failed (E_OUTOFMEMORY ...).
template <class F>
HRESULT answerCall(EXCEPINFO* info, const std::wstring& source, F&& body) noexcept {
    try {
        return body();
    } catch (const Error& e) {
        fillExcepInfo(info, e, source);
        return DISP_E_EXCEPTION;
    } catch (...) {
        return hresultFor(noteCaught(source.c_str()));
    }
}

// Runs a member's get or put for an incoming call. A put's new value is the
// named DISPID_PROPERTYPUT argument, rgvarg[0]; the others are indexes.
template <class Get, class Put>
HRESULT callMember(WORD flags, DISPPARAMS* dp, VARIANT* result, bool hasGet, Get&& get, bool hasPut, Put&& put) {
    if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
        if (!hasPut) return DISP_E_MEMBERNOTFOUND;
        if (!dp || dp->cArgs < 1) return DISP_E_BADPARAMCOUNT;
        Variant value = Variant::copyOf(dp->rgvarg[0]);
        DISPPARAMS rest{dp->cArgs > 1 ? dp->rgvarg + 1 : nullptr, nullptr, dp->cArgs - 1, 0};
        Args indexArgs(&rest);
        put(indexArgs, value);
        return S_OK;
    }
    if (!(flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET)) || !hasGet) return DISP_E_MEMBERNOTFOUND;
    Args args(dp);
    Variant r = get(args);
    if (result) {
        VariantInit(result);
        *result = r.detach();
    }
    return S_OK;
}

// Type information that holds nothing but the type's name, so that
// TypeName() of an object gives it.
HRESULT nameOnlyTypeInfo(const std::wstring& name, ITypeInfo** out);
// GetTypeInfoCount and GetTypeInfo of an object that offers just that one
// name-only type information (index 0), and no other.
HRESULT answerTypeInfoCount(UINT* n);
HRESULT answerTypeInfo(UINT index, const std::wstring& name, ITypeInfo** out);

class DispatchObject : public IDispatch, public RefCounted {
public:
    using Getter = MemberTable::Getter;
    using Setter = MemberTable::Setter;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return addRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return release(); }
    // IDispatch
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT i, LCID lcid, ITypeInfo** out) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override;

    const std::wstring& className() const noexcept { return typeName_; }

protected:
    explicit DispatchObject(std::wstring typeName);
    // An object whose members are its class's shared table (built once,
    // living as long as the program); it registers none of its own.
    DispatchObject(std::wstring typeName, const MemberTable& classMembers);
    ~DispatchObject() override = default;

    DISPID method(const std::wstring& name, Getter fn, DISPID id = DISPID_UNKNOWN) {
        return members_.method(name, std::move(fn), id);
    }
    DISPID property(const std::wstring& name, Getter get, Setter put = nullptr, DISPID id = DISPID_UNKNOWN) {
        return members_.property(name, std::move(get), std::move(put), id);
    }
    void setDefaultMember(DISPID id) { members_.setDefaultMember(id); }
    void setEnumerator(std::function<std::vector<Variant>()> items) { members_.setEnumerator(std::move(items)); }

    // Extra interfaces of a derived object (connection points, vtable
    // interfaces); return E_NOINTERFACE for the rest.
    virtual HRESULT queryOther(REFIID iid, void** out);
    // Hook before every incoming call (the test bed injects failures here).
    virtual void beforeCall(DISPID, WORD) {}
    // Whether GetIDsOfNames answers a name at all: a refused name is unknown
    // (a late-bound caller sees error 438) even where the table has it.
    virtual bool answersName(const std::wstring&) const { return true; }
    // Hook before a call of a member the table has, with the name it was
    // registered with. A failure it returns (or an Error it raises) is the
    // call's answer, and the member is not run.
    virtual HRESULT beforeMember(const std::wstring&, DISPID, WORD) { return S_OK; }

private:
    std::wstring typeName_;
    MemberTable members_;
    const MemberTable* table_ = &members_;  // members_, or the class's shared table
};

// Makes a new object of a DispatchObject class and hands out the first reference.
template <class T, class... A>
ComPtr<T> makeObject(A&&... args) {
    return ComPtr<T>(new T(std::forward<A>(args)...));
}

// An IEnumVARIANT over a fixed list of values.
ComPtr<IEnumVARIANT> makeVariantEnum(std::vector<Variant> items);

}  // namespace qbx
