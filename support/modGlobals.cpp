#include "support/modGlobals.h"

#include "support/modFileHandling.h"

std::shared_ptr<cOutlookReactions> objOutlookReactions;
qbx::Disp ouaOutlook;
qbx::Disp objSettingsFolder;
std::shared_ptr<cPersonalSettings> objPersonalSettings;
std::wstring strListSeparator;
std::wstring strAddinPath;
short intInspectorCount = 0;
bool blnShuttingDown = false;

namespace {

struct LastDisconnectHook {
    const void* owner = nullptr;
    std::function<void()> hook;
};

LastDisconnectHook& lastDisconnectHook() {
    static LastDisconnectHook hook;
    return hook;
}

}  // namespace

void subSetLastDisconnectHook(const void* owner, std::function<void()> hook) {
    lastDisconnectHook() = {owner, std::move(hook)};
}

void subClearLastDisconnectHook(const void* owner) noexcept {
    if (lastDisconnectHook().owner == owner) lastDisconnectHook() = {};
}

void ReleaseOutlookObjects(bool blnLastDisconnect) noexcept {
    // Errors are ignored here: an already-empty variable is no error, and a
    // failing release must not stop the ones after it.
    const auto release = [](auto&& statement) { qbx::quietBoundary(L"ReleaseOutlookObjects", statement); };
    release([] {
        auto reactions = std::move(objOutlookReactions);
        reactions.reset();  // its destructor detaches the Outlook event sinks
    });
    release([] { objSettingsFolder.reset(); });
    release([] { ouaOutlook.reset(); });
    if (blnLastDisconnect) {
        // The personal settings and their dictionary go with the last
        // disconnect, while COM is still up; left to the DLL's static
        // destructors they would be released under the loader lock. Earlier
        // releases (after an error) keep them: a procedure further up may be
        // running one of their members.
        release([] {
            auto settings = std::move(objPersonalSettings);
            settings.reset();
        });
        // The file-system object likewise; it is made again when needed.
        release([] { objFS.reset(); });
        release([] {
            if (lastDisconnectHook().hook) lastDisconnectHook().hook();
        });
    }
    blnShuttingDown = true;
}

HMODULE fncAddinModule() noexcept {
    HMODULE m = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&fncAddinModule), &m);
    return m;
}

std::wstring fncAddinFolder() {
    wchar_t buf[MAX_PATH * 2] = {};
    DWORD n = GetModuleFileNameW(fncAddinModule(), buf, static_cast<DWORD>(std::size(buf)));
    std::wstring path(buf, n);
    size_t cut = path.find_last_of(L"\\/");
    return cut == std::wstring::npos ? std::wstring() : path.substr(0, cut);
}
