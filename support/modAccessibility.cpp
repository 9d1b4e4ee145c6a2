#include "support/modAccessibility.h"

#include "support/com.h"

#include <commctrl.h>

#include <map>

// {618736E0-3C3D-11CF-810C-00AA00389B71}
const IID kIID_IAccessible = {0x618736e0, 0x3c3d, 0x11cf, {0x81, 0x0c, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};

const cOleacc& cOleacc::get() {
    static const cOleacc o = [] {
        cOleacc r;
        if (HMODULE m = LoadLibraryW(L"oleacc.dll")) {
            r.lresultFromObject = reinterpret_cast<decltype(r.lresultFromObject)>(
                reinterpret_cast<void*>(GetProcAddress(m, "LresultFromObject")));
            r.createStdAccessibleObject = reinterpret_cast<decltype(r.createStdAccessibleObject)>(
                reinterpret_cast<void*>(GetProcAddress(m, "CreateStdAccessibleObject")));
        }
        return r;
    }();
    return o;
}

LRESULT fncAnswerGetObject(WPARAM wParam, IAccessible* object) {
    const cOleacc& oleacc = cOleacc::get();
    if (!oleacc.lresultFromObject || !object) return 0;
    return oleacc.lresultFromObject(kIID_IAccessible, wParam, object);
}

std::wstring fncWithoutMnemonic(const std::wstring& caption) {
    std::wstring out;
    for (size_t i = 0; i < caption.size(); ++i) {
        if (caption[i] == L'&' && i + 1 < caption.size()) ++i;  // "&x" is x, "&&" is "&"
        out += caption[i];
    }
    return out;
}

namespace {

// What a control is to be for a screen reader: named by a label, or left
// out as decoration.
struct cReading {
    std::wstring name;
    bool blnDecoration = false;
};

// Windows' own object for a control, with the name replaced (or, for a
// decoration, marked invisible so screen readers pass over it): every other
// question goes to the standard object.
class cNamedAccessible final : public qbx::Unknown<IAccessible> {
public:
    cNamedAccessible(qbx::ComPtr<IAccessible> inner, cReading reading)
        : inner_(std::move(inner)), reading_(std::move(reading)) {}

    bool answers(REFIID iid) const override { return iid == IID_IDispatch || iid == kIID_IAccessible; }

    // IDispatch
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { return inner_->GetTypeInfoCount(n); }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT i, LCID l, ITypeInfo** t) override { return inner_->GetTypeInfo(i, l, t); }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* n, UINT c, LCID l, DISPID* d) override {
        return inner_->GetIDsOfNames(iid, n, c, l, d);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID l, WORD f, DISPPARAMS* p, VARIANT* r, EXCEPINFO* e,
                                     UINT* a) override {
        return inner_->Invoke(id, iid, l, f, p, r, e, a);
    }
    // IAccessible
    HRESULT STDMETHODCALLTYPE get_accParent(IDispatch** p) override { return inner_->get_accParent(p); }
    HRESULT STDMETHODCALLTYPE get_accChildCount(long* n) override { return inner_->get_accChildCount(n); }
    HRESULT STDMETHODCALLTYPE get_accChild(VARIANT c, IDispatch** d) override { return inner_->get_accChild(c, d); }
    HRESULT STDMETHODCALLTYPE get_accName(VARIANT c, BSTR* name) override {
        if (!name) return E_POINTER;
        if (c.vt == VT_I4 && c.lVal == CHILDID_SELF && !reading_.blnDecoration) {
            *name = SysAllocString(reading_.name.c_str());
            return *name ? S_OK : E_OUTOFMEMORY;
        }
        return inner_->get_accName(c, name);
    }
    HRESULT STDMETHODCALLTYPE get_accValue(VARIANT c, BSTR* v) override { return inner_->get_accValue(c, v); }
    HRESULT STDMETHODCALLTYPE get_accDescription(VARIANT c, BSTR* d) override { return inner_->get_accDescription(c, d); }
    HRESULT STDMETHODCALLTYPE get_accRole(VARIANT c, VARIANT* r) override { return inner_->get_accRole(c, r); }
    HRESULT STDMETHODCALLTYPE get_accState(VARIANT c, VARIANT* s) override {
        const HRESULT hr = inner_->get_accState(c, s);
        if (SUCCEEDED(hr) && s && s->vt == VT_I4 && reading_.blnDecoration) s->lVal |= STATE_SYSTEM_INVISIBLE;
        return hr;
    }
    HRESULT STDMETHODCALLTYPE get_accHelp(VARIANT c, BSTR* h) override { return inner_->get_accHelp(c, h); }
    HRESULT STDMETHODCALLTYPE get_accHelpTopic(BSTR* f, VARIANT c, long* t) override {
        return inner_->get_accHelpTopic(f, c, t);
    }
    HRESULT STDMETHODCALLTYPE get_accKeyboardShortcut(VARIANT c, BSTR* k) override {
        return inner_->get_accKeyboardShortcut(c, k);
    }
    HRESULT STDMETHODCALLTYPE get_accFocus(VARIANT* f) override { return inner_->get_accFocus(f); }
    HRESULT STDMETHODCALLTYPE get_accSelection(VARIANT* s) override { return inner_->get_accSelection(s); }
    HRESULT STDMETHODCALLTYPE get_accDefaultAction(VARIANT c, BSTR* a) override {
        return inner_->get_accDefaultAction(c, a);
    }
    HRESULT STDMETHODCALLTYPE accSelect(long f, VARIANT c) override { return inner_->accSelect(f, c); }
    HRESULT STDMETHODCALLTYPE accLocation(long* x, long* y, long* w, long* h, VARIANT c) override {
        return inner_->accLocation(x, y, w, h, c);
    }
    HRESULT STDMETHODCALLTYPE accNavigate(long d, VARIANT s, VARIANT* e) override { return inner_->accNavigate(d, s, e); }
    HRESULT STDMETHODCALLTYPE accHitTest(long x, long y, VARIANT* c) override { return inner_->accHitTest(x, y, c); }
    HRESULT STDMETHODCALLTYPE accDoDefaultAction(VARIANT c) override { return inner_->accDoDefaultAction(c); }
    HRESULT STDMETHODCALLTYPE put_accName(VARIANT c, BSTR n) override { return inner_->put_accName(c, n); }
    HRESULT STDMETHODCALLTYPE put_accValue(VARIANT c, BSTR v) override { return inner_->put_accValue(c, v); }

private:
    qbx::ComPtr<IAccessible> inner_;
    cReading reading_;
};

