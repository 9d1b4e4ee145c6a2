// The attachment flow in the emulated Outlook with the add-in connected as
// Outlook connects it, against the SharePoint emulator: the default library
// on every Outlook version, bursts and the 5-second rule, refused removals,
// every way the server can fail, odd file names, the chooser, and a missing
// safe inspector. Every session must end with nothing held on Outlook.
#include <doctest/doctest.h>

#include "attachments/cMailInspector.h"
#include "attachments/cMailInspector_testing.h"
#include "attachments/modAttachmentFlow.h"
#include "attachments/modAttachmentFlow_testing.h"
#include "host/QBXOutlookConnect.h"
#include "host/cOutlookReactions.h"
#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "support/modOutlookCode.h"
#include "testbed/outlook/emulator.h"
#include "attachments/frmChooseSite.h"
#include "attachments/frmChooseSite_testing.h"
#include "testbed/sharepoint/spemu_client.h"
#include "sharepoint/modUpload_testing.h"
#include "tests/attachments/test_flow_component.h"
#include "tests/test_support.h"

#include <cstdlib>
#include <fstream>

namespace {

const std::wstring kLibA = L"sites/team/Shared Documents";
const std::wstring kLibB = L"sites/team/Proposals";

std::string readFile(const std::wstring& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

// The name a document gets in the library from the last segment of its
// address: the blanks arrive as %20, entities stay as they are.
std::wstring storedName(const std::wstring& target) {
    return qbx::replaceAll(target.substr(target.find_last_of(L'/') + 1), L"%20", L" ");
}

// One Outlook session with the add-in, two libraries of the emulator in the
// settings and the first always used; a compose window holding "Hello world"
// with the cursor after "Hello ".
class Flow {
public:
    explicit Flow(int version, bool refuseDelete = false) {
        qbxtest::resetAddinState();
        flowtest::subOfferSafeInspector();
        subSetFlowClock([this] { return now; });
        spemu::reset(L"?documents=1");
        base = spemu::baseUrl();
        emu::Knobs k;
        k.version = version;
        k.refuseDeleteInAttachmentAdd = refuseDelete;
        ol = std::make_unique<emu::Outlook>(k);
        REQUIRE(ol->connectAddin(addin.get()));
        ol->fireStartup();
        REQUIRE(objPersonalSettings);
        useLibraries(base + kLibA + L"\r\n" + base + kLibB, base + kLibA, true);

        wchar_t temp[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH + 1, temp);
        tempFolder = temp;
        files = tempFolder + L"qbx_flow_" + std::to_wstring(GetCurrentProcessId()) + L"\\";
        CreateDirectoryW(files.c_str(), nullptr);
        w = ol->openCompose();
        ol->typeText(w, L"Hello world");
        ol->moveCursor(w, 6);
    }
    ~Flow() {
        subSetChooserAnswerHook({});
        subSetFlowClock({});
        flowtest::subOfferSafeInspector();
        if (ol) end();
        for (const auto& f : made) DeleteFileW(f.c_str());
        RemoveDirectoryW(files.c_str());
    }

    void useLibraries(const std::wstring& list, const std::wstring& defaultSite, bool always) {
        objPersonalSettings->DicList.FromString(list);
        objPersonalSettings->strDefaultSite = defaultSite;
        objPersonalSettings->blnAlwaysDefault = always;
    }
    // A file attached as the user does; its content is made from its name.
    emu::Attachment* attach(const std::wstring& name) {
        std::wstring path = files + name;
        std::ofstream(path.c_str(), std::ios::binary) << content(name);
        made.push_back(path);
        return ol->attachFile(w, path);
    }
    static std::string content(const std::wstring& name) {
        std::string c = std::string("\x01\x02 binary\r\n\x00\xff ", 14) + qbx::toUtf8(name);
        c.push_back('\0');
        return c;
    }
    // What the library holds under that name (empty when nothing).
    std::string inLibrary(const std::wstring& library, const std::wstring& name) const {
        const char* root = std::getenv("QBX_SP_ROOT");
        REQUIRE(root);
        std::wstring path = L"Z:" + qbx::replaceAll(qbx::fromUtf8(root) + L"/" + library + L"/" + name, L"/", L"\\");
        return readFile(path);
    }
    std::wstring link(const std::wstring& library, const std::wstring& lastSegment) const {
        return qbx::replaceAll(base + library, L" ", L"%20") + L"/" + lastSegment;
    }
    std::wstring text() const { return ol->mailText(w); }
    std::vector<std::wstring> attachments() const { return ol->attachmentNames(w); }
    cMailInspector& wrapper() const {
        REQUIRE(objOutlookReactions);
        REQUIRE(objOutlookReactions->colInspectors.size() == 1);
        return *objOutlookReactions->colInspectors.back().get();
    }
    long puts() const {
        long n = 0;
        for (const auto& r : spemu::requests()) n += r["method"].s == "PUT";
        return n;
    }
    // Ends the session; nothing may be held on Outlook's objects afterwards.
    void end() {
        ol->shutdown();
        addin.reset();
        emu::References held = ol->references();
        std::string holders;
        for (const auto& h : held.holders) holders += qbxtest::narrow(h) + "; ";
        CHECK_MESSAGE(held.total() == 0, holders);
        ol.reset();
    }

    double now = 45000.5;  // the flow's clock, in days
    std::wstring base, tempFolder, files;
    std::vector<std::wstring> made;
    std::unique_ptr<emu::Outlook> ol;
    qbx::ComPtr<IDTExtensibility2> addin{new QBXOutlookConnect()};
    emu::Inspector* w = nullptr;
};

constexpr double kSecond = 1.0 / 86400;

}  // namespace

TEST_CASE("the default library on Outlook 2000 to today: link at the cursor, attachment gone, same bytes in the library") {
    for (int version : {9, 10, 11, 12, 16}) {
        CAPTURE(version);
        Flow f(version);
        subSetFlowClock({});  // the system's clock: the first attachment of a session always qualifies
        f.attach(L"report 1.txt");

        const std::wstring link = f.link(kLibA, L"report%201.txt");
        CHECK(f.text() == L"Hello " + link + L" \r\nworld");
        CHECK(f.attachments().empty());
        CHECK(f.inLibrary(kLibA, L"report 1.txt") == Flow::content(L"report 1.txt"));
        CHECK(f.puts() == 1);

        REQUIRE(f.ol->saveTargets().size() == 1);
        const emu::SaveRecord& save = f.ol->saveTargets()[0];
        CHECK(save.ok);
        if (version == 10 || version == 11) {
            // Outlook saves to the library itself; the temporary folder is not used.
            CHECK(save.target == link);
        } else {
            // Never to the library address: a numbered copy in the temporary
            // folder, gone once the upload has returned.
            CHECK(save.target.rfind(f.tempFolder, 0) == 0);
            CHECK(save.target.substr(save.target.size() - 14) == L"report%201.txt");
            CHECK(save.target.find_first_not_of(L"0123456789", f.tempFolder.size()) ==
                  save.target.size() - 14);
            CHECK_FALSE(exists(save.target));
        }
        // The Assistant shows the work before Outlook 2007 only.
        CHECK(f.ol->animations() == (version < 12 ? std::vector<long>{25} : std::vector<long>{}));
        CHECK(f.ol->balloons().empty());

        // The one-shot timer ends the pending removal.
        CHECK(cMailInspectorTesting::pendingRemoval(f.wrapper()));
        emu::Outlook::pumpMessages(700);
        CHECK_FALSE(cMailInspectorTesting::pendingRemoval(f.wrapper()));
        CHECK_FALSE(cMailInspectorTesting::removalTimer(f.wrapper()));
    }
}

TEST_CASE("three files at once: each moved once, links in order; removals Outlook refuses are done by the timer") {
    for (bool refused : {false, true}) {
        for (int version : {11, 12}) {  // with BeforeAttachmentSave after the add (HTML editor) and without (Word)
            CAPTURE(refused);
            CAPTURE(version);
            Flow f(version, refused);
            for (const wchar_t* name : {L"a.txt", L"b.txt", L"c.txt"}) f.attach(name);
            const std::wstring links = f.link(kLibA, L"a.txt") + L" \r\n" + f.link(kLibA, L"b.txt") + L" \r\n" +
                                       f.link(kLibA, L"c.txt") + L" \r\n";
            CHECK(f.text() == L"Hello " + links + L"world");
            CHECK(f.attachments().size() == (refused ? 3u : 0u));
            emu::Outlook::pumpMessages(700);
            CHECK(f.attachments().empty());
            CHECK(f.text() == L"Hello " + links + L"world");
            CHECK(f.puts() == 3);
            CHECK(f.ol->saveTargets().size() == 3);
            for (const wchar_t* name : {L"a.txt", L"b.txt", L"c.txt"}) CHECK(f.inLibrary(kLibA, name) == Flow::content(name));
        }
    }
}

TEST_CASE("a window closed while a removal is pending lets go of its attachments at once") {
    Flow f(11, true);
    f.attach(L"a.txt");
    REQUIRE(f.attachments().size() == 1u);  // moved; its removal waits for the timer
    REQUIRE(f.ol->close(f.w, 1));
    // The window's object stays until the next send or new mail prunes it;
    // it must not keep the closed mail's attachment meanwhile.
    auto attachmentHolders = [&] {
        std::string held;
        for (const auto& h : f.ol->references().holders)
            if (h.rfind(L"Attachment", 0) == 0) held += qbxtest::narrow(h) + "; ";
        return held;
    };
    CHECK(attachmentHolders().empty());
    emu::Outlook::pumpMessages(700);  // the removal timer is gone with the window
    CHECK(attachmentHolders().empty());
}

TEST_CASE("the 5-second rule: 3 seconds later the walk moves the file without a timer, 6 seconds later the event") {
    Flow f(12);
    f.attach(L"first.txt");
    emu::Outlook::pumpMessages(700);
    REQUIRE_FALSE(cMailInspectorTesting::removalTimer(f.wrapper()));
    f.now += 3 * kSecond;
    f.attach(L"second.txt");
    CHECK(f.attachments().empty());
    CHECK_FALSE(cMailInspectorTesting::removalTimer(f.wrapper()));
    f.now += 6 * kSecond;
    f.attach(L"third.txt");
    CHECK(cMailInspectorTesting::removalTimer(f.wrapper()));
    CHECK(f.attachments().empty());
    CHECK(f.puts() == 3);
}

TEST_CASE("nothing is lost: a library that does not take the file leaves mail and attachment as they were") {
    // fault: of the emulator; "down": no server; "one": a list of one library
    // (the default), which does nothing at all.
    struct Case {
        const wchar_t* fault;
        bool uploadRaises;  // the request object raises on the way (12+ only)
    } const cases[] = {{L"mode=401", false}, {L"mode=403", false},  {L"mode=404", false}, {L"mode=500", false},
                       {L"mode=reset", true}, {L"down", true},      {L"one", false}};
    for (int version : {11, 12}) {
        for (const Case& c : cases) {
            CAPTURE(version);
            CAPTURE(qbxtest::narrow(c.fault));
            Flow f(version);
            const std::wstring down = L"http://127.0.0.1:1/sites/team/Shared Documents";
            if (std::wstring(c.fault) == L"down") f.useLibraries(down + L"\r\n" + f.base + kLibB, down, true);
            else if (std::wstring(c.fault) == L"one") f.useLibraries(f.base + kLibA, f.base + kLibA, true);
            else spemu::fault(c.fault);
            qbxtest::PromptRecorder prompts;
            f.attach(L"kept.txt");
            CHECK(f.attachments() == std::vector<std::wstring>{L"kept.txt"});
            if (objOutlookReactions) CHECK_FALSE(cMailInspectorTesting::removalTimer(f.wrapper()));  // no removal to come
            CHECK(f.text() == L"Hello world");
            CHECK(f.inLibrary(kLibA, L"kept.txt").empty());
            if (std::wstring(c.fault) == L"one") CHECK(f.ol->saveTargets().empty());
            for (const auto& save : f.ol->saveTargets()) {
                CHECK(save.target.rfind(L"http", 0) == (version == 11 ? 0u : std::wstring::npos));
                CHECK_FALSE(exists(save.target));  // no copy left in the temporary folder
            }
            // Only an upload that raised is reported (which stops the add-in);
            // a refusal passes without a word, and Outlook's own save never speaks.
            const bool reported = version >= 12 && c.uploadRaises;
            REQUIRE(prompts.prompts().size() == (reported ? 1u : 0u));
            if (reported) CHECK(prompts.prompts()[0].text.find(L"Uploading ") != std::wstring::npos);
        }
    }
    // "201 Created": the library has the file; the upload counts the reply as
    // failed and keeps the attachment too (a copy too many, nothing lost),
    // Outlook's own save goes by the status number.
    for (int version : {11, 12}) {
        Flow f(version);
        spemu::fault(L"mode=case");
        f.attach(L"twice.txt");
        CHECK(f.inLibrary(kLibA, L"twice.txt") == Flow::content(L"twice.txt"));
        CHECK(f.attachments().size() == (version == 11 ? 0u : 1u));
    }
}

TEST_CASE("a library that answers with a redirect keeps the attachment: to its sign-in page or to another library") {
    // Outlook 2000 and 2007 on upload a temporary copy; 2003 saves through itself.
    for (int version : {9, 11, 12}) {
        for (const wchar_t* to : {L"", L"&to=library"}) {
            for (int code : {301, 302, 303, 307, 308}) {
                CAPTURE(version);
                CAPTURE(code);
                CAPTURE(qbxtest::narrow(to));
                Flow f(version);
                spemu::fault(L"mode=redirect&path=/sites/team/Shared%20Documents/&code=" + std::to_wstring(code) + to);
                qbxtest::PromptRecorder prompts;
                f.attach(L"kept.txt");
                CHECK(f.attachments() == std::vector<std::wstring>{L"kept.txt"});
                CHECK(f.text() == L"Hello world");
                CHECK(prompts.prompts().empty());
                CHECK(f.inLibrary(kLibA, L"kept.txt").empty());
                CHECK(f.inLibrary(kLibB, L"kept.txt").empty());
                for (const auto& r : spemu::requests()) {  // the redirect was never followed
                    CHECK(r["path"].s == "/sites/team/Shared Documents/kept.txt");
                    CHECK(r["status"].n == code);
                }
                for (const auto& save : f.ol->saveTargets()) CHECK_FALSE(exists(save.target));
            }
        }
    }
}

TEST_CASE("a file too large for memory: the error report names the upload, the attachment stays, nothing is sent") {
    for (int version : {9, 12}) {
        CAPTURE(version);
        Flow f(version);
        subSetLargestUpload(10);  // the files here are some 30 bytes
        qbxtest::PromptRecorder prompts(IDNO);
        f.attach(L"large.iso");
        subSetLargestUpload(0);
        CHECK(f.attachments() == std::vector<std::wstring>{L"large.iso"});
        CHECK(f.text() == L"Hello world");
        CHECK(f.puts() == 0);
        REQUIRE(prompts.prompts().size() == 1);
        const std::wstring& report = prompts.prompts()[0].text;
        CHECK(report.find(L"\r\nUploading " + f.tempFolder) != std::wstring::npos);
        CHECK(report.find(L"#7\r\n") != std::wstring::npos);  // out of memory
        REQUIRE(f.ol->saveTargets().size() == 1);
        CHECK_FALSE(exists(f.ol->saveTargets()[0].target));  // the temporary copy is gone
    }
}

TEST_CASE("odd file names: converted twice on the default library, and stored under what the address says") {
    struct Case {
        std::wstring name, lastSegment;
    } const cases[] = {
        {L"Q&A #1.txt", L"Q&amp;amp;A%201.txt"},
        {L"say \"hi\".txt", L"say%20&amp;amp;quot;hi&amp;amp;quot;.txt"},
        {L"Caf\u00e9 men\u00fc.txt", L"Caf&amp;eacute;%20men&amp;uuml;.txt"},
        {L"\u03a9mega \u65e5\u672c.txt", L"\u03a9mega%20\u65e5\u672c.txt"},
    };
    for (int version : {11, 12}) {
        for (const Case& c : cases) {
            CAPTURE(version);
            CAPTURE(qbxtest::narrow(c.name));
            Flow f(version);
            emu::Attachment* a = nullptr;
            if (c.name.find(L'"') == std::wstring::npos) {
                a = f.attach(c.name);
            } else {
                // No file on disk can carry a double quote, but a forwarded
                // attachment can: the name is given after the add, and the
                // event comes again.
                f.useLibraries(f.base + kLibA, f.base + kLibA, true);
                a = f.attach(L"plain.txt");
                a->fileName = c.name;
                f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, f.base + kLibA, true);
                cMailInspectorTesting::attachmentAdd(f.wrapper(), a->var().toDisp());
            }
            CHECK(f.text() == L"Hello " + f.link(kLibA, c.lastSegment) + L" \r\nworld");
            CHECK(f.attachments().empty());
            CHECK(f.inLibrary(kLibA, storedName(c.lastSegment)) == a->bytes.content());
        }
    }
}

