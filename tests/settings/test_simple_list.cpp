// The simple list: its stored string form to the byte, case-insensitive
// uniqueness keeping the first spelling, arrays, record sets, and real Win32
// combo and list boxes.
#include <doctest/doctest.h>

#include "settings/cListControl.h"
#include "settings/cSimpleList.h"
#include "support/com/dispatch_object.h"
#include "tests/settings/settings_fixture.h"

#include <map>

using qbx::Args;
using qbx::Variant;
using settingstest::Fixture;
using settingstest::Strings;

namespace {

Strings read(const std::wstring& text) {
    cSimpleList list;
    list.FromString(text);
    return list.Items();
}

Variant array(const Strings& values) {
    qbx::SafeArray a = qbx::SafeArray::variants(static_cast<long>(values.size()));
    for (LONG i = 0; i < static_cast<LONG>(values.size()); ++i) {
        Variant v(values[static_cast<size_t>(i)]);
        SafeArrayPutElement(a.get(), &i, v.ptr());
    }
    return std::move(a).toVariant(VT_VARIANT);
}

// A record set with one text field "URL", with the members the list uses.
class RecordSet final : public qbx::DispatchObject {
public:
    explicit RecordSet(Strings r) : DispatchObject(L"Recordset"), rows(std::move(r)) {
        property(L"EOF", [this](Args&) { return Variant(pos >= rows.size()); });
        property(L"RecordCount", [this](Args&) { return Variant(static_cast<long>(rows.size())); });
        method(L"MoveNext", [this](Args&) { return current(), ++pos, Variant(); });
        method(L"MoveFirst", [this](Args&) { return pos = 0, current(), Variant(); });
        method(L"AddNew", [this](Args&) { return rows.emplace_back(), pos = rows.size() - 1, Variant(); });
        method(L"Update", [](Args&) { return Variant(); });
        method(L"Delete", [this](Args&) {
            log += L"Delete " + current() + L";";
            return rows.erase(rows.begin() + static_cast<long>(pos)), Variant();
        });
        method(L"Find", [this](Args& a) {  // only "URL = '<value without quotes>'"
            std::wstring c = a.str(0), head = L"URL = '";
            std::wstring value = c.substr(head.size(), c.size() - head.size() - 1);
            if (c.rfind(head, 0) != 0 || c.back() != L'\'' || value.find(L'\'') != std::wstring::npos)
                qbx::raise(3001, L"Arguments are of the wrong type");
            while (pos < rows.size() && !qbx::textEquals(rows[pos], value)) ++pos;
            return Variant();
        });
        // Fields(0) is the field itself here: Item(0) -> Name / Value.
        property(L"Fields", [this](Args&) { return Variant(static_cast<IDispatch*>(this)); });
        method(L"Item", [this](Args&) { return Variant(static_cast<IDispatch*>(this)); });
        property(L"Name", [](Args&) { return Variant(L"URL"); });
        property(L"Value", [this](Args&) { return Variant(current()); },
                 [this](Args&, const Variant& v) { current() = v.toString(); });
    }
    std::wstring& current() {
        if (pos >= rows.size()) qbx::raise(3021, L"Either BOF or EOF is True");
        return rows[pos];
    }
    Strings rows;
    size_t pos = 0;
    std::wstring log;
};

struct Window {
    HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 300, 300, nullptr, nullptr,
                                  nullptr, nullptr);
    ~Window() { DestroyWindow(parent); }
    cListControl make(const wchar_t* cls, DWORD style) {
        return cListControl(CreateWindowExW(0, cls, L"", WS_CHILD | WS_VSCROLL | style, 0, 0, 200, 200, parent,
                                            nullptr, nullptr, nullptr));
    }
};

Strings entries(const cListControl& c) {
    Strings s;
    for (long i = 0; i < c.ListCount(); ++i) s.push_back(c.List(i));
    return s;
}

}  // namespace

TEST_CASE_FIXTURE(Fixture, "the stored string form") {
    cSimpleList list;
    CHECK(list.ToString() == L"");
    CHECK(read(L"").empty());
    list.FromString(L"a\r\n\r\nb\r\n");
    CHECK(list.Items() == Strings{L"a", L"b"});
    CHECK(list.ToString() == L"a\r\nb");
    // Reading keeps every piece as it stands; writing trims spaces at the ends only.
    list.FromString(L" first \r\n  mid  \r\n last ");
    CHECK(list.Items() == Strings{L" first ", L"  mid  ", L" last "});
    CHECK(list.ToString() == L"first \r\n  mid  \r\n last");
    CHECK(read(L"\ta\nb\r\nc\r") == Strings{L"\ta\nb", L"c\r"});
    CHECK(read(L"http://X/Docs\r\nb\r\nhttp://x/docs\r\nB") == Strings{L"http://X/Docs", L"b"});
    // An item holding CR LF can't be stored faithfully.
    list.FromArray(array({L"a\r\nb"}));
    CHECK(list.Count() == 1);
    CHECK(read(list.ToString()) == Strings{L"a", L"b"});
}

