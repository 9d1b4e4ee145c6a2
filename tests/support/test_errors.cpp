// The error report: the prompt and report text to the character, the mail
// on Yes, one report per load, the release after every error, the guard and
// the errors-ignored stretches.
#include <doctest/doctest.h>

#include "support/modGlobals.h"
#include "support/com/dispatch_object.h"
#include "support/modErroHandling.h"
#include "support/modErroHandling_testing.h"
#include "support/modOutlookCode.h"
#include "support/phrases.h"
#include "tests/test_support.h"

#include <algorithm>
#include <map>

using qbx::Args;
using qbx::Variant;

namespace {

const std::wstring CRLF = L"\r\n";

BOOL WINAPI fakeWinXP(LPOSVERSIONINFOA v) {
    v->dwMajorVersion = 5;
    v->dwMinorVersion = 1;
    v->dwPlatformId = 2;
    return TRUE;
}
BOOL WINAPI fakeWin9xOdd(LPOSVERSIONINFOA v) {
    v->dwMajorVersion = 4;
    v->dwMinorVersion = 3;
    v->dwPlatformId = 1;
    return TRUE;
}
BOOL WINAPI fakeWinMe(LPOSVERSIONINFOA v) {
    v->dwMajorVersion = 4;
    v->dwMinorVersion = 90;
    v->dwPlatformId = 1;
    return TRUE;
}

// An Outlook stand-in that records the mail the report creates.
class FakeMail final : public qbx::DispatchObject {
public:
    FakeMail() : DispatchObject(L"_MailItem") {
        auto field = [this](const wchar_t* name) {
            property(name, [this, name](Args&) { return Variant(fields[name]); },
                     [this, name](Args&, const Variant& v) { fields[name] = v.toString(); });
        };
        field(L"To");
        field(L"Subject");
        field(L"Body");
        method(L"Save", [this](Args&) { calls += L"Save;"; return Variant(); });
        method(L"Display", [this](Args&) { calls += L"Display;"; return Variant(); });
    }
    std::map<std::wstring, std::wstring> fields;
    std::wstring calls;
};

class FakeOutlook final : public qbx::DispatchObject {
public:
    FakeOutlook() : DispatchObject(L"_Application") {
        property(L"Version", [](Args&) { return Variant(L"11.0.0.5510"); });
        method(L"GetNamespace", [this](Args&) { return Variant(static_cast<IDispatch*>(this)); });
        method(L"CreateItem", [this](Args& a) {
            createdType = a.i32(0);
            mail = qbx::makeObject<FakeMail>();
            return Variant(static_cast<IDispatch*>(mail.get()));
        });
    }
    long createdType = -1;
    qbx::ComPtr<FakeMail> mail;
};

struct ErrorFixture {
    ErrorFixture() {
        qbxtest::resetAddinState();
        subSetVersionQuery(fakeWinXP);
    }
    ~ErrorFixture() {
        subSetVersionQuery(nullptr);
        size_t n = 0;
        const qbx::PhraseSlot* slots = qbx::phraseSlots(&n);
        for (size_t i = 0; i < n; ++i) slots[i].variable->clear();
        qbxtest::resetAddinState();
    }
};

void setEnglishReportPhrases() {
    LNGERRINAPP = L"There has been an error in this application.";
    LNGERRTHISERROR = L"This error has occured:";
    LNGERRSYSTEMERROR = L"The system error message was:";
    LNGSUBROUTINE = L"Sub routine";
    LNGERRLINE = L"Error on line";
    LNGERRSENDREPORT = L"Would you like to send an e-mail with an error report?";
}

}  // namespace