TEST_CASE("the chooser: its address is used, the name converted once; Cancel keeps the attachment and asks no more") {
    for (int version : {11, 12}) {
        for (bool switchOff : {true, false}) {  // the switch off, or no default
            CAPTURE(version);
            CAPTURE(switchOff);
            Flow f(version);
            f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, switchOff ? f.base + kLibA : L"", !switchOff);
            std::wstring asked;
            std::wstring answer = f.link(kLibB, L"Q&amp;A%201.txt");
            subSetChooserAnswerHook([&](const std::wstring& name) {
                asked += name + L"|";
                return answer;
            });
            f.attach(L"Q&A #1.txt");
            CHECK(qbxtest::narrow(asked) == "Q&amp;A%201.txt|");
            CHECK(f.text() == L"Hello " + answer + L" \r\nworld");
            CHECK(f.attachments().empty());
            CHECK(f.inLibrary(kLibB, L"Q&amp;A 1.txt") == Flow::content(L"Q&A #1.txt"));

            answer.clear();  // Cancel
            f.now += 10 * kSecond;
            f.attach(L"keep me.txt");
            f.now += 10 * kSecond;
            f.attach(L"and me.txt");  // the one kept before is not asked about again
            // OK before a library was picked gives the bare name back: not an
            // address, so nothing is saved anywhere.
            answer = L"late.txt";
            f.now += 10 * kSecond;
            f.attach(L"late.txt");
            CHECK(qbxtest::narrow(asked) == "Q&amp;A%201.txt|keep%20me.txt|and%20me.txt|late.txt|");
            CHECK(f.attachments() == std::vector<std::wstring>{L"keep me.txt", L"and me.txt", L"late.txt"});
            CHECK(f.text() == L"Hello " + f.link(kLibB, L"Q&amp;A%201.txt") + L" \r\nworld");
            CHECK(f.ol->saveTargets().size() == 1);
        }
    }
}

