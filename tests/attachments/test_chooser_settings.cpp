// What OK changes in the settings, on the test bed's Outlook with its mailbox
// kept in a file: the picked library made the default, a typed library added
// to the list, both still there after Outlook has been restarted; nothing
// changed without the check boxes.
#include <doctest/doctest.h>

#include "attachments/frmChooseSite.h"
#include "host/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings/modSettingsStore.h"
#include "support/modLanguage.h"
#include "testbed/outlook/emulator.h"
#include "tests/attachments/test_chooser_util.h"
#include "tests/test_support.h"

#include <algorithm>
#include <memory>

using namespace choosertest;

namespace {

const std::wstring kSiteA = L"http://sp.test/sites/a/Docs";
const std::wstring kSiteB = L"http://sp.test/sites/b/Docs/";
const std::wstring kSiteC = L"http://sp.test/sites/c/Lib";
const std::wstring kFile = L"plan.doc";

// Sessions of the emulated Outlook over one mailbox file, with the add-in's
// settings loaded at each start as the start-up does. The first session
// stores three libraries with B as the default.
class Mailbox {
public:
    Mailbox() {
        wchar_t temp[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH + 1, temp);
        static int n = 0;
        file_ = std::wstring(temp) + L"qbx_chooser_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                std::to_wstring(++n) + L".mbx";
        DeleteFileW(file_.c_str());
        start();
        objPersonalSettings->DicList.FromString(kSiteA + L"\r\n" + kSiteB + L"\r\n" + kSiteC);
        objPersonalSettings->strDefaultSite = kSiteB;
        REQUIRE(objPersonalSettings->SaveSettings());
    }
    ~Mailbox() {
        stop();
        DeleteFileW(file_.c_str());
    }
    // Outlook ends and starts again; the settings are read afresh.
    void restart() {
        stop();
        start();
    }
    std::unique_ptr<emu::Outlook> ol;

private:
    void start() {
        qbxtest::resetAddinState();
        subSetPhrases(4);
        emu::Knobs k;
        k.mailboxFile = file_;
        ol = std::make_unique<emu::Outlook>(k);
        ouaOutlook = ol->application();
        REQUIRE(subFindSettingsFolder());
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        REQUIRE(objPersonalSettings->GetSettings());
    }
    void stop() {
        subSetChooserOpenedHook({});
        objPersonalSettings.reset();
        qbxtest::resetAddinState();  // lets go of every Outlook reference
        ol.reset();
    }
    std::wstring file_;
};

}  // namespace

TEST_CASE("chooser settings: OK with Default checked makes the picked library the default, after a restart too") {
    Mailbox mailbox;
    std::wstring result = chooseModally(kFile, [&](frmChooseSite& form) {
        selectEntry(form, 2);
        click(form, IDC_CHKDEFAULT);
        postClick(form, IDOK);
    });
    CHECK(result == kSiteC + L"/" + kFile);
    CHECK(objPersonalSettings->strDefaultSite == kSiteC);

    mailbox.restart();
    CHECK(objPersonalSettings->strDefaultSite == kSiteC);
    CHECK(objPersonalSettings->DicList.ToString() == kSiteA + L"\r\n" + kSiteB + L"\r\n" + kSiteC);
}

TEST_CASE("chooser settings: OK with Add checked adds the typed library to the list, after a restart too") {
    Mailbox mailbox;
    const std::wstring typed = L"http://sp.test/sites/d/New Library/";
    std::wstring result = chooseModally(kFile, [&](frmChooseSite& form) {
        click(form, IDC_OPTNEW);
        type(form.control(IDC_TXTNEWSITE), typed);
        click(form, IDC_CHKADD);
        postClick(form, IDOK);
    });
    CHECK(result == L"http://sp.test/sites/d/New%20Library/" + kFile);

    mailbox.restart();
    const std::vector<std::wstring> items = objPersonalSettings->DicList.Items();
    REQUIRE(items.size() == 4);
    CHECK(items[3] == typed);  // as typed, at the end
    CHECK(objPersonalSettings->strDefaultSite == kSiteB);
}

TEST_CASE("chooser settings: without the check boxes, or with a library already listed, the list stays as it was") {
    Mailbox mailbox;
    SUBCASE("a typed library without Add") {
        chooseModally(kFile, [&](frmChooseSite& form) {
            click(form, IDC_OPTNEW);
            type(form.control(IDC_TXTNEWSITE), L"http://sp.test/sites/e/Other");
            postClick(form, IDOK);
        });
    }
    SUBCASE("a listed library typed again in other letter case, with Add") {
        chooseModally(kFile, [&](frmChooseSite& form) {
            click(form, IDC_OPTNEW);
            type(form.control(IDC_TXTNEWSITE), L"HTTP://SP.TEST/SITES/A/DOCS");
            click(form, IDC_CHKADD);
            postClick(form, IDOK);
        });
    }
    SUBCASE("Add checked in list mode counts for nothing") {
        chooseModally(kFile, [&](frmChooseSite& form) {
            EnableWindow(form.control(IDC_CHKADD), TRUE);
            click(form, IDC_CHKADD);
            selectEntry(form, 0);
            postClick(form, IDOK);
        });
    }
    mailbox.restart();
    CHECK(objPersonalSettings->DicList.ToString() == kSiteA + L"\r\n" + kSiteB + L"\r\n" + kSiteC);
    CHECK(objPersonalSettings->strDefaultSite == kSiteB);
}

TEST_CASE("chooser settings: opened from a mail window, the chooser brings that window forward") {
    Mailbox mailbox;
    mailbox.ol->openCompose();
    mailbox.ol->clearCallLog();
    chooseModally(kFile, [&](frmChooseSite& form) { postClick(form, IDCANCEL); });
    const auto& calls = mailbox.ol->callLog();
    CHECK(std::count(calls.begin(), calls.end(), L"Inspector.Activate") == 1);
}
