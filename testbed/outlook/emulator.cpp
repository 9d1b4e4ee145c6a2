// The emulated Outlook as a whole: its objects, the add-in connection as
// Outlook makes it, the ribbon, and the user's actions.
#include "testbed/outlook/emulator.h"

#include <olectl.h>

#include <algorithm>

namespace emu {

namespace {

std::wstring hex(HRESULT hr) {
    wchar_t buf[16];
    swprintf(buf, 16, L"0x%08lX", static_cast<unsigned long>(hr));
    return buf;
}

// An empty array for the add-in interface's "custom" arguments, which
// Outlook passes and ignores.
struct CustomArray {
    SAFEARRAY* a = SafeArrayCreateVector(VT_VARIANT, 0, 0);
    ~CustomArray() {
        if (a) SafeArrayDestroy(a);
    }
};

long defaultBalloonAnswer(const Balloon& b) {
    switch (b.buttons) {
        case 0: return 1;            // OK
        case 1: return 2;            // OK, Cancel -> Cancel
        case 2: return 3;            // Abort, Retry, Ignore -> Abort
        case 3: return 2;            // Yes, No, Cancel -> Cancel
        case 4: return 7;            // Yes, No -> No
        case 5: return 2;            // Retry, Cancel -> Cancel
        default: return 2;
    }
}

}  // namespace

Outlook::Outlook(Knobs knobs) : knobs_(std::move(knobs)) {
    app_ = make<Application>();
    ns_ = make<NameSpace>();
    inspectors_ = make<Inspectors>();
    if (knobs_.mailboxFile.empty() || GetFileAttributesW(knobs_.mailboxFile.c_str()) == INVALID_FILE_ATTRIBUTES) {
        createDefaultStore();
        persist();
    } else {
        loadMailbox();
    }
    explorer_ = make<Explorer>();
    explorer_->current = defaultFolder(6);
    activeWindow_ = explorer_;
}

Outlook::~Outlook() {
    // The windows on screen go with Outlook.
    if (inspectors_)
        for (Inspector* w : inspectors_->list) w->destroyWindow();
    // Add-ins still connected are simply let go, as when Outlook ends abruptly.
    for (auto& s : addins_) {
        s.ext.reset();
        s.disp.reset();
    }
    // First every sink goes (their release may release our objects), then
    // the objects nobody holds; the rest are orphaned and freed by their last
    // Release.
    for (auto& o : objects_) o->orphanSinks();
    for (auto& o : objects_) {
        if (o->refCount() == 0) {
            o.reset();
        } else {
            o->orphan();
            o.release();
        }
    }
}

std::wstring Outlook::versionText() const {
    switch (knobs_.version) {
        case 9: return L"9.0.0.2711";
        case 10: return L"10.0.0.2627";
        case 11: return L"11.0.0.5510";
        case 12: return L"12.0.0.4518";
        case 16: return L"16.0.0.0";
        default: return std::to_wstring(knobs_.version) + L".0.0.0";
    }
}

bool Outlook::assistantPresent() const noexcept {
    switch (knobs_.assistant) {
        case AssistantMode::Present: return true;
        case AssistantMode::Absent: return false;
        default: return knobs_.version <= 11;
    }
}

qbx::Disp Outlook::application() { return qbx::Disp(app_->disp()); }
qbx::Disp Outlook::nameSpace() { return qbx::Disp(ns_->disp()); }

Folder* Outlook::defaultFolder(long number) const {
    std::function<Folder*(Folders*)> walk = [&](Folders* fs) -> Folder* {
        for (Folder* f : fs->list) {
            if (f->defaultNumber == number) return f;
            if (Folder* g = walk(f->folders)) return g;
        }
        return nullptr;
    };
    return walk(ns_->stores);
}

void Outlook::createDefaultStore() {
    Folder* root = make<Folder>(nullptr, L"Personal Folders", 6);
    ns_->stores->list.push_back(root);
    struct Default {
        const wchar_t* name;
        long number;
        long type;
    };
    static const Default defaults[] = {
        {L"Deleted Items", 3, 6}, {L"Inbox", 6, 6},  {L"Outbox", 4, 6},    {L"Sent Items", 5, 6},
        {L"Calendar", 9, 9},      {L"Contacts", 10, 10}, {L"Journal", 11, 11}, {L"Notes", 12, 12},
        {L"Tasks", 13, 13},       {L"Drafts", 16, 6},
    };
    for (const auto& d : defaults) {
        Folder* f = make<Folder>(root, d.name, d.type);
        f->defaultNumber = d.number;
        root->folders->list.push_back(f);
    }
}

// ---------------------------------------------------------------- calls and faults

void Outlook::logCall(const std::wstring& text) {
    if (calls_.size() < 20000) calls_.push_back(text);
}

void Outlook::failNext(const std::wstring& member, long count, long number, const std::wstring& text) {
    Failure f;
    f.member = member;
    if (!f.member.empty() && f.member.back() == L'=') {
        f.member.pop_back();
        f.putOnly = true;
    }
    f.count = count;
    f.number = number;
    f.text = text;
    failures_.push_back(std::move(f));
}

void Outlook::checkFailure(const std::wstring& type, const std::wstring& member, WORD flags) {
    bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    std::wstring name = type + L"." + member;
    for (auto it = failures_.begin(); it != failures_.end(); ++it) {
        if (!qbx::textEquals(it->member, name) || (it->putOnly && !put) || it->count == 0) continue;
        long number = it->number;
        std::wstring text = it->text;
        if (it->count > 0 && --it->count == 0) failures_.erase(it);
        fail(number, text);
    }
}

References Outlook::references() const {
    References r;
    for (const auto& o : objects_) {
        if (!o) continue;
        long refs = static_cast<long>(o->refCount());
        long sinks = o->advisedSinks();
        r.refs += refs;
        r.sinks += sinks;
        if (refs) r.holders.push_back(o->className() + L" x" + std::to_wstring(refs));
        if (sinks) r.holders.push_back(o->className() + L" sinks " + std::to_wstring(sinks));
    }
    return r;
}

long Outlook::askBalloon(Balloon b) {
    b.answer = answerer_ ? answerer_(b) : defaultBalloonAnswer(b);
    balloons_.push_back(b);
    return b.answer;
}

void Outlook::pumpMessages(DWORD milliseconds) {
    DWORD start = GetTickCount();
    for (;;) {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (msg.message == WM_QUIT) continue;
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        DWORD spent = GetTickCount() - start;
        if (spent >= milliseconds) break;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, milliseconds - spent, QS_ALLINPUT);
    }
}

