// The objects of the emulated Outlook. Each is an emu::Object reached
// late-bound by member name; the public fields are the emulator's own view
// for tests (reading them never counts as a COM call).
#pragma once

#include "support/office_interfaces.h"
#include "testbed/outlook/emu_base.h"
#include "support/com/win_handles.h"

#include <functional>
#include <string>
#include <vector>

namespace emu {

class Application;
class Assistant;
class Attachment;
class Attachments;
class COMAddIn;
class CommandBar;
class CommandBarButton;
class CommandBarControls;
class CommandBars;
class Explorer;
class Folder;
class Folders;
class HtmlDocument;
class Inspector;
class Inspectors;
class Item;
class Items;
class NameSpace;
class RibbonUI;
class UserProperties;
class UserProperty;
class WordDocument;

// Outlook 2003's ApplicationEvents_11.NewMailEx(EntryIDCollection).
inline constexpr DISPID kNewMailEx = 0xFAB5;
// ItemEvents: Send(Cancel), Close(Cancel).
inline constexpr DISPID kItemSend = 0xF005;
inline constexpr DISPID kItemClose = 0xF004;

// ------------------------------------------------------------------ application

class Application final : public Object {
public:
    explicit Application(Outlook& ol);
    // The Assistant exists only where the knobs say so (up to Outlook 11).
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override;

private:
    Assistant* assistant_ = nullptr;
    DISPID assistantId_ = DISPID_UNKNOWN;
};

class Assistant final : public Object {
public:
    explicit Assistant(Outlook& ol);
    // DoAlert exists from Office 2002 (10) on; Office 2000's Assistant has no
    // such member.
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override;
    DISPID doAlertId = DISPID_UNKNOWN;
    bool visible = false;
    long animation = 0;
};

// The add-in's entry in Application.COMAddIns, handed to OnConnection.
class COMAddIn final : public Object {
public:
    COMAddIn(Outlook& ol, std::wstring progId);
    std::wstring progId;
    bool connect = true;
    qbx::ComPtr<IDispatch> object;  // what the add-in put into Object
};

// ------------------------------------------------------------------ mailbox

class NameSpace final : public Object {
public:
    explicit NameSpace(Outlook& ol);
    Folders* stores = nullptr;  // the top-level folders (one store)
};

class Folders final : public Object {
public:
    Folders(Outlook& ol, Folder* owner);
    Folder* owner;               // null for the stores collection
    std::vector<Folder*> list;
    // Adds a folder as Folders.Add does (refusing a name already there).
    Folder* add(const std::wstring& name, long type);
    Folder* find(const std::wstring& name) const;  // without regard to case
private:
    long cursor_ = 0;  // GetFirst / GetNext
};

class Folder final : public Object {
public:
    Folder(Outlook& ol, Folder* parent, std::wstring name, long type);
    Folder* parent;
    std::wstring name;
    long type;               // the folder type as an OlDefaultFolders code (6 mail, 9 calendar ...)
    long defaultNumber = 0;  // its GetDefaultFolder number, 0 for others
    Folders* folders = nullptr;
    Items* items = nullptr;
    std::vector<Item*> contents;  // saved items, in their order
    std::wstring path() const;
    long defaultItemType() const;

private:
    long entryId_;
};

class Items final : public Object {
public:
    Items(Outlook& ol, Folder& folder);
    Folder& folder;

private:
    Item* find(const std::wstring& filter, size_t from);
    std::wstring filter_;
    size_t next_ = 0;   // Find / FindNext
    long cursor_ = 0;   // GetFirst / GetNext
};

enum class ItemKind { Mail, Post, Task, Meeting, Appointment };
ItemKind kindForClass(const std::wstring& messageClass);
// A kind's word, as the mailbox file writes it ("Post"), and back (Mail for
// a word it does not know).
const wchar_t* kindWord(ItemKind k);
ItemKind kindNamed(const std::wstring& word);

// One stored user property: its data as the mailbox file keeps it.
struct PropertyData {
    std::wstring name;
    long type = 1;
    qbx::Variant value;
};

// An Outlook item: MailItem, PostItem and (for the message-class tests)
// TaskItem, MeetingItem and AppointmentItem.
class Item final : public Object {
public:
    Item(Outlook& ol, ItemKind kind, std::wstring messageClass, Folder* target);
    ItemKind kind;
    std::wstring messageClass, subject, body, to, cc;
    // The cursor of the mail text: a selection [selStart, selEnd) in body.
    size_t selStart = 0, selEnd = 0;
    Folder* folder;           // where it is stored, or goes at its first Save
    bool stored = false;      // listed in its folder (saved at least once)
    bool received = false;
    bool sent = false;
    long entryId;
    Attachments* attachments = nullptr;
    UserProperties* properties = nullptr;
    Inspector* inspector = nullptr;  // its window, if one was made
    int inAttachmentAdd = 0;         // depth of AttachmentAdd events running
    // The state as last saved (what lookups and the mailbox file see).
    std::wstring savedClass, savedSubject, savedBody, savedTo;
    std::vector<PropertyData> savedProperties;

