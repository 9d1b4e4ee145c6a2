// The bench programs run the add-in unattended: every message box or
// question is answered with one button, printed to stderr and counted, so a
// run that asked anything is seen as not clean.
#pragma once

#include "support/com/text.h"
#include "support/prompt.h"
#include "support/prompt_testing.h"

#include <cstdio>

namespace bench {

inline long prompts = 0;

inline void answerPromptsWith(int button) {
    qbx::setPromptHandler([button](const qbx::Prompt& p) {
        ++prompts;
        std::fprintf(stderr, "prompt: %s\n", qbx::toUtf8(p.text).c_str());
        qbx::PromptAnswer a;
        a.button = button;
        return a;
    });
}

}  // namespace bench
