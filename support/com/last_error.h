// Keeps the calling thread's last Win32 error across a cleanup. An owner
// that gives a handle or a reference back may run code that changes the
// last error (CloseHandle, DestroyWindow's messages, an object's Release);
// the caller may be about to read the error of the call that failed before.
#pragma once

#include <windows.h>

namespace qbx {

class KeepLastError {
public:
    KeepLastError() noexcept : code_(GetLastError()) {}
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;
    ~KeepLastError() { SetLastError(code_); }

private:
    DWORD code_;
};

}  // namespace qbx
