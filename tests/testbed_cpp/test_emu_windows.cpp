// Mail windows: the order of Outlook's events, the cursor of the mail text
// through the Word and HTML editors, attachments and their events, saving an
// attachment (to a file, or by HTTP PUT on Outlook 2002/2003), and sending.
#include <doctest/doctest.h>

#include "support/events.h"
#include "tests/test_support.h"
#include "tests/testbed_cpp/emu_test_util.h"

using qbx::Disp;
using qbx::Variant;

namespace {

long errorOf(const std::function<void()>& f) {
    try {
        f();
    } catch (const qbx::Error& e) {
        return e.number();
    }
    return 0;
}

std::wstring env(const wchar_t* name) {
    wchar_t buf[1024] = {};
    GetEnvironmentVariableW(name, buf, 1024);
    return buf;
}

// Watches a mail's item events and a window's inspector events, as an add-in would.
struct Watcher {
    std::vector<std::wstring> log;
    qbx::EventConnection item, window;
    std::function<void(qbx::EventArgs&)> onAdd;
    void watch(emu::Inspector* w) {
        item.connect(Disp(w->item->disp()), {qbx::DIID_ItemEvents_10, qbx::DIID_ItemEvents},
                     {{qbx::dispid::AttachmentAdd, [this](qbx::EventArgs& a) {
                           log.push_back(L"AttachmentAdd " + a.obj(0).get(L"FileName").toString());
                           if (onAdd) onAdd(a);
                       }},
                      {qbx::dispid::BeforeAttachmentSave, [this](qbx::EventArgs& a) {
                           log.push_back(L"BeforeAttachmentSave " + a.obj(0).get(L"FileName").toString());
                       }},
                      {emu::kItemSend, [this](qbx::EventArgs&) { log.push_back(L"Send"); }},
                      {emu::kItemClose, [this](qbx::EventArgs&) { log.push_back(L"Item.Close"); }}});
        window.connect(Disp(w->disp()), {qbx::DIID_InspectorEvents_10, qbx::DIID_InspectorEvents},
                       {{qbx::dispid::InspectorActivate, [this](qbx::EventArgs&) { log.push_back(L"Activate"); }},
                        {qbx::dispid::InspectorClose, [this](qbx::EventArgs&) { log.push_back(L"Close"); }}});
    }
};

}  // namespace

TEST_CASE("a new compose window: NewInspector with the window, then Activate; Outlook's interfaces answer") {
    emu::Outlook ol;
    Watcher watcher;
    qbx::EventConnection inspectors;
    std::wstring seenClass, seenType;
    inspectors.connect(ol.application().getObj(L"Inspectors"), {qbx::DIID_InspectorsEvents},
                       {{qbx::dispid::NewInspector, [&](qbx::EventArgs& a) {
                             Disp w = a.obj(0);
                             seenType = w.typeName();
                             seenClass = w.getObj(L"CurrentItem").get(L"MessageClass").toString();
                             watcher.log.push_back(L"NewInspector");
                             watcher.watch(emu::ours<emu::Inspector>(a.value(0)));
                         }}});
    emu::Inspector* w = ol.openCompose();
    CHECK(watcher.log == std::vector<std::wstring>{L"NewInspector", L"Activate"});
    CHECK(seenType == L"Inspector");
    CHECK(seenClass == L"IPM.Note");
    Disp window(w->disp());
    CHECK(window.ptr().as<IUnknown>(qbx::IID_OutlookInspector));
    CHECK(window.getObj(L"CurrentItem").ptr().as<IUnknown>(qbx::IID_OutlookMailItem));
    CHECK(window.get(L"Caption").toString() == L"Untitled - Message");
    CHECK(ol.application().getObj(L"ActiveInspector").sameAs(window));

    // A task opened the same way is no mail item.
    emu::Inspector* task = ol.openCompose(L"IPM.Task");
    CHECK(Disp(task->item->disp()).typeName() == L"TaskItem");
    CHECK_FALSE(Disp(task->item->disp()).ptr().as<IUnknown>(qbx::IID_OutlookMailItem));
    CHECK(ol.application().getObj(L"Inspectors").get(L"Count").toLong() == 2);
}

TEST_CASE("text goes in at the cursor through Word's selection, never over the text around it") {
    emu::Knobs k;
    k.editor = emu::EditorKind::Word;
    emu::Outlook ol(k);
    emu::Inspector* w = ol.openCompose();
    ol.typeText(w, L"Hello world");
    ol.moveCursor(w, 5);
    Disp window(w->disp());
    CHECK(window.call(L"IsWordMail").toBool());
    CHECK(window.get(L"HTMLEditor").isNothing());
    Disp selection = window.getObj(L"WordEditor").getObj(L"Application").getObj(L"Selection");
    selection.call(L"TypeText", L" big");
    CHECK(ol.mailText(w) == L"Hello big world");
    ol.typeText(w, L"!");  // the user's typing follows on
    CHECK(ol.mailText(w) == L"Hello big! world");
    selection.call(L"InsertAfter", L"http://x/a.doc \r\n");
    CHECK(ol.mailText(w) == L"Hello big!http://x/a.doc \r\n world");
    CHECK(selection.get(L"Text").toString() == L"http://x/a.doc \r\n");  // InsertAfter selects what it wrote
    selection.call(L"Collapse", 0);
    selection.call(L"TypeText", L"+");
    CHECK(ol.mailText(w) == L"Hello big!http://x/a.doc \r\n+ world");
}

