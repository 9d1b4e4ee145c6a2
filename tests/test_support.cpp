#include "tests/test_support.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>

#include "support/modGlobals.h"
#include "support/com.h"
#include "support/modErroHandling.h"
#include "support/com/text.h"

namespace qbxtest {

namespace {
PromptRecorder* active = nullptr;
}

void installPromptGuard() {
    qbx::setPromptHandler([](const qbx::Prompt& p) {
        qbx::PromptAnswer a;
        a.button = (p.style & 0xF) == MB_OK ? IDOK : IDNO;
        if (active) return a;  // not reached: a recorder installs its own handler
        FAIL_CHECK("unexpected prompt: " << narrow(p.text));
        return a;
    });
}

PromptRecorder::PromptRecorder(int defaultButton) : defaultButton_(defaultButton) {
    active = this;
    qbx::setPromptHandler([this](const qbx::Prompt& p) {
        prompts_.push_back(p);
        if (!answers_.empty()) {
            qbx::PromptAnswer a = answers_.front();
            answers_.pop_front();
            return a;
        }
        qbx::PromptAnswer a;
        a.button = defaultButton_;
        return a;
    });
}

PromptRecorder::~PromptRecorder() {
    active = nullptr;
    installPromptGuard();
}

void resetAddinState() {
    ReleaseOutlookObjects();
    strCurrentAction.clear();
    strErrorReport.clear();
    blnErrorOccurred = false;
    blnErrorReported = false;
    blnShuttingDown = false;
}

std::string narrow(const std::wstring& w) { return qbx::toUtf8(w); }

}  // namespace qbxtest

namespace qbxtest {

TrailLog::TrailLog() : path_(fncAddinFolder() + L"\\BrantholmLog.txt") {
    DeleteFileW(path_.c_str());
    blnDebugLog = true;
}

TrailLog::~TrailLog() {
    blnDebugLog = false;
    DeleteFileW(path_.c_str());
}

std::vector<std::wstring> TrailLog::actions() const {
    // Each line: "Quillbox", TAB, date and time, TAB, the action (which may
    // itself hold line breaks); the file is in the system's code page.
    std::vector<std::wstring> result;
    HANDLE h = CreateFileW(path_.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return result;
    std::string bytes;
    char buf[4096];
    DWORD got = 0;
    while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got) bytes.append(buf, got);
    CloseHandle(h);
    std::wstring text(bytes.size(), L'\0');
    text.resize(static_cast<size_t>(
        MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), static_cast<int>(text.size()))));
    const std::wstring start = L"Quillbox\t";
    size_t at = text.find(start);
    while (at != std::wstring::npos) {
        size_t next = text.find(L"\r\n" + start, at);
        std::wstring line = text.substr(at, next == std::wstring::npos ? std::wstring::npos : next - at);
        if (line.size() >= 2 && line.compare(line.size() - 2, 2, L"\r\n") == 0) line.resize(line.size() - 2);
        const size_t tab = line.find(L'\t', start.size());
        result.push_back(tab == std::wstring::npos ? std::wstring() : line.substr(tab + 1));
        at = next == std::wstring::npos ? next : next + 2;
    }
    return result;
}

std::wstring TrailLog::firstMissing(const std::vector<std::wstring>& texts) const {
    const std::vector<std::wstring> all = actions();
    size_t from = 0;
    for (const std::wstring& t : texts) {
        auto found = std::find(all.begin() + static_cast<std::ptrdiff_t>(from), all.end(), t);
        if (found == all.end()) return t;
        from = static_cast<size_t>(found - all.begin()) + 1;
    }
    return {};
}

std::wstring windowText(HWND window) {
    wchar_t buf[2048] = {};
    GetWindowTextW(window, buf, 2048);
    return buf;
}

void pump() {
    MSG msg;
    for (int i = 0; i < 200 && PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE); ++i) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

void checkDialogFont(HWND dialog) {
    LOGFONTW font{};
    GetObjectW(reinterpret_cast<HFONT>(SendMessageW(dialog, WM_GETFONT, 0, 0)), sizeof font, &font);
    CHECK(std::wstring(font.lfFaceName) == L"MS Shell Dlg");
}

std::wstring checkedCaption(HWND control, bool withKey, std::wstring& keys) {
    std::wstring caption = windowText(control);
    if (withKey) {
        const size_t amp = caption.find(L'&');
        REQUIRE(amp != std::wstring::npos);
        const wchar_t key = qbx::toLower(caption.substr(amp + 1, 1))[0];
        CHECK(keys.find(key) == std::wstring::npos);
        keys += key;
        caption.erase(amp, 1);
    }
    CHECK_FALSE(caption.empty());
    return caption;
}

SIZE textExtent(HWND control, const std::wstring& text) {
    HDC dc = GetDC(control);
    HGDIOBJ old = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0)));
    SIZE size{};
    GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &size);
    SelectObject(dc, old);
    ReleaseDC(control, dc);
    return size;
}

int envNumber(const char* name, int fallback) {
    const char* value = std::getenv(name);
    return value && *value ? std::atoi(value) : fallback;
}

}  // namespace qbxtest
