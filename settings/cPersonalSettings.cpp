#include "settings/cPersonalSettings.h"

#include "settings/modSettingsStore.h"
#include "support/modErroHandling.h"
#include "support/modOutlookCode.h"

namespace {

const wchar_t* const kPropSites = L"strSites";
const wchar_t* const kPropDefaultSite = L"strDefaultSite";
const wchar_t* const kPropAlwaysDefault = L"blnAlwaysDefault";

void subRequireItem(const qbx::Disp& item) {
    if (!item) qbx::raiseVb(qbx::vbErrObjectNotSet);
}

}  // namespace

qbx::Disp cPersonalSettings::fncGetSettingsItem() { return fncFindSettingsItem(); }

bool cPersonalSettings::GetSettings() {
    bool result = false;
    subSetAction(L"Getting settings from Outlook object");
    qbx::guarded(L"GetSettings", [&] {
        qbx::Disp item = fncGetSettingsItem();
        subRequireItem(item);
        DicList.FromString(fncGetUserProperty(item, kPropSites, VT_BSTR, qbx::Variant(L"")).toString());
        strDefaultSite = fncGetUserProperty(item, kPropDefaultSite, VT_BSTR, qbx::Variant(L"")).toString();
        // An empty result (a property that can't be read as a Boolean) reads as False.
        blnAlwaysDefault = fncGetUserProperty(item, kPropAlwaysDefault, VT_BOOL, qbx::Variant(false)).toBool();
        result = true;
    });
    return result;
}

bool cPersonalSettings::SaveSettings() {
    bool result = false;
    subSetAction(L"Saving settings to Outlook object");
    qbx::guarded(L"SaveSettings", [&] {
        qbx::Disp item = fncGetSettingsItem();
        subRequireItem(item);
        // A failed write has been reported by the writer; the item is then
        // left unsaved so that the stored settings stay whole.
        if (!subSetUserProperty(item, kPropSites, qbx::Variant(DicList.ToString()), VT_BSTR)) return;
        if (!subSetUserProperty(item, kPropDefaultSite, qbx::Variant(strDefaultSite), VT_BSTR)) return;
        if (!subSetUserProperty(item, kPropAlwaysDefault, qbx::Variant(blnAlwaysDefault), VT_BOOL)) return;
        item.call(L"Save");
        result = true;
    });
    return result;
}
