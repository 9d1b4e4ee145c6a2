// Attachments, inspectors (mail windows) and their editors.
#include "testbed/outlook/emulator.h"

#include <richedit.h>
#include <winhttp.h>

#include <algorithm>

namespace emu {

using qbx::Args;
using qbx::Variant;

namespace {

const wchar_t* const kClosedText = L"The window has been closed.";

bool startsWithText(const std::wstring& s, const wchar_t* prefix) {
    size_t n = wcslen(prefix);
    return s.size() >= n && qbx::textEquals(s.substr(0, n), prefix);
}

// Percent-encodes what may not stand raw in a URL's path (blanks, non-ASCII
// as UTF-8 ...). '%' is left alone: the address may already carry escapes.
std::wstring encodePath(const std::wstring& path) {
    static const char* const keep = "-._~!$&'()*+,;=:@/%";
    std::string bytes = qbx::toUtf8(path);
    std::wstring out;
    for (unsigned char c : bytes) {
        if (isalnum(c) || (c < 0x80 && strchr(keep, c))) {
            out += static_cast<wchar_t>(c);
        } else {
            wchar_t buf[4];
            swprintf(buf, 4, L"%%%02X", c);
            out += buf;
        }
    }
    return out;
}

struct HttpHandle {
    HINTERNET h = nullptr;
    ~HttpHandle() {
        if (h) WinHttpCloseHandle(h);
    }
};

// Sends the bytes with an HTTP PUT, as Outlook 2002/2003 do through web
// folders. Only loopback addresses are contacted. Returns the status line
// ("201 CREATED") or raises.
std::wstring httpPut(const std::wstring& url, const StoredBytes& bytes) {
    size_t schemeEnd = url.find(L"://");
    size_t pathStart = url.find(L'/', schemeEnd + 3);
    std::wstring encoded = pathStart == std::wstring::npos ? url + L"/" : url.substr(0, pathStart) + encodePath(url.substr(pathStart));
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    wchar_t host[256] = {}, path[4096] = {};
    parts.lpszHostName = host;
    parts.dwHostNameLength = 256;
    parts.lpszUrlPath = path;
    parts.dwUrlPathLength = 4096;
    if (!WinHttpCrackUrl(encoded.c_str(), 0, 0, &parts))
        fail(errors::kPathNotFound, L"Cannot save the attachment. The address is not valid.");
    std::wstring hostName(host);
    if (hostName != L"127.0.0.1" && !qbx::textEquals(hostName, L"localhost"))
        fail(errors::kPathNotFound, L"Cannot save the attachment. The test bed reaches loopback servers only.");
    HttpHandle session, connection, request;
    session.h = WinHttpOpen(L"Microsoft Data Access Internet Publishing Provider DAV", WINHTTP_ACCESS_TYPE_NO_PROXY,
                            WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    if (session.h) WinHttpSetTimeouts(session.h, 10000, 10000, 60000, 60000);
    connection.h = session.h ? WinHttpConnect(session.h, host, parts.nPort, 0) : nullptr;
    request.h = connection.h ? WinHttpOpenRequest(connection.h, L"PUT", path, nullptr, WINHTTP_NO_REFERER,
                                                  WINHTTP_DEFAULT_ACCEPT_TYPES,
                                                  parts.nScheme == INTERNET_SCHEME_HTTPS ? WINHTTP_FLAG_SECURE : 0)
                             : nullptr;
    // A write answered with a redirect is refused, not repeated elsewhere: a
    // web folder puts the document at the address it was given or fails.
    DWORD noRedirects = WINHTTP_DISABLE_REDIRECTS;
    if (request.h)
        WinHttpSetOption(request.h, WINHTTP_OPTION_DISABLE_FEATURE, &noRedirects, sizeof noRedirects);
    const wchar_t* headers = L"Content-Type: application/octet-stream\r\n";
    if (bytes.size() > 0xFFFFFFFFULL) fail(errors::kFailed, L"Cannot save the attachment. It is too large.");
    const DWORD size = static_cast<DWORD>(bytes.size());
    bool sent = request.h && WinHttpSendRequest(request.h, headers, static_cast<DWORD>(-1L), WINHTTP_NO_REQUEST_DATA, 0,
                                                size, 0);
    if (sent) {
        bytes.read([&](const unsigned char* piece, DWORD n) {
            DWORD written = 0;
            if (sent && !WinHttpWriteData(request.h, piece, n, &written)) sent = false;
        });
    }
    if (!sent || !WinHttpReceiveResponse(request.h, nullptr))
        fail(errors::kFailed, L"Cannot save the attachment. The server could not be reached.");
    DWORD status = 0, len = sizeof status;
    WinHttpQueryHeaders(request.h, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, WINHTTP_HEADER_NAME_BY_INDEX,
                        &status, &len, WINHTTP_NO_HEADER_INDEX);
    wchar_t reason[256] = {};
    len = sizeof reason;
    WinHttpQueryHeaders(request.h, WINHTTP_QUERY_STATUS_TEXT, WINHTTP_HEADER_NAME_BY_INDEX, reason, &len,
                        WINHTTP_NO_HEADER_INDEX);
    for (;;) {  // the reply's body, if any
        DWORD avail = 0;
        if (!WinHttpQueryDataAvailable(request.h, &avail) || !avail) break;
        std::vector<char> sink(avail);
        DWORD read = 0;
        if (!WinHttpReadData(request.h, sink.data(), avail, &read) || !read) break;
    }
    std::wstring line = std::to_wstring(status) + L" " + reason;
    if (status != 200 && status != 201 && status != 204)
        fail(errors::kFailed, L"Cannot save the attachment. The server refused it (" + line + L").");
    return line;
}

}  // namespace

// ---------------------------------------------------------------- Attachments

Attachments::Attachments(Outlook& o, Item& it) : Object(o, L"Attachments"), item(it) {
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return item.var(); });
    property(L"Class", [](Args&) { return Variant(18L); });  // olAttachments
    property(L"Count", [this](Args&) { return Variant(static_cast<long>(list.size())); });
    // By position only: Outlook's attachments have no name lookup.
    DISPID itemId = method(L"Item", [this](Args& a) {
        Variant v = a.value(0);
        if (v.type() == VT_BSTR) failInvalidArg();
        long i = v.toLong();
        if (i < 1 || i > static_cast<long>(list.size())) failIndex();
        return list[static_cast<size_t>(i - 1)]->handle();
    });
    setDefault(itemId);
    // Add(Source[, Type[, Position[, DisplayName]]]): a file path.
    method(L"Add", [this](Args& a) {
        Variant source = a.value(0);
        if (source.type() != VT_BSTR) fail(errors::kInvalidArg, L"The test bed's Outlook attaches files only.");
        return addFile(source.toString(), a.has(3) ? a.str(3) : std::wstring())->handle();
    });
    method(L"Remove", [this](Args& a) {
        long i = a.i32(0);
        if (i < 1 || i > static_cast<long>(list.size())) failIndex();
        list[static_cast<size_t>(i - 1)]->remove();
        return Variant();
    });
    liveEnumerator([this] { return static_cast<long>(list.size()); },
                   [this](long i) { return list[static_cast<size_t>(i - 1)]->handle(); });
}