// ---------------------------------------------------------------- the add-in

void Outlook::callAddin(AddinSlot& s, const wchar_t* name, DISPID id, int mode) {
    CustomArray custom;
    HRESULT hr = E_FAIL;
    if (!knobs_.addinThroughDispatch) {
        IDTExtensibility2* x = s.ext.get();
        switch (id) {
            case 1: hr = x->OnConnection(app_->disp(), mode, s.object->disp(), &custom.a); break;
            case 2: hr = x->OnDisconnection(mode, &custom.a); break;
            case 3: hr = x->OnAddInsUpdate(&custom.a); break;
            case 4: hr = x->OnStartupComplete(&custom.a); break;
            case 5: hr = x->OnBeginShutdown(&custom.a); break;
            default: break;
        }
    } else {
        // Through IDispatch: the DISPID by name, then Invoke.
        VARIANT customRef;
        VariantInit(&customRef);
        customRef.vt = VT_BYREF | VT_ARRAY | VT_VARIANT;
        customRef.pparray = &custom.a;
        qbx::Variant customArg = qbx::Variant::attach(customRef);
        qbx::Disp addin(s.disp);
        if (id == 1)
            hr = addin.tryCall(name, qbx::Variant(app_->disp()), static_cast<long>(mode), qbx::Variant(s.object->disp()),
                               customArg).hr;
        else if (id == 2)
            hr = addin.tryCall(name, static_cast<long>(mode), customArg).hr;
        else
            hr = addin.tryCall(name, customArg).hr;
    }
    addinCalls_.push_back(std::wstring(name) + (SUCCEEDED(hr) ? L"" : L" failed " + hex(hr)));
}

