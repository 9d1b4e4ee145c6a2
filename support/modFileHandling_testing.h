// Seams of the file handling for tests.
#pragma once

#include "support/modFileHandling.h"

// Marks a file number as held open (or free again), so fncNextFileNumber
// never hands it out meanwhile.
void subSetFileNumberInUse(short number, bool inUse) noexcept;

// Tests only: drops objFS, forgets the repair and restarts the file numbers.
void subResetFileHandlingForTests() noexcept;