namespace {
constexpr DWORD kPiece = 1u << 20;  // the bytes of an attachment travel in pieces of this size
}  // namespace

StoredBytes::StoredBytes(const std::wstring& source) {
    qbx::FileHandle in(CreateFileW(source.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                   FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!in) fail(errors::kFileNotFound, L"Cannot find this file. Verify the path and file name are correct.");
    static LONG counter = 0;
    wchar_t dir[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, dir);
    const std::wstring path = std::wstring(dir) + L"qbxemu-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(InterlockedIncrement(&counter)) + L".att";
    file_ = qbx::FileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!file_) fail(errors::kFailed, L"The operation failed. The store can't be written.");
    std::vector<unsigned char> piece(kPiece);
    DWORD got = 0;
    while (ReadFile(in.get(), piece.data(), kPiece, &got, nullptr) && got) {
        DWORD written = 0;
        if (!WriteFile(file_.get(), piece.data(), got, &written, nullptr) || written != got)
            fail(errors::kFailed, L"The operation failed. The store is full.");
        size_ += got;
    }
}

void StoredBytes::read(const std::function<void(const unsigned char*, DWORD)>& sink) const {
    LARGE_INTEGER start{};
    SetFilePointerEx(file_.get(), start, nullptr, FILE_BEGIN);
    std::vector<unsigned char> piece(static_cast<size_t>(std::min<unsigned long long>(kPiece, size_ ? size_ : 1)));
    unsigned long long left = size_;
    while (left) {
        DWORD got = 0;
        const DWORD want = static_cast<DWORD>(std::min<unsigned long long>(left, piece.size()));
        if (!ReadFile(file_.get(), piece.data(), want, &got, nullptr) || got == 0)
            fail(errors::kFailed, L"The operation failed. The store can't be read.");
        sink(piece.data(), got);
        left -= got;
    }
}

