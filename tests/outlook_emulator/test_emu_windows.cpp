// Mail windows: the order of Outlook's events, the cursor of the mail text
// through the Word and HTML editors, attachments and their events, saving an
// attachment (to a file, or by HTTP PUT on Outlook 2002/2003), and sending.
#include "tests/outlook_emulator/emu_test_util.h"
#include "testbed/sharepoint/spemu_client.h"

#include <list>

using namespace emutest;

namespace {

// Watches a window and its item as an add-in would, into a shared log
// ("AttachmentAdd a.txt", "Activate" ...); onAdd runs inside AttachmentAdd.
struct Watcher {
    qbx::EventConnection item, window;
    std::function<void(qbx::Args&)> onAdd;
    Watcher(Texts& log, emu::Inspector* w) {
        auto note = [&log, this](std::wstring what) {
            return [&log, this, what](qbx::Args& a) {
                bool attachment = a.count() && a.value(0).isObject();
                log.push_back(attachment ? what + L" " + a.obj(0).get(L"FileName").toString() : what);
                if (what == L"AttachmentAdd" && onAdd) onAdd(a);
            };
        };
        item.connect(Disp(w->item->disp()), {qbx::DIID_ItemEvents_10, qbx::DIID_ItemEvents},
                     {{qbx::dispid::AttachmentAdd, note(L"AttachmentAdd")},
                      {qbx::dispid::BeforeAttachmentSave, note(L"BeforeAttachmentSave")},
                      {emu::kItemSend, note(L"Send")},
                      {emu::kItemClose, note(L"Item.Close")}});
        window.connect(Disp(w->disp()), {qbx::DIID_InspectorEvents_10, qbx::DIID_InspectorEvents},
                       {{qbx::dispid::InspectorActivate, note(L"Activate")},
                        {qbx::dispid::InspectorClose, note(L"Close")}});
    }
};

}  // namespace

TEST_CASE("opening windows: NewInspector then Activate, for a compose window and for a mail made by code at Display") {
    emu::Outlook ol;
    Texts log;
    std::list<Watcher> watchers;
    qbx::EventConnection inspectors;
    inspectors.connect(ol.application().getObj(L"Inspectors"), {qbx::DIID_InspectorsEvents},
                       {{qbx::dispid::NewInspector, [&](qbx::Args& a) {
                             Disp item = a.obj(0).getObj(L"CurrentItem");
                             log.push_back(L"NewInspector " + item.get(L"MessageClass").toString() + L" " +
                                           item.get(L"Subject").toString());
                             watchers.emplace_back(log, emu::ours<emu::Inspector>(a.value(0)));
                         }}});
    Disp window(ol.openCompose()->disp());
    CHECK(log == Texts{L"NewInspector IPM.Note ", L"Activate"});
    CHECK(window.ptr().as<IUnknown>(qbx::IID_OutlookInspector));
    CHECK(window.getObj(L"CurrentItem").ptr().as<IUnknown>(qbx::IID_OutlookMailItem));
    CHECK(ol.application().getObj(L"ActiveInspector").sameAs(window));
    CHECK_FALSE(Disp(ol.openCompose(L"IPM.Task")->item->disp()).ptr().as<IUnknown>(qbx::IID_OutlookMailItem));

    log.clear();
    Disp mail = ol.application().get(L"CreateItem", 0).toDisp();
    mail.put(L"Subject", L"Error in Quillbox");
    mail.call(L"Save");
    CHECK(ol.defaultFolder(16)->contents.size() == 1);
    Disp hidden = mail.getObj(L"GetInspector");
    CHECK(log.empty());  // no window yet
    mail.call(L"Display");
    CHECK(log == Texts{L"NewInspector IPM.Note Error in Quillbox", L"Activate"});
    CHECK(ol.application().getObj(L"ActiveInspector").sameAs(hidden));  // the same window, now shown
    CHECK(ol.application().getObj(L"ActiveWindow").get(L"Caption").toString() == L"Error in Quillbox - Message");
}