    // Writes text at the cursor. Replace: the text takes the selection's
    // place and the cursor ends after it (typing, Word's TypeText). After /
    // Before: inserted at the selection's end / start, which then grows to
    // take it in (Word's InsertAfter / InsertBefore).
    enum class Insert { Replace, After, Before };
    void insertText(const std::wstring& text, Insert mode = Insert::Replace);
    // A plain- or rich-text window keeps the text in its control: read it
    // back before the text is used, show it after it changed.
    void pullFromWindow();
    void pushToWindow();
    void setBody(const std::wstring& text);
    void save();
    void remove();    // Delete
    // Sends the mail: Send, ItemSend, the window closes, the mail goes to
    // Sent Items. False when a sink cancelled.
    bool send();
    std::wstring entryIdText() const;
    std::wstring htmlBody() const;
    bool isMail() const noexcept { return kind == ItemKind::Mail; }
};

class UserProperties final : public Object {
public:
    UserProperties(Outlook& ol, Item& item);
    Item& item;
    std::vector<UserProperty*> list;
    UserProperty* find(const std::wstring& name) const;
    UserProperty* add(const std::wstring& name, long type);
};

class UserProperty final : public Object {
public:
    UserProperty(Outlook& ol, Item& item, std::wstring name, long type);
    Item& item;
    std::wstring name;
    long type;
    qbx::Variant value;
    // Stores a value with Outlook's coercion for the property's type; raises
    // Type mismatch where Outlook refuses.
    void assign(const qbx::Variant& v);
    static qbx::Variant initialValue(long type);
};

class Attachments final : public Object {
public:
    Attachments(Outlook& ol, Item& item);
    Item& item;
    std::vector<Attachment*> list;
    Attachment* addFile(const std::wstring& path, const std::wstring& displayName);
};

// An attachment's bytes as Outlook keeps them: in its store on disk (here a
// file of their own in the temporary folder, gone when its handle closes),
// read in pieces whenever the attachment is saved, never whole in memory.
class StoredBytes {
public:
    // Copies the file in; a missing file raises as Attachments.Add does.
    explicit StoredBytes(const std::wstring& source);
    unsigned long long size() const { return size_; }
    // Hands the bytes to sink piece by piece, in order.
    void read(const std::function<void(const unsigned char*, DWORD)>& sink) const;
    std::string content() const;  // the whole, for tests of small files

private:
    qbx::FileHandle file_;
    unsigned long long size_ = 0;
};

class Attachment final : public Object {
public:
    Attachment(Outlook& ol, Item& item, std::wstring fileName, StoredBytes bytes);
    Item& item;
    std::wstring fileName, displayName;
    StoredBytes bytes;
    bool saved = false;  // BeforeAttachmentSave has run for it
    // The automation value handed out for it: with the knob
    // freshAttachmentObjects a new object on every access, as Outlook does.
    qbx::Variant handle();
    void saveAsFile(const std::wstring& target);
    void remove();
};

// ------------------------------------------------------------------ windows

class Inspectors final : public Object {
public:
    explicit Inspectors(Outlook& ol);
    std::vector<Inspector*> list;  // open windows in the order they opened
};

class Inspector final : public Object {
public:
    Inspector(Outlook& ol, Item& item, long editorType);
    ~Inspector() override;
    Item* item;
    bool wordMail;
    long editorType;     // 1 plain text, 2 HTML, 3 rich text, 4 Word
    // The window on screen while open: Outlook's class "rctrl_renwnd32"
    // (Word mail: "OpusApp"), titled with the caption. Plain- and rich-text
    // windows hold rich edit controls for To, Cc, Subject and the text. A Word
    // mail window is Word's: it runs on a thread of its own (windowThread), so
    // while it is in front Outlook's thread has no active window.
    HWND hwnd = nullptr;
    HANDLE windowThread = nullptr;
    HWND fieldTo = nullptr, fieldCc = nullptr, fieldSubject = nullptr, fieldBody = nullptr;
    HWND cursorField = nullptr;  // where the user's cursor is (restored on activation)
    void createWindow();
    void destroyWindow();
    // Brings the window forward with the cursor where the user left it.
    void showActive();
    void syncCaption();
    // The text control and the item's text and cursor, one way or the other.
    void pushText();
    void pullText();
    bool open = false;   // shown and not closed
    bool closed = false;
    CommandBars* bars = nullptr;
    WordDocument* word = nullptr;
    HtmlDocument* html = nullptr;
    std::wstring caption() const;
    // Closes the window: Item.Close (cancellable; not when sending),
    // Inspector.Close, then the window and its temporary buttons are gone.
    // False when cancelled.
    bool close(long saveMode, bool itemClose = true);
};

class Explorer final : public Object {
public:
    explicit Explorer(Outlook& ol);
    CommandBars* bars = nullptr;
    Folder* current = nullptr;
    std::vector<Item*> selection;
};

// A read-only 1-based collection of objects (the explorer's selection).
// Finds the emulator object behind an automation value (null for any other object).
Object* ourObject(const qbx::Variant& v);
template <class T>
T* ours(const qbx::Variant& v) {
    return dynamic_cast<T*>(ourObject(v));
}

// Plain text of an HTML fragment: tags dropped, <br> and paragraph ends as
// line breaks, entities decoded.
std::wstring htmlToText(const std::wstring& html);

class ObjectList final : public Object {
public:
    ObjectList(Outlook& ol, std::wstring typeName, std::function<std::vector<Object*>()> items);
};

// The Word editor of a window: WordEditor (a Document) -> Application ->
// Selection, working on the mail text and its cursor.
class WordDocument final : public Object {
public:
    WordDocument(Outlook& ol, Item& item);
    Item& item;
    Object* selection = nullptr;  // this document's own selection
};

// The HTML editor of a window (Outlook 2000-2003 without Word): HTMLEditor
// (a document) -> selection.createRange() -> text / pasteHTML, and body.
class HtmlDocument final : public Object {
public:
    HtmlDocument(Outlook& ol, Item& item);
    Item& item;
};

// ------------------------------------------------------------------ command bars

class CommandBars final : public Object {
public:
    CommandBars(Outlook& ol, Object* window);
    Object* window;
    std::vector<CommandBar*> list;
    CommandBar* find(const std::wstring& name) const;
    void destroy();   // the window closed: temporary controls go
};

class CommandBar final : public Object {
public:
    CommandBar(Outlook& ol, CommandBars& owner, std::wstring name);
    CommandBars& owner;
    std::wstring name;
    bool visible = true;
    CommandBarControls* controls = nullptr;
};

class CommandBarControls final : public Object {
public:
    CommandBarControls(Outlook& ol, CommandBar& bar);
    CommandBar& bar;
    std::vector<CommandBarButton*> list;
    CommandBarButton* add(long type, long id, bool temporary, long before, bool builtIn);
};

class CommandBarButton final : public Object {
public:
    CommandBarButton(Outlook& ol, CommandBarControls& owner, long type, long id, bool temporary, bool builtIn);
    CommandBarControls* owner;
    long type, id;
    bool temporary, builtIn;
    std::wstring caption, tag, tooltipText, parameter, onAction;
    long style = 0, faceId = 0, width = 23;
    bool visible = true, enabled = true;
    bool deleted = false;
    // Every property set, in order ("Width=25", "Caption=Configure" ...).
    std::vector<std::wstring> setOrder;
    long clicks = 0;
    void remove();
};

// ------------------------------------------------------------------ ribbon

class RibbonUI final : public Object {
public:
    RibbonUI(Outlook& ol, std::wstring ribbonId);
    std::wstring ribbonId;
    std::vector<std::wstring> invalidations;  // "Invalidate", "InvalidateControl cmdX"
};

class RibbonControl final : public Object {
public:
    RibbonControl(Outlook& ol, std::wstring id, Object* context, std::wstring tag);
    std::wstring id, tag;
    Object* context;
};

}  // namespace emu
