// The emulated Outlook's plumbing: connection points and event delivery,
// reference accounting, injected failures, the version knob and the
// Assistant, and objects outliving the emulator.
#include <doctest/doctest.h>

#include "support/events.h"
#include "tests/test_support.h"
#include "tests/testbed_cpp/emu_test_util.h"

using emutest::RawSink;
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

}  // namespace

TEST_CASE("events reach every sink in advise order, each on the newest interface it chose; Cancel is read back") {
    emu::Outlook ol;  // Outlook 2003
    std::vector<std::string> order;
    Variant cancelSeenBySecond;
    qbx::EventConnection first, second;
    {
        Disp app = ol.application();
        REQUIRE(first.connect(app, {qbx::DIID_ApplicationEvents_11, qbx::DIID_ApplicationEvents},
                              {{qbx::dispid::ItemSend, [&](qbx::EventArgs& a) {
                                    order.push_back("first");
                                    CHECK(a.obj(0).typeName() == L"MailItem");
                                    a.setBool(1, true);
                                }}}));
        REQUIRE(second.connect(app, {qbx::DIID_ApplicationEvents},
                               {{qbx::dispid::ItemSend, [&](qbx::EventArgs& a) {
                                     order.push_back("second");
                                     cancelSeenBySecond = a.value(1);
                                 }}}));
    }
    CHECK(first.iid() == qbx::DIID_ApplicationEvents_11);
    emu::Inspector* w = ol.openCompose();
    CHECK(ol.fireItemSend(w->item));
    CHECK(order == std::vector<std::string>{"first", "second"});
    CHECK(cancelSeenBySecond.toBool());  // one Cancel flag travels through all sinks

    // By-reference Cancel arrives as VT_BYREF|VT_BOOL after the item.
    RawSink raw(&qbx::DIID_ApplicationEvents_10);
    qbx::ComPtr<IConnectionPointContainer> cpc;
    ol.app()->QueryInterface(IID_IConnectionPointContainer, cpc.putVoid());
    qbx::ComPtr<IConnectionPoint> cp;
    REQUIRE(SUCCEEDED(cpc->FindConnectionPoint(qbx::DIID_ApplicationEvents_10, cp.put())));
    DWORD cookie = 0;
    REQUIRE(SUCCEEDED(cp->Advise(&raw, &cookie)));
    ol.fireItemSend(w->item);
    REQUIRE(raw.lastArgTypes.size() == 2);
    CHECK(raw.lastArgTypes[0].vt == (VT_BYREF | VT_BOOL));
    CHECK(raw.lastArgTypes[1].vt == VT_DISPATCH);
    CHECK(SUCCEEDED(cp->Unadvise(cookie)));
    CHECK(cp->Unadvise(cookie) == CONNECT_E_NOCONNECTION);
}

TEST_CASE("connection points follow the Outlook version, and Advise wants the event interface itself") {
    emu::Knobs k;
    k.version = 9;
    emu::Outlook ol(k);
    qbx::ComPtr<IConnectionPointContainer> cpc;
    ol.app()->QueryInterface(IID_IConnectionPointContainer, cpc.putVoid());
    qbx::ComPtr<IConnectionPoint> cp;
    CHECK(cpc->FindConnectionPoint(qbx::DIID_ApplicationEvents_11, cp.put()) == CONNECT_E_NOCONNECTION);
    CHECK(cpc->FindConnectionPoint(qbx::DIID_ApplicationEvents_10, cp.put()) == CONNECT_E_NOCONNECTION);
    REQUIRE(SUCCEEDED(cpc->FindConnectionPoint(qbx::DIID_ApplicationEvents, cp.put())));

    RawSink dispatchOnly(nullptr);
    DWORD cookie = 0;
    CHECK(cp->Advise(&dispatchOnly, &cookie) == CONNECT_E_CANNOTCONNECT);
    CHECK(dispatchOnly.refs == 0);
    CHECK(ol.references().sinks == 0);
}

TEST_CASE("a sink may unadvise itself, or another sink, during the event") {
    RawSink later(&qbx::DIID_ApplicationEvents);  // outlives the emulator, which releases it
    emu::Outlook ol;
    int selfCalls = 0, laterCalls = 0;
    qbx::EventConnection self, other;
    {
        Disp app = ol.application();
        self.connect(app, {qbx::DIID_ApplicationEvents_11}, {{qbx::dispid::NewMail, [&](qbx::EventArgs&) {
                                                                   ++selfCalls;
                                                                   self.disconnect();
                                                                   other.disconnect();
                                                               }}});
        other.connect(app, {qbx::DIID_ApplicationEvents_10}, {{qbx::dispid::NewMail, [&](qbx::EventArgs&) { FAIL("unadvised sink called"); }}});
    }
    qbx::ComPtr<IConnectionPointContainer> cpc;
    ol.app()->QueryInterface(IID_IConnectionPointContainer, cpc.putVoid());
    qbx::ComPtr<IConnectionPoint> cp;
    cpc->FindConnectionPoint(qbx::DIID_ApplicationEvents, cp.put());
    DWORD cookie = 0;
    cp->Advise(&later, &cookie);
    later.onEvent = [&](DISPID, DISPPARAMS*) { ++laterCalls; };
    cp.reset();
    cpc.reset();

    ol.receiveMail(L"one");
    ol.receiveMail(L"two");
    CHECK(selfCalls == 1);
    CHECK(laterCalls == 2);
    CHECK(ol.references().sinks == 1);  // the raw sink is still advised: it counts as held
    CHECK(ol.references().refs == 0);
}

