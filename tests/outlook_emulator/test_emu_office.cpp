// Command bars and buttons, the add-in connection as Outlook makes it, and
// when and which ribbon documents are taken.
#include "tests/outlook_emulator/emu_test_util.h"

using namespace emutest;

namespace {

// An add-in with both faces Office uses: IDTExtensibility2, also reachable
// through IDispatch (DISPIDs 1-5), and IRibbonExtensibility.
class FakeAddin final : public IDTExtensibility2, public IRibbonExtensibility {
public:
    IUnknown* unknown() { return static_cast<IDTExtensibility2*>(this); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == qbx::IID_IDTExtensibility2) *out = unknown();
        else if (iid == qbx::IID_IRibbonExtensibility) *out = static_cast<IRibbonExtensibility*>(this);
        else *out = nullptr;
        return *out ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG n = --refs_;
        if (!n) delete this;
        return n;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { *n = 0; return S_OK; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
        const Texts face{L"OnConnection", L"OnDisconnection", L"OnAddInsUpdate", L"OnStartupComplete",
                         L"OnBeginShutdown"};
        auto it = std::find(face.begin(), face.end(), names[0]);
        *ids = it == face.end() ? DISPID_UNKNOWN : static_cast<DISPID>(it - face.begin() + 1);
        return it == face.end() ? DISP_E_UNKNOWNNAME : S_OK;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID, WORD flags, DISPPARAMS* dp, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        if (riid != IID_NULL || flags != DISPATCH_METHOD || id < 1 || id > 5) return DISP_E_MEMBERNOTFOUND;
        calls.push_back(L"Invoke");
        qbx::Args a(dp);  // arguments in declaration order
        if (id == 1) return OnConnection(a.obj(0).get(), a.value(1).toLong(), a.obj(2).get(), nullptr);
        if (id == 2) return OnDisconnection(a.value(0).toLong(), nullptr);
        return note(id == 3 ? L"OnAddInsUpdate" : id == 4 ? L"OnStartupComplete" : L"OnBeginShutdown");
    }
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* app, int mode, IDispatch* inst, SAFEARRAY**) override {
        application = Disp(app);
        connectMode = mode;
        instanceIsComAddIn = inst && Disp(inst).typeName() == L"COMAddIn";
        return note(L"OnConnection");
    }
    HRESULT STDMETHODCALLTYPE OnDisconnection(int, SAFEARRAY**) override {
        application = Disp();  // an add-in lets go of Outlook here
        return note(L"OnDisconnection");
    }
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) override { return note(L"OnAddInsUpdate"); }
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) override { return note(L"OnStartupComplete"); }
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) override { return note(L"OnBeginShutdown"); }
    HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR id, BSTR* xml) override {
        ribbonIds.push_back(id ? id : L"");
        *xml = SysAllocString(ribbonXml.c_str());
        return S_OK;
    }

    Texts calls;             // in order; "Invoke" before each call made through IDispatch
    std::wstring ribbonXml;  // what GetCustomUI answers, for any id
    Texts ribbonIds;
    Disp application;
    int connectMode = -1;
    bool instanceIsComAddIn = false;

private:
    HRESULT note(const wchar_t* call) { calls.push_back(call); return S_OK; }
    ULONG refs_ = 0;
};

const std::wstring kCompose = L"Microsoft.Outlook.Mail.Compose", kRead = L"Microsoft.Outlook.Mail.Read";

// What an add-in does on each activation of a window: reuse its button by
// tag, or add a temporary one and set it up.
Disp addButton(emu::Inspector* w) {
    Disp bar = Disp(w->disp()).getObj(L"CommandBars").item(L"Standard");
    Disp found = bar.get(L"FindControl", qbx::missing, qbx::missing, L"OSAttachments").toDisp();
    if (found) return found;
    Disp b = bar.getObj(L"Controls").get(L"Add", 1, qbx::missing, qbx::missing, qbx::missing, true).toDisp();
    for (auto& [name, value] : std::initializer_list<std::pair<const wchar_t*, Variant>>{
             {L"Width", 25}, {L"Style", 1}, {L"Caption", L"Configure"}, {L"Tag", L"OSAttachments"}, {L"Visible", true}})
        b.put(name, value);
    return b;
}

}  // namespace

