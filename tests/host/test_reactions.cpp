// The add-in in the emulated Outlook: start-up with and without the settings
// folder and when it can't be made, one object per mail window and the
// pruning of closed ones, the command-bar button, the ribbon, and what the
// add-in still holds once Outlook has shut it down.
#include <doctest/doctest.h>

#include "attachments/cMailInspector.h"
#include "attachments/cMailInspector_testing.h"
#include "host/QBXOutlookConnect.h"
#include "host/cOutlookReactions.h"
#include "support/modGlobals.h"
#include "host/ribbon.h"
#include "settings/cPersonalSettings.h"
#include "settings_ui/modSettingsWindow.h"
#include "settings_ui/modSettingsWindow_testing.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "testbed/outlook/emulator.h"
#include "tests/test_support.h"

#include <algorithm>

namespace {

// One Outlook session with the add-in connected as Outlook connects it.
struct Session {
    emu::Outlook ol;
    qbx::ComPtr<IDTExtensibility2> addin{new QBXOutlookConnect()};
    std::vector<qbx::Disp> opened;  // the mails the settings window was opened for

    explicit Session(emu::Knobs knobs = {}) : ol(knobs) {
        qbxtest::resetAddinState();
        REQUIRE(ol.connectAddin(addin.get()));
        subSetSettingsWindowHook([this](const qbx::Disp& mail) { opened.push_back(mail); });
    }
    ~Session() { subSetSettingsWindowHook(nullptr); }

    std::vector<emu::Folder*> settingsFolders() const {
        std::vector<emu::Folder*> r;
        for (emu::Folder* f : ol.defaultFolder(6)->folders->list)
            if (f->name == L"QBXSettings") r.push_back(f);
        return r;
    }
    static std::vector<qbx::ComPtr<cMailInspector>>& wrappers() {
        REQUIRE(objOutlookReactions);
        return objOutlookReactions->colInspectors;
    }
    // The live buttons carrying the add-in's tag on a window's "Standard" bar.
    static std::vector<emu::CommandBarButton*> ourButtons(emu::Inspector* w) {
        std::vector<emu::CommandBarButton*> r;
        for (emu::CommandBarButton* b : w->bars->find(L"Standard")->controls->list)
            if (!b->deleted && b->tag == L"OSAttachments") r.push_back(b);
        return r;
    }
};

template <class T>
T* ours(const qbx::Disp& d) {
    return emu::ours<T>(qbx::Variant(d));
}

std::string holders(const emu::References& r) {
    std::string s;
    for (const auto& h : r.holders) s += qbxtest::narrow(h) + "; ";
    return s;
}

}  // namespace

TEST_CASE("start-up finds or creates the settings folder, loads the settings and listens for windows") {
    Session s;
    SUBCASE("a folder left by an earlier session is used") {
        qbx::Disp folder =
            s.ol.nameSpace().getObj(L"GetDefaultFolder", 6).getObj(L"Folders").get(L"Add", L"QBXSettings", 6).toDisp();
        qbx::Disp item = folder.getObj(L"Items").get(L"Add", L"IPM.Post").toDisp();
        item.put(L"Subject", L"Quillbox Settings");
        item.getObj(L"UserProperties").get(L"Add", L"strDefaultSite", 1).toDisp().put(L"Value", L"http://x/Docs");
        item.call(L"Save");
        s.ol.fireStartup();
        REQUIRE(objPersonalSettings);
        CHECK(objPersonalSettings->strDefaultSite == L"http://x/Docs");
    }
    SUBCASE("without one, folder and item are made") {
        s.ol.fireStartup();
        REQUIRE(s.settingsFolders().size() == 1);
        REQUIRE(s.settingsFolders()[0]->contents.size() == 1);
        CHECK(s.settingsFolders()[0]->contents[0]->subject == L"Quillbox Settings");
    }
    REQUIRE(s.settingsFolders().size() == 1);
    CHECK(ours<emu::Folder>(objSettingsFolder) == s.settingsFolders()[0]);
    CHECK(ouaOutlook.sameAs(s.ol.application()));
    CHECK_FALSE(strListSeparator.empty());
    CHECK(strAddinPath == fncAddinFolder());
    CHECK(LNGSETTINGS == L"Configure");  // the phrases are loaded (English test system)
    s.ol.openCompose();
    CHECK(Session::wrappers().size() == 1);
}

