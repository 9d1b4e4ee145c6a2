// The scripting components and their silent repair: the registration tool
// runs once per load and per component, the retry follows at once, a second
// failure is silent for the file-system object, and the shell's failure
// tells the user and stops the add-in. Plus the small file utilities.
#include <doctest/doctest.h>

#include "host/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/modFileHandling.h"
#include "support/modScriptingDic.h"
#include "tests/settings/settings_fixture.h"
#include "tests/test_support.h"

using settingstest::FailingCreation;
using settingstest::Fixture;
using settingstest::StartedProcesses;

namespace {
const wchar_t* const kScrrun = L"regsvr32 scrrun.dll /s";
}

TEST_CASE_FIXTURE(Fixture, "a dictionary compares keys without regard to case and needs no repair when it works") {
    StartedProcesses started;
    qbx::Disp dic = fncCreateDic();
    REQUIRE(dic);
    CHECK(dic.get(L"CompareMode").toLong() == 1);
    dic.call(L"Add", L"Key", L"first");
    CHECK(dic.call(L"Exists", L"KEY").toBool());
    CHECK_THROWS_AS(dic.call(L"Add", L"kEY", L"second"), qbx::Error);
    CHECK(started.lines().empty());
    CHECK_FALSE(blnDicRepairTried);
}

TEST_CASE_FIXTURE(Fixture, "the dictionary's repair runs the registration tool once and retries at once") {
    StartedProcesses started;
    FailingCreation creation;
    SUBCASE("the retry succeeds") {
        creation.fail(L"Scripting.Dictionary", 2);  // the direct and the by-name attempt
        qbx::Disp dic = fncCreateDic();
        CHECK(dic);
        CHECK(creation.attempts(L"Scripting.Dictionary") == 3);
        CHECK(started.lines() == std::vector<std::wstring>{kScrrun});
        CHECK_FALSE(blnErrorOccurred);
    }
    SUBCASE("nothing helps: reported under its module-qualified name, no second repair later") {
        creation.fail(L"Scripting.Dictionary", -1);
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncCreateDic());
        CHECK(creation.attempts(L"Scripting.Dictionary") == 4);
        CHECK(started.lines().size() == 1);
        REQUIRE(prompts.prompts().size() == 1);
        CHECK(strErrorReport.find(L"modScriptingDic.fncCreateDic ") != std::wstring::npos);
        CHECK(strErrorReport.find(L"#429") != std::wstring::npos);
        CHECK(strCurrentAction ==
              L"Attempting to create a new Scripting.Dictionary object. This component is usually installed with "
              L"Internet Explorer 4.0 or later");
        CHECK(blnShuttingDown);

        CHECK_FALSE(fncCreateDic());
        CHECK(creation.attempts(L"Scripting.Dictionary") == 6);
        CHECK(started.lines().size() == 1);  // the repair ran once in this load
        CHECK(prompts.prompts().size() == 1);  // one report per load
    }
}

TEST_CASE_FIXTURE(Fixture, "the file-system object is made once, repaired once, and a second failure passes silently") {
    StartedProcesses started;
    FailingCreation creation;
    SUBCASE("made on first need and kept") {
        subSetupFS();
        REQUIRE(objFS);
        CHECK(objFS.call(L"FolderExists", fncGetTempPath()).toBool());
        subSetupFS();
        CHECK(creation.attempts(L"Scripting.FileSystemObject") == 1);
        CHECK(started.lines().empty());
    }
    SUBCASE("the repair's retry succeeds") {
        creation.fail(L"Scripting.FileSystemObject", 2);
        subSetupFS();
        CHECK(objFS);
        CHECK(started.lines() == std::vector<std::wstring>{kScrrun});
        CHECK(blnFSRepairTried);
    }
    SUBCASE("unregistered for good: one repair, never a report") {
        creation.fail(L"Scripting.FileSystemObject", -1);
        subSetupFS();  // the prompt guard fails the test on any report
        CHECK_FALSE(objFS);
        CHECK(started.lines().size() == 1);
        CHECK(creation.attempts(L"Scripting.FileSystemObject") == 4);
        subSetupFS();
        CHECK_FALSE(objFS);
        CHECK(started.lines().size() == 1);
        CHECK(creation.attempts(L"Scripting.FileSystemObject") == 6);
        CHECK_FALSE(blnErrorOccurred);
        CHECK_FALSE(blnShuttingDown);
    }
}

TEST_CASE_FIXTURE(Fixture, "the shell object: repaired through its own library, else the four-line message and a stop") {
    StartedProcesses started;
    FailingCreation creation;
    SUBCASE("works") {
        qbx::Disp shell = fncGetShell();
        REQUIRE(shell);
        CHECK(shell.call(L"ExpandEnvironmentStrings", L"%TEMP%").toString().find(L'%') == std::wstring::npos);
        CHECK(started.lines().empty());
    }
    SUBCASE("the retry after the repair succeeds") {
        creation.fail(L"Wscript.Shell", 1);
        CHECK(fncGetShell());
        CHECK(started.lines() == std::vector<std::wstring>{L"regsvr32 wshom.ocx /s"});
        CHECK_FALSE(blnShuttingDown);
    }
    SUBCASE("can't be made") {
        creation.fail(L"Wscript.Shell", -1);
        qbxtest::PromptRecorder prompts(IDOK);
        strCurrentAction = L"before";
        CHECK_FALSE(fncGetShell());
        CHECK(started.lines() == std::vector<std::wstring>{L"regsvr32 wshom.ocx /s"});
        REQUIRE(prompts.prompts().size() == 1);
        const qbx::Prompt& p = prompts.prompts()[0];
        CHECK(p.text ==
              L"ERROR\r\nAttempting to create a new Scripting.Dictionary object.\r\nThis component is usually "
              L"installed with Internet Explorer 4.0 or later\r\nPlease download the Windows Scripting Runtime from "
              L"Microsoft Downloads to resolve this issue!");
        CHECK(p.title == L"Quillbox");
        CHECK(p.style == MB_ICONSTOP);
        CHECK(blnShuttingDown);
        CHECK(strCurrentAction == L"before");  // no action trail of its own
        CHECK_FALSE(blnErrorOccurred);         // a message, not an error report
    }
}

TEST_CASE_FIXTURE(Fixture, "file utilities: the temporary path, file numbers and trailing separators") {
    std::wstring temp = fncGetTempPath();
    REQUIRE(temp.size() > 3);
    CHECK(temp.back() == L'\\');
    CHECK((GetFileAttributesW(temp.c_str()) & FILE_ATTRIBUTE_DIRECTORY) != 0);

    CHECK(fncNextFileNumber() == 1);
    CHECK(fncNextFileNumber() == 2);
    subSetFileNumberInUse(3, true);
    subSetFileNumberInUse(4, true);
    CHECK(fncNextFileNumber() == 5);
    for (int i = 6; i <= 255; ++i) fncNextFileNumber();
    CHECK(fncNextFileNumber() == 1);  // starts again after 255
    subSetFileNumberInUse(3, false);
    fncNextFileNumber();
    CHECK(fncNextFileNumber() == 3);

    CHECK(fncRemoveTrailingSlash(L"C:\\Temp\\") == L"C:\\Temp");
    CHECK(fncRemoveTrailingSlash(L"http://x/lib/") == L"http://x/lib");
    CHECK(fncRemoveTrailingSlash(L"C:\\Temp\\\\") == L"C:\\Temp\\");  // one only
    CHECK(fncRemoveTrailingSlash(L"") == L"");
}
