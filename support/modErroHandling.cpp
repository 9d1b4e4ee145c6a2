#include "support/modErroHandling.h"
#include "support/modErroHandling_testing.h"

#include "support/modGlobals.h"
#include "support/modOutlookCode.h"
#include "support/phrases.h"
#include "support/prompt.h"
#include "support/com/win_handles.h"

#include <cstdio>
#include <new>

std::wstring strCurrentAction;
std::wstring strErrorReport;
bool blnErrorOccurred = false;
bool blnErrorReported = false;
#ifdef QBX_DEBUG_LOG
bool blnDebugLog = true;
#else
bool blnDebugLog = false;
#endif

const wchar_t* const kSupportAddress = L"support@quillbox.example";
const wchar_t* const kProductName = L"Quillbox";

namespace {

constexpr const wchar_t* kCrLf = L"\r\n";

GetVersionFn& versionQuery() {
    static GetVersionFn fn = &GetVersionExA;
    return fn;
}

// The fields of the last operating-system query.
struct {
    DWORD callResult = 0;  // kept on purpose: the query's result is kept, though nothing reads it
    DWORD major = 0;
    DWORD platformId = 0;
    DWORD minor = 0;
} osVersion;

}  // namespace

void subSetVersionQuery(GetVersionFn fn) noexcept { versionQuery() = fn ? fn : &GetVersionExA; }

namespace {

void (*reportHook)() = nullptr;

// The report when memory has run out: fixed texts and the action trail as it
// stands, put together in a static buffer, so nothing is allocated. The
// caller stops the add-in afterwards, as after any report.
constexpr wchar_t kOutOfMemoryText[] =
    L"Quillbox ran out of memory and has stopped until Outlook starts it again. It was busy with:";

void subReportOutOfMemory() noexcept {
    if (!blnErrorReported) {
        blnErrorOccurred = true;
        blnErrorReported = true;
        static wchar_t text[2048];
        _snwprintf(text, 2047, L"%ls\r\n%ls", kOutOfMemoryText, strCurrentAction.c_str());
        text[2047] = L'\0';
        qbx::fncMsgBoxFixed(text, MB_OK | MB_ICONSTOP, kProductName);
    }
}

}  // namespace

void subSetReportHook(void (*hook)()) noexcept { reportHook = hook; }

void subLogSwallowedFailure(const wchar_t* boundary, const qbx::Error& failure) noexcept {
    if (!blnDebugLog) return;
    try {
        subWriteLog(L"Failure swallowed in " + std::wstring(boundary) + L": #" + std::to_wstring(failure.number()) +
                    L" " + failure.description() + L" (line " + std::to_wstring(failure.line()) + L")");
    } catch (...) {
        // No memory left for the line: the log misses it, as it misses a
        // line it can't write.
    }
}

namespace {

// Every failure a boundary swallows (an event handler's, a COM method's, a
// window procedure's) goes to the debug log. Set while the module starts:
// this file is in every program that can fail (the DLL, every test program),
// and the class factory or a control may fail before any connection exists.
[[maybe_unused]] const bool failuresLogged = (qbx::setFailureObserver(&subLogSwallowedFailure), true);

}  // namespace

void subHandleCaught(const wchar_t* procedure) noexcept {
    try {
        const qbx::Error e = qbx::caughtError();
        subHandleError(e.description(), e.number(), static_cast<short>(e.line()), procedure);
    } catch (...) {
        // Not even the procedure's name could be kept.
        subReportOutOfMemory();
        ReleaseOutlookObjects();
    }
}

void subSetAction(const std::wstring& action) {
    strCurrentAction = action;
    if (blnDebugLog) subWriteLog(action);
}

std::wstring fncGetAction() { return strCurrentAction; }

std::wstring fncGetOSVersion() {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = 148;
    osVersion.callResult = static_cast<DWORD>(versionQuery()(&info));
    osVersion.major = info.dwMajorVersion;
    osVersion.minor = info.dwMinorVersion;
    osVersion.platformId = info.dwPlatformId;
    switch (osVersion.platformId) {
        case 2:
            return L"Windows NT " + std::to_wstring(osVersion.major) + L"." + std::to_wstring(osVersion.minor);
        case 1:
            if (osVersion.minor == 10) return L"Windows 98";
            if (osVersion.minor == 0) return L"Windows 95";
            if (osVersion.minor == 90) return L"Windows Me";
            return L"";
        default:
            return L"";
    }
}

