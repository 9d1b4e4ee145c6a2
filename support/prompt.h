// The one way the add-in asks the user anything: message boxes and input
// boxes all go through fncMsgBox / fncInputBox. Outside tests they are the
// real Win32 windows. A test answers them instead, so no test can block on a
// modal window:
//   - code linked into a test program installs a handler (prompt_testing.h);
//   - a host program (the test bed's Outlook) exports
//     "QbxAnswerPrompt" and the add-in DLL finds it in its own process.
#pragma once

#include <windows.h>

#include <string>

namespace qbx {

enum class PromptKind : int { Message = 0, Input = 1 };

struct Prompt {
    PromptKind kind = PromptKind::Message;
    std::wstring text;
    std::wstring title;
    UINT style = MB_OK;           // MessageBox flags (buttons and icon)
    std::wstring defaultText;     // input boxes only
};

struct PromptAnswer {
    int button = IDOK;            // IDOK, IDCANCEL, IDYES, IDNO ...
    std::wstring text;            // input boxes: the text typed
};

// The exported answerer a host program may offer. It fills answerText (up to
// answerCapacity characters including the terminator) for input boxes and
// returns the button.
using PromptExport = int(__stdcall*)(int kind, const wchar_t* text, const wchar_t* title, unsigned style,
                                     const wchar_t* defaultText, wchar_t* answerText, int answerCapacity);
inline constexpr const char* kPromptExportName = "QbxAnswerPrompt";

// The add-in's message box: returns the button pressed.
int fncMsgBox(const std::wstring& text, UINT style, const std::wstring& title);
// A message box of fixed texts that needs no memory of its own, for the one
// moment memory has run out (the error report's last resort). Never throws;
// a test handler that fails answers No.
int fncMsgBoxFixed(const wchar_t* text, UINT style, const wchar_t* title) noexcept;
// The add-in's input box: returns the text, or empty text on Cancel.
std::wstring fncInputBox(const std::wstring& text, const std::wstring& title, const std::wstring& defaultText);

}  // namespace qbx
