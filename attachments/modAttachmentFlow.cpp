#include "attachments/modAttachmentFlow.h"
#include "attachments/modAttachmentFlow_testing.h"

#include "support/com.h"
#include "support/modFileHandling.h"
#include "support/modHtml.h"

#include <windows.h>

#include <cwctype>

namespace {

std::function<double()>& flowClock() {
    static std::function<double()> clock;
    return clock;
}

double fncSystemNow() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    const WORD milliseconds = now.wMilliseconds;
    now.wMilliseconds = 0;
    double date = 0.0;
    SystemTimeToVariantTime(&now, &date);
    // The conversion drops the milliseconds; they go back in as a fraction
    // of a day (dates before 1900 do not occur here).
    return date + milliseconds / 86400000.0;
}

}  // namespace

double fncFlowNow() { return flowClock() ? flowClock()() : fncSystemNow(); }

void subSetFlowClock(std::function<double()> clock) { flowClock() = std::move(clock); }

std::wstring fncDefaultTarget(const std::wstring& strLibrary, const std::wstring& strFileNameConverted) {
    // The second conversion is wanted: an entity made from the file name has
    // its ampersand converted again, as every link made on the default
    // library always had.
    return fncHtmlEncode(fncRemoveTrailingSlash(strLibrary) + L"/" + strFileNameConverted);
}

bool fncIsAbsoluteAddress(const std::wstring& strAddress) {
    if (strAddress.rfind(L"\\\\", 0) == 0) return true;
    const size_t colon = strAddress.find(L"://");
    if (colon == 0 || colon == std::wstring::npos) return false;
    for (size_t i = 0; i < colon; ++i)
        if (!iswalpha(strAddress[i])) return false;
    return true;
}

std::wstring fncUploadAddress(const std::wstring& strTarget) {
    static const wchar_t kHex[] = L"0123456789ABCDEF";
    std::wstring result;
    result.reserve(strTarget.size());
    for (size_t i = 0; i < strTarget.size();) {
        if (strTarget[i] < 0x80) {
            result += strTarget[i++];
            continue;
        }
        // A run of characters outside ASCII, so that surrogate pairs stay together.
        size_t end = i;
        while (end < strTarget.size() && strTarget[end] >= 0x80) ++end;
        for (unsigned char byte : qbx::toUtf8(strTarget.substr(i, end - i))) {
            result += L'%';
            result += kHex[byte >> 4];
            result += kHex[byte & 0x0F];
        }
        i = end;
    }
    return result;
}

std::wstring fncTempCopyPath(const std::wstring& strFileNameConverted) {
    const std::wstring strTemp = fncRemoveTrailingSlash(fncGetTempPath());
    if (strTemp.empty()) return {};
    return strTemp + L"\\" + std::to_wstring(fncNextFileNumber()) + strFileNameConverted;
}

void subRemoveTempCopy(const std::wstring& strPath) noexcept {
    if (!strPath.empty()) DeleteFileW(strPath.c_str());
}
