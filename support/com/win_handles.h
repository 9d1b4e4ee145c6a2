// Owners for the Windows handles the add-in makes: each gives its handle back
// when it goes out of scope, exactly once, the way ComPtr does for COM
// references. They are moved, never copied; a moved-from owner is empty.
//
// The single-handle owners share one template: the function that gives the
// handle back and the value that means "no handle". Kernel handles come in
// two kinds because the system uses two such values: CreateFile answers
// INVALID_HANDLE_VALUE on failure (FileHandle), most others null (Handle).
//
// Every owner keeps the thread's last error across its cleanup, so that an
// owner going out of scope never changes the error a caller reads after a
// failed call.
//
// Depends on nothing but the Windows headers.
#pragma once

#include "support/com/last_error.h"

#include <windows.h>
#include <commctrl.h>

#include <utility>

namespace qbx {

namespace handle_detail {

template <class H>
H none() noexcept {
    return nullptr;
}
inline HANDLE invalidHandleValue() noexcept { return INVALID_HANDLE_VALUE; }

inline void closeHandle(HANDLE h) noexcept { CloseHandle(h); }
inline void closeKey(HKEY key) noexcept { RegCloseKey(key); }
inline void destroyIcon(HICON icon) noexcept { DestroyIcon(icon); }
inline void globalFree(HGLOBAL memory) noexcept { GlobalFree(memory); }
inline void deleteDc(HDC dc) noexcept { DeleteDC(dc); }
template <class H>
void deleteObject(H object) noexcept {
    DeleteObject(object);
}
// A child window goes with its parent, so the owner may find it gone already.
inline void destroyWindow(HWND window) noexcept {
    if (IsWindow(window)) DestroyWindow(window);
}

}  // namespace handle_detail

// Owns one handle; Close gives it back, Invalid is the value for "none".
template <class H, void (*Close)(H), H (*Invalid)() = &handle_detail::none<H>>
class UniqueHandle {
public:
    UniqueHandle() noexcept = default;
    explicit UniqueHandle(H handle) noexcept : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    H get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != Invalid(); }

    // Gives the handle up without closing it.
    H release() noexcept { return std::exchange(handle_, Invalid()); }
    // Closes the handle held (if any) and takes the new one. The member is
    // cleared before the close, so code the close runs (a window's last
    // messages) already sees the owner empty.
    void reset(H handle = Invalid()) noexcept {
        H old = std::exchange(handle_, handle);
        if (old != Invalid()) {
            KeepLastError kept;
            Close(old);
        }
    }
    // For functions that hand a new handle out through a pointer
    // (RegCreateKeyEx): closes the one held first.
    H* put() noexcept {
        reset();
        return &handle_;
    }

private:
    H handle_ = Invalid();
};

using Handle = UniqueHandle<HANDLE, &handle_detail::closeHandle>;
using FileHandle = UniqueHandle<HANDLE, &handle_detail::closeHandle, &handle_detail::invalidHandleValue>;
using RegKey = UniqueHandle<HKEY, &handle_detail::closeKey>;
using OwnedWindow = UniqueHandle<HWND, &handle_detail::destroyWindow>;
using Icon = UniqueHandle<HICON, &handle_detail::destroyIcon>;
// A device context of our own (CreateCompatibleDC), deleted with DeleteDC.
using MemoryDc = UniqueHandle<HDC, &handle_detail::deleteDc>;
// Movable memory (GlobalAlloc) until the clipboard takes it over: release()
// it once SetClipboardData succeeded.
using GlobalMemory = UniqueHandle<HGLOBAL, &handle_detail::globalFree>;

template <class H>
using GdiObject = UniqueHandle<H, &handle_detail::deleteObject<H>>;
using Font = GdiObject<HFONT>;
using Brush = GdiObject<HBRUSH>;
using Pen = GdiObject<HPEN>;
using Bitmap = GdiObject<HBITMAP>;

// A window's device context from GetDC, released to that window.
class WindowDc {
public:
    explicit WindowDc(HWND window) noexcept : window_(window), dc_(GetDC(window)) {}
    WindowDc(const WindowDc&) = delete;
    WindowDc& operator=(const WindowDc&) = delete;
    ~WindowDc() {
        KeepLastError kept;
        if (dc_) ReleaseDC(window_, dc_);
    }

    HDC get() const noexcept { return dc_; }
    explicit operator bool() const noexcept { return dc_ != nullptr; }

private:
    HWND window_;
    HDC dc_;
};

