#include "settings_ui/frmSettings.h"
#include "settings_ui/frmSettings_testing.h"

#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings/modSettingsStore.h"
#include "settings_ui/cListHandler.h"
#include "settings_ui/cTabs.h"
#include "support/modAccessibility.h"
#include "settings_ui/modControlHost.h"
#include "settings_ui/modXPlooks.h"
#include "settings_ui/settings_dialogs.h"
#include "settings_ui/uscPublishSites.h"
#include "support/modErroHandling.h"
#include "support/modOutlookCode.h"
#include "support/modShell.h"
#include "support/modTaskbar.h"
#include "support/phrases.h"
#include "support/com/win_window.h"

#include <commctrl.h>

#include <cmath>

const wchar_t* const frmSettings::kWebAddress = L"https://www.quillbox.example/";

namespace {

constexpr UINT_PTR kDisplayTimer = 1;
// The hourglass and the default mouse pointer.
constexpr int vbHourglass = 11;
constexpr int vbDefault = 0;
// The background of the advanced check box.
constexpr COLORREF kAdvancedColour = RGB(239, 239, 198);
// The web link's text.
constexpr COLORREF kLinkColour = RGB(0, 102, 204);

SettingsOpenedHook& openedHook() {
    static SettingsOpenedHook hook;
    return hook;
}

void subSetMousePointer(int pointer) {
    SetCursor(LoadCursorW(nullptr, pointer == vbHourglass ? IDC_WAIT : IDC_ARROW));
}

}  // namespace

void subSetSettingsOpenedHook(SettingsOpenedHook hook) { openedHook() = std::move(hook); }

namespace {
SettingsPagesHook& pagesHook() {
    static SettingsPagesHook hook;
    return hook;
}
}  // namespace

void subSetSettingsPagesHook(SettingsPagesHook hook) { pagesHook() = std::move(hook); }

frmSettings::frmSettings() : cDialogForm(IDD_SETTINGS, L"The settings window") { subRegisterSettingsPages(); }

frmSettings::~frmSettings() { Unload(); }

// ---------------------------------------------------------------- loading and unloading

void frmSettings::subClose() { End(IDCANCEL); }

INT_PTR frmSettings::fncHandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG: {
            controls_ = std::make_unique<cFormControls>(hwnd_);
            Form_Load();
            if (blnShuttingDown) {
                // The load failed and the add-in has stopped: a hidden modal
                // window would wait for a click nobody can give.
                subClose();
                return TRUE;
            }
            if (openedHook()) {
                openedHook()(*this);
            } else if (auto opened = qbx::procAddress<SettingsOpenedExport>(GetModuleHandleW(nullptr),
                                                                                kSettingsOpenedExportName)) {
                opened(hwnd_);
            }
            return TRUE;
        }
        case WM_PAINT:
            Form_Paint();
            return FALSE;  // the dialog paints itself as usual
        case WM_NOTIFY: {
            const NMHDR* header = reinterpret_cast<const NMHDR*>(lParam);
            if (header && header->idFrom == IDC_TBSSETTINGS && header->code == TCN_SELCHANGE) {
                tbsSettings_Click();
                return TRUE;
            }
            return FALSE;
        }
        case WM_COMMAND: {
            const int id = LOWORD(wParam);
            const int code = HIWORD(wParam);
            switch (id) {
                case IDC_CHKADVANCED:
                    if (code == BN_CLICKED) chkAdvanced_Click();
                    return TRUE;
                case IDC_LBLWEBLINK:
                    if (code == STN_CLICKED) lblWebLink_Click();
                    return TRUE;
                default:
                    return FALSE;
            }
        }
        case WM_TIMER:
            if (wParam == kDisplayTimer) {
                timDisplayExcelList_Timer();
                return TRUE;
            }
            return FALSE;
        case WM_SETCURSOR:
            if (LOWORD(lParam) == HTCLIENT && reinterpret_cast<HWND>(wParam) == control(IDC_LBLWEBLINK)) {
                SetCursor(LoadCursorW(nullptr, IDC_HAND));
                SetWindowLongPtrW(hwnd_, DWLP_MSGRESULT, TRUE);
                return TRUE;
            }
            return FALSE;
        case WM_CTLCOLORSTATIC:
        case WM_CTLCOLORBTN:
            return fncControlColour(reinterpret_cast<HDC>(wParam), reinterpret_cast<HWND>(lParam));
        case WM_DESTROY:
            KillTimer(hwnd_, kDisplayTimer);
            Form_Unload();
            // The page and the grid go with the window; the grid's wrapper is
            // made anew by the next window.
            controls_.reset();
            objListHandler.reset();
            return FALSE;
        default:
            return FALSE;
    }
}