bool Outlook::connectAddin(IUnknown* addin, const std::wstring& progId, int connectMode) {
    if (!addin) return false;
    AddinSlot s;
    s.progId = progId;
    addin->QueryInterface(qbx::IID_IDTExtensibility2, s.ext.putVoid());
    addin->QueryInterface(IID_IDispatch, s.disp.putVoid());
    if (!s.ext || !s.disp) return false;
    s.object = make<COMAddIn>(progId);
    addins_.push_back(std::move(s));
    AddinSlot& slot = addins_.back();
    slot.connected = true;
    callAddin(slot, L"OnConnection", 1, connectMode);
    // Outlook 2010 and later ask for the explorer's ribbon as the add-in connects.
    if (knobs_.version >= 14 && !ribbons_.count(L"Microsoft.Outlook.Explorer")) loadRibbon(L"Microsoft.Outlook.Explorer");
    callAddin(slot, L"OnAddInsUpdate", 3, 0);
    callAddin(slot, L"OnStartupComplete", 4, 0);
    return true;
}

void Outlook::fireStartup() { app_->fire(qbx::dispid::Startup, {}); }

void Outlook::fireQuit() { app_->fire(qbx::dispid::Quit, {}); }

bool Outlook::fireItemSend(Item* item) { return app_->fire(qbx::dispid::ItemSend, {item->var()}, true); }

void Outlook::shutdown() {
    if (shutDown_) return;
    shutDown_ = true;
    if (fastShutdownFor(knobs_.version)) {
        fireQuit();
        quitPending_ = true;
        if (eventsRunning == 0) quitReturned_ = true;
        // The process ends here: no add-in hears more, none is released.
        for (auto& s : addins_) {
            if (!s.connected) continue;
            s.connected = false;
            s.object->connect = false;
            s.object->object.detach();
            s.ext.detach();
            s.disp.detach();
        }
        return;
    }
    for (auto& s : addins_)
        if (s.connected) callAddin(s, L"OnBeginShutdown", 5, 0);
    fireQuit();
    for (auto& s : addins_) {
        if (!s.connected) continue;
        callAddin(s, L"OnDisconnection", 2, 0);  // ext_dm_HostShutdown
        s.connected = false;
        s.object->connect = false;
        s.object->object.reset();
        s.ext.reset();
        s.disp.reset();
    }
}

// ---------------------------------------------------------------- the ribbon

std::wstring Outlook::ribbonIdFor(Inspector* w) const {
    Item* it = w->item;
    bool read = it->received;
    switch (it->kind) {
        case ItemKind::Post: return read || it->stored ? L"Microsoft.Outlook.Post.Read" : L"Microsoft.Outlook.Post.Compose";
        case ItemKind::Task: return L"Microsoft.Outlook.Task";
        case ItemKind::Meeting:
            return read ? L"Microsoft.Outlook.MeetingRequest.Read" : L"Microsoft.Outlook.MeetingRequest.Send";
        case ItemKind::Appointment: return L"Microsoft.Outlook.Appointment";
        default: return read ? L"Microsoft.Outlook.Mail.Read" : L"Microsoft.Outlook.Mail.Compose";
    }
}

namespace {

std::wstring attr(const qbx::Disp& element, const wchar_t* name) {
    qbx::Variant v = element.get(L"getAttribute", name);
    return v.isNull() || v.isEmpty() ? std::wstring() : v.toString();
}

}  // namespace

