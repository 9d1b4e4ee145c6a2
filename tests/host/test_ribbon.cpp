// The ribbon documents and the ribbon callbacks, called by name through
// IDispatch as Office calls them.
#include <doctest/doctest.h>

#include "host/QBXOutlookConnect.h"
#include "host/modGlobals.h"
#include "host/ribbon.h"
#include "settings_ui/modSettingsWindow.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "tests/test_support.h"

#include <olectl.h>

#include <string>
#include <vector>

namespace {

const std::wstring kExpectedCompose =
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

const std::wstring kExpectedRead =
    L"<customUI xmlns=\"http://schemas.microsoft.com/office/2006/01/customui\" onLoad=\"OnLoadRead\" "
    L"loadImage=\"getImages\">\r\n"
    L"  <ribbon>\r\n"
    L"    <tabs>\r\n"
    L"      <tab idMso=\"TabReadMessage\">\r\n"
    L"        <group id=\"QBXGroup\"\r\n"
    L"               label=\"QBX Settings\"\r\n"
    L"               insertAfterMso=\"GroupActions\">\r\n"
    L"          <button id=\"cmdShowSettings\"\r\n"
    L"                        size=\"large\"\r\n"
    L"                        label=\"Handle attachments\"\r\n"
    L"                        screentip=\"Show \"Quillbox\" settings\"\r\n"
    L"                  onAction=\"cmdShowSettings\"\r\n"
    L"                  image=\"QBX\"/>\r\n"
    L"        </group>\r\n"
    L"      </tab>\r\n"
    L"    </tabs>\r\n"
    L"  </ribbon>\r\n"
    L"</customUI>\r\n";

qbx::ComPtr<IDTExtensibility2> newConnection() { return qbx::ComPtr<IDTExtensibility2>(new QBXOutlookConnect()); }

qbx::ComPtr<IRibbonExtensibility> ribbonFace(const qbx::ComPtr<IDTExtensibility2>& c) {
    return c.as<IRibbonExtensibility>(qbx::IID_IRibbonExtensibility);
}

std::wstring customUI(IRibbonExtensibility* ribbon, const wchar_t* id) {
    qbx::Bstr xml;
    REQUIRE(ribbon->GetCustomUI(qbx::Bstr(id).get(), xml.put()) == S_OK);
    return xml.str();
}

// A call as Office makes it: GetIDsOfNames for the name, then Invoke with
// IID_NULL, DISPATCH_METHOD and the arguments in reverse order.
HRESULT callByName(IDispatch* d, const wchar_t* name, std::vector<VARIANT> argsReversed, VARIANT* result) {
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR n = const_cast<LPOLESTR>(name);
    HRESULT hr = d->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) return hr;
    DISPPARAMS dp{argsReversed.data(), nullptr, static_cast<UINT>(argsReversed.size()), 0};
    EXCEPINFO info = {};
    UINT argErr = 0;
    hr = d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &dp, result, &info, &argErr);
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
    return hr;
}

void checkIsButtonPicture(const VARIANT& v) {
    REQUIRE(v.vt == VT_DISPATCH);
    REQUIRE(v.pdispVal);
    qbx::ComPtr<IPicture> picture;
    REQUIRE(v.pdispVal->QueryInterface(IID_IPicture, picture.putVoid()) == S_OK);
    SHORT type = 0;
    picture->get_Type(&type);
    CHECK(type == PICTYPE_ICON);
}

size_t countLines(const std::wstring& text) {
    size_t n = 0;
    for (size_t at = text.find(L"\r\n"); at != std::wstring::npos; at = text.find(L"\r\n", at + 2)) ++n;
    return n;
}

}  // namespace

