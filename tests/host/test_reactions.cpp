// The add-in in the emulated Outlook: start-up with and without the settings
// folder and when its creation fails, one object per mail window and the
// pruning of closed ones, the command-bar button, the ribbon, and what the
// add-in still holds after Outlook has shut it down.
#include <doctest/doctest.h>

#include "attachments/cMailInspector.h"
#include "host/QBXOutlookConnect.h"
#include "host/cOutlookReactions.h"
#include "host/modGlobals.h"
#include "host/ribbon.h"
#include "settings/cPersonalSettings.h"
#include "settings_ui/modSettingsWindow.h"
#include "support/modErroHandling.h"
#include "support/phrases.h"
#include "testbed/outlook/emulator.h"
#include "tests/test_support.h"

#include <algorithm>
#include <string>
#include <vector>

using qbxtest::narrow;

namespace {

// One Outlook session with the add-in connected as Outlook connects it.
struct Session {
    emu::Outlook ol;
    qbx::ComPtr<IDTExtensibility2> addin;

    explicit Session(emu::Knobs knobs = {}) : ol(knobs) {
        qbxtest::resetAddinState();
        addin = qbx::ComPtr<IDTExtensibility2>(new QBXOutlookConnect());
        REQUIRE(ol.connectAddin(addin.get()));
    }
    ~Session() { subSetSettingsWindowHook(nullptr); }

    emu::Folder* inbox() const { return ol.defaultFolder(6); }
    std::vector<emu::Folder*> settingsFolders() const {
        std::vector<emu::Folder*> r;
        for (emu::Folder* f : inbox()->folders->list)
            if (f->name == L"QBXSettings") r.push_back(f);
        return r;
    }
    // The settings folder and item as a user of an earlier session left them.
    void prepareSettings(const std::wstring& defaultSite) {
        qbx::Disp folder = ol.nameSpace()
                               .getObj(L"GetDefaultFolder", 6)
                               .getObj(L"Folders")
                               .call(L"Add", L"QBXSettings", 6)
                               .toDisp();
        qbx::Disp item = folder.getObj(L"Items").call(L"Add", L"IPM.Post").toDisp();
        item.put(L"Subject", L"Quillbox Settings");
        item.getObj(L"UserProperties").call(L"Add", L"strDefaultSite", 1).toDisp().put(L"Value", defaultSite);
        item.call(L"Save");
    }
    std::vector<qbx::ComPtr<cMailInspector>>& wrappers() const {
        REQUIRE(objOutlookReactions);
        return objOutlookReactions->colInspectors;
    }
    // The buttons carrying the add-in's tag on a window's "Standard" bar.
    static std::vector<emu::CommandBarButton*> ourButtons(emu::Inspector* w) {
        std::vector<emu::CommandBarButton*> r;
        emu::CommandBar* bar = w->bars->find(L"Standard");
        if (!bar) return r;
        for (emu::CommandBarButton* b : bar->controls->list)
            if (!b->deleted && b->tag == L"OSAttachments") r.push_back(b);
        return r;
    }
    // Ends the session as Outlook does and lets go of the add-in.
    void endAndRelease() {
        ol.shutdown();
        addin.reset();
    }
};

bool holdsWindow(const qbx::ComPtr<cMailInspector>& wrapper, emu::Inspector* w) {
    return wrapper->ouiMyInspector().get() && emu::ours<emu::Inspector>(qbx::Variant(wrapper->ouiMyInspector())) == w;
}

std::string holders(const emu::References& r) {
    std::string s;
    for (const auto& h : r.holders) s += narrow(h) + "; ";
    return s;
}

}  // namespace

