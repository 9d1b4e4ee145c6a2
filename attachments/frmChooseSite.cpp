#include "attachments/frmChooseSite.h"
#include "attachments/frmChooseSite_testing.h"

#include "attachments/dialogs.h"
#include "support/modGlobals.h"
#include "settings/cListControl.h"
#include "settings/cPersonalSettings.h"
#include "support/cDialogForm.h"
#include "support/modAccessibility.h"
#include "settings_ui/modXPlooks.h"
#include "support/modErroHandling.h"
#include "support/modHtml.h"
#include "support/modTaskbar.h"
#include "support/phrases.h"
#include "support/com/win_window.h"

#include <algorithm>

namespace {

constexpr UINT_PTR kTimer1 = 1;
// A library address shorter than this is not one yet ("http" is being typed).
constexpr size_t kMinimumSiteLength = 5;

ChooserAnswerHook& answerHook() {
    static ChooserAnswerHook hook;
    return hook;
}

ChooserOpenedHook& openedHook() {
    static ChooserOpenedHook hook;
    return hook;
}

std::wstring fncWindowText(HWND window) {
    int length = GetWindowTextLengthW(window);
    if (length <= 0) return {};
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(window, text.data(), length + 1)));
    return text;
}

// Lets the list scroll sideways far enough to show its longest address.
void subFitHorizontalExtent(HWND list) {
    qbx::WindowDc dc(list);
    qbx::SelectedObject font(dc.get(), reinterpret_cast<HFONT>(SendMessageW(list, WM_GETFONT, 0, 0)));
    LONG widest = 0;
    const LRESULT count = SendMessageW(list, LB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
        const LRESULT length = SendMessageW(list, LB_GETTEXTLEN, static_cast<WPARAM>(i), 0);
        if (length <= 0) continue;
        std::wstring item(static_cast<size_t>(length) + 1, L'\0');
        SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(item.data()));
        SIZE size{};
        GetTextExtentPoint32W(dc.get(), item.c_str(), static_cast<int>(length), &size);
        widest = std::max(widest, size.cx);
    }
    SendMessageW(list, LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(widest + 6), 0);
}

}  // namespace

void subSetChooserAnswerHook(ChooserAnswerHook hook) { answerHook() = std::move(hook); }
void subSetChooserOpenedHook(ChooserOpenedHook hook) { openedHook() = std::move(hook); }

// ---------------------------------------------------------------- loading and unloading

frmChooseSite::frmChooseSite() : cDialogForm(IDD_CHOOSESITE, L"The library chooser") {}

frmChooseSite::~frmChooseSite() { Unload(); }

INT_PTR frmChooseSite::fncHandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG: {
            Form_Load();
            if (blnShuttingDown) {
                // The load failed and the add-in has stopped: nothing to ask.
                strSitePath.clear();
                subHide(IDCANCEL);
                return FALSE;
            }
            hwndOwner_ = GetWindow(hwnd_, GW_OWNER);
            SetTimer(hwnd_, kTimer1, kTimer1Interval, nullptr);
            if (openedHook()) {
                openedHook()(*this);
            } else if (auto opened = qbx::procAddress<ChooserOpenedExport>(GetModuleHandleW(nullptr),
                                                                               kChooserOpenedExportName)) {
                opened(hwnd_);
            }
            // The list has the focus (the dialog starts in list mode).
            SetFocus(control(fncIsChecked(IDC_OPTNEW) ? IDC_TXTNEWSITE : IDC_LSTSITES));
            return FALSE;
        }
        case WM_MENUCHAR:
            return fncFrameKey(LOWORD(wParam));
        case WM_COMMAND: {
            const int id = LOWORD(wParam);
            const int code = HIWORD(wParam);
            switch (id) {
                case IDC_OPTPREDEFINED:
                    if (code == BN_CLICKED) {
                        CheckDlgButton(hwnd_, IDC_OPTPREDEFINED, BST_CHECKED);
                        optPredefined_Click();
                    }
                    return TRUE;
                case IDC_OPTNEW:
                    if (code == BN_CLICKED) {
                        CheckDlgButton(hwnd_, IDC_OPTNEW, BST_CHECKED);
                        optNew_Click();
                    }
                    return TRUE;
                case IDC_LSTSITES:
                    if (code == LBN_SELCHANGE) lstSites_Click();
                    if (code == LBN_DBLCLK) lstSites_DblClick();
                    return TRUE;
                case IDC_TXTFILENAME:
                    if (code == EN_CHANGE) txtFileName_Change();
                    return TRUE;
                case IDC_TXTNEWSITE:
                    if (code == EN_CHANGE) txtNewSite_Change();
                    return TRUE;
                default:
                    return FALSE;
            }
        }
        case WM_TIMER:
            if (wParam == kTimer1) {
                Timer1_Timer();
                return TRUE;
            }
            return FALSE;
        case WM_CTLCOLORSTATIC:
        case WM_CTLCOLORBTN:
            return fncDialogCtlColor(wParam, lParam);
        case WM_DESTROY:
            KillTimer(hwnd_, kTimer1);
            return FALSE;
        default:
            return FALSE;
    }
}