std::string StoredBytes::content() const {
    std::string all;
    read([&](const unsigned char* p, DWORD n) { all.append(reinterpret_cast<const char*>(p), n); });
    return all;
}

Attachment* Attachments::addFile(const std::wstring& path, const std::wstring& displayName) {
    StoredBytes bytes(path);
    size_t slash = path.find_last_of(L"\\/");
    std::wstring name = slash == std::wstring::npos ? path : path.substr(slash + 1);
    Attachment* a = ol().make<Attachment>(item, name, std::move(bytes));
    if (!displayName.empty()) a->displayName = displayName;
    list.push_back(a);
    ++item.inAttachmentAdd;
    item.fire(qbx::dispid::AttachmentAdd, {a->handle()});
    --item.inAttachmentAdd;
    // Outside Word the attachment is written into the item at once.
    Inspector* w = item.inspector;
    if (ol().knobs().beforeSaveOnAdd && w && w->open && !w->wordMail && !a->gone()) {
        if (!item.fire(qbx::dispid::BeforeAttachmentSave, {a->handle()}, true) && !a->gone()) a->saved = true;
    }
    return a;
}

// ---------------------------------------------------------------- Attachment

namespace {

// Another object for the same attachment, as Outlook hands out on each
// access: every call goes to the attachment itself. The emulator's view of
// it (ours<Attachment>) is the attachment.
class AttachmentFace final : public Object {
public:
    AttachmentFace(Outlook& o, Attachment& target) : Object(o, L"Attachment"), target_(target) {}
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) override {
        if (!model()) return Object::GetIDsOfNames(iid, names, count, lcid, ids);
        return target_.GetIDsOfNames(iid, names, count, lcid, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* dp, VARIANT* result,
                                     EXCEPINFO* info, UINT* argErr) override {
        // Orphaned, the attachment may be freed already: the face fails as
        // every orphaned object does.
        if (!model()) return Object::Invoke(id, iid, lcid, flags, dp, result, info, argErr);
        return target_.Invoke(id, iid, lcid, flags, dp, result, info, argErr);
    }

protected:
    HRESULT queryOther(REFIID iid, void** out) override {
        if (iid == IID_EmuObject && model()) {
            *out = static_cast<Object*>(&target_);
            return S_OK;
        }
        return Object::queryOther(iid, out);
    }

private:
    Attachment& target_;
};

}  // namespace

qbx::Variant Attachment::handle() {
    if (ol().knobs().freshAttachmentObjects) return ol().make<AttachmentFace>(*this)->var();
    return var();
}

Attachment::Attachment(Outlook& o, Item& it, std::wstring name, StoredBytes data)
    : Object(o, L"Attachment"), item(it), fileName(name), displayName(name), bytes(std::move(data)) {
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return item.var(); });
    property(L"Class", [](Args&) { return Variant(5L); });  // olAttachment
    property(L"FileName", [this](Args&) { return Variant(fileName); });
    DISPID display = property(L"DisplayName", [this](Args&) { return Variant(displayName); },
                              [this](Args&, const Variant& v) { displayName = v.toString(); });
    setDefault(display);
    property(L"PathName", [](Args&) { return Variant(L""); });
    property(L"Type", [](Args&) { return Variant(1L); });  // olByValue
    property(L"Size", [this](Args&) { return Variant(static_cast<long>(bytes.size())); });
    property(L"Index", [this](Args&) {
        auto& l = item.attachments->list;
        return Variant(static_cast<long>(std::find(l.begin(), l.end(), this) - l.begin()) + 1);
    });
    property(L"Position", [](Args&) { return Variant(0L); });
    method(L"SaveAsFile", [this](Args& a) {
        saveAsFile(a.str(0));
        return Variant();
    });
    method(L"Delete", [this](Args&) {
        if (item.inAttachmentAdd > 0 && ol().knobs().refuseDeleteInAttachmentAdd)
            fail(errors::kFailed, L"The operation failed.");
        remove();
        return Variant();
    });
}

