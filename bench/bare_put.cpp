// The baseline of the upload figures: the least a program can do to PUT a
// file with the platform's request object. Reads the file into one byte
// array, creates "WinHttp.WinHttpRequest.5.1" (the add-in's request object) and
// sends the array synchronously.
// Deliberately built on nothing but Windows' own calls.
//   bare_put.exe FILE URL
#include "bench/bench_common.h"

#include <ole2.h>

#include <string>

namespace {

HRESULT invoke(IDispatch* d, const wchar_t* name, WORD flags, VARIANT* argsReversed, UINT count, VARIANT* result) {
    DISPID id;
    LPOLESTR n = const_cast<LPOLESTR>(name);
    HRESULT hr = d->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) return hr;
    DISPPARAMS dp{argsReversed, nullptr, count, 0};
    return d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &dp, result, nullptr, nullptr);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return 2;
    CoInitialize(nullptr);
    const double start = bench::now();
    bool ok = false;

    HANDLE file = CreateFileW(argv[1], GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    LARGE_INTEGER size{};
    GetFileSizeEx(file, &size);
    SAFEARRAY* bytes = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(size.QuadPart));
    void* data = nullptr;
    SafeArrayAccessData(bytes, &data);
    DWORD got = 0;
    ReadFile(file, data, static_cast<DWORD>(size.QuadPart), &got, nullptr);
    SafeArrayUnaccessData(bytes);
    CloseHandle(file);

    CLSID clsid;
    IDispatch* http = nullptr;
    if (SUCCEEDED(CLSIDFromProgID(L"WinHttp.WinHttpRequest.5.1", &clsid)) &&
        SUCCEEDED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(&http)))) {
        VARIANT open[3];
        for (auto& v : open) VariantInit(&v);
        open[2].vt = VT_BSTR;
        open[2].bstrVal = SysAllocString(L"PUT");
        open[1].vt = VT_BSTR;
        open[1].bstrVal = SysAllocString(argv[2]);
        open[0].vt = VT_BOOL;
        open[0].boolVal = VARIANT_FALSE;
        VARIANT body;
        VariantInit(&body);
        body.vt = VT_ARRAY | VT_UI1;
        body.parray = bytes;
        VARIANT status;
        VariantInit(&status);
        if (SUCCEEDED(invoke(http, L"open", DISPATCH_METHOD, open, 3, nullptr)) &&
            SUCCEEDED(invoke(http, L"send", DISPATCH_METHOD, &body, 1, nullptr)) &&
            SUCCEEDED(invoke(http, L"statusText", DISPATCH_PROPERTYGET, nullptr, 0, &status)) && status.vt == VT_BSTR)
            ok = std::wstring(status.bstrVal) == L"CREATED" || std::wstring(status.bstrVal) == L"OK";
        VariantClear(&status);
        for (auto& v : open) VariantClear(&v);
        http->Release();
    }
    SafeArrayDestroy(bytes);
    bench::report(ok, bench::now() - start);
    CoUninitialize();
    return ok ? 0 : 1;
}