TEST_CASE("start-up whose settings can't be made says so and leaves the add-in inert") {
    Session s;
    std::wstring quoted;  // the error the message ends with
    SUBCASE("the folder can't be created") {
        s.ol.failNext(L"Folders.Add", 1, static_cast<long>(0x80070005L), L"You do not have permission.");
    }
    SUBCASE("the Inbox can't be read: that error is quoted") {
        quoted = L"The information store could not be opened.";
        s.ol.failNext(L"NameSpace.GetDefaultFolder", 2, static_cast<long>(0x8004011DL), quoted);
    }
    qbxtest::PromptRecorder prompts(IDNO);
    s.ol.fireStartup();
    // First the error report of the failed creation, then the message.
    REQUIRE(prompts.prompts().size() == 2);
    CHECK(prompts.prompts()[0].text.find(L"subCreateSettingsItem") != std::wstring::npos);
    CHECK(prompts.prompts()[1].text == L"Failed to save settings appointment in current folder\r\n"
                                       L"Check that you have the appropriate permissions!\r\n" + quoted);
    CHECK(prompts.prompts()[1].style == (MB_OK | MB_ICONINFORMATION));
    // Inert: nothing held, no window wrapped, no button.
    CHECK_FALSE(objOutlookReactions);
    CHECK(blnShuttingDown);
    emu::References held = s.ol.references();
    CHECK_MESSAGE(held.total() == 0, holders(held));
    CHECK(Session::ourButtons(s.ol.openCompose()).empty());
    CHECK(prompts.prompts().size() == 2);
}

TEST_CASE("only mail windows get an object: the mail-class test") {
    Session s;
    s.ol.fireStartup();
    struct Case {
        const wchar_t* messageClass;
        bool wrapped;
    } const cases[] = {{L"IPM.Schedule.Meeting.Request", false}, {L"IPM.Task", false}, {L"IPM.Post", false},
                       {L"IPM.NOT", false}, {L"IPM.Note", true}, {L"ipm.note.smime", true}};
    size_t wrapped = 0;
    short open = 0;
    for (const Case& c : cases) {
        CAPTURE(qbxtest::narrow(c.messageClass));
        emu::Inspector* w = s.ol.openCompose(c.messageClass);
        wrapped += c.wrapped;
        CHECK(Session::wrappers().size() == wrapped);
        CHECK(Session::ourButtons(w).size() == (c.wrapped ? 1u : 0u));
        CHECK(intInspectorCount == ++open);
        if (c.wrapped) CHECK(ours<emu::Inspector>(cMailInspectorTesting::window(*Session::wrappers().back().get())) == w);
    }
}

TEST_CASE("closed windows are pruned at the next send or new mail, and only they") {
    Session s;
    s.ol.fireStartup();
    emu::Inspector* w[4];
    for (auto& each : w) each = s.ol.openCompose();
    s.ol.close(w[1]);
    s.ol.close(w[2]);  // two neighbours: a forward walk would miss one
    auto& list = Session::wrappers();
    REQUIRE(list.size() == 4);
    CHECK_FALSE(cMailInspectorTesting::window(*list[1].get()));
    CHECK_FALSE(cMailInspectorTesting::mailItem(*list[1].get()));

    w[3]->item->to = L"someone@example.com";
    CHECK(s.ol.send(w[3]));  // never cancelled
    REQUIRE(list.size() == 2);
    CHECK(ours<emu::Inspector>(cMailInspectorTesting::window(*list[0].get())) == w[0]);
    // The sent mail's window closed after ItemSend: gone at the next new mail.
    s.ol.receiveMail(L"Hello");
    REQUIRE(list.size() == 1);
    CHECK(ours<emu::Inspector>(cMailInspectorTesting::window(*list[0].get())) == w[0]);
}

TEST_CASE("the settings button: one per window, in the set order, opening the settings, deleted at close") {
    Session s;
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    emu::Inspector* w = s.ol.openCompose();
    s.ol.activate(w);
    s.ol.activate(w);
    REQUIRE(Session::ourButtons(w).size() == 1);
    emu::CommandBarButton* b = Session::ourButtons(w)[0];
    CHECK(b->type == 1);
    CHECK(b->temporary);
    CHECK(b->setOrder == std::vector<std::wstring>{L"Width=25", L"Style=1", L"Caption=Configure",
                                                   L"TooltipText=Show settings Quillbox", L"FaceId=2497",
                                                   L"Tag=OSAttachments", L"Visible=True"});

    // Office tells every button with the tag of the click; only the clicked
    // window opens the settings.
    emu::Inspector* other = s.ol.openCompose();
    s.ol.activate(w);
    CHECK(s.ol.clickButton(w, L"OSAttachments"));
    REQUIRE(s.opened.size() == 1);
    CHECK(ours<emu::Item>(s.opened[0]) == w->item);
    CHECK(fncGetAction() == L"Opening settings form");
    s.ol.close(other);

    s.ol.clearCallLog();
    s.ol.close(w);
    const auto& calls = s.ol.callLog();
    CHECK(std::find(calls.begin(), calls.end(), L"CommandBarButton.Delete") != calls.end());
    CHECK(b->deleted);
    CHECK(prompts.prompts().empty());
}

