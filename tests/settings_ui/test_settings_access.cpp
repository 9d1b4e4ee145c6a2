// What a screen reader gets of the settings window, asked in-process as one
// asks (oleacc's AccessibleObjectFromWindow): the grid as a table of rows and
// cells with the libraries as names and values, the active cell as focus and
// selection, the events a SetWinEventHook listener hears while a person
// works, a name for every other control (its label), and decoration left out.
#include <doctest/doctest.h>

#include "support/modAccessibility.h"
#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "tests/person.h"
#include "tests/reader.h"
#include "tests/settings_ui/settings_window_util.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

using persontest::Person;
using windowtest::Window;
using namespace readertest;

namespace {

const std::wstring kLibraries[] = {L"http://server/Documents/", L"http://server/sites/team/Proposals/",
                                   L"http://server/sites/team/Shared Documents/"};

std::wstring valueOf(IAccessible* a, long id) {
    qbx::Bstr value;
    return a->get_accValue(child(id), value.put()) == S_OK ? value.str() : L"<none>";
}
long variantOf(HRESULT (STDMETHODCALLTYPE IAccessible::*ask)(VARIANT, VARIANT*), IAccessible* a, long id) {
    VARIANT v;
    VariantInit(&v);
    return (a->*ask)(child(id), &v) == S_OK && v.vt == VT_I4 ? v.lVal : -1;
}
long roleOf(IAccessible* a, long id = CHILDID_SELF) { return variantOf(&IAccessible::get_accRole, a, id); }
long stateOf(IAccessible* a, long id = CHILDID_SELF) { return variantOf(&IAccessible::get_accState, a, id); }
long childCount(IAccessible* a) {
    long n = -1;
    a->get_accChildCount(&n);
    return n;
}
qbx::ComPtr<IAccessible> childObject(IAccessible* a, long id) {
    qbx::ComPtr<IDispatch> d;
    qbx::ComPtr<IAccessible> out;
    if (a->get_accChild(child(id), d.put()) == S_OK && d)
        d->QueryInterface(kIID_IAccessible, reinterpret_cast<void**>(out.put()));
    return out;
}
std::wstring roleName(long role) {
    wchar_t text[64] = {};
    using Fn = UINT(WINAPI*)(DWORD, LPWSTR, UINT);
    static const auto getRoleText =
        reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"oleacc.dll"), "GetRoleTextW")));
    if (getRoleText) getRoleText(static_cast<DWORD>(role), text, 64);
    return text;
}

// The events a screen reader's listener hears from one window.
struct Listener {
    static inline std::vector<std::pair<DWORD, long>> heard;
    static inline HWND from = nullptr;
    HWINEVENTHOOK hook;
    explicit Listener(HWND window) {
        heard.clear();
        from = window;
        hook = SetWinEventHook(EVENT_OBJECT_FOCUS, EVENT_OBJECT_VALUECHANGE, nullptr, &onEvent, GetCurrentProcessId(),
                               0, WINEVENT_OUTOFCONTEXT);
        REQUIRE(hook != nullptr);
    }
    ~Listener() { UnhookWinEvent(hook); }
    static void CALLBACK onEvent(HWINEVENTHOOK, DWORD event, HWND window, LONG object, LONG id, DWORD, DWORD) {
        if (window == from && object == OBJID_CLIENT) heard.emplace_back(event, id);
    }
    static bool has(DWORD event, long id) {
        return std::find(heard.begin(), heard.end(), std::pair<DWORD, long>(event, id)) != heard.end();
    }
};

// The tree as a screen reader walks it, one line per object; objects
// marked invisible are passed over, as screen readers do.
void printTree(IAccessible* a, const std::wstring& indent, std::wstring& out, int depth = 0) {
    if (const long state = stateOf(a); state != -1 && (state & STATE_SYSTEM_INVISIBLE)) return;
    out += indent + roleName(roleOf(a)) + L" \"" + nameOf(a) + L"\"\n";
    for (long i = 1, n = childCount(a); i <= n && depth < 8; ++i) {
        if (auto c = childObject(a, i))
            printTree(c.get(), indent + L"  ", out, depth + 1);
        else
            out += indent + L"  " + roleName(roleOf(a, i)) + L" \"" + nameOf(a, i) + L"\" value \"" + valueOf(a, i) +
                   L"\"\n";
    }
}

