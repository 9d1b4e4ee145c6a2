// Late binding: calls by name against an object of our own, reference
// balance, by-reference, omitted and moved arguments, cached members.
#include <doctest/doctest.h>

#include "support/com/disp.h"
#include "tests/toolkit/sample_object.h"

using qbx::Disp;
using qbx::Variant;
using toolkittest::Sample;

TEST_CASE("late-bound calls by name reach members case-insensitively and keep references balanced") {
    auto obj = qbx::makeObject<Sample>();
    {
        Disp d(obj.get());
        CHECK(obj->refCount() == 2);
        d.put(L"subject", L"Quarterly report");
        CHECK(d.get(L"SUBJECT").toString() == L"Quarterly report");

        CHECK(d.get(L"Add", L"first").toLong() == 1);
        CHECK_FALSE(obj->lastOptionalPresent);  // not passed at all
        d.get(L"Add", L"second", qbx::missing);
        CHECK_FALSE(obj->lastOptionalPresent);  // passed as omitted
        d.get(L"Add", Variant(3), 7);
        CHECK(obj->lastOptionalPresent);

        CHECK(d.get(L"Item", 2).toString() == L"second");
    }
    CHECK(obj->refCount() == 1);
}

TEST_CASE("collections: Item by index, default member, _NewEnum walk in order") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    d.call(L"Add", L"a");
    d.call(L"Add", L"b");
    d.call(L"Add", L"c");
    CHECK(d.get(L"Item", 3).toString() == L"c");
    std::vector<std::wstring> seen;
    d.forEach([&](const Variant& v) { seen.push_back(v.toString()); });
    CHECK(seen == std::vector<std::wstring>{L"a", L"b", L"c"});
    // An object returned by a member comes back as the same COM identity.
    Disp self = d.getObj(L"Self");
    CHECK(self.sameAs(d));
}

TEST_CASE("a by-reference argument is written back to the caller's variable") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    Variant v(21);
    d.call(L"Double", qbx::ByRef(v));
    CHECK(v.toLong() == 42);
}


TEST_CASE("a value is read with both dispatch flags, a statement call sends the method flag only") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    d.call(L"Add", L"a");
    CHECK(obj->lastFlags == DISPATCH_METHOD);
    d.get(L"Item", 1);
    CHECK(obj->lastFlags == (DISPATCH_METHOD | DISPATCH_PROPERTYGET));
    d.put(L"Subject", L"x");
    CHECK(obj->lastFlags == DISPATCH_PROPERTYPUT);
}

TEST_CASE("a call that does not raise answers the HRESULT, the result and the error a raising call would carry") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    auto added = d.tryCall(L"Add", L"a");
    CHECK(added.hr == S_OK);
    CHECK(added.value.toLong() == 1);
    CHECK(obj->lastFlags == DISPATCH_METHOD);
    Variant v(21);
    CHECK(d.tryCall(L"Double", qbx::ByRef(v)));
    CHECK(v.toLong() == 42);

    auto failed = d.tryCall(L"Fail");
    CHECK(failed.hr == DISP_E_EXCEPTION);
    CHECK(failed.error.number() == -2147467259);
    CHECK(failed.error.description() == L"The operation failed.");
    auto unknown = d.tryCall(L"NoSuchMember");
    CHECK(unknown.hr == DISP_E_UNKNOWNNAME);
    CHECK(unknown.error.number() == qbx::vbErrNoMember);
    CHECK_FALSE(Disp().tryCall(L"Add"));
}

TEST_CASE("an argument moved into a call reaches the callee without a copy") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    Variant big(std::wstring(1 << 20, L'x'));
    const BSTR original = big.raw().bstrVal;
    d.call(L"Take", big);  // an lvalue is copied: the callee sees another string
    CHECK(obj->taken != original);
    d.call(L"Take", std::move(big));
    CHECK(obj->taken == original);
    CHECK(big.isEmpty());
}

TEST_CASE("a cached member is looked up once and fails as a call by name would") {
    auto obj = qbx::makeObject<Sample>();
    Disp d(obj.get());
    d.call(L"Add", L"a");
    d.call(L"Add", L"b");
    const int before = obj->lookups;
    Disp::Member item(L"Item");
    CHECK(item.get(d, 1).toString() == L"a");
    CHECK(item.get(d, 2).toString() == L"b");
    CHECK(obj->lookups == before + 1);

    int line = __LINE__ + 1;
    Disp::Member missingMember(L"NoSuchMember");
    try {
        missingMember.get(d);
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == qbx::vbErrNoMember);
        CHECK(e.line() == line);
    }
    try {
        item.get(Disp());
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == qbx::vbErrObjectNotSet);
    }
    CHECK_FALSE(d.hasMember(L"NoSuchMember"));
    CHECK(d.hasMember(L"item"));
}