TEST_CASE("the ribbon in Outlook 2007: documents accepted, picture loaded, the button opens the mail at hand") {
    emu::Knobs knobs;
    knobs.version = 12;
    Session s(knobs);
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    emu::Inspector* compose = s.ol.openCompose();
    emu::Item* received = s.ol.receiveMail(L"Report");
    emu::Inspector* read = s.ol.openItem(received);
    for (const wchar_t* id : {L"Microsoft.Outlook.Mail.Compose", L"Microsoft.Outlook.Mail.Read"}) {
        REQUIRE(s.ol.ribbons().count(id) == 1);
        CHECK_MESSAGE(s.ol.ribbons().at(id).accepted, qbxtest::narrow(s.ol.ribbons().at(id).problem));
    }
    CHECK(std::any_of(s.ol.callbacks().begin(), s.ol.callbacks().end(),
                      [](const emu::CallbackCall& c) { return c.name == L"getImages" && c.resultIsPicture; }));

    s.ol.activate(compose);  // a click in a window brings it forward first
    CHECK(s.ol.clickRibbon(compose, L"cmdShowSettings"));
    s.ol.close(read);
    s.ol.close(compose);
    s.ol.explorer()->selection = {received};  // no window: the selected mail
    subOpenSettings();
    s.ol.explorer()->selection.clear();  // nothing selected: no mail
    subOpenSettings();
    REQUIRE(s.opened.size() == 3);
    CHECK(ours<emu::Item>(s.opened[0]) == compose->item);
    CHECK(ours<emu::Item>(s.opened[1]) == received);
    CHECK_FALSE(s.opened[2]);
    CHECK(prompts.prompts().empty());
}

TEST_CASE("shutting down: Quit after OnBeginShutdown is harmless, and nothing is left held") {
    Session s;
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    emu::Inspector* w1 = s.ol.openCompose();
    s.ol.openCompose(L"IPM.Task");
    s.ol.close(s.ol.openCompose());
    s.ol.activate(w1);
    SUBCASE("OnBeginShutdown, then Quit") {
        CHECK(s.addin->OnBeginShutdown(nullptr) == S_OK);
        CHECK_FALSE(objOutlookReactions);
        // OnBeginShutdown (like an error) keeps the personal settings; the
        // add-in no longer hears Quit, OnDisconnection lets them go.
        s.ol.fireQuit();
        CHECK(objPersonalSettings);
    }
    SUBCASE("Quit first: the release runs twice") {
        s.ol.fireQuit();
        // Quit is the last disconnect: the settings and their dictionary go
        // while COM is up, never with the DLL's static destructors.
        CHECK_FALSE(objPersonalSettings);
    }
    CHECK_FALSE(objOutlookReactions);
    s.ol.shutdown();
    CHECK_FALSE(objPersonalSettings);
    s.addin.reset();
    CHECK(prompts.prompts().empty());
    emu::References held = s.ol.references();
    CHECK_MESSAGE(held.refs == 0, holders(held));
    CHECK_MESSAGE(held.sinks == 0, holders(held));
}

namespace {

// A held object that notes when it is let go, and whether the add-in had
// already called itself stopped by then.
class Noted final : public qbx::DispatchObject {
public:
    Noted(std::vector<std::string>& log, std::string name)
        : DispatchObject(L"Noted"), log_(log), name_(std::move(name)) {}
    ~Noted() override { log_.push_back(name_ + (blnShuttingDown ? " (stopped)" : "")); }

private:
    std::vector<std::string>& log_;
    std::string name_;
};

}  // namespace

TEST_CASE("the release routine: reactions, settings folder, Outlook, in that order, then the flag; Quit's run is the last disconnect") {
    qbxtest::resetAddinState();
    std::vector<std::string> log;
    auto hold = [&](const char* name) { return qbx::Disp(qbx::makeObject<Noted>(log, name).get()); };
    objOutlookReactions = std::make_shared<cOutlookReactions>();
    objOutlookReactions->ouaMyOutlook = hold("reactions");
    objSettingsFolder = hold("folder");
    ouaOutlook = hold("application");
    objPersonalSettings = std::make_shared<cPersonalSettings>();
    ReleaseOutlookObjects();
    CHECK(log == std::vector<std::string>{"reactions", "folder", "application"});
    CHECK(blnShuttingDown);
    CHECK(objPersonalSettings);  // an error's release keeps them
    // Quit runs it again as the last disconnect: the settings go too, and
    // the rest, already gone, are not touched twice.
    auto reactions = std::make_shared<cOutlookReactions>();
    reactions->ouaMyOutlook_Quit();
    CHECK_FALSE(objPersonalSettings);
    CHECK(log.size() == 3u);
    qbxtest::resetAddinState();
}

TEST_CASE("the action trails of start-up, a new mail window, its button and the ribbon button") {
    qbxtest::TrailLog trail;
    emu::Knobs k;
    k.version = 12;
    Session s(k);
    s.ol.fireStartup();
    emu::Inspector* w = s.ol.openCompose();
    REQUIRE(s.ol.clickButton(w, L"OSAttachments"));
    REQUIRE(s.ol.clickRibbon(w, L"cmdShowSettings"));
    CHECK(s.opened.size() == 2);
    CHECK(qbxtest::narrow(trail.firstMissing({
              L"Getting List separator from computer settings!",
              L"Creating a new object for holding buttons",
              L"Adding the new inspector object to the collection",
              L"Adding buttons to Outlook SharePoint Addin toolbar",
              L"Opening settings form",  // the window's button
              L"Opening settings form",  // the ribbon's
              L"Getting currently selected mail item",
          })) == "");
}
