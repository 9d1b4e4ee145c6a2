#include "settings_ui/spreadsheet/cOleControl.h"

HRESULT cOleControl::queryOleInterface(REFIID iid, void** out) {
    if (!out) return E_POINTER;
    IUnknown* answer = nullptr;
    if (iid == IID_IOleObject) answer = static_cast<IOleObject*>(this);
    else if (iid == IID_IOleWindow || iid == IID_IOleInPlaceObject) answer = static_cast<IOleInPlaceObject*>(this);
    else if (iid == IID_IOleInPlaceActiveObject) answer = static_cast<IOleInPlaceActiveObject*>(this);
    else if (iid == IID_IOleControl) answer = static_cast<IOleControl*>(this);
    else if (iid == IID_IPersistStreamInit || iid == IID_IPersist) answer = static_cast<IPersistStreamInit*>(this);
    *out = answer;
    if (!answer) return E_NOINTERFACE;
    answer->AddRef();
    return S_OK;
}

cOleControl::~cOleControl() { destroyControlWindow(); }

void cOleControl::destroyControlWindow() noexcept {
    window_.reset();
}

// ---------------------------------------------------------------- IOleObject

HRESULT cOleControl::SetClientSite(IOleClientSite* site) {
    site_ = qbx::ComPtr<IOleClientSite>(site);
    return S_OK;
}

HRESULT cOleControl::GetClientSite(IOleClientSite** site) {
    if (!site) return E_POINTER;
    *site = qbx::ComPtr<IOleClientSite>(site_).detach();
    return S_OK;
}

HRESULT cOleControl::Close(DWORD) {
    InPlaceDeactivate();
    return S_OK;
}

HRESULT cOleControl::GetMoniker(DWORD, DWORD, IMoniker** out) {
    if (out) *out = nullptr;
    return E_NOTIMPL;
}

HRESULT cOleControl::GetClipboardData(DWORD, IDataObject** out) {
    if (out) *out = nullptr;
    return E_NOTIMPL;
}

HRESULT cOleControl::DoVerb(LONG verb, LPMSG, IOleClientSite* activeSite, LONG, HWND parent, LPCRECT position) {
    switch (verb) {
        case OLEIVERB_PRIMARY:
        case OLEIVERB_SHOW:
        case OLEIVERB_INPLACEACTIVATE:
            return activate(activeSite ? activeSite : site_.get(), parent, position, false);
        case OLEIVERB_UIACTIVATE:
            return activate(activeSite ? activeSite : site_.get(), parent, position, true);
        case OLEIVERB_HIDE:
            if (window_) ShowWindow(window_.get(), SW_HIDE);
            return S_OK;
        default:
            return verb < 0 ? E_NOTIMPL : OLEOBJ_S_INVALIDVERB;
    }
}

// Activation in place: the site agrees, tells where the control goes, and
// the control makes its window there.
HRESULT cOleControl::activate(IOleClientSite* site, HWND parent, LPCRECT position, bool uiActivate) {
    return qbx::comBoundary(L"IOleObject::DoVerb", [&] {
        if (!window_) {
            if (!site) return E_UNEXPECTED;
            qbx::ComPtr<IOleInPlaceSite> inPlace;
            if (FAILED(site->QueryInterface(IID_IOleInPlaceSite, inPlace.putVoid())) || !inPlace) return E_NOINTERFACE;
            if (inPlace->CanInPlaceActivate() != S_OK) return E_FAIL;
            inPlace->OnInPlaceActivate();
            HWND siteWindow = nullptr;
            if (FAILED(inPlace->GetWindow(&siteWindow)) || !siteWindow) siteWindow = parent;
            RECT place = position ? *position : RECT{};
            RECT clip = place;
            qbx::ComPtr<IOleInPlaceFrame> frame;
            qbx::ComPtr<IOleInPlaceUIWindow> document;
            OLEINPLACEFRAMEINFO frameInfo{};
            frameInfo.cb = sizeof(frameInfo);
            if (SUCCEEDED(inPlace->GetWindowContext(frame.put(), document.put(), &place, &clip, &frameInfo)) &&
                position && IsRectEmpty(&place))
                place = *position;
            window_.reset(createControlWindow(siteWindow, place));
            if (!window_) {
                inPlace->OnInPlaceDeactivate();
                return E_FAIL;
            }
            inPlaceSite_ = inPlace;
        }
        ShowWindow(window_.get(), SW_SHOWNA);
        if (uiActivate && !uiActive_) {
            uiActive_ = true;
            inPlaceSite_->OnUIActivate();
            SetFocus(window_.get());
        }
        return S_OK;
    });
}

