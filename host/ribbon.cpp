// The ribbon documents for the compose and read mail windows (Outlook 2007
// and later) and the ribbon callbacks of the connection class.
#include "host/QBXOutlookConnect.h"
#include "host/ribbon.h"

#include "attachments/frmTimer.h"
#include "support/modGlobals.h"
#include "settings_ui/modSettingsWindow.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "support/prompt.h"

namespace {

// Builds a ribbon document: "*" stands for a double quotation mark while the
// lines are assembled and is replaced at the end, in the phrase too.
std::wstring fncBuildRibbonXML(const wchar_t* onLoad, const wchar_t* tabIdMso, const wchar_t* buttonLabel) {
    const std::wstring crlf = L"\r\n";
    std::wstring xml;
    xml += std::wstring(L"<customUI xmlns=*http://schemas.microsoft.com/office/2006/01/customui* onLoad=*") + onLoad +
           L"* loadImage=*getImages*>" + crlf;
    xml += L"  <ribbon>" + crlf;
    xml += L"    <tabs>" + crlf;
    xml += std::wstring(L"      <tab idMso=*") + tabIdMso + L"*>" + crlf;
    xml += L"        <group id=*QBXGroup*" + crlf;
    xml += L"               label=*QBX Settings*" + crlf;
    xml += L"               insertAfterMso=*GroupActions*>" + crlf;
    xml += L"          <button id=*cmdShowSettings*" + crlf;
    xml += L"                        size=*large*" + crlf;
    xml += std::wstring(L"                        label=*") + buttonLabel + L"*" + crlf;
    xml += L"                        screentip=*" + LNGSHOWQBXSETTING + L"*" + crlf;
    xml += L"                  onAction=*cmdShowSettings*" + crlf;
    xml += L"                  image=*QBX*/>" + crlf;
    xml += L"        </group>" + crlf;
    xml += L"      </tab>" + crlf;
    xml += L"    </tabs>" + crlf;
    xml += L"  </ribbon>" + crlf;
    xml += L"</customUI>" + crlf;
    return qbx::replaceAll(xml, L"*", L"\"");
}

}  // namespace

std::wstring fncBuildComposeXML() {
    return fncBuildRibbonXML(L"OnLoadCompose", L"TabNewMailMessage", L"QBX Settings");
}

std::wstring fncBuildReadXML() { return fncBuildRibbonXML(L"OnLoadRead", L"TabReadMessage", L"Handle attachments"); }

std::wstring QBXOutlookConnect::IRibbonExtensibility_GetCustomUI(const std::wstring& ribbonId) {
    std::wstring result;
    subSetAction(L"Building the ribbon for " + ribbonId);
    qbx::guarded(L"IRibbonExtensibility_GetCustomUI", [&] {
        if (ribbonId == L"Microsoft.Outlook.Mail.Compose")
            result = fncBuildComposeXML();
        else if (ribbonId == L"Microsoft.Outlook.Mail.Read")
            result = fncBuildReadXML();
    });
    return result;
}

void QBXOutlookConnect::OnLoadCompose(const qbx::Disp& ribbon) { objRibbonUI_ = ribbon; }

void QBXOutlookConnect::OnLoadRead(const qbx::Disp& ribbon) { objRibbonUI_ = ribbon; }

qbx::ComPtr<IPictureDisp> QBXOutlookConnect::getImages(const std::wstring&) {
    qbx::ComPtr<IPictureDisp> result;
    subSetAction(L"Loading the button picture");
    qbx::guarded(L"getImages", [&] { result = frmTimer::imgQBXToolbar(); });
    return result;
}

void QBXOutlookConnect::cmdShowSettings(const qbx::Disp&) { subOpenSettings(); }

void subOpenSettings() {
    subSetAction(L"Opening settings form");
    qbx::guarded(L"subOpenSettings", [&] {
        if (!ouaOutlook) {
            qbx::fncMsgBox(std::wstring(L"Failed to connect to Outlook!\r\nPlease contact support at ") +
                               kSupportAddress + L".",
                           MB_ICONEXCLAMATION, kProductName);
            return;
        }
        subSetAction(L"Getting currently selected mail item");
        qbx::Disp mailItem;
        // Errors ignored: no open window, or an empty selection, leaves no item.
        qbx::Err err;
        qbx::Disp inspector;
        err.resume([&] { inspector = ouaOutlook.getObj(L"ActiveInspector"); });
        if (inspector) err.resume([&] { mailItem = inspector.getObj(L"CurrentItem"); });
        if (!mailItem) err.resume([&] { mailItem = ouaOutlook.getObj(L"ActiveExplorer").getObj(L"Selection").item(1); });
        err.clear();
        subShowSettingsWindow(mailItem);
    });
}