TEST_CASE_FIXTURE(Fixture, "arrays in and out, and random items") {
    cSimpleList list;
    CHECK_THROWS_AS(list.ToArray(), qbx::Error);  // the rows would run from 0 to -1
    list.FromArray(array({L"b", L"", L"B", L"a", L""}));
    CHECK(list.Items() == Strings{L"b", L"", L"a"});  // empty strings are not filtered
    Variant v = list.ToArray();
    REQUIRE(v.type() == (VT_ARRAY | VT_BSTR));
    LONG rows = -1, columns = -1;
    CHECK(SafeArrayGetDim(v.raw().parray) == 2);
    SafeArrayGetUBound(v.raw().parray, 1, &rows);
    SafeArrayGetUBound(v.raw().parray, 2, &columns);
    CHECK(rows == 2);
    CHECK(columns == 0);
    cSimpleList back;
    back.FromArray(v);
    CHECK(back.Items() == list.Items());

    std::map<std::wstring, int> seen;
    for (int i = 0; i < 1200; ++i) ++seen[list.RandomItem().toString()];
    CHECK(seen.size() == 3);
    for (auto& [item, n] : seen) CHECK(n > 300);
}

TEST_CASE_FIXTURE(Fixture, "record sets") {
    cSimpleList list;
    auto rs = qbx::makeObject<RecordSet>(Strings{L"skipped", L"a", L"old", L"B", L"A", L"gone"});
    qbx::Disp d(rs.get());
    rs->pos = 1;
    list.FromRS(d);  // from the current record on
    CHECK(list.Items() == Strings{L"a", L"old", L"B", L"gone"});

    list.FromString(L"A\r\nb\r\nnew\r\nskipped");
    list.ToRS(d);
    CHECK(rs->rows == Strings{L"skipped", L"a", L"B", L"A", L"new"});
    CHECK(rs->log == L"Delete old;Delete gone;");

    rs->rows.push_back(L"O'Brien");  // the unescaped criterion fails
    CHECK_THROWS_AS(list.ToRS(d), qbx::Error);
    qbx::Disp none;
    list.FromRS(none);
    CHECK(list.Count() == 0);
}

TEST_CASE_FIXTURE(Fixture, "combo and list boxes") {
    Window w;
    cSimpleList list;
    list.FromString(L"a\r\n   \r\n spaced \r\nb");

    cListControl dropList = w.make(L"COMBOBOX", CBS_DROPDOWNLIST);
    dropList.AddItem(L"b");
    dropList.setText(L"b");
    std::wstring choice = L"a";
    list.AddToComboOrList(dropList, choice);
    CHECK(choice == L"b");  // the text the control showed wins
    CHECK(dropList.Text() == L"b");
    CHECK(entries(dropList) == Strings{L"a", L" spaced ", L"b"});  // blank items left out, others untrimmed
    dropList.setListIndex(-1);
    choice = L"elsewhere";  // not an entry: refused, nothing selected, no error
    list.AddToComboOrList(dropList, choice);
    CHECK(dropList.ListIndex() == -1);

    cListControl editable = w.make(L"COMBOBOX", CBS_DROPDOWN);
    editable.setText(L"http://typed");
    choice = L"a";
    list.AddToComboOrList(editable, choice);
    CHECK(choice == L"http://typed");
    CHECK(editable.Text() == L"http://typed");

    cListControl box = w.make(L"LISTBOX", 0);
    choice = L"B";  // a list box refuses text; the index search compares exactly
    list.AddToComboOrList(box, choice);
    CHECK(box.ListIndex() == -1);
    choice = L"b";
    list.AddToComboOrList(box, choice);
    CHECK(box.ListIndex() == 2);
    choice.clear();
    box.setListIndex(-1);
    list.AddToComboOrList(box, choice);
    CHECK(box.ListIndex() == -1);

    box.AddItem(L"A");
    list.FromComboOrList(box);
    CHECK(list.Items() == Strings{L"a", L" spaced ", L"b"});
}
