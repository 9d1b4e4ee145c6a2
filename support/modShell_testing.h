// Seam of the shell start for tests.
#pragma once

#include "support/modShell.h"

#include <functional>
#include <string>

// Every shell start goes through one replaceable function, so tests see the
// verb and target without starting a browser. An empty hook restores the
// real one (ShellExecuteW).
using ShellExecuteHook = std::function<bool(const std::wstring& verb, const std::wstring& target)>;
void subSetShellExecuteHook(ShellExecuteHook hook);
