// What a failed call becomes: an Error with the number and text a Visual
// Basic Err object would show and the source line of the failing statement,
// so that error reports can name it. Every raise in the add-in goes through
// raise() (own texts) or raiseVb() (Visual Basic's standard texts, kept in
// one table here); HRESULTs of failed calls go through raiseHr().
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <exception>
#include <source_location>
#include <string>

namespace qbx {

// The source line of a call site, captured by a default argument so that an
// error can say which statement failed.
struct Here {
    Here(std::source_location w = std::source_location::current()) noexcept
        : line(static_cast<int>(w.line())) {}
    explicit Here(int l) noexcept : line(l) {}
    // For a failure with no statement of the add-in's to name (a copy made
    // by a constructor, an incoming call's arguments): reported as line 0.
    static Here none() noexcept { return Here(0); }
    int line;
};

// A run-time error as Visual Basic's Err would see it.
class Error : public std::exception {
public:
    Error(long number, std::wstring description, int line)
        : number_(number), description_(std::move(description)), line_(line) {}
    long number() const noexcept { return number_; }
    const std::wstring& description() const noexcept { return description_; }
    int line() const noexcept { return line_; }
    const char* what() const noexcept override { return "qbx::Error"; }

private:
    long number_;
    std::wstring description_;
    int line_;
};

// Visual Basic's error numbers that the add-in raises or maps to.
constexpr long vbErrInvalidCall = 5;           // Invalid procedure call or argument
constexpr long vbErrOverflow = 6;              // Overflow
constexpr long vbErrOutOfMemory = 7;           // Out of memory
constexpr long vbErrSubscript = 9;             // Subscript out of range
constexpr long vbErrTypeMismatch = 13;         // Type mismatch
constexpr long vbErrInternal = 51;             // Internal error
constexpr long vbErrTooManyFiles = 67;         // Too many files
constexpr long vbErrPathNotFound = 76;         // Path not found
constexpr long vbErrObjectNotSet = 91;         // Object variable or With block variable not set
constexpr long vbErrInvalidNull = 94;          // Invalid use of Null
constexpr long vbErrResourceNotFound = 326;    // Resource with identifier '|' not found
constexpr long vbErrAlreadyLoaded = 360;       // Object already loaded
constexpr long vbErrInvalidPropertyValue = 380;  // Invalid property value
constexpr long vbErrReadOnly = 383;            // '|' property is read-only
constexpr long vbErrObjectRequired = 424;      // Object required
constexpr long vbErrCantCreate = 429;          // ActiveX component can't create object
constexpr long vbErrNoAutomation = 430;        // Class does not support Automation ...
constexpr long vbErrNoMember = 438;            // Object doesn't support this property or method
constexpr long vbErrNotOptional = 449;         // Argument not optional
constexpr long vbErrArgCount = 450;            // Wrong number of arguments or invalid property assignment
constexpr long vbErrNotAnObject = 451;         // Property let procedure not defined and ...
constexpr long vbErrKeyExists = 457;           // This key is already associated with an element of this collection
constexpr long vbErrControlNotFound = 730;     // Control '|' not found
constexpr long adErrOpeningFile = 3002;        // File could not be opened.

// The standard text of an error number from the table above; "|" in it is
// replaced by name. An unknown number gives "Application-defined or
// object-defined error", as Visual Basic's Error() does.
std::wstring vbErrorText(long number, const std::wstring& name = {});

// Raises an error with a text of the add-in's own at the caller's line.
[[noreturn]] void raise(long number, const std::wstring& description, Here where = {});
// Raises a Visual Basic error with its standard text at the caller's line.
[[noreturn]] void raiseVb(long number, Here where = {});
[[noreturn]] void raiseVb(long number, const std::wstring& name, Here where = {});

// Raises the error Visual Basic would raise for a failed HRESULT (with the
// EXCEPINFO of a DISP_E_EXCEPTION when there is one). The EXCEPINFO's texts
// are filled in (a deferred fill-in is run), copied and freed: its BSTRs are
// null afterwards.
[[noreturn]] void raiseHr(HRESULT hr, EXCEPINFO* info = nullptr, Here where = {});

// Inside a catch block: the failure being handled as an Error. A C++
// failure that is none becomes Out of memory (7) or Internal error (51).
Error caughtError() noexcept;

// Raises a Win32 error code as its HRESULT (HRESULT_FROM_WIN32), with a text
// saying what failed. The bare codes would read as Visual Basic's own numbers
// (access denied is 5, "Invalid procedure call"); a code of 0 (a function
// that failed without saying why) is raised as E_FAIL.
[[noreturn]] void raiseWin32(DWORD code, const std::wstring& what, Here where = {});
// Raises the calling thread's last Win32 error, as raiseWin32 does.
[[noreturn]] void raiseLastError(const std::wstring& what, Here where = {});

// The Visual Basic number and text for an HRESULT (438, 429, 13 ... or the
// HRESULT itself with the system's message).
long vbNumberFor(HRESULT hr);
std::wstring vbDescriptionFor(HRESULT hr);

// Frees what an EXCEPINFO owns when it goes out of scope.
struct ExcepInfo {
    EXCEPINFO ei{};
    ExcepInfo() = default;
    ExcepInfo(const ExcepInfo&) = delete;
    ExcepInfo& operator=(const ExcepInfo&) = delete;
    ~ExcepInfo() {
        SysFreeString(ei.bstrSource);
        SysFreeString(ei.bstrDescription);
        SysFreeString(ei.bstrHelpFile);
    }
};

}  // namespace qbx
