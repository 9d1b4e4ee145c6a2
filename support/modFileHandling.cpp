#include "support/modFileHandling.h"
#include "support/modFileHandling_testing.h"

#include "support/modErroHandling.h"
#include "support/modScriptingDic.h"
#include "support/com/win_handles.h"

#include <bitset>

qbx::Disp objFS;
bool blnFSRepairTried = false;

namespace {

constexpr short kLastFileNumber = 255;

struct FileNumbers {
    short next = 1;
    std::bitset<kLastFileNumber + 1> inUse;
};

FileNumbers& fileNumbers() {
    static FileNumbers f;
    return f;
}

}  // namespace

void subSetupFS() {
    for (;;) {
        if (objFS) return;
        subSetAction(L"Creating Scripting.FileSystemObject\r\nThis component is normally installed with Internet "
                     L"Explorer 4.0 or later");
        qbx::Err err;
        // Both attempts create by the ProgID: the first stands for the direct
        // creation of the class, the second for the creation by name.
        err.resume([&] { objFS = qbx::Disp::create(L"Scripting.FileSystemObject"); });
        if (!objFS) err.resume([&] { objFS = qbx::Disp::create(L"Scripting.FileSystemObject"); });
        if (objFS) return;
        if (!blnFSRepairTried) {
            subRegisterScrrun();
            blnFSRepairTried = true;
            continue;  // one retry at once, without waiting for the tool
        }
        // The error state is cleared before it is tested, so a second failure
        // in one load passes silently and objFS stays empty.
        err.clear();
        // Kept on purpose (see above): this test never fires.
        if (err.number() != 0) subHandleError(err.description(), err.number(), static_cast<short>(err.line()), L"subSetupFS");
        return;
    }
}

std::wstring fncGetTempPath() {
    std::wstring result;
    subSetAction(L"Finding Temp folder path");
    qbx::guarded(L"fncGetTempPath", [&] {
        wchar_t buf[MAX_PATH + 1] = {};
        DWORD n = GetTempPathW(MAX_PATH + 1, buf);
        if (n == 0 || n > MAX_PATH) qbx::raiseVb(qbx::vbErrPathNotFound);
        result.assign(buf, n);
    });
    return result;
}

short fncNextFileNumber() {
    FileNumbers& f = fileNumbers();
    for (int tries = 0; tries < kLastFileNumber; ++tries) {
        short n = f.next;
        f.next = static_cast<short>(n >= kLastFileNumber ? 1 : n + 1);
        if (!f.inUse[static_cast<size_t>(n)]) return n;
    }
    qbx::raiseVb(qbx::vbErrTooManyFiles);
}

void subSetFileNumberInUse(short number, bool inUse) noexcept {
    if (number >= 1 && number <= kLastFileNumber) fileNumbers().inUse[static_cast<size_t>(number)] = inUse;
}

std::wstring fncRemoveTrailingSlash(const std::wstring& path) { return qbx::withoutTrailingSlash(path); }

void subResetFileHandlingForTests() noexcept {
    objFS.reset();
    blnFSRepairTried = false;
    fileNumbers() = FileNumbers{};
}

void subWriteTextFile(const std::wstring& path, const std::wstring& text, qbx::Here where) {
    std::string bytes = "\xEF\xBB\xBF" + qbx::toUtf8(text);
    qbx::FileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        qbx::raiseLastError(L"The file " + path + L" could not be written", where);
    DWORD written = 0;
    const BOOL ok = WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    const DWORD code = GetLastError();
    if (!ok || written != bytes.size())
        qbx::raiseWin32(code, L"The file " + path + L" could not be written", where);
}