TEST_CASE("windows without Word: the HTML editor's selection range writes at the cursor") {
    emu::Knobs k;
    k.version = 10;
    emu::Outlook ol(k);
    emu::Inspector* w = ol.openCompose();
    ol.typeText(w, L"Dear all,\r\nsee below");
    ol.moveCursor(w, 11);
    Disp window(w->disp());
    CHECK_FALSE(window.call(L"IsWordMail").toBool());
    CHECK(window.get(L"WordEditor").isNothing());
    Disp doc = window.getObj(L"HTMLEditor");
    doc.getObj(L"selection").call(L"createRange").toDisp().put(L"text", L"link ");
    doc.getObj(L"selection").call(L"createRange").toDisp().call(L"pasteHTML", L"<b>a&amp;b</b><br>");
    CHECK(ol.mailText(w) == L"Dear all,\r\nlink a&b\r\nsee below");
    CHECK(Disp(w->item->disp()).get(L"HTMLBody").toString().find(L"a&amp;b<BR>see below") != std::wstring::npos);
}

TEST_CASE("attaching: AttachmentAdd, then BeforeAttachmentSave outside Word; Delete refused inside the event") {
    emutest::TempDir dir;
    dir.write(L"a b&c.txt", std::string("one\0two", 7));
    dir.write(L"second.txt", "2");
    emu::Knobs k;
    k.editor = emu::EditorKind::Html;
    k.refuseDeleteInAttachmentAdd = true;
    emu::Outlook ol(k);
    emu::Inspector* w = ol.openCompose();
    Watcher watcher;
    watcher.watch(w);
    long refusal = 0;
    watcher.onAdd = [&](qbx::EventArgs& a) { refusal = errorOf([&] { a.obj(0).call(L"Delete"); }); };
    emu::Attachment* att = ol.attachFile(w, dir.file(L"a b&c.txt"));
    CHECK(refusal == emu::errors::kFailed);
    CHECK(watcher.log == std::vector<std::wstring>{L"AttachmentAdd a b&c.txt", L"BeforeAttachmentSave a b&c.txt"});
    CHECK(att->bytes.size() == 7);
    CHECK(ol.attachmentNames(w) == std::vector<std::wstring>{L"a b&c.txt"});
    CHECK_NOTHROW(Disp(att->disp()).call(L"Delete"));  // afterwards it goes
    CHECK(ol.attachmentNames(w).empty());
    CHECK(errorOf([&] { Disp(att->disp()).get(L"FileName"); }) == emu::errors::kDeleted);
    CHECK(errorOf([&] { ol.attachFile(w, dir.file(L"missing.txt")); }) == emu::errors::kFileNotFound);

    // Outlook's enumerators walk by position: deleting during For Each skips the next one.
    watcher.onAdd = nullptr;
    ol.attachFile(w, dir.file(L"a b&c.txt"));
    ol.attachFile(w, dir.file(L"second.txt"));
    ol.attachFile(w, dir.file(L"a b&c.txt"));
    long visited = 0;
    Disp(w->item->disp()).getObj(L"Attachments").forEach([&](const Variant& v) {
        ++visited;
        v.toDisp().call(L"Delete");
    });
    CHECK(visited == 2);
    CHECK(ol.attachmentNames(w) == std::vector<std::wstring>{L"second.txt"});
}

TEST_CASE("SaveAsFile: a local path gets the bytes; a web address is PUT on Outlook 2002/2003 only; every target is recorded") {
    emutest::TempDir dir;
    dir.write(L"report 1&2.bin", std::string("\x00\x01\xff data", 8));
    std::wstring base = env(L"QBX_SP_URL");
    REQUIRE_MESSAGE(!base.empty(), "run under tests/with_spemu.sh");
    std::wstring library = base + L"sites/team/Shared Documents/";
    for (int version : {11, 12}) {
        emu::Knobs k;
        k.version = version;
        emu::Outlook ol(k);
        emu::Inspector* w = ol.openCompose();
        Disp att(ol.attachFile(w, dir.file(L"report 1&2.bin"))->disp());
        att.call(L"SaveAsFile", dir.file(L"copy.bin"));
        CHECK(dir.read(L"copy.bin") == std::string("\x00\x01\xff data", 8));
        std::wstring target = library + L"v" + std::to_wstring(version) + L" report 1&amp;2.bin";
        if (version == 11) {
            CHECK_NOTHROW(att.call(L"SaveAsFile", target));
            CHECK(errorOf([&] { att.call(L"SaveAsFile", base + L"sites/team/Lists/Tasks/x.bin"); }) == emu::errors::kFailed);
            CHECK(errorOf([&] { att.call(L"SaveAsFile", L"http://example.com/x.bin"); }) == emu::errors::kPathNotFound);
        } else {
            CHECK(errorOf([&] { att.call(L"SaveAsFile", target); }) == emu::errors::kPathNotFound);
        }
        CHECK(errorOf([&] { att.call(L"SaveAsFile", dir.file(L"no such folder\\x.bin")); }) == emu::errors::kPathNotFound);
        const auto& saves = ol.saveTargets();
        REQUIRE(saves.size() >= 3);
        CHECK(saves[0].ok);
        CHECK(saves[1].target == target);
        CHECK(saves[1].ok == (version == 11));
        CHECK(saves.back().fileName == L"report 1&2.bin");
    }
    // The document arrived, blank and entity text as sent.
    std::wstring root = env(L"QBX_SP_ROOT");
    std::wstring stored = L"Z:" + qbx::replaceAll(root, L"/", L"\\") + L"\\sites\\team\\Shared Documents\\v11 report 1&amp;2.bin";
    CHECK(GetFileAttributesW(stored.c_str()) != INVALID_FILE_ATTRIBUTES);
}

