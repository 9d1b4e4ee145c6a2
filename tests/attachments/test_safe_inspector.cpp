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
        qbx::Disp(w->disp()).call(L"Activate");
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
    CHECK_THROWS_AS(d.call(L"InsertText", L"x"), qbx::Error);
    emu::Outlook ol;
    emu::Inspector* w = ol.openCompose();
    d.putRef(L"Item", qbx::Disp(w->disp()));
    d.reset();
    safe.reset();
    CHECK(ol.references().total() == 0);
}
