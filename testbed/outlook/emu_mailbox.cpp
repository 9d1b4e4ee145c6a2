// The mailbox: namespace, folders, items and user properties.
#include "testbed/outlook/emulator.h"

#include "testbed/outlook/emu_filter.h"

#include <algorithm>

namespace emu {

using qbx::Args;
using qbx::Variant;

Object* ourObject(const Variant& v) {
    const VARIANT& r = v.raw();
    IUnknown* u = nullptr;
    if (r.vt == VT_DISPATCH) u = r.pdispVal;
    else if (r.vt == VT_UNKNOWN) u = r.punkVal;
    else if (r.vt == (VT_BYREF | VT_DISPATCH) && r.ppdispVal) u = *r.ppdispVal;
    if (!u) return nullptr;
    void* p = nullptr;
    if (FAILED(u->QueryInterface(IID_EmuObject, &p))) return nullptr;
    return static_cast<Object*>(p);
}

namespace {

// The "none" date Outlook shows for an empty date-time property: 1/1/4501.
double noneDate() {
    SYSTEMTIME st{};
    st.wYear = 4501;
    st.wMonth = 1;
    st.wDay = 1;
    double d = 0;
    SystemTimeToVariantTime(&st, &d);
    return d;
}

}  // namespace

ItemKind kindForClass(const std::wstring& messageClass) {
    std::wstring c = qbx::toUpper(messageClass);
    auto starts = [&](const wchar_t* p) { return c.rfind(p, 0) == 0; };
    if (starts(L"IPM.POST")) return ItemKind::Post;
    if (starts(L"IPM.TASK")) return ItemKind::Task;
    if (starts(L"IPM.SCHEDULE.MEETING")) return ItemKind::Meeting;
    if (starts(L"IPM.APPOINTMENT")) return ItemKind::Appointment;
    return ItemKind::Mail;
}

std::wstring htmlToText(const std::wstring& html) {
    std::wstring out;
    for (size_t i = 0; i < html.size();) {
        wchar_t c = html[i];
        if (c == L'<') {
            size_t end = html.find(L'>', i);
            if (end == std::wstring::npos) break;
            std::wstring tag = qbx::toLower(html.substr(i + 1, end - i - 1));
            if (tag == L"br" || tag == L"br/" || tag == L"br /" || tag == L"/p" || tag == L"/div") out += L"\r\n";
            i = end + 1;
        } else if (c == L'&') {
            size_t end = html.find(L';', i);
            std::wstring ent = end == std::wstring::npos ? std::wstring() : html.substr(i + 1, end - i - 1);
            wchar_t r = 0;
            if (ent == L"amp") r = L'&';
            else if (ent == L"lt") r = L'<';
            else if (ent == L"gt") r = L'>';
            else if (ent == L"quot") r = L'"';
            else if (ent == L"nbsp") r = L' ';
            else if (ent.size() > 1 && ent[0] == L'#') r = static_cast<wchar_t>(wcstol(ent.c_str() + 1, nullptr, 10));
            if (r) {
                out += r;
                i = end + 1;
            } else {
                out += c;
                ++i;
            }
        } else if (c == L'\r' || c == L'\n') {
            ++i;  // line breaks in HTML source are blanks at most
        } else {
            out += c;
            ++i;
        }
    }
    return out;
}

// ---------------------------------------------------------------- NameSpace

namespace {

class Recipient final : public Object {
public:
    Recipient(Outlook& o, std::wstring name) : Object(o, L"Recipient") {
        property(L"Name", [name](Args&) { return Variant(name); });
        property(L"Address", [name](Args&) { return Variant(name); });
        property(L"Class", [](Args&) { return Variant(4L); });  // olRecipient
    }
};

}  // namespace

NameSpace::NameSpace(Outlook& o) : Object(o, L"NameSpace") {
    stores = o.make<Folders>(nullptr);
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return ol().app()->var(); });
    property(L"Class", [](Args&) { return Variant(1L); });  // olNamespace
    property(L"Type", [](Args&) { return Variant(L"MAPI"); });
    property(L"Folders", [this](Args&) { return stores->var(); });
    property(L"CurrentUser", [this](Args&) { return ol().make<Recipient>(ol().knobs().userName)->var(); });
    method(L"GetDefaultFolder", [this](Args& a) {
        Folder* f = ol().defaultFolder(a.i32(0));
        if (!f) failInvalidArg();
        return f->var();
    });
    method(L"GetItemFromID", [this](Args& a) {
        std::wstring id = a.str(0);
        std::function<Item*(Folders*)> walk = [&](Folders* fs) -> Item* {
            for (Folder* f : fs->list) {
                for (Item* it : f->contents)
                    if (it->entryIdText() == id) return it;
                if (Item* r = walk(f->folders)) return r;
            }
            return nullptr;
        };
        Item* it = walk(stores);
        if (!it) failNotFound();
        return it->var();
    });
    method(L"Logon", [](Args&) { return Variant(); });
    method(L"Logoff", [](Args&) { return Variant(); });
}

