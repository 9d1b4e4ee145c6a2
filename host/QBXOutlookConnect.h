// The add-in's one creatable class: Outlook creates it and calls it through
// IDTExtensibility2 (by vtable or through IDispatch, both work) and, from
// Outlook 2007 on, asks it for its ribbon through IRibbonExtensibility and
// calls the ribbon's callbacks by name.
#pragma once

#include "support/com/dispatch_object.h"
#include "support/office_interfaces.h"

#include <olectl.h>

// {62B3E315-E2FF-45FF-BC31-FC380ED69103}
inline constexpr CLSID CLSID_QBXOutlookConnect = {
    0x62B3E315, 0xE2FF, 0x45FF, {0xBC, 0x31, 0xFC, 0x38, 0x0E, 0xD6, 0x91, 0x03}};
inline constexpr const wchar_t* kConnectProgId = L"Quillbox.QBXOutlookConnect";

class QBXOutlookConnect final : public IDTExtensibility2, public qbx::RefCounted {
public:
    QBXOutlookConnect();
    ~QBXOutlookConnect() override;  // the class's Terminate

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return addRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return release(); }
    // IDispatch of IDTExtensibility2 (DISPIDs 1-5) and the ribbon callbacks
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT i, LCID, ITypeInfo** out) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override;
    // IDTExtensibility2
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, int connectMode, IDispatch* addInInst,
                                           SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnDisconnection(int removeMode, SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) override;

    // The ribbon members (host/ribbon.cpp).
    std::wstring IRibbonExtensibility_GetCustomUI(const std::wstring& ribbonId);
    void OnLoadCompose(const qbx::Disp& ribbon);
    void OnLoadRead(const qbx::Disp& ribbon);
    // The ribbon's image callback: the button picture, whatever the id.
    qbx::ComPtr<IPictureDisp> getImages(const std::wstring& imageId);
    // The ribbon button's action: opens the settings for the mail at hand.
    void cmdShowSettings(const qbx::Disp& control);

private:
    // The IRibbonExtensibility face of the object: its own IDispatch, in
    // which DISPID 1 is GetCustomUI.
    class Ribbon final : public IRibbonExtensibility {
    public:
        explicit Ribbon(QBXOutlookConnect& outer) : outer_(outer) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override { return outer_.QueryInterface(iid, out); }
        ULONG STDMETHODCALLTYPE AddRef() override { return outer_.AddRef(); }
        ULONG STDMETHODCALLTYPE Release() override { return outer_.Release(); }
        HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override;
        HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT i, LCID, ITypeInfo** out) override;
        HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
        HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                         EXCEPINFO* info, UINT* argErr) override;
        HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) override;

    private:
        QBXOutlookConnect& outer_;
    };

    void subAddCallbacks(qbx::MemberTable& table);

    qbx::MemberTable connectMembers_;
    qbx::MemberTable ribbonMembers_;
    Ribbon ribbon_;
    // Kept on purpose: the ribbon user-interface object handed to
    // OnLoadCompose/OnLoadRead, held for the connection's life though nothing
    // reads it.
    qbx::Disp objRibbonUI_;
};
