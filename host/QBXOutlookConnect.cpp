#include "host/QBXOutlookConnect.h"

#include "settings_ui/modSettingsWindow.h"

#include "host/cOutlookReactions.h"
#include "support/modGlobals.h"
#include "support/modErroHandling.h"


namespace {

// The ribbon's callbacks carry DISPIDs of their own, the same on both faces.
constexpr DISPID kOnLoadCompose = 101;
constexpr DISPID kOnLoadRead = 102;
constexpr DISPID kGetImages = 103;
constexpr DISPID kCmdShowSettings = 104;

// An argument that should hold an object: anything else counts as no object,
// so the add-in's own checks (not the call plumbing) decide what to do.
IDispatch* fncObjectArg(qbx::Args& a, size_t i) {
    VARIANT* v = a.raw(i);
    if (!v) return nullptr;
    v = &qbx::deref(*v);
    if (v->vt == VT_DISPATCH) return v->pdispVal;
    if (v->vt == (VT_BYREF | VT_DISPATCH)) return v->ppdispVal ? *v->ppdispVal : nullptr;
    return nullptr;
}

}  // namespace

QBXOutlookConnect::QBXOutlookConnect() : ribbon_(*this) {
    connectMembers_.method(L"OnConnection", [this](qbx::Args& a) {
        OnConnection(fncObjectArg(a, 0), a.has(1) ? a.i32(1) : 0, fncObjectArg(a, 2), nullptr);
        return qbx::Variant();
    }, 1);
    connectMembers_.method(L"OnDisconnection", [this](qbx::Args& a) {
        OnDisconnection(a.has(0) ? a.i32(0) : 0, nullptr);
        return qbx::Variant();
    }, 2);
    connectMembers_.method(L"OnAddInsUpdate", [this](qbx::Args&) {
        OnAddInsUpdate(nullptr);
        return qbx::Variant();
    }, 3);
    connectMembers_.method(L"OnStartupComplete", [this](qbx::Args&) {
        OnStartupComplete(nullptr);
        return qbx::Variant();
    }, 4);
    connectMembers_.method(L"OnBeginShutdown", [this](qbx::Args&) {
        OnBeginShutdown(nullptr);
        return qbx::Variant();
    }, 5);
    connectMembers_.method(L"GetCustomUI", [this](qbx::Args& a) {
        return qbx::Variant(IRibbonExtensibility_GetCustomUI(a.str(0)));
    });
    ribbonMembers_.method(L"GetCustomUI", [this](qbx::Args& a) {
        return qbx::Variant(IRibbonExtensibility_GetCustomUI(a.str(0)));
    }, 1);
    subAddCallbacks(connectMembers_);
    subAddCallbacks(ribbonMembers_);
}

void QBXOutlookConnect::subAddCallbacks(qbx::MemberTable& table) {
    table.method(L"OnLoadCompose", [this](qbx::Args& a) {
        OnLoadCompose(qbx::Disp(fncObjectArg(a, 0)));
        return qbx::Variant();
    }, kOnLoadCompose);
    table.method(L"OnLoadRead", [this](qbx::Args& a) {
        OnLoadRead(qbx::Disp(fncObjectArg(a, 0)));
        return qbx::Variant();
    }, kOnLoadRead);
    // Office passes the image id by value or by reference; a caller that
    // passes a second, by-reference argument gets the picture there too.
    table.method(L"getImages", [this](qbx::Args& a) {
        qbx::ComPtr<IPictureDisp> picture = getImages(a.has(0) ? a.str(0) : std::wstring());
        qbx::Variant result(static_cast<IDispatch*>(picture.get()));
        if (a.count() > 1) a.setRef(1, result);
        return result;
    }, kGetImages);
    table.method(L"cmdShowSettings", [this](qbx::Args& a) {
        cmdShowSettings(qbx::Disp(fncObjectArg(a, 0)));
        return qbx::Variant();
    }, kCmdShowSettings);
}

QBXOutlookConnect::~QBXOutlookConnect() {
    // AddinInstance_Terminate
    qbx::guarded(L"AddinInstance_Terminate", [] { ReleaseOutlookObjects(true); });
    subClearLastDisconnectHook(this);
}

