// The library chooser, driven through window messages: loading, the live
// address and its five-character rule, the two modes, OK and Cancel, the
// inspector's activation and the task bar.
#include <doctest/doctest.h>

#include "attachments/frmChooseSite.h"
#include "host/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings_ui/modXPlooks.h"
#include "support/dispatch_object.h"
#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "tests/attachments/test_chooser_util.h"
#include "tests/test_support.h"

#include <memory>

using namespace choosertest;

namespace {

const std::wstring kSiteA = L"http://sp.test/sites/a/Shared%20Documents";
const std::wstring kSiteB = L"http://sp.test/sites/b/Docs/";
const std::wstring kSiteC = L"http://sp.test/sites/c/Lib";
const std::wstring kFile = L"report%202024.doc";  // as the caller hands it over: converted

// English phrases and a personal settings object with three libraries (and a
// blank entry, which the list leaves out), B being the default.
struct ChooserSetup {
    explicit ChooserSetup(const std::wstring& sites = kSiteA + L"\r\n" + kSiteB + L"\r\n   \r\n" + kSiteC,
                          const std::wstring& defaultSite = kSiteB) {
        qbxtest::resetAddinState();
        subSetPhrases(4);
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        objPersonalSettings->DicList.FromString(sites);
        objPersonalSettings->strDefaultSite = defaultSite;
    }
    ~ChooserSetup() {
        subSetChooserOpenedHook({});
        subSetChooserAnswerHook({});
        objPersonalSettings.reset();
        ouaOutlook.reset();
        qbxtest::resetAddinState();
    }
};

std::wstring listEntry(frmChooseSite& form, int index) {
    HWND list = form.control(IDC_LSTSITES);
    wchar_t buf[1024] = {};
    SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(buf));
    return buf;
}

// Outlook's application with an active window of the given type.
class FakeWindow final : public qbx::DispatchObject {
public:
    explicit FakeWindow(const std::wstring& type) : DispatchObject(type) {
        method(L"Activate", [this](qbx::Args&) { ++activations; return qbx::Variant(); });
    }
    int activations = 0;
};

class FakeApplication final : public qbx::DispatchObject {
public:
    explicit FakeApplication(qbx::ComPtr<FakeWindow> window) : DispatchObject(L"Application"), window_(window) {
        property(L"ActiveWindow", [this](qbx::Args&) { return qbx::Variant(static_cast<IDispatch*>(window_.get())); });
    }

private:
    qbx::ComPtr<FakeWindow> window_;
};

}  // namespace

TEST_CASE("chooser: opens in list mode on the configured libraries, the default picked and its address shown") {
    ChooserSetup setup;
    frmChooseSite form;
    form.strSitePath = kFile;
    REQUIRE(form.Load());

    SUBCASE("the list holds the libraries in their order, without the blank one, the default selected") {
        HWND list = form.control(IDC_LSTSITES);
        REQUIRE(SendMessageW(list, LB_GETCOUNT, 0, 0) == 3);
        CHECK(listEntry(form, 0) == kSiteA);
        CHECK(listEntry(form, 1) == kSiteB);
        CHECK(listEntry(form, 2) == kSiteC);
        CHECK(SendMessageW(list, LB_GETCURSEL, 0, 0) == 1);
    }
    SUBCASE("the file name is shown and the default's address is built at once") {
        CHECK(text(form.control(IDC_TXTFILENAME)) == kFile);
        const std::wstring address = L"http://sp.test/sites/b/Docs/" + kFile;
        CHECK(text(form.control(IDC_LBLRESULT)) == address);
        CHECK(form.strSitePath == address);
    }
    SUBCASE("list mode: the list side can be used, the new-library side can't") {
        CHECK(checked(form, IDC_OPTPREDEFINED));
        CHECK_FALSE(checked(form, IDC_OPTNEW));
        for (int id : {IDC_FRAPREDEFINED, IDC_LSTSITES, IDC_CHKDEFAULT}) CHECK(enabled(form, id));
        for (int id : {IDC_FRANEWSITE, IDC_TXTNEWSITE, IDC_CHKADD}) CHECK_FALSE(enabled(form, id));
        CHECK_FALSE(checked(form, IDC_CHKDEFAULT));
    }
    SUBCASE("captions come from the phrases; the dialog is on the task bar; the frames and boxes are coloured") {
        CHECK(text(form.hWnd()) == L"Choose");
        CHECK(text(form.control(IDC_FRAPREDEFINED)) == L"Predefined");
        CHECK(text(form.control(IDC_LBLSITE)) == L"Document libraries");
        CHECK(text(form.control(IDC_CHKADD)) == L"Add");
        CHECK(text(form.control(IDCANCEL)) == L"Cancel");
        CHECK((GetWindowLongW(form.hWnd(), GWL_EXSTYLE) & WS_EX_APPWINDOW) != 0);
        // Sampled from the dialog's own background before it was on screen.
        for (int id : {IDC_FRAPREDEFINED, IDC_OPTPREDEFINED, IDC_CHKDEFAULT, IDC_FRANEWSITE, IDC_OPTNEW, IDC_CHKADD})
            CHECK(fncGetControlBackColor(form.control(id)) == GetSysColor(COLOR_3DFACE));
    }
    SUBCASE("a library list without the default selects nothing and builds no address") {
        form.Unload();
        objPersonalSettings->strDefaultSite = L"http://elsewhere.test/lib";
        form.strSitePath = kFile;
        REQUIRE(form.Load());
        CHECK(SendMessageW(form.control(IDC_LSTSITES), LB_GETCURSEL, 0, 0) == LB_ERR);
        CHECK(text(form.control(IDC_LBLRESULT)).empty());
        CHECK(form.strSitePath == kFile);
    }
}

