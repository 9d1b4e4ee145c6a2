// The add-in's own time in Outlook, timed in the emulated Outlook against the
// SharePoint emulator:
//   - start-up: OnConnection through the end of the Startup handler (phrases,
//     settings folder, settings read, the inspectors subscription), with the
//     user's settings already in the mailbox; this process's first start,
//     as Outlook's is;
//   - one AttachmentAdd handled on the default library, with the time spent
//     inside the HTTP request itself (the request object's send) measured
//     apart, so that the add-in's share can be told from the network's.
// One line of name=value pairs for run_bench.sh.
//   bench_flow.exe VERSION FILE LIBRARY_URL OTHER_LIBRARY_URL [ATTACHMENTS]
#include "attachments/cSafeInspector.h"
#include "attachments/modAttachmentFlow.h"
#include "attachments/modAttachmentFlow_testing.h"
#include "bench/bench_common.h"
#include "bench/bench_prompts.h"
#include "host/QBXOutlookConnect.h"
#include "support/com.h"
#include "support/prompt.h"
#include "support/prompt_testing.h"
#include "testbed/outlook/emulator.h"

#include <ole2.h>

#include <string>

namespace {

double secondsInSend = 0;

// Stands in front of the request object and times its send (the whole
// synchronous HTTP exchange); every call is handed through unchanged.
class TimedRequest final : public IDispatch {
public:
    explicit TimedRequest(qbx::ComPtr<IDispatch> inner) : inner_(std::move(inner)) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch) {
            *out = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --refs_;
        if (!n) delete this;
        return n;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { return inner_->GetTypeInfoCount(n); }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT i, LCID lcid, ITypeInfo** out) override {
        return inner_->GetTypeInfo(i, lcid, out);
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) override {
        const HRESULT hr = inner_->GetIDsOfNames(iid, names, count, lcid, ids);
        if (SUCCEEDED(hr) && count >= 1 && _wcsicmp(names[0], L"send") == 0) send_ = ids[0];
        return hr;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* params, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override {
        const double start = bench::now();
        const HRESULT hr = inner_->Invoke(id, iid, lcid, flags, params, result, info, argErr);
        if (id == send_) secondsInSend += bench::now() - start;
        return hr;
    }

private:
    qbx::ComPtr<IDispatch> inner_;
    DISPID send_ = DISPID_UNKNOWN;
    ULONG refs_ = 1;
};

// Creation by ProgID as on a machine with the add-in installed: the DLL
// would offer the safe inspector; this program links the add-in's code, so
// it offers it itself. The request object gets its stopwatch.
HRESULT createTimed(const wchar_t* progId, IDispatch** out) {
    if (qbx::textEquals(progId, kSafeInspectorProgId)) {
        *out = static_cast<IDispatch*>(qbx::makeObject<cSafeInspector>().detach());
        return S_OK;
    }
    const HRESULT hr = qbx::createByProgId(progId, out);
    if (FAILED(hr) || !qbx::textEquals(progId, L"WinHttp.WinHttpRequest.5.1")) return hr;
    *out = new TimedRequest(qbx::ComPtr<IDispatch>::attach(*out));
    return S_OK;
}

// The user's settings as an earlier session left them in the mailbox.
void seedSettings(emu::Outlook& ol, const std::wstring& library, const std::wstring& other) {
    qbx::Disp folder =
        ol.nameSpace().getObj(L"GetDefaultFolder", 6).getObj(L"Folders").get(L"Add", L"QBXSettings", 6).toDisp();
    qbx::Disp item = folder.getObj(L"Items").get(L"Add", L"IPM.Post").toDisp();
    item.put(L"Subject", L"Quillbox Settings");
    qbx::Disp properties = item.getObj(L"UserProperties");
    properties.get(L"Add", L"strSites", 1).toDisp().put(L"Value", library + L"\r\n" + other);
    properties.get(L"Add", L"strDefaultSite", 1).toDisp().put(L"Value", library);
    properties.get(L"Add", L"blnAlwaysDefault", 6).toDisp().put(L"Value", true);
    item.call(L"Save");
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 5) return 2;
    const int version = _wtoi(argv[1]);
    const std::wstring file = argv[2];
    const int attachments = argc > 5 ? _wtoi(argv[5]) : 5;
    OleInitialize(nullptr);
    bench::answerPromptsWith(IDNO);
    qbx::setCreateHook(&createTimed);
    double clock = 45000.5;
    subSetFlowClock([&clock] { return clock; });

    bool ok = true;
    {
        emu::Knobs knobs;
        knobs.version = version;
        emu::Outlook ol(knobs);
        seedSettings(ol, argv[3], argv[4]);
        qbx::ComPtr<IDTExtensibility2> addin(new QBXOutlookConnect());

        const double t0 = bench::now();
        ok = ol.connectAddin(addin.get());
        ol.fireStartup();
        const double startup = bench::now() - t0;

        emu::Inspector* w = ol.openCompose();
        ol.typeText(w, L"Files:\r\n");
        std::printf("version=%d startup_ms=%.2f", version, startup * 1000);
        for (int i = 0; i < attachments; ++i) {
            clock += 10.0 / 86400;  // each one handled by its own event
            secondsInSend = 0;
            const double t1 = bench::now();
            ol.attachFile(w, file);
            const double handling = bench::now() - t1;
            ok = ok && ol.attachmentNames(w).empty();
            std::printf(" attach%d_ms=%.2f attach%d_http_ms=%.2f", i + 1, handling * 1000, i + 1, secondsInSend * 1000);
            emu::Outlook::pumpMessages(600);  // the pending removal ends
        }
        ol.shutdown();
        addin.reset();
    }
    ok = ok && bench::prompts == 0;
    std::printf(" prompts=%ld ok=%d\n", bench::prompts, ok ? 1 : 0);
    std::fflush(stdout);
    subSetFlowClock({});
    qbx::setCreateHook(nullptr);
    OleUninitialize();
    return ok ? 0 : 1;
}
