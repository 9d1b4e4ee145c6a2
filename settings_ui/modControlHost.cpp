// Controls added to a window at run time. ActiveX controls are created here
// (with their run-time licence where the class asks for one) and handed to
// Windows' own control container in atl.dll: a child window of the class
// "AtlAxWin" holds each one, and AtlAxAttachControl gives the control its
// client site, in-place site and frame, activates it in place in that window
// and keeps its extent and rectangles in step with the window's size.
// atl.dll is loaded at run time, so the add-in still imports nothing but the
// system DLLs it always needs.
#include "settings_ui/modControlHost.h"

#include "support/com/dispatch_object.h"
#include "support/com/win_window.h"

#include <ocidl.h>

#include <cmath>
#include <vector>

namespace {

// ---------------------------------------------------------------- atl.dll

struct AtlApi {
    BOOL(WINAPI* winInit)() = nullptr;
    HRESULT(WINAPI* attachControl)(IUnknown*, HWND, IUnknown**) = nullptr;
    bool ready = false;
};

// Looked up once per process: AtlAxWinInit registers a global window class,
// and a second registration of it fails.
const AtlApi& atl() {
    static const AtlApi api = [] {
        AtlApi a;
        HMODULE module = LoadLibraryW(L"atl.dll");
        if (!module) return a;
        a.winInit = qbx::procAddress<BOOL WINAPI()>(module, "AtlAxWinInit");
        a.attachControl = qbx::procAddress<HRESULT WINAPI(IUnknown*, HWND, IUnknown**)>(module, "AtlAxAttachControl");
        if (!a.winInit || !a.attachControl) return a;
        WNDCLASSEXW existing{};
        existing.cbSize = sizeof(existing);
        // Someone else in the process may have registered the class already.
        a.ready = a.winInit() || GetClassInfoExW(nullptr, L"AtlAxWin", &existing);
        return a;
    }();
    return api;
}


std::wstring fncKey(const std::wstring& name) { return qbx::toLower(name); }

std::map<std::wstring, cFormControls::PageFactory>& pageFactories() {
    static std::map<std::wstring, cFormControls::PageFactory> table;
    return table;
}

// ---------------------------------------------------------------- extender

// What the form's code holds of a control: its place on the form in twips,
// its visibility and the control itself; names the extender does not know
// go to the control's (or page's) own object, as Visual Basic's extender
// forwards them. After the control is removed every member raises 91.
class cExtender final : public qbx::DispatchObject {
public:
    cExtender(std::wstring name, HWND window, qbx::Disp object)
        : DispatchObject(L"Control"), name_(std::move(name)), window_(window), object_(std::move(object)) {
        property(L"Name", [this](qbx::Args&) { return qbx::Variant(name_); });
        property(L"object", [this](qbx::Args&) { return qbx::Variant(live().object_); });
        property(
            L"Visible",
            [this](qbx::Args&) { return qbx::Variant((GetWindowLongW(live().window_, GWL_STYLE) & WS_VISIBLE) != 0); },
            [this](qbx::Args&, const qbx::Variant& v) {
                ShowWindow(live().window_, v.toBool() ? SW_SHOWNA : SW_HIDE);
            });
        addPlacement(L"Left", 0);
        addPlacement(L"Top", 1);
        addPlacement(L"Width", 2);
        addPlacement(L"Height", 3);
    }

