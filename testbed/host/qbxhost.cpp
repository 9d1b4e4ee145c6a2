// qbxhost.exe: the test bed's Outlook as a program. It loads the add-ins
// registered for Outlook (LoadBehavior 3 under the Outlook "Addins" key of
// HKCU, then HKLM) the way Outlook does, plays a scenario file of user
// actions and prints a transcript: the mail text, the attachments left, the
// prompts shown and the documents in the SharePoint emulator's libraries.
//
// The command line and the scenario commands are tables (commands.cpp);
// a command line it does not understand prints them. The scenario language
// is described in testbed/README.md.
#include "testbed/host/host.h"

#include "attachments/dialogs.h"
#include "support/prompt_testing.h"
#include "testbed/outlook/emu_words.h"
#include "testbed/sharepoint/spemu_client.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>

namespace qbxhost {

namespace {

// Actions of the person or of Outlook that come later, from whatever message
// loop runs then (a dialog's own loop, COM's modal loop).
std::map<UINT_PTR, std::function<void()>>& laterActions() {
    static std::map<UINT_PTR, std::function<void()>> actions;
    return actions;
}

void CALLBACK runLaterNow(HWND, UINT, UINT_PTR id, DWORD) {
    KillTimer(nullptr, id);
    auto found = laterActions().find(id);
    if (found == laterActions().end()) return;
    std::function<void()> action = std::move(found->second);
    laterActions().erase(found);
    action();
}

// Runs the action after that many milliseconds, from the message loop then running.
void runLater(DWORD milliseconds, std::function<void()> action) {
    const UINT_PTR id = SetTimer(nullptr, 0, std::max<DWORD>(milliseconds, USER_TIMER_MINIMUM), &runLaterNow);
    if (id) laterActions()[id] = std::move(action);
}

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

std::wstring quoted(const std::wstring& s) { return L"\"" + s + L"\""; }

std::wstring windowsPath(const std::wstring& path) {
    if (path.empty() || path[0] != L'/') return path;
    return L"Z:" + qbx::replaceAll(path, L"/", L"\\");
}

std::vector<std::wstring> splitLine(const std::wstring& line) { return emu::splitWords(line, env); }

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

void Host::checkCount(long actual, const std::wstring& wanted, const std::wstring& what, const wchar_t* there) {
    check(actual == _wtol(wanted.c_str()),
          what + L": " + wanted + L" (" + there + L" " + std::to_wstring(actual) + L")");
}

int Host::answerPrompt(int kind, const std::wstring& text, const std::wstring& title, unsigned style,
                       const std::wstring& defaultText, std::wstring& answerText) {
    ++prompts_;
    Answer a;
    if (!answers_.empty()) {
        a = answers_.front();
        answers_.pop_front();
    } else if (options_.showPrompts) {
        // The add-in's own window, as it shows it outside the test bed.
        qbx::Prompt p;
        p.kind = kind == 1 ? qbx::PromptKind::Input : qbx::PromptKind::Message;
        p.text = text;
        p.title = title;
        p.style = style;
        p.defaultText = defaultText;
        say(L"  showing the " + std::wstring(kind == 1 ? L"input box" : L"message") + L" " + quoted(title));
        const qbx::PromptAnswer shown = qbx::showPromptWindow(p);
        a.button = shown.button;
        a.text = shown.text;
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
    ol.processEnds();
    emu::Outlook::pumpMessages(0);
    std::wstring calls;
    for (size_t i = before; i < ol.addinCalls().size(); ++i) calls += (calls.empty() ? L"" : L", ") + ol.addinCalls()[i];
    say(L"  shutdown: " + (calls.empty() ? std::wstring(L"no add-in") : calls) +
        (emu::fastShutdownFor(ol.version()) ? L" (fast shutdown: Quit only, then the process ends)" : L""));
    afterShutdown_ = ol.references();
    summary();
}

emu::Inspector* Host::current() {
    if (!current_ || !current_->open) qbx::raise(qbx::vbErrInvalidCall, L"no window is open");
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
    if (w.size() < n + 1) qbx::raise(qbx::vbErrArgCount, L"\"" + w[0] + L"\" needs " + std::to_wstring(n) + L" argument(s)");
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

void Host::opened(emu::Inspector* window) {
    current_ = window;
    say(L"  window opened: " + quoted(current_->caption()));
}

void Host::serverControl(const std::wstring& call, const std::function<void()>& send) {
    if (!spemu::configured()) qbx::raise(qbx::vbErrInvalidCall, L"no SharePoint emulator (QBX_SP_URL is not set)");
    try {
        send();
    } catch (...) {
        qbx::raise(qbx::vbErrInvalidCall, L"the SharePoint emulator refused " + quoted(call));
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
 } else if (c.action != L"cancel" && c.action != L"close" && c.action != L"quit") {
        qbx::raise(qbx::vbErrInvalidCall, L"choose " + std::wstring(findCommand(scenarioCommands(), L"choose")->arguments));
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
    // Outlook saves the mail on its own while the chooser is open.
    for (; autosaveWhileChoosing_ > 0 && current_ && current_->open; --autosaveWhileChoosing_) {
        say(L"  Outlook saves the mail while the chooser is open");
        model().autosave(current_);
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
    } else if (options_.showPrompts) {
        say(L"  library chooser shown, for a person to answer");
        return;
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
    if (c.action == L"close" || c.action == L"quit") {
        // No answer: the window the chooser belongs to goes, or Outlook does.
        emu::Inspector* mail = current_;
        const bool quitting = c.action == L"quit";
        say(L"    -> " + std::wstring(quitting ? L"Outlook quits" : L"the mail window is closed") + L" while it is open" +
            (chooserThink_ ? L", after " + std::to_wstring(chooserThink_) + L" ms" : std::wstring()));
        runLater(chooserThink_, [this, mail, quitting] {
            emu::Outlook& ol = model();
            if (quitting) {
                // Outlook closes its windows, then ends the session.
                for (emu::Inspector* w : ol.openWindows()) ol.close(w, 1);
                ol.shutdown();
            } else if (mail && mail->open) {
                ol.close(mail, 1);
            }
            if (current_ && !current_->open) current_ = nullptr;
        });
        return;
    }
    say(L"    -> " + shown + (button == IDOK ? L", address " + quoted(text(IDC_LBLRESULT)) : std::wstring()) +
        (chooserThink_ ? L", after " + std::to_wstring(chooserThink_) + L" ms" : std::wstring()));
    // The dialog's own loop handles the click once it runs (after the
    // person's thinking time, while the loop delivers timers).
    auto click = [dialog, button] {
        if (IsWindow(dialog))
            PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(dialog, button)));
    };
    if (chooserThink_) runLater(chooserThink_, click);
    else click();
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
    if (emu::fastShutdownFor(ol.version()))
        say(L"References released after Quit returned: " + std::to_wstring(ol.releasesAfterQuit()));
}

bool Host::libraryHolds(const std::wstring& library, const std::wstring& name) {
    try {
        const spemu::Json stored = spemu::documents();
        for (const spemu::Json& lib : stored["libraries"].items)
            if (qbx::textEquals(qbx::withoutTrailingSlash(qbx::fromUtf8(lib["url"].s)), L"/" + qbx::withoutTrailingSlash(library)))
                for (const spemu::Json& doc : lib["documents"].items)
                    if (qbx::fromUtf8(doc["name"].s) == name) return true;
    } catch (...) {
    }
    return false;
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

int wmain(int argc, wchar_t** argv) {
    qbxhost::Options options;
    if (!qbxhost::readCommandLine(argc, argv, options)) {
        std::string text = qbx::toUtf8(qbxhost::Host::help());
        DWORD w = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &w, nullptr);
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
