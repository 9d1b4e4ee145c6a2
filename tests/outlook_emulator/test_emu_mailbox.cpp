// The emulated mailbox: folders, item lookup by subject and by filter, user
// properties with Outlook's coercions, the mailbox file across a restart.
#include "tests/outlook_emulator/emu_test_util.h"

using namespace emutest;
using emu::errors::kCollision;
using emu::errors::kInvalidArg;

namespace {

Disp inboxOf(emu::Outlook& ol) { return ol.nameSpace().getObj(L"GetDefaultFolder", 6); }

Disp newPost(Disp folder, const std::wstring& subject) {
    Disp item = folder.getObj(L"Items").get(L"Add", L"IPM.Post").toDisp();
    item.put(L"Subject", subject);
    return item;
}

// Same type and value (numbers and dates exactly).
bool same(const Variant& a, const Variant& b) {
    if (a.type() != b.type()) return false;
    return a.type() == VT_R8 || a.type() == VT_DATE ? a.toDouble() == b.toDouble() : a.toString() == b.toString();
}

}  // namespace

TEST_CASE("folders and items: duplicate folder names refused in any case; lookups by saved subject and by Find") {
    emu::Outlook ol;
    Disp folders = inboxOf(ol).getObj(L"Folders");
    Disp folder = folders.get(L"Add", L"QBXSettings", 6).toDisp();
    CHECK(folders.item(L"QBXSETTINGS").sameAs(folder));
    Disp items = folder.getObj(L"Items");
    Disp first = newPost(folder, L"Quillbox Settings");
    CHECK(items.get(L"Count").toLong() == 0);  // listed from the first Save on
    first.call(L"Save");
    Disp second = newPost(folder, L"Quillbox Settings");
    second.call(L"Save");

    // Subjects match without regard to case, the first in folder order wins.
    CHECK(items.item(L"QUILLBOX SETTINGS").sameAs(first));
    CHECK(items.item(2).sameAs(second));
    CHECK(items.get(L"Find", L"[Subject] = \"quillbox SETTINGS\"").toDisp().sameAs(first));
    CHECK(items.get(L"FindNext").toDisp().sameAs(second));
    CHECK(items.get(L"FindNext").isNothing());
    // Lookups see the subject as saved.
    first.put(L"Subject", L"Renamed");
    CHECK(items.item(L"Quillbox Settings").sameAs(first));
    first.call(L"Save");
    CHECK(items.item(L"Quillbox Settings").sameAs(second));
    second.getObj(L"UserProperties").get(L"Add", L"blnAlwaysDefault", 6).toDisp().put(L"Value", true);
    second.call(L"Save");
    CHECK(items.get(L"Find", L"[blnAlwaysDefault] = True AND [Subject] <> 'renamed'").toDisp().sameAs(second));
    CHECK(items.get(L"Find", L"[Subject]='It''s missing'").isNothing());
    checkErrors({
        {[&] { folders.call(L"Add", L"qbxsettings", 6); }, kCollision},
        {[&] { folders.call(L"Add", L"Other", 99); }, kInvalidArg},
        {[&] { folders.item(L"Missing"); }, emu::errors::kNotFound},
        {[&] { folders.item(2); }, emu::errors::kBadIndex},
        {[&] { items.item(L"Nothing like it"); }, emu::errors::kNotFound},
        {[&] { items.call(L"Find", L"[NoSuchProperty] = 'x'"); }, kInvalidArg},
        {[&] { items.call(L"Find", L"Subject = 'x'"); }, kInvalidArg},
        {[&] { items.call(L"Find", L"[Subject] = 'x"); }, kInvalidArg},
        {[&] { ol.nameSpace().call(L"GetDefaultFolder", 99); }, kInvalidArg},
        {[&] { ol.application().call(L"GetNamespace", L"OTHER"); }, kInvalidArg},
    });
}

