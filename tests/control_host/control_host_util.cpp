#include "tests/control_host/control_host_util.h"

#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include <cstring>

namespace hosttest {

namespace {

void writeKey(const std::wstring& path, const std::wstring& value) {
    HKEY key = nullptr;
    REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr) ==
            ERROR_SUCCESS);
    RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

std::wstring guidText(const GUID& g) {
    wchar_t buf[64] = {};
    StringFromGUID2(g, buf, 64);
    return buf;
}

class SpreadsheetFactory final : public qbx::Unknown<IClassFactory> {
public:
    bool answers(REFIID iid) const override { return iid == IID_IClassFactory; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        return outer ? CLASS_E_NOAGGREGATION : fncCreateSpreadsheetControl(iid, out);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace

ClassRegistration::ClassRegistration(const std::wstring& progId, const CLSID& clsid, IClassFactory* factory)
    : progId_(progId) {
    writeKey(L"Software\\Classes\\" + progId + L"\\CLSID", guidText(clsid));
    REQUIRE(SUCCEEDED(CoRegisterClassObject(clsid, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_)));
}

ClassRegistration::~ClassRegistration() {
    CoRevokeClassObject(cookie_);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, (L"Software\\Classes\\" + progId_).c_str());
}

SpreadsheetClass::SpreadsheetClass()
    : factory(new SpreadsheetFactory()),
      registration(kSpreadsheetProgId, CLSID_QuillboxSpreadsheet, factory.get()) {}

TestForm::TestForm(int width, int height) {
    static const ATOM atom = [] {
        WNDCLASSW wc{};
        wc.lpfnWndProc = DefWindowProcW;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
        wc.lpszClassName = L"QbxHostTestForm";
        return RegisterClassW(&wc);
    }();
    REQUIRE(atom != 0);
    RECT r{0, 0, width, height};
    AdjustWindowRect(&r, WS_OVERLAPPEDWINDOW, FALSE);
    window_ = CreateWindowExW(WS_EX_CONTROLPARENT, L"QbxHostTestForm", L"Control host test",
                              WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 20, 20, r.right - r.left, r.bottom - r.top,
                              nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    REQUIRE(window_ != nullptr);
    ShowWindow(window_, SW_SHOWNOACTIVATE);
    pump();
}

TestForm::~TestForm() {
    if (IsWindow(window_)) DestroyWindow(window_);
    pump();
}

RECT placement(HWND window) {
    RECT r{};
    GetWindowRect(window, &r);
    MapWindowPoints(HWND_DESKTOP, GetParent(window), reinterpret_cast<POINT*>(&r), 2);
    return r;
}

std::wstring windowClass(HWND window) {
    wchar_t buf[256] = {};
    GetClassNameW(window, buf, 256);
    return buf;
}

void place(const qbx::Disp& extender, long left, long top, long width, long height) {
    extender.put(L"Left", left);
    extender.put(L"Top", top);
    extender.put(L"Width", width);
    extender.put(L"Height", height);
    extender.put(L"Visible", true);
}

void setClipboardText(HWND owner, const std::wstring& text) {
    REQUIRE(OpenClipboard(owner));
    EmptyClipboard();
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes);
    memcpy(GlobalLock(memory), text.c_str(), bytes);
    GlobalUnlock(memory);
    SetClipboardData(CF_UNICODETEXT, memory);
    CloseClipboard();
}

}  // namespace hosttest
