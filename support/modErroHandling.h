// The action trail, the error report and the debug log, and the error
// convention every procedure of the add-in follows:
//
//   bool cThing::fncDoWork() {
//       bool result = false;
//       subSetAction(L"Doing the work");             // the action trail first
//       qbx::guarded(L"fncDoWork", [&] {            // the body, guarded
//           ... late-bound calls, raises ...
//           result = true;
//       });
//       return result;                              // initial value on failure
//   }
//
// A failure inside the body (a failed late-bound call, a raise, a Type
// mismatch) reaches subHandleError with its description, number, the source
// line of the failing statement and the procedure's name; the procedure then
// ends with its result as it was.
//
// Stretches that run with errors ignored use an Err, statement by statement:
//
//   qbx::Err err;
//   err.resume([&] { item.call(L"Delete"); });       // a failure is remembered
//   if (err.number() != 0) ...;
//   err.clear();
#pragma once

#include "support/com.h"

#include <string>

// Module state of the error handling (all start empty / False).
extern std::wstring strCurrentAction;
extern std::wstring strErrorReport;
extern bool blnErrorOccurred;
extern bool blnErrorReported;
// The debug-log switch; set from the build (QBX_DEBUG_LOG), nothing in the
// add-in changes it.
extern bool blnDebugLog;

// The support address the error report mail goes to.
extern const wchar_t* const kSupportAddress;
// The product's display name, used as every message's title.
extern const wchar_t* const kProductName;

void subSetAction(const std::wstring& action);
std::wstring fncGetAction();
std::wstring fncGetOSVersion();
void subHandleError(const std::wstring& description, long number, short line, const std::wstring& procedure) noexcept;
// What a guarded body threw, handed to subHandleError from inside the catch
// that caught it. Never throws: when memory has run out even for the error's
// texts, the fixed out-of-memory report is shown instead.
void subHandleCaught(const wchar_t* procedure) noexcept;
void subSendErrorMail() noexcept;
void subWriteLog(const std::wstring& action) noexcept;
// The failure observer of the add-in: a failure a boundary swallowed, written
// to the debug log (when it is on) with the boundary, number, text and line.
void subLogSwallowedFailure(const wchar_t* boundary, const qbx::Error& failure) noexcept;

// The add-in's version as major.minor.revision, read from its version resource.
std::wstring fncAddinVersion();

namespace qbx {

// Runs a procedure's body under the error trap. Returns true when the body
// ran to its end.
template <class F>
bool guarded(const wchar_t* procedure, F&& body) noexcept {
    return ranToEnd(body, [procedure]() noexcept { subHandleCaught(procedure); });
}

// The error state of a stretch that runs with errors ignored, like Visual
// Basic's Err under "On Error Resume Next": each statement runs through
// resume(); a failure is recorded and the next statement runs.
class Err {
public:
    template <class F>
    bool resume(F&& statement) noexcept {
        return ranToEnd(statement, [this]() noexcept { error_ = caughtError(); });
    }
    long number() const noexcept { return error_.number(); }
    const std::wstring& description() const noexcept { return error_.description(); }
    // The line of the statement that failed last.
    int line() const noexcept { return error_.line(); }
    void clear() noexcept { error_ = Error(0, {}, 0); }

private:
    Error error_{0, {}, 0};
};

}  // namespace qbx
