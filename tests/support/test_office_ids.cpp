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
    const std::pair<const IID*, const wchar_t*> iids[] = {
        {&qbx::IID_IDTExtensibility2, L"{B65AD801-ABAF-11D0-BB8B-00A0C90F2744}"},
        {&qbx::IID_IRibbonExtensibility, L"{000C0396-0000-0000-C000-000000000046}"},
        {&qbx::IID_IRibbonUI, L"{000C03A7-0000-0000-C000-000000000046}"},
        {&qbx::IID_IRibbonControl, L"{000C0395-0000-0000-C000-000000000046}"},
        {&qbx::DIID_ApplicationEvents, L"{0006304E-0000-0000-C000-000000000046}"},
        {&qbx::DIID_ApplicationEvents_10, L"{0006300E-0000-0000-C000-000000000046}"},
        {&qbx::DIID_ApplicationEvents_11, L"{0006302C-0000-0000-C000-000000000046}"},
        {&qbx::DIID_InspectorsEvents, L"{00063079-0000-0000-C000-000000000046}"},
        {&qbx::DIID_InspectorEvents, L"{0006307D-0000-0000-C000-000000000046}"},
        {&qbx::DIID_InspectorEvents_10, L"{0006302A-0000-0000-C000-000000000046}"},
        {&qbx::DIID_ItemEvents, L"{0006303A-0000-0000-C000-000000000046}"},
        {&qbx::DIID_ItemEvents_10, L"{0006302B-0000-0000-C000-000000000046}"},
        {&qbx::DIID_CommandBarButtonEvents, L"{000C0351-0000-0000-C000-000000000046}"},
    };
    for (const auto& [iid, published] : iids) CHECK(text(*iid) == std::wstring(published));

    // The same number means different events on different interfaces.
    const std::pair<DISPID, DISPID> events[] = {
        {qbx::dispid::ItemSend, 61442},       {qbx::dispid::NewMail, 61443},
        {qbx::dispid::Startup, 61446},        {qbx::dispid::Quit, 61447},
        {qbx::dispid::NewInspector, 61441},   {qbx::dispid::InspectorActivate, 61441},
        {qbx::dispid::InspectorClose, 61448}, {qbx::dispid::AttachmentAdd, 61451},
        {qbx::dispid::BeforeAttachmentSave, 61453}, {qbx::dispid::ButtonClick, 1},
    };
    for (const auto& [used, published] : events) CHECK(used == published);

    CHECK(qbx::msoControlButton == 1);
    CHECK(qbx::msoButtonIcon == 1);
}