// The colours of a static control or button: those the colouring gave it,
// and link blue for the web link, not the system's hot-tracking colour, which
// some themes make a pale grey that vanishes on the window's face.
INT_PTR frmSettings::fncControlColour(HDC dc, HWND child) {
    INT_PTR brush = 0;
    if (fncAnswerCtlColor(child, dc, brush)) return brush;
    if (child != control(IDC_LBLWEBLINK)) return FALSE;
    SetTextColor(dc, kLinkColour);
    SetBkMode(dc, TRANSPARENT);
    return reinterpret_cast<INT_PTR>(GetSysColorBrush(COLOR_BTNFACE));
}

// ---------------------------------------------------------------- the window's procedures

void frmSettings::Form_Load() {
    subSetAction(L"Opening settings form");
    qbx::guarded(L"Form_Load", [&] {
        subSetCaptions();
        if (!objPersonalSettings) fncLoadSettings();
        subSetupTabs();

        // The first page that uses the grid makes it, once.
        bool blnListMade = false;
        std::vector<qbx::Disp> tabRecords;
        for (const qbx::Variant& record : qbx::elementsOf(tabs_->dicTabs.get(L"Items")))
            tabRecords.push_back(record.toDisp());
        for (const qbx::Disp& tab : tabRecords) {
            if (!blnListMade && tab.get(L"HasExcelList").toBool()) {
                subSetupList();
                blnListMade = true;
            }
        }

        if (blnShuttingDown) {
            ShowWindow(hwnd_, SW_HIDE);
            return;
        }
        for (const qbx::Disp& tab : tabRecords) {
            if (tab.get(L"Advanced").toBool()) {
                ShowWindow(control(IDC_CHKADVANCED), SW_SHOW);
                break;
            }
        }
        subSetControlBackColor(control(IDC_CHKADVANCED), kAdvancedColour);

        if (blnSetOutlookParent) {
            if (HWND owner = fncOutlookWindow(blnOutlookInspectorParent))
                SetWindowLongPtrW(hwnd_, GWLP_HWNDPARENT, reinterpret_cast<LONG_PTR>(owner));
        }
        subMakeSureInTaskbar(hwnd_);
        tbsSettings_Click();
    });
}

void frmSettings::Form_Paint() { subMakeSureInTaskbar(hwnd_); }

void frmSettings::Form_Unload() {
    subSetAction(L"Closing settings form");
    qbx::guarded(L"Form_Unload", [&] {
        objPrevControl.reset();
        if (blnEndWithClose) ReleaseOutlookObjects();
    });
}

void frmSettings::subSetCaptions() {
    subSetAction(L"Setting captions on form controls");
    qbx::guarded(L"subSetCaptions", [&] {
        SetWindowTextW(control(IDOK), LNGOK.c_str());
        SetWindowTextW(control(IDCANCEL), LNGCANCEL.c_str());
        SetWindowTextW(control(IDC_CHKADVANCED), LNGADVANCED.c_str());
        SetWindowTextW(control(IDC_LBLWEBLINK), L"www.quillbox.example");
        SetWindowTextW(hwnd_, kProductName);
        subHideFromScreenReaders(control(IDC_FRAME2));  // the line above the buttons
        cWindowSurface surface(hwnd_);
        subSetBackColorFromWindow(surface.hDC(), control(IDC_CHKADVANCED));
    });
}