TEST_CASE("without the safe inspector: reported once; an object that runs on writes no link but still removes") {
    Flow f(12);
    REQUIRE(fncOutlookVersion() == 12);  // read once and kept
    f.ol->close(f.w);
    qbx::setCreateHook([](const wchar_t* progId, IDispatch** out) -> HRESULT {
        if (qbx::textEquals(progId, kSafeInspectorProgId)) return REGDB_E_CLASSNOTREG;
        return qbx::createByProgId(progId, out);
    });
    qbxtest::PromptRecorder prompts;
    f.w = f.ol->openCompose();
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text.find(L"Class_Initialize") != std::wstring::npos);
    CHECK(prompts.prompts()[0].text.find(L"Creating the safe inspector object") != std::wstring::npos);
    // The report stops the add-in: the window has no object, its files stay.
    CHECK_FALSE(objOutlookReactions);
    f.attach(L"stays.txt");
    CHECK(f.attachments() == std::vector<std::wstring>{L"stays.txt"});

    // An object that outlives the report.
    auto inspector = qbx::makeObject<cMailInspector>();
    CHECK_FALSE(cMailInspectorTesting::hasSafeInspector(*inspector.get()));
    inspector->setOuiMailItem(qbx::Disp(f.w->item->disp()));
    cMailInspectorTesting::setWindow(*inspector.get(), qbx::Disp(f.w->disp()));
    f.attach(L"moved.txt");
    CHECK(f.attachments().empty());
    CHECK(f.inLibrary(kLibA, L"moved.txt") == Flow::content(L"moved.txt"));
    CHECK(f.inLibrary(kLibA, L"stays.txt") == Flow::content(L"stays.txt"));  // the walk took it too
    CHECK(f.text().empty());
    CHECK(prompts.prompts().size() == 1);
    cMailInspectorTesting::close(*inspector.get());
    inspector.reset();
}

