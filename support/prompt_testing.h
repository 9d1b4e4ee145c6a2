// The in-process answerer that code linked into a test program installs.
#pragma once

#include "support/prompt.h"

#include <functional>

namespace qbx {

using PromptHandler = std::function<PromptAnswer(const Prompt&)>;
// Installs the in-process handler; an empty one restores the default.
void setPromptHandler(PromptHandler handler);

}  // namespace qbx