TEST_CASE_FIXTURE(ErrorFixture, "the report and the prompt are built to the character") {
    setEnglishReportPhrases();
    qbxtest::PromptRecorder prompts(IDNO);
    subSetAction(L"Finding Temp folder path");
    subHandleError(L"Permission denied", 70, 12, L"fncGetTempPath");

    const std::wstring report = L"This error has occured: :" + CRLF + L"Finding Temp folder path" + CRLF + CRLF +
                                L"The system error message was: :" + CRLF + L"Permission denied" + CRLF + L"#70" +
                                CRLF + CRLF + L"Sub routine : fncGetTempPath " + CRLF + L"Error on line: 12";
    CHECK(strErrorReport == report);
    REQUIRE(prompts.prompts().size() == 1);
    const qbx::Prompt& p = prompts.prompts()[0];
    CHECK(p.text == L"There has been an error in this application. Quillbox (Windows NT 5.1)" + CRLF +
                        std::wstring(70, L'-') + CRLF + CRLF + report + CRLF + CRLF +
                        L"Would you like to send an e-mail with an error report??");
    CHECK(p.title == L"Quillbox");
    CHECK(p.style == MB_YESNO);  // Yes and No, no icon
    CHECK(blnErrorOccurred);
    CHECK(blnErrorReported);
    CHECK(blnShuttingDown);  // every error ends with the release
}

TEST_CASE_FIXTURE(ErrorFixture, "before the phrases are loaded the report is right with empty texts") {
    subSetVersionQuery(fakeWin9xOdd);  // platform 1, minor 3: no system name
    qbxtest::PromptRecorder prompts(IDNO);
    subSetAction(L"Reading language phrases from resource file");
    subHandleError(L"Automation error", -2147467259, 0, L"subReadPhrases");
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text == L" Quillbox ()" + CRLF + std::wstring(70, L'-') + CRLF + CRLF + L" :" + CRLF +
                                           L"Reading language phrases from resource file" + CRLF + CRLF + L" :" +
                                           CRLF + L"Automation error" + CRLF + L"#-2147467259" + CRLF + CRLF +
                                           L" : subReadPhrases " + CRLF + L": 0" + CRLF + CRLF + L"?");
}

TEST_CASE_FIXTURE(ErrorFixture, "only the first error of a load is reported; later ones only release again") {
    qbxtest::PromptRecorder prompts(IDNO);
    subHandleError(L"first", 1, 1, L"a");
    std::wstring firstReport = strErrorReport;
    blnShuttingDown = false;
    subHandleError(L"second", 2, 2, L"b");
    CHECK(prompts.prompts().size() == 1);
    CHECK(strErrorReport == firstReport);
    CHECK(blnShuttingDown);
}

TEST_CASE_FIXTURE(ErrorFixture, "Yes mails the report through Outlook for the user to send") {
    setEnglishReportPhrases();
    auto outlook = qbx::makeObject<FakeOutlook>();
    ouaOutlook = qbx::Disp(outlook.get());
    qbxtest::PromptRecorder prompts(IDYES);
    subSetAction(L"Saving settings to Outlook object");
    subHandleError(L"Type mismatch", 13, 3, L"SaveSettings");

    REQUIRE(outlook->mail);
    CHECK(outlook->createdType == 0);
    CHECK(outlook->mail->fields[L"To"] == kSupportAddress);
    CHECK(outlook->mail->fields[L"Subject"] == L"Error in Quillbox " + fncAddinVersion() + L" (Windows NT 5.1)");
    // The body is the report with Outlook's version, without the header.
    CHECK(outlook->mail->fields[L"Body"] == strErrorReport);
    CHECK(strErrorReport.starts_with(L"This error has occured: :" + CRLF + L"Saving settings to Outlook object"));
    CHECK(strErrorReport.ends_with(L"Error on line: 3" + CRLF + L"Outlook Version: 11.0.0.5510" + CRLF));
    CHECK(outlook->mail->calls == L"Save;Display;");  // shown, never sent silently
    CHECK(prompts.prompts().size() == 1);
    CHECK(!ouaOutlook);  // released after the report
    outlook->mail.reset();
}

