// Receiving events: arguments in declaration order, a by-reference Cancel
// written back, the receiver pinned while its handler runs, nothing after
// a disconnect, and no handler failure travelling back to the source.
#include <doctest/doctest.h>

#include "support/com/events.h"

#include <olectl.h>

#include <memory>
#include <vector>

using qbx::Args;
using qbx::Disp;
using qbx::Variant;

namespace {

// {6F1D2C3A-1B4E-4C5D-9E8F-0A1B2C3D4E5F}: an event interface of the test's own.
constexpr IID DIID_TestEvents = {0x6F1D2C3A, 0x1B4E, 0x4C5D, {0x9E, 0x8F, 0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F}};

// An event source with one connection point that calls its sinks' Invoke.
class Source final : public qbx::DispatchObject, public IConnectionPointContainer, public IConnectionPoint {
public:
    Source() : DispatchObject(L"Source") {}
    std::vector<qbx::ComPtr<IDispatch>> sinks;

    // Fires event 1 with (text, ByRef Cancel) and returns Cancel.
    bool fire(const std::wstring& text, HRESULT* hr = nullptr) {
        VARIANT_BOOL cancel = VARIANT_FALSE;
        VARIANT args[2];
        VariantInit(&args[0]);
        args[0].vt = VT_BYREF | VT_BOOL;  // the last argument comes first
        args[0].pboolVal = &cancel;
        Variant first(text);
        args[1] = first.raw();
        DISPPARAMS dp{args, nullptr, 2, 0};
        for (auto sink : std::vector<qbx::ComPtr<IDispatch>>(sinks)) {
            HRESULT r = sink->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &dp, nullptr, nullptr, nullptr);
            if (hr) *hr = r;
        }
        return cancel != VARIANT_FALSE;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return DispatchObject::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return DispatchObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return DispatchObject::Release(); }
    HRESULT queryOther(REFIID iid, void** out) override {
        if (iid == IID_IConnectionPointContainer) *out = static_cast<IConnectionPointContainer*>(this);
        else return DispatchObject::queryOther(iid, out);
        AddRef();
        return S_OK;
    }
    // IConnectionPointContainer
    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** out) override {
        *out = nullptr;
        if (iid != DIID_TestEvents) return CONNECT_E_NOCONNECTION;
        *out = this;
        AddRef();
        return S_OK;
    }
    // IConnectionPoint
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
        *iid = DIID_TestEvents;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
        qbx::ComPtr<IDispatch> d;
        if (FAILED(sink->QueryInterface(DIID_TestEvents, d.putVoid()))) return CONNECT_E_CANNOTCONNECT;
        sinks.push_back(d);
        *cookie = static_cast<DWORD>(sinks.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
        if (cookie == 0 || cookie > sinks.size()) return CONNECT_E_NOCONNECTION;
        sinks[cookie - 1] = nullptr;
        std::erase(sinks, qbx::ComPtr<IDispatch>());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }
};

// A receiver owned by shared_ptr that holds its connection, as the add-in's
// application reactions do.
struct Receiver : std::enable_shared_from_this<Receiver> {
    qbx::EventConnection events;
    std::vector<std::wstring> heard;
    std::shared_ptr<Receiver>* owner = nullptr;  // the handler may drop it
    static inline int alive = 0;
    Receiver() { ++alive; }
    ~Receiver() { --alive; }
    void listen(const Disp& source, bool cancel) {
        events.connect(source, {IID_IDispatch, DIID_TestEvents},
                       {{1, [this, cancel](Args& a) {
                             heard.push_back(a.value(0).toString());
                             a.setBool(1, cancel);
                             if (owner) owner->reset();  // the last reference goes mid-handler
                             heard.push_back(L"after");  // still safe: the pin holds the receiver
                         }}},
                       qbx::Pin(weak_from_this()));
    }
};

}  // namespace

TEST_CASE("events reach their handler with the arguments in order and a by-reference Cancel written back") {
    auto source = qbx::makeObject<Source>();
    Disp d(static_cast<IDispatch*>(source.get()));
    auto receiver = std::make_shared<Receiver>();
    receiver->listen(d, true);
    CHECK(receiver->events.connected());
    CHECK(receiver->events.iid() == DIID_TestEvents);  // the first interface the source offers
    CHECK(source->fire(L"hello"));
    CHECK(receiver->heard == std::vector<std::wstring>{L"hello", L"after"});

    receiver->events.disconnect();
    CHECK(source->sinks.empty());
    CHECK_FALSE(source->fire(L"again"));
    CHECK(receiver->heard.size() == 2);
}

TEST_CASE("the receiver is pinned while its handler runs and gets no call once it is gone") {
    auto source = qbx::makeObject<Source>();
    Disp d(static_cast<IDispatch*>(source.get()));
    auto receiver = std::make_shared<Receiver>();
    receiver->owner = &receiver;
    receiver->listen(d, false);
    const int before = Receiver::alive;
    source->fire(L"closing");  // drops the receiver from inside the handler
    CHECK_FALSE(receiver);
    CHECK(Receiver::alive == before - 1);  // gone after the handler, disconnected by its destructor
    CHECK(source->sinks.empty());

    // A sink that outlives its receiver calls nothing.
    qbx::EventConnection orphan;
    std::weak_ptr<int> gone;
    int calls = 0;
    {
        auto owner = std::make_shared<int>(0);
        gone = owner;
    }
    orphan.connect(d, {DIID_TestEvents}, {{1, [&](Args&) { ++calls; }}}, qbx::Pin(gone));
    source->fire(L"nobody");
    CHECK(calls == 0);
}

TEST_CASE("a failing handler's error stays with the receiver; unknown events are answered") {
    auto source = qbx::makeObject<Source>();
    Disp d(static_cast<IDispatch*>(source.get()));
    qbx::EventConnection events;
    REQUIRE(events.connect(d, {DIID_TestEvents}, {{1, [](Args&) { qbx::raiseVb(qbx::vbErrTypeMismatch); }}}));
    HRESULT hr = E_FAIL;
    source->fire(L"x", &hr);
    CHECK(hr == S_OK);
    qbx::EventConnection other;
    REQUIRE(other.connect(d, {DIID_TestEvents}, {{7, [](Args&) {}}}));
    source->fire(L"y", &hr);
    CHECK(hr == S_OK);
    // A source without the interface is refused.
    qbx::EventConnection none;
    CHECK_FALSE(none.connect(d, {IID_IDispatch}, {}));
}

TEST_CASE("a handler's failure that the sink swallows reaches the failure observer") {
    static std::vector<long> numbers;
    numbers.clear();
    const qbx::FailureObserver previous = qbx::failureObserver();
    qbx::setFailureObserver([](const wchar_t*, const qbx::Error& e) noexcept { numbers.push_back(e.number()); });
    {
        auto source = qbx::makeObject<Source>();
        qbx::EventConnection events;
        REQUIRE(events.connect(Disp(static_cast<IDispatch*>(source.get())), {DIID_TestEvents},
                               {{1, [](Args&) { qbx::raiseVb(qbx::vbErrTypeMismatch); }}}));
        source->fire(L"x");
    }
    qbx::setFailureObserver(previous);
    CHECK(numbers == std::vector<long>{qbx::vbErrTypeMismatch});
}
