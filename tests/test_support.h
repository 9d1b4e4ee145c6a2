// Helpers shared by the test programs.
#pragma once

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

// UTF-8 text of a wide string, for doctest's messages.
std::string narrow(const std::wstring& w);

}  // namespace qbxtest