HRESULT QBXOutlookConnect::QueryInterface(REFIID iid, void** out) {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == qbx::IID_IDTExtensibility2) {
        *out = static_cast<IDTExtensibility2*>(this);
    } else if (iid == qbx::IID_IRibbonExtensibility) {
        *out = static_cast<IRibbonExtensibility*>(&ribbon_);
    } else {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

HRESULT QBXOutlookConnect::GetTypeInfoCount(UINT* n) { return qbx::answerTypeInfoCount(n); }

HRESULT QBXOutlookConnect::GetTypeInfo(UINT i, LCID, ITypeInfo** out) {
    return qbx::answerTypeInfo(i, L"QBXOutlookConnect", out);
}

HRESULT QBXOutlookConnect::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    return connectMembers_.getIDsOfNames(names, count, ids);
}

HRESULT QBXOutlookConnect::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                  EXCEPINFO* info, UINT*) {
    qbx::ComPtr<IDTExtensibility2> keepAlive(this);
    return connectMembers_.invoke(id, flags, dp, result, info, L"QBXOutlookConnect");
}

HRESULT QBXOutlookConnect::Ribbon::GetTypeInfoCount(UINT* n) { return outer_.GetTypeInfoCount(n); }

HRESULT QBXOutlookConnect::Ribbon::GetTypeInfo(UINT i, LCID lcid, ITypeInfo** out) {
    return outer_.GetTypeInfo(i, lcid, out);
}

HRESULT QBXOutlookConnect::Ribbon::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    return outer_.ribbonMembers_.getIDsOfNames(names, count, ids);
}

HRESULT QBXOutlookConnect::Ribbon::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                          EXCEPINFO* info, UINT*) {
    qbx::ComPtr<IRibbonExtensibility> keepAlive(this);
    return outer_.ribbonMembers_.invoke(id, flags, dp, result, info, L"QBXOutlookConnect");
}

HRESULT QBXOutlookConnect::Ribbon::GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) {
    if (!ribbonXml) return E_POINTER;
    *ribbonXml = nullptr;
    return qbx::comBoundary(L"GetCustomUI", [&] {
        std::wstring id = ribbonId ? std::wstring(ribbonId, SysStringLen(ribbonId)) : std::wstring();
        std::wstring xml = outer_.IRibbonExtensibility_GetCustomUI(id);
        *ribbonXml = SysAllocStringLen(xml.data(), static_cast<UINT>(xml.size()));
        return S_OK;
    });
}

HRESULT QBXOutlookConnect::OnConnection(IDispatch* application, int, IDispatch*, SAFEARRAY**) {
    subSetAction(L"Connecting the add-in to Outlook");
    qbx::guarded(L"AddinInstance_OnConnection", [&] {
        // The ribbon goes with the rest at the last disconnect (Quit, from
        // Outlook 2010 on the last call the add-in gets), not at Terminate.
        subSetLastDisconnectHook(this, [this] { objRibbonUI_.reset(); });
        objOutlookReactions = std::make_shared<cOutlookReactions>();
        objOutlookReactions->setOuaMyOutlook(qbx::Disp(application));
    });
    return S_OK;
}

HRESULT QBXOutlookConnect::OnDisconnection(int, SAFEARRAY**) {
    qbx::guarded(L"AddinInstance_OnDisconnection", [] {
        // A settings window still open ends without saving: the settings
        // it edits go now.
        subCloseSettingsWindow();
        ReleaseOutlookObjects(true);
    });
    return S_OK;
}

HRESULT QBXOutlookConnect::OnAddInsUpdate(SAFEARRAY**) { return S_OK; }

HRESULT QBXOutlookConnect::OnStartupComplete(SAFEARRAY**) { return S_OK; }

HRESULT QBXOutlookConnect::OnBeginShutdown(SAFEARRAY**) {
    qbx::guarded(L"AddinInstance_OnBeginShutdown", [] { ReleaseOutlookObjects(); });
    return S_OK;
}
