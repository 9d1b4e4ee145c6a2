// File utilities: the file-system object (created on first need, with a
// silent repair of its registration), the temporary folder, file numbers for
// temporary names, and trailing separators.
#pragma once

#include "support/com.h"

#include <string>

// The "Scripting.FileSystemObject", kept for the rest of the load once made.
extern qbx::Disp objFS;
// True once the file-system object's repair has run in this load.
extern bool blnFSRepairTried;

// Makes sure objFS holds the file-system object; a second failed attempt in
// one load leaves it empty without a report.
void subSetupFS();

// The Windows temporary path, as the system gives it (with its trailing "\");
// empty text when it can't be read (the failure is reported).
std::wstring fncGetTempPath();

// The next free file number for a temporary name: a process-wide counter that
// starts at 1, runs up to 255 and then starts again at 1, and skips the
// numbers marked as in use.
short fncNextFileNumber();

// The text without one trailing "/" or "\".
std::wstring fncRemoveTrailingSlash(const std::wstring& path);

// Writes text to a file (created or replaced) as UTF-8 with a byte-order
// mark, so browsers and editors read every language right. Raises the
// system's error when the file can't be written.
void subWriteTextFile(const std::wstring& path, const std::wstring& text, qbx::Here where = {});
