// The mailbox file, which keeps the mailbox across a restart of the emulated
// Outlook. Text, UTF-8, one statement per line; strings in double quotes, with a
// backslash before a quote, a backslash, and r, n, t for CR, LF and TAB:
//   QBX-MAILBOX 1
//   folder "Personal Folders" 6
//     folder "Inbox" 6 default 6
//       item Post 17 "IPM.Post" received|sent|-
//         subject "Quillbox Settings"
//         to "..."      body "..."
//         property "strSites" 1 text "..."       (also: number 1.5, date 45000.5, yes true, empty)
//       end
//     end
//   end
#include "testbed/outlook/emulator.h"
#include "testbed/outlook/emu_words.h"

#include <algorithm>
#include <sstream>

namespace emu {

using qbx::Variant;

namespace {

std::wstring quote(const std::wstring& s) {
    std::wstring out = L"\"";
    for (wchar_t c : s) {
        switch (c) {
            case L'"': out += L"\\\""; break;
            case L'\\': out += L"\\\\"; break;
            case L'\r': out += L"\\r"; break;
            case L'\n': out += L"\\n"; break;
            case L'\t': out += L"\\t"; break;
            default: out += c;
        }
    }
    return out + L"\"";
}

std::wstring number(double d) {
    wchar_t buf[64];
    swprintf(buf, 64, L"%.17g", d);
    return buf;
}

std::wstring valueText(const Variant& v) {
    switch (v.type()) {
        case VT_EMPTY: return L"empty";
        case VT_BSTR: return L"text " + quote(v.toString());
        case VT_BOOL: return std::wstring(L"yes ") + (v.toBool() ? L"true" : L"false");
        case VT_DATE: return L"date " + number(v.raw().date);
        default: return L"number " + number(v.toDouble());
    }
}

void writeFolder(std::wostringstream& out, Folder* f, int depth) {
    std::wstring pad(static_cast<size_t>(depth) * 2, L' ');
    out << pad << L"folder " << quote(f->name) << L" " << f->type;
    if (f->defaultNumber) out << L" default " << f->defaultNumber;
    out << L"\n";
    for (Item* it : f->contents) {
        out << pad << L"  item " << kindWord(it->kind) << L" " << it->entryId << L" " << quote(it->savedClass) << L" "
            << (it->sent ? L"sent" : it->received ? L"received" : L"-") << L"\n";
        out << pad << L"    subject " << quote(it->savedSubject) << L"\n";
        if (!it->savedTo.empty()) out << pad << L"    to " << quote(it->savedTo) << L"\n";
        if (!it->savedBody.empty()) out << pad << L"    body " << quote(it->savedBody) << L"\n";
        for (const auto& p : it->savedProperties)
            out << pad << L"    property " << quote(p.name) << L" " << p.type << L" " << valueText(p.value) << L"\n";
        out << pad << L"  end\n";
    }
    for (Folder* g : f->folders->list) writeFolder(out, g, depth + 1);
    out << pad << L"end\n";
}

}  // namespace

void Outlook::persist() {
    if (knobs_.mailboxFile.empty() || loading_) return;
    std::wostringstream out;
    out << L"QBX-MAILBOX 1\n";
    for (Folder* f : ns_->stores->list) writeFolder(out, f, 0);
    std::string bytes = qbx::toUtf8(out.str());
    std::wstring tmp = knobs_.mailboxFile + L".tmp";
    HANDLE h = CreateFileW(tmp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return;
    DWORD written = 0;
    WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(h);
    MoveFileExW(tmp.c_str(), knobs_.mailboxFile.c_str(), MOVEFILE_REPLACE_EXISTING);
}

void Outlook::loadMailbox() {
    HANDLE h = CreateFileW(knobs_.mailboxFile.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) qbx::raise(errors::kFileNotFound, L"Cannot open the mailbox file.");
    std::string bytes;
    char buf[65536];
    DWORD got = 0;
    while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got) bytes.append(buf, got);
    CloseHandle(h);
    std::wstring text = qbx::fromUtf8(bytes);
    loading_ = true;
    std::vector<Folder*> stack;
    Item* item = nullptr;
    long maxId = 0;
    auto bad = [&](const std::wstring& line) {
        loading_ = false;
        qbx::raise(errors::kFailed, L"The mailbox file is damaged at: " + line);
    };
    bool headerSeen = false;
    for (const std::wstring& raw : qbx::split(text, L"\n")) {
        std::wstring line = raw;
        if (!line.empty() && line.back() == L'\r') line.pop_back();
        std::vector<std::wstring> w = splitWords(line);
        if (w.empty()) continue;
        if (!headerSeen) {
            if (w[0] != L"QBX-MAILBOX") bad(line);
            headerSeen = true;
            continue;
        }
        if (w[0] == L"folder" && w.size() >= 3 && !item) {
            Folder* parent = stack.empty() ? nullptr : stack.back();
            Folder* f = make<Folder>(parent, w[1], _wtol(w[2].c_str()));
            if (w.size() >= 5 && w[3] == L"default") f->defaultNumber = _wtol(w[4].c_str());
            (parent ? parent->folders->list : ns_->stores->list).push_back(f);
            stack.push_back(f);
        } else if (w[0] == L"item" && w.size() >= 5 && !stack.empty() && !item) {
            item = make<Item>(kindNamed(w[1]), w[3], stack.back());
            item->entryId = _wtol(w[2].c_str());
            maxId = std::max(maxId, item->entryId);
            item->received = w[4] == L"received";
            item->sent = w[4] == L"sent";
        } else if (item && w[0] == L"subject" && w.size() >= 2) {
            item->subject = w[1];
        } else if (item && w[0] == L"to" && w.size() >= 2) {
            item->to = w[1];
        } else if (item && w[0] == L"body" && w.size() >= 2) {
            item->body = w[1];
        } else if (item && w[0] == L"property" && w.size() >= 4) {
            UserProperty* p = make<UserProperty>(*item, w[1], _wtol(w[2].c_str()));
            const std::wstring& kind = w[3];
            if (kind == L"empty") p->value = Variant();
            else if (w.size() < 5) bad(line);
            else if (kind == L"text") p->value = Variant(w[4]);
            else if (kind == L"yes") p->value = Variant(w[4] == L"true");
            else if (kind == L"date") p->value = Variant::date(wcstod(w[4].c_str(), nullptr));
            else if (kind == L"number") p->value = Variant(wcstod(w[4].c_str(), nullptr));
            else bad(line);
            item->properties->list.push_back(p);
        } else if (w[0] == L"end") {
            if (item) {
                item->folder->contents.push_back(item);
                item->stored = true;
                item->savedClass = item->messageClass;
                item->savedSubject = item->subject;
                item->savedBody = item->body;
                item->savedTo = item->to;
                for (UserProperty* p : item->properties->list)
                    item->savedProperties.push_back(PropertyData{p->name, p->type, p->value});
                if (item->sent) item->kill(errors::kDeleted, errors::kDeletedText);
                item = nullptr;
            } else if (!stack.empty()) {
                stack.pop_back();
            } else {
                bad(line);
            }
        } else {
            bad(line);
        }
    }
    loading_ = false;
    if (!headerSeen || !stack.empty() || item) qbx::raise(errors::kFailed, L"The mailbox file is incomplete.");
    entryId_ = std::max(entryId_, maxId);
    if (!defaultFolder(6)) qbx::raise(errors::kFailed, L"The mailbox file has no Inbox.");
}

}  // namespace emu