// ---------------------------------------------------------------- Folders

Folders::Folders(Outlook& o, Folder* ownerFolder) : Object(o, L"Folders"), owner(ownerFolder) {
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return owner ? owner->var() : ol().ns()->var(); });
    property(L"Class", [](Args&) { return Variant(15L); });  // olFolders
    property(L"Count", [this](Args&) { return Variant(static_cast<long>(list.size())); });
    DISPID item = method(L"Item", [this](Args& a) {
        IndexArg i = indexArg(a, 0);
        if (i.byName) {
            Folder* f = find(i.name);
            if (!f) failNotFound();
            return f->var();
        }
        if (i.index < 1 || i.index > static_cast<long>(list.size())) failIndex();
        return list[static_cast<size_t>(i.index - 1)]->var();
    });
    setDefault(item);
    method(L"Add", [this](Args& a) {
        std::wstring name = a.str(0);
        long type = a.has(1) ? a.i32(1) : (owner ? owner->type : 6);
        return add(name, type)->var();
    });
    method(L"Remove", [this](Args& a) {
        long i = a.i32(0);
        if (i < 1 || i > static_cast<long>(list.size())) failIndex();
        Folder* f = list[static_cast<size_t>(i - 1)];
        if (f->defaultNumber) fail(errors::kFailed, L"Cannot delete this folder.");
        list.erase(list.begin() + (i - 1));
        f->kill(errors::kDeleted, errors::kDeletedText);
        ol().persist();
        return Variant();
    });
    auto at = [this](long i) { return i >= 1 && i <= static_cast<long>(list.size()) ? list[static_cast<size_t>(i - 1)]->var() : Variant::nothing(); };
    method(L"GetFirst", [this, at](Args&) { cursor_ = 1; return at(cursor_); });
    method(L"GetNext", [this, at](Args&) { return at(++cursor_); });
    method(L"GetLast", [this, at](Args&) { cursor_ = static_cast<long>(list.size()); return at(cursor_); });
    method(L"GetPrevious", [this, at](Args&) { return at(--cursor_); });
    liveEnumerator([this] { return static_cast<long>(list.size()); },
                   [this](long i) { return list[static_cast<size_t>(i - 1)]->var(); });
}

Folder* Folders::find(const std::wstring& name) const {
    for (Folder* f : list)
        if (qbx::textEquals(f->name, name)) return f;
    return nullptr;
}

Folder* Folders::add(const std::wstring& name, long type) {
    if (!owner) fail(errors::kFailed, L"A store can't be added this way.");
    if (name.empty()) failInvalidArg();
    // The folder types Folders.Add takes (OlDefaultFolders codes).
    static const long allowed[] = {6, 9, 10, 11, 12, 13, 16};
    if (std::find(std::begin(allowed), std::end(allowed), type) == std::end(allowed)) failInvalidArg();
    if (find(name)) fail(errors::kCollision, L"Cannot create the folder. A folder with this name already exists.");
    Folder* f = ol().make<Folder>(owner, name, type == 16 ? 6 : type);
    list.push_back(f);
    ol().persist();
    return f;
}

// ---------------------------------------------------------------- Folder