void Outlook::loadRibbon(const std::wstring& ribbonId) {
    for (auto& s : addins_) {
        if (!s.connected) continue;
        qbx::ComPtr<IRibbonExtensibility> ribbon;
        s.ext->QueryInterface(qbx::IID_IRibbonExtensibility, ribbon.putVoid());
        if (!ribbon) continue;
        RibbonLoad load;
        load.ribbonId = ribbonId;
        qbx::Bstr id(ribbonId);
        qbx::Bstr xml;
        HRESULT hr = ribbon->GetCustomUI(id.get(), xml.put());
        load.xml = xml.str();
        if (FAILED(hr)) {
            load.problem = L"GetCustomUI failed " + hex(hr);
        } else if (load.xml.empty()) {
            load.problem = L"no customization";
        } else {
            // Office reads the document with an XML parser and drops a
            // customization that is not well-formed or not in a custom-UI
            // namespace its version knows.
            try {
                qbx::ComPtr<IDispatch> docPtr;
                if (FAILED(qbx::createByProgId(L"MSXML2.DOMDocument", docPtr.put())))
                    qbx::raise(qbx::vbErrCantCreate, L"no XML parser");
                qbx::Disp doc(docPtr);
                doc.put(L"async", false);
                if (!doc.get(L"loadXML", load.xml).toBool()) {
                    load.problem = L"not well-formed: " + doc.getObj(L"parseError").get(L"reason").toString();
                } else {
                    qbx::Disp root = doc.getObj(L"documentElement");
                    std::wstring ns = root.get(L"namespaceURI").toString();
                    std::wstring local = root.get(L"baseName").toString();
                    bool known = ns == L"http://schemas.microsoft.com/office/2006/01/customui" ||
                                 (ns == L"http://schemas.microsoft.com/office/2009/07/customui" && knobs_.version >= 14);
                    if (local != L"customUI" || !known) {
                        load.problem = L"not a custom UI document for Outlook " + std::to_wstring(knobs_.version) +
                                       L" (" + ns + L")";
                    } else {
                        load.accepted = true;
                        load.onLoad = attr(root, L"onLoad");
                        load.loadImage = attr(root, L"loadImage");
                        qbx::Disp list = doc.getObj(L"getElementsByTagName", L"button");
                        long n = list.get(L"length").toLong();
                        for (long i = 0; i < n; ++i) {
                            qbx::Disp b = list.getObj(L"item", i);
                            load.buttons.push_back(RibbonButton{attr(b, L"id"), attr(b, L"label"), attr(b, L"onAction"),
                                                                attr(b, L"image"), attr(b, L"size")});
                        }
                    }
                }
            } catch (const qbx::Error& e) {
                load.problem = L"could not read the document: " + e.description();
            }
        }
        if (load.accepted) {
            load.ui = make<RibbonUI>(ribbonId);
            ribbons_[ribbonId] = load;
            if (!load.onLoad.empty()) callCallback(load.onLoad, load.ui->var(), nullptr);
            std::vector<std::wstring> images;
            for (const auto& b : load.buttons)
                if (!b.image.empty() && std::find(images.begin(), images.end(), b.image) == images.end())
                    images.push_back(b.image);
            if (!load.loadImage.empty())
                for (const auto& img : images) {
                    qbx::Variant picture;
                    callCallback(load.loadImage, qbx::Variant(img), &picture);
                }
        } else {
            ribbons_[ribbonId] = load;
        }
        return;  // one add-in with a ribbon is all the test bed needs
    }
}

HRESULT Outlook::callCallback(const std::wstring& name, qbx::Variant arg, qbx::Variant* result) {
    CallbackCall call;
    call.name = name;
    call.hr = E_NOINTERFACE;
    for (auto& s : addins_) {
        if (!s.connected) continue;
        qbx::ComPtr<IRibbonExtensibility> ribbon;
        s.ext->QueryInterface(qbx::IID_IRibbonExtensibility, ribbon.putVoid());
        if (!ribbon) continue;
        // The callbacks are reached through the ribbon interface's IDispatch.
        auto r = qbx::Disp(ribbon.get()).tryCall(name.c_str(), std::move(arg));
        call.hr = r.hr;
        if (SUCCEEDED(call.hr)) {
            call.resultType = r.value.type();
            const VARIANT& raw = r.value.raw();
            IUnknown* u = raw.vt == VT_DISPATCH ? raw.pdispVal : (raw.vt == VT_UNKNOWN ? raw.punkVal : nullptr);
            if (u) {
                qbx::ComPtr<IUnknown> pic;
                u->QueryInterface(IID_IPictureDisp, pic.putVoid());
                call.resultIsPicture = static_cast<bool>(pic);
            }
            if (result) *result = std::move(r.value);
        }
        break;
    }
    callbacks_.push_back(call);
    return call.hr;
}

