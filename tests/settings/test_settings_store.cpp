// The settings in the mailbox, on the test bed's Outlook with its mailbox
// persisted to a file between runs: the folder and item made at the first
// start, the three properties written in their fixed order and read back
// after a restart, the lookups that must not take the wrong folder or item,
// and a failed save that leaves the stored settings whole.
#include <doctest/doctest.h>

#include "host/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings/modSettingsStore.h"
#include "support/modErroHandling.h"
#include "testbed/outlook/emulator.h"
#include "tests/settings/settings_fixture.h"
#include "tests/test_support.h"

#include <memory>

using qbx::Variant;

namespace {

using Strings = std::vector<std::wstring>;
const std::wstring CRLF = L"\r\n";

qbx::Disp com(emu::Object* o) { return qbx::Disp(o->disp()); }

// A session of the emulated Outlook over one mailbox file, and the add-in's
// start-up steps for the settings.
class Mailbox : public settingstest::Fixture {
public:
    Mailbox() {
        wchar_t temp[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH + 1, temp);
        static int n = 0;
        file_ = std::wstring(temp) + L"qbx_settings_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                std::to_wstring(++n) + L".mbx";
        DeleteFileW(file_.c_str());
        start();
    }
    ~Mailbox() {
        stop();
        DeleteFileW(file_.c_str());
    }

    // Outlook ends and starts again; the add-in is loaded afresh.
    void restart() {
        stop();
        start();
    }

    // Start-up: find or make the folder, then load the process-wide settings.
    bool startAddin() {
        subFindSettingsFolder();
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        return objPersonalSettings->GetSettings();
    }

    emu::Folder* inbox() const { return ol->defaultFolder(6); }
    // The direct subfolders of a folder with exactly this name.
    static std::vector<emu::Folder*> named(emu::Folder* parent, const std::wstring& name) {
        std::vector<emu::Folder*> out;
        for (emu::Folder* f : parent->folders->list)
            if (f->name == name) out.push_back(f);
        return out;
    }
    emu::Folder* settingsFolder() const {
        auto found = named(inbox(), L"QBXSettings");
        REQUIRE(found.size() == 1);
        return found[0];
    }
    emu::Item* settingsItem() const {
        emu::Folder* f = settingsFolder();
        REQUIRE_FALSE(f->contents.empty());
        return f->contents[0];
    }
    // A stored property of an item, as the mailbox file holds it.
    static const emu::PropertyData* stored(emu::Item* item, const std::wstring& name) {
        for (const auto& p : item->savedProperties)
            if (p.name == name) return &p;
        return nullptr;
    }
    // Adds and saves a post item with text properties through Outlook's own members.
    static qbx::Disp addPost(emu::Folder* folder, const std::wstring& subject,
                             const std::vector<std::pair<std::wstring, Variant>>& props = {}, long type = 1) {
        qbx::Disp item = com(folder).getObj(L"Items").call(L"Add", L"IPM.Post").toDisp();
        item.put(L"Subject", subject);
        for (const auto& [name, value] : props)
            item.getObj(L"UserProperties").call(L"Add", name, type).toDisp().put(L"Value", value);
        item.call(L"Save");
        return item;
    }

    std::unique_ptr<emu::Outlook> ol;

private:
    void start() {
        emu::Knobs k;
        k.mailboxFile = file_;
        ol = std::make_unique<emu::Outlook>(k);
        ouaOutlook = ol->application();
    }
    void stop() {
        settingstest::resetAll();  // releases every Outlook reference the add-in holds
        ol.reset();
    }
    std::wstring file_;
};

}  // namespace

TEST_CASE_FIXTURE(Mailbox, "the first start creates the folder and one settings item and loads the defaults") {
    REQUIRE(startAddin());
    emu::Folder* folder = settingsFolder();
    CHECK(folder->type == 6);
    CHECK(folder->contents.size() == 1);
    CHECK(objSettingsFolder.sameAs(com(folder)));
    emu::Item* item = settingsItem();
    CHECK(item->kind == emu::ItemKind::Post);
    CHECK(item->savedClass == L"IPM.Post");
    CHECK(item->savedSubject == L"Quillbox Settings");
    CHECK(item->savedProperties.empty());  // nothing written until the first save
    CHECK(objPersonalSettings->DicList.Count() == 0);
    CHECK(objPersonalSettings->strDefaultSite == L"");
    CHECK_FALSE(objPersonalSettings->blnAlwaysDefault);

    // The next start finds them and makes nothing new.
    restart();
    REQUIRE(startAddin());
    CHECK(named(inbox(), L"QBXSettings").size() == 1);
    CHECK(settingsFolder()->contents.size() == 1);

    // Once released, the add-in holds no reference into Outlook.
    ReleaseOutlookObjects();
    objPersonalSettings.reset();
    CHECK(ol->references().total() == 0);
}

