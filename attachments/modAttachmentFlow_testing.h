// Seam of the attachment flow: the clock behind fncFlowNow.
#pragma once

#include "attachments/modAttachmentFlow.h"

#include <functional>

// The current local date and time as an OLE date (days since 30 Dec 1899,
// the time as the fraction), to the millisecond. Tests can replace the clock;
// an empty function restores the system's.
double fncFlowNow();
void subSetFlowClock(std::function<double()> clock);
