// The assistant messages, against the emulated Outlook's Assistant, and the
// list separator routine.
#include <doctest/doctest.h>

#include "support/modGlobals.h"
#include "support/modAssistant.h"
#include "support/modErroHandling.h"
#include "support/modShell.h"
#include "testbed/outlook/emulator.h"
#include "tests/test_support.h"

namespace {
void checkBalloon(const emu::Balloon& b, const std::wstring& text, long buttons, long icon) {
    CHECK(b.title == L"Quillbox");
    CHECK(b.text == text);
    CHECK(b.buttons == buttons);
    CHECK(b.icon == icon);
    CHECK(b.defaultButton == 0);
    CHECK(b.cancel == -1);
    CHECK_FALSE(b.systemAlert);
}
}  // namespace

TEST_CASE("assistant: an alert without an application is a plain information box and nothing more") {
    qbxtest::resetAddinState();
    subSetAction(L"before");
    qbxtest::PromptRecorder prompts(IDOK);
    fncAssistantAlert(qbx::Disp(), L"Something to say");
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text == L"Something to say");
    CHECK(prompts.prompts()[0].title == L"Quillbox");
    CHECK(prompts.prompts()[0].style == (MB_OK | MB_ICONINFORMATION));
    CHECK(fncGetAction() == L"before");
}

TEST_CASE("assistant: alert, question and working animation go to the Assistant") {
    qbxtest::resetAddinState();
    emu::Outlook ol;  // Outlook 2003: it has the Assistant
    qbx::Disp app = ol.application();
    qbxtest::PromptRecorder prompts;  // none may appear

    fncAssistantAlert(app, L"Failed\r\nreally");
    REQUIRE(ol.balloons().size() == 1);
    checkBalloon(ol.balloons()[0], L"Failed\r\nreally", 0, 4);
    CHECK(app.getObj(L"Assistant").get(L"Visible").toBool());
    CHECK(fncGetAction() == L"Creating Assistant to display message Failed\r\nreally");

    // The question's answer is handed back: Yes and No, Yes being the first.
    ol.setBalloonAnswerer([](const emu::Balloon&) { return 6L; });
    CHECK(fncAssistantAsk(app, L"Replace it?") == 6);
    ol.setBalloonAnswerer([](const emu::Balloon&) { return 7L; });
    CHECK(fncAssistantAsk(app, L"Replace it?") == 7);
    REQUIRE(ol.balloons().size() == 3);
    checkBalloon(ol.balloons()[2], L"Replace it?", 4, 2);

    subAssistantWorking(app);
    CHECK(ol.animations() == std::vector<long>{25});
    CHECK(fncGetAction() == L"Showing that the Assistant is working");
    CHECK(prompts.prompts().empty());
    CHECK_FALSE(blnShuttingDown);
}

TEST_CASE("assistant: an Outlook without the Assistant fails into the error report") {
    qbxtest::resetAddinState();
    emu::Knobs knobs;
    knobs.version = 12;
    emu::Outlook ol(knobs);
    qbxtest::PromptRecorder prompts(IDNO);
    fncAssistantAlert(ol.application(), L"Hello");
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text.find(L"Creating Assistant to display message Hello") != std::wstring::npos);
    CHECK(ol.balloons().empty());
    CHECK(blnShuttingDown);  // the error stops the add-in
    qbxtest::resetAddinState();
}

TEST_CASE("assistant: Outlook 2000's Assistant has no DoAlert: alert and question end in the error report, the animation works") {
    qbxtest::resetAddinState();
    emu::Knobs knobs;
    knobs.version = 9;
    emu::Outlook ol(knobs);
    struct Case {
        const wchar_t* text;
        bool ask;
    } const cases[] = {{L"Failed", false}, {L"Replace it?", true}};
    for (const Case& c : cases) {
        CAPTURE(c.ask);
        qbxtest::PromptRecorder prompts(IDNO);
        if (c.ask) CHECK(fncAssistantAsk(ol.application(), c.text) == 0);  // not Yes
        else fncAssistantAlert(ol.application(), c.text);
        REQUIRE(prompts.prompts().size() == 1);
        CHECK(prompts.prompts()[0].text.find(L"Creating Assistant to display message " + std::wstring(c.text)) !=
              std::wstring::npos);
        CHECK(prompts.prompts()[0].text.find(L"438") != std::wstring::npos);
        CHECK(ol.balloons().empty());
        qbxtest::resetAddinState();
    }
    subAssistantWorking(ol.application());
    CHECK(ol.animations() == std::vector<long>{25});
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("list separator: read from the user's regional settings") {
    qbxtest::resetAddinState();
    wchar_t saved[16] = {};
    REQUIRE(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, saved, 16) > 0);
    CHECK(fncGetListSeparator() == saved);
    CHECK(fncGetAction() == L"Getting List separator from computer settings!");
    // A user who changed the separator gets the new one.
    REQUIRE(SetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, L";;"));
    CHECK(fncGetListSeparator() == L";;");
    SetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, saved);
}