TEST_CASE("start-up finds an existing settings folder and reads the settings from it") {
    Session s;
    s.prepareSettings(L"http://127.0.0.1/sites/team/Shared Documents");
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    CHECK(prompts.prompts().empty());

    REQUIRE(objSettingsFolder);
    REQUIRE(s.settingsFolders().size() == 1);
    CHECK(emu::ours<emu::Folder>(qbx::Variant(objSettingsFolder)) == s.settingsFolders()[0]);
    REQUIRE(objPersonalSettings);
    CHECK(objPersonalSettings->strDefaultSite == L"http://127.0.0.1/sites/team/Shared Documents");
    CHECK(ouaOutlook.sameAs(s.ol.application()));
    CHECK_FALSE(strListSeparator.empty());
    CHECK(strAddinPath == fncAddinFolder());
    CHECK_FALSE(LNGSETTINGS.empty());  // the phrases are loaded
    CHECK_FALSE(blnShuttingDown);
    // New windows are heard from now on.
    s.ol.openCompose();
    CHECK(s.wrappers().size() == 1);
}

TEST_CASE("start-up without the settings folder creates it with its item") {
    Session s;
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    CHECK(prompts.prompts().empty());
    REQUIRE(s.settingsFolders().size() == 1);
    emu::Folder* folder = s.settingsFolders()[0];
    CHECK(emu::ours<emu::Folder>(qbx::Variant(objSettingsFolder)) == folder);
    REQUIRE(folder->contents.size() == 1);
    CHECK(folder->contents[0]->subject == L"Quillbox Settings");
    REQUIRE(objPersonalSettings);
    CHECK(objPersonalSettings->strDefaultSite.empty());
    CHECK_FALSE(objPersonalSettings->blnAlwaysDefault);
    s.ol.openCompose();
    CHECK(s.wrappers().size() == 1);
}

TEST_CASE("start-up whose settings can't be made says so and leaves the add-in inert") {
    Session s;
    std::wstring quoted;  // the error the message ends with
    SUBCASE("the folder can't be created") {
        s.ol.failNext(L"Folders.Add", 1, static_cast<long>(0x80070005L), L"You do not have permission.");
    }
    SUBCASE("the Inbox can't be read: its error is quoted") {
        s.ol.failNext(L"NameSpace.GetDefaultFolder", 2, static_cast<long>(0x8004011DL),
                      L"The information store could not be opened.");
        quoted = L"The information store could not be opened.";
    }
    qbxtest::PromptRecorder prompts(IDNO);
    s.ol.fireStartup();

    // First the error report of the failed creation, then the message.
    REQUIRE(prompts.prompts().size() == 2);
    CHECK(prompts.prompts()[0].text.find(L"subCreateSettingsItem") != std::wstring::npos);
    const qbx::Prompt& message = prompts.prompts()[1];
    CHECK(message.text == L"Failed to save settings appointment in current folder\r\n"
                          L"Check that you have the appropriate permissions!\r\n" + quoted);
    CHECK(message.title == L"Quillbox");
    CHECK(message.style == (MB_OK | MB_ICONINFORMATION));
    CHECK(s.settingsFolders().empty());

    // Inert: nothing is held, no window is wrapped, no button appears.
    CHECK_FALSE(objOutlookReactions);
    CHECK_FALSE(ouaOutlook);
    CHECK_FALSE(objSettingsFolder);
    CHECK(blnShuttingDown);
    emu::References held = s.ol.references();
    CHECK_MESSAGE(held.total() == 0, holders(held));
    emu::Inspector* w = s.ol.openCompose();
    CHECK(Session::ourButtons(w).empty());
    CHECK(prompts.prompts().size() == 2);
}

TEST_CASE("only mail windows get an object: the mail-class test") {
    Session s;
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    struct Case {
        const wchar_t* messageClass;
        bool wrapped;
    };
    const Case cases[] = {
        {L"IPM.Schedule.Meeting.Request", false},
        {L"IPM.Task", false},
        {L"IPM.Post", false},
        {L"IPM.Appointment", false},
        {L"IPM.NOT", false},  // seven characters: too short
        {L"IPM.Note", true},
        {L"ipm.note.smime", true},
        {L"IPM.Note.Custom", true},
    };
    size_t expected = 0;
    short open = 0;
    for (const Case& c : cases) {
        CAPTURE(narrow(c.messageClass));
        emu::Inspector* w = s.ol.openCompose(c.messageClass);
        ++open;
        if (c.wrapped) ++expected;
        CHECK(s.wrappers().size() == expected);
        CHECK(Session::ourButtons(w).size() == (c.wrapped ? 1u : 0u));
        CHECK(intInspectorCount == open);
        if (c.wrapped) CHECK(holdsWindow(s.wrappers().back(), w));
    }
    CHECK(prompts.prompts().empty());
    CHECK(cOutlookReactions::fncIsMailClass(L"IPM.NOTE"));
    CHECK_FALSE(cOutlookReactions::fncIsMailClass(L"IPM.NOTX"));
    CHECK_FALSE(cOutlookReactions::fncIsMailClass(L""));
    CHECK_FALSE(cOutlookReactions::fncIsMailClass(L"REPORT.IPM.Note.NDR"));
}