// Alt and a key no control took: a switched-off frame's key (the dialog
// manager passes over disabled controls) picks the frame's option, so the
// other mode is reachable from the keyboard.
INT_PTR frmChooseSite::fncFrameKey(WORD character) {
    const std::wstring key(1, static_cast<wchar_t>(character));
    for (const auto& [frame, option] :
         {std::pair{IDC_FRAPREDEFINED, IDC_OPTPREDEFINED}, std::pair{IDC_FRANEWSITE, IDC_OPTNEW}}) {
        if (IsWindowEnabled(control(frame))) continue;
        wchar_t caption[256] = {};
        GetWindowTextW(control(frame), caption, 256);
        const wchar_t* amp = wcschr(caption, L'&');
        if (!amp || !qbx::textEquals(std::wstring(1, amp[1]), key)) continue;
        SendMessageW(control(option), BM_CLICK, 0, 0);
        SetWindowLongPtrW(hwnd_, DWLP_MSGRESULT, MAKELONG(0, MNC_CLOSE));
        return TRUE;
    }
    return FALSE;
}

void frmChooseSite::Form_Load() {
    subSetAction(L"Opening settings form");
    blnLoading_ = true;
    const bool loaded = qbx::guarded(L"Form_Load", [&] {
        subSetCaptions();

        if (!objPersonalSettings) qbx::raiseVb(qbx::vbErrObjectNotSet);
        cListControl lstSites(control(IDC_LSTSITES));
        std::wstring strSelect = objPersonalSettings->strDefaultSite;
        objPersonalSettings->DicList.AddToComboOrList(lstSites, strSelect);
        subFitHorizontalExtent(control(IDC_LSTSITES));

        // List mode, as if optPredefined had been clicked.
        CheckDlgButton(hwnd_, IDC_OPTPREDEFINED, BST_CHECKED);
        optPredefined_Click();

        SetWindowTextW(control(IDC_TXTFILENAME), fncHtmlEncode(strSitePath).c_str());

        subMakeSureInTaskbar(hwnd_);

        // The mail window the attachment came from comes to the front, so the
        // dialog appears over it.
        if (ouaOutlook) {
            qbx::Disp activeWindow = ouaOutlook.getObj(L"ActiveWindow");
            if (activeWindow && activeWindow.typeName() == L"Inspector") activeWindow.call(L"Activate");
        }

        blnLoading_ = false;
        subBuildSitePath();
    });
    // A failed load must not leave the address switched off for good.
    if (!loaded) blnLoading_ = false;
}

