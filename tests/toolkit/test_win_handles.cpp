// The handle owners: each gives its kind of handle back exactly once (not on
// a move, not when empty), a window's owner is empty by the time the window
// hears of its destruction, and selections come undone in reverse order.
#include <doctest/doctest.h>

#include "support/com/win_handles.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

// A handle type of our own whose closes are counted.
std::vector<HANDLE> closed;
void recordClose(HANDLE h) noexcept { closed.push_back(h); }
using Recorded = qbx::UniqueHandle<HANDLE, &recordClose>;
HANDLE fake(int n) { return reinterpret_cast<HANDLE>(static_cast<INT_PTR>(n)); }

// The test windows tell, when they hear of their destruction, whether the
// owner watched is empty by then.
qbx::OwnedWindow* watched = nullptr;
bool ownerEmptyOnDestroy = false;
LRESULT CALLBACK watchingProc(HWND w, UINT message, WPARAM wp, LPARAM lp) {
    if (message == WM_DESTROY && watched) ownerEmptyOnDestroy = !*watched;
    return DefWindowProcW(w, message, wp, lp);
}

HWND makeWindow() {
    static const wchar_t* const name = [] {
        WNDCLASSW wc{};
        wc.lpfnWndProc = &watchingProc;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.lpszClassName = L"QuillboxHandleTest";
        RegisterClassW(&wc);
        return wc.lpszClassName;
    }();
    return CreateWindowExW(0, name, L"", WS_POPUP, 0, 0, 50, 50, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
}

}  // namespace

TEST_CASE("an owner closes its handle once, and never the empty value") {
    closed.clear();
    SUBCASE("on scope exit") {
        { Recorded h(fake(1)); }
        CHECK(closed == std::vector<HANDLE>{fake(1)});
    }
    SUBCASE("a move leaves the source empty and the handle is closed by the target only") {
        {
            Recorded a(fake(1));
            Recorded b(std::move(a));
            CHECK_FALSE(a);
            CHECK(b.get() == fake(1));
            Recorded c;
            c = std::move(b);
            CHECK(closed.empty());
        }
        CHECK(closed == std::vector<HANDLE>{fake(1)});
    }
    SUBCASE("a move onto a holder closes what it held") {
        Recorded a(fake(1)), b(fake(2));
        b = std::move(a);
        CHECK(closed == std::vector<HANDLE>{fake(2)});
    }
    SUBCASE("reset and put close the old handle; release closes nothing") {
        Recorded h(fake(1));
        h.reset(fake(2));
        CHECK(closed == std::vector<HANDLE>{fake(1)});
        *h.put() = fake(3);
        CHECK(closed == std::vector<HANDLE>{fake(1), fake(2)});
        CHECK(h.release() == fake(3));
        CHECK_FALSE(h);
    }
    CHECK(std::count(closed.begin(), closed.end(), nullptr) == 0);
}

