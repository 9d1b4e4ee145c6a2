// Command bars and buttons, the add-in connection as Outlook makes it, and
// the ribbon with its callbacks called by name.
#include <doctest/doctest.h>

#include "support/events.h"
#include "tests/test_support.h"
#include "tests/testbed_cpp/emu_test_util.h"

using emutest::FakeAddin;
using qbx::Disp;
using qbx::Variant;

namespace {

// What an add-in does on each activation of a window: reuse its button by
// tag, or add a temporary one and set it up.
Disp addButton(emu::Inspector* w) {
    Disp bar = Disp(w->disp()).getObj(L"CommandBars").item(L"Standard");
    Disp found;
    bar.getObj(L"Controls").forEach([&](const Variant& v) {
        Disp c = v.toDisp();
        if (!c.get(L"BuiltIn").toBool() && c.get(L"Tag").toString() == L"OSAttachments") found = c;
    });
    if (found) return found;
    Disp b = bar.getObj(L"Controls").call(L"Add", 1, qbx::missing, qbx::missing, qbx::missing, true).toDisp();
    b.put(L"Width", 25);
    b.put(L"Style", 1);
    b.put(L"Caption", L"Configure");
    b.put(L"Tag", L"OSAttachments");
    b.put(L"Visible", true);
    return b;
}

}  // namespace

TEST_CASE("command bars: built-in buttons, a button reused by its tag, the order of its settings, gone with the window") {
    emu::Outlook ol;
    emu::Inspector* w = ol.openCompose();
    Disp bars = Disp(w->disp()).getObj(L"CommandBars");
    Disp standard = bars.item(L"standard");
    CHECK(standard.get(L"Name").toString() == L"Standard");
    CHECK(Disp(standard.getObj(L"Controls").item(1)).get(L"BuiltIn").toBool());
    long builtIns = standard.getObj(L"Controls").get(L"Count").toLong();
    CHECK(builtIns >= 3);
    CHECK(standard.getObj(L"Controls").item(L"Send").get(L"Id").toLong() == 2617);

    Disp first = addButton(w);
    Disp again = addButton(w);
    CHECK(first.sameAs(again));
    CHECK(standard.getObj(L"Controls").get(L"Count").toLong() == builtIns + 1);
    emu::CommandBarButton* b = emu::ours<emu::CommandBarButton>(Variant(first));
    REQUIRE(b);
    CHECK(b->temporary);
    CHECK(b->setOrder == std::vector<std::wstring>{L"Width=25", L"Style=1", L"Caption=Configure", L"Tag=OSAttachments", L"Visible=True"});
    CHECK(bars.call(L"FindControl", qbx::missing, qbx::missing, L"OSAttachments").toDisp().sameAs(first));

    // Click(Ctrl, CancelDefault): the control and a by-reference Boolean.
    Variant ctrlType;
    VARTYPE cancelType = VT_EMPTY;
    emutest::RawSink sink(&qbx::DIID_CommandBarButtonEvents);
    sink.onEvent = [&](DISPID id, DISPPARAMS* dp) {
        CHECK(id == 1);
        REQUIRE(dp->cArgs == 2);
        cancelType = dp->rgvarg[0].vt;
        ctrlType = Variant(Disp::fromUnknown(dp->rgvarg[1].pdispVal).typeName());
        *dp->rgvarg[0].pboolVal = VARIANT_TRUE;
    };
    {
        qbx::ComPtr<IConnectionPointContainer> cpc;
        b->QueryInterface(IID_IConnectionPointContainer, cpc.putVoid());
        qbx::ComPtr<IConnectionPoint> cp;
        REQUIRE(SUCCEEDED(cpc->FindConnectionPoint(qbx::DIID_CommandBarButtonEvents, cp.put())));
        DWORD cookie = 0;
        REQUIRE(SUCCEEDED(cp->Advise(&sink, &cookie)));
        CHECK(ol.clickButton(w, L"OSAttachments"));
        cp->Unadvise(cookie);
    }
    CHECK(cancelType == (VT_BYREF | VT_BOOL));
    CHECK(ctrlType.toString() == L"CommandBarButton");

    first.reset();
    again.reset();
    standard.reset();
    bars.reset();
    ol.close(w);
    CHECK(b->deleted);
    CHECK(ol.references().total() == 0);
}

TEST_CASE("buttons sharing a tag all raise Click; a button that was not temporary comes back in the next window") {
    emu::Outlook ol;
    emu::Inspector* w1 = ol.openCompose();
    emu::Inspector* w2 = ol.openCompose();
    int clicks1 = 0, clicks2 = 0;
    qbx::EventConnection c1, c2;
    c1.connect(addButton(w1), {qbx::DIID_CommandBarButtonEvents}, {{1, [&](qbx::EventArgs&) { ++clicks1; }}});
    c2.connect(addButton(w2), {qbx::DIID_CommandBarButtonEvents}, {{1, [&](qbx::EventArgs&) { ++clicks2; }}});
    CHECK(ol.clickButton(w2, L"Configure"));
    CHECK(clicks1 == 1);
    CHECK(clicks2 == 1);
    c1.disconnect();
    c2.disconnect();

    Disp bar = Disp(w1->disp()).getObj(L"CommandBars").item(L"Standard");
    Disp kept = bar.getObj(L"Controls").call(L"Add", 1).toDisp();  // Temporary omitted: False
    kept.put(L"Tag", L"Forever");
    kept.reset();
    bar.reset();
    ol.close(w1);
    emu::Inspector* w3 = ol.openCompose();
    CHECK(Disp(w3->disp()).getObj(L"CommandBars").call(L"FindControl", qbx::missing, qbx::missing, L"Forever").isObject());
    CHECK(Disp(w3->disp()).getObj(L"CommandBars").call(L"FindControl", qbx::missing, qbx::missing, L"OSAttachments").isNothing());
}

