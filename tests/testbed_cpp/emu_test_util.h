// Helpers for the test bed's own tests: a bare event sink, a small add-in
// that records what Outlook calls on it, and a scratch folder.
#pragma once

#include <olectl.h>

#include "support/dispatch_object.h"
#include "support/office_interfaces.h"
#include "testbed/outlook/emulator.h"

#include <functional>
#include <string>
#include <vector>

namespace emutest {

// A sink that answers IID_IDispatch and, when given one, an event
// interface; it records each event's DISPID and runs an optional action.
class RawSink final : public IDispatch {
public:
    explicit RawSink(const IID* diid) : diid_(diid ? *diid : IID_NULL), answersDiid_(diid != nullptr) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch || (answersDiid_ && iid == diid_)) {
            *out = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }  // lives on the test's stack
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { *n = 0; return S_OK; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return DISP_E_UNKNOWNNAME; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* dp, VARIANT*, EXCEPINFO*, UINT*) override {
        events.push_back(id);
        if (dp && dp->cArgs) lastArgTypes.assign(dp->rgvarg, dp->rgvarg + dp->cArgs);
        if (onEvent) onEvent(id, dp);
        return S_OK;
    }
    std::vector<DISPID> events;
    std::vector<VARIANT> lastArgTypes;  // shallow copies, for their types only
    std::function<void(DISPID, DISPPARAMS*)> onEvent;
    ULONG refs = 0;

private:
    IID diid_;
    bool answersDiid_;
};

// An add-in with both faces Office uses: IDTExtensibility2 and
// IRibbonExtensibility, whose IDispatch answers the ribbon callbacks.
class FakeAddin final : public IDTExtensibility2 {
public:
    FakeAddin();
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG n = --refs_;
        if (!n) delete this;
        return n;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { *n = 0; return S_OK; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
        return connect_.getIDsOfNames(names, count, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result, EXCEPINFO* info,
                                     UINT*) override {
        calls.push_back(L"Invoke");
        return connect_.invoke(id, flags, dp, result, info, L"FakeAddin");
    }
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* app, int mode, IDispatch* inst, SAFEARRAY**) override;
    HRESULT STDMETHODCALLTYPE OnDisconnection(int mode, SAFEARRAY**) override;
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) override { calls.push_back(L"OnAddInsUpdate"); return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) override { calls.push_back(L"OnStartupComplete"); return S_OK; }
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) override;

    std::vector<std::wstring> calls;    // lifecycle and callbacks, in order
    std::wstring ribbonXml;             // what GetCustomUI answers (any id)
    std::vector<std::wstring> ribbonIds;
    qbx::Disp application, ribbonUI, lastControl;
    int connectMode = -1;
    bool addinInstanceIsComAddIn = false;

private:
    class Ribbon final : public IRibbonExtensibility {
    public:
        explicit Ribbon(FakeAddin& o) : o_(o) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override { return o_.QueryInterface(iid, out); }
        ULONG STDMETHODCALLTYPE AddRef() override { return o_.AddRef(); }
        ULONG STDMETHODCALLTYPE Release() override { return o_.Release(); }
        HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { *n = 0; return S_OK; }
        HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
            return o_.ribbonMembers_.getIDsOfNames(names, count, ids);
        }
        HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                         EXCEPINFO* info, UINT*) override {
            if (riid != IID_NULL || flags != DISPATCH_METHOD) return DISP_E_UNKNOWNINTERFACE;
            return o_.ribbonMembers_.invoke(id, flags, dp, result, info, L"FakeAddin");
        }
        HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR id, BSTR* xml) override {
            o_.ribbonIds.push_back(id ? id : L"");
            *xml = SysAllocString(o_.ribbonXml.c_str());
            return S_OK;
        }

    private:
        FakeAddin& o_;
    };
    ULONG refs_ = 0;
    qbx::MemberTable connect_, ribbonMembers_;
    Ribbon ribbon_{*this};
};

// A compose-window ribbon document with one button, in Office 2007's namespace.
std::wstring sampleRibbon(const std::wstring& ns = L"http://schemas.microsoft.com/office/2006/01/customui");

// A scratch folder of its own, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::wstring& path() const { return path_; }
    std::wstring file(const std::wstring& name) const { return path_ + L"\\" + name; }
    void write(const std::wstring& name, const std::string& bytes) const;
    std::string read(const std::wstring& name) const;

private:
    std::wstring path_;
};

}  // namespace emutest
