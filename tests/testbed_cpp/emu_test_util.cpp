#include "tests/testbed_cpp/emu_test_util.h"

#include <olectl.h>
#include <shellapi.h>

namespace emutest {

using qbx::Args;
using qbx::Variant;

FakeAddin::FakeAddin() {
    // The IDispatch face of IDTExtensibility2 (DISPIDs 1-5).
    connect_.method(L"OnConnection", [this](Args& a) {
        OnConnection(a.obj(0).get(), a.i32(1), a.obj(2).get(), nullptr);
        return Variant();
    }, 1);
    connect_.method(L"OnDisconnection", [this](Args& a) {
        OnDisconnection(a.i32(0), nullptr);
        return Variant();
    }, 2);
    connect_.method(L"OnAddInsUpdate", [this](Args&) { OnAddInsUpdate(nullptr); return Variant(); }, 3);
    connect_.method(L"OnStartupComplete", [this](Args&) { OnStartupComplete(nullptr); return Variant(); }, 4);
    connect_.method(L"OnBeginShutdown", [this](Args&) { OnBeginShutdown(nullptr); return Variant(); }, 5);
    // The ribbon callbacks named in sampleRibbon().
    ribbonMembers_.method(L"OnLoadCompose", [this](Args& a) {
        calls.push_back(L"OnLoadCompose");
        ribbonUI = a.obj(0);
        return Variant();
    });
    ribbonMembers_.method(L"getImages", [this](Args& a) {
        calls.push_back(L"getImages " + a.str(0));
        // A picture, as loadImage answers.
        PICTDESC pd{};
        pd.cbSizeofstruct = sizeof pd;
        pd.picType = PICTYPE_ICON;
        pd.icon.hicon = LoadIcon(nullptr, IDI_APPLICATION);
        qbx::ComPtr<IDispatch> pic;
        OleCreatePictureIndirect(&pd, IID_IPictureDisp, FALSE, pic.putVoid());
        return Variant(pic.get());
    });
    ribbonMembers_.method(L"cmdShowSettings", [this](Args& a) {
        lastControl = a.obj(0);
        calls.push_back(L"cmdShowSettings " + lastControl.get(L"Id").toString());
        return Variant();
    });
}

HRESULT FakeAddin::QueryInterface(REFIID iid, void** out) {
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == qbx::IID_IDTExtensibility2) {
        *out = static_cast<IDTExtensibility2*>(this);
    } else if (iid == qbx::IID_IRibbonExtensibility) {
        *out = static_cast<IRibbonExtensibility*>(&ribbon_);
    } else {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

HRESULT FakeAddin::OnConnection(IDispatch* app, int mode, IDispatch* inst, SAFEARRAY**) {
    calls.push_back(L"OnConnection");
    application = qbx::Disp(app);
    connectMode = mode;
    addinInstanceIsComAddIn = inst && qbx::Disp(inst).typeName() == L"COMAddIn";
    return S_OK;
}

HRESULT FakeAddin::OnDisconnection(int, SAFEARRAY**) {
    calls.push_back(L"OnDisconnection");
    application.reset();
    ribbonUI.reset();
    lastControl.reset();
    return S_OK;
}

HRESULT FakeAddin::OnBeginShutdown(SAFEARRAY**) {
    calls.push_back(L"OnBeginShutdown");
    return S_OK;
}

std::wstring sampleRibbon(const std::wstring& ns) {
    return L"<customUI xmlns=\"" + ns +
           L"\" onLoad=\"OnLoadCompose\" loadImage=\"getImages\">\r\n"
           L"  <ribbon><tabs><tab idMso=\"TabNewMailMessage\"><group id=\"QBXGroup\" label=\"QBX\">\r\n"
           L"    <button id=\"cmdShowSettings\" size=\"large\" label=\"QBX Settings\" onAction=\"cmdShowSettings\" image=\"QBX\"/>\r\n"
           L"  </group></tab></tabs></ribbon>\r\n"
           L"</customUI>\r\n";
}

TempDir::TempDir() {
    wchar_t base[MAX_PATH];
    GetTempPathW(MAX_PATH, base);
    static int n = 0;
    path_ = std::wstring(base) + L"qbxemu-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++n);
    CreateDirectoryW(path_.c_str(), nullptr);
}

TempDir::~TempDir() {
    std::wstring from = path_ + std::wstring(1, L'\0');  // double-terminated
    SHFILEOPSTRUCTW op{};
    op.wFunc = FO_DELETE;
    op.pFrom = from.c_str();
    op.fFlags = FOF_NO_UI;
    SHFileOperationW(&op);
}

void TempDir::write(const std::wstring& name, const std::string& bytes) const {
    HANDLE h = CreateFileW(file(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD w = 0;
    WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &w, nullptr);
    CloseHandle(h);
}

std::string TempDir::read(const std::wstring& name) const {
    HANDLE h = CreateFileW(file(name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) return "<missing>";
    std::string s;
    char buf[4096];
    DWORD got = 0;
    while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got) s.append(buf, got);
    CloseHandle(h);
    return s;
}

}  // namespace emutest