TEST_CASE("closed windows are pruned at the next send or new mail, and only they") {
    Session s;
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    emu::Inspector* w1 = s.ol.openCompose();
    emu::Inspector* w2 = s.ol.openCompose();
    emu::Inspector* w3 = s.ol.openCompose();
    emu::Inspector* w4 = s.ol.openCompose();
    REQUIRE(s.wrappers().size() == 4);

    // Two neighbours close: their objects let go of their windows but stay
    // listed until the next send.
    s.ol.close(w2);
    s.ol.close(w3);
    REQUIRE(s.wrappers().size() == 4);
    CHECK_FALSE(s.wrappers()[1]->ouiMyInspector());
    CHECK_FALSE(s.wrappers()[1]->ouiMailItem());
    CHECK_FALSE(s.wrappers()[2]->ouiMyInspector());

    // Sending from the last window prunes both closed ones and is not cancelled.
    w4->item->to = L"someone@example.com";
    CHECK(s.ol.send(w4));
    REQUIRE(s.wrappers().size() == 2);
    CHECK(holdsWindow(s.wrappers()[0], w1));
    // The sent mail's window closed after ItemSend: pruned at the next new mail.
    CHECK_FALSE(s.wrappers()[1]->ouiMyInspector());
    s.ol.receiveMail(L"Hello");
    REQUIRE(s.wrappers().size() == 1);
    CHECK(holdsWindow(s.wrappers()[0], w1));
    CHECK(s.ol.sentMails().size() == 1);
    CHECK(prompts.prompts().empty());
}

TEST_CASE("the settings button: one per window, in the set order, deleted at close, opening the settings") {
    Session s;
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    emu::Inspector* w = s.ol.openCompose();
    s.ol.activate(w);
    s.ol.activate(w);
    std::vector<emu::CommandBarButton*> buttons = Session::ourButtons(w);
    REQUIRE(buttons.size() == 1);
    emu::CommandBarButton* b = buttons[0];
    CHECK(b->type == 1);
    CHECK(b->temporary);
    CHECK_FALSE(b->builtIn);
    const std::vector<std::wstring> order = {
        L"Width=25", L"Style=1", L"Caption=" + LNGSETTINGS, L"TooltipText=" + LNGSETTINGSTT + L" Quillbox",
        L"FaceId=2497", L"Tag=OSAttachments", L"Visible=True"};
    CHECK(b->setOrder == order);
    CHECK(b->caption == L"Configure");
    CHECK(b->tooltipText == L"Show settings Quillbox");
    CHECK(fncGetAction() == L"Adding buttons to Outlook SharePoint Addin toolbar");

    SUBCASE("a click opens the settings for this window's mail") {
        std::vector<qbx::Disp> opened;
        subSetSettingsWindowHook([&](const qbx::Disp& mail) { opened.push_back(mail); });
        CHECK(s.ol.clickButton(w, L"OSAttachments"));
        REQUIRE(opened.size() == 1);
        CHECK(emu::ours<emu::Item>(qbx::Variant(opened[0])) == w->item);
        CHECK(fncGetAction() == L"Opening settings form");
    }
    SUBCASE("closing the window deletes the button") {
        s.ol.clearCallLog();
        s.ol.close(w);
        CHECK(b->deleted);
        const auto& calls = s.ol.callLog();
        CHECK(std::find(calls.begin(), calls.end(), L"CommandBarButton.Delete") != calls.end());
        CHECK(s.wrappers().size() == 1);
        CHECK_FALSE(s.wrappers()[0]->cmdSettings());
    }
    CHECK(prompts.prompts().empty());
}

