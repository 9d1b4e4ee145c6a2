// Not a check: shows the chooser on screen with sample data in a chosen
// language, for tools/screenshots.sh to photograph. Skipped in test runs;
// the script runs it with --no-skip.
//   QBX_SHOT_COLUMN   the language column, 1-16 (default 4, English)
//   QBX_SHOT_SECONDS  how long the dialog stays at most (default 8); Escape
//                     or Cancel ends it sooner
#include <doctest/doctest.h>

#include "attachments/frmChooseSite.h"
#include "attachments/frmChooseSite_testing.h"
#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "support/modLanguage.h"
#include "tests/test_support.h"

#include <memory>
#include <string>

namespace {

void CALLBACK subEndShot(HWND dialog, UINT, UINT_PTR, DWORD) { EndDialog(dialog, IDCANCEL); }

}  // namespace

TEST_CASE("chooser screenshot: the dialog on screen with sample data" * doctest::skip()) {
    qbxtest::resetAddinState();
    const int column = qbxtest::envNumber("QBX_SHOT_COLUMN", 4);
    const int seconds = qbxtest::envNumber("QBX_SHOT_SECONDS", 8);
    REQUIRE(column >= 1);
    REQUIRE(column <= 16);
    subSetPhrases(static_cast<short>(column));
    objPersonalSettings = std::make_shared<cPersonalSettings>();
    objPersonalSettings->DicList.FromString(
        L"http://intranet.example/sites/sales/Shared%20Documents\r\n"
        L"http://intranet.example/sites/projects/Designs/\r\n"
        L"http://intranet.example/sites/finance/Quarterly%20Reports");
    objPersonalSettings->strDefaultSite = L"http://intranet.example/sites/projects/Designs/";

    // Shown modally, as the attachment flow shows it; a timer ends it when
    // nobody presses Escape.
    subSetChooserOpenedHook([&](frmChooseSite& form) {
        SetTimer(form.hWnd(), 0x5407, static_cast<UINT>(seconds) * 1000, &subEndShot);
    });
    frmChooseSite form;
    form.strSitePath = L"Project%20plan%202024.docx";
    form.Show(nullptr);
    form.Unload();
    subSetChooserOpenedHook({});
    objPersonalSettings.reset();
    subSetPhrases(4);
}
