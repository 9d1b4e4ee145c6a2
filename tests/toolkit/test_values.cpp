// The value owners: Variant's conversions and byte arrays.
#include <doctest/doctest.h>

#include "support/com/values.h"

using qbx::Variant;

TEST_CASE("Variant conversions follow Visual Basic's rules") {
    CHECK(Variant(true).toString() == L"True");
    CHECK(Variant(L"True").toBool());
    CHECK(Variant(L"0").toBool() == false);
    CHECK(Variant(L"12").toLong() == 12);
    CHECK(Variant(L"12").isNumeric());
    CHECK_FALSE(Variant(L"twelve").isNumeric());
    CHECK(Variant().isNumeric());  // IsNumeric(Empty) is True
    CHECK_FALSE(Variant(L"twelve").isDate());
    CHECK(Variant::date(45000.5).isDate());
    CHECK(Variant().toString().empty());
    CHECK_THROWS_AS(Variant(L"twelve").toLong(), qbx::Error);
    try {
        Variant(L"x").toBool();
    } catch (const qbx::Error& e) {
        CHECK(e.number() == 13);
    }
    CHECK(Variant::nothing().isNothing());
    CHECK_FALSE(Variant(1).isNothing());
}

TEST_CASE("byte arrays round-trip through a SAFEARRAY, zero bytes included") {
    const unsigned char data[] = {0x00, 0xFF, 0x00, 0x41};
    Variant v = qbx::SafeArray::bytes(data, sizeof data).toVariant(VT_UI1);
    CHECK(v.type() == (VT_ARRAY | VT_UI1));
    CHECK(qbx::bytesOf(v) == std::vector<unsigned char>(data, data + sizeof data));
    Variant empty = qbx::SafeArray::bytes(nullptr, 0).toVariant(VT_UI1);
    CHECK(qbx::bytesOf(empty).empty());
}


TEST_CASE("an array's data is held for the scope and let go once; an array that can't be held raises") {
    qbx::SafeArray array = qbx::SafeArray::bytes("abc", 3);
    SAFEARRAY* a = array.get();
    SUBCASE("held inside, let go after, also when the scope ends by a failure") {
        {
            qbx::ArrayData<char> data(a);
            CHECK(data[1] == 'b');
            CHECK(a->cLocks == 1);
            CHECK(SafeArrayDestroy(a) == DISP_E_ARRAYISLOCKED);
        }
        CHECK(a->cLocks == 0);
        try {
            qbx::ArrayData<char> data(a);
            qbx::raiseVb(qbx::vbErrOutOfMemory);
        } catch (const qbx::Error&) {
        }
        CHECK(a->cLocks == 0);
    }
    SUBCASE("a hold of someone else's stays") {
        REQUIRE(SUCCEEDED(SafeArrayLock(a)));
        { qbx::ArrayData<char> data(a); }
        CHECK(a->cLocks == 1);
        SafeArrayUnlock(a);
    }
    SUBCASE("no array: the failed access raises and nothing is let go") {
        CHECK_THROWS_AS(qbx::ArrayData<char>(nullptr), qbx::Error);
        CHECK(a->cLocks == 0);
    }
}
