// Outlook helper routines: reaching Outlook, its major version.
#pragma once

#include "support/com.h"

#include <string>

// Leaves the shared Outlook application set, creating Outlook (or attaching to
// the running one) when none is held; shows a message and returns false when
// Outlook can't be reached.
bool fncStartOutlook();

// The major version of the shared Outlook application (9 = 2000, 10 = 2002,
// 11 = 2003, 12 = 2007, 16 = today's), read once from its Version and kept.
short fncOutlookVersion();
// Forgets the kept version (a new Outlook application was connected).
void subResetOutlookVersion() noexcept;

// The "MAPI" namespace of the shared Outlook application, reaching Outlook
// first through fncStartOutlook when none is held. Raises to the caller (91
// when Outlook can't be reached).
qbx::Disp fncGetMAPINamespace();

// Writes a named user property of an Outlook item, creating it when it is
// missing. typeCode is a variant type code: 2 (16-bit integer), 7 (date),
// 8 (string) or 11 (Boolean); any other code changes nothing. The value is
// coerced to that kind (a non-numeric value for 2 stores 0; a value that is not
// a date for 7 stores nothing). addToFolderFields, when given, is passed to
// UserProperties.Add as its third argument. The item is not saved.
// Returns false when the write failed; the failure has then been reported
// through the error convention (and the add-in has stopped).
bool subSetUserProperty(const qbx::Disp& item, const std::wstring& name, const qbx::Variant& value, short typeCode,
                        const qbx::Variant& addToFolderFields = qbx::Variant::missing());

// Reads a named user property of an Outlook item as the kind typeCode names
// (2, 7, 8, 11; see subSetUserProperty). A missing property gives the default
// coerced to that kind (7: always the zero date; 11: empty when the default is
// not numeric). An empty text property gives a non-empty default instead.
// Never reports: a failing step leaves the result as it stands (empty at worst).
qbx::Variant fncGetUserProperty(const qbx::Disp& item, const std::wstring& name, short typeCode,
                                const qbx::Variant& defaultValue);

// The window on screen of an Outlook inspector or explorer, to own the add-in's
// own windows: the object's own window handle where it offers one (IOleWindow),
// else the top-level window with its caption, Outlook's own window class first,
// then Word's (a Word mail window), then any. Null when there is none; nothing
// is reported. The thread's active window is no substitute: while a Word mail
// window is in front, Outlook's thread has none.
HWND fncInspectorWindow(const qbx::Disp& window);

// The window of the shared Outlook application's active mail window (the
// inspector) or of its main window (the explorer); see fncInspectorWindow.
HWND fncOutlookWindow(bool blnInspector);
