#include "support/modOutlookCode.h"

#include "support/modGlobals.h"
#include "support/modErroHandling.h"
#include "support/prompt.h"

namespace {
short keptVersion = 0;
}

bool fncStartOutlook() {
    if (ouaOutlook) return true;
    static const wchar_t* const progIds[] = {L"Outlook.Application.12", L"Outlook.Application.11",
                                             L"Outlook.Application.10", L"Outlook.Application.9",
                                             L"Outlook.Application"};
    qbx::Err err;
    for (const wchar_t* progId : progIds) {
        qbx::Disp app;
        if (!err.resume([&] { app = qbx::Disp::create(progId); }) || !app) continue;
        // Attaching is only done once the MAPI namespace answers.
        if (!err.resume([&] { app.call(L"GetNamespace", L"MAPI"); })) continue;
        ouaOutlook = app;
        subResetOutlookVersion();
        return true;
    }
    qbx::fncMsgBox(L"Please start Outlook manually before you execute this application!", MB_ICONEXCLAMATION,
                   kProductName);
    return false;
}

short fncOutlookVersion() {
    if (keptVersion == 0) {
        std::wstring v = ouaOutlook.get(L"Version").toString();
        keptVersion = static_cast<short>(_wtoi(v.substr(0, v.find(L'.')).c_str()));
    }
    return keptVersion;
}

void subResetOutlookVersion() noexcept { keptVersion = 0; }

qbx::Disp fncGetMAPINamespace() {
    if (!ouaOutlook) fncStartOutlook();
    return ouaOutlook.getObj(L"GetNamespace", L"MAPI");
}

namespace {

// The Outlook property type a variant type code creates; 0 for codes that
// are not handled.
long fncOutlookPropertyType(short typeCode) {
    switch (typeCode) {
        case VT_I2: return 3;     // number
        case VT_DATE: return 5;   // date-time
        case VT_BSTR: return 1;   // text
        case VT_BOOL: return 6;   // yes/no
        default: return 0;
    }
}

}  // namespace

bool subSetUserProperty(const qbx::Disp& item, const std::wstring& name, const qbx::Variant& value, short typeCode,
                        const qbx::Variant& addToFolderFields) {
    subSetAction(L"Writing the value of the Outlook property " + name);
    return qbx::guarded(L"subSetUserProperty", [&] {
        if (!item) return;
        qbx::Disp properties = item.getObj(L"UserProperties");
        qbx::Disp property = properties.get(L"Find", name).toDisp();
        const long outlookType = fncOutlookPropertyType(typeCode);
        if (!property && outlookType != 0) {
            // Without a flag the collection's own default applies.
            qbx::Variant added = addToFolderFields.type() == VT_ERROR
                                     ? properties.get(L"Add", name, outlookType)
                                     : properties.get(L"Add", name, outlookType, addToFolderFields);
            property = added.toDisp();
        }
        switch (typeCode) {
            case VT_I2:
                property.put(L"Value", value.isNumeric() ? value : qbx::Variant(short{0}));
                break;
            case VT_DATE:
                if (value.isDate()) property.put(L"Value", qbx::Variant::date(value.toDate()));
                break;
            case VT_BSTR:
                property.put(L"Value", qbx::Variant(value.toString()));
                break;
            case VT_BOOL:
                property.put(L"Value", qbx::Variant(value.toBool()));
                break;
            default:
                break;
        }
    });
}

qbx::Variant fncGetUserProperty(const qbx::Disp& item, const std::wstring& name, short typeCode,
                                const qbx::Variant& defaultValue) {
    qbx::Variant result;
    subSetAction(L"Reading the value of the Outlook property " + name);
    qbx::Err err;
    qbx::Disp property;
    err.resume([&] { property = item.getObj(L"UserProperties").get(L"Find", name).toDisp(); });
    if (!property) {
        switch (typeCode) {
            case VT_I2:
                err.resume([&] {
                    result = defaultValue.isNumeric() ? qbx::Variant(defaultValue.toShort()) : qbx::Variant(short{0});
                });
                break;
            case VT_DATE:
                result = qbx::Variant::date(0.0);
                break;
            case VT_BSTR:
                err.resume([&] { result = qbx::Variant(defaultValue.toString()); });
                break;
            case VT_BOOL:
                err.resume([&] {
                    if (defaultValue.isNumeric()) result = qbx::Variant(defaultValue.toBool());
                });
                break;
            default:
                break;
        }
    } else {
        // Each statement reads the value afresh, so a failing read leaves the
        // result as it stands.
        auto stored = [&] { return property.get(L"Value"); };
        switch (typeCode) {
            case VT_I2:
                err.resume([&] {
                    qbx::Variant v = stored();
                    result = v.isNumeric() ? qbx::Variant(v.toShort()) : qbx::Variant(short{0});
                });
                break;
            case VT_DATE:
                err.resume([&] {
                    qbx::Variant v = stored();
                    result = v.isDate() ? qbx::Variant::date(v.toDate()) : qbx::Variant::date(0.0);
                });
                break;
            case VT_BSTR:
                err.resume([&] {
                    std::wstring text = stored().toString();
                    std::wstring fallback = defaultValue.toString();
                    result = qbx::Variant(text.empty() && !fallback.empty() ? fallback : text);
                });
                break;
            case VT_BOOL:
                err.resume([&] { result = qbx::Variant(stored().toBool()); });
                break;
            default:
                break;
        }
    }
    err.clear();
    return result;
}

HWND fncInspectorWindow(const qbx::Disp& window) {
    if (!window) return nullptr;
    HWND result = nullptr;
    if (auto ole = window.ptr().as<IOleWindow>(IID_IOleWindow)) {
        if (FAILED(ole->GetWindow(&result))) result = nullptr;
        if (result) return result;
    }
    std::wstring caption;
    qbx::Err err;
    err.resume([&] { caption = window.get(L"Caption").toString(); });
    err.clear();
    if (caption.empty()) return nullptr;
    for (const wchar_t* windowClass : {L"rctrl_renwnd32", L"OpusApp"}) {
        result = FindWindowW(windowClass, caption.c_str());
        if (result) return result;
    }
    return FindWindowW(nullptr, caption.c_str());
}

HWND fncOutlookWindow(bool blnInspector) {
    qbx::Disp window;
    qbx::Err err;
    err.resume([&] {
        if (ouaOutlook) window = ouaOutlook.getObj(blnInspector ? L"ActiveInspector" : L"ActiveExplorer");
    });
    err.clear();
    return fncInspectorWindow(window);
}