TEST_CASE("sending: Send and ItemSend may cancel; a sent mail closes its window and goes to Sent Items") {
    emu::Outlook ol;
    emu::Inspector* w = ol.openCompose();
    Watcher watcher;
    watcher.watch(w);
    CHECK(errorOf([&] { ol.send(w); }) == emu::errors::kFailed);  // no recipient
    Disp item(w->item->disp());
    item.put(L"To", L"someone@example.com");
    item.put(L"Subject", L"Report");
    bool cancel = true;
    qbx::EventConnection app;
    app.connect(ol.application(), {qbx::DIID_ApplicationEvents_11},
                {{qbx::dispid::ItemSend, [&](qbx::EventArgs& a) { a.setBool(1, cancel); }}});
    CHECK_FALSE(ol.send(w));
    CHECK(w->open);
    CHECK(ol.sentMails().empty());
    cancel = false;
    ol.typeText(w, L"Body text");
    watcher.log.clear();
    CHECK(ol.send(w));
    CHECK(watcher.log == std::vector<std::wstring>{L"Send", L"Close"});
    CHECK_FALSE(w->open);
    REQUIRE(ol.sentMails().size() == 1);
    CHECK(ol.sentMails()[0].body == L"Body text");
    CHECK(ol.defaultFolder(5)->contents.size() == 1);
    CHECK(errorOf([&] { item.get(L"Subject"); }) == emu::errors::kDeleted);
    CHECK(errorOf([&] { Disp(w->disp()).get(L"CurrentItem"); }) == emu::errors::kDeleted);
    CHECK(ol.application().getObj(L"Inspectors").get(L"Count").toLong() == 0);
    CHECK(ol.application().get(L"ActiveInspector").isNothing());

    // Closing asks the item first (Close with Cancel), then the window.
    emu::Inspector* v = ol.openCompose();
    Watcher second;
    second.watch(v);
    qbx::EventConnection veto;
    veto.connect(Disp(v->item->disp()), {qbx::DIID_ItemEvents}, {{emu::kItemClose, [](qbx::EventArgs& a) { a.setBool(0, true); }}});
    CHECK_FALSE(ol.close(v));
    veto.disconnect();
    CHECK(ol.close(v, 0));
    CHECK(second.log == std::vector<std::wstring>{L"Item.Close", L"Item.Close", L"Close"});
    CHECK(ol.defaultFolder(16)->contents.size() == 1);  // olSave kept it in Drafts
}

TEST_CASE("a mail made by code: CreateItem, Save into Drafts, GetInspector without a window, Display opens it") {
    emu::Outlook ol;
    std::vector<std::wstring> opened;
    qbx::EventConnection inspectors;
    inspectors.connect(ol.application().getObj(L"Inspectors"), {qbx::DIID_InspectorsEvents},
                       {{qbx::dispid::NewInspector, [&](qbx::EventArgs& a) {
                             opened.push_back(a.obj(0).getObj(L"CurrentItem").get(L"Subject").toString());
                         }}});
    Disp mail = ol.application().call(L"CreateItem", 0).toDisp();
    CHECK(mail.typeName() == L"MailItem");
    mail.put(L"To", L"support@example.com");
    mail.put(L"Subject", L"Error in Quillbox");
    mail.put(L"Body", L"report");
    mail.call(L"Save");
    CHECK(ol.defaultFolder(16)->contents.size() == 1);
    Disp hidden = mail.getObj(L"GetInspector");
    CHECK(opened.empty());  // no window yet
    CHECK(ol.application().get(L"ActiveInspector").isNothing());
    mail.call(L"Display");
    CHECK(opened == std::vector<std::wstring>{L"Error in Quillbox"});
    CHECK(ol.application().getObj(L"ActiveInspector").sameAs(hidden));  // the same window, now shown
    CHECK(ol.application().getObj(L"ActiveWindow").get(L"Caption").toString() == L"Error in Quillbox - Message");
    CHECK(ol.application().getObj(L"ActiveExplorer").get(L"Caption").toString() == L"Inbox - Microsoft Office Outlook");
    CHECK(errorOf([&] { ol.application().call(L"CreateItem", 1); }) == emu::errors::kInvalidArg);
}