TEST_CASE("chooser: a typed library makes an address only from its fifth character on") {
    ChooserSetup setup;
    frmChooseSite form;
    form.strSitePath = kFile;
    REQUIRE(form.Load());
    const std::wstring listAddress = L"http://sp.test/sites/b/Docs/" + kFile;

    click(form, IDC_OPTNEW);
    CHECK(checked(form, IDC_OPTNEW));
    CHECK_FALSE(checked(form, IDC_OPTPREDEFINED));
    for (int id : {IDC_FRANEWSITE, IDC_TXTNEWSITE, IDC_CHKADD}) CHECK(enabled(form, id));
    for (int id : {IDC_FRAPREDEFINED, IDC_LSTSITES, IDC_CHKDEFAULT}) CHECK_FALSE(enabled(form, id));

    HWND site = form.control(IDC_TXTNEWSITE);
    type(site, L"http");
    CHECK(text(site) == L"http");
    CHECK(text(form.control(IDC_LBLRESULT)) == listAddress);
    CHECK(form.strSitePath == listAddress);

    type(site, L"s");
    CHECK(text(form.control(IDC_LBLRESULT)) == L"https/" + kFile);
    CHECK(form.strSitePath == L"https/" + kFile);

    type(site, L"://sp.test/new lib/");
    const std::wstring typedAddress = L"https://sp.test/new%20lib/" + kFile;
    CHECK(form.strSitePath == typedAddress);
    CHECK(text(form.control(IDC_LBLRESULT)) == typedAddress);

    SUBCASE("cut back below five characters, the last address stays") {
        replaceText(site, L"ftp:");
        CHECK(form.strSitePath == typedAddress);
        CHECK(text(form.control(IDC_LBLRESULT)) == typedAddress);
    }
    SUBCASE("back in list mode the selected library's address returns") {
        click(form, IDC_OPTPREDEFINED);
        CHECK(checked(form, IDC_OPTPREDEFINED));
        CHECK_FALSE(checked(form, IDC_OPTNEW));
        CHECK_FALSE(enabled(form, IDC_TXTNEWSITE));
        CHECK(form.strSitePath == listAddress);
    }
}

TEST_CASE("chooser: the address follows the list and the file name") {
    ChooserSetup setup(L"http://sp.test/a/Docs/\r\nhttp://sp.test/a/Docs\r\nhttp://sp.test/a/Docs\\", L"");
    frmChooseSite form;
    form.strSitePath = L"report.doc";
    REQUIRE(form.Load());

    SUBCASE("an entry with a trailing separator and one without give the same address") {
        for (int i = 0; i < 3; ++i) {
            CAPTURE(i);
            selectEntry(form, i);
            CHECK(form.strSitePath == std::wstring(L"http://sp.test/a/Docs/report.doc"));
            CHECK(text(form.control(IDC_LBLRESULT)) == std::wstring(L"http://sp.test/a/Docs/report.doc"));
        }
    }
    SUBCASE("an edited file name rebuilds the address, which goes through the entity conversion") {
        selectEntry(form, 1);
        replaceText(form.control(IDC_TXTFILENAME), L"Q&A #1.doc");
        CHECK(form.strSitePath == std::wstring(L"http://sp.test/a/Docs/Q&amp;A%201.doc"));
    }
}

