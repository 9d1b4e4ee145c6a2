// Members shared by every object of a class: one table built once, each call
// reaching the object it was made on, with the hooks that filter names and
// stop calls.
#include <doctest/doctest.h>

#include "support/com/disp.h"
#include "support/com/dispatch_object.h"
#include "tests/test_support.h"

#include <set>

using qbx::Args;
using qbx::Disp;
using qbx::Variant;

namespace {

// A counter whose members live in one table for the class; names put on the
// hidden list are unknown, those on the stopped list fail with the number
// given, and every member call is counted by name.
class Counter final : public qbx::DispatchObject {
public:
    explicit Counter(long start) : DispatchObject(L"Counter", members()), value(start) {}
    long value;
    std::set<std::wstring> hidden;
    HRESULT stopWith = S_OK;
    std::wstring lastMember;

    static const qbx::MemberTable& members() {
        static const qbx::MemberTable table = [] {
            qbx::MemberTable m;
            DISPID v = m.member<Counter>(L"Value", [](Counter& c, Args&) { return Variant(c.value); },
                                         [](Counter& c, Args&, const Variant& x) { c.value = x.toLong(); });
            m.setDefaultMember(v);
            m.member<Counter>(L"Add", [](Counter& c, Args& a) {
                c.value += a.has(0) ? a.i32(0) : 1;
                return Variant(c.value);
            });
            m.member<Counter>(L"Fail", [](Counter&, Args&) -> Variant { qbx::raise(5, L"Not now"); });
            return m;
        }();
        return table;
    }

protected:
    bool answersName(const std::wstring& name) const override { return hidden.count(name) == 0; }
    HRESULT beforeMember(const std::wstring& name, DISPID, WORD) override {
        lastMember = name;
        if (stopWith == E_ABORT) qbx::raise(1004, L"Stopped before " + name);
        return stopWith;
    }
};

using qbxtest::errorOf;

// The HRESULT of a call by DISPID, and its exception's number.
HRESULT invokeId(IDispatch* d, DISPID id, WORD flags, EXCEPINFO& info) {
    DISPPARAMS none{};
    VARIANT result;
    VariantInit(&result);
    info = EXCEPINFO{};
    HRESULT hr = d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &none, &result, &info, nullptr);
    VariantClear(&result);
    return hr;
}

}  // namespace

TEST_CASE("class-shared members: each call reaches its own object, names filtered and calls stopped by the hooks") {
    auto a = qbx::makeObject<Counter>(10);
    auto b = qbx::makeObject<Counter>(100);
    Disp da(a.get()), db(b.get());

    SUBCASE("one table, separate objects; default member, put and case-insensitive names") {
        CHECK(da.get(L"add", 5).toLong() == 15);
        CHECK(db.get(L"ADD").toLong() == 101);
        db.put(L"value", 7);
        CHECK(a->value == 15);
        CHECK(b->value == 7);
        DISPID ida = DISPID_UNKNOWN, idb = DISPID_UNKNOWN;
        LPOLESTR name = const_cast<LPOLESTR>(L"Value");
        REQUIRE(a->GetIDsOfNames(IID_NULL, &name, 1, 0, &ida) == S_OK);
        REQUIRE(b->GetIDsOfNames(IID_NULL, &name, 1, 0, &idb) == S_OK);
        CHECK(ida == idb);
        EXCEPINFO info{};
        CHECK(invokeId(a.get(), DISPID_VALUE, DISPATCH_PROPERTYGET, info) == S_OK);
        CHECK(a->lastMember == L"Value");  // the hook sees the registered name of the default member
        CHECK(errorOf([&] { da.get(L"Nothing"); }) == qbx::vbErrNoMember);
    }
    SUBCASE("a refused name is unknown to one object only, and a call by its DISPID still passes the hook") {
        a->hidden.insert(L"Add");
        CHECK(errorOf([&] { da.get(L"Add"); }) == qbx::vbErrNoMember);
        CHECK(db.get(L"Add").toLong() == 101);
        DISPID ids[2] = {0, 0};
        LPOLESTR names[2] = {const_cast<LPOLESTR>(L"Add"), const_cast<LPOLESTR>(L"x")};
        CHECK(a->GetIDsOfNames(IID_NULL, names, 2, 0, ids) == DISP_E_UNKNOWNNAME);
        CHECK(ids[0] == DISPID_UNKNOWN);
        CHECK(ids[1] == DISPID_UNKNOWN);
        LPOLESTR none = nullptr;
        CHECK(a->GetIDsOfNames(IID_NULL, &none, 1, 0, ids) == E_INVALIDARG);
    }
    SUBCASE("the hook's failure or Error is the answer, and the member does not run") {
        a->stopWith = DISP_E_MEMBERNOTFOUND;
        CHECK(errorOf([&] { da.get(L"Add"); }) == qbx::vbErrNoMember);
        CHECK(a->value == 10);
        a->stopWith = E_ABORT;
        DISPID id = DISPID_UNKNOWN;
        LPOLESTR name = const_cast<LPOLESTR>(L"Add");
        REQUIRE(a->GetIDsOfNames(IID_NULL, &name, 1, 0, &id) == S_OK);
        EXCEPINFO info{};
        CHECK(invokeId(a.get(), id, DISPATCH_METHOD, info) == DISP_E_EXCEPTION);
        CHECK(std::wstring(info.bstrDescription) == L"Stopped before Add");
        CHECK(std::wstring(info.bstrSource) == L"Counter");
        SysFreeString(info.bstrDescription);
        SysFreeString(info.bstrSource);
        CHECK(a->value == 10);
        a->stopWith = S_OK;
        CHECK(errorOf([&] { da.get(L"Fail"); }) == 5);  // a member's own Error still reaches the caller
    }
}
