// The edges where failures stop: each kind answers as its caller needs (a COM
// method the HRESULT that says what failed, a callback its default answer, an
// event handler nothing), every failure swallowed there reaches the failure
// observer, and the count of our own objects alive decides whether the DLL
// may be unloaded.
#include <doctest/doctest.h>

#include "support/com/boundary.h"
#include "support/com/class_factory.h"
#include "tests/toolkit/sample_object.h"

#include <new>
#include <string>
#include <vector>

namespace {

struct Seen {
    std::wstring boundary;
    long number;
};
std::vector<Seen> seen;

// Records what the boundaries swallow while it lives; the program's own
// observer is put back afterwards.
struct ObserverFixture {
    qbx::FailureObserver previous = qbx::failureObserver();
    ObserverFixture() {
        seen.clear();
        qbx::setFailureObserver([](const wchar_t* boundary, const qbx::Error& e) noexcept {
            seen.push_back({boundary, e.number()});
        });
    }
    ~ObserverFixture() { qbx::setFailureObserver(previous); }
};

[[noreturn]] void typeMismatch() { qbx::raiseVb(qbx::vbErrTypeMismatch); }

// A class factory's class whose construction fails in the way the test asks.
long createFailure = 0;
HRESULT createSample(REFIID iid, void** out) {
    if (createFailure == qbx::vbErrOutOfMemory) throw std::bad_alloc();
    if (createFailure) qbx::raiseVb(createFailure);
    qbx::ComPtr<IDispatch> object(new toolkittest::Sample());
    return object->QueryInterface(iid, out);
}

}  // namespace

TEST_CASE_FIXTURE(ObserverFixture, "each kind of boundary gives its own answer and shows what it swallowed") {
    SUBCASE("a COM method answers the HRESULT of what failed") {
        CHECK(qbx::comBoundary(L"method", [] { return S_FALSE; }) == S_FALSE);
        CHECK(seen.empty());
        CHECK(qbx::comBoundary(L"method", []() -> HRESULT { typeMismatch(); }) ==
              MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, qbx::vbErrTypeMismatch));
        CHECK(qbx::comBoundary(L"method", []() -> HRESULT { throw std::bad_alloc(); }) == E_OUTOFMEMORY);
        CHECK(qbx::comBoundary(L"method", []() -> HRESULT { qbx::raiseHr(E_ACCESSDENIED); }) == E_ACCESSDENIED);
        REQUIRE(seen.size() == 3);
        CHECK(seen[0].boundary == L"method");
        CHECK(seen[0].number == qbx::vbErrTypeMismatch);
        CHECK(seen[1].number == qbx::vbErrOutOfMemory);
    }
    SUBCASE("a callback answers its default, an event handler nothing") {
        CHECK(qbx::answerBoundary(L"callback", 7L, [] { return 3L; }) == 3L);
        CHECK(qbx::answerBoundary(L"callback", 7L, []() -> long { typeMismatch(); }) == 7L);
        CHECK(qbx::quietBoundary(L"handler", [] {}));
        CHECK_FALSE(qbx::quietBoundary(L"handler", [] { throw 42; }));
        REQUIRE(seen.size() == 2);
        CHECK(seen[0].boundary == L"callback");
        CHECK(seen[1].boundary == L"handler");
        CHECK(seen[1].number == qbx::vbErrInternal);
    }
    SUBCASE("a cleanup run at scope exit that fails is seen, and the scope still ends") {
        int ran = 0;
        {
            auto a = qbx::scopeExit([&] { ++ran; });
            auto b = qbx::scopeExit([&] {
                ++ran;
                typeMismatch();
            });
            auto c = qbx::scopeExit([&] { ran += 100; });
            c.dismiss();
        }
        CHECK(ran == 2);
        REQUIRE(seen.size() == 1);
        CHECK(seen[0].boundary == L"scopeExit");
    }
    SUBCASE("an object's member: an Error goes to the caller, anything else to the observer") {
        EXCEPINFO info{};
        CHECK(qbx::answerCall(&info, L"_Sample", []() -> HRESULT { typeMismatch(); }) == DISP_E_EXCEPTION);
        CHECK(info.scode == MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, qbx::vbErrTypeMismatch));
        CHECK(seen.empty());
        SysFreeString(info.bstrSource);
        SysFreeString(info.bstrDescription);
        SysFreeString(info.bstrHelpFile);
        CHECK(qbx::answerCall(nullptr, L"_Sample", []() -> HRESULT { throw std::bad_alloc(); }) == E_OUTOFMEMORY);
        REQUIRE(seen.size() == 1);
        CHECK(seen[0].boundary == L"_Sample");
    }
    SUBCASE("the class factory answers what failed in a construction") {
        auto factory = qbx::makeClassFactory(&createSample);
        qbx::ComPtr<IDispatch> made;
        createFailure = qbx::vbErrCantCreate;
        CHECK(factory->CreateInstance(nullptr, IID_IDispatch, made.putVoid()) ==
              MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, qbx::vbErrCantCreate));
        createFailure = qbx::vbErrOutOfMemory;
        CHECK(factory->CreateInstance(nullptr, IID_IDispatch, made.putVoid()) == E_OUTOFMEMORY);
        createFailure = 0;
        CHECK(factory->CreateInstance(nullptr, IID_IDispatch, made.putVoid()) == S_OK);
        CHECK(made);
        REQUIRE(seen.size() == 2);
        CHECK(seen[0].boundary == L"IClassFactory::CreateInstance");
        CHECK(seen[0].number == qbx::vbErrCantCreate);
    }
}

TEST_CASE("every object of ours counts until it goes; the DLL may unload only when none is left and no lock is held") {
    // Nothing of an earlier test is still alive.
    REQUIRE(qbx::liveObjects() == 0);
    CHECK(qbx::canUnloadNow());
    {
        auto factory = qbx::makeClassFactory(&createSample);
        CHECK(qbx::liveObjects() == 1);
        CHECK_FALSE(qbx::canUnloadNow());
        qbx::ComPtr<IDispatch> made;
        REQUIRE(factory->CreateInstance(nullptr, IID_IDispatch, made.putVoid()) == S_OK);
        auto items = qbx::makeVariantEnum({qbx::Variant(1L)});
        qbx::ComPtr<ITypeInfo> type;
        REQUIRE(made->GetTypeInfo(0, 0, type.put()) == S_OK);
        CHECK(qbx::liveObjects() == 4);  // factory, object, enumerator, type information

        // A server lock keeps the DLL loaded with no object alive.
        factory->LockServer(TRUE);
        factory = nullptr;
        made = nullptr;
        items = nullptr;
        CHECK(qbx::liveObjects() == 1);  // the type information is still held
        type = nullptr;
        CHECK(qbx::liveObjects() == 0);
        CHECK_FALSE(qbx::canUnloadNow());
        qbx::makeClassFactory(&createSample)->LockServer(FALSE);
    }
    CHECK(qbx::liveObjects() == 0);
    CHECK(qbx::canUnloadNow());
}