namespace {

// A safe inspector whose InsertText fails, as a component that can't reach
// the window's editor does.
class BrokenSafeInspector final : public qbx::DispatchObject {
public:
    BrokenSafeInspector() : DispatchObject(L"SafeInspector") {
        property(L"Item", [this](qbx::Args&) { return qbx::Variant(item); },
                 [this](qbx::Args&, const qbx::Variant& v) { item = v.isObject() ? v.toDisp() : qbx::Disp(); });
        method(L"InsertText", [](qbx::Args&) -> qbx::Variant {
            qbx::raise(static_cast<long>(0x80004005L), L"The editor refused the text");
        });
    }
    qbx::Disp item;
};

// A creation hook that makes a T in place of the safe inspector.
template <class T>
HRESULT createInsteadOfSafeInspector(const wchar_t* progId, IDispatch** out) {
    if (qbx::textEquals(progId, kSafeInspectorProgId)) {
        *out = static_cast<IDispatch*>(qbx::makeObject<T>().detach());
        return S_OK;
    }
    return qbx::createByProgId(progId, out);
}

}  // namespace

TEST_CASE("a link that can't be written with the safe inspector present is reported and the attachment stays") {
    for (bool activateFails : {true, false}) {
        for (int version : {11, 12}) {
            CAPTURE(activateFails);
            CAPTURE(version);
            Flow f(version);
            f.ol->close(f.w);
            if (activateFails) f.ol->failNext(L"Inspector.Activate", -1, static_cast<long>(0x80004005L), L"The operation failed.");
            else qbx::setCreateHook(&createInsteadOfSafeInspector<BrokenSafeInspector>);
            f.w = f.ol->openCompose();
            f.ol->typeText(f.w, L"Hello world");
            qbxtest::PromptRecorder prompts;
            f.attach(L"linked.txt");
            emu::Outlook::pumpMessages(700);  // no removal timer acts on it either
            f.ol->clearFailures();
            CHECK(f.attachments() == std::vector<std::wstring>{L"linked.txt"});
            CHECK(f.text() == L"Hello world");
            REQUIRE(prompts.prompts().size() == 1);
            CHECK(prompts.prompts()[0].text.find(L"subHandleAttachment") != std::wstring::npos);
        }
    }
}