void frmSettings::subSetupTabs() {
    subSetAction(L"Setting up Settings form tabs");
    qbx::guarded(L"subSetupTabs", [&] {
        tabs_ = std::make_unique<cTabs>();
        HWND strip = control(IDC_TBSSETTINGS);
        TabCtrl_DeleteAllItems(strip);
        subAddUserTabs(*tabs_);
        if (pagesHook()) pagesHook()(*tabs_);
        const bool blnAdvanced = IsDlgButtonChecked(hwnd_, IDC_CHKADVANCED) == BST_CHECKED;
        int position = 0;
        for (const qbx::Variant& key : qbx::elementsOf(tabs_->dicTabs.get(L"Keys"))) {
            const std::wstring caption = key.toString();
            subSetAction(L"Adding tab " + caption);
            qbx::Disp tab = tabs_->dicTabs.getObj(L"Item", caption);
            if (!blnAdvanced && tab.get(L"Advanced").toBool()) continue;
            TCITEMW item = {};
            item.mask = TCIF_TEXT;
            std::wstring text = caption;
            item.pszText = text.data();
            SendMessageW(strip, TCM_INSERTITEMW, static_cast<WPARAM>(position++), reinterpret_cast<LPARAM>(&item));
        }
    });
}

double frmSettings::fncStripTop() const {
    RECT r{};
    GetWindowRect(control(IDC_TBSSETTINGS), &r);
    MapWindowPoints(nullptr, hwnd_, reinterpret_cast<POINT*>(&r), 2);
    return r.top * fncTwipsPerPixelY(hwnd_);
}

double frmSettings::fncStripLeft() const {
    RECT r{};
    GetWindowRect(control(IDC_TBSSETTINGS), &r);
    MapWindowPoints(nullptr, hwnd_, reinterpret_cast<POINT*>(&r), 2);
    return r.left * fncTwipsPerPixelX(hwnd_);
}

double frmSettings::fncStripHeight() const {
    RECT r{};
    GetWindowRect(control(IDC_TBSSETTINGS), &r);
    return (r.bottom - r.top) * fncTwipsPerPixelY(hwnd_);
}

void frmSettings::subSetupList() {
    subSetAction(L" Adding Excel Based list handler to form");
    qbx::guarded(L"subSetupList", [&] {
        objListHandler = std::make_shared<cListHandler>();
        objListHandler->ListName = L"exsList";
        objListHandler->Height = 6000;
        objListHandler->Width(6500);
        objListHandler->LeftPos = static_cast<short>(fncStripLeft());
        objListHandler->TopPos = static_cast<short>(std::lround(fncStripTop() + fncStripHeight()));
        objListHandler->Visible(true);
        if (objListHandler->AddToForm(*controls_)) objListHandler->DisplayVerticalScroll(true);
    });
}