Folder::Folder(Outlook& o, Folder* parentFolder, std::wstring folderName, long folderType)
    : Object(o, L"MAPIFolder"), parent(parentFolder), name(std::move(folderName)), type(folderType) {
    folders = o.make<Folders>(this);
    items = o.make<Items>(*this);
    entryId_ = o.nextEntryId();
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return parent ? parent->var() : ol().ns()->var(); });
    property(L"Class", [](Args&) { return Variant(2L); });  // olFolder
    DISPID nameId = property(L"Name", [this](Args&) { return Variant(name); },
                             [this](Args&, const Variant& v) {
                                 std::wstring n = v.toString();
                                 if (n.empty()) failInvalidArg();
                                 if (parent) {
                                     Folder* other = parent->folders->find(n);
                                     if (other && other != this)
                                         fail(errors::kCollision, L"Cannot rename the folder. A folder with this name already exists.");
                                 }
                                 name = n;
                                 ol().persist();
                             });
    setDefault(nameId);
    property(L"Folders", [this](Args&) { return folders->var(); });
    property(L"Items", [this](Args&) { return items->var(); });
    property(L"EntryID", [this](Args&) { return Variant(std::to_wstring(entryId_)); });
    property(L"FolderPath", [this](Args&) { return Variant(path()); });
    property(L"Description", [](Args&) { return Variant(L""); });
    property(L"DefaultItemType", [this](Args&) { return Variant(defaultItemType()); });
    property(L"DefaultMessageClass", [this](Args&) {
        static const wchar_t* const classes[] = {L"IPM.Note", L"IPM.Appointment", L"IPM.Contact", L"IPM.Task",
                                                 L"IPM.Activity", L"IPM.StickyNote"};
        return Variant(classes[defaultItemType()]);
    });
    method(L"Delete", [this](Args&) {
        if (defaultNumber || !parent) fail(errors::kFailed, L"Cannot delete this folder.");
        auto& l = parent->folders->list;
        l.erase(std::remove(l.begin(), l.end(), this), l.end());
        kill(errors::kDeleted, errors::kDeletedText);
        ol().persist();
        return Variant();
    });
}

std::wstring Folder::path() const { return (parent ? parent->path() : std::wstring(L"\\")) + L"\\" + name; }

long Folder::defaultItemType() const {
    switch (type) {
        case 9: return 1;   // olAppointmentItem
        case 10: return 2;  // olContactItem
        case 13: return 3;  // olTaskItem
        case 11: return 4;  // olJournalItem
        case 12: return 5;  // olNoteItem
        default: return 0;  // olMailItem
    }
}

// ---------------------------------------------------------------- Items

