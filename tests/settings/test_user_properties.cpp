// Reading and writing user properties: the Outlook type a new property gets
// for each type code, the coercions on the way in and out, the defaults of a
// missing property, and that reading never reports while writing does.
#include <doctest/doctest.h>

#include "support/modErroHandling.h"
#include "support/modOutlookCode.h"
#include "testbed/outlook/emulator.h"
#include "tests/settings/settings_fixture.h"
#include "tests/test_support.h"

#include <memory>

using qbx::Variant;

namespace {

struct PostItem : settingstest::Fixture {
    PostItem() {
        qbx::Disp inbox = ol.nameSpace().getObj(L"GetDefaultFolder", 6L);
        item = inbox.getObj(L"Items").call(L"Add", L"IPM.Post").toDisp();
    }
    ~PostItem() { item.reset(); }
    emu::Item* model() const { return emu::ours<emu::Item>(Variant(item)); }
    // The property as Outlook holds it; null when there is none.
    emu::UserProperty* prop(const std::wstring& name) const { return model()->properties->find(name); }

    emu::Outlook ol;
    qbx::Disp item;
};

double dateOf(int y, int m, int d) {
    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(y);
    st.wMonth = static_cast<WORD>(m);
    st.wDay = static_cast<WORD>(d);
    double v = 0;
    SystemTimeToVariantTime(&st, &v);
    return v;
}

}  // namespace

TEST_CASE_FIXTURE(PostItem, "writing creates the property with the type code's Outlook type and coerces the value") {
    CHECK(subSetUserProperty(item, L"intCount", Variant(L"12"), VT_I2));
    CHECK(subSetUserProperty(item, L"intBad", Variant(L"twelve"), VT_I2));
    CHECK(subSetUserProperty(item, L"datWhen", Variant::date(dateOf(2024, 2, 29)), VT_DATE));
    CHECK(subSetUserProperty(item, L"datNot", Variant(L"soon"), VT_DATE));
    CHECK(subSetUserProperty(item, L"strText", Variant(42L), VT_BSTR));
    CHECK(subSetUserProperty(item, L"blnYes", Variant(L"True"), VT_BOOL));
    CHECK(subSetUserProperty(item, L"blnNo", Variant(0L), VT_BOOL));
    CHECK(subSetUserProperty(item, L"other", Variant(L"x"), VT_I4));  // not a handled code

    REQUIRE(prop(L"intCount"));
    CHECK(prop(L"intCount")->type == 3);
    CHECK(prop(L"intCount")->value.toDouble() == 12.0);
    CHECK(prop(L"intBad")->value.toDouble() == 0.0);  // not numeric: 0
    CHECK(prop(L"datWhen")->type == 5);
    CHECK(prop(L"datWhen")->value.toDate() == dateOf(2024, 2, 29));
    // Not a date: the new property is made but keeps its empty value.
    REQUIRE(prop(L"datNot"));
    CHECK(prop(L"datNot")->value.toDate() == emu::UserProperty::initialValue(5).toDate());
    CHECK(prop(L"strText")->type == 1);
    CHECK(prop(L"strText")->value.toString() == L"42");
    CHECK(prop(L"blnYes")->type == 6);
    CHECK(prop(L"blnYes")->value.toBool());
    CHECK_FALSE(prop(L"blnNo")->value.toBool());
    CHECK_FALSE(prop(L"other"));

    // An existing property is written in place, and the item is not saved.
    CHECK(subSetUserProperty(item, L"STRTEXT", Variant(L"again"), VT_BSTR));
    CHECK(prop(L"strText")->value.toString() == L"again");
    CHECK(model()->properties->list.size() == 7);
    CHECK_FALSE(model()->stored);
    // No item: nothing happens.
    CHECK(subSetUserProperty(qbx::Disp(), L"strText", Variant(L"x"), VT_BSTR));
}

TEST_CASE_FIXTURE(PostItem, "a failed write goes through the error report") {
    subSetUserProperty(item, L"strText", Variant(L"old"), VT_BSTR);
    ol.failNext(L"UserProperty.Value=", 1, emu::errors::kFailed, L"The operation failed.");
    qbxtest::PromptRecorder prompts(IDNO);
    CHECK_FALSE(subSetUserProperty(item, L"strText", Variant(L"new"), VT_BSTR));
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(strErrorReport.find(L"Writing the value of the Outlook property strText") != std::wstring::npos);
    CHECK(strErrorReport.find(L"subSetUserProperty ") != std::wstring::npos);
    CHECK(prop(L"strText")->value.toString() == L"old");
}

