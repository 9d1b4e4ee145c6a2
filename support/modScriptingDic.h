// The scripting components the add-in creates by name: the keyed dictionary
// and the shell object, each with a silent repair of the component's
// registration when it can't be created.
#pragma once

#include "support/com.h"

#include <string>

// True once the dictionary's repair has run in this load (never reset by the
// add-in itself).
extern bool blnDicRepairTried;

// A new "Scripting.Dictionary" with CompareMode 1 (keys compare without regard
// to case), or no object when it can't be created even after the repair (the
// failure has then been reported).
qbx::Disp fncCreateDic();

// A "Wscript.Shell" object, or no object: then the user has been told and the
// add-in has stopped (ReleaseOutlookObjects).
// Kept on purpose: the shell object's routine, though the add-in starts
// processes through subStartMinimised.
qbx::Disp fncGetShell();

// Starts "regsvr32 scrrun.dll /s" minimised, without waiting for it: the
// tool by its full path in the system folder of this DLL's bitness.
void subRegisterScrrun();

// Starts a command line as a separate process, window minimised with focus,
// without waiting; errors are ignored.
void subStartMinimised(const std::wstring& commandLine) noexcept;

