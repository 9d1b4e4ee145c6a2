// Not a check: shows the settings window on screen with a few libraries in a
// chosen language, for tools/screenshots.sh to photograph. Skipped in test
// runs; the script runs it with --no-skip.
//   QBX_SHOT_COLUMN   the language column, 1-16 (default 4, English)
//   QBX_SHOT_SECONDS  how long the window stays at most (default 8); Escape
//                     or Cancel ends it sooner
#include <doctest/doctest.h>

#include "support/modLanguage.h"
#include "tests/settings_ui/settings_window_util.h"
#include "settings_ui/frmSettings_testing.h"


namespace {

void CALLBACK subEndShot(HWND window, UINT, UINT_PTR id, DWORD) {
    KillTimer(window, id);
    PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
}

}  // namespace

TEST_CASE("settings screenshot: the window on screen with a few libraries" * doctest::skip()) {
    const int column = qbxtest::envNumber("QBX_SHOT_COLUMN", 4);
    const int seconds = qbxtest::envNumber("QBX_SHOT_SECONDS", 8);
    REQUIRE(column >= 1);
    REQUIRE(column <= 16);
    subSetPhrases(static_cast<short>(column));
    {
        // The mailbox and the grid's class as the window test has them; the
        // loaded window is let go and the same settings shown modally, as the
        // settings button shows them.
        windowtest::Window setup({.sites = L"http://intranet.example/sites/sales/shared documents/\r\n"
                                           L"http://intranet.example/sites/projects/designs/\r\n"
                                           L"http://intranet.example/sites/finance/quarterly reports/\r\n"
                                           L"http://intranet.example/sites/hr/policies/",
                                  .defaultSite = L"http://intranet.example/sites/projects/designs/",
                                  .always = true,
                                  .visible = false});
        setup.form->Unload();
        subSetSettingsOpenedHook([&](frmSettings& form) {
            SetTimer(form.hWnd(), 0x5407, static_cast<UINT>(seconds) * 1000, &subEndShot);
        });
        frmSettings form;
        form.blnEndWithClose = false;
        form.Show(nullptr);
        subSetSettingsOpenedHook({});
    }
    subSetPhrases(4);
}
