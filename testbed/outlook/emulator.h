// The emulated Outlook: the part of Outlook's object model the add-in uses, as
// real COM objects, plus the C++ side a test or the host program drives it
// with (open a window, attach a file, type, send, click, read what happened).
//
//   emu::Knobs k;            // Outlook version, editor, faults ...
//   emu::Outlook ol(k);
//   ol.connectAddin(addinUnknown);     // OnConnection .. OnStartupComplete
//   ol.fireStartup();
//   emu::Inspector* w = ol.openCompose();
//   ol.typeText(w, L"Hello");
//   ol.attachFile(w, L"C:\\report.pdf");
//   ol.send(w);
//   ol.shutdown();                     // OnBeginShutdown, Quit, OnDisconnection
//   CHECK(ol.references().total() == 0);
#pragma once

#include "testbed/outlook/emu_objects.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace emu {

// Auto: Word from Outlook 12 on, else the HTML editor. Plain and Rich: the
// older editor's plain-text and rich-text windows (EditorType 1 and 3), whose
// text is in a rich edit control of the window.
enum class EditorKind { Auto, Word, Html, Plain, Rich };
enum class AssistantMode { Auto, Present, Absent };  // Auto: present up to Outlook 11

struct Knobs {
    int version = 11;                       // 9, 10, 11, 12, 16 (any major number works)
    EditorKind editor = EditorKind::Auto;   // the editor of windows opened from now on
    AssistantMode assistant = AssistantMode::Auto;
    // Attachment.Delete is refused while the mail's AttachmentAdd event runs
    // (and accepted afterwards), as Outlook may do.
    bool refuseDeleteInAttachmentAdd = false;
    // A window whose editor is not Word raises BeforeAttachmentSave right after
    // AttachmentAdd, as the attachment is written into the item at once.
    bool beforeSaveOnAdd = true;
    // The mailbox file; empty keeps the mailbox in memory only.
    std::wstring mailboxFile;
    // Every access to an attachment (Attachments.Item, its enumerator, the
    // AttachmentAdd and BeforeAttachmentSave arguments, Attachments.Add)
    // hands out a new object for it, as Outlook does: the same attachment is
    // not the same COM object twice. Off: one object per attachment.
    bool freshAttachmentObjects = true;
    // Calls IDTExtensibility2 through IDispatch (GetIDsOfNames + Invoke)
    // instead of the vtable.
    bool addinThroughDispatch = false;
    std::wstring userName = L"Test User";
    // Word as the editor of Outlook 2002 and 2003 runs in a process of its
    // own: every call into Word's objects waits in COM's modal loop, which
    // delivers window timers and posted messages meanwhile. This many
    // milliseconds per call, for Word windows of versions below 12 (from
    // 2007 on Word is loaded into Outlook's process); 0: no loop.
    long wordCallDelay = 0;
};

// How Outlook ends a session: up to 2007 (and 2010 with the fast shutdown
// turned off) the add-ins hear OnBeginShutdown and OnDisconnection and are
// released; from 2010 (version 14) on only Quit is raised, and then the
// process ends with COM already torn down: the add-ins are never released,
// their DLLs are unloaded under the loader lock.
inline bool fastShutdownFor(int version) { return version >= 14; }

// A balloon of the Office Assistant (DoAlert), with the answer it got.
struct Balloon {
    std::wstring title, text;
    long buttons = 0, icon = 0, defaultButton = 0, cancel = 0;
    bool systemAlert = false;
    long answer = 0;
};

// One Attachment.SaveAsFile call.
struct SaveRecord {
    std::wstring target;
    bool ok = false;
    std::wstring error;      // the error text when it failed
    std::wstring fileName;   // the attachment's file name
};

// A mail that was sent.
struct SentMail {
    std::wstring subject, to, body;
    std::vector<std::wstring> attachments;
};

// What the add-in's ribbon document gave for one ribbon id.
struct RibbonButton {
    std::wstring id, label, onAction, image, size;
};
struct RibbonLoad {
    std::wstring ribbonId;
    std::wstring xml;
    bool accepted = false;       // well-formed, with a custom-UI namespace this version knows
    std::wstring problem;        // why it was not accepted
    std::wstring onLoad, loadImage;
    std::vector<RibbonButton> buttons;
    RibbonUI* ui = nullptr;
};

// One call of a ribbon callback (by name through IDispatch).
struct CallbackCall {
    std::wstring name;
    HRESULT hr = S_OK;
    VARTYPE resultType = VT_EMPTY;
    bool resultIsPicture = false;  // loadImage: the result answers IPictureDisp
};

// The COM references others hold on the emulator's objects.
struct References {
    long refs = 0;    // sum of the objects' reference counts
    long sinks = 0;   // sinks still advised on any connection point
    std::vector<std::wstring> holders;  // "Inspector x2", "MailItem sinks 1" ...
    long total() const { return refs + sinks; }
};

// A prompt of the emulated Outlook itself (the Assistant's balloons); the
// answerer returns the button (1 OK, 2 Cancel, 6 Yes, 7 No ...).
using BalloonAnswerer = std::function<long(const Balloon&)>;

