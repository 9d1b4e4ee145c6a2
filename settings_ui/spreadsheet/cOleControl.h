// The container-facing half of a windowed ActiveX control whose object model
// is a qbx::DispatchObject: IOleObject, IOleInPlaceObject (IOleWindow),
// IOleInPlaceActiveObject, IOleControl and IPersistStreamInit, enough for a
// container (atl.dll's, or a form's) to site the control, activate it in
// place in its window, size it and give it keyboard messages first.
//
// The class that derives from both a DispatchObject and this one keeps one
// reference count: it defines QueryInterface, AddRef and Release once (they
// override the IUnknown methods of every interface here) as the
// DispatchObject's, and answers these interfaces from its queryOther with
// queryOleInterface. The control's window is its own business:
// createControlWindow makes it when the container activates the control.
#pragma once

#include "support/com.h"
#include "support/com/win_handles.h"

#include <ole2.h>
#include <olectl.h>

class cOleControl : public IOleObject,
                    public IOleInPlaceObject,
                    public IOleInPlaceActiveObject,
                    public IOleControl,
                    public IPersistStreamInit {
public:
    // The interfaces above, for the owner's queryOther; E_NOINTERFACE for the rest.
    HRESULT queryOleInterface(REFIID iid, void** out);

    // IOleObject
    HRESULT STDMETHODCALLTYPE SetClientSite(IOleClientSite* site) override;
    HRESULT STDMETHODCALLTYPE GetClientSite(IOleClientSite** site) override;
    HRESULT STDMETHODCALLTYPE SetHostNames(LPCOLESTR, LPCOLESTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Close(DWORD saveOption) override;
    HRESULT STDMETHODCALLTYPE SetMoniker(DWORD, IMoniker*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMoniker(DWORD, DWORD, IMoniker** out) override;
    HRESULT STDMETHODCALLTYPE InitFromData(IDataObject*, BOOL, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetClipboardData(DWORD, IDataObject** out) override;
    HRESULT STDMETHODCALLTYPE DoVerb(LONG verb, LPMSG, IOleClientSite* activeSite, LONG, HWND parent,
                                     LPCRECT position) override;
    HRESULT STDMETHODCALLTYPE EnumVerbs(IEnumOLEVERB** out) override;
    HRESULT STDMETHODCALLTYPE Update() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsUpToDate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetUserClassID(CLSID* clsid) override;
    HRESULT STDMETHODCALLTYPE GetUserType(DWORD, LPOLESTR* out) override;
    HRESULT STDMETHODCALLTYPE SetExtent(DWORD aspect, SIZEL* size) override;
    HRESULT STDMETHODCALLTYPE GetExtent(DWORD aspect, SIZEL* size) override;
    HRESULT STDMETHODCALLTYPE Advise(IAdviseSink*, DWORD* connection) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD) override { return OLE_E_NOCONNECTION; }
    HRESULT STDMETHODCALLTYPE EnumAdvise(IEnumSTATDATA** out) override;
    HRESULT STDMETHODCALLTYPE GetMiscStatus(DWORD aspect, DWORD* status) override;
    HRESULT STDMETHODCALLTYPE SetColorScheme(LOGPALETTE*) override { return E_NOTIMPL; }

    // IOleWindow (shared by the two in-place interfaces)
    HRESULT STDMETHODCALLTYPE GetWindow(HWND* window) override;
    HRESULT STDMETHODCALLTYPE ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }
    // IOleInPlaceObject
    HRESULT STDMETHODCALLTYPE InPlaceDeactivate() override;
    HRESULT STDMETHODCALLTYPE UIDeactivate() override;
    HRESULT STDMETHODCALLTYPE SetObjectRects(LPCRECT position, LPCRECT clip) override;
    HRESULT STDMETHODCALLTYPE ReactivateAndUndo() override { return INPLACE_E_NOTUNDOABLE; }
    // IOleInPlaceActiveObject
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(LPMSG message) override;
    HRESULT STDMETHODCALLTYPE OnFrameWindowActivate(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnDocWindowActivate(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE ResizeBorder(LPCRECT, IOleInPlaceUIWindow*, BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE EnableModeless(BOOL) override { return S_OK; }
    // IOleControl
    HRESULT STDMETHODCALLTYPE GetControlInfo(CONTROLINFO* info) override;
    HRESULT STDMETHODCALLTYPE OnMnemonic(MSG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnAmbientPropertyChange(DISPID) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE FreezeEvents(BOOL) override { return S_OK; }
    // IPersistStreamInit: the control keeps nothing between sessions.
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override { return GetUserClassID(clsid); }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Load(IStream*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Save(IStream*, BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* size) override;
    HRESULT STDMETHODCALLTYPE InitNew() override { return S_OK; }

protected:
    cOleControl() = default;
    virtual ~cOleControl();

    virtual const CLSID& classId() const = 0;
    // Makes the control's window as a child of the container's window at the
    // given place; null when it can't.
    virtual HWND createControlWindow(HWND parent, const RECT& position) = 0;
    // A keyboard message for the control, before the container's own
    // accelerators and dialog keys: true when the control handled it.
    virtual bool translateKey(MSG&) { return false; }

    // Takes the control's window down (also done by InPlaceDeactivate).
    void destroyControlWindow() noexcept;

private:
    friend struct cOleControlTesting;  // cOleControl_testing.h

    HRESULT activate(IOleClientSite* site, HWND parent, LPCRECT position, bool uiActivate);

    qbx::ComPtr<IOleClientSite> site_;
    qbx::ComPtr<IOleInPlaceSite> inPlaceSite_;
    qbx::OwnedWindow window_;
    SIZEL extent_{2540, 1270};  // 1 by 0.5 inch until the container says otherwise
    bool uiActive_ = false;
};