Items::Items(Outlook& o, Folder& f) : Object(o, L"Items"), folder(f) {
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return folder.var(); });
    property(L"Class", [](Args&) { return Variant(16L); });  // olItems
    property(L"Count", [this](Args&) { return Variant(static_cast<long>(folder.contents.size())); });
    // Item(index) or Item(text): text matches the subject, without regard to
    // case, as saved (Outlook's default lookup).
    DISPID item = method(L"Item", [this](Args& a) {
        IndexArg i = indexArg(a, 0);
        if (i.byName) {
            for (Item* it : folder.contents)
                if (qbx::textEquals(it->savedSubject, i.name)) return it->var();
            failNotFound();
        }
        if (i.index < 1 || i.index > static_cast<long>(folder.contents.size())) failIndex();
        return folder.contents[static_cast<size_t>(i.index - 1)]->var();
    });
    setDefault(item);
    method(L"Find", [this](Args& a) {
        filter_ = a.str(0);
        next_ = 0;
        Item* it = find(filter_, 0);
        return it ? it->var() : Variant::nothing();
    });
    method(L"FindNext", [this](Args&) {
        if (filter_.empty()) return Variant::nothing();
        Item* it = find(filter_, next_);
        return it ? it->var() : Variant::nothing();
    });
    method(L"Add", [this](Args& a) {
        std::wstring cls;
        if (!a.has(0)) {
            cls = folder.defaultItemType() == 0 ? L"IPM.Note" : L"";
        } else {
            Variant t = a.value(0);
            if (t.type() == VT_BSTR) {
                cls = t.toString();
                if (qbx::toUpper(cls).rfind(L"IPM", 0) != 0) failInvalidArg();
            } else {
                long n = t.toLong();
                cls = n == 0 ? L"IPM.Note" : n == 6 ? L"IPM.Post" : L"";
            }
        }
        if (cls.empty()) fail(errors::kInvalidArg, L"The test bed's Outlook only adds mail and post items.");
        return ol().make<Item>(kindForClass(cls), cls, &folder)->var();
    });
    method(L"Remove", [this](Args& a) {
        long i = a.i32(0);
        if (i < 1 || i > static_cast<long>(folder.contents.size())) failIndex();
        folder.contents[static_cast<size_t>(i - 1)]->remove();
        return Variant();
    });
    auto at = [this](long i) {
        return i >= 1 && i <= static_cast<long>(folder.contents.size()) ? folder.contents[static_cast<size_t>(i - 1)]->var()
                                                                         : Variant::nothing();
    };
    method(L"GetFirst", [this, at](Args&) { cursor_ = 1; return at(cursor_); });
    method(L"GetNext", [this, at](Args&) { return at(++cursor_); });
    method(L"GetLast", [this, at](Args&) { cursor_ = static_cast<long>(folder.contents.size()); return at(cursor_); });
    method(L"GetPrevious", [this, at](Args&) { return at(--cursor_); });
    liveEnumerator([this] { return static_cast<long>(folder.contents.size()); },
                   [this](long i) { return folder.contents[static_cast<size_t>(i - 1)]->var(); });
}

Item* Items::find(const std::wstring& filter, size_t from) {
    const Filter conditions(filter, folder);
    for (size_t i = from; i < folder.contents.size(); ++i)
        if (conditions.matches(*folder.contents[i])) {
            next_ = i + 1;
            return folder.contents[i];
        }
    next_ = folder.contents.size();
    return nullptr;
}

// ---------------------------------------------------------------- Item

namespace {

// Each kind's word (the mailbox file's, and its TypeName without "Item")
// and its Class (OlObjectClass).
struct KindNames {
    ItemKind kind;
    const wchar_t* word;
    long objectClass;
};
constexpr KindNames kKinds[] = {
    {ItemKind::Mail, L"Mail", 43},                // olMail
    {ItemKind::Post, L"Post", 45},                // olPost
    {ItemKind::Task, L"Task", 48},                // olTask
    {ItemKind::Meeting, L"Meeting", 53},          // olMeetingRequest
    {ItemKind::Appointment, L"Appointment", 26},  // olAppointment
};

const KindNames& namesOf(ItemKind k) {
    for (const auto& n : kKinds)
        if (n.kind == k) return n;
    return kKinds[0];
}

std::wstring htmlEscape(const std::wstring& s) {
    std::wstring out;
    for (size_t i = 0; i < s.size(); ++i) {
        wchar_t c = s[i];
        if (c == L'&') out += L"&amp;";
        else if (c == L'<') out += L"&lt;";
        else if (c == L'>') out += L"&gt;";
        else if (c == L'"') out += L"&quot;";
        else if (c == L'\r' && i + 1 < s.size() && s[i + 1] == L'\n') {
            out += L"<BR>";
            ++i;
        } else if (c == L'\n') out += L"<BR>";
        else out += c;
    }
    return out;
}

}  // namespace

const wchar_t* kindWord(ItemKind k) { return namesOf(k).word; }

ItemKind kindNamed(const std::wstring& word) {
    for (const auto& n : kKinds)
        if (word == n.word) return n.kind;
    return ItemKind::Mail;
}

