// The scripting components and their silent repair, and the file utilities.
#include <doctest/doctest.h>

#include "support/modErroHandling.h"
#include "tests/settings/settings_fixture.h"
#include "support/modFileHandling_testing.h"

using settingstest::Fixture;
using settingstest::Strings;

namespace {
// The registration tool by its full path in this program's system folder,
// never by a name looked up on the search path.
std::wstring systemFolder() {
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return folder;
}
const std::wstring kRegsvr32 = systemFolder() + L"\\regsvr32.exe";
const std::wstring kScrrun = L"\"" + kRegsvr32 + L"\" scrrun.dll /s";
const std::wstring kWshom = L"\"" + kRegsvr32 + L"\" wshom.ocx /s";
const std::wstring kDic = L"Scripting.Dictionary";
const std::wstring kFso = L"Scripting.FileSystemObject";
}  // namespace

TEST_CASE_FIXTURE(Fixture, "the dictionary: text comparison, one repair per load, then the report") {
    recordProcesses();
    qbx::Disp dic = fncCreateDic();
    REQUIRE(dic);
    dic.call(L"Add", L"Key", 1L);
    CHECK(dic.get(L"Exists", L"KEY").toBool());
    CHECK(started.empty());

    failCreation(kDic, 2);  // the direct and the by-name attempt fail; the retry works
    CHECK(fncCreateDic());
    CHECK(attempts[kDic] == 3);
    CHECK(started == Strings{kScrrun});
    CHECK(GetFileAttributesW(kRegsvr32.c_str()) != INVALID_FILE_ATTRIBUTES);

    failCreation(kDic, -1);
    qbxtest::PromptRecorder prompts(IDNO);
    CHECK_FALSE(fncCreateDic());
    CHECK(attempts[kDic] == 5);  // no second repair in this load
    CHECK(started.size() == 1);
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(strErrorReport.find(L"modScriptingDic.fncCreateDic ") != std::wstring::npos);
    CHECK(strErrorReport.find(L"#429") != std::wstring::npos);
    CHECK(blnShuttingDown);
}

TEST_CASE_FIXTURE(Fixture, "the file-system object: one repair, a second failure passes silently, kept once made") {
    recordProcesses();
    failCreation(kFso, -1);
    subSetupFS();  // the prompt guard fails the test on any report
    CHECK_FALSE(objFS);
    CHECK(attempts[kFso] == 4);  // two attempts, the repair, two again at once
    CHECK(started == Strings{kScrrun});
    subSetupFS();
    CHECK(attempts[kFso] == 6);
    CHECK(started.size() == 1);
    CHECK_FALSE(blnErrorOccurred);

    failures[kFso] = 0;
    subSetupFS();
    subSetupFS();
    CHECK(attempts[kFso] == 7);
    REQUIRE(objFS);
    CHECK(objFS.get(L"FolderExists", fncGetTempPath()).toBool());
}

TEST_CASE_FIXTURE(Fixture, "the shell object: its own repair, else the four-line message and the stop") {
    recordProcesses();
    CHECK(fncGetShell());
    failCreation(L"Wscript.Shell", 1);
    CHECK(fncGetShell());
    CHECK(started == Strings{kWshom});

    failCreation(L"Wscript.Shell", -1);
    qbxtest::PromptRecorder prompts(IDOK);
    CHECK_FALSE(fncGetShell());
    CHECK(started == Strings{kWshom, kWshom});
    REQUIRE(prompts.prompts().size() == 1);
    const qbx::Prompt& p = prompts.prompts()[0];
    CHECK(p.text == L"ERROR\r\nAttempting to create a new Scripting.Dictionary object.\r\nThis component is usually "
                    L"installed with Internet Explorer 4.0 or later\r\nPlease download the Windows Scripting Runtime "
                    L"from Microsoft Downloads to resolve this issue!");
    CHECK(p.title == L"Quillbox");
    CHECK(p.style == MB_ICONSTOP);
    CHECK(blnShuttingDown);
    CHECK_FALSE(blnErrorOccurred);  // a message of its own, not an error report
}

TEST_CASE_FIXTURE(Fixture, "file utilities: temporary path and file numbers") {
    CHECK(fncGetTempPath().back() == L'\\');
    CHECK(fncNextFileNumber() == 1);
    subSetFileNumberInUse(2, true);
    CHECK(fncNextFileNumber() == 3);
    for (int i = 4; i <= 255; ++i) fncNextFileNumber();
    CHECK(fncNextFileNumber() == 1);  // starts again after 255, still skipping 2
    CHECK(fncNextFileNumber() == 3);
}
