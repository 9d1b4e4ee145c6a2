// Win32 failures: raised as their HRESULT, never as a bare code that would
// read as one of Visual Basic's numbers, and the owners' cleanup never
// changes the last error a caller is about to read.
#include <doctest/doctest.h>

#include "support/com/boundary.h"
#include "support/com/values.h"
#include "support/com/win_handles.h"
#include "tests/test_support.h"

namespace {

// A cleanup that, like many, leaves a last error of its own.
void noisyClose(HANDLE) noexcept { SetLastError(ERROR_INVALID_HANDLE); }
using Noisy = qbx::UniqueHandle<HANDLE, &noisyClose>;

// An object of ours whose release, like a remote object's, sets the last error.
class NoisyObject final : public qbx::Unknown<IUnknown> {
public:
    ~NoisyObject() override { SetLastError(ERROR_INVALID_HANDLE); }
    bool answers(REFIID) const override { return false; }
};

}  // namespace

TEST_CASE("a Win32 error is raised as its HRESULT, not as a Visual Basic number") {
    SetLastError(ERROR_ACCESS_DENIED);
    const long number = qbxtest::errorOf([] { qbx::raiseLastError(L"The file could not be written"); });
    CHECK(number == static_cast<long>(E_ACCESSDENIED));
    CHECK(number != qbx::vbErrInvalidCall);
    // Reaching a COM caller it stays what it is.
    CHECK(qbx::hresultFor(qbx::Error(number, L"", 0)) == E_ACCESSDENIED);
    // A failure that left no code is still a failure.
    SetLastError(ERROR_SUCCESS);
    CHECK(qbxtest::errorOf([] { qbx::raiseLastError(L"Nothing said why"); }) == static_cast<long>(E_FAIL));
    CHECK(qbxtest::errorOf([] { qbx::raiseWin32(ERROR_FILE_NOT_FOUND, L"Gone"); }) ==
          static_cast<long>(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)));
}

TEST_CASE("an owner's cleanup keeps the thread's last error") {
    SUBCASE("a handle owner") {
        {
            Noisy handle(reinterpret_cast<HANDLE>(1));
            SetLastError(ERROR_ACCESS_DENIED);
        }
        CHECK(GetLastError() == ERROR_ACCESS_DENIED);
        Noisy other(reinterpret_cast<HANDLE>(2));
        SetLastError(ERROR_FILE_NOT_FOUND);
        other.reset();
        CHECK(GetLastError() == ERROR_FILE_NOT_FOUND);
    }
    SUBCASE("a COM reference and a Variant holding one") {
        qbx::ComPtr<IUnknown> object(new NoisyObject());
        SetLastError(ERROR_ACCESS_DENIED);
        object = nullptr;
        CHECK(GetLastError() == ERROR_ACCESS_DENIED);
        {
            qbx::ComPtr<IUnknown> held(new NoisyObject());
            VARIANT v;
            VariantInit(&v);
            v.vt = VT_UNKNOWN;
            v.punkVal = held.detach();
            qbx::Variant value = qbx::Variant::attach(v);
            SetLastError(ERROR_FILE_NOT_FOUND);
        }
        CHECK(GetLastError() == ERROR_FILE_NOT_FOUND);
    }
}
