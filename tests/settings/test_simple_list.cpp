// The simple list: its stored string form to the byte, case-insensitive
// uniqueness keeping the first spelling, the conversions to and from arrays,
// record sets and real Win32 combo and list boxes.
#include <doctest/doctest.h>

#include "settings/cListControl.h"
#include "settings/cSimpleList.h"
#include "support/dispatch_object.h"
#include "support/modErroHandling.h"
#include "tests/settings/settings_fixture.h"
#include "tests/test_support.h"

#include <map>

using qbx::Args;
using qbx::Variant;
using settingstest::Fixture;

namespace {

using Strings = std::vector<std::wstring>;
const std::wstring CRLF = L"\r\n";

qbx::Variant variantArray(const std::vector<Variant>& values) {
    qbx::SafeArray a = qbx::SafeArray::variants(static_cast<long>(values.size()));
    VARIANT* cells = nullptr;
    SafeArrayAccessData(a.get(), reinterpret_cast<void**>(&cells));
    for (size_t i = 0; i < values.size(); ++i) VariantCopy(&cells[i], const_cast<VARIANT*>(&values[i].raw()));
    SafeArrayUnaccessData(a.get());
    return std::move(a).toVariant(VT_VARIANT);
}

// A record set with one text field, as the list code reaches it late-bound:
// EOF, MoveNext, MoveFirst, Fields(0).Value / .Name, AddNew, Update,
// RecordCount, Find (criterion "<name> = '<value>'"), Delete.
class TestRecordSet final : public qbx::DispatchObject {
public:
    class Field final : public qbx::DispatchObject {
    public:
        explicit Field(TestRecordSet& rs) : DispatchObject(L"Field") {
            property(L"Name", [&rs](Args&) { return Variant(rs.fieldName); });
            property(
                L"Value", [&rs](Args&) { return Variant(rs.current()); },
                [&rs](Args&, const Variant& v) { rs.current() = v.toString(); });
        }
    };
    class Fields final : public qbx::DispatchObject {
    public:
        explicit Fields(TestRecordSet& rs) : DispatchObject(L"Fields") {
            DISPID id = method(L"Item", [&rs](Args& a) {
                if (a.i32(0) != 0) qbx::raise(3265, L"Item cannot be found in the collection");
                auto f = qbx::makeObject<Field>(rs);
                return Variant(static_cast<IDispatch*>(f.get()));
            });
            setDefaultMember(id);
        }
    };

    TestRecordSet(Strings r, std::wstring name = L"URL") : DispatchObject(L"Recordset"), rows(std::move(r)),
                                                            fieldName(std::move(name)) {
        property(L"EOF", [this](Args&) { return Variant(pos >= rows.size()); });
        property(L"RecordCount", [this](Args&) { return Variant(static_cast<long>(rows.size())); });
        method(L"MoveNext", [this](Args&) {
            if (pos >= rows.size()) noCurrentRecord();
            ++pos;
            return Variant();
        });
        method(L"MoveFirst", [this](Args&) {
            if (rows.empty()) noCurrentRecord();
            pos = 0;
            return Variant();
        });
        property(L"Fields", [this](Args&) {
            auto f = qbx::makeObject<Fields>(*this);
            return Variant(static_cast<IDispatch*>(f.get()));
        });
        method(L"AddNew", [this](Args&) {
            rows.emplace_back();
            pos = rows.size() - 1;
            log += L"AddNew;";
            return Variant();
        });
        method(L"Update", [this](Args&) {
            log += L"Update;";
            return Variant();
        });
        method(L"Delete", [this](Args&) {
            log += L"Delete " + current() + L";";
            rows.erase(rows.begin() + static_cast<long>(pos));
            return Variant();
        });
        method(L"Find", [this](Args& a) {
            std::wstring c = a.str(0);
            const std::wstring head = fieldName + L" = '";
            if (c.compare(0, head.size(), head) != 0 || c.size() < head.size() + 1 || c.back() != L'\'')
                qbx::raise(3001, L"Arguments are of the wrong type, are out of acceptable range, or are in conflict");
            std::wstring value = c.substr(head.size(), c.size() - head.size() - 1);
            if (value.find(L'\'') != std::wstring::npos)
                qbx::raise(3001, L"Arguments are of the wrong type, are out of acceptable range, or are in conflict");
            while (pos < rows.size() && !qbx::textEquals(rows[pos], value)) ++pos;
            return Variant();
        });
    }