void Attachment::remove() {
    auto& l = item.attachments->list;
    l.erase(std::remove(l.begin(), l.end(), this), l.end());
    kill(errors::kDeleted, errors::kDeletedText);
}

void Attachment::saveAsFile(const std::wstring& target) {
    SaveRecord r;
    r.target = target;
    r.fileName = fileName;
    try {
        if (startsWithText(target, L"http://") || startsWithText(target, L"https://")) {
            // Only Outlook 2002 and 2003 save to a web address (through web folders).
            int v = ol().version();
            if (v != 10 && v != 11)
                fail(errors::kPathNotFound, L"Cannot save the attachment. Path does not exist. Verify the path is correct.");
            httpPut(target, bytes);
        } else {
            HANDLE h = CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
            if (h == INVALID_HANDLE_VALUE) {
                DWORD e = GetLastError();
                if (e == ERROR_ACCESS_DENIED || e == ERROR_SHARING_VIOLATION)
                    fail(static_cast<long>(HRESULT_FROM_WIN32(e)), L"Cannot save the attachment. Access is denied.");
                fail(errors::kPathNotFound, L"Cannot save the attachment. Path does not exist. Verify the path is correct.");
            }
            qbx::FileHandle out(h);
            bytes.read([&](const unsigned char* piece, DWORD n) {
                DWORD written = 0;
                if (!WriteFile(out.get(), piece, n, &written, nullptr) || written != n)
                    fail(errors::kFailed, L"Cannot save the attachment. The disk is full.");
            });
        }
        r.ok = true;
    } catch (const qbx::Error& e) {
        r.error = e.description();
        ol().recordSave(r);
        throw;
    }
    ol().recordSave(r);
}

// ---------------------------------------------------------------- editors

