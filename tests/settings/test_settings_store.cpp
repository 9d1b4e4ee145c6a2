// The settings in the mailbox of the test bed's Outlook, persisted to a file
// between runs, and the user property helpers beneath them.
#include <doctest/doctest.h>

#include "settings/cPersonalSettings.h"
#include "settings/modSettingsStore.h"
#include "support/modErroHandling.h"
#include "support/modOutlookCode.h"
#include "tests/mailbox_file.h"
#include "tests/settings/settings_fixture.h"

#include <algorithm>
#include <memory>

using qbx::Variant;
using settingstest::Strings;

namespace {

qbx::Disp com(emu::Object* o) { return qbx::Disp(o->disp()); }

// Sessions of the emulated Outlook over one mailbox file.
class Mailbox : public settingstest::Fixture, public qbxtest::MailboxFile {
public:
    Mailbox() : MailboxFile(L"qbx_settings_") { start(); }
    ~Mailbox() override { stop(); }
    // The add-in's start-up steps for the settings.
    bool startAddin() {
        subFindSettingsFolder();
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        return objPersonalSettings->GetSettings();
    }
    cPersonalSettings& settings() { return *objPersonalSettings; }
    emu::Folder* inbox() const { return ol->defaultFolder(6); }
    // The Inbox's direct subfolders with exactly this name.
    size_t count(const std::wstring& name) const {
        return std::count_if(inbox()->folders->list.begin(), inbox()->folders->list.end(),
                             [&](emu::Folder* f) { return f->name == name; });
    }
    emu::Folder* settingsFolder() const {
        REQUIRE(count(L"QBXSettings") == 1);
        auto& l = inbox()->folders->list;
        return *std::find_if(l.begin(), l.end(), [](emu::Folder* f) { return f->name == L"QBXSettings"; });
    }
    emu::Item* settingsItem() const { return settingsFolder()->contents.at(0); }
    // Adds user properties of one type to an item (a new post item when
    // given a folder) and saves it.
    static void addProps(qbx::Disp item, std::vector<std::pair<std::wstring, Variant>> props, long type = 1) {
        for (const auto& [name, value] : props)
            item.getObj(L"UserProperties").get(L"Add", name, type).toDisp().put(L"Value", value);
        item.call(L"Save");
    }
    static void addPost(emu::Folder* folder, const std::wstring& subject,
                        std::vector<std::pair<std::wstring, Variant>> props = {}) {
        qbx::Disp item = com(folder).getObj(L"Items").get(L"Add", L"IPM.Post").toDisp();
        item.put(L"Subject", subject);
        addProps(item, props);
    }

private:
    void stop() override {
        settingstest::resetAll();  // drops every Outlook reference the add-in holds
        ol.reset();
    }
};

}  // namespace

TEST_CASE_FIXTURE(Mailbox, "first start: the folder and one settings item are made, the settings load as defaults") {
    REQUIRE(startAddin());
    CHECK(objSettingsFolder.sameAs(com(settingsFolder())));
    CHECK(settingsFolder()->contents.size() == 1);
    emu::Item* item = settingsItem();
    CHECK(item->savedClass == L"IPM.Post");
    CHECK(item->savedSubject == L"Quillbox Settings");
    CHECK(item->savedProperties.empty());
    CHECK(settings().DicList.Count() == 0);
    CHECK(settings().strDefaultSite == L"");
    CHECK_FALSE(settings().blnAlwaysDefault);

    restart();
    REQUIRE(startAddin());
    CHECK(settingsFolder()->contents.size() == 1);  // found again, nothing new made
    ReleaseOutlookObjects();
    objPersonalSettings.reset();
    CHECK(ol->references().total() == 0);  // no reference into Outlook is left behind
}

