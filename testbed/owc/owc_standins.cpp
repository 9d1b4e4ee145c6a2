#include "testbed/owc/owc_standins.h"

#include "settings_ui/spreadsheet/spreadsheet_control.h"

#include <array>

namespace owcemu {

const CLSID CLSID_Owc10Spreadsheet = {0x0002e551, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const CLSID CLSID_Owc11Spreadsheet = {0x0002e559, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const CLSID CLSID_FirstGenerationSpreadsheet = {0x0002e510, 0x0000, 0x0000,
                                                {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

namespace {

constexpr std::array<Component, 4> kAll = {Component::Owc10, Component::Owc11, Component::FirstGeneration,
                                           Component::Quillbox};

std::wstring classesKey(Component c) { return std::wstring(L"Software\\Classes\\") + progId(c); }

bool keyExists(const std::wstring& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

bool writeProgId(Component c) {
    wchar_t text[64] = {};
    StringFromGUID2(classId(c), text, 64);
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, (classesKey(c) + L"\\CLSID").c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                        &key, nullptr) != ERROR_SUCCESS)
        return false;
    const LONG rc = RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                                   static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
    return rc == ERROR_SUCCESS;
}

}  // namespace

const wchar_t* progId(Component c) {
    switch (c) {
        case Component::Owc10: return L"OWC10.Spreadsheet";
        case Component::Owc11: return L"OWC11.Spreadsheet";
        case Component::FirstGeneration: return L"OWC.Spreadsheet";
        case Component::Quillbox: break;
    }
    return kSpreadsheetProgId;
}

const CLSID& classId(Component c) {
    switch (c) {
        case Component::Owc10: return CLSID_Owc10Spreadsheet;
        case Component::Owc11: return CLSID_Owc11Spreadsheet;
        case Component::FirstGeneration: return CLSID_FirstGenerationSpreadsheet;
        case Component::Quillbox: break;
    }
    return CLSID_QuillboxSpreadsheet;
}

const char* name(Component c) {
    switch (c) {
        case Component::Owc10: return "OWC 10";
        case Component::Owc11: return "OWC 11";
        case Component::FirstGeneration: return "first generation";
        case Component::Quillbox: break;
    }
    return "Quillbox";
}

const std::vector<std::wstring>& newerOnlyNames() {
    // The column fit: the first generation is given AutoFitColumns on the
    // range, so the newer EntireColumn.AutoFit is refused (EntireColumn itself
    // stays: the grid sizes and borders columns through it on every
    // generation).
    static const std::vector<std::wstring> names = {
        L"DisplayColumnHeadings",  L"DisplayRowHeadings",  L"Range.HorizontalAlignment",
        L"AllowFormattingColumns", L"AllowFormattingRows", L"DisplayWorkbookTabs",
        L"Window.EnableResize",    L"Window.FreezePanes",  L"Range.AutoFit",
    };
    return names;
}

qbx::sheet::MemberPolicy firstGenerationPolicy() {
    qbx::sheet::MemberPolicy policy;
    for (const auto& n : newerOnlyNames()) policy.refuse(n);
    return policy;
}

Knobs::Knobs() {
    owc10.policy = owc11.policy = quillbox.policy = qbx::sheet::MemberPolicy::product();
    firstGeneration.policy = firstGenerationPolicy();
}

ComponentKnobs& Knobs::operator[](Component c) {
    return const_cast<ComponentKnobs&>(static_cast<const Knobs&>(*this)[c]);
}

const ComponentKnobs& Knobs::operator[](Component c) const {
    switch (c) {
        case Component::Owc10: return owc10;
        case Component::Owc11: return owc11;
        case Component::FirstGeneration: return firstGeneration;
        case Component::Quillbox: break;
    }
    return quillbox;
}

Knobs& Knobs::only(std::initializer_list<Component> present) {
    for (Component c : {Component::Owc10, Component::Owc11, Component::FirstGeneration}) (*this)[c].present = false;
    for (Component c : present) (*this)[c].present = true;
    return *this;
}

// ---------------------------------------------------------------- state and factory

struct StandIns::State {
    struct Registration {
        DWORD cookie = 0;
        bool wroteProgId = false;
    };
    Knobs knobs;
    std::vector<Created> created;
    std::array<Registration, 4> registrations{};
};

namespace {

// One component's class factory. Every stand-in answers IClassFactory2, as
// licensed controls do; only one that demands a licence refuses the plain
// CreateInstance.
class StandInFactory final : public qbx::Unknown<IClassFactory2> {
public:
    StandInFactory(std::shared_ptr<StandIns::State> state, Component c) : state_(std::move(state)), component_(c) {}

    bool answers(REFIID iid) const override { return iid == IID_IClassFactory || iid == IID_IClassFactory2; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (knobs().demandsLicence) return CLASS_E_NOTLICENSED;
        return make(outer, iid, out, false);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

    HRESULT STDMETHODCALLTYPE GetLicInfo(LICINFO* info) override {
        if (!info) return E_POINTER;
        info->fRuntimeKeyAvail = TRUE;
        info->fLicVerified = knobs().demandsLicence ? FALSE : TRUE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RequestLicKey(DWORD, BSTR* key) override {
        if (!key) return E_POINTER;
        *key = qbx::Bstr(StandIns::licenceKey(component_)).detach();
        return *key ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceLic(IUnknown* outer, IUnknown*, REFIID iid, BSTR key,
                                                void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (!key || StandIns::licenceKey(component_) != key) return CLASS_E_NOTLICENSED;
        return make(outer, iid, out, true);
    }

private:
    const ComponentKnobs& knobs() const { return state_->knobs[component_]; }

    HRESULT make(IUnknown* outer, REFIID iid, void** out, bool throughLicence) {
        if (outer) return CLASS_E_NOAGGREGATION;
        if (knobs().brokenFactory) return E_FAIL;
        try {
            qbx::ComPtr<cSpreadsheetControl> control(new cSpreadsheetControl(knobs().policy));
            const HRESULT hr = control->QueryInterface(iid, out);
            if (SUCCEEDED(hr)) state_->created.push_back({component_, throughLicence, control->sheetPtr()});
            return hr;
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }

    std::shared_ptr<StandIns::State> state_;
    Component component_;
};

}  // namespace

// ---------------------------------------------------------------- registration

StandIns::StandIns(Knobs knobs) : state_(std::make_shared<State>()) {
    state_->knobs = std::move(knobs);
    for (Component c : kAll) {
        State::Registration& r = state_->registrations[static_cast<size_t>(c)];
        const bool ours = c == Component::Quillbox;
        if (!state_->knobs[c].present) {
            // The test prefix has no other source of these names: whatever is
            // there was left by an earlier run that did not finish.
            if (!ours) RegDeleteTreeW(HKEY_LOCAL_MACHINE, classesKey(c).c_str());
            continue;
        }
        // Quillbox's own ProgID may be registered by the DLL in the prefix
        // (same class identifier): it is then used and left alone.
        if (!ours || !keyExists(classesKey(c))) r.wroteProgId = writeProgId(c);
        qbx::ComPtr<StandInFactory> factory(new StandInFactory(state_, c));
        if (FAILED(CoRegisterClassObject(classId(c), factory.get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                         &r.cookie)))
            r.cookie = 0;
    }
}

StandIns::~StandIns() {
    for (Component c : kAll) {
        const State::Registration& r = state_->registrations[static_cast<size_t>(c)];
        if (r.cookie) CoRevokeClassObject(r.cookie);
        if (r.wroteProgId) RegDeleteTreeW(HKEY_LOCAL_MACHINE, classesKey(c).c_str());
    }
}

Knobs& StandIns::knobs() noexcept { return state_->knobs; }

const std::vector<StandIns::Created>& StandIns::created() const noexcept { return state_->created; }


std::wstring StandIns::licenceKey(Component c) { return std::wstring(L"QBX-TESTBED-RUNTIME-KEY-") + progId(c); }

}  // namespace owcemu
