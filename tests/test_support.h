// Helpers shared by the test programs.
#pragma once

#include "support/com/error.h"
#include "support/prompt.h"
#include "support/prompt_testing.h"

#include <deque>
#include <string>
#include <vector>

namespace qbxtest {

// Every prompt shown while no PromptRecorder is active fails the test and is
// answered with No / Cancel.
void installPromptGuard();

// Records the prompts shown while it lives and answers them: queued answers
// first, then the default button.
class PromptRecorder {
public:
    explicit PromptRecorder(int defaultButton = IDNO);
    ~PromptRecorder();
    PromptRecorder(const PromptRecorder&) = delete;
    PromptRecorder& operator=(const PromptRecorder&) = delete;

    void queue(int button, const std::wstring& text = {}) { answers_.push_back({button, text}); }
    const std::vector<qbx::Prompt>& prompts() const { return prompts_; }

private:
    std::vector<qbx::Prompt> prompts_;
    std::deque<qbx::PromptAnswer> answers_;
    int defaultButton_;
};

// Puts the error handling and the shared state back as at load time.
void resetAddinState();

// The number of the Error a step raises; 0 when it raises none.
template <class F>
long errorOf(F step) {
    try {
        step();
    } catch (const qbx::Error& e) {
        return e.number();
    }
    return 0;
}

// A window's text.
std::wstring windowText(HWND window);
// Runs the queued messages of this thread (paints, posted messages).
void pump();

// A dialog's font is the dialog font of its resource.
void checkDialogFont(HWND dialog);
// A control's caption as a person reads it: not empty, the mnemonic marker
// taken out. With withKey, the caption must have a mnemonic whose key is not
// in keys yet; it is added there.
std::wstring checkedCaption(HWND control, bool withKey, std::wstring& keys);
// The size of a text in a control's font.
SIZE textExtent(HWND control, const std::wstring& text);

// A number from the environment (a screenshot's language column, its time).
int envNumber(const char* name, int fallback);

// UTF-8 text of a wide string, for doctest's messages.
std::string narrow(const std::wstring& w);

// The action trail as the debug log records it: switched on (with an empty
// log) while the object lives, switched off and the log removed afterwards.
class TrailLog {
public:
    TrailLog();
    ~TrailLog();
    TrailLog(const TrailLog&) = delete;
    TrailLog& operator=(const TrailLog&) = delete;
    // Every action recorded so far, in order.
    std::vector<std::wstring> actions() const;
    // The texts, in this order, among the actions (others may come between);
    // empty when they are all there, else the first one missing.
    std::wstring firstMissing(const std::vector<std::wstring>& texts) const;

private:
    std::wstring path_;
};

}  // namespace qbxtest