TEST_CASE_FIXTURE(ErrorFixture, "the add-in's version comes from its version resource") {
    std::wstring v = fncAddinVersion();
    CHECK(v != L"0.0.0");
    CHECK(std::count(v.begin(), v.end(), L'.') == 2);
}

TEST_CASE_FIXTURE(ErrorFixture, "operating-system names") {
    CHECK(fncGetOSVersion() == L"Windows NT 5.1");
    subSetVersionQuery(fakeWinMe);
    CHECK(fncGetOSVersion() == L"Windows Me");
    subSetVersionQuery(fakeWin9xOdd);
    CHECK(fncGetOSVersion().empty());
}

TEST_CASE_FIXTURE(ErrorFixture, "guarded bodies report the failing line and procedure and keep the initial result") {
    qbxtest::PromptRecorder prompts(IDNO);
    setEnglishReportPhrases();
    bool result = false;
    subSetAction(L"Doing the work");
    int line = 0;
    bool ran = qbx::guarded(L"fncDoWork", [&] {
        qbx::Disp nothing;
        line = __LINE__ + 1;
        nothing.call(L"Save");
        result = true;
    });
    CHECK_FALSE(ran);
    CHECK_FALSE(result);
    CHECK(strErrorReport.ends_with(L"Sub routine : fncDoWork " + CRLF + L"Error on line: " + std::to_wstring(line)));
    CHECK(strErrorReport.find(L"#91") != std::wstring::npos);
}

TEST_CASE_FIXTURE(ErrorFixture, "out of memory: a body's bad_alloc is reported; a report that can't be built falls back to fixed text") {
    setEnglishReportPhrases();
    const std::wstring trail = L"Uploading C:\\Temp\\1big.iso to http://server/lib/big.iso";
    {
        qbxtest::PromptRecorder prompts(IDNO);
        subSetAction(trail);
        CHECK_FALSE(qbx::guarded(L"fncUploadFile", [] { throw std::bad_alloc(); }));
        REQUIRE(prompts.prompts().size() == 1);
        CHECK(strErrorReport.find(trail + CRLF + CRLF + L"The system error message was: :" + CRLF + L"Out of memory" + CRLF + L"#7") !=
              std::wstring::npos);
    }
    // Memory gone while the report itself is built (a guarded body, and the
    // report routine called directly): the fixed text with the trail as it
    // stands, once; the add-in stops all the same.
    for (bool direct : {false, true}) {
        qbxtest::resetAddinState();
        qbxtest::PromptRecorder prompts(IDNO);
        subSetAction(trail);
        subSetReportHook([] { throw std::bad_alloc(); });
        if (direct) subHandleError(L"Out of memory", 7, 0, L"fncUploadFile");
        else CHECK_FALSE(qbx::guarded(L"fncUploadFile", [] { qbx::raiseVb(qbx::vbErrOutOfMemory); }));
        subHandleError(L"later", 5, 0, L"x");  // a later error shows nothing
        subSetReportHook(nullptr);
        REQUIRE(prompts.prompts().size() == 1);
        CHECK(prompts.prompts()[0].text ==
              L"Quillbox ran out of memory and has stopped until Outlook starts it again. It was busy with:" + CRLF + trail);
        CHECK(prompts.prompts()[0].title == L"Quillbox");
        CHECK(blnErrorReported);
        CHECK(blnShuttingDown);
    }
}

TEST_CASE_FIXTURE(ErrorFixture, "errors-ignored stretches go on with the next statement and keep the last error") {
    qbx::Err err;
    int reached = 0;
    err.resume([] { qbx::raise(5, L"Invalid procedure call or argument"); });
    err.resume([&] { reached = 1; });
    CHECK(reached == 1);
    CHECK(err.number() == 5);
    err.clear();
    CHECK(err.number() == 0);
    CHECK_FALSE(blnErrorOccurred);  // ignored errors never reach the report
}

