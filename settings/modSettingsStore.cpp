#include "settings/modSettingsStore.h"

#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "support/modErroHandling.h"
#include "support/modOutlookCode.h"

const wchar_t* const kSettingsFolderName = L"QBXSettings";
const wchar_t* const kSettingsItemSubject = L"Quillbox Settings";

namespace {

constexpr long kFolderInbox = 6;   // the default folder number of the Inbox
constexpr long kFolderTypeInbox = 6;  // a folder holding mail and post items

std::wstring fncSettingsItemFilter() { return std::wstring(L"[Subject]='") + kSettingsItemSubject + L"'"; }

}  // namespace

bool subFindSettingsFolder(std::wstring* strLookupError) {
    subSetAction(L"Finding the settings folder " + std::wstring(kSettingsFolderName) + L" under the Inbox");
    // The walk runs with errors ignored: a mailbox that can't be read is
    // treated like one without the folder.
    qbx::Err err;
    qbx::Disp folders;
    err.resume([&] { folders = fncGetMAPINamespace().getObj(L"GetDefaultFolder", kFolderInbox).getObj(L"Folders"); });
    qbx::Disp found;
    if (folders) {
        err.resume([&] {
            folders.forEach([&](const qbx::Variant& entry) {
                if (found) return;  // the walk stops at the first match
                err.resume([&] {
                    qbx::Disp folder = entry.toDisp();
                    // Exact comparison: "qbxsettings" is another folder.
                    if (folder.get(L"Name").toString() == kSettingsFolderName) found = folder;
                });
            });
        });
    }
    if (strLookupError) *strLookupError = err.description();
    err.clear();
    if (found) {
        objSettingsFolder = found;
        return true;
    }
    return subCreateSettingsItem();
}

bool subCreateSettingsItem() {
    bool result = false;
    subSetAction(L"Creating the settings folder " + std::wstring(kSettingsFolderName) + L" and its item " +
                 kSettingsItemSubject);
    qbx::guarded(L"subCreateSettingsItem", [&] {
        qbx::Disp folders = fncGetMAPINamespace().getObj(L"GetDefaultFolder", kFolderInbox).getObj(L"Folders");
        objSettingsFolder = folders.get(L"Add", kSettingsFolderName, kFolderTypeInbox).toDisp();
        qbx::Disp item = objSettingsFolder.getObj(L"Items").get(L"Add", L"IPM.Post").toDisp();
        item.put(L"Subject", kSettingsItemSubject);
        item.call(L"Save");
        result = true;
    });
    return result;
}

qbx::Disp fncFindSettingsItem() {
    qbx::Disp item;
    qbx::Err err;  // errors are ignored throughout
    subSetAction(std::wstring(L"Trying to find appointment ") + kSettingsItemSubject);
    qbx::Disp items;
    err.resume([&] { items = objSettingsFolder.getObj(L"Items"); });
    // The collection's default lookup by subject.
    err.resume([&] { item = items.item(kSettingsItemSubject); });
    if (!item) {
        err.resume([&] { item = items.get(L"Find", fncSettingsItemFilter()).toDisp(); });
    } else {
        err.resume([&] {
            if (item.get(L"Subject").toString() != kSettingsItemSubject)
                item = items.get(L"Find", fncSettingsItemFilter()).toDisp();
        });
    }
    if (!item) ReleaseOutlookObjects();
    err.clear();
    return item;
}

bool fncLoadSettings() {
    if (!objSettingsFolder && !subFindSettingsFolder()) return false;
    objPersonalSettings = std::make_shared<cPersonalSettings>();
    return objPersonalSettings->GetSettings();
}