HRESULT cOleControl::EnumVerbs(IEnumOLEVERB** out) {
    if (out) *out = nullptr;
    return OLEOBJ_E_NOVERBS;
}

HRESULT cOleControl::GetUserClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = classId();
    return S_OK;
}

HRESULT cOleControl::GetUserType(DWORD, LPOLESTR* out) {
    if (out) *out = nullptr;
    return OLE_S_USEREG;
}

HRESULT cOleControl::SetExtent(DWORD aspect, SIZEL* size) {
    if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
    if (!size) return E_POINTER;
    extent_ = *size;
    return S_OK;
}

HRESULT cOleControl::GetExtent(DWORD aspect, SIZEL* size) {
    if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
    if (!size) return E_POINTER;
    *size = extent_;
    return S_OK;
}

HRESULT cOleControl::Advise(IAdviseSink*, DWORD* connection) {
    if (connection) *connection = 0;
    return OLE_E_ADVISENOTSUPPORTED;
}

HRESULT cOleControl::EnumAdvise(IEnumSTATDATA** out) {
    if (out) *out = nullptr;
    return OLE_E_ADVISENOTSUPPORTED;
}

HRESULT cOleControl::GetMiscStatus(DWORD, DWORD* status) {
    if (!status) return E_POINTER;
    *status = OLEMISC_RECOMPOSEONRESIZE | OLEMISC_CANTLINKINSIDE | OLEMISC_INSIDEOUT |
              OLEMISC_ACTIVATEWHENVISIBLE | OLEMISC_SETCLIENTSITEFIRST;
    return S_OK;
}

// ---------------------------------------------------------------- in place

HRESULT cOleControl::GetWindow(HWND* window) {
    if (!window) return E_POINTER;
    *window = window_.get();
    return window_ ? S_OK : E_FAIL;
}

HRESULT cOleControl::InPlaceDeactivate() {
    if (!window_ && !inPlaceSite_) return S_OK;
    UIDeactivate();
    destroyControlWindow();
    if (auto site = std::exchange(inPlaceSite_, nullptr)) site->OnInPlaceDeactivate();
    return S_OK;
}

HRESULT cOleControl::UIDeactivate() {
    if (uiActive_) {
        uiActive_ = false;
        if (inPlaceSite_) inPlaceSite_->OnUIDeactivate(FALSE);
    }
    return S_OK;
}

HRESULT cOleControl::SetObjectRects(LPCRECT position, LPCRECT) {
    if (!position) return E_POINTER;
    if (window_)
        MoveWindow(window_.get(), position->left, position->top, position->right - position->left,
                   position->bottom - position->top, TRUE);
    return S_OK;
}

HRESULT cOleControl::TranslateAccelerator(LPMSG message) {
    if (!message) return E_POINTER;
    return qbx::comBoundary(L"IOleInPlaceActiveObject::TranslateAccelerator",
                            [&] { return translateKey(*message) ? S_OK : S_FALSE; });
}

HRESULT cOleControl::GetControlInfo(CONTROLINFO* info) {
    if (!info) return E_POINTER;
    info->cb = sizeof(CONTROLINFO);
    info->hAccel = nullptr;
    info->cAccel = 0;
    info->dwFlags = 0;
    return S_OK;
}

HRESULT cOleControl::GetSizeMax(ULARGE_INTEGER* size) {
    if (!size) return E_POINTER;
    size->QuadPart = 0;
    return S_OK;
}
