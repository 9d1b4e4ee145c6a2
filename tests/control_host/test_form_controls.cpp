// The control host with a small control of the test's own: a label whose
// Caption is its window's text, once freely creatable and once demanding a
// run-time licence through IClassFactory2; and one of the add-in's pages.
#include "settings_ui/cOleControl.h"
#include "settings_ui/modControlHost.h"
#include "support/dispatch_object.h"
#include "tests/control_host/control_host_util.h"

namespace {

// {6F1C2A10-5B7E-4C33-9A51-2E0D7C4B8A01} and ...02
const CLSID CLSID_TestLabel = {0x6f1c2a10, 0x5b7e, 0x4c33, {0x9a, 0x51, 0x2e, 0x0d, 0x7c, 0x4b, 0x8a, 0x01}};
const CLSID CLSID_TestLicensedLabel = {0x6f1c2a10, 0x5b7e, 0x4c33, {0x9a, 0x51, 0x2e, 0x0d, 0x7c, 0x4b, 0x8a, 0x02}};
const wchar_t* const kLicenceKey = L"QBX-TEST-RUNTIME-KEY";

int liveLabels = 0;

class TestLabel final : public qbx::DispatchObject, public cOleControl {
public:
    TestLabel() : DispatchObject(L"TestLabel") {
        ++liveLabels;
        property(
            L"Caption", [this](qbx::Args&) { return qbx::Variant(caption_); },
            [this](qbx::Args&, const qbx::Variant& v) {
                caption_ = v.toString();
                if (controlWindow()) SetWindowTextW(controlWindow(), caption_.c_str());
            });
    }
    ~TestLabel() override { --liveLabels; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return DispatchObject::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return DispatchObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return DispatchObject::Release(); }

protected:
    HRESULT queryOther(REFIID iid, void** out) override { return queryOleInterface(iid, out); }
    const CLSID& classId() const override { return CLSID_TestLabel; }
    HWND createControlWindow(HWND parent, const RECT& r) override {
        return CreateWindowExW(0, L"STATIC", caption_.c_str(), WS_CHILD | WS_VISIBLE, r.left, r.top,
                               r.right - r.left, r.bottom - r.top, parent, nullptr, GetModuleHandleW(nullptr),
                               nullptr);
    }

private:
    std::wstring caption_ = L"label";
};

// The factory of both classes; the licensed one answers IClassFactory2 and
// creates only with the right key.
class LabelFactory final : public qbx::Unknown<IClassFactory2> {
public:
    explicit LabelFactory(bool licensed) : licensed_(licensed) {}
    bool answers(REFIID iid) const override {
        return iid == IID_IClassFactory || (licensed_ && iid == IID_IClassFactory2);
    }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (licensed_) {
            *out = nullptr;
            return CLASS_E_NOTLICENSED;
        }
        return make(outer, iid, out);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetLicInfo(LICINFO* info) override {
        info->fLicVerified = FALSE;
        info->fRuntimeKeyAvail = TRUE;
        ++licInfoCalls;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RequestLicKey(DWORD, BSTR* key) override {
        *key = qbx::Bstr(kLicenceKey).detach();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceLic(IUnknown* outer, IUnknown*, REFIID iid, BSTR key,
                                                void** out) override {
        *out = nullptr;
        if (!key || std::wstring(key) != kLicenceKey) return CLASS_E_NOTLICENSED;
        return make(outer, iid, out);
    }
    int licInfoCalls = 0;

private:
    static HRESULT make(IUnknown* outer, REFIID iid, void** out) {
        if (outer) return CLASS_E_NOAGGREGATION;
        qbx::ComPtr<IDispatch> label(new TestLabel());
        return label->QueryInterface(iid, out);
    }
    bool licensed_;
};

long errorNumberOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const qbx::Error& e) {
        return e.number();
    }
    return 0;
}

}  // namespace