TEST_CASE("text goes in at the cursor through Word's selection and the HTML editor's range, nothing else changes") {
    emu::Outlook word({.editor = emu::EditorKind::Word});
    emu::Inspector* w = word.openCompose();
    word.typeText(w, L"Hello world");
    word.moveCursor(w, 5);
    Disp window(w->disp());
    CHECK(window.get(L"IsWordMail").toBool());
    CHECK(window.get(L"HTMLEditor").isNothing());
    Disp selection = window.getObj(L"WordEditor").getObj(L"Application").getObj(L"Selection");
    selection.call(L"TypeText", L" big");
    word.typeText(w, L"!");  // the user's typing follows on
    CHECK(word.mailText(w) == L"Hello big! world");
    selection.call(L"InsertAfter", L"http://x/a.doc \r\n");
    CHECK(word.mailText(w) == L"Hello big!http://x/a.doc \r\n world");
    CHECK(selection.get(L"Text").toString() == L"http://x/a.doc \r\n");  // InsertAfter selects what it wrote
    selection.call(L"Collapse", 0);
    selection.call(L"TypeText", L"+");
    CHECK(word.mailText(w) == L"Hello big!http://x/a.doc \r\n+ world");

    emu::Outlook html({.editor = emu::EditorKind::Html});
    w = html.openCompose();
    html.typeText(w, L"Dear all,\r\nsee below");
    html.moveCursor(w, 11);
    window = Disp(w->disp());
    CHECK_FALSE(window.get(L"IsWordMail").toBool());
    CHECK(window.get(L"WordEditor").isNothing());
    Disp doc = window.getObj(L"HTMLEditor");
    doc.getObj(L"selection").get(L"createRange").toDisp().put(L"text", L"link ");
    doc.getObj(L"selection").get(L"createRange").toDisp().call(L"pasteHTML", L"<b>a&amp;b</b><br>");
    CHECK(html.mailText(w) == L"Dear all,\r\nlink a&b\r\nsee below");
    CHECK(Disp(w->item->disp()).get(L"HTMLBody").toString().find(L"a&amp;b<BR>see below") != std::wstring::npos);
}

TEST_CASE("attaching: AttachmentAdd, then BeforeAttachmentSave outside Word; Delete refused inside the event") {
    TempDir dir;
    dir.write(L"a b&c.txt", std::string("one\0two", 7));
    dir.write(L"second.txt", "2");
    emu::Outlook ol({.editor = emu::EditorKind::Html, .refuseDeleteInAttachmentAdd = true});
    emu::Inspector* w = ol.openCompose();
    Texts log;
    Watcher watcher(log, w);
    long refusal = 0;
    watcher.onAdd = [&](qbx::Args& a) { refusal = errorOf([&] { a.obj(0).call(L"Delete"); }); };
    emu::Attachment* att = ol.attachFile(w, dir.file(L"a b&c.txt"));
    CHECK(refusal == emu::errors::kFailed);
    CHECK(log == Texts{L"AttachmentAdd a b&c.txt", L"BeforeAttachmentSave a b&c.txt"});
    CHECK(errorOf([&] { Disp(att->disp()).call(L"Delete"); }) == 0);  // afterwards it goes
    CHECK(ol.attachmentNames(w).empty());
    CHECK(errorOf([&] { Disp(att->disp()).get(L"FileName"); }) == emu::errors::kDeleted);
    CHECK(errorOf([&] { ol.attachFile(w, dir.file(L"missing.txt")); }) == emu::errors::kFileNotFound);

    // Outlook's enumerators walk by position: deleting during For Each skips the next one.
    watcher.onAdd = nullptr;
    for (const wchar_t* name : {L"a b&c.txt", L"second.txt", L"a b&c.txt"}) ol.attachFile(w, dir.file(name));
    long visited = 0;
    Disp(w->item->disp()).getObj(L"Attachments").forEach([&](const Variant& v) {
        ++visited;
        v.toDisp().call(L"Delete");
    });
    CHECK(visited == 2);
    CHECK(ol.attachmentNames(w) == Texts{L"second.txt"});
}

