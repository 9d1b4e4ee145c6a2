#include "settings_ui/uscPublishSites.h"

#include "support/modGlobals.h"
#include "settings/cListControl.h"
#include "settings/cPersonalSettings.h"
#include "settings/cSimpleList.h"
#include "support/cDialogForm.h"
#include "settings_ui/cListHandler.h"
#include "support/modAccessibility.h"
#include "settings_ui/modControlHost.h"
#include "settings_ui/modXPlooks.h"
#include "settings_ui/settings_dialogs.h"
#include "sharepoint/modDocLibs.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "support/prompt.h"

#include <cmath>

namespace {

// The grid's count cell and the page's one column.
const wchar_t kCountCell[] = L"F1";
const wchar_t kLastColumn[] = L"A";
// What the user sees of the grid: column A from the header down to the last
// data row the window keeps (it clears "a2:e2999" on a tab switch).
const wchar_t kViewableRange[] = L"A1:A2999";
// The scheme every site address gets in front, as typed in upper case.
const wchar_t kHttp[] = L"HTTP://";

// The list the default box is filled from when it opens, shared by the pages.
cSimpleList& scratchList() {
    static cSimpleList list;
    return list;
}

cListHandler& grid() {
    if (!objListHandler) qbx::raiseVb(qbx::vbErrObjectNotSet);
    return *objListHandler;
}

cPersonalSettings& settings() {
    if (!objPersonalSettings) qbx::raiseVb(qbx::vbErrObjectNotSet);
    return *objPersonalSettings;
}

}  // namespace

void subRegisterSettingsPages() {
    static bool registered = false;
    if (registered) return;
    registered = true;
    cFormControls::RegisterPage(uscPublishSites::kClassId, [](HWND form) {
        qbx::ComPtr<uscPublishSites> page = qbx::makeObject<uscPublishSites>(form);
        cFormControls::Page made;
        made.object = qbx::Disp(static_cast<IDispatch*>(page.get()));
        made.window = page->hWnd();
        return made;
    });
}

uscPublishSites::uscPublishSites(HWND form) : DispatchObject(L"uscPublishSites") {
    method(L"subSetCaptions", [this](qbx::Args&) { subSetCaptions(); return qbx::Variant(); });
    method(L"subGetSettings", [this](qbx::Args&) { subGetSettings(); return qbx::Variant(); });
    method(L"subSaveSettings", [this](qbx::Args&) { subSaveSettings(); return qbx::Variant(); });
    method(L"fncGetListsFromSite", [this](qbx::Args& a) { return qbx::Variant(fncGetListsFromSite(a.str(0))); });

    hwnd_ = CreateDialogParamW(fncAddinModule(), MAKEINTRESOURCEW(IDD_PUBLISHSITES), form,
                               &qbx::WindowProcedures::dialog<uscPublishSites, &uscPublishSites::dialogMessage>,
                               reinterpret_cast<LPARAM>(this));
    if (!hwnd_) qbx::raiseLastError(L"The document library page could not be made");
}

uscPublishSites::~uscPublishSites() { qbx::WindowProcedures::cutOff(hwnd_, DWLP_USER); }

INT_PTR uscPublishSites::dialogMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_SHOWWINDOW:
            // Shown by the window (not because an owner reopened): the
            // page fills itself from the settings.
            if (wParam && lParam == 0) UserControl_Show();
            return FALSE;
        case WM_COMMAND:
            if (LOWORD(wParam) == IDC_CMDBROWSE && HIWORD(wParam) == BN_CLICKED) {
                cmdBrowse_Click();
                return TRUE;
            }
            if (LOWORD(wParam) == IDC_CMBDEFAULT && HIWORD(wParam) == CBN_DROPDOWN) {
                cmbDefault_DropDown();
                return TRUE;
            }
            return FALSE;
        case WM_CTLCOLORSTATIC:
        case WM_CTLCOLORBTN:
            return fncDialogCtlColor(wParam, lParam);
        default:
            return FALSE;
    }
}

// ---------------------------------------------------------------- showing the page

void uscPublishSites::UserControl_Show() {
    subSetCaptions();
    subGetSettings();
    // The grid's writes of the captions and the settings end here, so it
    // repaints and protects its header again.
    if (objListHandler) objListHandler->EditMode(false);
    // The check box and its label take the page's width.
    RECT page{};
    GetClientRect(hwnd_, &page);
    for (int id : {IDC_CHKALWAYSDEFAULT, IDC_LBLDEFAULT}) {
        RECT r{};
        GetWindowRect(control(id), &r);
        MapWindowPoints(nullptr, hwnd_, reinterpret_cast<POINT*>(&r), 2);
        MoveWindow(control(id), r.left, r.top, page.right - r.left, r.bottom - r.top, TRUE);
    }
}

