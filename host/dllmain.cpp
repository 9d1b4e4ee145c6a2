// The DLL's entry points: the class factory Outlook reaches through
// DllGetClassObject, and the registration entry points regsvr32 calls.
#include "attachments/cSafeInspector.h"
#include "host/QBXOutlookConnect.h"
#include "host/registration.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include <atomic>

namespace {

std::atomic<long> serverLocks{0};

// One factory per creatable class.
class ClassFactory final : public qbx::Unknown<IClassFactory> {
public:
    explicit ClassFactory(const CLSID& clsid) : clsid_(clsid) {}
    bool answers(REFIID iid) const override { return iid == IID_IClassFactory; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        try {
            if (clsid_ == CLSID_QuillboxSpreadsheet) return fncCreateSpreadsheetControl(iid, out);
            if (clsid_ == CLSID_SafeInspector) {
                qbx::ComPtr<IDispatch> object(new cSafeInspector());
                return object->QueryInterface(iid, out);
            }
            qbx::ComPtr<IDTExtensibility2> object(new QBXOutlookConnect());
            return object->QueryInterface(iid, out);
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        lock ? ++serverLocks : --serverLocks;
        return S_OK;
    }

private:
    CLSID clsid_;
};

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }

HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (clsid != CLSID_QBXOutlookConnect && clsid != CLSID_SafeInspector && clsid != CLSID_QuillboxSpreadsheet)
        return CLASS_E_CLASSNOTAVAILABLE;
    qbx::ComPtr<IClassFactory> factory(new ClassFactory(clsid));
    return factory->QueryInterface(iid, out);
}

HRESULT WINAPI DllCanUnloadNow() {
    return QBXOutlookConnect::liveObjects() == 0 && cSafeInspector::liveObjects() == 0 &&
                   cSpreadsheetControl::liveObjects() == 0 && serverLocks.load() == 0
               ? S_OK
               : S_FALSE;
}

HRESULT WINAPI DllRegisterServer() { return fncRegisterAddin(Scope::Machine); }

HRESULT WINAPI DllUnregisterServer() { return fncUnregisterAddin(Scope::Machine); }

// regsvr32 /n /i:user registers for the current user only; without "user"
// it registers machine-wide as DllRegisterServer does.
HRESULT WINAPI DllInstall(BOOL install, LPCWSTR commandLine) {
    Scope scope = (commandLine && CompareStringOrdinal(commandLine, -1, L"user", -1, TRUE) == CSTR_EQUAL) ? Scope::User : Scope::Machine;
    return install ? fncRegisterAddin(scope) : fncUnregisterAddin(scope);
}

}  // extern "C"