void frmSettings::tbsSettings_Click() {
    subSetAction(L"Switching the settings page");
    qbx::guarded(L"tbsSettings_Click", [&] {
        if (objPrevControl) {
            subSetAction(L"Saving the previous settings page");
            qbx::Err err;
            err.resume([&] { objPrevControl.call(L"subSaveSettings"); });
            err.clear();
            subSetAction(L"Removing the previous settings page");
            controls_->Remove(L"CurrTab");
            objPrevControl.reset();
        }

        HWND strip = control(IDC_TBSSETTINGS);
        const int selected = TabCtrl_GetCurSel(strip);
        qbx::Disp tab;
        if (selected >= 0 && tabs_) {
            wchar_t buffer[256] = {};
            TCITEMW item = {};
            item.mask = TCIF_TEXT;
            item.pszText = buffer;
            item.cchTextMax = 255;
            SendMessageW(strip, TCM_GETITEMW, static_cast<WPARAM>(selected), reinterpret_cast<LPARAM>(&item));
            const std::wstring caption = buffer;
            if (tabs_->dicTabs.get(L"Exists", caption).toBool()) {
                tab = tabs_->dicTabs.getObj(L"Item", caption);
                subSetAction(L"Adding the setting page " + caption);
                // A screen reader names the strip after the page it shows.
                subSetAccessibleName(strip, caption);
                if (!tab.get(L"HasExcelList").toBool()) {
                    if (objListHandler) objListHandler->Visible(false);
                } else {
                    if (!objListHandler) qbx::raiseVb(qbx::vbErrObjectNotSet);
                    objListHandler->EditMode(true);
                    qbx::Err err;
                    err.resume([&] {
                        if (!objListHandler->CurrSheet)
                            qbx::raiseVb(qbx::vbErrObjectNotSet);
                        objListHandler->CurrSheet.getObj(L"Range", L"a2:e2999").call(L"ClearContents");
                    });
                    if (err.number() == qbx::vbErrObjectNotSet) {
                        // No grid to clear: the add-in's state is broken.
                        err.clear();
                        ReleaseOutlookObjects();
                    }
                    err.clear();
                    objListHandler->EditMode(false);
                    SetTimer(hwnd_, kDisplayTimer, kDisplayListDelay, nullptr);
                }
                const qbx::Variant extra = tab.get(L"varExtraData");
                if (extra.isObject()) objSimpleList = extra.toDisp();
                objPrevControl = controls_->Add(tab.get(L"TabUsrControl").toString(), L"CurrTab");
            }
        }

        if (objPrevControl) {
            const double top = fncStripTop() + fncStripHeight();
            objPrevControl.put(L"Top", top);
            objPrevControl.put(L"Left", fncStripLeft());
            objPrevControl.put(L"Visible", true);
            if (objListHandler) {
                objListHandler->Visible(false);
                if (tab && !tab.get(L"EventsEnabled").toBool()) objListHandler->RaiseEventsEnabled(false);
                if (objListHandler->objHostedControl) objListHandler->objHostedControl.put(L"Top", top);
            }
            subSetTabOrder();
        }
    });
}

// The keyboard's order follows the window's: the tab strip, the grid, the
// page's controls, then the window's own check box and buttons. Both the
// grid and the page are made after the window's controls, so they are moved
// up behind the strip (the grid stays above the page, which it overlaps).
void frmSettings::subSetTabOrder() {
    HWND after = control(IDC_TBSSETTINGS);
    for (const wchar_t* name : {L"exsList", L"CurrTab"}) {
        HWND window = controls_ ? controls_->Window(name) : nullptr;
        if (!window) continue;
        SetWindowPos(window, after, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
        after = window;
    }
}

void frmSettings::timDisplayExcelList_Timer() {
    subSetAction(L"Showing the grid under the page");
    qbx::guarded(L"timDisplayExcelList_Timer", [&] {
        KillTimer(hwnd_, kDisplayTimer);
        if (objListHandler) objListHandler->Visible(true);
    });
}

void frmSettings::chkAdvanced_Click() {
    subSetAction(L"Switching advanced mode");
    qbx::guarded(L"chkAdvanced_Click", [&] {
        subSetupTabs();
        TabCtrl_SetCurSel(control(IDC_TBSSETTINGS), 0);
        tbsSettings_Click();
    });
}

void frmSettings::cmdOK_Click() {
    subSetAction(L"Saving the settings");
    qbx::guarded(L"cmdOK_Click", [&] {
        subSetMousePointer(vbHourglass);
        subSetAction(L"Saving current page settings");
        qbx::Err err;
        err.resume([&] {
            if (objPrevControl) objPrevControl.call(L"subSaveSettings");
        });
        err.clear();
        subSetAction(L"Saving common settings");
        if (!objPersonalSettings) qbx::raiseVb(qbx::vbErrObjectNotSet);
        objPersonalSettings->SaveSettings();
        objPersonalSettings->GetSettings();
        subSetMousePointer(vbDefault);
        if (!blnEndWithClose)
            subClose();
        else
            ReleaseOutlookObjects();
        objPrevControl.reset();
    });
}

void frmSettings::cmdCancel_Click() {
    subSetAction(L"Closing settings form without saving");
    qbx::guarded(L"cmdCancel_Click", [&] { subClose(); });
}

void frmSettings::lblWebLink_Click() {
    subSetAction(L"Opening the web site " + std::wstring(kWebAddress));
    qbx::guarded(L"lblWebLink_Click", [&] { fncShellExecute(L"open", kWebAddress); });
}