    std::wstring& current() {
        if (pos >= rows.size()) noCurrentRecord();
        return rows[pos];
    }
    [[noreturn]] static void noCurrentRecord() {
        qbx::raise(3021, L"Either BOF or EOF is True, or the current record has been deleted.");
    }

    Strings rows;
    std::wstring fieldName;
    size_t pos = 0;
    std::wstring log;
};

// Hidden Win32 controls on a hidden parent window.
class Controls {
public:
    Controls() {
        parent_ = CreateWindowExW(0, L"STATIC", L"list test", WS_OVERLAPPEDWINDOW, 0, 0, 300, 300, nullptr, nullptr,
                                  GetModuleHandleW(nullptr), nullptr);
        REQUIRE(parent_);
    }
    ~Controls() { DestroyWindow(parent_); }
    HWND make(const wchar_t* cls, DWORD style) {
        HWND h = CreateWindowExW(0, cls, L"", WS_CHILD | WS_VSCROLL | style, 0, 0, 200, 200, parent_, nullptr,
                                 GetModuleHandleW(nullptr), nullptr);
        REQUIRE(h);
        return h;
    }

private:
    HWND parent_ = nullptr;
};

Strings entries(const cListControl& c) {
    Strings s;
    for (long i = 0; i < c.ListCount(); ++i) s.push_back(c.List(i));
    return s;
}

// A dictionary stand-in that refuses its n-th Add, to break a list half-way.
class BrittleDictionary final : public qbx::DispatchObject {
public:
    explicit BrittleDictionary(int failAt) : DispatchObject(L"Dictionary"), failAt_(failAt) {
        property(L"CompareMode", [](Args&) { return Variant(1L); }, [](Args&, const Variant&) {});
        method(L"Exists", [this](Args& a) {
            for (auto& k : keys_)
                if (qbx::textEquals(k, a.str(0))) return Variant(true);
            return Variant(false);
        });
        method(L"Add", [this](Args& a) {
            if (++adds_ == failAt_) qbx::raise(7, L"Out of memory");
            keys_.push_back(a.str(0));
            return Variant();
        });
        property(L"Count", [this](Args&) { return Variant(static_cast<long>(keys_.size())); });
        method(L"Items", [this](Args&) {
            std::vector<Variant> v(keys_.begin(), keys_.end());
            return variantArray(v);
        });
    }

private:
    int failAt_;
    int adds_ = 0;
    Strings keys_;
};

}  // namespace

TEST_CASE_FIXTURE(Fixture, "the stored string form") {
    cSimpleList list;
    SUBCASE("the empty list and the empty string") {
        CHECK(list.ToString() == L"");
        list.FromString(L"");
        CHECK(list.Count() == 0);
    }
    SUBCASE("empty pieces are dropped and nothing follows the last item") {
        list.FromString(L"a" + CRLF + CRLF + L"b" + CRLF);
        CHECK(list.Items() == Strings{L"a", L"b"});
        CHECK(list.ToString() == L"a" + CRLF + L"b");
    }
    SUBCASE("spaces survive between items and are trimmed at the ends only") {
        list.FromString(L" first " + CRLF + L"  mid  " + CRLF + L" last ");
        CHECK(list.Items() == Strings{L" first ", L"  mid  ", L" last "});  // reading keeps them
        const std::wstring stored = list.ToString();
        CHECK(stored == L"first " + CRLF + L"  mid  " + CRLF + L" last");
        list.FromString(stored);
        CHECK(list.Items() == Strings{L"first ", L"  mid  ", L" last"});
    }
    SUBCASE("only spaces are trimmed; tabs, lone CR and lone LF stay") {
        list.FromString(L"\ta\nb" + CRLF + L"c\r");
        CHECK(list.Items() == Strings{L"\ta\nb", L"c\r"});
        CHECK(list.ToString() == L"\ta\nb" + CRLF + L"c\r");
    }
    SUBCASE("letter case: one entry, the first spelling kept, order of first appearance") {
        list.FromString(L"http://X/Docs" + CRLF + L"b" + CRLF + L"http://x/docs" + CRLF + L"B" + CRLF + L"c");
        CHECK(list.Items() == Strings{L"http://X/Docs", L"b", L"c"});
        CHECK(list.Exists(L"HTTP://X/DOCS"));
    }
    SUBCASE("an item holding CR LF splits in two on reading") {
        list.FromArray(variantArray({Variant(L"a" + CRLF + L"b")}));
        CHECK(list.Count() == 1);
        list.FromString(list.ToString());
        CHECK(list.Items() == Strings{L"a", L"b"});
    }
    SUBCASE("every From... replaces the whole content") {
        list.FromString(L"a" + CRLF + L"b");
        list.FromString(L"c");
        CHECK(list.Items() == Strings{L"c"});
        list.FromArray(variantArray({Variant(L"d")}));
        CHECK(list.Items() == Strings{L"d"});
    }
}

