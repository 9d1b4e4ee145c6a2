// The control host with a small control of the test's own: a label whose
// Caption is its window's text, once freely creatable and once demanding a
// run-time licence through IClassFactory2. (The add-in's own pages are
// proved on the settings window.)
#include "settings_ui/spreadsheet/cOleControl.h"
#include "settings_ui/spreadsheet/cOleControl_testing.h"
#include "settings_ui/modControlHost.h"
#include "support/com/dispatch_object.h"
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
                if (HWND window = cOleControlTesting::controlWindow(*this)) SetWindowTextW(window, caption_.c_str());
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

bool at(HWND window, long left, long top, long right, long bottom) {
    const RECT r = hosttest::placement(window);
    return r.left == left && r.top == top && r.right == right && r.bottom == bottom;
}

}  // namespace

using qbxtest::errorOf;

TEST_CASE("a control added by ProgID is hosted in atl.dll's container, placed in twips and removed") {
    qbx::ComPtr<IClassFactory> factory(new LabelFactory(false));
    hosttest::ClassRegistration registration(L"QuillboxTest.Label", CLSID_TestLabel, factory.get());
    hosttest::TestForm form;
    REQUIRE(fncTwipsPerPixelX(form.hWnd()) == doctest::Approx(15));  // 96 DPI under Xvfb
    {
        cFormControls controls(form.hWnd());
        qbx::Disp ext = controls.Add(L"QuillboxTest.Label", L"lblTest");
        HWND host = controls.Window(L"LBLTEST");
        REQUIRE(host != nullptr);
        CHECK(hosttest::windowClass(host) == L"AtlAxWin");
        CHECK(GetParent(host) == form.hWnd());

        // Hidden at 0, 0 with no size until placed.
        CHECK_FALSE(ext.get(L"Visible").toBool());
        CHECK(at(host, 0, 0, 0, 0));
        hosttest::place(ext, 1500, 750, 3000, 1500);
        hosttest::pump();
        CHECK(at(host, 100, 50, 300, 150));
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
        CHECK((client.right == 200 && client.bottom == 100));

        // object reaches the control's own members; the extender forwards
        // names it does not know.
        qbx::Disp object = ext.getObj(L"object");
        object.put(L"Caption", L"Libraries");
        CHECK(hosttest::windowText(label) == L"Libraries");
        CHECK(ext.get(L"caption").toString() == L"Libraries");
        CHECK(controls.Item(L"LblTest").sameAs(ext));

        CHECK(errorOf([&] { controls.Add(L"QuillboxTest.Label", L"LBLtest"); }) == 360);
        CHECK(errorOf([&] { controls.Add(L"QuillboxTest.NoSuchClass", L"lblOther"); }) == 429);
        CHECK(controls.Window(L"lblOther") == nullptr);

        object.reset();
        controls.Remove(L"lblTest");
        CHECK_FALSE(IsWindow(host));
        CHECK(liveLabels == 0);
        CHECK(errorOf([&] { ext.get(L"Left"); }) == 91);
        CHECK(errorOf([&] { controls.Remove(L"lblTest"); }) == 730);

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

    // No entry, then a wrong key: the class's own refusal reaches the caller.
    for (const wchar_t* name : {L"lbl1", L"lbl2"}) {
        CHECK(errorOf([&] { controls.Add(L"QuillboxTest.LicensedLabel", name); }) == CLASS_E_NOTLICENSED);
        CHECK(controls.Window(name) == nullptr);
        controls.AddLicense(L"QuillboxTest.LicensedLabel", L"wrong");
    }
    CHECK(liveLabels == 0);

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