TEST_CASE("user properties: Find, Add refusals, fresh values, and Value's coercions and refusals by type") {
    emu::Outlook ol;
    Disp props = newPost(inboxOf(ol), L"Props").getObj(L"UserProperties");
    CHECK(props.get(L"Find", L"p1").isNothing());
    SYSTEMTIME none{4501, 1, 0, 1, 0, 0, 0, 0};
    double noneDate = 0;
    SystemTimeToVariantTime(&none, &noneDate);
    const std::pair<long, Variant> fresh[] = {
        {1, Variant(L"")}, {3, Variant(0.0)}, {5, Variant::date(noneDate)}, {6, Variant(false)}};
    for (const auto& [type, value] : fresh) {
        Disp p = props.get(L"Add", L"p" + std::to_wstring(type), type).toDisp();
        CHECK(p.get(L"Type").toLong() == type);
        CHECK(same(p.get(L"Value"), value));
    }
    CHECK(props.get(L"Find", L"P1").toDisp().sameAs(props.item(1)));
    checkErrors({{[&] { props.call(L"Add", L"p1", 1); }, kCollision},  // names in any case
                 {[&] { props.call(L"Add", L"i", 20); }, kInvalidArg}});

    struct Coercion {
        long type;
        Variant in, stored;  // stored Empty: refused with "Type mismatch", the old value kept
    };
    const Coercion table[] = {
        {1, Variant(42), Variant(L"42")},         {1, Variant(true), Variant(L"True")},
        {1, Variant::null(), Variant()},          {3, Variant(L"2.5"), Variant(2.5)},
        {3, Variant(true), Variant(-1.0)},        {3, Variant(L"abc"), Variant()},
        {3, Variant::date(45000), Variant()},     {5, Variant::date(45000.5), Variant::date(45000.5)},
        {5, Variant(L"2024-03-01"), Variant::date(45352)}, {5, Variant(45000), Variant()},
        {5, Variant(L"not a date"), Variant()},   {6, Variant(L"true"), Variant(true)},
        {6, Variant(0), Variant(false)},          {6, Variant(L"-1"), Variant(true)},
        {6, Variant(L"yes please"), Variant()},   {6, Variant::date(45000), Variant()},
    };
    for (const Coercion& c : table) {
        CAPTURE(c.type);
        CAPTURE(c.in.toString());
        Disp p = props.get(L"Find", L"p" + std::to_wstring(c.type)).toDisp();
        Variant before = p.get(L"Value");
        CHECK(errorOf([&] { p.put(L"Value", c.in); }) == (c.stored.isEmpty() ? 13 : 0));
        CHECK(same(p.get(L"Value"), c.stored.isEmpty() ? before : c.stored));
    }
    props.call(L"Remove", 1);
    CHECK(props.get(L"Find", L"p1").isNothing());
}

TEST_CASE("the mailbox file keeps folders, saved items and typed properties across a restart, unsaved changes not") {
    TempDir dir;
    emu::Knobs k{.mailboxFile = dir.file(L"mailbox.txt")};
    const std::tuple<const wchar_t*, long, Variant> saved[] = {
        {L"strSites", 1, Variant(L"http://a/\r\nhttp://b/ \"q\" \\ é")}, {L"blnAlwaysDefault", 6, Variant(true)},
        {L"n", 3, Variant(0.1)}, {L"d", 5, Variant::date(45000.25)}, {L"unset", 1, Variant(L"")}};
    {
        emu::Outlook ol(k);
        Disp folder = inboxOf(ol).getObj(L"Folders").get(L"Add", L"QBXSettings", 6).toDisp();
        Disp item = newPost(folder, L"Quillbox Settings");
        Disp props = item.getObj(L"UserProperties");
        for (const auto& [name, type, value] : saved) {
            Disp p = props.get(L"Add", name, type).toDisp();
            if (std::wstring(name) != L"unset") p.put(L"Value", value);
        }
        item.call(L"Save");
        item.put(L"Subject", L"Not saved");
        props.call(L"Add", L"late", 1);
        newPost(folder, L"Never saved");
        folder.getObj(L"Folders").call(L"Add", L"Later");  // the file is written again
    }
    emu::Outlook ol(k);
    Disp items = inboxOf(ol).getObj(L"Folders").item(L"QBXSettings").getObj(L"Items");
    REQUIRE(items.get(L"Count").toLong() == 1);
    Disp item = items.item(L"Quillbox Settings");
    CHECK(item.get(L"MessageClass").toString() == L"IPM.Post");
    Disp props = item.getObj(L"UserProperties");
    CHECK(props.get(L"Count").toLong() == 5);
    for (const auto& [name, type, value] : saved) {
        CAPTURE(qbxtest::narrow(name));
        Disp p = props.get(L"Find", name).toDisp();
        CHECK(p.get(L"Type").toLong() == type);
        CHECK(same(p.get(L"Value"), value));
    }
    std::string text = dir.read(L"mailbox.txt");
    dir.write(L"damaged.txt", text.insert(text.find('\n') + 1, "nonsense\n"));  // one bad line in a sound file
    k.mailboxFile = dir.file(L"damaged.txt");
    CHECK_THROWS_AS(emu::Outlook{k}, qbx::Error);
}