namespace {

// Word's Selection over the mail text and its cursor.
class WordSelection final : public Object {
public:
    WordSelection(Outlook& o, Item& it) : Object(o, L"Selection"), item_(it) {
        wordSide();
        auto text = [this] {
            size_t a = std::min(item_.selStart, item_.selEnd), b = std::max(item_.selStart, item_.selEnd);
            return item_.body.substr(std::min(a, item_.body.size()), b - a);
        };
        DISPID textId = property(L"Text", [text](Args&) { return Variant(text()); },
                                 [this](Args&, const Variant& v) {
                                     size_t a = std::min(item_.selStart, item_.selEnd);
                                     item_.insertText(v.toString());
                                     item_.selStart = a;  // the new text stays selected
                                 });
        setDefault(textId);
        property(L"Start", [this](Args&) { return Variant(static_cast<long>(std::min(item_.selStart, item_.selEnd))); },
                 [this](Args&, const Variant& v) { item_.selStart = clamp(v.toLong()); });
        property(L"End", [this](Args&) { return Variant(static_cast<long>(std::max(item_.selStart, item_.selEnd))); },
                 [this](Args&, const Variant& v) { item_.selEnd = clamp(v.toLong()); });
        method(L"TypeText", [this](Args& a) {
            item_.insertText(a.str(0));
            return Variant();
        });
        method(L"TypeParagraph", [this](Args&) {
            item_.insertText(L"\r\n");
            return Variant();
        });
        method(L"InsertAfter", [this](Args& a) {
            item_.insertText(a.str(0), Item::Insert::After);
            return Variant();
        });
        method(L"InsertBefore", [this](Args& a) {
            item_.insertText(a.str(0), Item::Insert::Before);
            return Variant();
        });
        // Collapse([Direction]): wdCollapseStart 1 (the default), wdCollapseEnd 0.
        method(L"Collapse", [this](Args& a) {
            long d = a.has(0) ? a.i32(0) : 1;
            size_t lo = std::min(item_.selStart, item_.selEnd), hi = std::max(item_.selStart, item_.selEnd);
            item_.selStart = item_.selEnd = d == 0 ? hi : lo;
            return Variant();
        });
        // HomeKey / EndKey with wdStory (6) go to the start / end of the text.
        method(L"HomeKey", [this](Args& a) {
            if (a.has(0) && a.i32(0) == 6) item_.selStart = item_.selEnd = 0;
            return Variant();
        });
        method(L"EndKey", [this](Args& a) {
            if (a.has(0) && a.i32(0) == 6) item_.selStart = item_.selEnd = item_.body.size();
            return Variant();
        });
    }

private:
    size_t clamp(long p) const { return p < 0 ? 0 : std::min(static_cast<size_t>(p), item_.body.size()); }
    Item& item_;
};

// Word's Application, one for every Word mail window. Its Selection is the
// one of Word's active window (the last Word window opened or activated), not
// necessarily the one of the document it was reached from.
class WordApplication final : public Object {
public:
    explicit WordApplication(Outlook& o) : Object(o, L"Application") {
        wordSide();
        property(L"Name", [](Args&) { return Variant(L"Microsoft Word"); });
        property(L"Selection", [this](Args&) { return active()->selection->var(); });
        property(L"ActiveDocument", [this](Args&) { return active()->var(); });
    }

private:
    WordDocument* active() {
        Inspector* w = ol().activeWordWindow;
        if (!w || !w->open) fail(errors::kFailed, L"This command is not available because no document is open.");
        if (!w->word) w->word = ol().make<WordDocument>(*w->item);
        return w->word;
    }
};

// A Word window of one document (Document.ActiveWindow): its own selection.
class WordWindow final : public Object {
public:
    WordWindow(Outlook& o, WordDocument& doc) : Object(o, L"Window") {
        wordSide();
        property(L"Selection", [&doc](Args&) { return doc.selection->var(); });
        property(L"Document", [&doc](Args&) { return doc.var(); });
    }
};

// The whole text as a Word Range (Document.Content).
class WordRange final : public Object {
public:
    WordRange(Outlook& o, Item& it) : Object(o, L"Range"), item_(it) {
        wordSide();
        DISPID textId = property(L"Text", [this](Args&) { return Variant(item_.body); });
        setDefault(textId);
        property(L"Start", [](Args&) { return Variant(0L); });
        property(L"End", [this](Args&) { return Variant(static_cast<long>(item_.body.size())); });
        method(L"InsertAfter", [this](Args& a) {
            item_.body += a.str(0);
            return Variant();
        });
        method(L"InsertBefore", [this](Args& a) {
            std::wstring t = a.str(0);
            item_.body.insert(0, t);
            item_.selStart += t.size();
            item_.selEnd += t.size();
            return Variant();
        });
    }

private:
    Item& item_;
};

// MSHTML's pieces: body, selection, text range.
class HtmlBody final : public Object {
public:
    HtmlBody(Outlook& o, Item& it) : Object(o, L"HTMLBody") {
        property(L"innerText", [&it](Args&) { return Variant(it.body); });
        property(L"innerHTML", [&it](Args&) {
            std::wstring h = it.htmlBody();
            return Variant(h.substr(12, h.size() - 12 - 14));  // inside <HTML><BODY>...</BODY></HTML>
        });
    }
};

class HtmlRange final : public Object {
public:
    HtmlRange(Outlook& o, Item& it) : Object(o, L"HTMLTextRange"), item_(it) {
        start_ = std::min(it.selStart, it.selEnd);
        end_ = std::max(it.selStart, it.selEnd);
        DISPID textId = property(L"text", [this](Args&) {
            fit();
            return Variant(item_.body.substr(start_, end_ - start_));
        }, [this](Args&, const Variant& v) { put(v.toString()); });
        setDefault(textId);
        property(L"htmlText", [this](Args&) {
            fit();
            return Variant(item_.body.substr(start_, end_ - start_));
        });
        method(L"pasteHTML", [this](Args& a) {
            put(htmlToText(a.str(0)));
            return Variant();
        });
        method(L"collapse", [this](Args& a) {
            bool toStart = a.has(0) ? a.boolean(0) : true;
            if (toStart) end_ = start_;
            else start_ = end_;
            return Variant();
        });
        method(L"select", [this](Args&) {
            fit();
            item_.selStart = start_;
            item_.selEnd = end_;
            return Variant();
        });
    }

private:
    void fit() {
        end_ = std::min(end_, item_.body.size());
        start_ = std::min(start_, end_);
    }
    // The text takes the range's place; range and cursor end after it.
    void put(const std::wstring& text) {
        fit();
        item_.body.replace(start_, end_ - start_, text);
        start_ = end_ = start_ + text.size();
        item_.selStart = item_.selEnd = start_;
    }
    Item& item_;
    size_t start_, end_;
};

class HtmlSelection final : public Object {
public:
    HtmlSelection(Outlook& o, Item& it) : Object(o, L"HTMLSelectionObject") {
        property(L"type", [&it](Args&) { return Variant(it.selStart == it.selEnd ? L"None" : L"Text"); });
        method(L"createRange", [this, &it](Args&) { return ol().make<HtmlRange>(it)->var(); });
        method(L"empty", [&it](Args&) {
            it.selStart = it.selEnd = std::max(it.selStart, it.selEnd);
            return Variant();
        });
    }
};

}  // namespace

