// Process-wide state shared by every part of the add-in, and the release
// routine that ends the add-in's connection to Outlook. It lives with the
// support services because the error convention ends every report with the
// release routine; the objects of the higher layers are held by shared_ptr
// of a declared type only, so nothing here depends on them.
#pragma once

#include "support/com.h"

#include <functional>
#include <memory>
#include <string>

class cOutlookReactions;
class cPersonalSettings;

// The one application-reactions object (created by OnConnection).
extern std::shared_ptr<cOutlookReactions> objOutlookReactions;
// The Outlook Application.
extern qbx::Disp ouaOutlook;
// The settings folder "QBXSettings" under the Inbox.
extern qbx::Disp objSettingsFolder;
// The user's settings, read at start-up.
extern std::shared_ptr<cPersonalSettings> objPersonalSettings;
// The list separator of the computer's regional settings.
extern std::wstring strListSeparator;
// The folder the add-in was loaded from, without a trailing separator.
extern std::wstring strAddinPath;
// How many inspectors Outlook had at the last NewInspector.
extern short intInspectorCount;
// True once the release routine has run; the add-in then does nothing more
// until Outlook loads it again.
extern bool blnShuttingDown;

// Drops the reactions object, the settings folder and the Outlook application
// (in that order) and sets the shutting-down flag; the last disconnect
// (blnLastDisconnect: OnDisconnection, Terminate, Outlook's Quit) drops the
// personal settings and the file-system object too, so that nothing is left
// for the DLL's static destructors to release under the loader lock. Safe to call any
// number of times; errors of its own are ignored.
void ReleaseOutlookObjects(bool blnLastDisconnect = false) noexcept;
// An object that holds something of Outlook's outside these variables (the
// connection object's ribbon) lets go of it at the last disconnect through
// this hook; owner names the holder, so that only it removes the hook.
void subSetLastDisconnectHook(const void* owner, std::function<void()> hook);
void subClearLastDisconnectHook(const void* owner) noexcept;

// The module (DLL, or the test program linking the add-in's code) whose
// resources and folder the add-in uses.
HMODULE fncAddinModule() noexcept;
// The folder of that module, without a trailing separator.
std::wstring fncAddinFolder();
