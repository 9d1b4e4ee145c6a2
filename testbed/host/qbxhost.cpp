// qbxhost.exe: the test bed's Outlook as a program. It loads the add-ins
// registered for Outlook (LoadBehavior 3 under the Outlook "Addins" key of
// HKCU, then HKLM) the way Outlook does, plays a scenario file of user
// actions and prints a transcript: the mail text, the attachments left, the
// prompts shown and the documents in the SharePoint emulator's libraries.
//
//   qbxhost.exe [--version N] [--editor word|html|plain|rich] [--assistant auto|present|absent]
//               [--mailbox FILE] [--through-dispatch] [--addin PROGID]... [--no-addins]
//               [--no-outlook-class] SCENARIO
//
// The scenario language is described in testbed/README.md.
#include "testbed/host/host.h"

#include "attachments/dialogs.h"
#include "testbed/sharepoint/spemu_client.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>

namespace qbxhost {

namespace {

Host* activeHost = nullptr;

std::wstring env(const std::wstring& name) {
    wchar_t buf[4096] = {};
    DWORD n = GetEnvironmentVariableW(name.c_str(), buf, 4096);
    return n && n < 4096 ? std::wstring(buf, n) : std::wstring();
}

const wchar_t* buttonName(long b) {
    switch (b) {
        case IDOK: return L"OK";
        case IDCANCEL: return L"Cancel";
        case IDABORT: return L"Abort";
        case IDRETRY: return L"Retry";
        case IDIGNORE: return L"Ignore";
        case IDYES: return L"Yes";
        case IDNO: return L"No";
        default: return L"?";
    }
}

int buttonFor(const std::wstring& word) {
    static const std::pair<const wchar_t*, int> names[] = {{L"ok", IDOK},       {L"cancel", IDCANCEL}, {L"abort", IDABORT},
                                                           {L"retry", IDRETRY}, {L"ignore", IDIGNORE}, {L"yes", IDYES},
                                                           {L"no", IDNO}};
    for (auto& [n, b] : names)
        if (qbx::textEquals(word, n)) return b;
    qbx::raise(5, L"unknown answer \"" + word + L"\" (ok, cancel, abort, retry, ignore, yes, no)");
}

// The button a user who just wants to get on would press: No or Cancel
// where offered, else OK.
int cautiousButton(unsigned style) {
    switch (style & 0xF) {
        case MB_OKCANCEL:
        case MB_YESNOCANCEL:
        case MB_RETRYCANCEL: return IDCANCEL;
        case MB_ABORTRETRYIGNORE: return IDABORT;
        case MB_YESNO: return IDNO;
        default: return IDOK;
    }
}

std::wstring indentLines(const std::wstring& text, const std::wstring& pad) {
    std::wstring t = qbx::replaceAll(text, L"\r\n", L"\n");
    return qbx::replaceAll(t, L"\n", L"\n" + pad);
}

std::wstring quoted(const std::wstring& s) { return L"\"" + s + L"\""; }

// The add-ins Outlook would load: LoadBehavior 3 under HKCU, then HKLM.
std::vector<std::wstring> registeredAddins() {
    std::vector<std::wstring> out;
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        HKEY key = nullptr;
        if (RegOpenKeyExW(root, L"Software\\Microsoft\\Office\\Outlook\\Addins", 0, KEY_READ, &key) != ERROR_SUCCESS)
            continue;
        for (DWORD i = 0;; ++i) {
            wchar_t name[256];
            DWORD len = 256;
            if (RegEnumKeyExW(key, i, name, &len, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
            DWORD behavior = 0, size = sizeof behavior;
            if (RegGetValueW(key, name, L"LoadBehavior", RRF_RT_REG_DWORD, nullptr, &behavior, &size) != ERROR_SUCCESS)
                continue;
            bool seen = false;
            for (const auto& p : out) seen = seen || qbx::textEquals(p, name);
            if (behavior == 3 && !seen) out.push_back(name);
        }
        RegCloseKey(key);
    }
    return out;
}

std::wstring hresultText(HRESULT hr) {
    wchar_t buf[16];
    swprintf(buf, 16, L"0x%08lX", static_cast<unsigned long>(hr));
    return buf;
}

}  // namespace

// ------------------------------------------------------------ words

std::wstring windowsPath(const std::wstring& path) {
    if (path.empty() || path[0] != L'/') return path;
    return L"Z:" + qbx::replaceAll(path, L"/", L"\\");
}

std::vector<std::wstring> splitLine(const std::wstring& line) {
    std::vector<std::wstring> out;
    size_t i = 0;
    auto expand = [&](std::wstring& w, size_t& k) {
        // ${NAME}
        size_t end = line.find(L'}', k + 2);
        if (end == std::wstring::npos) {
            w += line[k++];
            return;
        }
        w += env(line.substr(k + 2, end - k - 2));
        k = end + 1;
    };
    while (i < line.size()) {
        if (iswspace(line[i])) {
            ++i;
            continue;
        }
        std::wstring w;
        if (line[i] == L'"') {
            ++i;
            while (i < line.size() && line[i] != L'"') {
                if (line[i] == L'\\' && i + 1 < line.size()) {
                    wchar_t e = line[i + 1];
                    w += e == L'n' ? L'\n' : e == L'r' ? L'\r' : e == L't' ? L'\t' : e;
                    i += 2;
                } else if (line.compare(i, 2, L"${") == 0) {
                    expand(w, i);
                } else {
                    w += line[i++];
                }
            }
            ++i;
        } else {
            while (i < line.size() && !iswspace(line[i])) {
                if (line.compare(i, 2, L"${") == 0) expand(w, i);
                else w += line[i++];
            }
        }
        out.push_back(w);
    }
    return out;
}

// ------------------------------------------------------------ the host

Host::Host(Options options) : options_(std::move(options)) { activeHost = this; }

Host* Host::instance() { return activeHost; }

Host::~Host() {
    withdrawOutlookClass();
    ol_.reset();
    activeHost = nullptr;
}

namespace {

// {0006F03A-0000-0000-C000-000000000046}: Outlook's Application class.
constexpr CLSID kOutlookApplicationClass = {0x0006F03A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Hands out the one running Application, as Outlook (a single-instance
// server) does.
class ApplicationFactory final : public qbx::Unknown<IClassFactory> {
public:
    explicit ApplicationFactory(emu::Outlook& ol) : ol_(ol) {}
    bool answers(REFIID iid) const override { return iid == IID_IClassFactory; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (outer) return CLASS_E_NOAGGREGATION;
        return ol_.app()->QueryInterface(iid, out);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    emu::Outlook& ol_;
};

}  // namespace

void Host::offerOutlookClass() {
    if (!options_.outlookClass || classCookie_) return;
    qbx::ComPtr<IClassFactory> factory(new ApplicationFactory(*ol_));
    if (FAILED(CoRegisterClassObject(kOutlookApplicationClass, factory.get(), CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE,
                                     &classCookie_)))
        return;
    wchar_t clsid[64];
    StringFromGUID2(kOutlookApplicationClass, clsid, 64);
    for (std::wstring progId : {std::wstring(L"Outlook.Application"),
                                L"Outlook.Application." + std::to_wstring(ol_->version())}) {
        std::wstring key = L"Software\\Classes\\" + progId;
        HKEY k = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &k) == ERROR_SUCCESS) {
            RegCloseKey(k);  // there already: leave it as it is
            continue;
        }
        if (RegSetKeyValueW(HKEY_LOCAL_MACHINE, (key + L"\\CLSID").c_str(), nullptr, REG_SZ, clsid,
                            static_cast<DWORD>((wcslen(clsid) + 1) * sizeof(wchar_t))) == ERROR_SUCCESS)
            classKeys_.push_back(key);
    }
}

void Host::withdrawOutlookClass() {
    if (classCookie_) CoRevokeClassObject(classCookie_);
    classCookie_ = 0;
    for (const auto& key : classKeys_) RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
    classKeys_.clear();
}

void Host::say(const std::wstring& line) {
    std::string bytes = qbx::toUtf8(line + L"\n");
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void Host::check(bool ok, const std::wstring& what) {
    if (ok) {
        say(L"  ok: " + what);
    } else {
        say(L"  FAILED: " + what);
        ++failures_;
    }
}

int Host::answerPrompt(int kind, const std::wstring& text, const std::wstring& title, unsigned style,
                       const std::wstring& defaultText, std::wstring& answerText) {
    ++prompts_;
    Answer a;
    if (!answers_.empty()) {
        a = answers_.front();
        answers_.pop_front();
    } else {
        a.button = kind == 1 ? IDCANCEL : cautiousButton(style);
    }
    answerText = a.button == IDOK ? (a.text.empty() && kind == 1 ? defaultText : a.text) : std::wstring();
    std::wstring shown = kind == 1 ? L"input box" : L"message";
    say(L"  " + shown + L" " + quoted(title) + L": " + indentLines(text, L"    ") + L"\n    -> " + buttonName(a.button) +
        (kind == 1 && a.button == IDOK ? L" " + quoted(answerText) : L""));
    return a.button;
}

long Host::answerBalloon(const emu::Balloon& b) {
    long answer = 0;
    if (!answers_.empty()) {
        answer = answers_.front().button;
        answers_.pop_front();
    } else {
        answer = b.buttons == 0 ? IDOK : b.buttons == 4 ? IDNO : b.buttons == 2 ? IDABORT : IDCANCEL;
    }
    say(L"  Assistant balloon " + quoted(b.title) + L": " + indentLines(b.text, L"    ") + L"\n    -> " + buttonName(answer));
    return answer;
}

emu::Outlook& Host::model() {
    if (!ol_) {
        ol_ = std::make_unique<emu::Outlook>(options_.knobs);
        ol_->setBalloonAnswerer([this](const emu::Balloon& b) { return answerBalloon(b); });
        offerOutlookClass();
        const long type = ol_->editorTypeForNew();
        const char* editor = type == 4 ? "Word" : type == 1 ? "plain-text" : type == 3 ? "rich-text" : "HTML";
        say(L"  Outlook " + ol_->versionText() + L", " + qbx::fromUtf8(editor) + L" editor, mailbox " +
            (options_.knobs.mailboxFile.empty() ? std::wstring(L"in memory") : options_.knobs.mailboxFile));
    }
    return *ol_;
}

void Host::start() {
    if (started_) return;
    started_ = true;
    emu::Outlook& ol = model();
    std::vector<std::wstring> addins = options_.noAddins ? std::vector<std::wstring>() : registeredAddins();
    if (!options_.onlyAddins.empty()) addins = options_.onlyAddins;
    if (addins.empty()) say(L"  no add-in to load");
    for (const std::wstring& progId : addins) {
        CLSID clsid;
        qbx::ComPtr<IUnknown> addin;
        HRESULT hr = CLSIDFromProgID(progId.c_str(), &clsid);
        if (SUCCEEDED(hr))
            hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, addin.putVoid());
        if (FAILED(hr)) {
            say(L"  FAILED: add-in " + progId + L" could not be created (" + hresultText(hr) + L")");
            ++failures_;
            continue;
        }
        size_t before = ol.addinCalls().size();
        if (!ol.connectAddin(addin.get(), progId)) {
            say(L"  FAILED: " + progId + L" is no Office add-in (no IDTExtensibility2)");
            ++failures_;
            continue;
        }
        std::wstring calls;
        for (size_t i = before; i < ol.addinCalls().size(); ++i) calls += (calls.empty() ? L"" : L", ") + ol.addinCalls()[i];
        say(L"  add-in " + progId + L": " + calls);
    }
    say(L"  Startup");
    ol.fireStartup();
    emu::Outlook::pumpMessages(0);
    std::wstring listening;
    for (const auto& h : ol.references().holders)
        if (h.find(L" sinks ") != std::wstring::npos) listening += (listening.empty() ? L"" : L", ") + h;
    say(L"  event sinks advised: " + (listening.empty() ? std::wstring(L"none") : listening));
}

void Host::quit() {
    if (quit_) return;
    start();
    quit_ = true;
    emu::Outlook& ol = model();
    size_t before = ol.addinCalls().size();
    ol.shutdown();
    emu::Outlook::pumpMessages(0);
    std::wstring calls;
    for (size_t i = before; i < ol.addinCalls().size(); ++i) calls += (calls.empty() ? L"" : L", ") + ol.addinCalls()[i];
    say(L"  shutdown: " + (calls.empty() ? std::wstring(L"no add-in") : calls));
    afterShutdown_ = ol.references();
    summary();
}

emu::Inspector* Host::current() {
    if (!current_ || !current_->open) qbx::raise(5, L"no window is open");
    return current_;
}

emu::Folder* Host::folderAt(const std::wstring& path) {
    emu::Outlook& ol = model();
    emu::Folder* f = nullptr;
    for (const std::wstring& part : qbx::split(path, L"\\")) {
        if (part.empty()) continue;
        emu::Folders* in = f ? f->folders : ol.ns()->stores->list.front()->folders;
        f = in->find(part);
        if (!f) return nullptr;
    }
    return f;
}

emu::Item* Host::postIn(emu::Folder* f, const std::wstring& subject) {
    for (emu::Item* it : f->contents)
        if (it->savedSubject == subject) return it;
    return nullptr;
}

void Host::need(const Words& w, size_t n) {
    if (w.size() < n + 1) qbx::raise(450, L"\"" + w[0] + L"\" needs " + std::to_wstring(n) + L" argument(s)");
}

void Host::showWindow(emu::Inspector* w) {
    emu::Item* it = w->item;
    say(L"    window " + quoted(w->caption()) + (it->to.empty() ? L"" : L" to " + it->to));
    say(L"    text: | " + indentLines(it->body, L"          | "));
    std::wstring names;
    for (const auto& n : ol_->attachmentNames(w)) names += (names.empty() ? L"" : L", ") + n;
    say(L"    attachments: " + (names.empty() ? std::wstring(L"none") : names));
    if (w->open)
        say(L"    event sinks: window " + std::to_wstring(w->advisedSinks()) + L", mail " +
            std::to_wstring(it->advisedSinks()));
}

void Host::expect(const Words& w) {
    need(w, 1);
    const std::wstring& what = w[1];
    emu::Outlook& ol = model();
    // The mail in question: the current window's, or else the last one sent.
    auto mailText = [&]() -> std::wstring {
        if (current_ && current_->open) return current_->item->body;
        return ol.sentMails().empty() ? std::wstring() : ol.sentMails().back().body;
    };
    auto attachmentCount = [&]() -> long {
        if (current_ && current_->open) return static_cast<long>(current_->item->attachments->list.size());
        return ol.sentMails().empty() ? 0 : static_cast<long>(ol.sentMails().back().attachments.size());
    };
    if (what == L"text") {
        need(w, 2);
        check(mailText() == w[2], L"mail text is " + quoted(w[2]) + L" (it is " + quoted(mailText()) + L")");
    } else if (what == L"text-contains") {
        need(w, 2);
        check(mailText().find(w[2]) != std::wstring::npos, L"mail text contains " + quoted(w[2]));
    } else if (what == L"attachments") {
        need(w, 2);
        long n = attachmentCount();
        check(n == _wtol(w[2].c_str()), L"attachments: " + w[2] + L" (there are " + std::to_wstring(n) + L")");
    } else if (what == L"button") {
        need(w, 2);
        long n = 0;
        emu::CommandBar* bar = current()->bars->find(L"Standard");
        for (emu::CommandBarButton* b : bar->controls->list)
            if (!b->builtIn && b->tag == w[2]) ++n;
        check(n == 1, L"one button tagged " + quoted(w[2]) + L" on the Standard bar (there are " + std::to_wstring(n) + L")");
    } else if (what == L"ribbon") {
        need(w, 2);
        auto it = ol.ribbons().find(w[2]);
        bool ok = it != ol.ribbons().end() && it->second.accepted;
        check(ok, L"ribbon " + w[2] + L" loaded" + (it != ol.ribbons().end() && !ok ? L" (" + it->second.problem + L")" : L""));
    } else if (what == L"no-ribbon") {
        check(ol.ribbons().empty(), L"no ribbon asked for");
    } else if (what == L"folder") {
        need(w, 2);
        check(folderAt(w[2]) != nullptr, L"folder " + w[2] + L" exists");
    } else if (what == L"prompts") {
        need(w, 2);
        check(prompts_ == _wtol(w[2].c_str()), L"prompts: " + w[2] + L" (there were " + std::to_wstring(prompts_) + L")");
    } else if (what == L"sent") {
        need(w, 2);
        long n = static_cast<long>(ol.sentMails().size());
        check(n == _wtol(w[2].c_str()), L"sent mails: " + w[2] + L" (there are " + std::to_wstring(n) + L")");
    } else if (what == L"saves-under") {
        need(w, 3);
        long n = 0;
        for (const auto& s : ol.saveTargets())
            if (s.target.size() >= w[2].size() && qbx::textEquals(s.target.substr(0, w[2].size()), w[2])) ++n;
        check(n == _wtol(w[3].c_str()), L"SaveAsFile targets under " + w[2] + L": " + w[3] + L" (there are " + std::to_wstring(n) + L")");
    } else if (what == L"document") {  // expect document LIBRARY NAME [absent]
        need(w, 3);
        const bool wanted = !(w.size() > 4 && w[4] == L"absent");
        bool found = false;
        try {
            const spemu::Json stored = spemu::documents();
            for (const spemu::Json& lib : stored["libraries"].items)
                if (qbx::textEquals(qbx::withoutTrailingSlash(qbx::fromUtf8(lib["url"].s)), L"/" + qbx::withoutTrailingSlash(w[2])))
                    for (const spemu::Json& doc : lib["documents"].items) found = found || qbx::fromUtf8(doc["name"].s) == w[3];
        } catch (...) {
        }
        check(found == wanted, L"library " + w[2] + (wanted ? L" holds " : L" does not hold ") + quoted(w[3]));
    } else if (what == L"chooser-owner" || what == L"settings-owner") {  // expect chooser-owner mail|none|CLASS
        need(w, 2);
        const std::wstring& owner = what == L"chooser-owner" ? chooserOwner_ : settingsOwner_;
        check(owner == w[2], what.substr(0, what.find(L'-')) + L" window owned by " + w[2] + L" (owner: " +
                                 (owner.empty() ? std::wstring(L"no window shown") : owner) + L")");
    } else if (what == L"nested-choosers") {
        need(w, 2);
        check(nestedChoosers_ == _wtol(w[2].c_str()), L"choosers opened inside another: " + w[2] + L" (there were " +
                                                          std::to_wstring(nestedChoosers_) + L")");
    } else if (what == L"choosers") {
        need(w, 2);
        check(choosers_ == _wtol(w[2].c_str()),
              L"choosers shown: " + w[2] + L" (there were " + std::to_wstring(choosers_) + L")");
    } else if (expectSettings(w)) {
        return;
    } else if (what == L"outlook-by-progid") {
        // Creating "Outlook.Application" attaches to this Outlook, as the add-in's start-up helper expects.
        CLSID clsid;
        qbx::ComPtr<IDispatch> made;
        if (SUCCEEDED(CLSIDFromProgID(L"Outlook.Application", &clsid)))
            CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IDispatch, made.putVoid());
        check(made && emu::ours<emu::Application>(qbx::Variant(made.get())) == ol.app(),
              L"Outlook.Application by ProgID is this Outlook");
    } else if (what == L"references") {
        need(w, 2);
        if (!quit_) qbx::raise(5, L"\"expect references\" comes after \"quit\"");
        check(afterShutdown_.total() == _wtol(w[2].c_str()),
              L"references held after shutdown: " + w[2] + L" (there are " + std::to_wstring(afterShutdown_.total()) + L")");
    } else {
        qbx::raise(5, L"unknown expectation \"" + what + L"\"");
    }
}

namespace {
emu::EditorKind editorNamed(const std::wstring& name) {
    if (qbx::textEquals(name, L"word")) return emu::EditorKind::Word;
    if (qbx::textEquals(name, L"plain")) return emu::EditorKind::Plain;
    if (qbx::textEquals(name, L"rich")) return emu::EditorKind::Rich;
    return emu::EditorKind::Html;
}
}  // namespace

void Host::knob(const Words& w) {
    if (ol_) qbx::raise(5, L"\"" + w[0] + L"\" must come before the mailbox is used or anything starts");
    need(w, 1);
    emu::Knobs& k = options_.knobs;
    auto on = [&] { return qbx::textEquals(w[1], L"on") || qbx::textEquals(w[1], L"yes") || w[1] == L"1"; };
    if (w[0] == L"version") k.version = _wtoi(w[1].c_str());
    else if (w[0] == L"editor") k.editor = editorNamed(w[1]);
    else if (w[0] == L"assistant")
        k.assistant = qbx::textEquals(w[1], L"present") ? emu::AssistantMode::Present
                      : qbx::textEquals(w[1], L"absent") ? emu::AssistantMode::Absent
                                                          : emu::AssistantMode::Auto;
    else if (w[0] == L"refuse-delete-in-add") k.refuseDeleteInAttachmentAdd = on();
    else if (w[0] == L"before-save-on-add") k.beforeSaveOnAdd = on();
    else if (w[0] == L"through-dispatch") k.addinThroughDispatch = on();
}

void Host::step(const Words& w, int lineNumber) {
    const std::wstring& c = w[0];
    static const wchar_t* const knobs[] = {L"version", L"editor", L"assistant", L"refuse-delete-in-add",
                                           L"before-save-on-add", L"through-dispatch"};
    for (const wchar_t* k : knobs)
        if (c == k) return knob(w);
    if (c == L"note") {
        return;  // printed with the line already
    } else if (c == L"folder") {  // folder PATH [TYPE]: seeds a folder, e.g. Inbox\QBXSettings
        need(w, 1);
        size_t cut = w[1].find_last_of(L'\\');
        emu::Folder* parent = cut == std::wstring::npos ? nullptr : folderAt(w[1].substr(0, cut));
        if (!parent) qbx::raise(5, L"no folder above " + w[1]);
        std::wstring name = w[1].substr(cut + 1);
        if (!parent->folders->find(name)) parent->folders->add(name, w.size() > 2 ? _wtol(w[2].c_str()) : 6);
    } else if (c == L"post") {  // post FOLDER SUBJECT
        need(w, 2);
        emu::Folder* f = folderAt(w[1]);
        if (!f) qbx::raise(5, L"no folder " + w[1]);
        if (!postIn(f, w[2])) {
            emu::Item* it = model().make<emu::Item>(emu::ItemKind::Post, L"IPM.Post", f);
            it->subject = w[2];
            it->save();
        }
    } else if (c == L"property") {  // property FOLDER SUBJECT NAME text|number|date|yesno VALUE
        need(w, 5);
        emu::Folder* f = folderAt(w[1]);
        emu::Item* it = f ? postIn(f, w[2]) : nullptr;
        if (!it) qbx::raise(5, L"no item " + quoted(w[2]) + L" in " + w[1]);
        static const std::map<std::wstring, long> types = {{L"text", 1}, {L"number", 3}, {L"date", 5}, {L"yesno", 6}};
        auto t = types.find(w[4]);
        if (t == types.end()) qbx::raise(5, L"property types: text, number, date, yesno");
        emu::UserProperty* p = it->properties->find(w[3]);
        if (!p) p = it->properties->add(w[3], t->second);
        p->assign(qbx::Variant(w.size() > 5 ? w[5] : std::wstring()));
        it->save();
    } else if (c == L"settings") {  // settings DEFAULT on|off LIBRARY...: the user's settings item
        seedSettings(w);
    } else if (c == L"choose") {  // choose ok [N] [default] | new URL [add] | cancel
        queueChoice(w);
    } else if (c == L"attach-while-choosing") {  // attach-while-choosing PATH: dropped while the next chooser is open
        need(w, 1);
        dropWhileChoosing_.push_back(windowsPath(w[1]));
    } else if (c == L"configure") {  // configure add URL | edit ROW URL | clear ROW | browse SITE | ...
        queueConfigure(w);
    } else if (c == L"server-fault" || c == L"server-reset") {
        // server-fault QUERY: a fault of the SharePoint emulator; server-reset:
        // no faults, an empty log and empty libraries.
        if (c == L"server-fault") need(w, 1);
        if (!spemu::configured()) qbx::raise(5, L"no SharePoint emulator (QBX_SP_URL is not set)");
        std::wstring call = c == L"server-fault" ? L"/_emu/fault?" + w[1] : std::wstring(L"/_emu/reset?documents=1");
        try {
            if (c == L"server-fault") spemu::fault(w[1]);
            else spemu::reset(L"?documents=1");
        } catch (...) {
            qbx::raise(5, L"the SharePoint emulator refused " + quoted(call));
        }
    } else if (c == L"start") {
        start();
    } else if (c == L"quit") {
        quit();
    } else if (c == L"expect") {
        expect(w);
    } else if (c == L"answer") {  // answer BUTTON [TEXT]
        need(w, 1);
        answers_.push_back(Answer{buttonFor(w[1]), w.size() > 2 ? w[2] : std::wstring()});
    } else if (c == L"fail") {  // fail MEMBER COUNT NUMBER TEXT
        need(w, 4);
        model().failNext(w[1], _wtol(w[2].c_str()), static_cast<long>(wcstoll(w[3].c_str(), nullptr, 0)), w[4]);
    } else if (c == L"wait") {  // wait MILLISECONDS: the message loop runs (window timers)
        need(w, 1);
        emu::Outlook::pumpMessages(static_cast<DWORD>(_wtol(w[1].c_str())));
    } else {
        if (quit_) qbx::raise(5, L"Outlook has quit");
        start();
        emu::Outlook& ol = model();
        if (c == L"compose") {
            current_ = ol.openCompose(L"IPM.Note", w.size() > 1 ? w[1] : std::wstring());
            say(L"  window opened: " + quoted(current_->caption()));
        } else if (c == L"compose-class") {  // compose-class MESSAGECLASS
            need(w, 1);
            current_ = ol.openCompose(w[1]);
            say(L"  window opened: " + quoted(current_->caption()));
        } else if (c == L"receive") {  // receive SUBJECT [BODY]
            need(w, 1);
            ol.receiveMail(w[1], w.size() > 2 ? w[2] : std::wstring());
        } else if (c == L"open") {  // open SUBJECT: a received mail in a read window
            need(w, 1);
            emu::Item* found = nullptr;
            for (emu::Item* it : ol.defaultFolder(6)->contents)
                if (it->savedSubject == w[1]) found = it;
            if (!found) qbx::raise(5, L"no mail " + quoted(w[1]) + L" in the Inbox");
            current_ = ol.openItem(found);
            say(L"  window opened: " + quoted(current_->caption()));
        } else if (c == L"window") {  // window N: the Nth open window becomes current
            need(w, 1);
            auto windows = ol.openWindows();
            size_t n = static_cast<size_t>(_wtol(w[1].c_str()));
            if (n < 1 || n > windows.size()) qbx::raise(9, L"no window " + w[1]);
            current_ = windows[n - 1];
            ol.activate(current_);
        } else if (c == L"activate") {
            ol.activate(current());
        } else if (c == L"to") {
            need(w, 1);
            current()->item->to = w[1];
        } else if (c == L"subject") {
            need(w, 1);
            current()->item->subject = w[1];
        } else if (c == L"type") {
            need(w, 1);
            ol.typeText(current(), w[1]);
        } else if (c == L"cursor") {  // cursor N | end
            need(w, 1);
            ol.moveCursor(current(), w[1] == L"end" ? -1 : _wtol(w[1].c_str()));
        } else if (c == L"attach") {  // attach PATH...
            need(w, 1);
            for (size_t i = 1; i < w.size(); ++i) {
                ol.attachFile(current(), windowsPath(w[i]));
                emu::Outlook::pumpMessages(0);
            }
        } else if (c == L"click") {  // click TAG|CAPTION
            need(w, 1);
            if (!ol.clickButton(current(), w[1])) qbx::raise(5, L"no button " + quoted(w[1]) + L" on the Standard bar");
        } else if (c == L"ribbon") {  // ribbon CONTROLID
            need(w, 1);
            if (!ol.clickRibbon(current(), w[1])) qbx::raise(5, L"no ribbon button " + quoted(w[1]) + L" in this window");
        } else if (c == L"send") {
            emu::Inspector* win = current();
            std::wstring subject = win->item->subject;
            if (ol.send(win)) {
                say(L"  sent " + quoted(subject) + L" to " + ol.sentMails().back().to);
                current_ = nullptr;
            } else {
                say(L"  sending was cancelled");
            }
        } else if (c == L"close") {  // close [save|discard]
            long mode = w.size() > 1 && qbx::textEquals(w[1], L"save") ? 0 : 1;
            if (ol.close(current(), mode)) current_ = nullptr;
            else say(L"  closing was cancelled");
        } else if (c == L"show") {
            showWindow(current());
        } else {
            qbx::raise(5, L"unknown command \"" + c + L"\" in line " + std::to_wstring(lineNumber));
        }
    }
}

int Host::run() {
    std::ifstream in(options_.scenario.c_str(), std::ios::binary);
    if (!in) {
        say(L"cannot read the scenario " + options_.scenario);
        return 2;
    }
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) bytes.erase(0, 3);
    std::vector<std::wstring> lines = qbx::split(qbx::fromUtf8(bytes), L"\n");
    say(L"Quillbox test bed: scenario " + options_.scenario);
    int number = 0;
    for (std::wstring line : lines) {
        ++number;
        if (!line.empty() && line.back() == L'\r') line.pop_back();
        Words w = splitLine(line);
        if (w.empty() || w[0][0] == L'#') continue;
        say(L"> " + qbx::trimSpaces(line));
        try {
            step(w, number);
        } catch (const qbx::Error& e) {
            say(L"  error: " + e.description() + L" (" + std::to_wstring(e.number()) + L")");
            ++failures_;
        }
        emu::Outlook::pumpMessages(0);
    }
    if (!quit_) {
        say(L"> quit (end of scenario)");
        try {
            quit();
        } catch (const qbx::Error& e) {
            say(L"  error: " + e.description());
            ++failures_;
        }
    }
    say(failures_ ? L"RESULT: " + std::to_wstring(failures_) + L" failure(s)" : std::wstring(L"RESULT: all steps passed"));
    return failures_ ? 1 : 0;
}

void Host::seedSettings(const Words& w) {
    // The settings item as the add-in stores it: folder "QBXSettings" under
    // the Inbox, post "Quillbox Settings", the libraries joined by CR LF.
    if (started_) qbx::raise(5, L"\"settings\" comes before \"start\": the add-in reads them at start-up");
    need(w, 3);
    emu::Folder* inbox = folderAt(L"Inbox");
    emu::Folder* folder = inbox->folders->find(L"QBXSettings");
    if (!folder) folder = inbox->folders->add(L"QBXSettings", 6);
    emu::Item* it = postIn(folder, L"Quillbox Settings");
    if (!it) {
        it = model().make<emu::Item>(emu::ItemKind::Post, L"IPM.Post", folder);
        it->subject = L"Quillbox Settings";
    }
    std::wstring sites;
    for (size_t i = 3; i < w.size(); ++i) sites += (i > 3 ? L"\r\n" : L"") + w[i];
    auto set = [&](const wchar_t* name, long type, const qbx::Variant& value) {
        emu::UserProperty* p = it->properties->find(name);
        if (!p) p = it->properties->add(name, type);
        p->assign(value);
    };
    set(L"strSites", 1, qbx::Variant(sites));
    set(L"strDefaultSite", 1, qbx::Variant(w[1]));
    set(L"blnAlwaysDefault", 6, qbx::Variant(qbx::textEquals(w[2], L"on") || qbx::textEquals(w[2], L"true")));
    it->save();
    say(L"  settings: " + std::to_wstring(w.size() - 3) + L" librar" + (w.size() == 4 ? L"y" : L"ies") +
        L", default " + (w[1].empty() ? std::wstring(L"none") : quoted(w[1])) + L", always the default: " +
        (qbx::textEquals(w[2], L"on") || qbx::textEquals(w[2], L"true") ? L"yes" : L"no"));
}

void Host::queueChoice(const Words& w) {
    need(w, 1);
    Choice c;
    c.action = qbx::toLower(w[1]);
    if (c.action == L"ok") {
        for (size_t i = 2; i < w.size(); ++i) {
            if (qbx::textEquals(w[i], L"default")) c.flag = true;
            else c.entry = _wtol(w[i].c_str());
        }
    } else if (c.action == L"new") {
        need(w, 2);
        c.url = w[2];
        c.flag = w.size() > 3 && qbx::textEquals(w[3], L"add");
    } else if (c.action != L"cancel") {
        qbx::raise(5, L"choose ok [N] [default] | new URL [add] | cancel");
    }
    choices_.push_back(c);
}

std::wstring Host::ownerOf(HWND window) {
    HWND owner = GetWindow(window, GW_OWNER);
    if (!owner) return L"none";
    if (current_ && current_->hwnd == owner) return L"mail";
    wchar_t name[256] = {};
    GetClassNameW(owner, name, 256);
    return name;
}

void Host::answerChooser(HWND dialog) {
    ++choosers_;
    chooserOwner_ = ownerOf(dialog);
    struct Depth {
        int& depth;
        explicit Depth(int& d) : depth(d) { ++depth; }
        ~Depth() { --depth; }
    } depth(chooserDepth_);
    if (chooserDepth_ > 1) ++nestedChoosers_;
    // The user drops another file on the mail while this chooser is open.
    while (!dropWhileChoosing_.empty() && current_ && current_->open) {
        std::wstring path = dropWhileChoosing_.front();
        dropWhileChoosing_.pop_front();
        say(L"  dropped " + quoted(path.substr(path.find_last_of(L'\\') + 1)) + L" while the chooser is open");
        model().attachFile(current_, path);
    }
    auto text = [&](int id) {
        wchar_t buf[2048] = {};
        GetWindowTextW(GetDlgItem(dialog, id), buf, 2048);
        return std::wstring(buf);
    };
    auto command = [&](int id, WORD code) {
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, code), reinterpret_cast<LPARAM>(GetDlgItem(dialog, id)));
    };
    Choice c;
    if (!choices_.empty()) {
        c = choices_.front();
        choices_.pop_front();
    } else {
        c.action = L"cancel";
    }
    wchar_t caption[256] = {};
    GetWindowTextW(dialog, caption, 256);
    HWND list = GetDlgItem(dialog, IDC_LSTSITES);
    std::wstring entries;
    const LRESULT count = SendMessageW(list, LB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
        wchar_t entry[2048] = {};
        if (SendMessageW(list, LB_GETTEXTLEN, static_cast<WPARAM>(i), 0) < 2048)
            SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(entry));
        entries += L"\n    " + std::to_wstring(i + 1) + L". " + entry +
                   (SendMessageW(list, LB_GETCURSEL, 0, 0) == i ? L" (selected)" : L"");
    }
    say(L"  chooser " + quoted(caption) + L" for " + quoted(text(IDC_TXTFILENAME)) + L", libraries:" + entries);

    int button = IDCANCEL;
    std::wstring shown = L"Cancel";
    if (c.action == L"ok") {
        if (c.entry > 0) {
            SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(c.entry - 1), 0);
            command(IDC_LSTSITES, LBN_SELCHANGE);
        }
        if (c.flag) {
            SendMessageW(GetDlgItem(dialog, IDC_CHKDEFAULT), BM_SETCHECK, BST_CHECKED, 0);
            command(IDC_CHKDEFAULT, BN_CLICKED);
        }
        button = IDOK;
        shown = L"OK" + (c.entry > 0 ? L" on entry " + std::to_wstring(c.entry) : std::wstring()) +
                (c.flag ? L", Default ticked" : L"");
    } else if (c.action == L"new") {
        SendMessageW(GetDlgItem(dialog, IDC_OPTNEW), BM_SETCHECK, BST_CHECKED, 0);
        command(IDC_OPTNEW, BN_CLICKED);
        SetWindowTextW(GetDlgItem(dialog, IDC_TXTNEWSITE), c.url.c_str());
        if (c.flag) {
            SendMessageW(GetDlgItem(dialog, IDC_CHKADD), BM_SETCHECK, BST_CHECKED, 0);
            command(IDC_CHKADD, BN_CLICKED);
        }
        button = IDOK;
        shown = L"OK on the typed library " + quoted(c.url) + (c.flag ? L", Add ticked" : L"");
    }
    say(L"    -> " + shown + (button == IDOK ? L", address " + quoted(text(IDC_LBLRESULT)) : std::wstring()));
    // The dialog's own loop handles the click once it runs.
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(dialog, button)));
}