WordDocument::WordDocument(Outlook& o, Item& it) : Object(o, L"Document"), item(it) {
    wordSide();
    if (!o.wordApplication) o.wordApplication = o.make<WordApplication>();
    selection = o.make<WordSelection>(it);
    auto* window = o.make<WordWindow>(*this);
    auto* content = o.make<WordRange>(it);
    property(L"Application", [this](Args&) { return ol().wordApplication->var(); });
    property(L"ActiveWindow", [window](Args&) { return window->var(); });
    property(L"Content", [content](Args&) { return content->var(); });
    property(L"Name", [](Args&) { return Variant(L"Document1"); });
}

HtmlDocument::HtmlDocument(Outlook& o, Item& it) : Object(o, L"HTMLDocument"), item(it) {
    auto* body = o.make<HtmlBody>(it);
    auto* selection = o.make<HtmlSelection>(it);
    property(L"body", [body](Args&) { return body->var(); });
    property(L"selection", [selection](Args&) { return selection->var(); });
}

// ---------------------------------------------------------------- Inspector

Inspector::Inspector(Outlook& o, Item& it, long editor)
    : Object(o, L"Inspector"), item(&it), wordMail(editor == 4), editorType(editor) {
    answers(qbx::IID_OutlookInspector);
    sources(qbx::DIID_InspectorEvents, 9);
    sources(qbx::DIID_InspectorEvents_10, 10);
    bars = o.make<CommandBars>(this);
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return ol().app()->var(); });
    property(L"Session", [this](Args&) { return ol().ns()->var(); });
    property(L"Class", [](Args&) { return Variant(35L); });  // olInspector
    property(L"CurrentItem", [this](Args&) { return item->var(); });
    property(L"Caption", [this](Args&) { return Variant(caption()); });
    property(L"CommandBars", [this](Args&) { return bars->var(); });
    method(L"IsWordMail", [this](Args&) { return Variant(wordMail); });
    property(L"EditorType", [this](Args&) { return Variant(editorType); });
    property(L"WordEditor", [this](Args&) {
        if (!wordMail) return Variant::nothing();
        if (!word) word = ol().make<WordDocument>(*item);
        return word->var();
    });
    property(L"HTMLEditor", [this](Args&) {
        if (editorType != 2) return Variant::nothing();
        if (!html) html = ol().make<HtmlDocument>(*item);
        return html->var();
    });
    method(L"Activate", [this](Args&) {
        if (!open) {
            ol().openItem(item);
        } else if (ol().activeWindow() != this) {
            ol().setActiveWindow(this);
            showActive();
            fire(qbx::dispid::InspectorActivate, {});
        } else {
            showActive();
        }
        return Variant();
    });
    method(L"Display", [this](Args&) {
        ol().openItem(item);
        return Variant();
    });
    method(L"Close", [this](Args& a) {
        close(a.i32(0));
        return Variant();
    });
}

std::wstring Inspector::caption() const {
    std::wstring kind = item->kind == ItemKind::Post ? L"Discussion" : item->kind == ItemKind::Task ? L"Task" : L"Message";
    std::wstring c = (item->subject.empty() ? std::wstring(L"Untitled") : item->subject) + L" - " + kind;
    if (model() && model()->version() >= 12 && item->isMail()) c += L" (HTML)";
    return c;
}

Inspector::~Inspector() { destroyWindow(); }