bool Outlook::clickRibbon(Inspector* w, const std::wstring& controlId) {
    if (!w || !w->open) return false;
    auto it = ribbons_.find(ribbonIdFor(w));
    if (it == ribbons_.end() || !it->second.accepted) return false;
    for (const auto& b : it->second.buttons) {
        if (b.id != controlId || b.onAction.empty()) continue;
        RibbonControl* c = make<RibbonControl>(controlId, w, L"");
        return SUCCEEDED(callCallback(b.onAction, c->var(), nullptr));
    }
    return false;
}

// ---------------------------------------------------------------- windows

void Outlook::windowOpened(Inspector* w) {
    w->open = true;
    inspectors_->list.push_back(w);
    inspectors_->fire(qbx::dispid::NewInspector, {w->var()});
    if (!w->open) return;  // closed by a sink at once
    // Outlook 2007 and later ask for the ribbon when the first window of a kind opens.
    if (knobs_.version >= 12) {
        std::wstring id = ribbonIdFor(w);
        if (!ribbons_.count(id)) loadRibbon(id);
    }
    if (!w->open) return;
    activeWindow_ = w;
    w->createWindow();
    w->showActive();
    w->fire(qbx::dispid::InspectorActivate, {});
}

void Outlook::windowClosed(Inspector* w) {
    auto& list = inspectors_->list;
    list.erase(std::remove(list.begin(), list.end(), w), list.end());
    if (activeWindow_ == w) activeWindow_ = list.empty() ? static_cast<Object*>(explorer_) : list.back();
    if (activeWordWindow == w) {
        activeWordWindow = nullptr;
        for (Inspector* o : list)
            if (o->wordMail) activeWordWindow = o;
    }
}

std::vector<Inspector*> Outlook::openWindows() const { return inspectors_->list; }

Inspector* Outlook::openCompose(const std::wstring& messageClass, const std::wstring& subject) {
    Item* item = make<Item>(kindForClass(messageClass), messageClass, defaultFolder(16));
    item->subject = subject;
    return openItem(item);
}

bool Outlook::editorIsWord() const noexcept {
    switch (knobs_.editor) {
        case EditorKind::Word: return true;
        case EditorKind::Html:
        case EditorKind::Plain:
        case EditorKind::Rich: return false;
        default: return knobs_.version >= 12;
    }
}

long Outlook::editorTypeForNew() const noexcept {
    switch (knobs_.editor) {
        case EditorKind::Plain: return 1;  // olEditorText
        case EditorKind::Rich: return 3;   // olEditorRTF
        default: return editorIsWord() ? 4 : 2;  // olEditorWord / olEditorHTML
    }
}

Inspector* Outlook::openItem(Item* item) {
    if (item->inspector && item->inspector->open) {
        activate(item->inspector);
        return item->inspector;
    }
    if (!item->inspector || item->inspector->closed) item->inspector = make<Inspector>(*item, editorTypeForNew());
    windowOpened(item->inspector);
    return item->inspector;
}

Item* Outlook::receiveMail(const std::wstring& subject, const std::wstring& body, const std::wstring& messageClass) {
    Item* item = make<Item>(kindForClass(messageClass), messageClass, defaultFolder(6));
    item->subject = subject;
    item->body = body;
    item->received = true;
    item->save();
    app_->fire(qbx::dispid::NewMail, {});
    if (knobs_.version >= 11)
        app_->fireOn({qbx::DIID_ApplicationEvents_11}, kNewMailEx, {qbx::Variant(item->entryIdText())});
    return item;
}

void Outlook::activate(Inspector* w) {
    if (!w || !w->open) return;
    activeWindow_ = w;
    w->showActive();
    w->fire(qbx::dispid::InspectorActivate, {});
}

bool Outlook::putCursorIn(Inspector* w, const std::wstring& field) {
    if (!w || !w->open) return false;
    HWND f = qbx::textEquals(field, L"To") ? w->fieldTo
             : qbx::textEquals(field, L"Cc") ? w->fieldCc
             : qbx::textEquals(field, L"Subject") ? w->fieldSubject
             : qbx::textEquals(field, L"Body") ? w->fieldBody : nullptr;
    if (!f) return false;
    w->cursorField = f;
    if (activeWindow_ == w) SetFocus(f);
    return true;
}

