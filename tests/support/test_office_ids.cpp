// The interface IDs and event numbers Office and Outlook use. The test bed's
// Outlook takes them from the add-in's own header, so a wrong one would pass
// every other test: here each is written out as Outlook publishes it.
#include <doctest/doctest.h>

#include "support/office_interfaces.h"
#include "tests/doctest_strings.h"

namespace {
std::wstring text(const IID& iid) {
    wchar_t s[40] = {};
    StringFromGUID2(iid, s, 40);
    return s;
}
}  // namespace

TEST_CASE("Office's and Outlook's interface IDs, event numbers and button constants are the published ones") {
    CHECK(text(qbx::IID_IDTExtensibility2) == std::wstring(L"{B65AD801-ABAF-11D0-BB8B-00A0C90F2744}"));
    CHECK(text(qbx::IID_IRibbonExtensibility) == std::wstring(L"{000C0396-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::IID_IRibbonUI) == std::wstring(L"{000C03A7-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::IID_IRibbonControl) == std::wstring(L"{000C0395-0000-0000-C000-000000000046}"));

    CHECK(text(qbx::DIID_ApplicationEvents) == std::wstring(L"{0006304E-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_ApplicationEvents_10) == std::wstring(L"{0006300E-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_ApplicationEvents_11) == std::wstring(L"{0006302C-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_InspectorsEvents) == std::wstring(L"{00063079-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_InspectorEvents) == std::wstring(L"{0006307D-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_InspectorEvents_10) == std::wstring(L"{0006302A-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_ItemEvents) == std::wstring(L"{0006303A-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_ItemEvents_10) == std::wstring(L"{0006302B-0000-0000-C000-000000000046}"));
    CHECK(text(qbx::DIID_CommandBarButtonEvents) == std::wstring(L"{000C0351-0000-0000-C000-000000000046}"));

    // The same number means different events on different interfaces.
    CHECK(qbx::dispid::ItemSend == 61442);
    CHECK(qbx::dispid::NewMail == 61443);
    CHECK(qbx::dispid::Startup == 61446);
    CHECK(qbx::dispid::Quit == 61447);
    CHECK(qbx::dispid::NewInspector == 61441);
    CHECK(qbx::dispid::InspectorActivate == 61441);
    CHECK(qbx::dispid::InspectorClose == 61448);
    CHECK(qbx::dispid::AttachmentAdd == 61451);
    CHECK(qbx::dispid::BeforeAttachmentSave == 61453);
    CHECK(qbx::dispid::ButtonClick == 1);

    CHECK(qbx::msoControlButton == 1);
    CHECK(qbx::msoButtonIcon == 1);
}
