// The emulated Outlook's plumbing: event delivery, reference accounting,
// injected failures, the version knob and the Assistant.
#include "tests/outlook_emulator/emu_test_util.h"

using namespace emutest;

TEST_CASE("events: every sink in advise order on its newest interface, one by-reference Cancel, unadvising mid-event") {
    RawSink raw(&qbx::DIID_ApplicationEvents);
    emu::Outlook ol;  // Outlook 2003
    std::vector<std::string> order;
    Variant cancelSeenBySecond;
    qbx::EventConnection first, second;
    auto cp = pointOf(ol.app(), qbx::DIID_ApplicationEvents);
    DWORD cookie = 0;
    REQUIRE(first.connect(ol.application(), {qbx::DIID_ApplicationEvents_11, qbx::DIID_ApplicationEvents},
                          {{qbx::dispid::ItemSend, [&](qbx::Args& a) {
                                order.push_back("first");
                                CHECK(a.obj(0).typeName() == L"MailItem");
                                a.setBool(1, true);
                            }},
                           {qbx::dispid::NewMail, [&](qbx::Args&) {
                                order.push_back("new mail");
                                first.disconnect();  // itself, and a sink whose turn is still to come
                                cp->Unadvise(cookie);
                            }}}));
    REQUIRE(second.connect(ol.application(), {qbx::DIID_ApplicationEvents_10},
                           {{qbx::dispid::ItemSend, [&](qbx::Args& a) {
                                 order.push_back("second");
                                 cancelSeenBySecond = a.value(1);
                             }}}));
    REQUIRE(SUCCEEDED(cp->Advise(&raw, &cookie)));
    CHECK(first.iid() == qbx::DIID_ApplicationEvents_11);

    emu::Inspector* w = ol.openCompose();
    CHECK(ol.fireItemSend(w->item));  // the Cancel set by the first sink is read back
    CHECK(order == std::vector<std::string>{"first", "second"});
    CHECK(cancelSeenBySecond.toBool());
    ol.receiveMail(L"one");
    ol.receiveMail(L"two");
    CHECK(order == std::vector<std::string>{"first", "second", "new mail"});  // once: it let go of itself
    CHECK(raw.events == std::vector<DISPID>{qbx::dispid::ItemSend});
    CHECK(raw.refs == 0);
}

TEST_CASE("reference accounting counts what others hold and advised sinks; objects held past the emulator fail") {
    Disp app;
    {
        emu::Outlook ol;
        ol.openCompose();
        {
            Disp inspector = ol.application().getObj(L"ActiveInspector");
            qbx::EventConnection events;
            events.connect(inspector.getObj(L"CurrentItem"), {qbx::DIID_ItemEvents_10, qbx::DIID_ItemEvents}, {});
            CHECK(ol.references().sinks == 1);  // a sink still advised counts as held
            CHECK(ol.references().refs == 2);   // the inspector and the item's connection point
            ol.application().getObj(L"Inspectors").forEach([](const Variant&) {});
            CHECK(ol.references().refs == 2);  // the walk left nothing behind
        }
        CHECK(ol.references().total() == 0);
        app = ol.application();
    }
    CHECK(errorOf([&] { app.get(L"Version"); }) == emu::errors::kServerGone);
}

TEST_CASE("injected failures hit the named member for the given number of calls, '=' only assignments") {
    emu::Outlook ol;
    Disp folders = ol.nameSpace().getObj(L"GetDefaultFolder", 6).getObj(L"Folders");
    ol.failNext(L"folders.add", 1, -2147024891, L"Access denied by the test");
    std::wstring text;
    CHECK(errorOf([&] { folders.call(L"Add", L"QBXSettings", 6); }, &text) == -2147024891);
    CHECK(text == L"Access denied by the test");
    Disp item = folders.get(L"Add", L"QBXSettings", 6).toDisp().getObj(L"Items").get(L"Add", L"IPM.Post").toDisp();
    Disp prop = item.getObj(L"UserProperties").get(L"Add", L"strSites", 1).toDisp();
    ol.failNext(L"UserProperty.Value=", -1, 13, L"Type mismatch");
    CHECK(errorOf([&] { prop.get(L"Value"); }) == 0);
    CHECK(errorOf([&] { prop.put(L"Value", L"x"); }) == 13);
    CHECK(errorOf([&] { prop.put(L"Value", L"y"); }) == 13);
    ol.clearFailures();
    CHECK(errorOf([&] { prop.put(L"Value", L"z"); }) == 0);
    CHECK(std::count(ol.callLog().begin(), ol.callLog().end(), L"UserProperty.Value=") > 0);
}

TEST_CASE("the version knob: Version, connection points, Outlook's interfaces, the Assistant up to 11 only") {
    const std::pair<int, const wchar_t*> versions[] = {
        {9, L"9.0.0.2711"}, {10, L"10.0.0.2627"}, {11, L"11.0.0.5510"}, {12, L"12.0.0.4518"}, {16, L"16.0.0.0"}};
    const std::pair<IID, int> points[] = {
        {qbx::DIID_ApplicationEvents, 9}, {qbx::DIID_ApplicationEvents_10, 10}, {qbx::DIID_ApplicationEvents_11, 11}};
    for (auto [v, text] : versions) {
        CAPTURE(v);
        RawSink dispatchOnly(nullptr);
        emu::Outlook ol({.version = v});
        Disp app = ol.application();
        CHECK(app.get(L"Version").toString() == text);
        CHECK(app.ptr().as<IUnknown>(qbx::IID_OutlookApplication));
        for (auto [diid, from] : points) {
            auto cp = pointOf(ol.app(), diid);
            REQUIRE(bool(cp) == (v >= from));
            DWORD cookie = 0;
            if (cp) CHECK(cp->Advise(&dispatchOnly, &cookie) == CONNECT_E_CANNOTCONNECT);  // no event interface
        }
        CHECK(dispatchOnly.refs == 0);
        if (v >= 12) {
            CHECK(errorOf([&] { app.get(L"Assistant"); }) == 438);
            continue;
        }
        Disp assistant = app.getObj(L"Assistant");
        assistant.put(L"Animation", 25);
        if (v < 10) {
            // Office 2000's Assistant has no DoAlert.
            CHECK(errorOf([&] { assistant.call(L"DoAlert", L"Quillbox", L"Sure?", 4, 2, 0, -1, false); }) == 438);
            CHECK(ol.balloons().empty());
            continue;
        }
        CHECK(assistant.get(L"DoAlert", L"Quillbox", L"Sure?", 4, 2, 0, -1, false).toLong() == 7);  // No
        CHECK(errorOf([&] { assistant.call(L"DoAlert", L"Quillbox", L"missing arguments"); }) == 449);
        REQUIRE(ol.balloons().size() == 1);
        CHECK(ol.balloons()[0].text == L"Sure?");
        CHECK(ol.animations() == std::vector<long>{25});
    }
    emu::Outlook ol({.assistant = emu::AssistantMode::Absent});
    CHECK(errorOf([&] { ol.application().get(L"Assistant"); }) == 438);
}