// The window's controls in tab order, each as a screen reader gets it;
// containers (the page, the grid's host) are walked through.
void printWindow(HWND parent, std::wstring& out) {
    for (HWND c = GetWindow(parent, GW_CHILD); c; c = GetWindow(c, GW_HWNDNEXT)) {
        if (!IsWindowVisible(c)) continue;
        if ((GetWindowLongW(c, GWL_EXSTYLE) & WS_EX_CONTROLPARENT) && GetWindow(c, GW_CHILD))
            printWindow(c, out);
        else
            printTree(accessibleOf(c).get(), L"  ", out);
    }
}

}  // namespace

TEST_CASE("a screen reader reads the libraries as a table of rows and cells, follows the active cell, hears "
          "focus, selection and changed values, finds every control named by its label and no decoration") {
    subSetPhrases(fncGetLanguageColumn());
    Window w({.sites = kLibraries[0] + L"\r\n" + kLibraries[1] + L"\r\n" + kLibraries[2],
              .defaultSite = kLibraries[1]});
    w.settle();
    const HWND grid = w.gridWindow();
    qbx::ComPtr<IAccessible> table = accessibleOf(grid);

    // What a screen reader reads of the window, in tab order (printed when
    // QBX_PRINT_TREE is set). The libraries as a table named by its header,
    // a row for the header and each library with one cell each (the count
    // cell and the other columns are not there); nothing without a name (the
    // divider line above the buttons is decoration).
    qbx::ComPtr<IAccessible> window = accessibleOf(w.hWnd());
    std::wstring tree = roleName(roleOf(window.get())) + L" \"" + nameOf(window.get()) + L"\"\n";
    printWindow(w.hWnd(), tree);
    if (std::getenv("QBX_PRINT_TREE")) printf("%s", qbxtest::narrow(tree).c_str());
    auto row = [](int number, const std::wstring& text) {
        return L"    row \"" + std::to_wstring(number) + L"\"\n      cell \"" + text + L"\" value \"" + text + L"\"\n";
    };
    const std::wstring rows = L"  table \"" + LNGSITES + L"\"\n" + row(1, LNGSITES) + row(2, kLibraries[0]) +
                              row(3, kLibraries[1]) + row(4, kLibraries[2]);
    CHECK(tree.find(rows) != std::wstring::npos);
    CHECK(roleOf(table.get()) == ROLE_SYSTEM_TABLE);
    CHECK(tree.find(L"\"<none>\"") == std::wstring::npos);

    // A person clicks the second library: it is the focus and the
    // selection, and the listener heard so.
    Person person(w.hWnd());
    Listener listener(grid);
    person.click(grid, POINT{40, 17 * 2 + 8});
    VARIANT focus, selection;
    REQUIRE(table->get_accFocus(&focus) == S_OK);
    REQUIRE(focus.vt == VT_I4);
    CHECK(nameOf(table.get(), focus.lVal) == kLibraries[1]);
    REQUIRE(table->get_accSelection(&selection) == S_OK);
    CHECK((selection.vt == VT_I4 && selection.lVal == focus.lVal));
    constexpr long kFocusedSelected = STATE_SYSTEM_FOCUSED | STATE_SYSTEM_SELECTED;
    CHECK((stateOf(table.get(), focus.lVal) & kFocusedSelected) == kFocusedSelected);
    CHECK(Listener::has(EVENT_OBJECT_FOCUS, focus.lVal));
    CHECK(Listener::has(EVENT_OBJECT_SELECTION, focus.lVal));

    // An entry typed over it: the value change, then the move down.
    Listener::heard.clear();
    person.type(L"http://server/renamed/");
    person.key(VK_RETURN);
    CHECK(Listener::has(EVENT_OBJECT_VALUECHANGE, focus.lVal));
    CHECK(nameOf(table.get(), focus.lVal) == L"http://server/renamed/");
    VARIANT moved;
    REQUIRE(table->get_accFocus(&moved) == S_OK);
    CHECK(moved.lVal != focus.lVal);
    CHECK(Listener::has(EVENT_OBJECT_FOCUS, moved.lVal));

    // Every other control is named by its label.
    const std::pair<HWND, std::wstring> named[] = {
        {w.pageControl(IDC_CMDBROWSE), LNGADD + L" ..."}, {w.pageControl(IDC_CMBDEFAULT), LNGDEFAULT},
        {w.pageControl(IDC_CHKALWAYSDEFAULT), LNGALWAYSUSEDEFAULT}, {w.control(IDOK), LNGOK},
        {w.control(IDCANCEL), LNGCANCEL}, {w.control(IDC_TBSSETTINGS), LNGSITES},
    };
    for (const auto& [control, name] : named) {
        CAPTURE(qbxtest::narrow(name));
        CHECK(nameOf(accessibleOf(control).get()) == name);
    }
    CHECK_FALSE(blnErrorOccurred);
}