TEST_CASE_FIXTURE(Mailbox, "saved settings come back after a restart, in the same order") {
    REQUIRE(startAddin());
    settings().DicList.FromString(L" http://one/Docs \r\nhttp://Two/Lib\r\nhttp://two/lib\r\n  mid  \r\nhttp://3/x ");
    settings().strDefaultSite = L"http://not/listed";
    settings().blnAlwaysDefault = true;
    REQUIRE(settings().SaveSettings());
    // Text, text and yes/no, made in the fixed order.
    const auto& stored = settingsItem()->savedProperties;
    REQUIRE(stored.size() == 3);
    CHECK((stored[0].name == L"strSites" && stored[0].type == 1));
    CHECK((stored[1].name == L"strDefaultSite" && stored[1].type == 1));
    CHECK((stored[2].name == L"blnAlwaysDefault" && stored[2].type == 6));

    restart();
    REQUIRE(startAddin());
    CHECK(settings().DicList.Items() == Strings{L"http://one/Docs ", L"http://Two/Lib", L"  mid  ", L"http://3/x"});
    CHECK(settings().strDefaultSite == L"http://not/listed");
    CHECK(settings().blnAlwaysDefault);
}

TEST_CASE_FIXTURE(Mailbox, "text can't go into a yes/no property of the same name: reported, nothing saved") {
    REQUIRE(startAddin());
    addProps(com(settingsItem()), {{L"strSites", Variant(true)}}, 6);
    settings().DicList.FromString(L"http://a");
    qbxtest::PromptRecorder prompts(IDNO);
    CHECK_FALSE(settings().SaveSettings());
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(strErrorReport.find(L"Writing the value of the Outlook property strSites") != std::wstring::npos);
    CHECK(strErrorReport.find(L"subSetUserProperty ") != std::wstring::npos);
    CHECK(blnShuttingDown);
    CHECK(settingsItem()->savedProperties.size() == 1);
}

TEST_CASE_FIXTURE(Mailbox, "a renamed settings item is not found and the add-in stops") {
    REQUIRE(startAddin());
    com(settingsItem()).put(L"Subject", L"Quillbox Settings (old)");
    com(settingsItem()).call(L"Save");
    // A second item with the subject: the first the folder yields is the one.
    addPost(settingsFolder(), L"Quillbox Settings", {{L"strDefaultSite", Variant(L"second")}});
    REQUIRE(settings().GetSettings());
    CHECK(settings().strDefaultSite == L"second");
    com(settingsFolder()->contents[1]).call(L"Delete");

    qbxtest::PromptRecorder prompts(IDNO);
    CHECK_FALSE(settings().GetSettings());
    CHECK(prompts.prompts().size() == 1);
    CHECK(blnShuttingDown);  // the release ran
    CHECK_FALSE(objSettingsFolder);
    CHECK_FALSE(ouaOutlook);
}

TEST_CASE_FIXTURE(Mailbox, "only a direct subfolder of the Inbox named exactly QBXSettings counts") {
    emu::Folder* deep = inbox()->folders->add(L"Projects", 6)->folders->add(L"QBXSettings", 6);
    addPost(deep, L"Quillbox Settings", {{L"strSites", Variant(L"http://deep")}});
    REQUIRE(startAddin());
    CHECK(settings().DicList.Count() == 0);  // a new folder under the Inbox, not the deep one
    CHECK(deep->contents.size() == 1);

    com(settingsFolder()).call(L"Delete");
    inbox()->folders->add(L"qbxsettings", 6);
    restart();
    qbxtest::PromptRecorder prompts(IDNO);
    CHECK_FALSE(subFindSettingsFolder());  // not taken; and its name blocks the creation
    CHECK(strErrorReport.find(L"subCreateSettingsItem ") != std::wstring::npos);
    CHECK(count(L"QBXSettings") == 0);
}