// BeginPaint for the window's WM_PAINT, ended with EndPaint.
class PaintDc {
public:
    explicit PaintDc(HWND window) noexcept : window_(window), dc_(BeginPaint(window, &paint_)) {}
    PaintDc(const PaintDc&) = delete;
    PaintDc& operator=(const PaintDc&) = delete;
    ~PaintDc() {
        KeepLastError kept;
        EndPaint(window_, &paint_);
    }

    HDC get() const noexcept { return dc_; }
    const PAINTSTRUCT& info() const noexcept { return paint_; }

private:
    HWND window_;
    PAINTSTRUCT paint_{};
    HDC dc_;
};

// An object selected into a device context; the one it replaced is selected
// again on scope exit. Declare it after the owner of the object (and of a
// memory DC) so the selection is undone before either is deleted.
class SelectedObject {
public:
    SelectedObject() noexcept = default;
    SelectedObject(HDC dc, HGDIOBJ object) noexcept : dc_(dc), previous_(SelectObject(dc, object)) {}
    SelectedObject(SelectedObject&& other) noexcept
        : dc_(std::exchange(other.dc_, nullptr)), previous_(std::exchange(other.previous_, nullptr)) {}
    SelectedObject& operator=(SelectedObject&& other) noexcept {
        if (this != &other) {
            reset();
            dc_ = std::exchange(other.dc_, nullptr);
            previous_ = std::exchange(other.previous_, nullptr);
        }
        return *this;
    }
    SelectedObject(const SelectedObject&) = delete;
    SelectedObject& operator=(const SelectedObject&) = delete;
    ~SelectedObject() { reset(); }

    // Selects the previous object again now (nothing when the selection failed).
    void reset() noexcept {
        KeepLastError kept;
        if (dc_ && previous_) SelectObject(dc_, previous_);
        dc_ = nullptr;
        previous_ = nullptr;
    }

private:
    HDC dc_ = nullptr;
    HGDIOBJ previous_ = nullptr;
};

// The bytes of movable memory, locked (GlobalLock) for the scope and
// unlocked after; get() is null when the lock failed.
class GlobalLocked {
public:
    explicit GlobalLocked(HGLOBAL memory) noexcept : memory_(memory), data_(memory ? GlobalLock(memory) : nullptr) {}
    GlobalLocked(const GlobalLocked&) = delete;
    GlobalLocked& operator=(const GlobalLocked&) = delete;
    ~GlobalLocked() {
        if (data_) GlobalUnlock(memory_);
    }

    void* get() const noexcept { return data_; }
    explicit operator bool() const noexcept { return data_ != nullptr; }

private:
    HGLOBAL memory_;
    void* data_;
};

// The clipboard, opened for a window for the scope and closed after. Test
// the owner: another program may hold the clipboard open.
class OpenedClipboard {
public:
    explicit OpenedClipboard(HWND window) noexcept : open_(OpenClipboard(window) != FALSE) {}
    OpenedClipboard(const OpenedClipboard&) = delete;
    OpenedClipboard& operator=(const OpenedClipboard&) = delete;
    ~OpenedClipboard() {
        if (open_) CloseClipboard();
    }

    explicit operator bool() const noexcept { return open_; }

private:
    bool open_;
};

// A subclass procedure set on a window (SetWindowSubclass) for as long as
// the owner lives; it is removed again on reset or scope exit, unless the
// window is gone by then (a window's subclasses go with it).
class WindowSubclass {
public:
    WindowSubclass() noexcept = default;
    WindowSubclass(HWND window, SUBCLASSPROC proc, UINT_PTR id, DWORD_PTR data = 0) noexcept
        : window_(window && SetWindowSubclass(window, proc, id, data) ? window : nullptr), proc_(proc), id_(id) {}
    WindowSubclass(WindowSubclass&& other) noexcept
        : window_(std::exchange(other.window_, nullptr)), proc_(other.proc_), id_(other.id_) {}
    WindowSubclass& operator=(WindowSubclass&& other) noexcept {
        if (this != &other) {
            reset();
            window_ = std::exchange(other.window_, nullptr);
            proc_ = other.proc_;
            id_ = other.id_;
        }
        return *this;
    }
    WindowSubclass(const WindowSubclass&) = delete;
    WindowSubclass& operator=(const WindowSubclass&) = delete;
    ~WindowSubclass() { reset(); }

    HWND window() const noexcept { return window_; }
    explicit operator bool() const noexcept { return window_ != nullptr; }

    void reset() noexcept {
        HWND window = std::exchange(window_, nullptr);
        if (window && IsWindow(window)) RemoveWindowSubclass(window, proc_, id_);
    }

private:
    HWND window_ = nullptr;
    SUBCLASSPROC proc_ = nullptr;
    UINT_PTR id_ = 0;
};

}  // namespace qbx