void frmChooseSite::subSetCaptions() {
    subSetAction(L"Setting captions on form controls");
    qbx::guarded(L"subSetCaptions", [&] {
        SetWindowTextW(hwnd_, LNGCHOOSE.c_str());
        // Each with a key of its own, so the chooser works without a mouse:
        // a frame's key leads to its option button, a label's to its box.
        subSetCaptionsWithMnemonics({{control(IDC_FRAPREDEFINED), LNGPREDEFINED},
                                     {control(IDC_LBLSITE), LNGSITES},
                                     {control(IDC_CHKDEFAULT), LNGDEFAULT},
                                     {control(IDC_FRANEWSITE), LNGNEW},
                                     {control(IDC_CHKADD), LNGADD},
                                     {control(IDC_LBLFILENAME), LNGFILENAME}});
        // Controls without a caption of their own are named by their labels.
        subSetAccessibleName(control(IDC_OPTPREDEFINED), LNGPREDEFINED);
        subSetAccessibleName(control(IDC_LSTSITES), LNGSITES);
        subSetAccessibleName(control(IDC_OPTNEW), LNGNEW);
        subSetAccessibleName(control(IDC_TXTNEWSITE), LNGNEW);
        subSetAccessibleName(control(IDC_TXTFILENAME), LNGFILENAME);
        SetWindowTextW(control(IDOK), LNGOK.c_str());
        SetWindowTextW(control(IDCANCEL), LNGCANCEL.c_str());

        // The frames, option buttons and check boxes take the colour of the
        // surface beneath them. The dialog is not on screen yet, so it paints
        // its background into a surface of its own to be sampled.
        cWindowSurface surface(hwnd_);
        for (int id : {IDC_FRAPREDEFINED, IDC_OPTPREDEFINED, IDC_CHKDEFAULT, IDC_FRANEWSITE, IDC_OPTNEW, IDC_CHKADD})
            subSetBackColorFromWindow(surface.hDC(), control(id));
    });
}

// ---------------------------------------------------------------- the address

void frmChooseSite::subBuildSitePath() {
    subSetAction(L"Building string to the site");
    qbx::guarded(L"subBuildSitePath", [&] {
        if (blnLoading_) return;
        std::wstring strSite;
        if (fncIsChecked(IDC_OPTNEW)) {
            strSite = fncControlText(IDC_TXTNEWSITE);
        } else {
            cListControl lstSites(control(IDC_LSTSITES));
            const long index = lstSites.ListIndex();
            if (index >= 0) strSite = lstSites.List(index);
        }
        if (strSite.size() < kMinimumSiteLength) return;
        strSitePath = fncHtmlEncode(qbx::withoutTrailingSlash(strSite) + L"/" + fncControlText(IDC_TXTFILENAME));
        SetWindowTextW(control(IDC_LBLRESULT), strSitePath.c_str());
    });
}

void frmChooseSite::lstSites_Click() { subBuildSitePath(); }

void frmChooseSite::txtFileName_Change() { subBuildSitePath(); }

void frmChooseSite::txtNewSite_Change() { subBuildSitePath(); }

void frmChooseSite::lstSites_DblClick() {
    subBuildSitePath();
    cmdOK_Click();
}

// ---------------------------------------------------------------- the two modes

void frmChooseSite::subSetMode(bool newSite) {
    CheckDlgButton(hwnd_, IDC_OPTNEW, newSite ? BST_CHECKED : BST_UNCHECKED);
    CheckDlgButton(hwnd_, IDC_OPTPREDEFINED, newSite ? BST_UNCHECKED : BST_CHECKED);
    // A frame holds its controls: what lies in the frame of the other mode
    // can't be used (and looks so).
    for (int id : {IDC_FRANEWSITE, IDC_TXTNEWSITE, IDC_CHKADD}) EnableWindow(control(id), newSite);
    for (int id : {IDC_FRAPREDEFINED, IDC_LBLSITE, IDC_LSTSITES, IDC_CHKDEFAULT}) EnableWindow(control(id), !newSite);
    SendMessageW(control(IDC_TXTNEWSITE), EM_SETSEL, 0, 0);
}