void uscPublishSites::subSetCaptions() {
    subSetAction(L"Setting form captions");
    qbx::guarded(L"subSetCaptions", [&] {
        cListHandler& list = grid();
        // The list's one column: the header and every data row; the columns
        // right of it (the count cell among them) are never seen.
        list.SetVisibleRange(kViewableRange);
        list.SetValue(L"A1", qbx::Variant(LNGSITES));
        list.SetColumnWidth(L"A1", kColumnWidth);
        list.Visible(true);
        // The grid ends just above the page's button.
        RECT button{};
        GetWindowRect(control(IDC_CMDBROWSE), &button);
        MapWindowPoints(nullptr, hwnd_, reinterpret_cast<POINT*>(&button), 2);
        const double twipsY = fncTwipsPerPixelY(hwnd_);
        const long height = std::lround((button.top - 6) * twipsY);
        if (list.objHostedControl) list.objHostedControl.put(L"Height", height);
        list.Height = static_cast<short>(height);
        // ... and is as wide as the page's controls under it.
        RECT page{};
        GetClientRect(hwnd_, &page);
        list.Width(static_cast<short>(std::lround(page.right * fncTwipsPerPixelX(hwnd_))));
        list.EditMode(true);
        list.DisplayHorizontalScroll(false);
        list.DisplayVerticalScroll(true);

        // Each with a key of its own, so the page works without a mouse
        // (the default label's key leads to the default box).
        subSetCaptionsWithMnemonics({{control(IDC_CMDBROWSE), LNGADD + L" ..."},
                                     {control(IDC_LBLDEFAULT), LNGDEFAULT},
                                     {control(IDC_CHKALWAYSDEFAULT), LNGALWAYSUSEDEFAULT}});
        // The default box has no caption of its own: a screen reader names it by its label.
        subSetAccessibleName(control(IDC_CMBDEFAULT), LNGDEFAULT);

        cWindowSurface surface(hwnd_);
        subSetBackColorFromWindow(surface.hDC(), control(IDC_CHKALWAYSDEFAULT));
    });
}

void uscPublishSites::subGetSettings() {
    subSetAction(L"Showing the settings on the page");
    qbx::guarded(L"subGetSettings", [&] {
        cPersonalSettings& s = settings();
        const long count = s.DicList.Count();
        if (count >= 1) grid().SetValue(L"a2:a" + std::to_wstring(count + 1), s.DicList.ToArray());
        if (s.DicList.Exists(s.strDefaultSite)) {
            cListControl combo(control(IDC_CMBDEFAULT));
            std::wstring selected = s.strDefaultSite;
            s.DicList.AddToComboOrList(combo, selected);
        }
        CheckDlgButton(hwnd_, IDC_CHKALWAYSDEFAULT, s.blnAlwaysDefault ? BST_CHECKED : BST_UNCHECKED);
    });
}

void uscPublishSites::subReadGrid(cSimpleList& list) {
    const qbx::Variant rows = grid().fncGetRangeArray(kCountCell, kLastColumn);
    if (rows.isArray())
        list.FromArray(rows);
    else
        list.FromString(L"");  // no row used: the empty list
}

void uscPublishSites::subSaveSettings() {
    subSetAction(L"Saving settings to common settings");
    qbx::guarded(L"subSaveSettings", [&] {
        cPersonalSettings& s = settings();
        subReadGrid(s.DicList);
        cListControl combo(control(IDC_CMBDEFAULT));
        const std::wstring chosen = combo.Text();
        if (!chosen.empty()) s.strDefaultSite = chosen;
        s.blnAlwaysDefault = IsDlgButtonChecked(hwnd_, IDC_CHKALWAYSDEFAULT) == BST_CHECKED;
    });
}

qbx::Disp uscPublishSites::fncGetListsFromSite(const std::wstring& strSiteUrl) { return ::fncGetListsFromSite(strSiteUrl); }

// ---------------------------------------------------------------- handlers

void uscPublishSites::cmbDefault_DropDown() {
    subSetAction(L"Setting list values after dropdown");
    qbx::guarded(L"cmbDefault_DropDown", [&] {
        cSimpleList& list = scratchList();
        subReadGrid(list);
        cListControl combo(control(IDC_CMBDEFAULT));
        std::wstring selected = combo.Text();
        list.AddToComboOrList(combo, selected);
    });
}

void uscPublishSites::cmdBrowse_Click() {
    subSetAction(L"Selecting document libraries from site");
    qbx::guarded(L"cmdBrowse_Click", [&] {
        std::wstring site = qbx::fncInputBox(LNGSHAREPOINTSITETOFINDDOCS, kProductName, L"");
        site = qbx::toUpper(site);
        if (site.empty() || site.back() != L'/') site += L"/";
        if (site.size() < 7) return;
        // As the rule stands: whatever does not start with "HTTP://" gets it
        // in front, an address with the secure scheme included.
        if (site.compare(0, 7, kHttp) != 0) site = kHttp + site;

        cSimpleList list;
        subReadGrid(list);
        const long before = list.Count();
        qbx::Disp found;
        {
            // The hourglass while the window waits for the server (the
            // request blocks the window's thread, so nothing else would show
            // that it is busy).
            const HCURSOR previous = SetCursor(LoadCursorW(nullptr, IDC_WAIT));
            const auto restore = qbx::scopeExit([previous] { SetCursor(previous); });
            found = fncGetListsFromSite(site);
        }
        if (found && found.get(L"Count").toLong() > 0) {
            for (const qbx::Variant& library : qbx::elementsOf(found.get(L"Keys"))) list.Add(library);
        }
        const long after = list.Count();
        if (after >= 1) {
            cListHandler& g = grid();
            g.EditMode(true);
            g.SetValue(L"a2:a" + std::to_wstring(after + 1), list.ToArray());
            if (after > before) g.SortRange();
            g.EditMode(false);
        }
    });
}
