#include "support/modScriptingDic.h"

#include "host/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/prompt.h"

#include <vector>

bool blnDicRepairTried = false;

namespace {

constexpr const wchar_t* kCrLf = L"\r\n";

ProcessStarter& starter() {
    static ProcessStarter s;
    return s;
}

void startProcess(const std::wstring& commandLine) {
    STARTUPINFOW si{};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESHOWWINDOW;
    si.wShowWindow = SW_SHOWMINIMIZED;
    PROCESS_INFORMATION pi{};
    std::vector<wchar_t> line(commandLine.begin(), commandLine.end());
    line.push_back(L'\0');  // CreateProcessW may write into its command line
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) {
        // Nobody waits for the tool; only the handles are given back.
        CloseHandle(pi.hThread);
        CloseHandle(pi.hProcess);
    }
}

// One creation attempt, errors ignored: nothing on failure.
qbx::Disp tryCreate(qbx::Err& err, const wchar_t* progId) {
    qbx::Disp d;
    err.resume([&] { d = qbx::Disp::create(progId); });
    return d;
}

}  // namespace

void subSetProcessStarter(ProcessStarter s) { starter() = std::move(s); }

void subStartMinimised(const std::wstring& commandLine) noexcept {
    try {
        if (starter())
            starter()(commandLine);
        else
            startProcess(commandLine);
    } catch (...) {
    }
}

void subRegisterScrrun() { subStartMinimised(L"regsvr32 scrrun.dll /s"); }

qbx::Disp fncCreateDic() {
    qbx::Disp dic;
    subSetAction(L"Attempting to create a new Scripting.Dictionary object. This component is usually installed "
                 L"with Internet Explorer 4.0 or later");
    qbx::Err err;
    for (;;) {
        // Both attempts create by the ProgID: the first stands for the direct
        // creation of the class, the second for the creation by name.
        dic = tryCreate(err, L"Scripting.Dictionary");
        if (!dic) dic = tryCreate(err, L"Scripting.Dictionary");
        if (dic || blnDicRepairTried) break;
        subRegisterScrrun();
        blnDicRepairTried = true;
    }
    if (!dic) {
        subHandleError(err.description(), err.number(), 0, L"modScriptingDic.fncCreateDic");
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
    qbx::Disp shell = tryCreate(err, L"Wscript.Shell");
    if (!shell) {
        subStartMinimised(L"regsvr32 wshom.ocx /s");
        shell = tryCreate(err, L"Wscript.Shell");
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