TEST_CASE_FIXTURE(Fixture, "a failure while reading the string form keeps what was read and is reported") {
    int created = 0;
    qbx::setCreateHook([&](const wchar_t* progId, IDispatch** out) -> HRESULT {
        if (std::wstring(progId) != L"Scripting.Dictionary") return qbx::createByProgId(progId, out);
        // The list's own dictionary works; the one FromString starts afresh refuses its third Add.
        auto d = qbx::makeObject<BrittleDictionary>(++created == 1 ? 0 : 3);
        *out = d.detach();
        return S_OK;
    });
    cSimpleList list;
    qbxtest::PromptRecorder prompts(IDNO);
    list.FromString(L"a" + CRLF + L"b" + CRLF + L"c" + CRLF + L"d");
    CHECK(list.Items() == Strings{L"a", L"b"});
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(strErrorReport.find(L"FromString ") != std::wstring::npos);
}

TEST_CASE_FIXTURE(Fixture, "arrays: in and out") {
    cSimpleList list;
    SUBCASE("FromArray keeps array order, drops case duplicates, keeps empty strings") {
        list.FromArray(variantArray({Variant(L"b"), Variant(L""), Variant(L"B"), Variant(L"a"), Variant(L"")}));
        CHECK(list.Items() == Strings{L"b", L"", L"a"});
    }
    SUBCASE("ToArray is rows x 1 of strings, and reads back through FromArray") {
        list.FromString(L"one" + CRLF + L"two" + CRLF + L"three");
        Variant v = list.ToArray();
        REQUIRE(v.type() == (VT_ARRAY | VT_BSTR));
        SAFEARRAY* a = v.raw().parray;
        REQUIRE(SafeArrayGetDim(a) == 2);
        LONG lo = -1, hi = -1;
        SafeArrayGetLBound(a, 1, &lo);
        SafeArrayGetUBound(a, 1, &hi);
        CHECK(lo == 0);
        CHECK(hi == 2);
        SafeArrayGetLBound(a, 2, &lo);
        SafeArrayGetUBound(a, 2, &hi);
        CHECK(lo == 0);
        CHECK(hi == 0);
        for (LONG r = 0; r < 3; ++r) {
            LONG idx[2] = {r, 0};
            BSTR cell = nullptr;
            REQUIRE(SUCCEEDED(SafeArrayGetElement(a, idx, &cell)));
            CHECK(qbx::Bstr::attach(cell).str() == list.Items()[static_cast<size_t>(r)]);
        }
        cSimpleList back;
        back.FromArray(v);
        CHECK(back.Items() == list.Items());
    }
    SUBCASE("ToArray of an empty list raises; so does FromArray of a non-array") {
        CHECK_THROWS_AS(list.ToArray(), qbx::Error);
        CHECK_THROWS_AS(list.FromArray(Variant(L"not an array")), qbx::Error);
    }
}

TEST_CASE_FIXTURE(Fixture, "RandomItem draws every position and nothing else") {
    cSimpleList list;
    list.FromString(L"a" + CRLF + L"b" + CRLF + L"c" + CRLF + L"d");
    std::map<std::wstring, int> seen;
    for (int i = 0; i < 2000; ++i) ++seen[list.RandomItem().toString()];
    CHECK(seen.size() == 4);
    for (auto& [item, n] : seen) CHECK_MESSAGE(n > 350, qbxtest::narrow(item) << " drawn " << n << " times");
    cSimpleList empty;
    CHECK_THROWS_AS(empty.RandomItem(), qbx::Error);
}

