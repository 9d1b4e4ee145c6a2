// Shared by this folder's tests: the control host's helpers (class
// registration in the process, pumping).
#include "tests/control_host/control_host_util.cpp"