TEST_CASE("reference accounting counts what others hold, connection points included") {
    emu::Outlook ol;
    CHECK(ol.references().total() == 0);
    emu::Inspector* w = ol.openCompose();
    {
        Disp app = ol.application();
        Disp inspector = app.getObj(L"ActiveInspector");
        Disp item = inspector.getObj(L"CurrentItem");
        qbx::EventConnection events;
        events.connect(item, {qbx::DIID_ItemEvents_10, qbx::DIID_ItemEvents}, {});
        emu::References r = ol.references();
        CHECK(r.sinks == 1);
        CHECK(r.refs == 4);  // application, inspector, item, the item's connection point
        CHECK(w->refCount() == 1);
        long n = 0;
        app.getObj(L"Inspectors").forEach([&](const Variant&) { ++n; });
        CHECK(n == 1);
        CHECK(ol.references().refs == 4);  // the walk left nothing behind
    }
    CHECK(ol.references().total() == 0);
}

TEST_CASE("injected failures hit the named member for the given number of calls") {
    emu::Outlook ol;
    Disp inbox = ol.nameSpace().getObj(L"GetDefaultFolder", 6);
    ol.failNext(L"folders.add", 1, -2147024891, L"Access denied by the test");
    try {
        inbox.getObj(L"Folders").call(L"Add", L"QBXSettings", 6);
        FAIL("no error");
    } catch (const qbx::Error& e) {
        CHECK(e.number() == -2147024891);
        CHECK(e.description() == L"Access denied by the test");
    }
    CHECK_NOTHROW(inbox.getObj(L"Folders").call(L"Add", L"QBXSettings", 6));

    // "=" limits the failure to assignments.
    Disp item = inbox.getObj(L"Items").call(L"Add", L"IPM.Post").toDisp();
    Disp prop = item.getObj(L"UserProperties").call(L"Add", L"strSites", 1).toDisp();
    ol.failNext(L"UserProperty.Value=", -1, 13, L"Type mismatch");
    CHECK_NOTHROW(prop.get(L"Value"));
    CHECK(errorOf([&] { prop.put(L"Value", L"x"); }) == 13);
    CHECK(errorOf([&] { prop.put(L"Value", L"y"); }) == 13);
    ol.clearFailures();
    CHECK_NOTHROW(prop.put(L"Value", L"z"));
    CHECK(std::find(ol.callLog().begin(), ol.callLog().end(), L"UserProperty.Value=") != ol.callLog().end());
}

TEST_CASE("the version knob: Version text, Outlook's interface IDs, and the Assistant up to Outlook 2003 only") {
    const std::pair<int, const wchar_t*> versions[] = {
        {9, L"9.0.0.2711"}, {10, L"10.0.0.2627"}, {11, L"11.0.0.5510"}, {12, L"12.0.0.4518"}, {16, L"16.0.0.0"}};
    for (auto [v, text] : versions) {
        emu::Knobs k;
        k.version = v;
        emu::Outlook ol(k);
        Disp app = ol.application();
        CHECK(app.get(L"Version").toString() == text);
        CHECK(app.ptr().as<IUnknown>(qbx::IID_OutlookApplication));
        CHECK_FALSE(app.ptr().as<IUnknown>(qbx::IID_OutlookInspector));
        if (v <= 11) {
            Disp assistant = app.getObj(L"Assistant");
            assistant.put(L"Visible", true);
            assistant.put(L"Animation", 25);
            CHECK(assistant.call(L"DoAlert", L"Quillbox", L"Sure?", 4, 2, 0, -1, false).toLong() == 7);  // No
            CHECK(errorOf([&] { assistant.call(L"DoAlert", L"Quillbox", L"missing arguments"); }) == 449);
            REQUIRE(ol.balloons().size() == 1);
            CHECK(ol.balloons()[0].text == L"Sure?");
            CHECK(ol.animations() == std::vector<long>{25});
        } else {
            CHECK(errorOf([&] { app.get(L"Assistant"); }) == 438);
        }
    }
    emu::Knobs k;
    k.assistant = emu::AssistantMode::Absent;
    emu::Outlook ol(k);
    CHECK(errorOf([&] { ol.application().get(L"Assistant"); }) == 438);
}

TEST_CASE("objects still held when the emulator goes fail like a vanished server and free themselves") {
    Disp app, item;
    {
        emu::Outlook ol;
        app = ol.application();
        item = ol.openCompose()->item->var().toDisp();
    }
    CHECK(errorOf([&] { app.get(L"Version"); }) == emu::errors::kServerGone);
    CHECK(errorOf([&] { item.put(L"Subject", L"x"); }) == emu::errors::kServerGone);
    app.reset();
    item.reset();
}