TEST_CASE("SaveAsFile: a local path gets the bytes; a web address is PUT on Outlook 2002/2003 only; all recorded") {
    TempDir dir;
    const std::string bytes("\x00\x01\xff data", 8);
    dir.write(L"report 1&2.bin", bytes);
    wchar_t url[1024] = {}, root[1024] = {};
    GetEnvironmentVariableW(L"QBX_SP_URL", url, 1024);
    GetEnvironmentVariableW(L"QBX_SP_ROOT", root, 1024);
    REQUIRE_MESSAGE(*url, "run under tests/with_spemu.sh");
    const std::wstring base = url, library = base + L"sites/team/Shared Documents/";
    for (int version : {11, 12}) {
        emu::Outlook ol({.version = version});
        Disp att(ol.attachFile(ol.openCompose(), dir.file(L"report 1&2.bin"))->disp());
        att.call(L"SaveAsFile", dir.file(L"copy.bin"));
        CHECK(dir.read(L"copy.bin") == bytes);
        std::wstring target = library + L"v" + std::to_wstring(version) + L" report 1&amp;2.bin";
        const long kPath = emu::errors::kPathNotFound;
        checkErrors({{[&] { att.call(L"SaveAsFile", target); }, version == 11 ? 0 : kPath},
                     {[&] { att.call(L"SaveAsFile", base + L"sites/team/Lists/Tasks/x.bin"); },  // refused: 404
                      version == 11 ? emu::errors::kFailed : kPath},
                     {[&] { att.call(L"SaveAsFile", L"http://example.com/x.bin"); }, kPath},
                     {[&] { att.call(L"SaveAsFile", dir.file(L"no such folder\\x.bin")); }, kPath}});
        const auto& saves = ol.saveTargets();
        REQUIRE(saves.size() == 5);
        CHECK(saves[1].target == target);
        CHECK(saves[1].ok == (version == 11));
        CHECK(saves.back().fileName == L"report 1&2.bin");
    }
    // The document arrived, blank and entity text as sent.
    std::wstring stored =
        L"Z:" + qbx::replaceAll(root, L"/", L"\\") + L"\\sites\\team\\Shared Documents\\v11 report 1&amp;2.bin";
    CHECK(GetFileAttributesW(stored.c_str()) != INVALID_FILE_ATTRIBUTES);

    // A save answered with a redirect fails and is not repeated at the other address.
    emu::Outlook ol({.version = 11});
    Disp att(ol.attachFile(ol.openCompose(), dir.file(L"report 1&2.bin"))->disp());
    for (const wchar_t* to : {L"", L"&to=library"}) {
        for (int code : {301, 302, 303, 307, 308}) {
            CAPTURE(code);
            spemu::reset(L"?documents=1");
            spemu::fault(L"mode=redirect&path=/sites/team/Proposals/&code=" + std::to_wstring(code) + to);
            CHECK(errorOf([&] { att.call(L"SaveAsFile", base + L"sites/team/Proposals/r.bin"); }) == emu::errors::kFailed);
            CHECK(spemu::requests().size() == 1);
        }
    }
    spemu::reset();
}

TEST_CASE("sending and closing: Send and ItemSend may cancel; a sent mail closes its window and goes to Sent Items") {
    emu::Outlook ol;
    emu::Inspector* w = ol.openCompose();
    Texts log;
    Watcher watcher(log, w);
    CHECK(errorOf([&] { ol.send(w); }) == emu::errors::kFailed);  // no recipient
    Disp item(w->item->disp());
    item.put(L"To", L"someone@example.com");
    bool cancel = true;
    qbx::EventConnection app;
    app.connect(ol.application(), {qbx::DIID_ApplicationEvents_11},
                {{qbx::dispid::ItemSend, [&](qbx::Args& a) { a.setBool(1, cancel); }}});
    CHECK_FALSE(ol.send(w));
    CHECK(ol.sentMails().empty());
    cancel = false;
    ol.typeText(w, L"Body text");
    log.clear();
    CHECK(ol.send(w));
    CHECK(log == Texts{L"Send", L"Close"});
    REQUIRE(ol.sentMails().size() == 1);
    CHECK(ol.sentMails()[0].body == L"Body text");
    CHECK(ol.defaultFolder(5)->contents.size() == 1);
    CHECK(errorOf([&] { item.get(L"Subject"); }) == emu::errors::kDeleted);
    CHECK(ol.application().get(L"ActiveInspector").isNothing());

    // Closing asks the item first (Close with Cancel), then the window.
    emu::Inspector* v = ol.openCompose();
    log.clear();
    Watcher second(log, v);
    qbx::EventConnection veto;
    veto.connect(Disp(v->item->disp()), {qbx::DIID_ItemEvents},
                 {{emu::kItemClose, [](qbx::Args& a) { a.setBool(0, true); }}});
    CHECK_FALSE(ol.close(v));
    veto.disconnect();
    CHECK(ol.close(v, 0));
    CHECK(log == Texts{L"Item.Close", L"Item.Close", L"Close"});
    CHECK(ol.defaultFolder(16)->contents.size() == 1);  // olSave kept it in Drafts
}