class Outlook {
public:
    explicit Outlook(Knobs knobs = {});
    ~Outlook();
    Outlook(const Outlook&) = delete;
    Outlook& operator=(const Outlook&) = delete;

    Knobs& knobs() noexcept { return knobs_; }
    int version() const noexcept { return knobs_.version; }
    std::wstring versionText() const;
    bool assistantPresent() const noexcept;
    // Whether windows opened now get the Word editor.
    bool editorIsWord() const noexcept;
    // The EditorType of windows opened now: 1 plain text, 2 HTML, 3 rich text, 4 Word.
    long editorTypeForNew() const noexcept;

    // ------------------------------------------------------------ COM faces
    // New references (they count as held by others while kept).
    qbx::Disp application();
    qbx::Disp nameSpace();
    Application* app() noexcept { return app_; }
    NameSpace* ns() noexcept { return ns_; }
    Inspectors* inspectors() noexcept { return inspectors_; }
    Explorer* explorer() noexcept { return explorer_; }

    // ------------------------------------------------------------ the add-in
    // Connects an add-in as Outlook does at start-up: OnConnection (connect
    // mode 1 = at start-up), OnAddInsUpdate, OnStartupComplete. False when the
    // object has no IDTExtensibility2.
    bool connectAddin(IUnknown* addin, const std::wstring& progId = L"Quillbox.QBXOutlookConnect",
                      int connectMode = 1);
    // Outlook's events.
    void fireStartup();
    void fireQuit();
    bool fireItemSend(Item* item);  // true when a sink cancelled
    // Ends the session as Outlook does: up to version 13 OnBeginShutdown, the
    // Quit event, OnDisconnection (host shutdown) and the release of every
    // add-in; from 14 on (fastShutdownFor) the Quit event only, after which
    // the process ends: the add-ins are never released, and a reference to
    // Outlook's objects released from then on (releasesAfterQuit) would be
    // released with COM torn down.
    void shutdown();
    // References to Outlook's objects released after the Quit event of a
    // fast shutdown had returned.
    long releasesAfterQuit() const noexcept { return releasesAfterQuit_; }
    void noteRelease() noexcept {
        if (quitReturned_) ++releasesAfterQuit_;
    }
    // A fast shutdown raised from inside another event's handler (Outlook
    // quitting while a dialog of the add-in is open) ends the process only
    // once that handler has returned to Outlook: what it releases on the way
    // back goes with COM still up. The driver calls this when the user's
    // action is over; a fast shutdown outside any event ends it at once.
    void processEnds() noexcept {
        if (quitPending_) quitReturned_ = true;
    }
    // Events being raised right now.
    int eventsRunning = 0;
    // Ribbon documents loaded so far (ribbon id -> what was loaded).
    const std::map<std::wstring, RibbonLoad>& ribbons() const noexcept { return ribbons_; }
    const std::vector<CallbackCall>& callbacks() const noexcept { return callbacks_; }
    // The add-in's lifecycle calls in order ("OnConnection", ...).
    const std::vector<std::wstring>& addinCalls() const noexcept { return addinCalls_; }

    // ------------------------------------------------------------ the user
    // Opens a new mail in a compose window (NewInspector, on 12+ the ribbon
    // when it is the first window of its kind, then Activate).
    Inspector* openCompose(const std::wstring& messageClass = L"IPM.Note", const std::wstring& subject = L"");
    // A mail arrives in the Inbox (NewMail; on 11+ also NewMailEx).
    Item* receiveMail(const std::wstring& subject, const std::wstring& body = L"",
                      const std::wstring& messageClass = L"IPM.Note");
    // Opens an existing item in a window (a read window for a received mail).
    Inspector* openItem(Item* item);
    // Brings a window forward (fires Activate even when it already was active).
    void activate(Inspector* w);
    // Puts the user's cursor into a field of a plain- or rich-text window
    // ("To", "Cc", "Subject" or "Body"); false when the window has no such field.
    bool putCursorIn(Inspector* w, const std::wstring& field);
    // The text of such a field as the window shows it.
    std::wstring fieldText(Inspector* w, const std::wstring& field) const;
    // Types text at the cursor of the window's mail text.
    void typeText(Inspector* w, const std::wstring& text);
    // Puts the cursor at a position of the mail text (0 = start; -1 = end).
    void moveCursor(Inspector* w, long position);
    // Attaches a file as the user does (Attachments.Add: AttachmentAdd ...).
    Attachment* attachFile(Inspector* w, const std::wstring& path);
    // Sends the window's mail (Send, ItemSend; the window closes). False when
    // a sink cancelled.
    bool send(Inspector* w);
    // Closes a window (olSave 0, olDiscard 1, olPromptForSave 2).
    bool close(Inspector* w, long saveMode = 1);
    // Outlook saves the window's mail on its own (the autosave of a mail
    // being written): BeforeAttachmentSave for every attachment not yet
    // written into the item, then the save.
    void autosave(Inspector* w);
    // Clicks a button of the window's "Standard" bar, found by tag or caption.
    bool clickButton(Inspector* w, const std::wstring& tagOrCaption);
    bool clickButton(CommandBarButton* b);
    // Clicks a button of the add-in's ribbon in that window (onAction).
    bool clickRibbon(Inspector* w, const std::wstring& controlId);