TEST_CASE("a control added by ProgID is hosted in atl.dll's container, placed in twips and removed") {
    qbx::ComPtr<IClassFactory> factory(new LabelFactory(false));
    hosttest::ClassRegistration registration(L"QuillboxTest.Label", CLSID_TestLabel, factory.get());
    hosttest::TestForm form;
    REQUIRE(fncTwipsPerPixelX(form.hWnd()) == doctest::Approx(15));  // 96 DPI under Xvfb
    REQUIRE(fncTwipsPerPixelY(form.hWnd()) == doctest::Approx(15));
    {
        cFormControls controls(form.hWnd());
        qbx::Disp ext = controls.Add(L"QuillboxTest.Label", L"lblTest");
        HWND host = controls.Window(L"LBLTEST");
        REQUIRE(host != nullptr);
        CHECK(hosttest::windowClass(host) == L"AtlAxWin");
        CHECK(GetParent(host) == form.hWnd());

        // Hidden at 0, 0 with no size until placed.
        CHECK_FALSE(ext.get(L"Visible").toBool());
        RECT r = hosttest::placement(host);
        CHECK(r.left == 0);
        CHECK(r.right - r.left == 0);

        ext.put(L"Left", 1500);
        ext.put(L"Top", 750);
        ext.put(L"Width", 3000);
        ext.put(L"Height", 1500);
        ext.put(L"Visible", true);
        hosttest::pump();
        r = hosttest::placement(host);
        CHECK(r.left == 100);
        CHECK(r.top == 50);
        CHECK(r.right == 300);
        CHECK(r.bottom == 150);
        CHECK(IsWindowVisible(host));
        // A value between whole pixels reads back as written.
        ext.put(L"Top", 1000);
        CHECK(ext.get(L"Top").toDouble() == doctest::Approx(1000));
        CHECK(hosttest::placement(host).top == 67);
        // Moved from outside: the window's place wins.
        SetWindowPos(host, nullptr, 10, 20, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        CHECK(ext.get(L"Left").toDouble() == doctest::Approx(150));

        // The container activated the control in place inside the host and
        // keeps its window the host's size.
        HWND label = GetWindow(host, GW_CHILD);
        REQUIRE(label != nullptr);
        CHECK(hosttest::windowClass(label) == L"Static");
        RECT client{};
        GetClientRect(label, &client);
        CHECK(client.right == 200);
        CHECK(client.bottom == 100);

        // object reaches the control's own members; the extender forwards
        // names it does not know.
        qbx::Disp object = ext.getObj(L"object");
        object.put(L"Caption", L"Libraries");
        CHECK(hosttest::windowText(label) == L"Libraries");
        CHECK(ext.get(L"caption").toString() == L"Libraries");
        CHECK(controls.Item(L"LblTest").sameAs(ext));

        CHECK(errorNumberOf([&] { controls.Add(L"QuillboxTest.Label", L"LBLtest"); }) == 360);
        CHECK(errorNumberOf([&] { controls.Add(L"QuillboxTest.NoSuchClass", L"lblOther"); }) == 429);
        CHECK(controls.Window(L"lblOther") == nullptr);

        object.reset();
        controls.Remove(L"lblTest");
        CHECK_FALSE(IsWindow(host));
        CHECK(liveLabels == 0);
        CHECK(errorNumberOf([&] { ext.get(L"Left"); }) == 91);
        CHECK(errorNumberOf([&] { controls.Remove(L"lblTest"); }) == 730);

        // Controls still on the window go with the collection.
        controls.Add(L"QuillboxTest.Label", L"lblLast");
        CHECK(liveLabels == 1);
    }
    CHECK(liveLabels == 0);
}

TEST_CASE("a class demanding a run-time licence is created only with the form's licence entry") {
    auto* licensed = new LabelFactory(true);
    qbx::ComPtr<IClassFactory> factory(licensed);
    hosttest::ClassRegistration registration(L"QuillboxTest.LicensedLabel", CLSID_TestLicensedLabel, factory.get());
    hosttest::TestForm form;
    cFormControls controls(form.hWnd());

    // No entry: the class's own refusal reaches the caller.
    CHECK(errorNumberOf([&] { controls.Add(L"QuillboxTest.LicensedLabel", L"lbl1"); }) == CLASS_E_NOTLICENSED);
    CHECK(controls.Window(L"lbl1") == nullptr);
    CHECK(liveLabels == 0);

    // A wrong key is refused the same way.
    controls.AddLicense(L"QuillboxTest.LicensedLabel", L"wrong");
    CHECK(errorNumberOf([&] { controls.Add(L"QuillboxTest.LicensedLabel", L"lbl2"); }) == CLASS_E_NOTLICENSED);

    // An empty key: the run-time key is asked of the class and used.
    controls.AddLicense(L"quillboxtest.licensedlabel");
    CHECK(controls.HasLicense(L"QUILLBOXTEST.LICENSEDLABEL"));
    qbx::Disp ext = controls.Add(L"QuillboxTest.LicensedLabel", L"lbl3");
    CHECK(licensed->licInfoCalls == 1);
    CHECK(ext.getObj(L"object").get(L"Caption").toString() == L"label");

    // The right key given outright.
    controls.AddLicense(L"QuillboxTest.LicensedLabel", kLicenceKey);
    controls.Add(L"QuillboxTest.LicensedLabel", L"lbl4");
    CHECK(licensed->licInfoCalls == 1);
    CHECK(liveLabels == 2);
}

TEST_CASE("a page of the add-in's own is made from the page table and answers through its extender") {
    struct PageObject : qbx::DispatchObject {
        PageObject() : DispatchObject(L"TestPage") {
            method(L"subSaveSettings", [this](qbx::Args&) {
                ++saves;
                return qbx::Variant();
            });
        }
        int saves = 0;
    };
    PageObject* made = nullptr;
    cFormControls::RegisterPage(L"Quillbox.TestPage", [&made](HWND form) {
        auto object = qbx::makeObject<PageObject>();
        made = object.get();
        cFormControls::Page page;
        page.object = qbx::Disp(qbx::ComPtr<IDispatch>(object.get()));
        page.window = CreateWindowExW(0, L"STATIC", L"page", WS_CHILD | WS_VISIBLE, 5, 5, 50, 50, form, nullptr,
                                      GetModuleHandleW(nullptr), nullptr);
        return page;
    });
    hosttest::TestForm form;
    cFormControls controls(form.hWnd());
    qbx::Disp ext = controls.Add(L"quillbox.testpage", L"pagLibraries");
    HWND window = controls.Window(L"pagLibraries");
    REQUIRE(made != nullptr);
    CHECK_FALSE(IsWindowVisible(window));
    ext.put(L"Width", 4500);
    ext.put(L"Visible", true);
    CHECK(hosttest::placement(window).right == 300);
    CHECK(IsWindowVisible(window));
    ext.call(L"subSaveSettings");
    CHECK(made->saves == 1);
    CHECK(ext.getObj(L"object").typeName() == L"TestPage");
    controls.Remove(L"PAGLIBRARIES");
    CHECK_FALSE(IsWindow(window));
}
