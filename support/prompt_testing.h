// The in-process answerer that code linked into a test program installs.
#pragma once

#include "support/prompt.h"

#include <functional>

namespace qbx {

using PromptHandler = std::function<PromptAnswer(const Prompt&)>;
// Installs the in-process handler; an empty one restores the default.
void setPromptHandler(PromptHandler handler);
// The real window of a prompt (message box or input box), whatever handler is
// installed: for tests that drive the window itself, and for the test bed's
// host when a person (or a screenshot script) is to answer.
PromptAnswer showPromptWindow(const Prompt& p);

}  // namespace qbx
