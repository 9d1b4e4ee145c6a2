// The SharePoint emulator's test client, shared with the upload tests.
#include "tests/sharepoint/spemu_client.cpp"
