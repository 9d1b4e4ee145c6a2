// Writing and removing the add-in's registry keys.
#pragma once

#include <windows.h>

enum class Scope { Machine, User };

HRESULT fncRegisterAddin(Scope scope);
HRESULT fncUnregisterAddin(Scope scope);