void Host::summary() {
    emu::Outlook& ol = model();
    say(L"");
    say(L"== Transcript summary ==");
    say(L"Sent mails: " + std::to_wstring(ol.sentMails().size()));
    for (const auto& m : ol.sentMails()) {
        say(L"  " + quoted(m.subject) + L" to " + m.to);
        say(L"    text: | " + indentLines(m.body, L"          | "));
        std::wstring names;
        for (const auto& n : m.attachments) names += (names.empty() ? L"" : L", ") + n;
        say(L"    attachments: " + (names.empty() ? std::wstring(L"none") : names));
    }
    auto windows = ol.openWindows();
    say(L"Open windows: " + std::to_wstring(windows.size()));
    for (emu::Inspector* w : windows) showWindow(w);
    say(L"Prompts shown: " + std::to_wstring(prompts_) + L", Assistant balloons: " + std::to_wstring(ol.balloons().size()) +
        L", library choosers: " + std::to_wstring(choosers_));
    say(L"Attachment.SaveAsFile calls: " + std::to_wstring(ol.saveTargets().size()));
    for (const auto& s : ol.saveTargets())
        say(L"  " + s.target + (s.ok ? L"  (saved)" : L"  (failed: " + s.error + L")"));
    printLibraries();
    say(L"References held on Outlook's objects after shutdown: " + std::to_wstring(afterShutdown_.refs) +
        L", event sinks still advised: " + std::to_wstring(afterShutdown_.sinks));
    for (const auto& h : afterShutdown_.holders) say(L"  " + h);
}