    // The control left the form: the extender answers nothing any more.
    void detach() noexcept {
        window_ = nullptr;
        object_.reset();
        forwarded_.clear();
    }

    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) override {
        HRESULT hr = DispatchObject::GetIDsOfNames(iid, names, count, lcid, ids);
        if (hr != DISP_E_UNKNOWNNAME || !object_ || count != 1) return hr;
        DISPID inner = DISPID_UNKNOWN;
        if (FAILED(object_.get()->GetIDsOfNames(IID_NULL, names, 1, lcid, &inner))) return DISP_E_UNKNOWNNAME;
        for (size_t i = 0; i < forwarded_.size(); ++i)
            if (forwarded_[i] == inner) {
                ids[0] = kForwardBase + static_cast<DISPID>(i);
                return S_OK;
            }
        forwarded_.push_back(inner);
        ids[0] = kForwardBase + static_cast<DISPID>(forwarded_.size() - 1);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override {
        if (id >= kForwardBase && id < kForwardBase + static_cast<DISPID>(forwarded_.size())) {
            qbx::ComPtr<IDispatch> target = object_.ptr();  // kept alive through the call
            if (!target) return DISP_E_MEMBERNOTFOUND;
            return target->Invoke(forwarded_[static_cast<size_t>(id - kForwardBase)], IID_NULL, lcid, flags, dp,
                                  result, info, argErr);
        }
        return DispatchObject::Invoke(id, iid, lcid, flags, dp, result, info, argErr);
    }

private:
    static constexpr DISPID kForwardBase = 0x40000000;

    const cExtender& live() const {
        if (!window_) qbx::raise(qbx::vbErrObjectNotSet, L"The control was removed from the window");
        return *this;
    }

    // Left, Top, Width, Height (0-3) in twips of the form. The last value set
    // is given back while the window still has the pixels it was given, so a
    // value that is no whole number of pixels reads back as it was written.
    void addPlacement(const wchar_t* name, int which) {
        property(
            name,
            [this, which](qbx::Args&) {
                const int pixels = pixelsOf(which);
                if (set_[which] && pixels == setPixels_[which]) return qbx::Variant(twips_[which]);
                return qbx::Variant(std::round(pixels * perPixel(which) * 100) / 100);
            },
            [this, which](qbx::Args&, const qbx::Variant& v) {
                const double twips = v.toDouble();
                int pixels = static_cast<int>(std::lround(twips / perPixel(which)));
                if (which >= 2 && pixels < 0) qbx::raiseVb(qbx::vbErrInvalidPropertyValue);
                RECT r = placement();
                int x = r.left, y = r.top, w = r.right - r.left, h = r.bottom - r.top;
                (which == 0 ? x : which == 1 ? y : which == 2 ? w : h) = pixels;
                SetWindowPos(window_, nullptr, x, y, w, h, SWP_NOZORDER | SWP_NOACTIVATE);
                set_[which] = true;
                twips_[which] = twips;
                setPixels_[which] = pixels;
            });
    }

    double perPixel(int which) const {
        HWND w = live().window_;
        return which == 0 || which == 2 ? fncTwipsPerPixelX(w) : fncTwipsPerPixelY(w);
    }

    // The window's rectangle in its parent's client coordinates.
    RECT placement() const {
        RECT r{};
        GetWindowRect(live().window_, &r);
        MapWindowPoints(HWND_DESKTOP, GetParent(window_), reinterpret_cast<POINT*>(&r), 2);
        return r;
    }

    int pixelsOf(int which) const {
        RECT r = placement();
        switch (which) {
            case 0: return r.left;
            case 1: return r.top;
            case 2: return r.right - r.left;
            default: return r.bottom - r.top;
        }
    }

    std::wstring name_;
    HWND window_;
    qbx::Disp object_;
    std::vector<DISPID> forwarded_;
    bool set_[4] = {};
    double twips_[4] = {};
    int setPixels_[4] = {};
};

// ---------------------------------------------------------------- creation

[[noreturn]] void raiseCantCreate(qbx::Here where) {
    qbx::raiseVb(qbx::vbErrCantCreate, where);
}

// Creates the control through its class factory, with its run-time licence
// when the form has an entry for the class and the factory asks for one.
qbx::ComPtr<IUnknown> fncCreateControl(const CLSID& clsid, const std::wstring* licence, qbx::Here where) {
    qbx::ComPtr<IClassFactory> factory;
    if (FAILED(CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.putVoid())))
        raiseCantCreate(where);
    qbx::ComPtr<IUnknown> control;
    HRESULT hr = E_FAIL;
    auto licensed = licence ? factory.as<IClassFactory2>(IID_IClassFactory2) : qbx::ComPtr<IClassFactory2>();
    qbx::Bstr key = licence ? qbx::Bstr(*licence) : qbx::Bstr();
    if (licensed && key.length() == 0) {
        LICINFO info{};
        info.cbLicInfo = sizeof(info);
        if (SUCCEEDED(licensed->GetLicInfo(&info)) && info.fRuntimeKeyAvail) {
            if (FAILED(licensed->RequestLicKey(0, key.put()))) key = qbx::Bstr();
        }
    }
    if (licensed && key.length() != 0)
        hr = licensed->CreateInstanceLic(nullptr, nullptr, IID_IUnknown, key.get(), control.putVoid());
    else
        hr = factory->CreateInstance(nullptr, IID_IUnknown, control.putVoid());
    if (hr == CLASS_E_NOTLICENSED) qbx::raiseHr(hr, nullptr, where);
    if (FAILED(hr) || !control) raiseCantCreate(where);
    return control;
}

}  // namespace

// ---------------------------------------------------------------- cFormControls

struct cFormControls::Entry {
    qbx::OwnedWindow window;            // the host window, or the page's own
    qbx::ComPtr<IUnknown> control;      // an ActiveX control (nothing for a page)
    qbx::ComPtr<IUnknown> container;    // atl.dll's site for it
    qbx::ComPtr<cExtender> extender;

