// Application, its Assistant, the add-in's COMAddIn entry, the explorer and
// the inspectors collection.
#include "testbed/outlook/emulator.h"

namespace emu {

using qbx::Args;
using qbx::Variant;

// ---------------------------------------------------------------- Application

Application::Application(Outlook& o) : Object(o, L"Application") {
    answers(qbx::IID_OutlookApplication);
    sources(qbx::DIID_ApplicationEvents, 9);
    sources(qbx::DIID_ApplicationEvents_10, 10);
    sources(qbx::DIID_ApplicationEvents_11, 11);
    property(L"Application", [this](Args&) { return var(); });
    property(L"Parent", [this](Args&) { return var(); });
    property(L"Class", [](Args&) { return Variant(0L); });  // olApplication
    property(L"Name", [](Args&) { return Variant(L"Outlook"); });
    property(L"Version", [this](Args&) { return Variant(ol().versionText()); });
    method(L"GetNamespace", [this](Args& a) {
        if (!qbx::textEquals(a.str(0), L"MAPI")) failInvalidArg();
        return ol().ns()->var();
    });
    property(L"Session", [this](Args&) { return ol().ns()->var(); });
    property(L"Inspectors", [this](Args&) { return ol().inspectors()->var(); });
    method(L"ActiveExplorer", [this](Args&) { return ol().explorer()->var(); });
    method(L"ActiveWindow", [this](Args&) {
        Object* w = ol().activeWindow();
        return w ? w->var() : Variant::nothing();
    });
    method(L"ActiveInspector", [this](Args&) {
        auto* w = dynamic_cast<Inspector*>(ol().activeWindow());
        return w && w->open ? w->var() : Variant::nothing();
    });
    method(L"CreateItem", [this](Args& a) {
        long type = a.i32(0);
        Item* item = nullptr;
        if (type == 0)  // olMailItem
            item = ol().make<Item>(ItemKind::Mail, L"IPM.Note", ol().defaultFolder(16));
        else if (type == 6)  // olPostItem: it goes to the current folder
            item = ol().make<Item>(ItemKind::Post, L"IPM.Post", ol().explorer()->current);
        else
            fail(errors::kInvalidArg, L"The test bed's Outlook only creates mail (0) and post (6) items.");
        return item->var();
    });
    assistantId_ = property(L"Assistant", [this](Args&) {
        if (!assistant_) assistant_ = ol().make<Assistant>();
        return assistant_->var();
    });
}

// From Outlook 2007 on (or when the knobs take it away) the member is not
// there at all: late binding fails with "Object doesn't support this property
// or method" (438).
HRESULT Application::GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) {
    if (names && count >= 1 && names[0] && model() && !model()->assistantPresent() &&
        qbx::textEquals(names[0], L"Assistant")) {
        for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
        return DISP_E_UNKNOWNNAME;
    }
    return Object::GetIDsOfNames(riid, names, count, lcid, ids);
}

HRESULT Application::Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* dp, VARIANT* result,
                            EXCEPINFO* info, UINT* argErr) {
    if (id == assistantId_ && model() && !model()->assistantPresent()) return DISP_E_MEMBERNOTFOUND;
    return Object::Invoke(id, riid, lcid, flags, dp, result, info, argErr);
}

// ---------------------------------------------------------------- Assistant

Assistant::Assistant(Outlook& o) : Object(o, L"Assistant") {
    property(L"Visible", [this](Args&) { return Variant(visible); },
             [this](Args&, const Variant& v) { visible = v.toBool(); });
    property(L"On", [](Args&) { return Variant(true); });
    property(L"Name", [](Args&) { return Variant(L"Clippit"); });
    property(L"Animation", [this](Args&) { return Variant(animation); },
             [this](Args&, const Variant& v) {
                 animation = v.toLong();
                 ol().recordAnimation(animation);
             });
    // DoAlert(title, text, buttons, icon, default button, cancel, system alert):
    // every argument is required, as in Office.
    doAlertId = method(L"DoAlert", [this](Args& a) {
        Balloon b;
        b.title = a.str(0);
        b.text = a.str(1);
        b.buttons = a.i32(2);
        b.icon = a.i32(3);
        b.defaultButton = a.i32(4);
        b.cancel = a.i32(5);
        b.systemAlert = a.boolean(6);
        return Variant(ol().askBalloon(b));
    });
}

