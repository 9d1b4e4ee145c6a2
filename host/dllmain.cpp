// The DLL's entry points: the class factory Outlook reaches through
// DllGetClassObject, and the registration entry points regsvr32 calls.
#include "attachments/cSafeInspector.h"
#include "host/QBXOutlookConnect.h"
#include "host/registration.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"
#include "support/com/boundary.h"
#include "support/com/class_factory.h"

namespace {

// The creatable classes: each made and asked for the interface the caller wants.
HRESULT createConnection(REFIID iid, void** out) {
    qbx::ComPtr<IDTExtensibility2> object(new QBXOutlookConnect());
    return object->QueryInterface(iid, out);
}

HRESULT createSafeInspector(REFIID iid, void** out) {
    qbx::ComPtr<IDispatch> object(new cSafeInspector());
    return object->QueryInterface(iid, out);
}

HRESULT createSpreadsheet(REFIID iid, void** out) { return fncCreateSpreadsheetControl(iid, out); }

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }

HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    qbx::CreateFunction create = clsid == CLSID_QBXOutlookConnect      ? &createConnection
                                 : clsid == CLSID_SafeInspector        ? &createSafeInspector
                                 : clsid == CLSID_QuillboxSpreadsheet ? &createSpreadsheet
                                                                       : nullptr;
    if (!create) return CLASS_E_CLASSNOTAVAILABLE;
    return qbx::comBoundary(L"DllGetClassObject", [&] { return qbx::makeClassFactory(create)->QueryInterface(iid, out); });
}

HRESULT WINAPI DllCanUnloadNow() { return qbx::canUnloadNow() ? S_OK : S_FALSE; }

HRESULT WINAPI DllRegisterServer() { return fncRegisterAddin(Scope::Machine); }

HRESULT WINAPI DllUnregisterServer() { return fncUnregisterAddin(Scope::Machine); }

// regsvr32 /n /i:user registers for the current user only; without "user"
// it registers machine-wide as DllRegisterServer does.
HRESULT WINAPI DllInstall(BOOL install, LPCWSTR commandLine) {
    Scope scope = (commandLine && CompareStringOrdinal(commandLine, -1, L"user", -1, TRUE) == CSTR_EQUAL) ? Scope::User : Scope::Machine;
    return install ? fncRegisterAddin(scope) : fncUnregisterAddin(scope);
}

}  // extern "C"