TEST_CASE_FIXTURE(Mailbox, "saved settings come back after a restart as they were, in the same order") {
    REQUIRE(startAddin());
    cPersonalSettings& s = *objPersonalSettings;
    s.DicList.FromArray([] {
        qbx::SafeArray a = qbx::SafeArray::variants(5);
        const wchar_t* values[] = {L" http://one/Docs ", L"http://Two/Lib", L"http://two/lib", L"  mid  ",
                                   L"http://three/x "};
        VARIANT* cells = nullptr;
        SafeArrayAccessData(a.get(), reinterpret_cast<void**>(&cells));
        for (int i = 0; i < 5; ++i) {
            cells[i].vt = VT_BSTR;
            cells[i].bstrVal = SysAllocString(values[i]);
        }
        SafeArrayUnaccessData(a.get());
        return std::move(a).toVariant(VT_VARIANT);
    }());
    s.strDefaultSite = L"http://not/in/the/list";
    s.blnAlwaysDefault = true;
    REQUIRE(s.SaveSettings());

    // Stored: text, text, yes/no, created in the fixed order.
    emu::Item* item = settingsItem();
    REQUIRE(item->savedProperties.size() == 3);
    CHECK(item->savedProperties[0].name == L"strSites");
    CHECK(item->savedProperties[1].name == L"strDefaultSite");
    CHECK(item->savedProperties[2].name == L"blnAlwaysDefault");
    CHECK(item->savedProperties[0].type == 1);
    CHECK(item->savedProperties[1].type == 1);
    CHECK(item->savedProperties[2].type == 6);
    CHECK(item->savedProperties[0].value.toString() ==
          L"http://one/Docs " + CRLF + L"http://Two/Lib" + CRLF + L"  mid  " + CRLF + L"http://three/x");

    restart();
    REQUIRE(startAddin());
    CHECK(objPersonalSettings->DicList.Items() == Strings{L"http://one/Docs ", L"http://Two/Lib", L"  mid  ",
                                                           L"http://three/x"});
    CHECK(objPersonalSettings->strDefaultSite == L"http://not/in/the/list");  // kept, though not listed
    CHECK(objPersonalSettings->blnAlwaysDefault);

    // A second save overwrites the same three properties.
    objPersonalSettings->DicList.FromString(L"http://only");
    objPersonalSettings->blnAlwaysDefault = false;
    REQUIRE(objPersonalSettings->SaveSettings());
    restart();
    REQUIRE(startAddin());
    CHECK(settingsItem()->savedProperties.size() == 3);
    CHECK(objPersonalSettings->DicList.Items() == Strings{L"http://only"});
    CHECK_FALSE(objPersonalSettings->blnAlwaysDefault);
}

TEST_CASE_FIXTURE(Mailbox, "properties of other kinds read through the coercions and write through the error report") {
    REQUIRE(startAddin());
    SUBCASE("reading: a yes/no under strSites gives its text, a text under blnAlwaysDefault gives False") {
        qbx::Disp item = com(settingsItem());
        auto props = item.getObj(L"UserProperties");
        props.call(L"Add", L"strSites", 6L).toDisp().put(L"Value", true);
        props.call(L"Add", L"blnAlwaysDefault", 1L).toDisp().put(L"Value", L"always");
        item.call(L"Save");
        item.reset();
        props.reset();
        restart();
        REQUIRE(startAddin());
        CHECK(objPersonalSettings->DicList.Items() == Strings{L"True"});
        CHECK_FALSE(objPersonalSettings->blnAlwaysDefault);
    }
    SUBCASE("writing text into a yes/no property is reported, stops the add-in and saves nothing") {
        qbx::Disp item = com(settingsItem());
        item.getObj(L"UserProperties").call(L"Add", L"strSites", 6L);
        item.call(L"Save");
        item.reset();
        objPersonalSettings->DicList.FromString(L"http://a");
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(objPersonalSettings->SaveSettings());
        REQUIRE(prompts.prompts().size() == 1);
        CHECK(strErrorReport.find(L"Writing the value of the Outlook property strSites") != std::wstring::npos);
        CHECK(strErrorReport.find(L"Type mismatch") != std::wstring::npos);
        CHECK(strErrorReport.find(L"subSetUserProperty ") != std::wstring::npos);
        CHECK(blnShuttingDown);
        CHECK_FALSE(objSettingsFolder);
        CHECK_FALSE(ouaOutlook);
        REQUIRE(settingsItem()->savedProperties.size() == 1);
        CHECK(settingsItem()->savedProperties[0].type == 6);
    }
}