void subWriteLog(const std::wstring& action) noexcept {
    try {
        if (action.empty()) return;
        std::wstring path = fncAddinFolder() + L"\\BrantholmLog.txt";
        SYSTEMTIME now;
        GetLocalTime(&now);
        wchar_t date[128] = {}, time[128] = {};
        GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &now, nullptr, date, 128);
        GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &now, nullptr, time, 128);
        std::wstring line = std::wstring(kProductName) + L"\t" + date + L" " + time + L"\t" + action + kCrLf;
        // The log is an ANSI text file, appended to, created when absent.
        int n = WideCharToMultiByte(CP_ACP, 0, line.c_str(), static_cast<int>(line.size()), nullptr, 0, nullptr, nullptr);
        std::string bytes(static_cast<size_t>(n), '\0');
        WideCharToMultiByte(CP_ACP, 0, line.c_str(), static_cast<int>(line.size()), bytes.data(), n, nullptr, nullptr);
        qbx::FileHandle h(CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!h) return;
        DWORD written = 0;
        WriteFile(h.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    } catch (...) {
        // An unwritable add-in folder leaves no trace.
    }
}

std::wstring fncAddinVersion() {
    HMODULE module = fncAddinModule();
    HRSRC res = FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16));  // RT_VERSION
    if (!res) return L"0.0.0";
    HGLOBAL data = LoadResource(module, res);
    DWORD size = SizeofResource(module, res);
    auto* bytes = static_cast<const BYTE*>(LockResource(data));
    if (!bytes || size < 40) return L"0.0.0";
    // VS_VERSIONINFO starts with a header and the key "VS_VERSION_INFO"; the
    // fixed file information follows, aligned to 32 bits.
    const VS_FIXEDFILEINFO* fixed = nullptr;
    for (DWORD off = 0; off + sizeof(VS_FIXEDFILEINFO) <= size; off += 4) {
        auto* candidate = reinterpret_cast<const VS_FIXEDFILEINFO*>(bytes + off);
        if (candidate->dwSignature == 0xFEEF04BD) {
            fixed = candidate;
            break;
        }
    }
    if (!fixed) return L"0.0.0";
    return std::to_wstring(HIWORD(fixed->dwFileVersionMS)) + L"." + std::to_wstring(LOWORD(fixed->dwFileVersionMS)) +
           L"." + std::to_wstring(LOWORD(fixed->dwFileVersionLS));
}

void subHandleError(const std::wstring& description, long number, short line, const std::wstring& procedure) noexcept {
    try {
        if (!blnErrorReported) {
            if (reportHook) reportHook();
            std::wstring header = LNGERRINAPP + L" " + kProductName + L" (" + fncGetOSVersion() + L")" + kCrLf +
                                  std::wstring(70, L'-') + kCrLf + kCrLf;
            strErrorReport = LNGERRTHISERROR + L" :" + kCrLf;
            strErrorReport += fncGetAction() + kCrLf;
            strErrorReport += kCrLf;
            strErrorReport += LNGERRSYSTEMERROR + L" :" + kCrLf;
            strErrorReport += description + kCrLf;
            strErrorReport += L"#" + std::to_wstring(number) + kCrLf;
            strErrorReport += kCrLf;
            strErrorReport += LNGSUBROUTINE + L" : " + procedure + L" " + kCrLf;
            strErrorReport += LNGERRLINE + L": " + std::to_wstring(line);

            std::wstring prompt = header + strErrorReport + kCrLf + kCrLf + LNGERRSENDREPORT + L"?";
            blnErrorOccurred = true;
            blnErrorReported = true;

            if (qbx::fncMsgBox(prompt, MB_YESNO, kProductName) == IDYES) {
                if (!ouaOutlook) fncStartOutlook();
                std::wstring version = ouaOutlook.get(L"Version").toString();
                strErrorReport += kCrLf + std::wstring(L"Outlook Version: ") + version + kCrLf;
                subSendErrorMail();
            }
        }
    } catch (...) {
        // The report's own trap: a failure in here ends the report, seen in
        // the debug log; out of memory still shows the fixed report.
        if (qbx::noteCaught(L"subHandleError").number() == qbx::vbErrOutOfMemory) subReportOutOfMemory();
    }
    // The add-in stops whatever became of the report (Outlook's version
    // unreadable, the mail not made).
    ReleaseOutlookObjects();
}

void subSendErrorMail() noexcept {
    qbx::Err err;
    qbx::Disp app = ouaOutlook;
    qbx::Disp mail;
    err.resume([&] { mail = app.get(L"CreateItem", 0).toDisp(); });
    err.resume([&] { mail.put(L"To", kSupportAddress); });
    err.resume([&] {
        mail.put(L"Subject", std::wstring(L"Error in ") + kProductName + L" " + fncAddinVersion() + L" (" +
                                 fncGetOSVersion() + L")");
    });
    err.resume([&] { mail.put(L"body", strErrorReport); });
    err.resume([&] { mail.call(L"Save"); });
    err.resume([&] { mail.call(L"Display"); });
    err.clear();
    mail.reset();
    app.reset();
    // The clear above comes first on purpose: only an error raised after it
    // could show this message.
    if (err.number() != 0)
        qbx::fncMsgBox(L"Failed to send error email using MS Outlook!", MB_ICONSTOP, kProductName);
}