TEST_CASE("chooser: Cancel gives empty text whatever was built, and saves nothing") {
    ChooserSetup setup;
    const std::wstring sitesBefore = objPersonalSettings->DicList.ToString();

    SUBCASE("the Cancel button, after a library was typed and Add checked") {
        std::wstring built;
        std::wstring result = chooseModally(kFile, [&](frmChooseSite& form) {
            click(form, IDC_OPTNEW);
            type(form.control(IDC_TXTNEWSITE), L"http://sp.test/typed");
            click(form, IDC_CHKADD);
            built = form.strSitePath;
            postClick(form, IDCANCEL);
        });
        CHECK(built == L"http://sp.test/typed/" + kFile);
        CHECK(result.empty());
    }
    SUBCASE("the window's close box, after Default was checked") {
        std::wstring result = chooseModally(kFile, [&](frmChooseSite& form) {
            selectEntry(form, 0);
            click(form, IDC_CHKDEFAULT);
            PostMessageW(form.hWnd(), WM_CLOSE, 0, 0);
        });
        CHECK(result.empty());
    }
    CHECK(objPersonalSettings->strDefaultSite == kSiteB);
    CHECK(objPersonalSettings->DicList.ToString() == sitesBefore);
}

TEST_CASE("chooser: OK hands back the address as it stands") {
    ChooserSetup setup;
    // Neither Default nor Add is checked: the settings stay as they were.
    auto settingsUnchanged = [] {
        CHECK(objPersonalSettings->strDefaultSite == kSiteB);
        CHECK(objPersonalSettings->DicList.Count() == 4);
    };
    SUBCASE("the picked library's address") {
        std::wstring result = chooseModally(kFile, [&](frmChooseSite& form) {
            selectEntry(form, 2);
            postClick(form, IDOK);
        });
        CHECK(result == kSiteC + L"/" + kFile);
        settingsUnchanged();
    }
    SUBCASE("a double click on a library is OK") {
        std::wstring result = chooseModally(kFile, [&](frmChooseSite& form) { doubleClickEntry(form, 0); });
        CHECK(result == kSiteA + L"/" + kFile);
        settingsUnchanged();
    }
    SUBCASE("with no address built, the file name given") {
        objPersonalSettings->strDefaultSite.clear();
        std::wstring result = chooseModally(kFile, [&](frmChooseSite& form) { postClick(form, IDOK); });
        CHECK(result == kFile);
    }
}

TEST_CASE("chooser: a load that fails is reported and asks nothing") {
    ChooserSetup setup;
    objPersonalSettings.reset();
    qbxtest::PromptRecorder prompts;
    bool opened = false;
    subSetChooserOpenedHook([&](frmChooseSite& form) {
        opened = true;
        EndDialog(form.hWnd(), IDCANCEL);
    });
    CHECK(fncChooseSite(kFile).empty());
    CHECK_FALSE(opened);
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text.find(L"Form_Load") != std::wstring::npos);
    CHECK(blnShuttingDown);
}

TEST_CASE("chooser: Outlook's mail window comes forward when it is the active one") {
    ChooserSetup setup;
    SUBCASE("an inspector is activated") {
        auto inspector = qbx::makeObject<FakeWindow>(L"Inspector");
        ouaOutlook = qbx::Disp(static_cast<IDispatch*>(qbx::makeObject<FakeApplication>(inspector).get()));
        frmChooseSite form;
        REQUIRE(form.Load());
        CHECK(inspector->activations == 1);
    }
    SUBCASE("an explorer is left alone") {
        auto explorer = qbx::makeObject<FakeWindow>(L"Explorer");
        ouaOutlook = qbx::Disp(static_cast<IDispatch*>(qbx::makeObject<FakeApplication>(explorer).get()));
        frmChooseSite form;
        REQUIRE(form.Load());
        CHECK(explorer->activations == 0);
    }
}

TEST_CASE("chooser: Timer1 puts the dialog back on the task bar") {
    ChooserSetup setup;
    frmChooseSite form;
    REQUIRE(form.Load());
    HWND dialog = form.hWnd();
    SetWindowLongW(dialog, GWL_EXSTYLE, GetWindowLongW(dialog, GWL_EXSTYLE) & ~WS_EX_APPWINDOW);
    pump(frmChooseSite::kTimer1Interval + 400);
    CHECK((GetWindowLongW(dialog, GWL_EXSTYLE) & WS_EX_APPWINDOW) != 0);
}

TEST_CASE("chooser: the answer hook stands in for the dialog") {
    ChooserSetup setup;
    subSetChooserAnswerHook([](const std::wstring& name) { return L"http://hooked.test/lib/" + name; });
    CHECK(fncChooseSite(kFile) == L"http://hooked.test/lib/" + kFile);
}
