#include "settings_ui/cTabs.h"

#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "support/modScriptingDic.h"
#include "support/phrases.h"

cTab::cTab() : DispatchObject(L"cTab") {
    property(L"TabCaption", [this](qbx::Args&) { return qbx::Variant(TabCaption); });
    property(L"TabUsrControl", [this](qbx::Args&) { return qbx::Variant(TabUsrControl); });
    property(L"HasExcelList", [this](qbx::Args&) { return qbx::Variant(HasExcelList); });
    property(L"EventsEnabled", [this](qbx::Args&) { return qbx::Variant(EventsEnabled); });
    property(L"SimpleList", [this](qbx::Args&) { return qbx::Variant(SimpleList); });
    property(L"Advanced", [this](qbx::Args&) { return qbx::Variant(Advanced); });
    property(L"varExtraData", [this](qbx::Args&) { return varExtraData; });
}

cTabs::cTabs() : dicTabs(fncCreateDic()) {}

cTabs::~cTabs() { dicTabs.reset(); }

void cTabs::AddTab(const std::wstring& strTabName, const std::wstring& strCaption, bool blnExcelList,
                   bool blnAdvanced, bool blnSimpleList, const qbx::Disp& objList, bool blnEvents) {
    qbx::ComPtr<cTab> tab = qbx::makeObject<cTab>();
    tab->TabCaption = strCaption;
    tab->TabUsrControl = L"Quillbox." + strTabName;
    tab->HasExcelList = blnExcelList;
    tab->EventsEnabled = blnEvents;
    tab->Advanced = blnAdvanced;
    tab->SimpleList = blnSimpleList;
    if (objList) tab->varExtraData = qbx::Variant(objList);
    if (!dicTabs) qbx::raiseVb(qbx::vbErrObjectNotSet);
    dicTabs.call(L"Add", strCaption, qbx::Variant(static_cast<IDispatch*>(tab.get())));
}

void subAddUserTabs(cTabs& tabs) {
    qbx::Disp sites;
    if (objPersonalSettings) sites = objPersonalSettings->DicList.dicList;
    tabs.AddTab(L"uscPublishSites", LNGSITES, true, false, false, sites, true);
}
