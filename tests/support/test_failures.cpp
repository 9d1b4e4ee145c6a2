// Failures the user is never told about still leave a trace: what a boundary
// swallows goes to the debug log. And a failure of Windows keeps its own
// number: access denied is not Visual Basic's "Invalid procedure call" (5).
#include <doctest/doctest.h>

#include "support/modErroHandling.h"
#include "support/modFileHandling.h"
#include "support/modGlobals.h"
#include "tests/test_support.h"

#include <algorithm>

namespace {

bool logged(const qbxtest::TrailLog& log, const std::wstring& start) {
    const auto actions = log.actions();
    return std::any_of(actions.begin(), actions.end(), [&](const std::wstring& a) { return a.rfind(start, 0) == 0; });
}

}  // namespace

TEST_CASE("a failure swallowed at a boundary is written to the debug log with its number, text and line") {
    qbxtest::resetAddinState();
    // Set when the program started, not by the test.
    CHECK((qbx::failureObserver() == &subLogSwallowedFailure));
    {
        qbxtest::TrailLog log;
        const int line = __LINE__ + 1;
        qbx::quietBoundary(L"event handler", [] { qbx::raiseVb(qbx::vbErrTypeMismatch); });
        CHECK(logged(log, L"Failure swallowed in event handler: #13 Type mismatch (line " + std::to_wstring(line) + L")"));

        // One of the release routine's steps fails; the others still run.
        static int owner;
        subSetLastDisconnectHook(&owner, [] { qbx::raiseVb(qbx::vbErrObjectNotSet); });
        ReleaseOutlookObjects(true);
        CHECK(logged(log, L"Failure swallowed in ReleaseOutlookObjects: #91 "));
        CHECK(blnShuttingDown);
        subClearLastDisconnectHook(&owner);
    }
    // With the log off nothing is written.
    const std::wstring path = fncAddinFolder() + L"\\BrantholmLog.txt";
    qbx::quietBoundary(L"event handler", [] { qbx::raiseVb(qbx::vbErrTypeMismatch); });
    CHECK(GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES);
    qbxtest::resetAddinState();
}

TEST_CASE("access denied by Windows is reported as its HRESULT, not as Visual Basic's error 5") {
    // A folder can't be written as a file: Windows denies the access.
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    const std::wstring path = fncRemoveTrailingSlash(folder);
    const long number = qbxtest::errorOf([&] { subWriteTextFile(path, L"text"); });
    CHECK(number == static_cast<long>(E_ACCESSDENIED));
}