void frmChooseSite::optNew_Click() {
    subSetAction(L"Handlling optNew_Click");
    qbx::guarded(L"optNew_Click", [&] {
        subSetMode(fncIsChecked(IDC_OPTNEW));
        // Someone who picks "new" wants to type it.
        if (fncIsChecked(IDC_OPTNEW) && IsWindowVisible(hwnd_)) SetFocus(control(IDC_TXTNEWSITE));
        subBuildSitePath();
    });
}

void frmChooseSite::optPredefined_Click() {
    subSetAction(L"Handlling optPreDefined_Click");
    qbx::guarded(L"optPredefined_Click", [&] {
        subSetMode(!fncIsChecked(IDC_OPTPREDEFINED));
        subBuildSitePath();
    });
}

// ---------------------------------------------------------------- OK and Cancel

void frmChooseSite::cmdOK_Click() {
    subSetAction(L"Saving settings chosen on form");
    qbx::guarded(L"cmdOK_Click", [&] {
        subBuildSitePath();
        subSetAction(L"Saving settings chosen on form");
        std::wstring strSelected;
        {
            cListControl lstSites(control(IDC_LSTSITES));
            const long index = lstSites.ListIndex();
            if (index >= 0) strSelected = lstSites.List(index);
        }
        if (fncIsChecked(IDC_OPTPREDEFINED)) {
            if (fncIsChecked(IDC_CHKDEFAULT)) {
                if (!objPersonalSettings) qbx::raiseVb(qbx::vbErrObjectNotSet);
                objPersonalSettings->strDefaultSite = strSelected;
                objPersonalSettings->SaveSettings();
            }
        } else if (fncIsChecked(IDC_CHKADD)) {
            if (!objPersonalSettings) qbx::raiseVb(qbx::vbErrObjectNotSet);
            const std::wstring strNewSite = fncControlText(IDC_TXTNEWSITE);
            objPersonalSettings->DicList.Add(qbx::Variant(strNewSite));
            objPersonalSettings->SaveSettings();
        }
        blnChoseOK = true;
        subHide(IDOK);
    });
}

void frmChooseSite::cmdCancel_Click() {
    subSetAction(L"Closing the library chooser without a choice");
    qbx::guarded(L"cmdCancel_Click", [&] {
        strSitePath.clear();
        subHide(IDCANCEL);
    });
}

void frmChooseSite::Timer1_Timer() {
    // The mail window the dialog belongs to has gone (closed by Outlook, or
    // Outlook quitting): nobody can answer for it any more, so it ends as a
    // Cancel. An owner on another thread (Word's window) leaves the dialog
    // behind rather than taking it along.
    if (hwndOwner_ && !IsWindow(hwndOwner_)) {
        strSitePath.clear();
        subHide(IDCANCEL);
        return;
    }
    subMakeSureInTaskbar(hwnd_);
}

// ---------------------------------------------------------------- helpers

void frmChooseSite::subHide(int button) { End(button); }

bool frmChooseSite::fncIsChecked(int id) const { return IsDlgButtonChecked(hwnd_, id) == BST_CHECKED; }

std::wstring frmChooseSite::fncControlText(int id) const { return fncWindowText(control(id)); }

// ---------------------------------------------------------------- the caller's routine

std::wstring fncChooseSite(const std::wstring& strFileNameConverted, HWND owner) {
    std::wstring result;
    subSetAction(L"Asking which document library the attachment goes to");
    qbx::guarded(L"fncChooseSite", [&] {
        if (answerHook()) {
            result = answerHook()(strFileNameConverted);
            return;
        }
        frmChooseSite form;
        form.strSitePath = strFileNameConverted;
        form.Show(owner ? owner : GetActiveWindow());
        // Only OK hands an address back: a chooser that ended any other way
        // (its mail window closed, Outlook quitting) was not answered.
        if (form.blnChoseOK) result = form.strSitePath;
        form.Unload();
    });
    return result;
}
