// The chooser as a keyboard and screen-reader user meets it: Tab walks its
// controls in reading order, every caption has a key of its own that leads
// to its control, and every control is named by its label.
#include <doctest/doctest.h>

#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "tests/attachments/test_chooser_util.h"
#include "tests/person.h"
#include "tests/reader.h"

#include <memory>
#include <vector>

using persontest::Person;
using readertest::accessibleOf;
using readertest::nameOf;

TEST_CASE("chooser without a mouse: Tab in reading order, a key per caption, every control named by its label") {
    qbxtest::resetAddinState();
    subSetPhrases(fncGetLanguageColumn());
    objPersonalSettings = std::make_shared<cPersonalSettings>();
    objPersonalSettings->DicList.FromString(L"http://server/a/\r\nhttp://server/b/");
    {
        frmChooseSite form;
        REQUIRE(form.Load(nullptr, true));
        Person person(form.hWnd());
        // Tab goes to the chosen option of the two and through what it enables.
        SetFocus(form.control(IDC_OPTPREDEFINED));
        auto walk = [&](std::vector<int> order) {
            for (int id : order) {
                CAPTURE(id);
                person.key(VK_TAB);
                CHECK(GetFocus() == form.control(id));
            }
        };
        walk({IDC_LSTSITES, IDC_CHKDEFAULT, IDC_TXTFILENAME, IDOK, IDCANCEL, IDC_OPTPREDEFINED});
        person.key(VK_TAB, true);
        CHECK(GetFocus() == form.control(IDCANCEL));

        // The other option by its frame's key, though the frame is switched
        // off while the list is chosen: the new library's box has the focus.
        const std::wstring frame = choosertest::windowText(form.control(IDC_FRANEWSITE));
        REQUIRE(frame.find(L'&') != std::wstring::npos);
        person.alt(frame[frame.find(L'&') + 1]);
        CHECK(IsDlgButtonChecked(form.hWnd(), IDC_OPTNEW) == BST_CHECKED);
        CHECK(GetFocus() == form.control(IDC_TXTNEWSITE));
        walk({IDC_CHKADD, IDC_TXTFILENAME, IDOK, IDCANCEL, IDC_OPTNEW, IDC_TXTNEWSITE});

        // Back to the list by its frame's key; a label's key leads to its box.
        const std::wstring listFrame = choosertest::windowText(form.control(IDC_FRAPREDEFINED));
        person.alt(listFrame[listFrame.find(L'&') + 1]);
        CHECK(IsDlgButtonChecked(form.hWnd(), IDC_OPTPREDEFINED) == BST_CHECKED);
        for (const auto& [label, box] : {std::pair{IDC_LBLFILENAME, IDC_TXTFILENAME}, std::pair{IDC_LBLSITE, IDC_LSTSITES}}) {
            const std::wstring caption = choosertest::windowText(form.control(label));
            const size_t amp = caption.find(L'&');
            REQUIRE(amp != std::wstring::npos);
            person.alt(caption[amp + 1]);
            CHECK(GetFocus() == form.control(box));
        }

        const struct {
            int id;
            const std::wstring* name;
        } named[] = {
            {IDC_OPTPREDEFINED, &LNGPREDEFINED}, {IDC_LSTSITES, &LNGSITES},     {IDC_CHKDEFAULT, &LNGDEFAULT},
            {IDC_OPTNEW, &LNGNEW},               {IDC_TXTNEWSITE, &LNGNEW},     {IDC_CHKADD, &LNGADD},
            {IDC_TXTFILENAME, &LNGFILENAME},     {IDOK, &LNGOK},                {IDCANCEL, &LNGCANCEL},
        };
        for (const auto& n : named) {
            CAPTURE(n.id);
            CHECK(nameOf(accessibleOf(form.control(n.id)).get()) == *n.name);
        }
    }
    objPersonalSettings.reset();
}