TEST_CASE("the ribbon in Outlook 2007: loaded for compose and read windows, picture, button") {
    emu::Knobs knobs;
    knobs.version = 12;
    Session s(knobs);
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    std::vector<qbx::Disp> opened;
    subSetSettingsWindowHook([&](const qbx::Disp& mail) { opened.push_back(mail); });

    emu::Inspector* compose = s.ol.openCompose();
    emu::Item* received = s.ol.receiveMail(L"Report", L"text");
    emu::Inspector* read = s.ol.openItem(received);
    for (const wchar_t* id : {L"Microsoft.Outlook.Mail.Compose", L"Microsoft.Outlook.Mail.Read"}) {
        CAPTURE(narrow(id));
        auto found = s.ol.ribbons().find(id);
        REQUIRE(found != s.ol.ribbons().end());
        CHECK_MESSAGE(found->second.accepted, narrow(found->second.problem));
        CHECK(found->second.loadImage == L"getImages");
        REQUIRE(found->second.buttons.size() == 1);
        CHECK(found->second.buttons[0].onAction == L"cmdShowSettings");
    }
    bool pictureLoaded = false;
    for (const emu::CallbackCall& c : s.ol.callbacks())
        if (c.name == L"getImages") pictureLoaded = c.hr == S_OK && c.resultIsPicture;
    CHECK(pictureLoaded);

    // The button opens the settings for the mail of the window it is in
    // (clicking in a window brings it forward first).
    s.ol.activate(read);
    CHECK(s.ol.clickRibbon(read, L"cmdShowSettings"));
    s.ol.activate(compose);
    CHECK(s.ol.clickRibbon(compose, L"cmdShowSettings"));
    REQUIRE(opened.size() == 2);
    CHECK(emu::ours<emu::Item>(qbx::Variant(opened[0])) == received);
    CHECK(emu::ours<emu::Item>(qbx::Variant(opened[1])) == compose->item);

    SUBCASE("with no window open, the explorer's selected mail") {
        s.ol.close(read);
        s.ol.close(compose);
        s.ol.explorer()->selection = {received};
        subOpenSettings();
        REQUIRE(opened.size() == 3);
        CHECK(emu::ours<emu::Item>(qbx::Variant(opened[2])) == received);
        CHECK(fncGetAction() == L"Getting currently selected mail item");
    }
    SUBCASE("with no window and no selection, no mail") {
        s.ol.close(read);
        s.ol.close(compose);
        s.ol.explorer()->selection.clear();
        subOpenSettings();
        REQUIRE(opened.size() == 3);
        CHECK_FALSE(opened[2]);
    }
    CHECK(prompts.prompts().empty());
}

TEST_CASE("shutting down: Quit after OnBeginShutdown is harmless, and nothing is left held") {
    Session s;
    qbxtest::PromptRecorder prompts;
    s.ol.fireStartup();
    emu::Inspector* w1 = s.ol.openCompose();
    s.ol.openCompose(L"IPM.Task");
    emu::Inspector* w3 = s.ol.openCompose();
    s.ol.activate(w1);
    s.ol.close(w3);

    SUBCASE("OnBeginShutdown, then Quit, then the rest") {
        CHECK(s.addin->OnBeginShutdown(nullptr) == S_OK);
        CHECK_FALSE(objOutlookReactions);
        s.ol.fireQuit();
        s.endAndRelease();
    }
    SUBCASE("Quit first releases twice without harm") {
        s.ol.fireQuit();
        CHECK_FALSE(objOutlookReactions);
        CHECK(blnShuttingDown);
        s.endAndRelease();
    }
    CHECK(prompts.prompts().empty());
    CHECK(blnShuttingDown);
    emu::References held = s.ol.references();
    CHECK_MESSAGE(held.refs == 0, holders(held));
    CHECK_MESSAGE(held.sinks == 0, holders(held));
}