HRESULT Assistant::GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) {
    if (names && count >= 1 && names[0] && model() && model()->version() < 10 && qbx::textEquals(names[0], L"DoAlert")) {
        for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
        return DISP_E_UNKNOWNNAME;
    }
    return Object::GetIDsOfNames(riid, names, count, lcid, ids);
}

HRESULT Assistant::Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* dp, VARIANT* result,
                          EXCEPINFO* info, UINT* argErr) {
    if (id == doAlertId && model() && model()->version() < 10) return DISP_E_MEMBERNOTFOUND;
    return Object::Invoke(id, riid, lcid, flags, dp, result, info, argErr);
}

// ---------------------------------------------------------------- COMAddIn

COMAddIn::COMAddIn(Outlook& o, std::wstring id) : Object(o, L"COMAddIn"), progId(std::move(id)) {
    property(L"ProgId", [this](Args&) { return Variant(progId); });
    property(L"Description", [this](Args&) { return Variant(progId); });
    property(L"Guid", [](Args&) { return Variant(L""); });
    property(L"Connect", [this](Args&) { return Variant(connect); },
             [this](Args&, const Variant& v) { connect = v.toBool(); });
    property(L"Object", [this](Args&) { return object ? Variant(object.get()) : Variant::nothing(); },
             [this](Args&, const Variant& v) {
                 qbx::Disp d = v.toDisp();
                 object = d.ptr();
             });
    property(L"Application", [this](Args&) { return ol().app()->var(); });
}

// ---------------------------------------------------------------- Explorer

Explorer::Explorer(Outlook& o) : Object(o, L"Explorer") {
    bars = o.make<CommandBars>(this);
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Class", [](Args&) { return Variant(34L); });  // olExplorer
    property(L"Caption", [this](Args&) {
        std::wstring product = ol().version() == 11 ? L"Microsoft Office Outlook" : L"Microsoft Outlook";
        return Variant((current ? current->name : std::wstring(L"Outlook Today")) + L" - " + product);
    });
    property(L"CommandBars", [this](Args&) { return bars->var(); });
    property(L"CurrentFolder", [this](Args&) { return current ? current->var() : Variant::nothing(); },
             [this](Args&, const Variant& v) {
                 auto* f = ours<Folder>(v);
                 if (!f) failInvalidArg();
                 current = f;
             });
    property(L"Selection", [this](Args&) {
        ObjectList* list = ol().make<ObjectList>(L"Selection", [this] {
            return std::vector<Object*>(selection.begin(), selection.end());
        });
        return list->var();
    });
    method(L"Activate", [this](Args&) {
        ol().setActiveWindow(this);
        return Variant();
    });
}

ObjectList::ObjectList(Outlook& o, std::wstring typeName, std::function<std::vector<Object*>()> items)
    : Object(o, std::move(typeName)) {
    property(L"Count", [items](Args&) { return Variant(static_cast<long>(items().size())); });
    DISPID item = method(L"Item", [items](Args& a) {
        auto list = items();
        long i = a.i32(0);
        if (i < 1 || i > static_cast<long>(list.size())) failIndex();
        return list[static_cast<size_t>(i - 1)]->var();
    });
    setDefault(item);
    liveEnumerator([items] { return static_cast<long>(items().size()); },
                   [items](long i) { return items()[static_cast<size_t>(i - 1)]->var(); });
}

// ---------------------------------------------------------------- Inspectors

Inspectors::Inspectors(Outlook& o) : Object(o, L"Inspectors") {
    sources(qbx::DIID_InspectorsEvents, 9);
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return ol().app()->var(); });
    property(L"Class", [](Args&) { return Variant(56L); });  // olInspectors
    property(L"Count", [this](Args&) { return Variant(static_cast<long>(list.size())); });
    DISPID item = method(L"Item", [this](Args& a) {
        long i = a.i32(0);
        if (i < 1 || i > static_cast<long>(list.size())) failIndex();
        return list[static_cast<size_t>(i - 1)]->var();
    });
    setDefault(item);
    liveEnumerator([this] { return static_cast<long>(list.size()); },
                   [this](long i) { return list[static_cast<size_t>(i - 1)]->var(); });
}

}  // namespace emu
