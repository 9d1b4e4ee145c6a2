// The emulated mailbox: folders, item lookup by subject and by filter, user
// properties with Outlook's type coercions, and the mailbox file across a
// restart.
#include <doctest/doctest.h>

#include "tests/test_support.h"
#include "tests/testbed_cpp/emu_test_util.h"

#include <cmath>

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

Disp inboxOf(emu::Outlook& ol) { return ol.nameSpace().getObj(L"GetDefaultFolder", 6); }

Disp newPost(Disp folder, const std::wstring& subject) {
    Disp item = folder.getObj(L"Items").call(L"Add", L"IPM.Post").toDisp();
    item.put(L"Subject", subject);
    return item;
}

}  // namespace

TEST_CASE("folders: default Inbox, Folders.Add refuses a name already there in any case") {
    emu::Outlook ol;
    Disp inbox = inboxOf(ol);
    CHECK(inbox.get(L"Name").toString() == L"Inbox");
    CHECK(inbox.typeName() == L"MAPIFolder");
    Disp folders = inbox.getObj(L"Folders");
    Disp added = folders.call(L"Add", L"QBXSettings", 6).toDisp();
    CHECK(added.get(L"DefaultItemType").toLong() == 0);
    CHECK(errorOf([&] { folders.call(L"Add", L"qbxsettings", 6); }) == emu::errors::kCollision);
    CHECK(errorOf([&] { folders.call(L"Add", L"Other", 99); }) == emu::errors::kInvalidArg);
    CHECK(folders.get(L"Count").toLong() == 1);
    CHECK(folders.item(L"QBXSETTINGS").sameAs(added));  // Item by name ignores case
    CHECK(errorOf([&] { folders.item(L"Missing"); }) == emu::errors::kNotFound);
    CHECK(errorOf([&] { folders.item(2); }) == emu::errors::kBadIndex);
    CHECK(errorOf([&] { ol.nameSpace().call(L"GetDefaultFolder", 99); }) == emu::errors::kInvalidArg);
    CHECK(errorOf([&] { ol.application().call(L"GetNamespace", L"OTHER"); }) == emu::errors::kInvalidArg);
}

TEST_CASE("items: only saved items are listed; lookup by saved subject and by Find filter") {
    emu::Outlook ol;
    Disp folder = inboxOf(ol).getObj(L"Folders").call(L"Add", L"QBXSettings", 6).toDisp();
    Disp items = folder.getObj(L"Items");
    Disp first = newPost(folder, L"Quillbox Settings");
    CHECK(first.typeName() == L"PostItem");
    CHECK(items.get(L"Count").toLong() == 0);  // not before Save
    CHECK(items.call(L"Find", L"[Subject]='Quillbox Settings'").isNothing());
    first.call(L"Save");
    Disp second = newPost(folder, L"Quillbox Settings");
    second.call(L"Save");
    CHECK(items.get(L"Count").toLong() == 2);

    // The default lookup matches the subject without regard to case; the first wins.
    CHECK(items.item(L"QUILLBOX SETTINGS").sameAs(first));
    CHECK(folder.getObj(L"Items").get(L"Item", 2).toDisp().sameAs(second));
    CHECK(items.call(L"Find", L"[Subject] = 'Quillbox Settings'").toDisp().sameAs(first));
    CHECK(items.call(L"FindNext").toDisp().sameAs(second));
    CHECK(items.call(L"FindNext").isNothing());

    // A subject changed without Save is not what the store sees; after Save it is.
    first.put(L"Subject", L"Renamed");
    CHECK(items.item(L"Quillbox Settings").sameAs(first));
    first.call(L"Save");
    CHECK(items.item(L"Quillbox Settings").sameAs(second));
    CHECK(items.call(L"Find", L"[Subject]='It''s missing'").isNothing());
    CHECK(errorOf([&] { items.item(L"Nothing like it"); }) == emu::errors::kNotFound);

    // Filters: AND, <>, user properties, and refusals.
    second.getObj(L"UserProperties").call(L"Add", L"blnAlwaysDefault", 6).toDisp().put(L"Value", true);
    second.call(L"Save");
    CHECK(items.call(L"Find", L"[blnAlwaysDefault] = True AND [Subject] <> 'Renamed'").toDisp().sameAs(second));
    CHECK(errorOf([&] { items.call(L"Find", L"[NoSuchProperty] = 'x'"); }) == emu::errors::kInvalidArg);
    CHECK(errorOf([&] { items.call(L"Find", L"Subject = 'x'"); }) == emu::errors::kInvalidArg);
    CHECK(errorOf([&] { items.call(L"Find", L"[Subject] = 'x"); }) == emu::errors::kInvalidArg);
}