    // ------------------------------------------------------------ reading
    std::vector<Inspector*> openWindows() const;
    std::wstring mailText(Inspector* w) const;
    std::vector<std::wstring> attachmentNames(Inspector* w) const;
    const std::vector<Balloon>& balloons() const noexcept { return balloons_; }
    const std::vector<long>& animations() const noexcept { return animations_; }
    const std::vector<SaveRecord>& saveTargets() const noexcept { return saves_; }
    const std::vector<SentMail>& sentMails() const noexcept { return sent_; }
    // Every call made on the emulator's objects from outside ("MailItem.Subject get").
    const std::vector<std::wstring>& callLog() const noexcept { return calls_; }
    void clearCallLog() { calls_.clear(); }
    References references() const;

    // ------------------------------------------------------------ knobs
    // The next `count` calls of a member ("Folders.Add", "Items.Find",
    // "UserProperty.Value"; "UserProperty.Value=" for assignments only) raise
    // the error; count -1 until cleared. Names are matched without regard to case.
    void failNext(const std::wstring& member, long count, long number, const std::wstring& text);
    void clearFailures() { failures_.clear(); }
    void setBalloonAnswerer(BalloonAnswerer a) { answerer_ = std::move(a); }
    // Pumps the thread's messages (window timers) for the given time.
    static void pumpMessages(DWORD milliseconds);

    // ------------------------------------------------------------ internals
    // Used by the objects themselves.
    template <class T, class... A>
    T* make(A&&... args) {
        T* p = new T(*this, std::forward<A>(args)...);
        objects_.emplace_back(p);
        return p;
    }
    DWORD nextCookie() noexcept { return ++cookie_; }
    long nextEntryId() noexcept { return ++entryId_; }
    void logCall(const std::wstring& text);
    void checkFailure(const std::wstring& type, const std::wstring& member, WORD flags);
    void recordSave(SaveRecord r) { saves_.push_back(std::move(r)); }
    void recordSent(SentMail m) { sent_.push_back(std::move(m)); }
    long askBalloon(Balloon b);
    void recordAnimation(long a) { animations_.push_back(a); }
    // The mailbox changed: write it to the mailbox file.
    void persist();
    void loadMailbox();
    Folder* defaultFolder(long number) const;
    void setActiveWindow(Object* w) noexcept { activeWindow_ = w; }
    Object* activeWindow() const noexcept { return activeWindow_; }
    void windowOpened(Inspector* w);   // Inspectors event, ribbon, Activate
    void windowClosed(Inspector* w);
    // All live buttons with a tag (a click fires on every button sharing it).
    std::vector<CommandBarButton*> buttonsTagged(const std::wstring& tag) const;
    void registerButton(CommandBarButton* b) { buttons_.push_back(b); }
    // Word's own Application (one for all Word mail windows) and the Word
    // window that is Word's active one: the last Word window opened or
    // activated.
    Object* wordApplication = nullptr;
    Inspector* activeWordWindow = nullptr;
    // Custom buttons of inspector "Standard" bars that were not temporary:
    // they come back in every new window.
    std::vector<CommandBarButton*> keptButtons;

private:
    struct AddinSlot {
        std::wstring progId;
        qbx::ComPtr<IDTExtensibility2> ext;
        qbx::ComPtr<IDispatch> disp;
        COMAddIn* object = nullptr;
        bool connected = false;
    };
    struct Failure {
        std::wstring member;
        bool putOnly = false;
        long count;
        long number;
        std::wstring text;
    };
    void callAddin(AddinSlot& s, const wchar_t* name, DISPID id, int mode);
    void loadRibbon(const std::wstring& ribbonId);
    HRESULT callCallback(const std::wstring& name, qbx::Variant arg, qbx::Variant* result);
    std::wstring ribbonIdFor(Inspector* w) const;
    void createDefaultStore();

    Knobs knobs_;
    std::vector<std::unique_ptr<Object>> objects_;
    Application* app_ = nullptr;
    NameSpace* ns_ = nullptr;
    Inspectors* inspectors_ = nullptr;
    Explorer* explorer_ = nullptr;
    Object* activeWindow_ = nullptr;
    std::vector<AddinSlot> addins_;
    std::map<std::wstring, RibbonLoad> ribbons_;
    std::vector<CallbackCall> callbacks_;
    std::vector<std::wstring> addinCalls_;
    std::vector<Balloon> balloons_;
    std::vector<long> animations_;
    std::vector<SaveRecord> saves_;
    std::vector<SentMail> sent_;
    std::vector<std::wstring> calls_;
    std::vector<Failure> failures_;
    std::vector<CommandBarButton*> buttons_;
    BalloonAnswerer answerer_;
    DWORD cookie_ = 0;
    long entryId_ = 0;
    bool loading_ = false;
    bool shutDown_ = false;
    bool quitReturned_ = false;
    bool quitPending_ = false;
    long releasesAfterQuit_ = 0;
};

}  // namespace emu
