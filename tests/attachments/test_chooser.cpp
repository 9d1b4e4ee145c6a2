// The library chooser on the test bed's Outlook, its mailbox kept in a file:
// loading, the live address and its five-character rule, the two modes, OK
// (with what it saves, read back after Outlook restarts) and Cancel.
#include <doctest/doctest.h>

#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings/modSettingsStore.h"
#include "support/modLanguage.h"
#include "tests/mailbox_file.h"
#include "tests/attachments/test_chooser_util.h"
#include "attachments/frmChooseSite_testing.h"

#include <algorithm>
#include <memory>

using namespace choosertest;

namespace {

const std::wstring kSiteA = L"http://sp.test/sites/a/Docs";
const std::wstring kSiteB = L"http://sp.test/sites/b/Docs/";
const std::wstring kSiteC = L"http://sp.test/sites/c/Lib";
const std::wstring kSites = kSiteA + L"\r\n" + kSiteB + L"\r\n" + kSiteC;
const std::wstring kFile = L"plan%202024.doc";  // as the caller hands it over: converted

// Sessions of the emulated Outlook over one mailbox, the settings loaded at
// each start as the start-up does; stored at first: A, B, C with B the default.
class Mailbox : public qbxtest::MailboxFile {
public:
    Mailbox() : MailboxFile(L"qbx_chooser_") {
        start();
        objPersonalSettings->DicList.FromString(kSites);
        objPersonalSettings->strDefaultSite = kSiteB;
        REQUIRE(objPersonalSettings->SaveSettings());
    }
    ~Mailbox() override { stop(); }

private:
    void start() override {
        qbxtest::resetAddinState();
        subSetPhrases(4);
        MailboxFile::start();
        REQUIRE(subFindSettingsFolder());
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        REQUIRE(objPersonalSettings->GetSettings());
    }
    void stop() override {
        objPersonalSettings.reset();
        qbxtest::resetAddinState();  // lets go of every Outlook reference
        ol.reset();
    }
};

bool enabled(frmChooseSite& form, int id) { return IsWindowEnabled(form.control(id)) != FALSE; }
bool checked(frmChooseSite& form, int id) { return IsDlgButtonChecked(form.hWnd(), id) == BST_CHECKED; }

}  // namespace

TEST_CASE_FIXTURE(Mailbox, "chooser: opens over the mail window in list mode, the default picked and its address shown") {
    ol->openCompose();
    ol->clearCallLog();
    objPersonalSettings->DicList.FromString(kSites + L"\r\n   ");  // a blank entry is not listed
    frmChooseSite form;
    form.strSitePath = kFile;
    REQUIRE(form.Load());

    HWND list = form.control(IDC_LSTSITES);
    REQUIRE(SendMessageW(list, LB_GETCOUNT, 0, 0) == 3);
    CHECK(SendMessageW(list, LB_GETCURSEL, 0, 0) == 1);
    CHECK(windowText(form.control(IDC_TXTFILENAME)) == kFile);
    CHECK(form.strSitePath == kSiteB + kFile);
    CHECK(windowText(form.control(IDC_LBLRESULT)) == kSiteB + kFile);
    CHECK(checked(form, IDC_OPTPREDEFINED));
    for (int id : {IDC_FRAPREDEFINED, IDC_LSTSITES, IDC_CHKDEFAULT}) CHECK(enabled(form, id));
    for (int id : {IDC_FRANEWSITE, IDC_TXTNEWSITE, IDC_CHKADD}) CHECK_FALSE(enabled(form, id));
    CHECK((GetWindowLongW(form.hWnd(), GWL_EXSTYLE) & WS_EX_APPWINDOW) != 0);
    CHECK(std::count(ol->callLog().begin(), ol->callLog().end(), L"Inspector.Activate") == 1);
}

TEST_CASE_FIXTURE(Mailbox, "chooser: a typed library makes an address only from its fifth character on") {
    frmChooseSite form;
    form.strSitePath = kFile;
    REQUIRE(form.Load());
    click(form, IDC_OPTNEW);
    CHECK_FALSE(checked(form, IDC_OPTPREDEFINED));
    CHECK(enabled(form, IDC_TXTNEWSITE));
    CHECK_FALSE(enabled(form, IDC_LSTSITES));

    HWND site = form.control(IDC_TXTNEWSITE);
    type(site, L"http");
    CHECK(form.strSitePath == kSiteB + kFile);
    CHECK(windowText(form.control(IDC_LBLRESULT)) == kSiteB + kFile);
    type(site, L"s");
    CHECK(windowText(form.control(IDC_LBLRESULT)) == L"https/" + kFile);
    type(site, L"://sp.test/new lib/");
    CHECK(form.strSitePath == L"https://sp.test/new%20lib/" + kFile);

    click(form, IDC_OPTPREDEFINED);  // back to the list: its address again
    CHECK(form.strSitePath == kSiteB + kFile);
}

