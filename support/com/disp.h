// Late binding: an IDispatch reached by member name, the way Visual Basic
// reaches Outlook. Every late-bound call of the add-in goes through Disp:
//
//   Variant v = obj.get(L"Subject");            // a value (property or method result)
//   Disp items = folder.getObj(L"Items");       // an object-valued member
//   mail.call(L"Save");                         // a method called as a statement
//   mail.put(L"Subject", L"Hello");             // Let
//   inspector.putRef(L"Item", mail);            // Set
//   request.call(L"send", std::move(body));     // a large argument moved in, not copied
//   auto r = addin.tryCall(L"OnConnection", ...); // the HRESULT instead of a raise
//
// A failed call raises an Error carrying Visual Basic's number and text and
// the line of the calling statement; tryCall answers it instead.
#pragma once

#include "support/com/values.h"

#include <functional>
#include <utility>
#include <vector>

namespace qbx {

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
    class Member;

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

    // The type checks (TypeOf x Is ...): true when the object answers the
    // interface, e.g. Outlook's Application or an inspector's event interface.
    bool supports(REFIID iid) const noexcept;
    // True when the object knows a member of this name.
    bool hasMember(const wchar_t* name) const noexcept;

    // A member's value, as a Visual Basic expression reads it: a property
    // get or a method's result (both dispatch flags, as Visual Basic sends).
    template <class... A>
    Variant get(Name member, A&&... args) const {
        return invoke(idOf(member), DISPATCH_PROPERTYGET | DISPATCH_METHOD, pack(std::forward<A>(args)...),
                      member.line);
    }
    // The value of an object-valued member.
    template <class... A>
    Disp getObj(Name member, A&&... args) const {
        return get(member, std::forward<A>(args)...).toDisp(Here(member.line));
    }
    // A method called as a statement (Visual Basic's "obj.Method args"): only
    // the method flag is sent and a result is dropped.
    template <class... A>
    void call(Name member, A&&... args) const {
        invoke(idOf(member), DISPATCH_METHOD, pack(std::forward<A>(args)...), member.line);
    }
    // What a call that does not raise answers: the HRESULT, the result, and
    // for a failure the Error the raising call would have raised.
    struct Outcome {
        HRESULT hr = S_OK;
        Variant value;
        Error error{0, std::wstring(), 0};
        explicit operator bool() const noexcept { return SUCCEEDED(hr); }
    };
    // A method called by name as a caller outside Visual Basic calls it (a
    // host calling its add-in, Office calling a ribbon callback): the failure
    // comes back in the outcome, with the EXCEPINFO's texts copied and freed.
    template <class... A>
    Outcome tryCall(const wchar_t* member, A&&... args) const {
        return tryInvoke(member, pack(std::forward<A>(args)...));
    }
    // The default member's value (Visual Basic's "x = obj").
    Variant defaultValue(Here w = {}) const { return invoke(DISPID_VALUE, DISPATCH_PROPERTYGET, {}, w.line); }
    // Property let.
    void put(Name member, Variant value) const;
    // Property let of an indexed property (Visual Basic's "obj.Option(6) = False").
    void putAt(Name member, Variant index, Variant value) const;
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
    // An argument as it travels: a value owned here (moved in when the
    // caller hands over an rvalue) or the caller's own Variant by reference.
    struct Arg {
        Variant value;
        Variant* byRef = nullptr;
    };
    template <class... A>
    static std::vector<Arg> pack(A&&... args) {
        std::vector<Arg> v;
        v.reserve(sizeof...(A));
        (v.push_back(toArg(std::forward<A>(args))), ...);
        return v;
    }
    static Arg toArg(const ByRef& r) { Arg a; a.byRef = r.target; return a; }
    static Arg toArg(const Missing&) { Arg a; a.value = Variant::missing(); return a; }
    static Arg toArg(Variant&& v) { Arg a; a.value = std::move(v); return a; }
    static Arg toArg(Variant& v) { Arg a; a.value = v; return a; }
    static Arg toArg(const Variant& v) { Arg a; a.value = v; return a; }
    template <class T>
    static Arg toArg(const T& v) { Arg a; a.value = Variant(v); return a; }

    // The member's number; raises (at the call site's line) when the object
    // is Nothing or has no such member.
    DISPID idOf(const Name& member) const;
    // The one Invoke of the toolkit: arguments in declaration order, the
    // value of a property put as its last.
    Variant invoke(DISPID id, WORD flags, std::vector<Arg> args, int line) const;
    // The call itself, answering the HRESULT; ei is the callee's EXCEPINFO.
    HRESULT invokeRaw(DISPID id, WORD flags, std::vector<Arg>& args, Variant& result, EXCEPINFO& ei) const;
    Outcome tryInvoke(const wchar_t* member, std::vector<Arg> args) const;

    ComPtr<IDispatch> p_;
};

// A member looked up by name on first use and then called by its number, for
// loops that make thousands of calls on objects of one kind (the look-up
// would be most of their cost). A failure reports the line where the member
// was declared; an object without the member fails as a call by name would.
class Disp::Member {
public:
    explicit Member(Name name) noexcept : name_(name) {}
    template <class... A>
    Variant get(const Disp& obj, A&&... args) {
        if (id_ == DISPID_UNKNOWN) id_ = obj.idOf(name_);
        else if (!obj) obj.idOf(name_);  // raises Object variable not set
        return obj.invoke(id_, DISPATCH_PROPERTYGET | DISPATCH_METHOD, pack(std::forward<A>(args)...), name_.line);
    }

private:
    Name name_;
    DISPID id_ = DISPID_UNKNOWN;
};

// Object creation by ProgID goes through one replaceable function, so tests can
// make a component fail or stand in for one the machine lacks. The default
// creates the registered class (CLSIDFromProgID + CoCreateInstance).
using CreateHook = std::function<HRESULT(const wchar_t* progId, IDispatch** out)>;
HRESULT createByProgId(const wchar_t* progId, IDispatch** out);
void setCreateHook(CreateHook hook);  // an empty hook restores the default

}  // namespace qbx