TEST_CASE("a new object per access: an attachment is tried once per event, and one of the same name is still asked about") {
    for (bool fresh : {true, false}) {
        CAPTURE(fresh);
        {
            // A refused upload in step 1: the walk of the same event does not send it again.
            Flow f(12);
            f.ol->knobs().freshAttachmentObjects = fresh;
            spemu::fault(L"mode=500");
            f.attach(L"refused.txt");
            CHECK(f.puts() == 1);
            CHECK(f.attachments() == std::vector<std::wstring>{L"refused.txt"});
        }
        {
            // Cancel keeps "same.txt"; a second "same.txt" added later is the
            // newer one and is asked about, the kept one is not asked again.
            Flow f(11);
            f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, L"", false);
            f.ol->knobs().freshAttachmentObjects = fresh;
            std::wstring asked, answer;
            subSetChooserAnswerHook([&](const std::wstring& name) {
                asked += name + L"|";
                return answer;
            });
            f.attach(L"same.txt");
            answer = f.link(kLibB, L"same.txt");
            f.now += 10 * kSecond;
            f.ol->attachFile(f.w, f.files + L"same.txt");
            CHECK(qbxtest::narrow(asked) == "same.txt|same.txt|");
            CHECK(f.attachments() == std::vector<std::wstring>{L"same.txt"});
            CHECK(f.puts() == 1);
        }
    }
}

