// Creates the registered add-in by its ProgID and drives its connection
// interface as Office may: through the vtable and through IDispatch, with a
// stand-in Outlook application and with an object that is not one. Prompts
// the add-in shows are answered here (No) and counted. Exit code 0 = all held.
#include <windows.h>
#include <ole2.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/com/disp.h"
#include "support/office_interfaces.h"

namespace {

std::vector<std::wstring> prompts;
int failures = 0;

void check(bool ok, const char* what) {
    std::printf("%s: %s\n", ok ? "ok" : "FAILED", what);
    if (!ok) ++failures;
}

// A bare IDispatch object; with asOutlook it also answers Outlook's
// Application interface, as a real Outlook application does.
class StandIn final : public IDispatch {
public:
    explicit StandIn(bool asOutlook) : asOutlook_(asOutlook) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch || (asOutlook_ && iid == qbx::IID_OutlookApplication)) {
            *out = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { *n = 0; return S_OK; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return DISP_E_UNKNOWNNAME; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return DISP_E_MEMBERNOTFOUND;
    }
    ULONG refs = 1;

private:
    bool asOutlook_;
};

// OnConnection's arguments as Office passes them: the application, the
// connect mode, the add-in's own object and the custom array (omitted here).
HRESULT connectThroughDispatch(const qbx::Disp& addin, IDispatch* app) {
    return addin.tryCall(L"OnConnection", qbx::Variant(app), 1, qbx::Variant::nothing(), qbx::missing).hr;
}

}  // namespace

// The add-in asks its questions through this export of the host program.
extern "C" __declspec(dllexport) int __stdcall QbxAnswerPrompt(int, const wchar_t* text, const wchar_t*, unsigned,
                                                                const wchar_t*, wchar_t* answer, int capacity) {
    prompts.push_back(text ? text : L"");
    if (answer && capacity > 0) answer[0] = 0;
    return IDNO;
}

int main() {
    OleInitialize(nullptr);
    CLSID clsid;
    HRESULT hr = CLSIDFromProgID(L"Quillbox.QBXOutlookConnect", &clsid);
    check(SUCCEEDED(hr), "ProgID Quillbox.QBXOutlookConnect resolves");
    IDTExtensibility2* ext = nullptr;
    if (SUCCEEDED(hr))
        hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, qbx::IID_IDTExtensibility2,
                              reinterpret_cast<void**>(&ext));
    check(SUCCEEDED(hr) && ext, "created by ProgID, answering IDTExtensibility2");
    if (!ext) {
        OleUninitialize();
        return 1;
    }
    StandIn outlook(true), notOutlook(false);

    // Through the vtable, as Office normally calls.
    check(ext->OnConnection(&outlook, 1, nullptr, nullptr) == S_OK, "vtable OnConnection");
    check(ext->OnAddInsUpdate(nullptr) == S_OK && ext->OnStartupComplete(nullptr) == S_OK, "vtable updates");
    check(ext->OnBeginShutdown(nullptr) == S_OK, "vtable OnBeginShutdown");
    check(ext->OnDisconnection(0, nullptr) == S_OK, "vtable OnDisconnection");
    check(prompts.empty(), "no prompt for a well-formed connection");

    // Through IDispatch, by member name.
    if (qbx::Disp addin = qbx::Disp::fromUnknown(ext)) {
        check(connectThroughDispatch(addin, &outlook) == S_OK, "IDispatch OnConnection");
        check(addin.tryCall(L"OnDisconnection", 0).hr == S_OK, "IDispatch OnDisconnection");
        check(prompts.empty(), "still no prompt");

        // Bad input: an object that is not an Outlook application goes through
        // the error trap (one report), and the host gets a normal return.
        check(connectThroughDispatch(addin, &notOutlook) == S_OK,
              "IDispatch OnConnection with a non-Outlook object returns normally");
        check(prompts.size() == 1, "one error report shown");
        if (!prompts.empty()) {
            check(prompts[0].find(L"Type mismatch") != std::wstring::npos, "report names the type mismatch");
            check(prompts[0].find(L"AddinInstance_OnConnection") != std::wstring::npos, "report names the procedure");
            check(prompts[0].find(L"#13") != std::wstring::npos, "report carries error 13");
        }
        check(ext->OnConnection(&notOutlook, 1, nullptr, nullptr) == S_OK, "a second bad connection returns normally");
        check(prompts.size() == 1, "at most one report per load");
    } else {
        check(false, "IDispatch offered");
    }
    ext->Release();
    check(outlook.refs == 1 && notOutlook.refs == 1, "the add-in holds no reference to the objects it was given");
    OleUninitialize();
    std::printf("%d failed\n", failures);
    return failures == 0 ? 0 : 1;
}