TEST_CASE_FIXTURE(Mailbox, "chooser: entries with and without a trailing separator give the same address") {
    objPersonalSettings->DicList.FromString(L"http://sp.test/a/Docs/\r\nhttp://sp.test/a/Docs\r\nhttp://sp.test/a/Docs\\");
    frmChooseSite form;
    form.strSitePath = L"report.doc";
    REQUIRE(form.Load());
    for (int i = 0; i < 3; ++i) {
        selectEntry(form, i);
        CHECK(form.strSitePath == std::wstring(L"http://sp.test/a/Docs/report.doc"));
    }
    // An edited file name rebuilds it, through the entity conversion.
    SetWindowTextW(form.control(IDC_TXTFILENAME), L"Q&A #1.doc");
    CHECK(form.strSitePath == std::wstring(L"http://sp.test/a/Docs/Q&amp;A%201.doc"));
}

TEST_CASE_FIXTURE(Mailbox, "chooser: Cancel gives empty text whatever was built, and saves nothing") {
    SUBCASE("the Cancel button after a library was typed and Add checked") {
        CHECK(chooseModally(kFile, [](frmChooseSite& form) {
                  click(form, IDC_OPTNEW);
                  type(form.control(IDC_TXTNEWSITE), L"http://sp.test/typed");
                  click(form, IDC_CHKADD);
                  click(form, IDCANCEL, true);
              }).empty());
    }
    SUBCASE("the close box after Default was checked") {
        CHECK(chooseModally(kFile, [](frmChooseSite& form) {
                  selectEntry(form, 0);
                  click(form, IDC_CHKDEFAULT);
                  PostMessageW(form.hWnd(), WM_CLOSE, 0, 0);
              }).empty());
    }
    restart();
    CHECK(objPersonalSettings->DicList.ToString() == kSites);
    CHECK(objPersonalSettings->strDefaultSite == kSiteB);
}

TEST_CASE_FIXTURE(Mailbox, "chooser: OK with Default checked makes the picked library the default, after a restart too") {
    std::wstring result = chooseModally(kFile, [](frmChooseSite& form) {
        selectEntry(form, 2);
        click(form, IDC_CHKDEFAULT);
        click(form, IDOK, true);
    });
    CHECK(result == kSiteC + L"/" + kFile);
    restart();
    CHECK(objPersonalSettings->strDefaultSite == kSiteC);
    CHECK(objPersonalSettings->DicList.ToString() == kSites);
}

TEST_CASE_FIXTURE(Mailbox, "chooser: OK with Add checked adds the typed library once, after a restart too") {
    auto addTyped = [](const std::wstring& typed) {
        return chooseModally(kFile, [&](frmChooseSite& form) {
            click(form, IDC_OPTNEW);
            type(form.control(IDC_TXTNEWSITE), typed);
            click(form, IDC_CHKADD);
            click(form, IDOK, true);
        });
    };
    CHECK(addTyped(L"http://sp.test/d/New Lib/") == L"http://sp.test/d/New%20Lib/" + kFile);
    CHECK(addTyped(L"HTTP://SP.TEST/SITES/A/DOCS") == L"HTTP://SP.TEST/SITES/A/DOCS/" + kFile);  // listed already
    restart();
    CHECK(objPersonalSettings->DicList.ToString() == kSites + L"\r\nhttp://sp.test/d/New Lib/");
    // A double click is OK too, and without Add nothing is added.
    CHECK(chooseModally(kFile, [](frmChooseSite& form) { selectEntry(form, 0, LBN_DBLCLK); }) == kSiteA + L"/" + kFile);
    CHECK(objPersonalSettings->DicList.Count() == 4);
}

TEST_CASE_FIXTURE(Mailbox, "chooser: a load that fails is reported and asks nothing") {
    objPersonalSettings.reset();
    qbxtest::PromptRecorder prompts;
    bool opened = false;
    subSetChooserOpenedHook([&](frmChooseSite&) { opened = true; });
    CHECK(fncChooseSite(kFile).empty());
    subSetChooserOpenedHook({});
    CHECK_FALSE(opened);
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text.find(L"Form_Load") != std::wstring::npos);
}

TEST_CASE_FIXTURE(Mailbox, "chooser: the action trails of loading, the mode switches, the address and OK") {
    qbxtest::TrailLog trail;
    chooseModally(kFile, [](frmChooseSite& form) {
        click(form, IDC_OPTNEW);
        click(form, IDC_OPTPREDEFINED);
        selectEntry(form, 1);
        click(form, IDOK, true);
    });
    CHECK(qbxtest::narrow(trail.firstMissing({
              L"Opening settings form",
              L"Setting captions on form controls",
              L"Handlling optPreDefined_Click",
              L"Trying to make sure the form appears in the Activity bar",
              L"Handlling optNew_Click",
              L"Handlling optPreDefined_Click",
              L"Building string to the site",
              L"Saving settings chosen on form",
          })) == "");
}
