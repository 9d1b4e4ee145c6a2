// Registration of the add-in's COM classes and of its Outlook add-in key.
//
// Machine-wide registration (regsvr32) writes under HKEY_LOCAL_MACHINE; a
// per-user install (regsvr32 /n /i:user) writes the same keys under
// HKEY_CURRENT_USER, so a user without administrator rights can install it.
// Each build writes to the registry view its own bitness of Outlook reads
// (the 64-bit view for the 64-bit DLL, the 32-bit view for the 32-bit one).
// Unregistering removes exactly the keys registering created.
#include "host/registration.h"

#include "attachments/cSafeInspector.h"
#include "host/QBXOutlookConnect.h"
#include "support/modGlobals.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"
#include "support/com/win_handles.h"

#include <olectl.h>

#include <string>
#include <vector>

namespace {

#ifdef _WIN64
constexpr REGSAM kView = KEY_WOW64_64KEY;
#else
constexpr REGSAM kView = KEY_WOW64_32KEY;
#endif

constexpr const wchar_t* kAddinsKey = L"Software\\Microsoft\\Office\\Outlook\\Addins\\";

struct ComClass {
    const CLSID* clsid;
    const wchar_t* progId;
    const wchar_t* description;
};

std::vector<ComClass>& classes() {
    static std::vector<ComClass> list = {
        {&CLSID_QBXOutlookConnect, kConnectProgId, L"Quillbox Outlook connection"},
        {&CLSID_SafeInspector, kSafeInspectorProgId, L"Quillbox safe inspector"},
        {&CLSID_QuillboxSpreadsheet, kSpreadsheetProgId, L"Quillbox spreadsheet control"},
    };
    return list;
}

std::wstring guidText(const GUID& g) {
    wchar_t buf[64] = {};
    StringFromGUID2(g, buf, 64);
    return buf;
}

LONG setString(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& value) {
    qbx::RegKey key;
    LONG rc = RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_WRITE | kView, nullptr, key.put(), nullptr);
    if (rc != ERROR_SUCCESS) return rc;
    return RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

LONG setDword(HKEY root, const std::wstring& path, const wchar_t* name, DWORD value) {
    qbx::RegKey key;
    LONG rc = RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_WRITE | kView, nullptr, key.put(), nullptr);
    if (rc != ERROR_SUCCESS) return rc;
    return RegSetValueExW(key.get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

// Deletes a key and everything below it; a key that is already gone is fine.
LONG deleteTree(HKEY root, const std::wstring& path) {
    qbx::RegKey key;
    LONG rc = RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | KEY_WRITE | DELETE | kView, key.put());
    if (rc == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (rc != ERROR_SUCCESS) return rc;
    // Children first.
    for (;;) {
        wchar_t name[256];
        DWORD len = 256;
        if (RegEnumKeyExW(key.get(), 0, name, &len, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        if (deleteTree(key.get(), name) != ERROR_SUCCESS) break;
    }
    key.reset();  // closed before the key itself is deleted
    rc = RegDeleteKeyExW(root, path.c_str(), kView, 0);
    return rc == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : rc;
}

std::wstring modulePath() {
    wchar_t buf[MAX_PATH * 2] = {};
    DWORD n = GetModuleFileNameW(fncAddinModule(), buf, static_cast<DWORD>(std::size(buf)));
    return std::wstring(buf, n);
}

}  // namespace

HRESULT fncRegisterAddin(Scope scope) {
    HKEY root = scope == Scope::Machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    const std::wstring classesKey = L"Software\\Classes\\";
    const std::wstring dll = modulePath();
    LONG rc = ERROR_SUCCESS;
    auto check = [&rc](LONG r) {
        if (rc == ERROR_SUCCESS) rc = r;
    };
    for (const ComClass& c : classes()) {
        std::wstring clsidKey = classesKey + L"CLSID\\" + guidText(*c.clsid);
        check(setString(root, clsidKey, nullptr, c.description));
        check(setString(root, clsidKey + L"\\InprocServer32", nullptr, dll));
        check(setString(root, clsidKey + L"\\InprocServer32", L"ThreadingModel", L"Apartment"));
        check(setString(root, clsidKey + L"\\ProgID", nullptr, c.progId));
        check(setString(root, classesKey + c.progId, nullptr, c.description));
        check(setString(root, classesKey + c.progId + L"\\CLSID", nullptr, guidText(*c.clsid)));
    }
    std::wstring addin = std::wstring(kAddinsKey) + kConnectProgId;
    check(setString(root, addin, L"FriendlyName", L"Quillbox"));
    check(setString(root, addin, L"Description",
                    L"Moves attachments of new mails to SharePoint document libraries and puts links in their place"));
    check(setDword(root, addin, L"LoadBehavior", 3));
    check(setDword(root, addin, L"CommandLineSafe", 0));
    if (rc != ERROR_SUCCESS) {
        fncUnregisterAddin(scope);
        return rc == ERROR_ACCESS_DENIED ? E_ACCESSDENIED : SELFREG_E_CLASS;
    }
    return S_OK;
}

HRESULT fncUnregisterAddin(Scope scope) {
    HKEY root = scope == Scope::Machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    const std::wstring classesKey = L"Software\\Classes\\";
    LONG rc = ERROR_SUCCESS;
    auto check = [&rc](LONG r) {
        if (rc == ERROR_SUCCESS) rc = r;
    };
    for (const ComClass& c : classes()) {
        check(deleteTree(root, classesKey + L"CLSID\\" + guidText(*c.clsid)));
        check(deleteTree(root, classesKey + c.progId));
    }
    check(deleteTree(root, std::wstring(kAddinsKey) + kConnectProgId));
    return rc == ERROR_SUCCESS ? S_OK : SELFREG_E_CLASS;
}
