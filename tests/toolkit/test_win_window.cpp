// The shared window plumbing: a window finds its object from its creation
// to its last message and no longer, a failing handler gives the default
// answer and is seen by the failure observer, and the typed function lookup.
#include <doctest/doctest.h>

#include "support/com/win_window.h"

#include <optional>
#include <string>

namespace {

// A window's object that notes what it heard; WM_USER + 1 fails.
struct Served {
    HWND attached = nullptr;
    bool detached = false;
    int heard = 0;

    void windowAttached(HWND window) noexcept { attached = window; }
    void windowDetached() noexcept { detached = true; }
    std::optional<LRESULT> windowMessage(UINT message, WPARAM, LPARAM) {
        if (message == WM_USER) return ++heard;
        if (message == WM_USER + 1) qbx::raiseVb(qbx::vbErrOutOfMemory);
        return std::nullopt;
    }
};

std::wstring observedAt;
long observedNumber = 0;
void observe(const wchar_t* boundary, const qbx::Error& failure) noexcept {
    observedAt = boundary;
    observedNumber = failure.number();
}

HWND makeServed(Served* served) {
    static const wchar_t* const name = [] {
        WNDCLASSW wc{};
        wc.lpfnWndProc = &qbx::WindowProcedures::window<Served, &Served::windowMessage>;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.lpszClassName = L"QuillboxServedTest";
        RegisterClassW(&wc);
        return wc.lpszClassName;
    }();
    return CreateWindowExW(0, name, L"", WS_POPUP, 0, 0, 50, 50, nullptr, nullptr, GetModuleHandleW(nullptr),
                           served);
}

}  // namespace

TEST_CASE("a window's object serves it from its creation to its last message") {
    Served served;
    qbx::OwnedWindow window(makeServed(&served));
    REQUIRE(window);
    CHECK(served.attached == window.get());
    CHECK(SendMessageW(window.get(), WM_USER, 0, 0) == 1);

    SUBCASE("a failure gives the default answer and is seen by the observer") {
        qbx::setFailureObserver(&observe);
        observedNumber = 0;
        CHECK(SendMessageW(window.get(), WM_USER + 1, 0, 0) == 0);
        qbx::setFailureObserver(nullptr);
        CHECK(observedNumber == qbx::vbErrOutOfMemory);
        CHECK(observedAt == L"window procedure");
        // Messages the object leaves alone get DefWindowProc's answer.
        CHECK(SendMessageW(window.get(), WM_GETTEXTLENGTH, 0, 0) == 0);
    }
    SUBCASE("the window lets go of its object at its destruction") {
        HWND raw = window.get();
        window.reset();
        CHECK(served.detached);
        CHECK_FALSE(IsWindow(raw));
    }
    SUBCASE("cut off, the window no longer reaches its object, not even when it goes") {
        qbx::WindowProcedures::cutOff(window.get(), GWLP_USERDATA);
        CHECK(SendMessageW(window.get(), WM_USER, 0, 0) == 0);
        window.reset();
        CHECK(served.heard == 1);
        CHECK_FALSE(served.detached);
    }
    SUBCASE("a window made without an object answers as DefWindowProc does") {
        qbx::OwnedWindow bare(makeServed(nullptr));
        REQUIRE(bare);
        CHECK(SendMessageW(bare.get(), WM_USER, 0, 0) == 0);
    }
}

TEST_CASE("a function is looked up with its type; a missing one is null") {
    HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    auto getTicks = qbx::procAddress<DWORD WINAPI()>(kernel, "GetTickCount");
    REQUIRE(static_cast<bool>(getTicks));
    CHECK(getTicks() > 0);
    const bool missing = qbx::procAddress<void WINAPI()>(kernel, "QuillboxNoSuchExport") == nullptr;
    const bool noModule = qbx::procAddress<void WINAPI()>(nullptr, "GetTickCount") == nullptr;
    CHECK(missing);
    CHECK(noModule);
    CHECK(qbx::windowDpi(nullptr) >= 96);
}
