#include "prompt.h"
#include "prompt_testing.h"

#include "support/com/boundary.h"
#include "support/phrases.h"
#include "support/com/win_window.h"

#include <cstring>
#include <vector>

namespace qbx {

namespace {

// The input box: a modal dialog built in memory, laid out as Windows users
// know it from Office (the prompt at the top left, OK and Cancel at the
// right, the answer's line along the bottom). Sizes in dialog units.
constexpr WORD kInputEdit = 100;
constexpr WORD kInputPrompt = 101;
constexpr WORD kButtonClass = 0x0080, kEditClass = 0x0081, kStaticClass = 0x0082;

class DialogTemplate {
public:
    DialogTemplate(const std::wstring& title, WORD items) {
        DLGTEMPLATE t{};
        t.style = DS_MODALFRAME | DS_SETFONT | DS_CENTER | WS_POPUP | WS_CAPTION | WS_SYSMENU;
        t.cdit = items;
        t.cx = 250;
        t.cy = 84;
        append(&t, sizeof t);
        words_.push_back(0);  // no menu
        words_.push_back(0);  // the standard dialog class
        text(title);
        words_.push_back(8);  // the dialog font's point size
        text(L"MS Shell Dlg");
    }
    void item(DWORD style, short x, short y, short cx, short cy, WORD id, WORD cls, const std::wstring& caption) {
        if (words_.size() % 2) words_.push_back(0);  // each item starts on a DWORD boundary
        DLGITEMTEMPLATE i{};
        i.style = style | WS_CHILD | WS_VISIBLE;
        i.x = x;
        i.y = y;
        i.cx = cx;
        i.cy = cy;
        i.id = id;
        append(&i, sizeof i);
        words_.push_back(0xFFFF);
        words_.push_back(cls);
        text(caption);
        words_.push_back(0);  // no creation data
    }
    const DLGTEMPLATE* get() const { return reinterpret_cast<const DLGTEMPLATE*>(words_.data()); }

private:
    void append(const void* data, size_t bytes) {
        const size_t at = words_.size();
        words_.resize(at + bytes / sizeof(WORD));
        std::memcpy(words_.data() + at, data, bytes);
    }
    void text(const std::wstring& s) {
        words_.insert(words_.end(), s.begin(), s.end());
        words_.push_back(0);
    }
    std::vector<WORD> words_;
};

struct InputBox {
    const Prompt* prompt;
    PromptAnswer answer;

    INT_PTR dialogMessage(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
        if (message == WM_INITDIALOG) {
            HWND edit = GetDlgItem(dialog, kInputEdit);
            SetWindowTextW(edit, prompt->defaultText.c_str());
            SendMessageW(edit, EM_SETSEL, 0, -1);
            SetFocus(edit);
            return FALSE;  // the focus is set
        }
        if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL)) {
            answer.button = LOWORD(wParam);
            if (answer.button == IDOK) {
                HWND edit = GetDlgItem(dialog, kInputEdit);
                std::wstring text(static_cast<size_t>(GetWindowTextLengthW(edit)) + 1, L'\0');
                text.resize(static_cast<size_t>(GetWindowTextW(edit, text.data(), static_cast<int>(text.size()))));
                answer.text = std::move(text);
            }
            EndDialog(dialog, answer.button);
            return TRUE;
        }
        return FALSE;
    }
};

PromptAnswer showInputBox(const Prompt& p) {
    DialogTemplate t(p.title, 4);
    t.item(SS_LEFT | SS_NOPREFIX, 7, 7, 172, 48, kInputPrompt, kStaticClass, p.text);
    t.item(BS_DEFPUSHBUTTON | WS_TABSTOP, 186, 7, 57, 14, IDOK, kButtonClass, LNGOK.empty() ? L"OK" : LNGOK);
    t.item(BS_PUSHBUTTON | WS_TABSTOP, 186, 25, 57, 14, IDCANCEL, kButtonClass,
           LNGCANCEL.empty() ? L"Cancel" : LNGCANCEL);
    t.item(ES_AUTOHSCROLL | WS_BORDER | WS_TABSTOP, 7, 62, 236, 13, kInputEdit, kEditClass, L"");
    InputBox state{&p, {}};
    state.answer.button = IDCANCEL;
    // Owned by the window the question is about (the settings window), so it
    // stays in front of it and that window waits for the answer.
    if (DialogBoxIndirectParamW(GetModuleHandleW(nullptr), t.get(), GetActiveWindow(),
                                &qbx::WindowProcedures::dialog<InputBox, &InputBox::dialogMessage>,
                                reinterpret_cast<LPARAM>(&state)) <= 0)
        return PromptAnswer{IDCANCEL, {}};
    return state.answer;
}

PromptHandler& handler() {
    static PromptHandler h;
    return h;
}

PromptAnswer ask(const Prompt& p) {
    if (handler()) return handler()(p);
    // A host program that answers prompts for its scenarios exports this.
    if (auto fn = qbx::procAddress<PromptExport>(GetModuleHandleW(nullptr), kPromptExportName)) {
        std::vector<wchar_t> buf(4096, L'\0');
        PromptAnswer a;
        a.button = fn(static_cast<int>(p.kind), p.text.c_str(), p.title.c_str(), p.style, p.defaultText.c_str(),
                      buf.data(), static_cast<int>(buf.size()));
        a.text = buf.data();
        return a;
    }
    return showPromptWindow(p);
}

}  // namespace

PromptAnswer showPromptWindow(const Prompt& p) {
    if (p.kind == PromptKind::Input) return showInputBox(p);
    PromptAnswer a;
    a.button = MessageBoxW(nullptr, p.text.c_str(), p.title.c_str(), p.style | MB_SETFOREGROUND);
    return a;
}

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
        return answerBoundary(L"fncMsgBoxFixed", IDNO, [&] {
            Prompt p;
            p.text = text;
            p.title = title;
            p.style = style;
            return handler()(p).button;
        });
    }
    if (auto fn = qbx::procAddress<PromptExport>(GetModuleHandleW(nullptr), kPromptExportName)) {
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