std::wstring Outlook::fieldText(Inspector* w, const std::wstring& field) const {
    if (!w || !w->open) return {};
    HWND f = qbx::textEquals(field, L"To") ? w->fieldTo
             : qbx::textEquals(field, L"Cc") ? w->fieldCc
             : qbx::textEquals(field, L"Subject") ? w->fieldSubject
             : qbx::textEquals(field, L"Body") ? w->fieldBody : nullptr;
    if (!f) return {};
    int n = GetWindowTextLengthW(f);
    std::wstring t(static_cast<size_t>(n) + 1, L'\0');
    t.resize(static_cast<size_t>(GetWindowTextW(f, t.data(), n + 1)));
    return t;
}

void Outlook::typeText(Inspector* w, const std::wstring& text) {
    if (!w || !w->open) qbx::raise(errors::kFailed, L"The window is not open.");
    w->item->insertText(text);
}

void Outlook::moveCursor(Inspector* w, long position) {
    if (!w || !w->open) qbx::raise(errors::kFailed, L"The window is not open.");
    Item* it = w->item;
    it->pullFromWindow();
    size_t p = position < 0 ? it->body.size() : std::min(static_cast<size_t>(position), it->body.size());
    it->selStart = it->selEnd = p;
    it->pushToWindow();
}

Attachment* Outlook::attachFile(Inspector* w, const std::wstring& path) {
    if (!w || !w->open) qbx::raise(errors::kFailed, L"The window is not open.");
    return w->item->attachments->addFile(path, L"");
}

bool Outlook::send(Inspector* w) {
    if (!w || !w->open) qbx::raise(errors::kFailed, L"The window is not open.");
    return w->item->send();
}

void Outlook::autosave(Inspector* w) {
    if (!w || !w->open) return;
    Item& item = *w->item;
    // Taken first: a handler may remove attachments meanwhile.
    std::vector<Attachment*> unsaved;
    for (Attachment* a : item.attachments->list)
        if (!a->saved) unsaved.push_back(a);
    for (Attachment* a : unsaved) {
        if (a->gone() || !w->open) continue;
        if (!item.fire(qbx::dispid::BeforeAttachmentSave, {a->handle()}, true) && !a->gone()) a->saved = true;
    }
    if (w->open) item.save();
}

bool Outlook::close(Inspector* w, long saveMode) {
    if (!w || !w->open) return false;
    return w->close(saveMode);
}

std::wstring Outlook::mailText(Inspector* w) const {
    if (!w) return {};
    w->item->pullFromWindow();
    return w->item->body;
}

std::vector<std::wstring> Outlook::attachmentNames(Inspector* w) const {
    std::vector<std::wstring> names;
    if (w)
        for (Attachment* a : w->item->attachments->list) names.push_back(a->fileName);
    return names;
}

// ---------------------------------------------------------------- command bars

std::vector<CommandBarButton*> Outlook::buttonsTagged(const std::wstring& tag) const {
    std::vector<CommandBarButton*> r;
    for (CommandBarButton* b : buttons_)
        if (!b->deleted && !tag.empty() && b->tag == tag) r.push_back(b);
    return r;
}

bool Outlook::clickButton(Inspector* w, const std::wstring& tagOrCaption) {
    if (!w || !w->open) return false;
    CommandBar* bar = w->bars->find(L"Standard");
    if (!bar) return false;
    auto plain = [](std::wstring s) { return qbx::replaceAll(std::move(s), L"&", L""); };
    for (CommandBarButton* b : bar->controls->list)
        if (b->tag == tagOrCaption || qbx::textEquals(plain(b->caption), plain(tagOrCaption))) return clickButton(b);
    return false;
}

bool Outlook::clickButton(CommandBarButton* b) {
    if (!b || b->deleted || !b->visible || !b->enabled) return false;
    ++b->clicks;
    // Office raises Click on every button that shares the clicked one's tag,
    // the clicked one first; CancelDefault travels from one to the next.
    std::vector<CommandBarButton*> targets{b};
    for (CommandBarButton* o : buttonsTagged(b->tag))
        if (o != b) targets.push_back(o);
    bool cancel = false;
    for (CommandBarButton* t : targets) cancel = t->fire(qbx::dispid::ButtonClick, {b->var()}, true, cancel);
    return true;
}

}  // namespace emu
