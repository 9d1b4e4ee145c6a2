#include "prompt.h"
#include "prompt_testing.h"

#include <vector>

namespace qbx {

namespace {

PromptHandler& handler() {
    static PromptHandler h;
    return h;
}

PromptAnswer ask(const Prompt& p) {
    if (handler()) return handler()(p);
    // A host program that answers prompts for its scenarios exports this.
    if (auto fn = reinterpret_cast<PromptExport>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(nullptr), kPromptExportName)))) {
        std::vector<wchar_t> buf(4096, L'\0');
        PromptAnswer a;
        a.button = fn(static_cast<int>(p.kind), p.text.c_str(), p.title.c_str(), p.style, p.defaultText.c_str(),
                      buf.data(), static_cast<int>(buf.size()));
        a.text = buf.data();
        return a;
    }
    PromptAnswer a;
    if (p.kind == PromptKind::Message) {
        a.button = MessageBoxW(nullptr, p.text.c_str(), p.title.c_str(), p.style | MB_SETFOREGROUND);
    } else {
        a.button = IDCANCEL;  // the input dialog itself lives with the settings window
    }
    return a;
}

}  // namespace

void setPromptHandler(PromptHandler h) { handler() = std::move(h); }

int fncMsgBox(const std::wstring& text, UINT style, const std::wstring& title) {
    Prompt p;
    p.kind = PromptKind::Message;
    p.text = text;
    p.title = title;
    p.style = style;
    return ask(p).button;
}

int fncMsgBoxFixed(const wchar_t* text, UINT style, const wchar_t* title) noexcept {
    if (handler()) {
        try {
            Prompt p;
            p.text = text;
            p.title = title;
            p.style = style;
            return handler()(p).button;
        } catch (...) {
            return IDNO;
        }
    }
    if (auto fn = reinterpret_cast<PromptExport>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(nullptr), kPromptExportName)))) {
        wchar_t none[1] = {};
        return fn(static_cast<int>(PromptKind::Message), text, title, style, L"", none, 1);
    }
    return MessageBoxW(nullptr, text, title, style | MB_SETFOREGROUND);
}

std::wstring fncInputBox(const std::wstring& text, const std::wstring& title, const std::wstring& defaultText) {
    Prompt p;
    p.kind = PromptKind::Input;
    p.text = text;
    p.title = title;
    p.defaultText = defaultText;
    PromptAnswer a = ask(p);
    return a.button == IDOK ? a.text : std::wstring();
}

}  // namespace qbx