// ---------------------------------------------------------------- nested message loops, windows going, shutdown

namespace {

// Something that happens later, from whatever message loop runs then (the
// chooser's own loop): a thread timer with a callback.
std::function<void()>& laterAction() {
    static std::function<void()> action;
    return action;
}

void CALLBACK runLaterAction(HWND, UINT, UINT_PTR id, DWORD) {
    KillTimer(nullptr, id);
    std::function<void()> action = std::move(laterAction());
    laterAction() = {};
    if (action) action();
}

void later(DWORD milliseconds, std::function<void()> action) {
    laterAction() = std::move(action);
    SetTimer(nullptr, 0, milliseconds, &runLaterAction);
}

// A person who takes that long to answer: the chooser's loop runs meanwhile.
void think(DWORD milliseconds) { emu::Outlook::pumpMessages(milliseconds); }

// Reopens the flow's window with Word as its editor.
void useWord(Flow& f, long callDelay) {
    f.ol->close(f.w);
    f.ol->knobs().editor = emu::EditorKind::Word;
    f.ol->knobs().wordCallDelay = callDelay;
    f.w = f.ol->openCompose();
    f.ol->typeText(f.w, L"Hello world");
    f.ol->moveCursor(f.w, 6);
}

}  // namespace

TEST_CASE("a chooser that ends without OK moves nothing: its mail window closed, or Outlook quitting, while it is open") {
    for (int version : {11, 12, 16}) {
        for (bool quitting : {false, true}) {
            CAPTURE(version);
            CAPTURE(quitting);
            Flow f(version);
            // The default is picked in the list when the chooser opens, but
            // nobody confirmed it.
            f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, f.base + kLibA, false);
            qbxtest::PromptRecorder prompts;
            subSetChooserOpenedHook([&](frmChooseSite&) {
                later(100, [&] {
                    if (quitting) {
                        for (emu::Inspector* w : f.ol->openWindows()) f.ol->close(w);
                        f.ol->shutdown();
                    } else {
                        f.ol->close(f.w);
                    }
                });
            });
            f.attach(L"unconfirmed.txt");
            subSetChooserOpenedHook({});
            CHECK(f.puts() == 0);
            CHECK(f.ol->saveTargets().empty());
            CHECK(f.inLibrary(kLibA, L"unconfirmed.txt").empty());
            CHECK(prompts.prompts().empty());
        }
    }
}

namespace {

// The safe inspector as installed, which also notes whether a removal was
// already on its way when the link was written.
class WatchingSafeInspector final : public qbx::DispatchObject {
public:
    WatchingSafeInspector() : DispatchObject(L"SafeInspector"), real_(qbx::makeObject<cSafeInspector>()) {
        property(L"Item", [this](qbx::Args&) { return qbx::Variant(item_); },
                 [this](qbx::Args&, const qbx::Variant& v) {
                     item_ = v.isObject() ? v.toDisp() : qbx::Disp();
                     qbx::Disp(static_cast<IDispatch*>(real_.get())).putRef(L"Item", item_);
                 });
        method(L"InsertText", [this](qbx::Args& a) {
            if (watched) removalArmedAtLink |= cMailInspectorTesting::removalTimer(*watched) != nullptr ||
                                               static_cast<bool>(cMailInspectorTesting::pendingRemoval(*watched));
            real_->InsertText(a.str(0));
            return qbx::Variant();
        });
    }
    static inline cMailInspector* watched = nullptr;
    static inline bool removalArmedAtLink = false;

private:
    qbx::ComPtr<cSafeInspector> real_;
    qbx::Disp item_;
};

}  // namespace

