#include "sharepoint/modUpload.h"
#include "sharepoint/modUpload_testing.h"

#include "support/com.h"
#include "support/modErroHandling.h"
#include "support/com/win_handles.h"

#include <algorithm>
#include <cwchar>
#include <vector>

namespace {

// The largest file handed to the request object. The whole file travels as
// one byte array, and the request object needs several times its size on
// top (about six times under Wine), so a 32-bit Outlook runs out of address
// space long before the file does: at 512 MB Wine's object sent an empty
// body, which the server stored as an empty document and answered
// "CREATED". A larger file is refused as out of memory, through the error
// report, before anything is sent; the attachment stays. 400 MB is the
// largest size the 32-bit test bed moved whole. In 64 bits the byte array's
// own limit holds (2 GB less one byte).
constexpr unsigned long long kLargestUpload = sizeof(void*) == 4 ? 400ULL << 20 : 0x7FFFFFFFULL;
unsigned long long largestUpload = kLargestUpload;

// Refuses a file larger than the request object can be handed. A file that
// can't be found is left to the reading, which reports it as it always has.
void subCheckUploadSize(const std::wstring& strPath) {
    WIN32_FILE_ATTRIBUTE_DATA info{};
    if (!GetFileAttributesExW(strPath.c_str(), GetFileExInfoStandard, &info)) return;
    const unsigned long long size = (static_cast<unsigned long long>(info.nFileSizeHigh) << 32) | info.nFileSizeLow;
    if (size > largestUpload) qbx::raiseVb(qbx::vbErrOutOfMemory);
}

// A stream component can be registered yet useless to late binding: its type
// library is missing (so no member can be found by name) or a member is not
// implemented. These are the only failures after which the file is read
// without it; anything else (a missing file above all) is a real error.
bool fncIsStreamUnusable(const qbx::Error& e) {
    switch (static_cast<unsigned long>(e.number())) {
        case 0x8002801DUL:  // type library not registered
        case 0x80029C4AUL:  // type library can't be loaded
        case 0x80004001UL:  // not implemented
            return true;
    }
    return e.number() == qbx::vbErrNoMember;
}

// Runs one call on the stream; false when the stream turned out unusable.
template <class F>
bool fncStreamStep(F&& call) {
    try {
        call();
        return true;
    } catch (const qbx::Error& e) {
        if (!fncIsStreamUnusable(e)) throw;
        return false;
    }
}

// The whole file as one byte array (VT_ARRAY|VT_UI1), read straight into the
// array so the content is held in memory once, as the stream would hold it.
// Errors read as the stream's own would.
qbx::Variant fncReadFileBytes(const std::wstring& strPath) {
    qbx::FileHandle file(CreateFileW(strPath.c_str(), GENERIC_READ,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!file) qbx::raiseVb(qbx::adErrOpeningFile);
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file.get(), &size)) qbx::raiseVb(qbx::adErrOpeningFile);
    if (static_cast<unsigned long long>(size.QuadPart) > largestUpload) qbx::raiseVb(qbx::vbErrOutOfMemory);
    const ULONG total = static_cast<ULONG>(size.QuadPart);
    qbx::SafeArray bytes(SafeArrayCreateVector(VT_UI1, 0, total));
    if (!bytes.get()) qbx::raiseVb(qbx::vbErrOutOfMemory);
    if (total) {
        ULONG done = 0;
        {
            qbx::ArrayData<char> data(bytes.get());
            while (done < total) {
                DWORD got = 0;
                DWORD want = std::min<ULONG>(total - done, 16u << 20);
                if (!ReadFile(file.get(), data.get() + done, want, &got, nullptr) || got == 0) break;
                done += got;
            }
        }
        if (done != total) qbx::raiseVb(qbx::adErrOpeningFile);
    }
    return std::move(bytes).toVariant(VT_UI1);
}

// A text of the reply as the server sent it. Wine's request object hands its
// texts out with the terminating NUL counted in the string's length; that NUL
// is no part of the text and is dropped, so "CREATED" still reads "CREATED".
std::wstring fncReplyText(const qbx::Variant& varText) {
    std::wstring strText = varText.toString();
    strText.resize(wcsnlen(strText.c_str(), strText.size()));
    return strText;
}

