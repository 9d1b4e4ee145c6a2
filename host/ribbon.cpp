// The ribbon documents for the compose and read mail windows (Outlook 2007
// and later) and the ribbon callbacks of the connection class.
#include "host/QBXOutlookConnect.h"
#include "host/ribbon.h"

#include "support/modErroHandling.h"
#include "support/phrases.h"

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

void QBXOutlookConnect::OnLoadCompose(const qbx::Disp& ribbon) { objRibbonUI = ribbon; }

void QBXOutlookConnect::OnLoadRead(const qbx::Disp& ribbon) { objRibbonUI = ribbon; }