namespace {

const wchar_t* const kOutlookWindowClass = L"rctrl_renwnd32";
const wchar_t* const kWordWindowClass = L"OpusApp";

// Ends a Word mail window on its own thread, and with it the thread.
constexpr UINT kEndWordWindow = WM_APP + 0x51;

LRESULT CALLBACK mailWindowProc(HWND h, UINT m, WPARAM wp, LPARAM lp) {
    auto* w = reinterpret_cast<Inspector*>(GetWindowLongPtrW(h, GWLP_USERDATA));
    switch (m) {
        case kEndWordWindow:
            DestroyWindow(h);
            PostQuitMessage(0);
            return 0;
        case WM_ACTIVATE:
            if (!w) break;
            if (LOWORD(wp) == WA_INACTIVE) {
                // The cursor stays where the user left it.
                HWND f = GetFocus();
                if (f && IsChild(h, f)) w->cursorField = f;
            } else if (w->cursorField) {
                SetFocus(w->cursorField);
                return 0;
            }
            break;
        case WM_SETFOCUS:
            if (w && w->cursorField) {
                SetFocus(w->cursorField);
                return 0;
            }
            break;
        case WM_CLOSE:
            return 0;  // windows close through the object model
        default:
            break;
    }
    return DefWindowProcW(h, m, wp, lp);
}

void registerWindowClasses() {
    static bool done = false;
    if (done) return;
    done = true;
    LoadLibraryW(L"riched20.dll");
    for (const wchar_t* name : {kOutlookWindowClass, kWordWindowClass}) {
        WNDCLASSW wc{};
        wc.lpfnWndProc = mailWindowProc;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
        wc.lpszClassName = name;
        RegisterClassW(&wc);
    }
}

HWND richEdit(HWND parent, int y, int height, bool multiLine, const std::wstring& text) {
    DWORD style = WS_CHILD | WS_VISIBLE | WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL;
    if (multiLine) style |= ES_MULTILINE | ES_WANTRETURN | ES_AUTOVSCROLL | WS_VSCROLL;
    HWND e = CreateWindowExW(0, L"RichEdit20W", text.c_str(), style, 80, y, 500, height, parent, nullptr,
                             GetModuleHandleW(nullptr), nullptr);
    return e;
}

// Positions in the item's text (CR LF line breaks) and in a rich edit
// control (one CR per line break).
long controlPosition(const std::wstring& text, size_t p) {
    long crlf = 0;
    for (size_t i = 0; i + 1 < p && i + 1 < text.size(); ++i)
        if (text[i] == L'\r' && text[i + 1] == L'\n') ++crlf;
    return static_cast<long>(p) - crlf;
}

size_t textPosition(const std::wstring& text, long cp) {
    size_t i = 0;
    for (long n = 0; n < cp && i < text.size(); ++n) i += (text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n') ? 2 : 1;
    return i;
}

}  // namespace

namespace {

struct WordWindowStart {
    std::wstring caption;
    HWND hwnd = nullptr;
    HANDLE ready = nullptr;
};

// Word's side of a Word mail window: the window and its message loop.
DWORD WINAPI wordWindowThread(void* param) {
    auto* start = static_cast<WordWindowStart*>(param);
    HWND h = CreateWindowExW(0, kWordWindowClass, start->caption.c_str(), WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40, 40,
                             620, 440, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    start->hwnd = h;
    SetEvent(start->ready);
    if (!h) return 0;
    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    return 0;
}

}  // namespace

void Inspector::createWindow() {
    if (hwnd) return;
    registerWindowClasses();
    if (wordMail) {
        WordWindowStart start{caption(), nullptr, CreateEventW(nullptr, TRUE, FALSE, nullptr)};
        windowThread = CreateThread(nullptr, 0, wordWindowThread, &start, 0, nullptr);
        if (windowThread) WaitForSingleObject(start.ready, 10000);
        CloseHandle(start.ready);
        hwnd = start.hwnd;
        if (!hwnd && windowThread) {
            WaitForSingleObject(windowThread, 10000);
            CloseHandle(windowThread);
            windowThread = nullptr;
        }
        return;
    }
    hwnd = CreateWindowExW(0, wordMail ? kWordWindowClass : kOutlookWindowClass, caption().c_str(),
                           WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40, 40, 620, 440, nullptr, nullptr,
                           GetModuleHandleW(nullptr), nullptr);
    if (!hwnd) return;
    SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    if (editorType == 1 || editorType == 3) {
        // The older editor's plain- and rich-text windows: the address lines
        // and the subject are rich edit controls too, above the text.
        fieldTo = richEdit(hwnd, 10, 22, false, item->to);
        fieldCc = richEdit(hwnd, 36, 22, false, item->cc);
        fieldSubject = richEdit(hwnd, 62, 22, false, item->subject);
        fieldBody = richEdit(hwnd, 96, 280, true, L"");
        if (editorType == 1) SendMessageW(fieldBody, EM_SETTEXTMODE, TM_PLAINTEXT, 0);
        cursorField = fieldBody;
        pushText();
    }
}

void Inspector::destroyWindow() {
    if (!hwnd) return;
    SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
    if (windowThread) {
        // Word's thread takes its window down; messages it sends to this
        // thread meanwhile are answered.
        PostMessageW(hwnd, kEndWordWindow, 0, 0);
        while (MsgWaitForMultipleObjects(1, &windowThread, FALSE, 10000, QS_SENDMESSAGE) == WAIT_OBJECT_0 + 1) {
            MSG msg;
            PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
        }
        CloseHandle(windowThread);
        windowThread = nullptr;
    } else {
        DestroyWindow(hwnd);
    }
    hwnd = fieldTo = fieldCc = fieldSubject = fieldBody = cursorField = nullptr;
}

void Inspector::showActive() {
    if (wordMail && model()) model()->activeWordWindow = this;
    if (!hwnd) return;
    SetForegroundWindow(hwnd);
    // Word's window is activated on Word's thread; this thread keeps none.
    if (windowThread) return;
    SetActiveWindow(hwnd);
    if (cursorField) SetFocus(cursorField);
}

void Inspector::syncCaption() {
    if (!hwnd) return;
    SetWindowTextW(hwnd, caption().c_str());
    if (fieldSubject) SetWindowTextW(fieldSubject, item->subject.c_str());
}

void Inspector::pushText() {
    if (!fieldBody) return;
    SetWindowTextW(fieldBody, item->body.c_str());
    CHARRANGE sel{controlPosition(item->body, std::min(item->selStart, item->selEnd)),
                  controlPosition(item->body, std::max(item->selStart, item->selEnd))};
    SendMessageW(fieldBody, EM_EXSETSEL, 0, reinterpret_cast<LPARAM>(&sel));
}

void Inspector::pullText() {
    if (!fieldBody) return;
    GETTEXTLENGTHEX len{GTL_USECRLF | GTL_NUMCHARS, 1200};
    LRESULT n = SendMessageW(fieldBody, EM_GETTEXTLENGTHEX, reinterpret_cast<WPARAM>(&len), 0);
    std::wstring text(static_cast<size_t>(n < 0 ? 0 : n) + 1, L'\0');
    GETTEXTEX get{static_cast<DWORD>(text.size() * sizeof(wchar_t)), GT_USECRLF, 1200, nullptr, nullptr};
    LRESULT got = SendMessageW(fieldBody, EM_GETTEXTEX, reinterpret_cast<WPARAM>(&get),
                               reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<size_t>(got < 0 ? 0 : got));
    CHARRANGE sel{};
    SendMessageW(fieldBody, EM_EXGETSEL, 0, reinterpret_cast<LPARAM>(&sel));
    item->body = text;
    item->selStart = textPosition(text, sel.cpMin);
    item->selEnd = textPosition(text, sel.cpMax);
}

bool Inspector::close(long saveMode, bool itemClose) {
    if (!open) return true;
    if (itemClose && item->fire(kItemClose, {}, true)) return false;
    if (saveMode == 0) item->save();  // olSave; olDiscard and olPromptForSave (answered No) drop the changes
    fire(qbx::dispid::InspectorClose, {});
    pullText();
    destroyWindow();
    open = false;
    closed = true;
    ol().windowClosed(this);
    bars->destroy();
    if (word) word->kill(errors::kDeleted, kClosedText);
    if (html) html->kill(errors::kDeleted, kClosedText);
    kill(errors::kDeleted, kClosedText);
    return true;
}

}  // namespace emu
