// The safe-inspector component writes at the cursor of a mail window's
// editor without touching the text around it, in Word windows and in the
// older editor's HTML windows alike.
#include <doctest/doctest.h>

#include "attachments/cSafeInspector.h"
#include "testbed/outlook/emulator.h"
#include "tests/test_support.h"

namespace {

std::wstring insertInto(int version, emu::EditorKind editor, bool selectFirstWord) {
    emu::Knobs k;
    k.version = version;
    k.editor = editor;
    emu::Outlook ol(k);
    emu::Inspector* w = ol.openCompose();
    ol.typeText(w, L"Hello world");
    ol.moveCursor(w, 5);  // after "Hello"
    auto safe = qbx::makeObject<cSafeInspector>();
    qbx::Disp d(safe.get());
    d.putRef(L"Item", qbx::Disp(w->disp()));
    if (selectFirstWord) {
        // A selection over "Hello": the insertion goes after it and keeps it.
        qbx::Disp(w->disp()).get(L"Activate");
        ol.moveCursor(w, 0);
    }
    d.call(L"InsertText", L"http://sp/lib/a.doc \r\n");
    std::wstring text = ol.mailText(w);
    d.putRef(L"Item", qbx::Disp());
    return text;
}

}  // namespace

TEST_CASE("the link goes in at the cursor through Word's selection and through the HTML editor") {
    CHECK(insertInto(12, emu::EditorKind::Word, false) == L"Hellohttp://sp/lib/a.doc \r\n world");
    CHECK(insertInto(16, emu::EditorKind::Word, false) == L"Hellohttp://sp/lib/a.doc \r\n world");
    CHECK(insertInto(11, emu::EditorKind::Html, false) == L"Hellohttp://sp/lib/a.doc \r\n world");
    CHECK(insertInto(9, emu::EditorKind::Html, true) == L"http://sp/lib/a.doc \r\nHello world");
}

TEST_CASE("without a window the insertion fails with an error, and references are given back") {
    auto safe = qbx::makeObject<cSafeInspector>();
    qbx::Disp d(safe.get());
    CHECK_THROWS_AS(d.get(L"InsertText", L"x"), qbx::Error);
    emu::Outlook ol;
    emu::Inspector* w = ol.openCompose();
    d.putRef(L"Item", qbx::Disp(w->disp()));
    d.reset();
    safe.reset();
    CHECK(ol.references().total() == 0);
}

TEST_CASE("the link goes into this window at the user's cursor, with other windows of the same caption and other documents open") {
    struct Case {
        emu::EditorKind editor;
        int version;
    } const cases[] = {{emu::EditorKind::Plain, 9}, {emu::EditorKind::Rich, 11}, {emu::EditorKind::Word, 12},
                       {emu::EditorKind::Word, 16}};
    for (const Case& c : cases) {
        CAPTURE(static_cast<int>(c.editor));
        CAPTURE(c.version);
        emu::Knobs k;
        k.version = c.version;
        k.editor = c.editor;
        emu::Outlook ol(k);
        emu::Inspector* mine = ol.openCompose();
        ol.typeText(mine, L"Hello world");
        ol.moveCursor(mine, 5);
        qbx::Disp(mine->item->disp()).put(L"To", L"a@b.example");
        // Another mail with the same caption opened later: in front, and
        // Word's active document.
        emu::Inspector* other = ol.openCompose();
        ol.typeText(other, L"Other text");
        REQUIRE(qbx::Disp(mine->disp()).get(L"Caption").toString() == qbx::Disp(other->disp()).get(L"Caption").toString());
        CHECK(qbx::Disp(mine->disp()).get(L"EditorType").toLong() ==
              (c.editor == emu::EditorKind::Plain ? 1 : c.editor == emu::EditorKind::Rich ? 3 : 4));

        auto safe = qbx::makeObject<cSafeInspector>();
        qbx::Disp d(safe.get());
        d.putRef(L"Item", qbx::Disp(mine->disp()));
        d.call(L"InsertText", L"http://sp/lib/a.doc \r\n");
        d.putRef(L"Item", qbx::Disp());
        CHECK(ol.mailText(mine) == L"Hellohttp://sp/lib/a.doc \r\n world");
        CHECK(ol.mailText(other) == L"Other text");
        if (c.editor != emu::EditorKind::Word) {
            CHECK(ol.fieldText(mine, L"To") == L"a@b.example");
            CHECK(ol.fieldText(mine, L"Subject") == L"");
            CHECK(ol.fieldText(other, L"To") == L"");
        }
    }
}