TEST_CASE_FIXTURE(Fixture, "record sets") {
    cSimpleList list;
    SUBCASE("FromRS reads from the current record to the end, first spelling kept") {
        auto rs = qbx::makeObject<TestRecordSet>(Strings{L"skipped", L"a", L"B", L"A", L"b", L"c"});
        rs->pos = 1;
        qbx::Disp d(rs.get());
        list.FromRS(d);
        CHECK(list.Items() == Strings{L"a", L"B", L"c"});
        CHECK(rs->pos == rs->rows.size());
        qbx::Disp none;
        list.FromRS(none);
        CHECK(list.Count() == 0);
    }
    SUBCASE("ToRS adds the missing items and deletes the ones the list lacks") {
        auto rs = qbx::makeObject<TestRecordSet>(Strings{L"a", L"old", L"B", L"gone"});
        rs->pos = 4;  // at its end
        qbx::Disp d(rs.get());
        list.FromString(L"A" + CRLF + L"b" + CRLF + L"new");
        list.ToRS(d);
        CHECK(rs->rows == Strings{L"a", L"B", L"new"});
        CHECK(rs->log == L"AddNew;Update;Delete old;Delete gone;");
    }
    SUBCASE("ToRS fills an empty record set") {
        auto rs = qbx::makeObject<TestRecordSet>(Strings{});
        qbx::Disp d(rs.get());
        list.FromString(L"x" + CRLF + L"y");
        list.ToRS(d);
        CHECK(rs->rows == Strings{L"x", L"y"});
    }
    SUBCASE("a quote in a value to delete makes the unescaped Find fail") {
        auto rs = qbx::makeObject<TestRecordSet>(Strings{L"keep", L"O'Brien's docs"});
        qbx::Disp d(rs.get());
        list.FromString(L"keep");
        CHECK_THROWS_AS(list.ToRS(d), qbx::Error);
        CHECK(rs->rows.size() == 2);
    }
}

TEST_CASE_FIXTURE(Fixture, "combo and list boxes") {
    Controls controls;
    cSimpleList list;
    list.FromString(L"a" + CRLF + L"   " + CRLF + L" spaced " + CRLF + L"b");

    SUBCASE("the text the control showed wins over the caller's choice") {
        cListControl combo(controls.make(L"COMBOBOX", CBS_DROPDOWNLIST));
        combo.AddItem(L"a");
        combo.AddItem(L"b");
        combo.setText(L"b");
        std::wstring choice = L"a";
        list.AddToComboOrList(combo, choice);
        CHECK(choice == L"b");
        CHECK(combo.Text() == L"b");
        // Blank items are left out; the others go in untrimmed.
        CHECK(entries(combo) == Strings{L"a", L" spaced ", L"b"});
    }
    SUBCASE("a drop-down list selects the caller's entry; one it lacks leaves no selection") {
        cListControl combo(controls.make(L"COMBOBOX", CBS_DROPDOWNLIST));
        std::wstring choice = L" spaced ";
        list.AddToComboOrList(combo, choice);
        CHECK(combo.ListIndex() == 1);
        choice = L"elsewhere";
        combo.setListIndex(-1);
        list.AddToComboOrList(combo, choice);
        CHECK(combo.ListIndex() == -1);
        CHECK(choice == L"elsewhere");
        CHECK_THROWS_AS(combo.setText(L"elsewhere"), qbx::Error);
    }
    SUBCASE("an editable combo keeps typed text that is no entry") {
        cListControl combo(controls.make(L"COMBOBOX", CBS_DROPDOWN));
        combo.setText(L"http://typed/lib");
        std::wstring choice = L"a";
        list.AddToComboOrList(combo, choice);
        CHECK(choice == L"http://typed/lib");
        CHECK(combo.Text() == L"http://typed/lib");
        CHECK(combo.ListIndex() == -1);
    }
    SUBCASE("a list box refuses text: the exact entry is found by index") {
        cListControl box(controls.make(L"LISTBOX", LBS_NOTIFY));
        std::wstring choice = L"b";
        list.AddToComboOrList(box, choice);
        CHECK(box.ListIndex() == 2);
        CHECK(box.Text() == L"b");
        // The list box now shows b, which wins the next time.
        choice = L"a";
        list.AddToComboOrList(box, choice);
        CHECK(choice == L"b");
        CHECK(box.ListIndex() == 2);
        // The index search compares exactly.
        box.setListIndex(-1);
        choice = L"A";
        list.AddToComboOrList(box, choice);
        CHECK(box.ListIndex() == -1);
    }
    SUBCASE("an empty choice leaves no selection") {
        cListControl box(controls.make(L"LISTBOX", 0));
        std::wstring choice;
        list.AddToComboOrList(box, choice);
        CHECK(box.ListIndex() == -1);
        CHECK(box.ListCount() == 3);
    }
    SUBCASE("FromComboOrList reads the entries in order, case duplicates once") {
        cListControl box(controls.make(L"LISTBOX", 0));
        for (const wchar_t* s : {L"x", L"Y", L"X", L"y", L"z"}) box.AddItem(s);
        list.FromComboOrList(box);
        CHECK(list.Items() == Strings{L"x", L"Y", L"z"});
        CHECK(box.List(5) == L"");  // one past the end reads as empty text
    }
}