void Host::printLibraries() {
    if (!spemu::configured()) {
        say(L"Libraries: no SharePoint emulator (QBX_SP_URL is not set)");
        return;
    }
    spemu::Json j;
    try {
        j = spemu::documents();
    } catch (...) {
        say(L"Libraries: the SharePoint emulator gave no list");
        return;
    }
    say(L"Libraries (SharePoint emulator at " + env(L"QBX_SP_URL") + L"):");
    for (const spemu::Json& lib : j["libraries"].items) {
        const auto& docs = lib["documents"].items;
        std::wstring line = L"  " + qbx::fromUtf8(lib["url"].s) + L": ";
        if (docs.empty()) line += L"empty";
        for (size_t i = 0; i < docs.size(); ++i)
            line += (i ? L", " : L"") + quoted(qbx::fromUtf8(docs[i]["name"].s)) + L" (" +
                    std::to_wstring(static_cast<long long>(docs[i]["size"].n)) + L" bytes)";
        say(line);
    }
}

}  // namespace qbxhost

// The add-in's prompts come here (see support/prompt.h).
extern "C" __declspec(dllexport) int __stdcall QbxAnswerPrompt(int kind, const wchar_t* text, const wchar_t* title,
                                                               unsigned style, const wchar_t* defaultText,
                                                               wchar_t* answerText, int answerCapacity) {
    std::wstring answer;
    int button = IDCANCEL;
    if (qbxhost::activeHost)
        button = qbxhost::activeHost->answerPrompt(kind, text ? text : L"", title ? title : L"", style,
                                                   defaultText ? defaultText : L"", answer);
    if (answerText && answerCapacity > 0) {
        size_t n = std::min(answer.size(), static_cast<size_t>(answerCapacity - 1));
        wmemcpy(answerText, answer.data(), n);
        answerText[n] = L'\0';
    }
    return button;
}

