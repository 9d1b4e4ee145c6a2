#include "support/modShell.h"
#include "support/modShell_testing.h"

#include "support/modErroHandling.h"

#include <windows.h>
#include <shellapi.h>

std::wstring fncGetListSeparator() {
    std::wstring result;
    subSetAction(L"Getting List separator from computer settings!");
    qbx::guarded(L"fncGetListSeparator", [&] {
        // The item is at most four characters; ask for its length first anyway.
        int n = GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, nullptr, 0);
        if (n <= 0) qbx::raiseLastError(L"The list separator could not be read");
        std::wstring buf(static_cast<size_t>(n), L'\0');
        n = GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, buf.data(), n);
        if (n <= 0) qbx::raiseLastError(L"The list separator could not be read");
        buf.resize(static_cast<size_t>(n - 1));  // without the terminator
        result = buf;
    });
    return result;
}

namespace {
ShellExecuteHook& shellHook() {
    static ShellExecuteHook hook;
    return hook;
}
}  // namespace

void subSetShellExecuteHook(ShellExecuteHook hook) { shellHook() = std::move(hook); }

bool fncShellExecute(const std::wstring& verb, const std::wstring& target) {
    if (shellHook()) return shellHook()(verb, target);
    // ShellExecute answers a number above 32 for success.
    HINSTANCE rc = ShellExecuteW(nullptr, verb.c_str(), target.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<INT_PTR>(rc) > 32;
}
