// The ribbon documents, and the ribbon callbacks called by name through
// IDispatch in the forms Office may use.
#include <doctest/doctest.h>

#include "host/QBXOutlookConnect.h"
#include "support/modGlobals.h"
#include "settings_ui/modSettingsWindow.h"
#include "settings_ui/modSettingsWindow_testing.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "tests/test_support.h"

#include <olectl.h>

namespace {

const std::wstring kCompose =
    L"<customUI xmlns=\"http://schemas.microsoft.com/office/2006/01/customui\" onLoad=\"OnLoadCompose\" "
    L"loadImage=\"getImages\">\r\n"
    L"  <ribbon>\r\n"
    L"    <tabs>\r\n"
    L"      <tab idMso=\"TabNewMailMessage\">\r\n"
    L"        <group id=\"QBXGroup\"\r\n"
    L"               label=\"QBX Settings\"\r\n"
    L"               insertAfterMso=\"GroupActions\">\r\n"
    L"          <button id=\"cmdShowSettings\"\r\n"
    L"                        size=\"large\"\r\n"
    L"                        label=\"QBX Settings\"\r\n"
    L"                        screentip=\"Show \"Quillbox\" settings\"\r\n"
    L"                  onAction=\"cmdShowSettings\"\r\n"
    L"                  image=\"QBX\"/>\r\n"
    L"        </group>\r\n"
    L"      </tab>\r\n"
    L"    </tabs>\r\n"
    L"  </ribbon>\r\n"
    L"</customUI>\r\n";

// The read document differs in three lines.
std::wstring readDocument() {
    std::wstring r = qbx::replaceAll(kCompose, L"onLoad=\"OnLoadCompose\"", L"onLoad=\"OnLoadRead\"");
    r = qbx::replaceAll(r, L"idMso=\"TabNewMailMessage\"", L"idMso=\"TabReadMessage\"");
    return qbx::replaceAll(r, L"size=\"large\"\r\n                        label=\"QBX Settings\"",
                           L"size=\"large\"\r\n                        label=\"Handle attachments\"");
}

std::wstring customUI(IRibbonExtensibility* ribbon, const wchar_t* id) {
    qbx::Bstr xml;
    CHECK(ribbon->GetCustomUI(qbx::Bstr(id).get(), xml.put()) == S_OK);
    return xml.str();
}

bool isIconPicture(const VARIANT& v) {
    qbx::ComPtr<IPicture> picture;
    if (v.vt != VT_DISPATCH || !v.pdispVal || FAILED(v.pdispVal->QueryInterface(IID_IPicture, picture.putVoid())))
        return false;
    SHORT type = 0;
    picture->get_Type(&type);
    return type == PICTYPE_ICON;
}

}  // namespace

TEST_CASE("ribbon: the compose and read documents, to the character, and none for other windows") {
    qbxtest::resetAddinState();
    const std::wstring savedPhrase = LNGSHOWQBXSETTING;
    LNGSHOWQBXSETTING = L"Show *Quillbox* settings";  // a "*" in the phrase turns into a quotation mark too
    qbx::ComPtr<IDTExtensibility2> connection(new QBXOutlookConnect());
    auto ribbon = connection.as<IRibbonExtensibility>(qbx::IID_IRibbonExtensibility);
    REQUIRE(ribbon);
    CHECK(customUI(ribbon.get(), L"Microsoft.Outlook.Mail.Compose") == kCompose);
    CHECK(customUI(ribbon.get(), L"Microsoft.Outlook.Mail.Read") == readDocument());
    for (const wchar_t* other : {L"Microsoft.Outlook.Explorer", L"Microsoft.Outlook.Appointment", L""})
        CHECK(customUI(ribbon.get(), other).empty());
    LNGSHOWQBXSETTING = savedPhrase;
}

TEST_CASE("ribbon: getImages by reference or into a by-reference argument; the button without Outlook") {
    qbxtest::resetAddinState();
    qbx::ComPtr<IDTExtensibility2> connection(new QBXOutlookConnect());
    // Office calls by name: GetIDsOfNames, then Invoke with the method flag.
    qbx::Disp addin(connection.get());
    qbx::Bstr text(L"AnyIdAtAll");
    BSTR raw = text.get();
    VARIANT byRef;
    byRef.vt = VT_BYREF | VT_BSTR;
    byRef.pbstrVal = &raw;
    auto images = addin.tryCall(L"getImages", qbx::Variant::attach(byRef));
    CHECK(images.hr == S_OK);
    CHECK(isIconPicture(images.value.raw()));
    qbx::Variant returned;
    CHECK(addin.tryCall(L"getImages", L"QBX", qbx::ByRef(returned)).hr == S_OK);
    CHECK(isIconPicture(returned.raw()));

    // Without Outlook the settings button names the support address and opens nothing.
    int opened = 0;
    subSetSettingsWindowHook([&](const qbx::Disp&) { ++opened; });
    qbxtest::PromptRecorder prompts(IDOK);
    qbx::Variant control = qbx::Variant::nothing();
    auto ribbon = connection.as<IRibbonExtensibility>(qbx::IID_IRibbonExtensibility);
    CHECK(qbx::Disp(ribbon.get()).tryCall(L"cmdShowSettings", control).hr == S_OK);
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text ==
          std::wstring(L"Failed to connect to Outlook!\r\nPlease contact support at ") + kSupportAddress + L".");
    CHECK(opened == 0);
    subSetSettingsWindowHook(nullptr);
}