TEST_CASE("Word in its own process (Outlook 2003): timers fire inside the link's calls, yet nothing leaves before its link") {
    SUBCASE("the removal is armed only once the link is in") {
        Flow f(11);
        f.ol->close(f.w);
        qbx::setCreateHook(&createInsteadOfSafeInspector<WatchingSafeInspector>);
        WatchingSafeInspector::removalArmedAtLink = false;
        f.w = f.ol->openCompose();
        WatchingSafeInspector::watched = objOutlookReactions->colInspectors.back().get();
        f.attach(L"a.txt");
        WatchingSafeInspector::watched = nullptr;
        CHECK_FALSE(WatchingSafeInspector::removalArmedAtLink);
        CHECK(f.attachments().empty());
        CHECK(f.text() == f.link(kLibA, L"a.txt") + L" \r\n");
    }
    SUBCASE("Word refuses the text after its calls ran the modal loop for over a second") {
        for (bool refused : {false, true}) {
            CAPTURE(refused);
            Flow f(11, refused);
            useWord(f, 300);
            f.ol->failNext(L"Selection.InsertAfter", 1, static_cast<long>(0x80010001L), L"Call was rejected by callee.");
            qbxtest::PromptRecorder prompts;
            f.attach(L"a.txt");
            think(700);
            CHECK(f.attachments() == std::vector<std::wstring>{L"a.txt"});
            CHECK(f.text() == L"Hello world");
            CHECK(prompts.prompts().size() == 1);
        }
    }
    SUBCASE("Word takes its time and writes the link") {
        Flow f(11, true);
        useWord(f, 300);
        f.attach(L"a.txt");
        think(700);
        CHECK(f.attachments().empty());
        CHECK(f.text() == L"Hello " + f.link(kLibA, L"a.txt") + L" \r\nworld");
        CHECK(f.puts() + static_cast<long>(f.ol->saveTargets().size()) >= 1);
    }
}

TEST_CASE("the removal timer waits while a chooser is open, and a refused removal is tried again: nothing moved twice") {
    Flow f(12, true);  // Outlook refuses removals while an AttachmentAdd runs
    f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, L"", false);
    std::wstring asked;
    subSetChooserAnswerHook([&](const std::wstring& name) {
        asked += name + L"|";
        think(800);  // the removal timer comes due meanwhile
        return f.link(kLibB, name);
    });
    qbxtest::PromptRecorder prompts;
    f.attach(L"a.txt");  // moved; its removal refused inside the event
    f.now += 1 * kSecond;
    f.attach(L"b.txt");  // moved by the walk, whose chooser is open when a's timer is due
    f.now += 10 * kSecond;
    f.attach(L"c.txt");
    think(1500);
    CHECK(qbxtest::narrow(asked) == "a.txt|b.txt|c.txt|");
    CHECK(f.puts() == 3);
    CHECK(f.attachments().empty());
    CHECK(prompts.prompts().empty());
}

TEST_CASE("the walk skips an attachment removed while the chooser is open, without a report") {
    Flow f(12);
    f.useLibraries(f.base + kLibA, f.base + kLibA, true);  // one library: nothing happens
    f.attach(L"x.txt");
    f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, L"", false);
    subSetChooserAnswerHook([&](const std::wstring& name) {
        // The user takes y off meanwhile.
        auto& list = f.w->item->attachments->list;
        if (name == L"x.txt" && !list.empty() && list.back()->fileName == L"y.txt") list.back()->remove();
        return f.link(kLibB, name);
    });
    qbxtest::PromptRecorder prompts;
    f.now += 1 * kSecond;  // y's event walks [x, y]
    f.attach(L"y.txt");
    CHECK(prompts.prompts().empty());
    CHECK(f.inLibrary(kLibB, L"x.txt") == Flow::content(L"x.txt"));
    CHECK(f.attachments().empty());
}