    ~Entry() {
        if (extender) extender->detach();
        // Destroying the host window closes the control and drops the
        // container's reference to it.
        window.reset();
        container.reset();
        control.reset();
    }
};

cFormControls::cFormControls(HWND form) : form_(form) {}

cFormControls::~cFormControls() { controls_.clear(); }

bool cFormControls::HasLicense(const std::wstring& progId) const { return licenses_.count(fncKey(progId)) != 0; }

void cFormControls::AddLicense(const std::wstring& progId, const std::wstring& key) {
    licenses_[fncKey(progId)] = key;
}

void cFormControls::RegisterPage(const std::wstring& classId, PageFactory factory) {
    pageFactories()[fncKey(classId)] = std::move(factory);
}

qbx::Disp cFormControls::Add(const std::wstring& progId, const std::wstring& name, qbx::Here where) {
    const std::wstring key = fncKey(name);
    if (name.empty()) qbx::raiseVb(qbx::vbErrInvalidCall, where);
    if (controls_.count(key)) qbx::raiseVb(qbx::vbErrAlreadyLoaded, where);
    auto entry = std::make_unique<Entry>();
    qbx::Disp object;

    auto page = pageFactories().find(fncKey(progId));
    if (page != pageFactories().end()) {
        Page made = page->second(form_);
        if (!made.window || !made.object) raiseCantCreate(where);
        entry->window.reset(made.window);
        object = made.object;
    } else {
        CLSID clsid{};
        if (FAILED(CLSIDFromProgID(progId.c_str(), &clsid))) raiseCantCreate(where);
        auto licence = licenses_.find(fncKey(progId));
        entry->control = fncCreateControl(clsid, licence == licenses_.end() ? nullptr : &licence->second, where);
        auto oleObject = entry->control.as<IOleObject>(IID_IOleObject);
        if (!oleObject || !atl().ready) raiseCantCreate(where);
        if (auto persist = entry->control.as<IPersistStreamInit>(IID_IPersistStreamInit)) persist->InitNew();
        entry->window.reset(CreateWindowExW(WS_EX_CONTROLPARENT, L"AtlAxWin", L"",
                                            WS_CHILD | WS_CLIPCHILDREN | WS_CLIPSIBLINGS, 0, 0, 0, 0, form_, nullptr,
                                            GetModuleHandleW(nullptr), nullptr));
        if (!entry->window) raiseCantCreate(where);
        if (FAILED(atl().attachControl(entry->control.get(), entry->window.get(), entry->container.put())))
            raiseCantCreate(where);  // the entry's destructor takes the window down again
        object = qbx::Disp::fromUnknown(entry->control.get());
    }
    // Every control starts hidden at the form's top left corner; an ActiveX
    // control with no size, a page with the size it was designed with (as a
    // user control keeps its extent), so none of its controls is clipped away.
    const bool isPage = !entry->control;
    ShowWindow(entry->window.get(), SW_HIDE);
    SetWindowPos(entry->window.get(), nullptr, 0, 0, 0, 0,
                 SWP_NOZORDER | SWP_NOACTIVATE | (isPage ? SWP_NOSIZE : 0));
    entry->extender = qbx::makeObject<cExtender>(name, entry->window.get(), object);
    qbx::Disp extender(qbx::ComPtr<IDispatch>(entry->extender.get()));
    controls_[key] = std::move(entry);
    return extender;
}

void cFormControls::Remove(const std::wstring& name, qbx::Here where) {
    auto it = controls_.find(fncKey(name));
    if (it == controls_.end()) qbx::raiseVb(qbx::vbErrControlNotFound, name, where);
    controls_.erase(it);
}

qbx::Disp cFormControls::Item(const std::wstring& name) const {
    auto it = controls_.find(fncKey(name));
    if (it == controls_.end()) return {};
    return qbx::Disp(qbx::ComPtr<IDispatch>(it->second->extender.get()));
}

HWND cFormControls::Window(const std::wstring& name) const {
    auto it = controls_.find(fncKey(name));
    return it == controls_.end() ? nullptr : it->second->window.get();
}

bool cFormControls::TranslateAccelerator(MSG* message) const {
    if (!message || !message->hwnd) return false;
    for (const auto& [key, entry] : controls_) {
        if (!entry->control || !entry->window) continue;
        if (message->hwnd != entry->window.get() && !IsChild(entry->window.get(), message->hwnd)) continue;
        auto active = entry->control.as<IOleInPlaceActiveObject>(IID_IOleInPlaceActiveObject);
        return active && active->TranslateAccelerator(message) == S_OK;
    }
    return false;
}

double fncTwipsPerPixelX(HWND window) { return 1440.0 / qbx::windowDpi(window, true); }

double fncTwipsPerPixelY(HWND window) { return 1440.0 / qbx::windowDpi(window, false); }
