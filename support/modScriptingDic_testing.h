// Seams of the scripting components for tests.
#pragma once

#include "support/modScriptingDic.h"

#include <functional>
#include <string>

// Every process start of this module goes through one replaceable function,
// so tests see the command lines without running them. An empty starter
// restores the real one (CreateProcess).
using ProcessStarter = std::function<void(const std::wstring& commandLine)>;
void subSetProcessStarter(ProcessStarter starter);

// Tests only: forgets that the dictionary's repair has run.
void subResetScriptingRepairsForTests() noexcept;
