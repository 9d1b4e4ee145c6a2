// Where the settings live: one hidden post item "Quillbox Settings" in the
// folder "QBXSettings" directly under the Inbox, so they travel with the
// mailbox. The folder is found (or created) once at start-up and kept in
// objSettingsFolder; the item is looked up again for every read and write.
#pragma once

#include "support/com.h"

extern const wchar_t* const kSettingsFolderName;   // "QBXSettings"
extern const wchar_t* const kSettingsItemSubject;  // "Quillbox Settings"

// Start-up step: walks the Inbox's direct subfolders in their own order and
// keeps the first one named exactly "QBXSettings" (case matters) in
// objSettingsFolder; when there is none, creates folder and item
// (subCreateSettingsItem). Reaches Outlook through fncGetMAPINamespace.
// Returns true when objSettingsFolder is set afterwards. strLookupError, when
// given, receives the last error of the errors-ignored lookup (empty when none;
// the start-up failure message ends with it).
bool subFindSettingsFolder(std::wstring* strLookupError = nullptr);

// Creates "QBXSettings" under the Inbox (folder type 6), keeps it in
// objSettingsFolder, and adds one "IPM.Post" item with the subject
// "Quillbox Settings" to it, saved. No settings properties are written.
// Returns false (the failure reported) when any step fails.
bool subCreateSettingsItem();

// The settings item of objSettingsFolder: by subject through the items'
// default lookup, else through Find. Never raises; when nothing is found it
// runs ReleaseOutlookObjects (the add-in stops) and returns no object.
qbx::Disp fncFindSettingsItem();

// Loads the user's settings as start-up does when nothing is loaded yet:
// finds (or creates) the settings folder, makes the process-wide personal
// settings object and reads it. False when any step failed (reported).
bool fncLoadSettings();