TEST_CASE("an autosave while the chooser is open asks nothing twice, and Cancel's record does not outlive its attachment") {
    Flow f(11);  // the HTML editor: BeforeAttachmentSave comes with the add and with every save
    f.ol->knobs().beforeSaveOnAdd = false;
    f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, L"", false);
    std::wstring asked, answer;
    subSetChooserAnswerHook([&](const std::wstring& name) {
        asked += name + L"|";
        f.ol->autosave(f.w);  // Outlook saves the mail while the chooser is open
        return answer;
    });
    qbxtest::PromptRecorder prompts;
    emu::Attachment* kept = f.attach(L"same.txt");  // Cancel: it stays
    CHECK(qbxtest::narrow(asked) == "same.txt|");
    f.ol->autosave(f.w);  // and is not asked about again
    CHECK(qbxtest::narrow(asked) == "same.txt|");
    // The user takes it off and later adds a file of the same name: that one is asked about.
    kept->remove();
    answer = f.link(kLibB, L"same.txt");
    f.now += 10 * kSecond;
    f.attach(L"same.txt");
    CHECK(qbxtest::narrow(asked) == "same.txt|same.txt|");
    CHECK(f.attachments().empty());
    CHECK(f.puts() == 1);
    CHECK(prompts.prompts().empty());
}

TEST_CASE("fast shutdown (Outlook 2010 on): at Quit everything goes, and nothing is released once Quit has returned") {
    for (bool pending : {false, true}) {
        CAPTURE(pending);
        Flow f(16, pending);
        if (pending) {
            f.attach(L"a.txt");  // a removal still pending when Outlook quits
            REQUIRE(f.attachments().size() == 1u);
        }
        f.ol->clearCallLog();
        f.ol->shutdown();
        // Only Quit was raised; the add-in now holds nothing of Outlook's,
        // nor anything a static destructor would release under the loader lock.
        CHECK(f.ol->addinCalls().back() != L"OnBeginShutdown");
        CHECK(f.ol->references().total() == 0);
        CHECK_FALSE(objOutlookReactions);
        CHECK_FALSE(objPersonalSettings);
        CHECK_FALSE(ouaOutlook);
        think(700);
        f.addin.reset();
        CHECK(f.ol->releasesAfterQuit() == 0);
    }
}

TEST_CASE("the timer's rules: 500 ms, one removal pending stops the next event's own attachment, the 5-second boundary") {
    Flow f(12, true);
    f.attach(L"first.txt");
    REQUIRE(cMailInspectorTesting::removalTimer(f.wrapper()));
    CHECK(cMailInspectorTesting::removalTimer(f.wrapper())->TimerInterval() == 500);
    CHECK(cMailInspectorTesting::removalTimer(f.wrapper())->TimerEnabled());
    // 6 seconds on, with first.txt's removal still pending: the new file's
    // own attachment stops before it is moved; the walk moves it, without a timer of its own.
    f.now += 6 * kSecond;
    f.attach(L"second.txt");
    REQUIRE(cMailInspectorTesting::pendingRemoval(f.wrapper()));
    CHECK(cMailInspectorTesting::pendingRemoval(f.wrapper()).get(L"FileName").toString() == L"first.txt");
    CHECK(f.puts() == 2);
    think(700);
    CHECK(f.attachments().empty());
}

TEST_CASE("the 5-second rule's boundary: exactly 5 seconds is not more than 5") {
    // Counted from the zero date, where 5 seconds come out as exactly 5.
    Flow f(12);
    f.now = 5 * kSecond;
    f.attach(L"third.txt");  // the walk moves it, without a timer
    CHECK(f.attachments().empty());
    CHECK_FALSE(cMailInspectorTesting::removalTimer(f.wrapper()));
    f.now = 5.01 * kSecond;
    f.attach(L"fourth.txt");  // the event itself, with the timer
    CHECK(cMailInspectorTesting::removalTimer(f.wrapper()));
    think(700);
    CHECK(f.attachments().empty());
    CHECK(f.puts() == 2);
}

TEST_CASE("BeforeAttachmentSave moves the attachment in windows whose editor is not Word, and leaves Word's alone") {
    for (bool word : {false, true}) {
        CAPTURE(word);
        Flow f(11);
        f.ol->knobs().beforeSaveOnAdd = false;
        f.ol->knobs().refuseDeleteInAttachmentAdd = false;
        if (word) useWord(f, 0);
        // Added without the add-in hearing it, then saved into the item.
        f.useLibraries(f.base + kLibA, f.base + kLibA, true);
        f.attach(L"saved.txt");
        f.useLibraries(f.base + kLibA + L"\r\n" + f.base + kLibB, f.base + kLibA, true);
        f.ol->autosave(f.w);
        CHECK(f.attachments() == (word ? std::vector<std::wstring>{L"saved.txt"} : std::vector<std::wstring>{}));
        CHECK(f.ol->saveTargets().size() == (word ? 0u : 1u));
    }
}