TEST_CASE("ribbon: the compose and read documents, to the character") {
    qbxtest::resetAddinState();
    const std::wstring savedPhrase = LNGSHOWQBXSETTING;
    // A "*" in the phrase turns into a quotation mark like the others.
    LNGSHOWQBXSETTING = L"Show *Quillbox* settings";
    auto connection = newConnection();
    auto ribbon = ribbonFace(connection);
    REQUIRE(ribbon);

    std::wstring compose = customUI(ribbon.get(), L"Microsoft.Outlook.Mail.Compose");
    CHECK(compose == kExpectedCompose);
    CHECK(countLines(compose) == 18);
    CHECK(compose.size() >= 2);
    CHECK(compose.substr(compose.size() - 2) == L"\r\n");
    CHECK(compose.find(L'*') == std::wstring::npos);
    CHECK(customUI(ribbon.get(), L"Microsoft.Outlook.Mail.Read") == kExpectedRead);

    SUBCASE("other windows get no ribbon change") {
        CHECK(customUI(ribbon.get(), L"Microsoft.Outlook.Explorer").empty());
        CHECK(customUI(ribbon.get(), L"Microsoft.Outlook.Appointment").empty());
        CHECK(customUI(ribbon.get(), L"microsoft.outlook.mail.compose").empty());
        CHECK(customUI(ribbon.get(), L"").empty());
    }
    SUBCASE("the same documents by name through IDispatch") {
        for (IDispatch* face : {static_cast<IDispatch*>(connection.get()), static_cast<IDispatch*>(ribbon.get())}) {
            qbx::Variant result;
            qbx::Variant id(L"Microsoft.Outlook.Mail.Read");
            CHECK(callByName(face, L"GetCustomUI", {id.raw()}, result.put()) == S_OK);
            CHECK(result.toString() == kExpectedRead);
        }
    }
    LNGSHOWQBXSETTING = savedPhrase;
    CHECK_FALSE(blnShuttingDown);
}

TEST_CASE("ribbon: getImages answers the button picture for any id, by value or by reference") {
    qbxtest::resetAddinState();
    auto connection = newConnection();
    auto ribbon = ribbonFace(connection);
    // Office may call the callbacks on either face of the object.
    for (IDispatch* face : {static_cast<IDispatch*>(connection.get()), static_cast<IDispatch*>(ribbon.get())}) {
        {  // the id as a plain string
            qbx::Variant id(L"QBX");
            qbx::Variant result;
            CHECK(callByName(face, L"getImages", {id.raw()}, result.put()) == S_OK);
            checkIsButtonPicture(result.raw());
        }
        {  // the id by reference, and an id the document never names
            qbx::Bstr text(L"SomethingElse");
            BSTR raw = text.get();
            VARIANT byRef;
            VariantInit(&byRef);
            byRef.vt = VT_BYREF | VT_BSTR;
            byRef.pbstrVal = &raw;
            qbx::Variant result;
            CHECK(callByName(face, L"GETIMAGES", {byRef}, result.put()) == S_OK);
            checkIsButtonPicture(result.raw());
        }
        {  // the picture handed back through a by-reference second argument
            qbx::Variant id(L"QBX");
            qbx::Variant returned;
            VARIANT ref;
            VariantInit(&ref);
            ref.vt = VT_BYREF | VT_VARIANT;
            ref.pvarVal = returned.ptr();
            CHECK(callByName(face, L"getImages", {ref, id.raw()}, nullptr) == S_OK);
            checkIsButtonPicture(returned.raw());
        }
    }
}

TEST_CASE("ribbon: OnLoad keeps the ribbon object; cmdShowSettings without Outlook names the support address") {
    qbxtest::resetAddinState();
    auto connection = newConnection();
    auto* impl = static_cast<QBXOutlookConnect*>(connection.get());
    auto ribbon = ribbonFace(connection);

    // Any automation object stands in for the ribbon UI here.
    auto stand_in = newConnection();
    qbx::Variant ui(static_cast<IDispatch*>(stand_in.get()));
    CHECK(callByName(ribbon.get(), L"OnLoadCompose", {ui.raw()}, nullptr) == S_OK);
    CHECK(impl->ribbonUI().get() == static_cast<IDispatch*>(stand_in.get()));

    int opened = 0;
    subSetSettingsWindowHook([&](const qbx::Disp&) { ++opened; });
    {
        qbxtest::PromptRecorder prompts(IDOK);
        qbx::Variant control = qbx::Variant::nothing();
        CHECK(callByName(ribbon.get(), L"cmdShowSettings", {control.raw()}, nullptr) == S_OK);
        REQUIRE(prompts.prompts().size() == 1);
        CHECK(prompts.prompts()[0].text ==
              std::wstring(L"Failed to connect to Outlook!\r\nPlease contact support at ") + kSupportAddress + L".");
        CHECK(prompts.prompts()[0].title == L"Quillbox");
    }
    CHECK(opened == 0);
    CHECK(fncGetAction() == L"Opening settings form");
    subSetSettingsWindowHook(nullptr);
}
