// The real input box, driven as a person does: keystrokes posted into its
// message loop, Enter and Escape. A watchdog cancels it should it never
// appear as expected, so the test can't hang.
#include <doctest/doctest.h>

#include "support/prompt.h"
#include "support/prompt_testing.h"
#include "tests/test_support.h"

#include <functional>
#include <string>

namespace {

struct Drive {
    std::function<void(HWND)> act;  // runs once the box is up
    HWND dialog = nullptr;
    HWND owner = nullptr;
    std::wstring promptShown, editShown, selectedShown;
    int ticks = 0;
};
Drive* drive = nullptr;

BOOL CALLBACK findBox(HWND w, LPARAM found) {
    wchar_t cls[32] = {};
    GetClassNameW(w, cls, 32);
    if (IsWindowVisible(w) && std::wstring(cls) == L"#32770") {
        *reinterpret_cast<HWND*>(found) = w;
        return FALSE;
    }
    return TRUE;
}

void CALLBACK tick(HWND, UINT, UINT_PTR, DWORD) {
    if (!drive) return;
    if (++drive->ticks > 200) {  // ten seconds: give up
        if (drive->dialog) PostMessageW(drive->dialog, WM_COMMAND, IDCANCEL, 0);
        return;
    }
    if (drive->dialog) return;
    HWND box = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), &findBox, reinterpret_cast<LPARAM>(&box));
    if (!box || box == drive->owner) return;
    drive->dialog = box;
    HWND edit = FindWindowExW(box, nullptr, L"Edit", nullptr);
    HWND label = FindWindowExW(box, nullptr, L"Static", nullptr);
    drive->promptShown = label ? qbxtest::windowText(label) : L"";
    drive->editShown = edit ? qbxtest::windowText(edit) : L"";
    DWORD from = 0, to = 0;
    if (edit) SendMessageW(edit, EM_GETSEL, reinterpret_cast<WPARAM>(&from), reinterpret_cast<LPARAM>(&to));
    drive->selectedShown = drive->editShown.substr(from, to - from);
    drive->act(edit ? edit : box);
}

void typeInto(HWND edit, const std::wstring& text) {
    for (wchar_t c : text) PostMessageW(edit, WM_CHAR, c, 1);
}
void press(HWND target, UINT vk) {
    PostMessageW(target, WM_KEYDOWN, vk, 1);
    PostMessageW(target, WM_KEYUP, vk, 0xC0000001);
}

// A person who types the text and then presses the key.
Drive typing(const std::wstring& text, UINT vk) {
    Drive d;
    d.act = [text, vk](HWND edit) {
        typeInto(edit, text);
        press(edit, vk);
    };
    return d;
}

qbx::PromptAnswer ask(Drive& d, const std::wstring& defaultText = L"", HWND owner = nullptr) {
    qbx::Prompt p;
    p.kind = qbx::PromptKind::Input;
    p.text = L"Choose SharePoint Site to add document libraries from";
    p.title = L"Quillbox";
    p.defaultText = defaultText;
    d.owner = owner;
    drive = &d;
    const UINT_PTR timer = SetTimer(nullptr, 0, 50, &tick);
    qbx::PromptAnswer a = qbx::showPromptWindow(p);
    KillTimer(nullptr, timer);
    drive = nullptr;
    return a;
}

}  // namespace

TEST_CASE("the input box: a real window that hands back what was typed") {
    SUBCASE("typing and Enter answer OK with the text; the prompt is shown") {
        Drive d = typing(L"intranet.example/sites/team", VK_RETURN);
        const qbx::PromptAnswer a = ask(d);
        REQUIRE(d.dialog != nullptr);
        CHECK(d.ticks < 200);
        CHECK_FALSE(IsWindow(d.dialog));  // gone once answered
        CHECK(d.promptShown == L"Choose SharePoint Site to add document libraries from");
        CHECK(a.button == IDOK);
        CHECK(a.text == L"intranet.example/sites/team");
    }
    SUBCASE("the default text is offered selected, so typing replaces it") {
        Drive d = typing(L"http://other/", VK_RETURN);
        const qbx::PromptAnswer a = ask(d, L"http://intranet.example/");
        CHECK(d.editShown == L"http://intranet.example/");
        CHECK(d.selectedShown == L"http://intranet.example/");
        CHECK(a.button == IDOK);
        CHECK(a.text == L"http://other/");
    }
    SUBCASE("Escape cancels, and what was typed is not handed back") {
        Drive d = typing(L"half typed", VK_ESCAPE);
        const qbx::PromptAnswer a = ask(d);
        CHECK(a.button == IDCANCEL);
        CHECK(a.text.empty());
    }
    SUBCASE("the window the question is about owns it") {
        HWND owner = CreateWindowExW(0, L"STATIC", L"settings", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 300, 200,
                                     nullptr, nullptr, nullptr, nullptr);
        SetActiveWindow(owner);
        HWND ownerSeen = nullptr;
        Drive d;
        d.act = [&ownerSeen](HWND edit) {
            ownerSeen = GetWindow(GetParent(edit), GW_OWNER);
            press(edit, VK_ESCAPE);
        };
        ask(d, L"", owner);
        CHECK(ownerSeen == owner);
        DestroyWindow(owner);
    }
}