TEST_CASE_FIXTURE(ErrorFixture, "the debug log is off by default and writes nothing") {
    std::wstring log = fncAddinFolder() + L"\\BrantholmLog.txt";
    DeleteFileW(log.c_str());
    CHECK_FALSE(blnDebugLog);
    subSetAction(L"Anything");
    CHECK(GetFileAttributesW(log.c_str()) == INVALID_FILE_ATTRIBUTES);

    // Switched on: one line per action, none for an empty action.
    blnDebugLog = true;
    subSetAction(L"");
    CHECK(strCurrentAction.empty());
    CHECK(GetFileAttributesW(log.c_str()) == INVALID_FILE_ATTRIBUTES);
    subSetAction(L"Opening settings form");
    blnDebugLog = false;
    HANDLE h = CreateFileW(log.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    REQUIRE(h != INVALID_HANDLE_VALUE);
    char buf[512] = {};
    DWORD got = 0;
    ReadFile(h, buf, sizeof buf - 1, &got, nullptr);
    CloseHandle(h);
    DeleteFileW(log.c_str());
    std::string line(buf, got);
    CHECK(line.starts_with("Quillbox\t"));
    CHECK(line.ends_with("\tOpening settings form\r\n"));
    CHECK(std::count(line.begin(), line.end(), '\n') == 1);
}

TEST_CASE_FIXTURE(ErrorFixture, "Outlook is looked for by its versioned names first, and a clear message follows when none answers") {
    std::vector<std::wstring> tried;
    qbx::setCreateHook([&](const wchar_t* progId, IDispatch** out) {
        tried.push_back(progId);
        *out = nullptr;
        return REGDB_E_CLASSNOTREG;
    });
    qbxtest::PromptRecorder prompts(IDOK);
    CHECK_FALSE(fncStartOutlook());
    qbx::setCreateHook(nullptr);
    CHECK(tried == std::vector<std::wstring>{L"Outlook.Application.12", L"Outlook.Application.11",
                                             L"Outlook.Application.10", L"Outlook.Application.9",
                                             L"Outlook.Application"});
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text == L"Please start Outlook manually before you execute this application!");
    CHECK(prompts.prompts()[0].title == L"Quillbox");
    CHECK(!ouaOutlook);

    // The first name that answers (and offers its MAPI namespace) is kept.
    auto outlook = qbx::makeObject<FakeOutlook>();
    tried.clear();
    qbx::setCreateHook([&](const wchar_t* progId, IDispatch** out) {
        tried.push_back(progId);
        if (std::wstring(progId) != L"Outlook.Application.10") return REGDB_E_CLASSNOTREG;
        *out = qbx::ComPtr<IDispatch>(outlook.get()).detach();
        return S_OK;
    });
    CHECK(fncStartOutlook());
    qbx::setCreateHook(nullptr);
    CHECK(tried.size() == 3);
    CHECK(ouaOutlook.sameAs(qbx::Disp(outlook.get())));
    ouaOutlook.reset();
}

namespace {

// An Outlook that is gone by the time the report asks for its version.
class VanishedOutlook final : public qbx::DispatchObject {
public:
    VanishedOutlook() : DispatchObject(L"_Application") {
        property(L"Version", [](Args&) -> Variant { qbx::raise(static_cast<long>(0x800706BAL), L"The RPC server is unavailable."); });
    }
};

}  // namespace

TEST_CASE_FIXTURE(ErrorFixture, "the add-in stops after a report whatever becomes of it, also when Outlook's version can't be read") {
    auto outlook = qbx::makeObject<VanishedOutlook>();
    ouaOutlook = qbx::Disp(outlook.get());
    objSettingsFolder = qbx::Disp(outlook.get());
    qbxtest::PromptRecorder prompts(IDYES);
    subHandleError(L"Type mismatch", 13, 3, L"SaveSettings");
    CHECK(prompts.prompts().size() == 1);
    CHECK(blnShuttingDown);
    CHECK_FALSE(ouaOutlook);
    CHECK_FALSE(objSettingsFolder);
}