Item::Item(Outlook& o, ItemKind k, std::wstring cls, Folder* target)
    : Object(o, std::wstring(kindWord(k)) + L"Item"), kind(k), messageClass(std::move(cls)), folder(target), entryId(o.nextEntryId()) {
    attachments = o.make<Attachments>(*this);
    properties = o.make<UserProperties>(*this);
    if (kind == ItemKind::Mail) answers(qbx::IID_OutlookMailItem);
    sources(qbx::DIID_ItemEvents, 9);
    sources(qbx::DIID_ItemEvents_10, 10);
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Session", [this](Args&) { return ol().ns()->var(); });
    property(L"Parent", [this](Args&) { return folder ? folder->var() : Variant::nothing(); });
    property(L"Class", [this](Args&) { return Variant(namesOf(kind).objectClass); });
    property(L"MessageClass", [this](Args&) { return Variant(messageClass); },
             [this](Args&, const Variant& v) { messageClass = v.toString(); });
    DISPID subjectId = property(L"Subject", [this](Args&) { return Variant(subject); },
                                [this](Args&, const Variant& v) {
                                    subject = v.toString();
                                    if (inspector) inspector->syncCaption();
                                });
    setDefault(subjectId);
    property(L"Body", [this](Args&) {
        pullFromWindow();
        return Variant(body);
    }, [this](Args&, const Variant& v) { setBody(v.toString()); });
    property(L"EntryID", [this](Args&) { return Variant(stored ? entryIdText() : std::wstring()); });
    property(L"Saved", [this](Args&) {
        bool same = stored && savedSubject == subject && savedBody == body && savedClass == messageClass &&
                    savedTo == to && savedProperties.size() == properties->list.size();
        return Variant(same);
    });
    property(L"Attachments", [this](Args&) { return attachments->var(); });
    property(L"UserProperties", [this](Args&) { return properties->var(); });
    method(L"GetInspector", [this](Args&) {
        if (!inspector || inspector->closed) inspector = ol().make<Inspector>(*this, ol().editorTypeForNew());
        return inspector->var();
    });
    method(L"Save", [this](Args&) {
        save();
        return Variant();
    });
    method(L"Display", [this](Args&) {
        ol().openItem(this);
        return Variant();
    });
    method(L"Close", [this](Args& a) {
        long mode = a.i32(0);
        if (inspector && inspector->open) inspector->close(mode);
        else if (mode == 0) save();
        return Variant();
    });
    method(L"Delete", [this](Args&) {
        remove();
        return Variant();
    });
    if (kind == ItemKind::Mail || kind == ItemKind::Post) {
        property(L"HTMLBody", [this](Args&) {
            pullFromWindow();
            return Variant(htmlBody());
        },
                 [this](Args&, const Variant& v) { setBody(htmlToText(v.toString())); });
    }
    if (kind == ItemKind::Mail) {
        property(L"To", [this](Args&) { return Variant(to); }, [this](Args&, const Variant& v) {
            to = v.toString();
            if (inspector && inspector->fieldTo) SetWindowTextW(inspector->fieldTo, to.c_str());
        });
        property(L"CC", [this](Args&) { return Variant(cc); }, [this](Args&, const Variant& v) { cc = v.toString(); });
        property(L"Sent", [this](Args&) { return Variant(sent || received); });
        method(L"Send", [this](Args&) {
            send();
            return Variant();
        });
    }
    if (kind == ItemKind::Post) {
        method(L"Post", [this](Args&) {
            save();
            return Variant();
        });
    }
}

std::wstring Item::entryIdText() const {
    wchar_t buf[40];
    swprintf(buf, 40, L"00000000QBX%08lX", static_cast<unsigned long>(entryId));
    return buf;
}

void Item::pullFromWindow() {
    if (inspector && inspector->open) inspector->pullText();
}

void Item::pushToWindow() {
    if (inspector && inspector->open) inspector->pushText();
}

void Item::insertText(const std::wstring& text, Insert mode) {
    pullFromWindow();
    size_t a = std::min({selStart, selEnd, body.size()});
    size_t b = std::min(std::max(selStart, selEnd), body.size());
    switch (mode) {
        case Insert::Replace:
            body.replace(a, b - a, text);
            selStart = selEnd = a + text.size();
            break;
        case Insert::After:
            body.insert(b, text);
            selStart = a;
            selEnd = b + text.size();
            break;
        case Insert::Before:
            body.insert(a, text);
            selStart = a;
            selEnd = b + text.size();
            break;
    }
    pushToWindow();
}

void Item::setBody(const std::wstring& text) {
    body = text;
    selStart = selEnd = 0;
    pushToWindow();
}