TEST_CASE_FIXTURE(PostItem, "a missing property reads as the default of its kind") {
    auto get = [&](short code, const Variant& def) { return fncGetUserProperty(item, L"missing", code, def); };
    // Text: the default as text.
    CHECK(get(VT_BSTR, Variant(L"")).toString() == L"");
    CHECK(get(VT_BSTR, Variant(L"fallback")).toString() == L"fallback");
    CHECK(get(VT_BSTR, Variant(5L)).toString() == L"5");
    // Integer: a numeric default as an integer, anything else 0.
    Variant n = get(VT_I2, Variant(L"7"));
    CHECK(n.type() == VT_I2);
    CHECK(n.toLong() == 7);
    CHECK(get(VT_I2, Variant(L"seven")).toLong() == 0);
    CHECK(get(VT_I2, Variant(0L)).toLong() == 0);
    // Date: always the zero date.
    Variant d = get(VT_DATE, Variant::date(dateOf(2020, 1, 1)));
    CHECK(d.type() == VT_DATE);
    CHECK(d.raw().date == 0.0);
    // Boolean: a numeric default converted; a non-numeric one leaves it empty.
    Variant b = get(VT_BOOL, Variant(false));
    CHECK(b.type() == VT_BOOL);
    CHECK_FALSE(b.toBool());
    CHECK(get(VT_BOOL, Variant(1L)).toBool());
    CHECK(get(VT_BOOL, Variant(L"yes")).isEmpty());
    CHECK(get(VT_BOOL, Variant(L"True")).isEmpty());
    // Other codes: nothing.
    CHECK(get(VT_I4, Variant(L"x")).isEmpty());
    CHECK(strCurrentAction == L"Reading the value of the Outlook property missing");
}

TEST_CASE_FIXTURE(PostItem, "an existing property reads coerced to the kind asked for") {
    auto add = [&](const wchar_t* name, long type, const Variant& v) {
        item.getObj(L"UserProperties").call(L"Add", name, type).toDisp().put(L"Value", v);
    };
    add(L"number", 3, Variant(12.7));
    add(L"text", 1, Variant(L"abc"));
    add(L"empty", 1, Variant(L""));
    add(L"date", 5, Variant::date(dateOf(2023, 7, 1)));
    add(L"flag", 6, Variant(true));
    auto get = [&](const wchar_t* name, short code, const Variant& def = Variant()) {
        return fncGetUserProperty(item, name, code, def);
    };
    CHECK(get(L"number", VT_I2).toLong() == 13);
    CHECK(get(L"number", VT_I2).type() == VT_I2);
    CHECK(get(L"text", VT_I2).toLong() == 0);
    CHECK(get(L"date", VT_DATE).raw().date == dateOf(2023, 7, 1));
    CHECK(get(L"text", VT_DATE).raw().date == 0.0);
    CHECK(get(L"text", VT_BSTR, Variant(L"fallback")).toString() == L"abc");
    CHECK(get(L"empty", VT_BSTR, Variant(L"fallback")).toString() == L"fallback");  // empty text takes the default
    CHECK(get(L"empty", VT_BSTR, Variant(L"")).toString() == L"");
    CHECK(get(L"flag", VT_BSTR).toString() == L"True");
    CHECK(get(L"flag", VT_BOOL).toBool());
    CHECK(get(L"number", VT_BOOL).toBool());
    CHECK(get(L"text", VT_BOOL).isEmpty());  // not a Boolean: the failed step leaves it empty
}

TEST_CASE_FIXTURE(PostItem, "reading never reports: a failing step leaves the result as it stands") {
    subSetUserProperty(item, L"strText", Variant(L"stored"), VT_BSTR);
    ol.failNext(L"UserProperty.Value", 1, emu::errors::kFailed, L"The operation failed.");
    CHECK(fncGetUserProperty(item, L"strText", VT_BSTR, Variant(L"fallback")).isEmpty());
    ol.failNext(L"UserProperties.Find", 1, emu::errors::kFailed, L"The operation failed.");
    CHECK(fncGetUserProperty(item, L"strText", VT_BSTR, Variant(L"fallback")).toString() == L"fallback");
    // No item reads as a missing property.
    CHECK(fncGetUserProperty(qbx::Disp(), L"strText", VT_BOOL, Variant(false)).type() == VT_BOOL);
    CHECK_FALSE(blnErrorOccurred);  // the prompt guard fails the test on any prompt as well
}