// The add-in's library chooser comes here once loaded (see attachments/frmChooseSite.h).
extern "C" __declspec(dllexport) void __stdcall QbxChooserOpened(HWND dialog) {
    if (qbxhost::activeHost) {
        qbxhost::activeHost->answerChooser(dialog);
    } else {
        PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    }
}

namespace {

void usage() {
    const char* text =
        "usage: qbxhost.exe [--version N] [--editor word|html|plain|rich] [--assistant auto|present|absent]\n"
        "                   [--mailbox FILE] [--through-dispatch] [--addin PROGID]... [--no-addins]\n"
        "                   [--no-outlook-class] SCENARIO\n";
    DWORD w = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(strlen(text)), &w, nullptr);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    qbxhost::Options options;
    for (int i = 1; i < argc; ++i) {
        std::wstring a = argv[i];
        auto next = [&]() -> std::wstring {
            if (i + 1 >= argc) {
                usage();
                exit(2);
            }
            return argv[++i];
        };
        if (a == L"--version") options.knobs.version = _wtoi(next().c_str());
        else if (a == L"--editor") options.knobs.editor = qbxhost::editorNamed(next());
        else if (a == L"--assistant") {
            std::wstring m = next();
            options.knobs.assistant = m == L"present" ? emu::AssistantMode::Present
                                      : m == L"absent" ? emu::AssistantMode::Absent
                                                       : emu::AssistantMode::Auto;
        } else if (a == L"--mailbox") options.knobs.mailboxFile = qbxhost::windowsPath(next());
        else if (a == L"--through-dispatch") options.knobs.addinThroughDispatch = true;
        else if (a == L"--addin") options.onlyAddins.push_back(next());
        else if (a == L"--no-addins") options.noAddins = true;
        else if (a == L"--no-outlook-class") options.outlookClass = false;
        else if (a.rfind(L"--", 0) == 0) {
            usage();
            return 2;
        } else options.scenario = qbxhost::windowsPath(a);
    }
    if (options.scenario.empty()) {
        usage();
        return 2;
    }
    OleInitialize(nullptr);
    int rc = 2;
    {
        qbxhost::Host host(options);
        try {
            rc = host.run();
        } catch (const qbx::Error& e) {
            host.say(L"error: " + e.description());
            rc = 2;
        }
    }
    CoFreeUnusedLibraries();
    OleUninitialize();
    return rc;
}