TEST_CASE("kernel handles are closed; a failed open holds none") {
    CHECK_FALSE(qbx::FileHandle(
        CreateFileW(L"C:\\no\\such\\folder\\file.txt", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
    CHECK_FALSE(qbx::Handle(OpenEventW(EVENT_ALL_ACCESS, FALSE, L"qbx-no-such-event")));

    wchar_t folder[MAX_PATH] = {}, path[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    REQUIRE(GetTempFileNameW(folder, L"qbx", 0, path));
    HANDLE file = nullptr, event = nullptr;
    {
        qbx::FileHandle f(
            CreateFileW(path, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        qbx::Handle e(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        REQUIRE(f);
        REQUIRE(e);
        file = f.get();
        event = e.get();
    }
    DWORD flags = 0;
    CHECK_FALSE(GetHandleInformation(file, &flags));
    CHECK_FALSE(GetHandleInformation(event, &flags));
    CHECK(GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES);  // deleted on its close
}

TEST_CASE("a registry key's owner closes the key") {
    const std::wstring path = L"Software\\qbx-test-handles-" + std::to_wstring(GetCurrentProcessId());
    HKEY raw = nullptr;
    {
        qbx::RegKey key;
        REQUIRE(RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(),
                                nullptr) == ERROR_SUCCESS);
        raw = key.get();
        DWORD subkeys = 0;
        CHECK(RegQueryInfoKeyW(raw, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr) == ERROR_SUCCESS);
    }
    DWORD subkeys = 0;
    CHECK(RegQueryInfoKeyW(raw, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr, nullptr) == ERROR_INVALID_HANDLE);
    CHECK(RegDeleteKeyW(HKEY_CURRENT_USER, path.c_str()) == ERROR_SUCCESS);
}

TEST_CASE("a window's owner destroys the window") {
    SUBCASE("on scope exit") {
        HWND raw = makeWindow();
        { qbx::OwnedWindow window(raw); }
        CHECK_FALSE(IsWindow(raw));
    }
    SUBCASE("the owner is empty before the window hears of its destruction") {
        qbx::OwnedWindow window(makeWindow());
        REQUIRE(window);
        watched = &window;
        ownerEmptyOnDestroy = false;
        window.reset();
        watched = nullptr;
        CHECK(ownerEmptyOnDestroy);
    }
}

TEST_CASE("GDI owners: objects and DCs are deleted, selections undone, window DCs given back") {
    qbx::OwnedWindow window(makeWindow());
    SUBCASE("each typed object and a memory DC are deleted on scope exit") {
        HGDIOBJ raws[4] = {};
        HDC rawDc = nullptr;
        {
            qbx::Font font(CreateFontW(12, 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, L"Arial"));
            qbx::Brush brush(CreateSolidBrush(RGB(1, 2, 3)));
            qbx::Pen pen(CreatePen(PS_SOLID, 1, RGB(1, 2, 3)));
            qbx::Bitmap bitmap(CreateBitmap(4, 4, 1, 32, nullptr));
            qbx::MemoryDc dc(CreateCompatibleDC(nullptr));
            raws[0] = font.get(), raws[1] = brush.get(), raws[2] = pen.get(), raws[3] = bitmap.get();
            rawDc = dc.get();
            for (HGDIOBJ o : raws) CHECK(GetObjectType(o) != 0);
        }
        for (HGDIOBJ o : raws) CHECK(GetObjectType(o) == 0);
        CHECK(GetObjectType(rawDc) == 0);
    }
    SUBCASE("selections are undone in reverse order, a move undoes once, a failed one undoes nothing") {
        qbx::MemoryDc dc(CreateCompatibleDC(nullptr));
        qbx::Pen first(CreatePen(PS_SOLID, 1, RGB(1, 0, 0))), second(CreatePen(PS_SOLID, 1, RGB(0, 1, 0)));
        const HGDIOBJ original = GetCurrentObject(dc.get(), OBJ_PEN);
        {
            qbx::SelectedObject outer(dc.get(), first.get());
            qbx::SelectedObject moved;
            {
                qbx::SelectedObject inner(dc.get(), second.get());
                CHECK(GetCurrentObject(dc.get(), OBJ_PEN) == second.get());
                moved = std::move(inner);
            }
            CHECK(GetCurrentObject(dc.get(), OBJ_PEN) == second.get());
            moved.reset();
            CHECK(GetCurrentObject(dc.get(), OBJ_PEN) == first.get());
            { qbx::SelectedObject nothing(dc.get(), nullptr); }
            CHECK(GetCurrentObject(dc.get(), OBJ_PEN) == first.get());
        }
        CHECK(GetCurrentObject(dc.get(), OBJ_PEN) == original);
    }
    SUBCASE("a window DC and a paint DC go back to the window") {
        // A DC still held is never handed out again; the one just given back
        // is the window's next.
        qbx::WindowDc held(window.get());
        REQUIRE(held);
        HDC released = nullptr;
        {
            qbx::WindowDc dc(window.get());
            CHECK(dc.get() != held.get());
            released = dc.get();
        }
        {
            qbx::WindowDc again(window.get());
            CHECK(again.get() == released);
        }
        {
            qbx::PaintDc paint(window.get());
            released = paint.get();
            REQUIRE(released);
            CHECK(released != held.get());
        }
        qbx::WindowDc again(window.get());
        CHECK(again.get() == released);
    }
    SUBCASE("an icon is destroyed") {
        HICON raw = nullptr;
        {
            qbx::Icon icon(CopyIcon(LoadIconW(nullptr, IDI_APPLICATION)));
            raw = icon.get();
            ICONINFO info{};
            REQUIRE(GetIconInfo(raw, &info));
            DeleteObject(info.hbmColor);
            DeleteObject(info.hbmMask);
        }
        ICONINFO info{};
        CHECK_FALSE(GetIconInfo(raw, &info));
    }
}

TEST_CASE("clipboard memory: freed unless released, locked for the scope only") {
    HGLOBAL raw = GlobalAlloc(GMEM_MOVEABLE, 16);
    REQUIRE(raw);
    {
        qbx::GlobalMemory memory(raw);
        {
            qbx::GlobalLocked locked(memory.get());
            REQUIRE(locked);
            CHECK((GlobalFlags(raw) & GMEM_LOCKCOUNT) == 1);
            REQUIRE(GlobalLock(raw));  // a lock of someone else's stays
        }
        CHECK((GlobalFlags(raw) & GMEM_LOCKCOUNT) == 1);
        GlobalUnlock(raw);
        CHECK((GlobalFlags(raw) & GMEM_LOCKCOUNT) == 0);
        CHECK_FALSE(qbx::GlobalLocked(nullptr).get());
        CHECK(memory.release() == raw);
    }
    // Released: still ours to free (GlobalFree answers null for a block it freed).
    CHECK(GlobalFree(raw) == nullptr);
    {
        HGLOBAL second = GlobalAlloc(GMEM_MOVEABLE, 16);
        qbx::GlobalMemory memory(second);
        raw = second;
    }
    CHECK(GlobalSize(raw) == 0);
}

TEST_CASE("the clipboard is open for the scope only") {
    qbx::OwnedWindow window(makeWindow());
    {
        qbx::OpenedClipboard clipboard(window.get());
        REQUIRE(clipboard);
        CHECK(GetOpenClipboardWindow() == window.get());
    }
    CHECK(GetOpenClipboardWindow() == nullptr);
    CHECK(OpenClipboard(window.get()));
    CloseClipboard();
}

namespace {

int subclassCalls = 0;
LRESULT CALLBACK countingSubclass(HWND w, UINT message, WPARAM wp, LPARAM lp, UINT_PTR, DWORD_PTR) {
    if (message == WM_USER) ++subclassCalls;
    return DefSubclassProc(w, message, wp, lp);
}

}  // namespace

TEST_CASE("a subclass lasts as long as its owner, and a move hands it on") {
    qbx::OwnedWindow window(makeWindow());
    subclassCalls = 0;
    auto heard = [&] {
        const int before = subclassCalls;
        SendMessageW(window.get(), WM_USER, 0, 0);
        return subclassCalls > before;
    };
    {
        qbx::WindowSubclass moved;
        {
            qbx::WindowSubclass subclass(window.get(), &countingSubclass, 7);
            REQUIRE(subclass);
            CHECK(heard());
            qbx::WindowSubclass between(std::move(subclass));
            moved = std::move(between);
        }
        CHECK(heard());
    }
    CHECK_FALSE(heard());
    SUBCASE("a window gone first takes its subclass along") {
        qbx::WindowSubclass subclass(window.get(), &countingSubclass, 7);
        window.reset();
        subclass.reset();
        CHECK_FALSE(subclass);
    }
    SUBCASE("no window: no subclass") { CHECK_FALSE(qbx::WindowSubclass(nullptr, &countingSubclass, 7)); }
}