TEST_CASE("user properties: Find gives Nothing when absent, Add refuses an existing name, Value coerces by type") {
    emu::Outlook ol;
    Disp item = newPost(inboxOf(ol), L"Props");
    Disp props = item.getObj(L"UserProperties");
    CHECK(props.call(L"Find", L"strSites").isNothing());
    Disp text = props.call(L"Add", L"strSites", 1).toDisp();
    CHECK(errorOf([&] { props.call(L"Add", L"STRSITES", 1); }) == emu::errors::kCollision);
    CHECK(props.call(L"Find", L"strsites").toDisp().sameAs(text));
    Disp number = props.call(L"Add", L"n", 3).toDisp();
    Disp date = props.call(L"Add", L"d", 5).toDisp();
    Disp yesno = props.call(L"Add", L"b", 6).toDisp();
    CHECK(errorOf([&] { props.call(L"Add", L"i", 20); }) == emu::errors::kInvalidArg);

    // Fresh values: "", 0, the "none" date 1/1/4501, False.
    CHECK(text.get(L"Value").toString().empty());
    CHECK(number.get(L"Value").type() == VT_R8);
    CHECK(date.get(L"Value").type() == VT_DATE);
    SYSTEMTIME st{};
    VariantTimeToSystemTime(date.get(L"Value").raw().date, &st);
    CHECK(st.wYear == 4501);
    CHECK(yesno.get(L"Value").type() == VT_BOOL);
    CHECK(text.get(L"Type").toLong() == 1);

    // Text keeps any simple value as its text.
    text.put(L"Value", 42);
    CHECK(text.get(L"Value").type() == VT_BSTR);
    CHECK(text.get(L"Value").toString() == L"42");
    text.put(L"Value", true);
    CHECK(text.get(L"Value").toString() == L"True");
    CHECK(errorOf([&] { text.put(L"Value", Variant::null()); }) == 13);

    // Number: numbers, numeric text, Booleans; not other text, not dates.
    number.put(L"Value", L"2.5");
    CHECK(number.get(L"Value").toDouble() == 2.5);
    number.put(L"Value", true);
    CHECK(number.get(L"Value").toDouble() == -1);
    CHECK(errorOf([&] { number.put(L"Value", L"abc"); }) == 13);
    CHECK(errorOf([&] { number.put(L"Value", Variant::date(45000)); }) == 13);

    // Date-time: dates and date text; numbers and other text are refused.
    date.put(L"Value", Variant::date(45000.5));
    CHECK(date.get(L"Value").raw().date == 45000.5);
    date.put(L"Value", L"2024-03-01");
    CHECK(date.get(L"Value").type() == VT_DATE);
    CHECK(errorOf([&] { date.put(L"Value", 45000); }) == 13);
    CHECK(errorOf([&] { date.put(L"Value", L"not a date"); }) == 13);

    // Yes/no: Booleans, numbers, "True"/"False" and numeric text; other text is refused.
    yesno.put(L"Value", L"true");
    CHECK(yesno.get(L"Value").toBool());
    yesno.put(L"Value", 0);
    CHECK_FALSE(yesno.get(L"Value").toBool());
    yesno.put(L"Value", L"-1");
    CHECK(yesno.get(L"Value").toBool());
    CHECK(errorOf([&] { yesno.put(L"Value", L"yes please"); }) == 13);
    CHECK(yesno.get(L"Value").toBool());  // a refused value leaves the old one

    // Value is the default member.
    CHECK(qbx::Disp(props.item(L"b")).get(L"Value").toBool());
    props.call(L"Remove", 1);
    CHECK(props.call(L"Find", L"strSites").isNothing());
}

TEST_CASE("the mailbox file keeps folders, saved items and typed properties across a restart, unsaved changes not") {
    emutest::TempDir dir;
    emu::Knobs k;
    k.mailboxFile = dir.file(L"mailbox.txt");
    {
        emu::Outlook ol(k);
        Disp folder = inboxOf(ol).getObj(L"Folders").call(L"Add", L"QBXSettings", 6).toDisp();
        Disp item = newPost(folder, L"Quillbox Settings");
        Disp props = item.getObj(L"UserProperties");
        props.call(L"Add", L"strSites", 1).toDisp().put(L"Value", L"http://a/\r\nhttp://b/ \"q\" \\ é");
        props.call(L"Add", L"blnAlwaysDefault", 6).toDisp().put(L"Value", true);
        props.call(L"Add", L"n", 3).toDisp().put(L"Value", 0.1);
        props.call(L"Add", L"d", 5).toDisp().put(L"Value", Variant::date(45000.25));
        props.call(L"Add", L"unset", 1);
        item.call(L"Save");
        // Changed but not saved: lost at the restart.
        item.put(L"Subject", L"Not saved");
        props.call(L"Add", L"late", 1);
        newPost(folder, L"Never saved");
    }
    emu::Outlook ol(k);
    emu::Folder* folder = ol.defaultFolder(6)->folders->find(L"QBXSettings");
    REQUIRE(folder);
    REQUIRE(folder->contents.size() == 1);
    emu::Item* item = folder->contents[0];
    CHECK(item->kind == emu::ItemKind::Post);
    CHECK(item->messageClass == L"IPM.Post");
    Disp props = Disp(item->disp()).getObj(L"UserProperties");
    CHECK(props.get(L"Count").toLong() == 5);
    CHECK(Disp(props.item(L"strSites")).get(L"Value").toString() == L"http://a/\r\nhttp://b/ \"q\" \\ é");
    Variant b = Disp(props.item(L"blnAlwaysDefault")).get(L"Value");
    CHECK(b.type() == VT_BOOL);
    CHECK(b.toBool());
    CHECK(Disp(props.item(L"n")).get(L"Value").toDouble() == 0.1);
    CHECK(Disp(props.item(L"d")).get(L"Value").raw().date == 45000.25);
    CHECK(Disp(props.item(L"unset")).get(L"Type").toLong() == 1);
    CHECK(Disp(inboxOf(ol)).getObj(L"Folders").item(L"QBXSettings").getObj(L"Items").item(L"Quillbox Settings").sameAs(
        Disp(item->disp())));
}

TEST_CASE("a damaged mailbox file is refused with a message") {
    emutest::TempDir dir;
    dir.write(L"mailbox.txt", "QBX-MAILBOX 1\nfolder \"Personal Folders\" 6\n  nonsense\nend\n");
    emu::Knobs k;
    k.mailboxFile = dir.file(L"mailbox.txt");
    CHECK_THROWS_AS(emu::Outlook{k}, qbx::Error);
}
