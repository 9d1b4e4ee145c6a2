// The user's choices about where attachments go, stored as three user
// properties of the hidden settings item (modSettingsStore):
//   "strSites"          text, the string form of DicList
//   "strDefaultSite"    text
//   "blnAlwaysDefault"  yes/no
// The property names are the stored format and must not change.
//
// Use: create, GetSettings, read or change the fields, SaveSettings when
// changed. Nothing is cached between instances. The process-wide instance is
// objPersonalSettings (support/modGlobals.h), made at start-up:
//
//     subFindSettingsFolder();
//     objPersonalSettings = std::make_shared<cPersonalSettings>();
//     if (!objPersonalSettings->GetSettings()) { ... report, stop ... }
#pragma once

#include "settings/cSimpleList.h"
#include "support/com.h"

#include <string>

class cPersonalSettings {
public:
    cPersonalSettings() = default;
    cPersonalSettings(const cPersonalSettings&) = delete;
    cPersonalSettings& operator=(const cPersonalSettings&) = delete;

    // Every document-library URL the user has entered or chosen.
    cSimpleList DicList;
    // The library used by default (not checked against the list).
    std::wstring strDefaultSite;
    // True: upload to the default library without asking.
    bool blnAlwaysDefault = false;

    // Loads the libraries, the default and the always-default switch, in this
    // order; a missing property gives the empty list, "" or false. False when
    // there is no settings item or reading failed (reported); the fields then
    // keep what was loaded before the failure.
    bool GetSettings();
    // Writes the three properties in the same order and saves the item. False
    // when anything failed (reported); the item is then not saved, so the
    // stored settings stay as they were.
    bool SaveSettings();
    // The settings item (fncFindSettingsItem), or no object.
    qbx::Disp fncGetSettingsItem();
};
