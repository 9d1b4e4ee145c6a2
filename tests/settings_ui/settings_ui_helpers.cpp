// Shared by this folder's tests: the SharePoint emulator's test client and
// the control host's helpers (class registration in the process, pumping).
#include "tests/control_host/control_host_util.cpp"
#include "tests/sharepoint/spemu_client.cpp"
