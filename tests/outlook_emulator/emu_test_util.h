// Helpers for the test bed's own tests: the error a call raises, connection
// points and a bare event sink, a scratch folder.
#pragma once

#include <doctest/doctest.h>
#include <olectl.h>

#include "support/com/dispatch_object.h"
#include "support/com/events.h"
#include "support/office_interfaces.h"
#include "testbed/outlook/emulator.h"
#include "tests/test_support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

// Knobs are given with designated initializers, the others keeping their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace emutest {

using qbx::Disp;
using qbx::Variant;
using Texts = std::vector<std::wstring>;

// The VB error number a call raises (0 when it succeeds), and its text.
inline long errorOf(const std::function<void()>& f, std::wstring* text = nullptr) {
    try {
        f();
    } catch (const qbx::Error& e) {
        if (text) *text = e.description();
        return e.number();
    }
    return 0;
}

// Checks that each call raises the error given with it (0: none).
inline void checkErrors(const std::vector<std::pair<std::function<void()>, long>>& calls) {
    for (size_t i = 0; i < calls.size(); ++i) {
        CAPTURE(i);
        CHECK(errorOf(calls[i].first) == calls[i].second);
    }
}

// The connection point of an object for one event interface, null when it has none.
inline qbx::ComPtr<IConnectionPoint> pointOf(IUnknown* source, const IID& diid) {
    qbx::ComPtr<IConnectionPointContainer> cpc;
    qbx::ComPtr<IConnectionPoint> cp;
    if (SUCCEEDED(source->QueryInterface(IID_IConnectionPointContainer, cpc.putVoid())))
        cpc->FindConnectionPoint(diid, cp.put());
    return cp;
}

// A sink that answers IID_IDispatch and, when given one, an event interface;
// it records each event's DISPID and runs an optional action.
class RawSink final : public IDispatch {
public:
    explicit RawSink(const IID* diid) : diid_(diid ? *diid : IID_IDispatch) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        *out = iid == IID_IUnknown || iid == IID_IDispatch || iid == diid_ ? this : nullptr;
        return *out ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }  // lives on the test's stack
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { *n = 0; return S_OK; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* dp, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        events.push_back(id);
        if (onEvent) onEvent(dp);
        return S_OK;
    }
    std::vector<DISPID> events;
    std::function<void(DISPPARAMS*)> onEvent;
    ULONG refs = 0;

private:
    IID diid_;
};

// A scratch folder of its own, removed with everything in it at the end.
class TempDir {
public:
    TempDir() { std::filesystem::create_directories(path_); }
    ~TempDir() { std::error_code ignored; std::filesystem::remove_all(path_, ignored); }
    std::wstring file(const std::wstring& name) const { return (path_ / name).wstring(); }
    void write(const std::wstring& name, const std::string& bytes) const {
        std::ofstream(path_ / name, std::ios::binary) << bytes;
    }
    std::string read(const std::wstring& name) const {
        std::ifstream f(path_ / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(f), {});
    }

private:
    inline static int count_ = 0;
    std::filesystem::path path_ = std::filesystem::temp_directory_path() /
                                  ("qbxemu-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count_));
};

}  // namespace emutest
