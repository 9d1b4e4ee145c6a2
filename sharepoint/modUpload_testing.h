// Seam of the upload: the largest file it hands to the request object.
#pragma once

#include "sharepoint/modUpload.h"

// Replaces the largest file size the upload sends (0 restores the built-in
// limit), so a test can see a file that is too large without making one.
void subSetLargestUpload(unsigned long long bytes) noexcept;
