// The test programs' entry: COM on a single-threaded apartment, as Outlook's
// user-interface thread, and a prompt guard so that no test can ever block on
// a real modal window.
#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include "tests/test_support.h"

#include <ole2.h>

int main(int argc, char** argv) {
    OleInitialize(nullptr);
    qbxtest::installPromptGuard();
    doctest::Context context;
    context.applyCommandLine(argc, argv);
    int rc = context.run();
    OleUninitialize();
    return rc;
}