// What was given, by control; a control's entry goes with its window.
std::map<HWND, cReading>& names() {
    static std::map<HWND, cReading> m;
    return m;
}

LRESULT CALLBACK namedProc(HWND window, UINT message, WPARAM w, LPARAM l, UINT_PTR, DWORD_PTR) {
    if (message == WM_GETOBJECT && static_cast<LONG>(l) == OBJID_CLIENT) {
        const cOleacc& oleacc = cOleacc::get();
        auto it = names().find(window);
        if (it != names().end() && oleacc.createStdAccessibleObject && oleacc.lresultFromObject) {
            qbx::ComPtr<IAccessible> standard;
            if (SUCCEEDED(oleacc.createStdAccessibleObject(window, OBJID_CLIENT, kIID_IAccessible,
                                                           reinterpret_cast<void**>(standard.put()))) &&
                standard) {
                // When the wrapper can't be made (out of memory), the
                // standard answer follows.
                LRESULT answer = 0;
                if (qbx::quietBoundary(L"accessible name", [&] {
                        qbx::ComPtr<cNamedAccessible> named(new cNamedAccessible(std::move(standard), it->second));
                        answer = fncAnswerGetObject(w, named.get());
                    }))
                    return answer;
            }
        }
    }
    if (message == WM_NCDESTROY) {
        names().erase(window);
        RemoveWindowSubclass(window, &namedProc, 0);
    }
    return DefSubclassProc(window, message, w, l);
}

}  // namespace

void subSetAccessibleName(HWND control, const std::wstring& name) {
    if (!control) return;
    names()[control] = cReading{fncWithoutMnemonic(name), false};
    SetWindowSubclass(control, &namedProc, 0, 0);
}

void subHideFromScreenReaders(HWND control) {
    if (!control) return;
    names()[control] = cReading{{}, true};
    SetWindowSubclass(control, &namedProc, 0, 0);
}