TEST_CASE_FIXTURE(Mailbox, "a failed save leaves the stored settings as they were") {
    REQUIRE(startAddin());
    qbxtest::PromptRecorder prompts(IDNO);
    SUBCASE("the item's Save fails") {
        settings().DicList.FromString(L"http://a\r\nhttp://b");
        settings().blnAlwaysDefault = true;
        REQUIRE(settings().SaveSettings());
        settings().DicList.FromString(L"http://c");
        settings().blnAlwaysDefault = false;
        ol->failNext(L"PostItem.Save", 1, emu::errors::kFailed, L"The operation failed.");
        CHECK_FALSE(settings().SaveSettings());
        restart();
        REQUIRE(startAddin());
        CHECK(settings().DicList.Items() == Strings{L"http://a", L"http://b"});
        CHECK(settings().blnAlwaysDefault);
    }
    SUBCASE("the second property can't be made after the first was written") {
        addProps(com(settingsItem()), {{L"strSites", Variant(L"http://old")}});
        settings().DicList.FromString(L"http://new");
        settings().strDefaultSite = L"http://new";
        ol->failNext(L"UserProperties.Add", 1, emu::errors::kFailed, L"The operation failed.");
        CHECK_FALSE(settings().SaveSettings());
        restart();
        REQUIRE(startAddin());
        CHECK(settings().DicList.Items() == Strings{L"http://old"});
        CHECK(settings().strDefaultSite == L"");
    }
    CHECK(prompts.prompts().size() == 1);
}

TEST_CASE_FIXTURE(Mailbox, "user properties: Outlook types, coercions and defaults") {
    addPost(inbox(), L"props");
    qbx::Disp item = com(inbox()->contents.back());  // held by the test only
    auto stored = [&](const wchar_t* name) { return inbox()->contents.back()->properties->find(name); };
    CHECK(subSetUserProperty(item, L"n", Variant(L"12"), VT_I2));
    CHECK(subSetUserProperty(item, L"bad", Variant(L"twelve"), VT_I2));
    CHECK(subSetUserProperty(item, L"d", Variant(L"soon"), VT_DATE));
    CHECK(subSetUserProperty(item, L"s", Variant(42L), VT_BSTR));
    CHECK(subSetUserProperty(item, L"b", Variant(L"True"), VT_BOOL));
    CHECK(subSetUserProperty(item, L"other", Variant(L"x"), VT_I4));
    CHECK((stored(L"n")->type == 3 && stored(L"n")->value.toDouble() == 12.0));
    CHECK(stored(L"bad")->value.toDouble() == 0.0);
    CHECK((stored(L"d")->type == 5 && stored(L"d")->value.toDate() == emu::UserProperty::initialValue(5).toDate()));
    CHECK((stored(L"s")->type == 1 && stored(L"s")->value.toString() == L"42"));
    CHECK((stored(L"b")->type == 6 && stored(L"b")->value.toBool()));
    CHECK_FALSE(stored(L"other"));

    auto get = [&](const wchar_t* name, short code, const Variant& def) {
        return fncGetUserProperty(item, name, code, def);
    };
    CHECK(get(L"n", VT_I2, Variant()).type() == VT_I2);
    CHECK(get(L"missing", VT_BSTR, Variant(L"dflt")).toString() == L"dflt");
    CHECK(get(L"missing", VT_I2, Variant(L"x")).toLong() == 0);
    CHECK(get(L"missing", VT_DATE, Variant(L"x")).raw().date == 0.0);
    CHECK(get(L"missing", VT_BOOL, Variant(L"no")).isEmpty());
    subSetUserProperty(item, L"s", Variant(L""), VT_BSTR);
    CHECK(get(L"s", VT_BSTR, Variant(L"dflt")).toString() == L"dflt");  // empty text takes the default
    CHECK(get(L"s", VT_BOOL, Variant()).isEmpty());  // "" is no Boolean: left empty
    ol->failNext(L"UserProperties.Find", 1, emu::errors::kFailed, L"The operation failed.");
    CHECK(get(L"n", VT_I2, Variant(L"7")).toLong() == 7);  // reading never reports
}
