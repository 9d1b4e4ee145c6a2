// The small COM toolkit every part of the add-in uses, one piece per file:
//
// - support/com/error.h    Error, Here, raise/raiseVb/raiseHr: what a failure becomes
// - support/com/com_ptr.h  ComPtr, RefCounted, Unknown: references and reference counts
// - support/com/values.h   Bstr, Variant, SafeArray: owners of Automation values
// - support/com/disp.h     Disp: late-bound calls by member name
// - support/com/text.h     string helpers with Visual Basic's behaviour
// - support/com/boundary.h where failures stop: one helper per kind of edge,
//                          the failure observer, scopeExit
//
// Objects the add-in implements for others are built on
// support/com/dispatch_object.h; events are received through
// support/com/events.h; Win32 handles are owned by support/com/win_handles.h.
#pragma once

#include "support/com/boundary.h"
#include "support/com/com_ptr.h"
#include "support/com/disp.h"
#include "support/com/error.h"
#include "support/com/text.h"
#include "support/com/values.h"