TEST_CASE_FIXTURE(Mailbox, "a settings item whose subject was changed is not found and the add-in stops") {
    REQUIRE(startAddin());
    qbx::Disp item = com(settingsItem());
    item.put(L"Subject", L"Quillbox Settings (old)");
    item.call(L"Save");
    item.reset();

    CHECK_FALSE(fncFindSettingsItem());
    CHECK(blnShuttingDown);  // the release ran
    CHECK_FALSE(objSettingsFolder);
    CHECK_FALSE(ouaOutlook);
    CHECK(strCurrentAction == L"Trying to find appointment Quillbox Settings");

    // Loaded again after a restart: the lookup fails, GetSettings reports it.
    restart();
    subFindSettingsFolder();
    CHECK(settingsFolder()->contents.size() == 1);  // the folder exists: nothing is created
    cPersonalSettings settings;
    qbxtest::PromptRecorder prompts(IDNO);
    CHECK_FALSE(settings.GetSettings());
    CHECK(prompts.prompts().size() == 1);
    CHECK(blnShuttingDown);
}

TEST_CASE_FIXTURE(Mailbox, "with two settings items the first the folder yields is used") {
    REQUIRE(startAddin());
    addPost(settingsFolder(), L"Quillbox Settings", {{L"strDefaultSite", Variant(L"http://second")}});
    restart();
    REQUIRE(startAddin());
    CHECK(objPersonalSettings->strDefaultSite == L"");
}

TEST_CASE_FIXTURE(Mailbox, "only a direct subfolder of the Inbox named exactly QBXSettings is the settings folder") {
    SUBCASE("a folder deeper in the tree is passed over; a new one is made under the Inbox") {
        emu::Folder* deep = inbox()->folders->add(L"Projects", 6)->folders->add(L"QBXSettings", 6);
        addPost(deep, L"Quillbox Settings", {{L"strSites", Variant(L"http://deep")}});
        REQUIRE(startAddin());
        CHECK(objSettingsFolder.sameAs(com(settingsFolder())));
        CHECK(objPersonalSettings->DicList.Count() == 0);
        CHECK(deep->contents.size() == 1);
    }
    SUBCASE("qbxsettings is another folder; the name is taken, so creation fails and is reported") {
        emu::Folder* lower = inbox()->folders->add(L"qbxsettings", 6);
        addPost(lower, L"Quillbox Settings", {{L"strSites", Variant(L"http://lower")}});
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(subFindSettingsFolder());
        REQUIRE(prompts.prompts().size() == 1);
        CHECK(strErrorReport.find(L"subCreateSettingsItem ") != std::wstring::npos);
        CHECK_FALSE(objSettingsFolder);
        CHECK(named(inbox(), L"QBXSettings").empty());
        CHECK(lower->contents.size() == 1);
    }
}

TEST_CASE_FIXTURE(Mailbox, "nothing is lost when a save fails") {
    REQUIRE(startAddin());
    SUBCASE("the item's Save fails after all three writes") {
        objPersonalSettings->DicList.FromString(L"http://a" + CRLF + L"http://b");
        objPersonalSettings->strDefaultSite = L"http://a";
        objPersonalSettings->blnAlwaysDefault = true;
        REQUIRE(objPersonalSettings->SaveSettings());

        objPersonalSettings->DicList.FromString(L"http://c");
        objPersonalSettings->strDefaultSite = L"http://c";
        objPersonalSettings->blnAlwaysDefault = false;
        ol->failNext(L"PostItem.Save", 1, emu::errors::kFailed, L"The operation failed.");
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(objPersonalSettings->SaveSettings());
        CHECK(prompts.prompts().size() == 1);
        CHECK(strErrorReport.find(L"SaveSettings ") != std::wstring::npos);

        restart();
        REQUIRE(startAddin());
        CHECK(objPersonalSettings->DicList.Items() == Strings{L"http://a", L"http://b"});
        CHECK(objPersonalSettings->strDefaultSite == L"http://a");
        CHECK(objPersonalSettings->blnAlwaysDefault);
    }
    SUBCASE("the second property can't be created after the first was written") {
        addPost(settingsFolder(), L"unrelated");  // Find must not be confused by other items
        qbx::Disp item = com(settingsItem());
        item.getObj(L"UserProperties").call(L"Add", L"strSites", 1L).toDisp().put(L"Value", L"http://old");
        item.call(L"Save");
        item.reset();

        objPersonalSettings->DicList.FromString(L"http://new");
        objPersonalSettings->strDefaultSite = L"http://new";
        ol->failNext(L"UserProperties.Add", 1, emu::errors::kFailed, L"The operation failed.");
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(objPersonalSettings->SaveSettings());
        CHECK(prompts.prompts().size() == 1);
        CHECK(strErrorReport.find(L"Writing the value of the Outlook property strDefaultSite") != std::wstring::npos);

        restart();
        REQUIRE(startAddin());
        CHECK(objPersonalSettings->DicList.Items() == Strings{L"http://old"});
        CHECK(objPersonalSettings->strDefaultSite == L"");
        CHECK(settingsItem()->savedProperties.size() == 1);
    }
}
