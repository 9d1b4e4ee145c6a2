// Every mail window's object creates the safe-inspector component by its
// ProgID. This program links the add-in's code rather than loading the
// registered DLL, so it offers the component itself, for the whole run.
#include "tests/attachments/test_flow_component.h"

namespace {
const bool offered = (flowtest::subOfferSafeInspector(), true);
}  // namespace
