#include "support/modScriptingDic.h"
#include "support/modScriptingDic_testing.h"

#include "support/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/prompt.h"
#include "support/com/win_handles.h"

#include <vector>

bool blnDicRepairTried = false;

namespace {

constexpr const wchar_t* kCrLf = L"\r\n";

ProcessStarter& starter() {
    static ProcessStarter s;
    return s;
}

void subStartProcess(const std::wstring& commandLine) {
    STARTUPINFOW si{};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESHOWWINDOW;
    si.wShowWindow = SW_SHOWMINIMIZED;
    PROCESS_INFORMATION pi{};
    std::vector<wchar_t> line(commandLine.begin(), commandLine.end());
    line.push_back(L'\0');  // CreateProcessW may write into its command line
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) {
        // Nobody waits for the tool; only the handles are given back.
        qbx::Handle process(pi.hProcess);
        qbx::Handle thread(pi.hThread);
    }
}

// One creation attempt, errors ignored: nothing on failure.
qbx::Disp fncTryCreate(qbx::Err& err, const wchar_t* progId) {
    qbx::Disp d;
    err.resume([&] { d = qbx::Disp::create(progId); });
    return d;
}

}  // namespace

void subSetProcessStarter(ProcessStarter s) { starter() = std::move(s); }

// The command line of the registration tool: regsvr32.exe by its full path
// in the system folder, quoted, then the arguments. Empty when the system
// folder can't be read (nothing is started then).
static std::wstring fncRegistrationToolLine(const std::wstring& arguments) {
    // The system folder as this process sees it: a 32-bit add-in on 64-bit
    // Windows reaches the 32-bit tool through the folder's redirection. A
    // regsvr32 found on the search path (Outlook's working folder, a folder
    // on PATH) is never started.
    wchar_t folder[MAX_PATH] = {};
    const UINT n = GetSystemDirectoryW(folder, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return {};
    return L"\"" + qbx::withoutTrailingSlash(std::wstring(folder, n)) + L"\\regsvr32.exe\" " + arguments;
}

void subStartMinimised(const std::wstring& commandLine) noexcept {
    qbx::quietBoundary(L"subStartMinimised", [&] {
        if (starter())
            starter()(commandLine);
        else
            subStartProcess(commandLine);
    });
}

void subRegisterScrrun() {
    const std::wstring line = fncRegistrationToolLine(L"scrrun.dll /s");
    if (!line.empty()) subStartMinimised(line);
}

qbx::Disp fncCreateDic() {
    qbx::Disp dic;
    subSetAction(L"Attempting to create a new Scripting.Dictionary object. This component is usually installed "
                 L"with Internet Explorer 4.0 or later");
    qbx::Err err;
    for (;;) {
        // Both attempts create by the ProgID: the first stands for the direct
        // creation of the class, the second for the creation by name.
        dic = fncTryCreate(err, L"Scripting.Dictionary");
        if (!dic) dic = fncTryCreate(err, L"Scripting.Dictionary");
        if (dic || blnDicRepairTried) break;
        subRegisterScrrun();
        blnDicRepairTried = true;
    }
    if (!dic) {
        subHandleError(err.description(), err.number(), static_cast<short>(err.line()), L"modScriptingDic.fncCreateDic");
        return dic;
    }
    qbx::Disp result;
    qbx::guarded(L"modScriptingDic.fncCreateDic", [&] {
        dic.put(L"CompareMode", 1L);
        result = dic;
    });
    return result;
}

qbx::Disp fncGetShell() {
    qbx::Err err;
    qbx::Disp shell = fncTryCreate(err, L"Wscript.Shell");
    if (!shell) {
        const std::wstring line = fncRegistrationToolLine(L"wshom.ocx /s");
        if (!line.empty()) subStartMinimised(line);
        shell = fncTryCreate(err, L"Wscript.Shell");
    }
    if (!shell) {
        qbx::fncMsgBox(std::wstring(L"ERROR") + kCrLf + L"Attempting to create a new Scripting.Dictionary object." +
                           kCrLf + L"This component is usually installed with Internet Explorer 4.0 or later" +
                           kCrLf +
                           L"Please download the Windows Scripting Runtime from Microsoft Downloads to resolve this "
                           L"issue!",
                       MB_ICONSTOP, kProductName);
        ReleaseOutlookObjects();
    }
    err.clear();
    return shell;
}

void subResetScriptingRepairsForTests() noexcept { blnDicRepairTried = false; }