std::wstring Item::htmlBody() const { return L"<HTML><BODY>" + htmlEscape(body) + L"</BODY></HTML>"; }

void Item::save() {
    pullFromWindow();
    // Write(Cancel) first; then each attachment not yet saved in the item
    // (BeforeAttachmentSave(Attachment, Cancel)).
    if (fire(0xF002, {}, true)) return;
    std::vector<Attachment*> pending;
    for (Attachment* a : attachments->list)
        if (!a->saved) pending.push_back(a);
    for (Attachment* a : pending) {
        if (a->gone()) continue;
        bool cancel = fire(qbx::dispid::BeforeAttachmentSave, {a->handle()}, true);
        if (!cancel) a->saved = true;
    }
    if (!folder) folder = ol().defaultFolder(16);
    if (!stored) {
        folder->contents.push_back(this);
        stored = true;
    }
    savedClass = messageClass;
    savedSubject = subject;
    savedBody = body;
    savedTo = to;
    savedProperties.clear();
    for (UserProperty* p : properties->list) savedProperties.push_back(PropertyData{p->name, p->type, p->value});
    ol().persist();
}

void Item::remove() {
    if (inspector && inspector->open) inspector->close(1);
    if (stored && folder) {
        auto& l = folder->contents;
        l.erase(std::remove(l.begin(), l.end(), this), l.end());
        stored = false;
        ol().persist();
    }
    kill(errors::kDeleted, errors::kDeletedText);
}

bool Item::send() {
    pullFromWindow();
    if (to.empty() && cc.empty())
        fail(errors::kFailed, L"There must be at least one name or distribution list in the To, Cc, or Bcc box.");
    if (fire(kItemSend, {}, true)) return false;
    if (ol().fireItemSend(this)) return false;
    if (gone()) return false;
    // The attachments are written into the item as it goes.
    std::vector<Attachment*> pending;
    for (Attachment* a : attachments->list)
        if (!a->saved) pending.push_back(a);
    for (Attachment* a : pending) {
        if (a->gone()) continue;
        if (!fire(qbx::dispid::BeforeAttachmentSave, {a->handle()}, true)) a->saved = true;
    }
    SentMail m;
    m.subject = subject;
    m.to = to;
    m.body = body;
    for (Attachment* a : attachments->list) m.attachments.push_back(a->fileName);
    ol().recordSent(m);
    if (inspector && inspector->open) inspector->close(1, false);
    // A copy goes to Sent Items; the item itself can't be used any more.
    if (stored && folder) {
        auto& l = folder->contents;
        l.erase(std::remove(l.begin(), l.end(), this), l.end());
        stored = false;
    }
    sent = true;
    folder = ol().defaultFolder(5);
    savedClass = messageClass;
    savedSubject = subject;
    savedBody = body;
    savedTo = to;
    folder->contents.push_back(this);
    stored = true;
    ol().persist();
    kill(errors::kDeleted, errors::kDeletedText);
    return true;
}

// ---------------------------------------------------------------- user properties

UserProperties::UserProperties(Outlook& o, Item& it) : Object(o, L"UserProperties"), item(it) {
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return item.var(); });
    property(L"Class", [](Args&) { return Variant(38L); });  // olUserProperties
    property(L"Count", [this](Args&) { return Variant(static_cast<long>(list.size())); });
    DISPID itemId = method(L"Item", [this](Args& a) {
        IndexArg i = indexArg(a, 0);
        if (i.byName) {
            UserProperty* p = find(i.name);
            if (!p) failNotFound();
            return p->var();
        }
        if (i.index < 1 || i.index > static_cast<long>(list.size())) failIndex();
        return list[static_cast<size_t>(i.index - 1)]->var();
    });
    setDefault(itemId);
    // Find(name[, custom]): Nothing when there is none.
    method(L"Find", [this](Args& a) {
        UserProperty* p = find(a.str(0));
        return p ? p->var() : Variant::nothing();
    });
    // Add(name, type[, addToFolderFields[, displayFormat]]).
    method(L"Add", [this](Args& a) {
        std::wstring name = a.str(0);
        long type = a.i32(1);
        return add(name, type)->var();
    });
    method(L"Remove", [this](Args& a) {
        long i = a.i32(0);
        if (i < 1 || i > static_cast<long>(list.size())) failIndex();
        UserProperty* p = list[static_cast<size_t>(i - 1)];
        list.erase(list.begin() + (i - 1));
        p->kill(errors::kDeleted, L"The property has been deleted.");
        return Variant();
    });
    liveEnumerator([this] { return static_cast<long>(list.size()); },
                   [this](long i) { return list[static_cast<size_t>(i - 1)]->var(); });
}