TEST_CASE("command bars: a button reused by its tag, its settings in order, Click on all of a tag, kept or gone") {
    emu::Outlook ol;
    emu::Inspector* w1 = ol.openCompose();
    emu::Inspector* w2 = ol.openCompose();
    emu::CommandBarButton* b = nullptr;
    {
        Disp bars = Disp(w1->disp()).getObj(L"CommandBars");
        Disp controls = bars.item(L"standard").getObj(L"Controls");
        long builtIns = controls.get(L"Count").toLong();
        CHECK(controls.item(L"Send").get(L"Id").toLong() == 2617);
        Disp first = addButton(w1);
        CHECK(addButton(w1).sameAs(first));
        CHECK(controls.get(L"Count").toLong() == builtIns + 1);
        CHECK(bars.get(L"FindControl", qbx::missing, qbx::missing, L"OSAttachments").toDisp().sameAs(first));
        b = emu::ours<emu::CommandBarButton>(Variant(first));
        REQUIRE(b);
        CHECK(b->setOrder ==
              Texts{L"Width=25", L"Style=1", L"Caption=Configure", L"Tag=OSAttachments", L"Visible=True"});

        // Click(Ctrl, CancelDefault) on the clicked button, then on the other of its tag; CancelDefault travels.
        Variant ctrl, cancel;
        qbx::EventConnection clicked, other;
        clicked.connect(first, {qbx::DIID_CommandBarButtonEvents}, {{1, [](qbx::Args& a) { a.setBool(1, true); }}});
        other.connect(addButton(w2), {qbx::DIID_CommandBarButtonEvents},
                      {{1, [&](qbx::Args& a) { ctrl = a.value(0); cancel = a.value(1); }}});
        CHECK(ol.clickButton(w1, L"Configure"));
        CHECK(emu::ours<emu::CommandBarButton>(ctrl) == b);
        CHECK(cancel.toBool());
        controls.get(L"Add", 1).toDisp().put(L"Tag", L"Forever");  // Temporary omitted: False
    }
    ol.close(w1);
    CHECK(b->deleted);
    CHECK(ol.references().total() == 0);
    Disp bars3 = Disp(ol.openCompose()->disp()).getObj(L"CommandBars");
    CHECK_FALSE(bars3.get(L"FindControl", qbx::missing, qbx::missing, L"Forever").isNothing());
    CHECK(bars3.get(L"FindControl", qbx::missing, qbx::missing, L"OSAttachments").isNothing());
}

TEST_CASE("the add-in: connected and let go in Outlook's order; its ribbon asked for from 12 on, once per kind") {
    auto doc = [](std::wstring ns, std::wstring inside = L"<ribbon/>") {
        return L"<customUI xmlns=\"http://schemas.microsoft.com/office/" + ns + L"/customui\" onLoad=\"OnLoad\">" +
               inside + L"</customUI>";
    };
    struct Case { int version; bool throughDispatch; std::wstring xml; bool taken; Texts ribbonIds; };
    const Case cases[] = {
        {11, false, doc(L"2006/01"), false, {}},
        {11, true, doc(L"2006/01"), false, {}},
        {12, false, doc(L"2006/01", L"<ribbon>"), false, {kCompose, kRead}},  // not well-formed
        {12, false, doc(L"2009/07"), false, {kCompose, kRead}},                // too new for Outlook 2007
        {12, false, doc(L"2006/01"), true, {kCompose, kRead}},
        {16, true, doc(L"2009/07"), true, {L"Microsoft.Outlook.Explorer", kCompose, kRead}},
    };
    for (const Case& c : cases) {
        CAPTURE(c.version);
        CAPTURE(c.throughDispatch);
        qbx::ComPtr<FakeAddin> addin(new FakeAddin());
        addin->ribbonXml = c.xml;
        emu::Outlook ol({.version = c.version, .addinThroughDispatch = c.throughDispatch});
        REQUIRE(ol.connectAddin(addin->unknown()));
        CHECK(addin->connectMode == 1);
        CHECK(addin->instanceIsComAddIn);
        qbx::EventConnection quit;
        quit.connect(addin->application, {qbx::DIID_ApplicationEvents_11},
                     {{qbx::dispid::Quit, [&](qbx::Args&) {
                           addin->calls.push_back(L"Quit");
                           quit.disconnect();
                       }}});
        ol.fireStartup();
        ol.openCompose();
        ol.openCompose();
        ol.openItem(ol.receiveMail(L"Hello"));
        CHECK(addin->ribbonIds == c.ribbonIds);
        if (c.version >= 12) CHECK(ol.ribbons().at(kCompose).accepted == c.taken);
        CHECK(ol.callbacks().empty() == !c.taken);  // onLoad only for a document taken
        ol.shutdown();
        // From Outlook 2010 on the fast shutdown raises Quit only.
        const bool fast = emu::fastShutdownFor(c.version);
        Texts expected;
        for (std::wstring call : {L"OnConnection", L"OnAddInsUpdate", L"OnStartupComplete", L"OnBeginShutdown", L"Quit",
                                  L"OnDisconnection"}) {
            if (fast && call != L"Quit" && (call == L"OnBeginShutdown" || call == L"OnDisconnection")) continue;
            if (c.throughDispatch && call != L"Quit") expected.push_back(L"Invoke");
            expected.push_back(call);
        }
        CHECK(addin->calls == expected);
        if (fast) {
            // This add-in lets go of Outlook only in OnDisconnection, which
            // never comes: it still holds the application, and releasing it
            // now counts as a release after Quit.
            CHECK(ol.references().total() == 1);
            addin->application = qbx::Disp();
            CHECK(ol.releasesAfterQuit() == 1);
        }
        CHECK(ol.references().total() == 0);
    }
}
