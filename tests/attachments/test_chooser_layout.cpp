// The chooser in all sixteen languages: each control shows its own phrase,
// and the captions of buttons, check boxes, frames and labels fit their
// controls, measured with the dialog's font (MS Shell Dlg 8).
#include <doctest/doctest.h>

#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "tests/attachments/test_chooser_util.h"

#include <algorithm>
#include <memory>

using qbxtest::windowText;

TEST_CASE("chooser layout: every caption is its control's phrase and fits it, in all sixteen languages") {
    qbxtest::resetAddinState();
    objPersonalSettings = std::make_shared<cPersonalSettings>();
    // Control, phrase, and what the control draws beside its caption in
    // pixels: a button's edges, a check box's box and gap, a frame's indents.
    const struct {
        int id;
        const std::wstring* phrase;
        int decoration;
    } controls[] = {
        {IDOK, &LNGOK, 10},
        {IDCANCEL, &LNGCANCEL, 10},
        {IDC_CHKDEFAULT, &LNGDEFAULT, GetSystemMetrics(SM_CXMENUCHECK) + 6},
        {IDC_CHKADD, &LNGADD, GetSystemMetrics(SM_CXMENUCHECK) + 6},
        {IDC_FRAPREDEFINED, &LNGPREDEFINED, 20},
        {IDC_FRANEWSITE, &LNGNEW, 20},
        {IDC_LBLSITE, &LNGSITES, 0},
        {IDC_LBLFILENAME, &LNGFILENAME, 0},
    };
    int leastRoom = 1000;
    for (short column = 1; column <= 16; ++column) {
        CAPTURE(column);
        subSetPhrases(column);
        frmChooseSite form;
        REQUIRE(form.Load());
        CHECK(windowText(form.hWnd()) == LNGCHOOSE);
        qbxtest::checkDialogFont(form.hWnd());
        std::wstring keys;  // the mnemonics: one on each caption but OK's and Cancel's, none twice
        for (const auto& c : controls) {
            CAPTURE(c.id);
            HWND control = form.control(c.id);
            const std::wstring caption = qbxtest::checkedCaption(control, c.id != IDOK && c.id != IDCANCEL, keys);
            CHECK(caption == *c.phrase);
            const SIZE size = qbxtest::textExtent(control, caption);
            RECT client{};
            GetClientRect(control, &client);
            CHECK(size.cx + c.decoration <= client.right);
            leastRoom = std::min(leastRoom, static_cast<int>(client.right - size.cx - c.decoration));
        }
    }
    MESSAGE("least room left beside a caption: " << leastRoom << " px");
    subSetPhrases(4);
    objPersonalSettings.reset();
}