TEST_CASE("the add-in is connected and let go as Outlook does, through the vtable or through IDispatch") {
    for (bool throughDispatch : {false, true}) {
        CAPTURE(throughDispatch);
        qbx::ComPtr<FakeAddin> addin(new FakeAddin());
        emu::Knobs k;
        k.addinThroughDispatch = throughDispatch;
        emu::Outlook ol(k);
        REQUIRE(ol.connectAddin(addin.get()));
        CHECK(addin->connectMode == 1);
        CHECK(addin->addinInstanceIsComAddIn);
        CHECK(addin->application.get(L"Version").toString() == L"11.0.0.5510");
        qbx::EventConnection quit;
        quit.connect(addin->application, {qbx::DIID_ApplicationEvents_11}, {{qbx::dispid::Quit, [&](qbx::EventArgs&) {
                                                                                 addin->calls.push_back(L"Quit");
                                                                                 quit.disconnect();
                                                                             }}});
        ol.fireStartup();
        ol.shutdown();
        std::vector<std::wstring> calls;
        for (const auto& c : addin->calls)
            if (c != L"Invoke") calls.push_back(c);
        CHECK(calls == std::vector<std::wstring>{L"OnConnection", L"OnAddInsUpdate", L"OnStartupComplete", L"OnBeginShutdown",
                                                  L"Quit", L"OnDisconnection"});
        CHECK(std::count(addin->calls.begin(), addin->calls.end(), L"Invoke") == (throughDispatch ? 5 : 0));
        CHECK(ol.references().total() == 0);
    }
}

TEST_CASE("the ribbon: asked for once per kind of window from Outlook 2007 on, callbacks called by name") {
    qbx::ComPtr<FakeAddin> addin(new FakeAddin());
    addin->ribbonXml = emutest::sampleRibbon();
    emu::Knobs k;
    k.version = 12;
    emu::Outlook ol(k);
    ol.connectAddin(addin.get());
    CHECK(addin->ribbonIds.empty());
    emu::Inspector* w = ol.openCompose();
    ol.openCompose();
    CHECK(addin->ribbonIds == std::vector<std::wstring>{L"Microsoft.Outlook.Mail.Compose"});
    const emu::RibbonLoad& load = ol.ribbons().at(L"Microsoft.Outlook.Mail.Compose");
    CHECK(load.accepted);
    REQUIRE(load.buttons.size() == 1);
    CHECK(load.buttons[0].onAction == L"cmdShowSettings");
    CHECK(addin->ribbonUI.ptr().as<IUnknown>(qbx::IID_IRibbonUI));
    REQUIRE(ol.callbacks().size() == 2);
    CHECK(ol.callbacks()[1].name == L"getImages");
    CHECK(ol.callbacks()[1].resultIsPicture);

    CHECK(ol.clickRibbon(w, L"cmdShowSettings"));
    CHECK(addin->calls.back() == L"cmdShowSettings cmdShowSettings");
    CHECK(emu::ours<emu::Inspector>(Variant(addin->lastControl.getObj(L"Context"))) == w);
    CHECK_FALSE(ol.clickRibbon(w, L"noSuchButton"));

    ol.openItem(ol.receiveMail(L"Hello"));
    CHECK(addin->ribbonIds.back() == L"Microsoft.Outlook.Mail.Read");
    ol.shutdown();
}

TEST_CASE("a ribbon document Office would not take: not well-formed, or a namespace newer than the version") {
    for (const std::wstring& xml : {std::wstring(L"<customUI xmlns=\"http://schemas.microsoft.com/office/2006/01/customui\"><ribbon>"),
                                    emutest::sampleRibbon(L"http://schemas.microsoft.com/office/2009/07/customui")}) {
        qbx::ComPtr<FakeAddin> addin(new FakeAddin());
        addin->ribbonXml = xml;
        emu::Knobs k;
        k.version = 12;
        emu::Outlook ol(k);
        ol.connectAddin(addin.get());
        ol.openCompose();
        const emu::RibbonLoad& load = ol.ribbons().at(L"Microsoft.Outlook.Mail.Compose");
        CHECK_FALSE(load.accepted);
        CHECK_FALSE(load.problem.empty());
        CHECK(ol.callbacks().empty());
        ol.shutdown();
    }
    // Outlook 2003 has no ribbon at all; from 2010 on the explorer's is asked for at connection.
    for (int version : {11, 16}) {
        qbx::ComPtr<FakeAddin> addin(new FakeAddin());
        emu::Knobs k;
        k.version = version;
        emu::Outlook ol(k);
        ol.connectAddin(addin.get());
        ol.openCompose();
        CHECK(addin->ribbonIds == (version == 11 ? std::vector<std::wstring>{}
                                                 : std::vector<std::wstring>{L"Microsoft.Outlook.Explorer",
                                                                             L"Microsoft.Outlook.Mail.Compose"}));
        ol.shutdown();
    }
}