std::wstring fncStatusText(const qbx::Disp& objRequest) { return fncReplyText(objRequest.get(L"statusText")); }

// A synchronous send that brought no complete reply failed on the way, even
// where the request object lets it return normally: no status line at all
// (status 0), or a body shorter than the length the reply announced. That is
// raised here as the failed download it is, so that a broken connection
// never passes for an answer. Success itself is judged by the status text
// alone.
void subCheckReplyArrived(const qbx::Disp& objRequest) {
    const HRESULT kDownloadFailed = static_cast<HRESULT>(0x800C0008L);
    if (objRequest.get(L"status").toLong() == 0) qbx::raiseHr(kDownloadFailed);
    std::wstring strLength;
    qbx::Err err;
    err.resume([&] { strLength = fncReplyText(objRequest.get(L"getResponseHeader", L"Content-Length")); });
    if (strLength.empty() || strLength.find_first_not_of(L"0123456789") != std::wstring::npos) return;
    const qbx::Variant varBody = objRequest.get(L"responseBody");
    const size_t received = varBody.isArray() ? qbx::bytesOf(varBody).size() : 0;
    if (strLength.size() > 15 || received < std::stoull(strLength)) qbx::raiseHr(kDownloadFailed);
}

// WinHttpRequestOption_EnableRedirects and AutoLogonPolicy_Always.
constexpr long kOptionEnableRedirects = 6;
constexpr long kAutoLogonAlways = 0;

}  // namespace

void subSetLargestUpload(unsigned long long bytes) noexcept { largestUpload = bytes ? bytes : kLargestUpload; }

bool fncUploadFile(const std::wstring& strLocalPath, const std::wstring& strTargetUrl) {
    bool result = false;
    const std::wstring strUploading = L"Uploading " + strLocalPath + L" to " + strTargetUrl;
    subSetAction(strUploading);
    qbx::guarded(L"fncUploadFile", [&] {
        // Both objects live only inside this block, so they are released on
        // every path, before an error report is shown.
        subSetAction(L"Creating ADODB.Stream object");
        qbx::Disp objStream = qbx::Disp::create(L"ADODB.Stream");
        // Windows' WinHTTP request object rather than MSXML's: MSXML's follows a
        // redirect without telling, so a sign-in page's "200 OK" would pass for
        // the stored document. This one is told not to follow, and a redirect
        // then comes back as the 3xx reply it is.
        subSetAction(L"Creating WinHttp.WinHttpRequest.5.1 object");
        qbx::Disp objRequest = qbx::Disp::create(L"WinHttp.WinHttpRequest.5.1");
        // From here on a failure is the upload's own: the trail names the file
        // and the address again.
        subSetAction(strUploading);
        subCheckUploadSize(strLocalPath);

        bool blnStream = fncStreamStep([&] { objStream.put(L"Type", 1L); }) &&
                         fncStreamStep([&] { objStream.call(L"Open"); }) &&
                         fncStreamStep([&] { objStream.call(L"LoadFromFile", strLocalPath); });
        qbx::Variant varBody;
        if (!blnStream) varBody = fncReadFileBytes(strLocalPath);

        objRequest.call(L"Open", L"PUT", strTargetUrl, false);
        objRequest.putAt(L"Option", kOptionEnableRedirects, false);
        // The current user's Windows credentials for the library's server,
        // wherever it is (left to itself the object offers them only to
        // servers that bypass the proxy).
        objRequest.call(L"SetAutoLogonPolicy", kAutoLogonAlways);
        if (blnStream && !fncStreamStep([&] { varBody = objStream.get(L"Read"); }))
            varBody = fncReadFileBytes(strLocalPath);
        // The whole file is moved into the call, not copied.
        objRequest.call(L"send", std::move(varBody));
        subCheckReplyArrived(objRequest);

        // Exact, case-sensitive comparisons of the reason text; the numeric
        // status plays no part in success.
        const bool blnCreated = fncStatusText(objRequest) == L"CREATED";
        const bool blnOk = fncStatusText(objRequest) == L"OK";
        if (blnCreated || blnOk) result = true;
    });
    return result;
}