UserProperty* UserProperties::find(const std::wstring& name) const {
    for (UserProperty* p : list)
        if (qbx::textEquals(p->name, name)) return p;
    return nullptr;
}

UserProperty* UserProperties::add(const std::wstring& name, long type) {
    if (name.empty()) failInvalidArg();
    if (type != 1 && type != 3 && type != 5 && type != 6)
        fail(errors::kInvalidArg, L"The test bed's Outlook keeps text (1), number (3), date-time (5) and yes/no (6) properties only.");
    if (find(name)) fail(errors::kCollision, L"A property with the name \"" + name + L"\" already exists.");
    UserProperty* p = ol().make<UserProperty>(item, name, type);
    list.push_back(p);
    return p;
}

UserProperty::UserProperty(Outlook& o, Item& it, std::wstring n, long t)
    : Object(o, L"UserProperty"), item(it), name(std::move(n)), type(t), value(initialValue(t)) {
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return item.var(); });
    property(L"Class", [](Args&) { return Variant(39L); });  // olUserProperty
    property(L"Name", [this](Args&) { return Variant(name); });
    property(L"Type", [this](Args&) { return Variant(type); });
    DISPID valueId = property(L"Value", [this](Args&) { return value; },
                              [this](Args&, const Variant& v) { assign(v); });
    setDefault(valueId);
    method(L"Delete", [this](Args&) {
        auto& l = item.properties->list;
        l.erase(std::remove(l.begin(), l.end(), this), l.end());
        kill(errors::kDeleted, L"The property has been deleted.");
        return Variant();
    });
}

Variant UserProperty::initialValue(long t) {
    switch (t) {
        case 3: return Variant(0.0);
        case 5: return Variant::date(noneDate());
        case 6: return Variant(false);
        default: return Variant(L"");
    }
}

void UserProperty::assign(const Variant& v) {
    auto mismatch = [] { qbx::raiseVb(qbx::vbErrTypeMismatch); };
    VARTYPE vt = v.type();
    if (v.isObject() || vt == VT_NULL || (vt & VT_ARRAY)) mismatch();
    switch (type) {
        case 1:  // text: any simple value, as its text
            value = Variant(v.toString());
            break;
        case 3:  // number: numbers, Booleans and numeric text
            if (v.isEmpty()) value = Variant(0.0);
            else if (vt == VT_BOOL) value = Variant(v.toBool() ? -1.0 : 0.0);
            else if (vt != VT_DATE && v.isNumeric()) value = Variant(v.toDouble());
            else mismatch();
            break;
        case 5:  // date-time: dates and date text only
            if (v.isEmpty()) value = Variant::date(noneDate());
            else if (vt == VT_DATE) value = v;
            else if (vt == VT_BSTR && v.isDate()) value = Variant::date(v.toDate());
            else mismatch();
            break;
        case 6: {  // yes/no: Booleans, numbers, and the texts True/False or numeric text
            if (v.isEmpty()) {
                value = Variant(false);
            } else if (vt == VT_BSTR) {
                std::wstring s = qbx::trimSpaces(v.toString());
                if (qbx::textEquals(s, L"True")) value = Variant(true);
                else if (qbx::textEquals(s, L"False")) value = Variant(false);
                else if (Variant(s).isNumeric()) value = Variant(Variant(s).toDouble() != 0);
                else mismatch();
            } else if (vt == VT_DATE) {
                mismatch();
            } else {
                value = Variant(v.toBool());
            }
            break;
        }
        default: mismatch();
    }
}

}  // namespace emu
