#include "testbed/sharepoint/spemu_client.h"

#include "support/com.h"

#include <cstdlib>
#include <stdexcept>
#include <strings.h>

namespace spemu {

namespace {

// Enough JSON for the emulator's replies: Python writes every non-ASCII
// character as \uXXXX (surrogate pairs beyond the BMP), turned into UTF-8 here.
class Reader {
public:
    explicit Reader(const std::string& t) : t_(t) {}

    Json document() {
        Json v = value();
        blanks();
        if (i_ != t_.size()) bad();
        return v;
    }

private:
    [[noreturn]] void bad() const {
        throw std::runtime_error("the SharePoint emulator's reply is no JSON (at byte " + std::to_string(i_) + ")");
    }
    void blanks() {
        while (i_ < t_.size() && (t_[i_] == ' ' || t_[i_] == '\t' || t_[i_] == '\r' || t_[i_] == '\n')) ++i_;
    }
    bool take(char c) {
        blanks();
        if (i_ < t_.size() && t_[i_] == c) {
            ++i_;
            return true;
        }
        return false;
    }
    void expect(char c) {
        if (!take(c)) bad();
    }
    unsigned hex4() {
        if (i_ + 4 > t_.size()) bad();
        unsigned u = 0;
        for (int k = 0; k < 4; ++k) {
            char c = t_[i_++];
            u = u * 16 + (c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : (bad(), 0));
        }
        return u;
    }
    static void utf8(std::string& out, unsigned cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    std::string text() {
        expect('"');
        std::string out;
        for (;;) {
            if (i_ >= t_.size()) bad();
            char c = t_[i_++];
            if (c == '"') return out;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (i_ >= t_.size()) bad();
            char e = t_[i_++];
            switch (e) {
                case 'n': out += '\n'; break;
                case 'r': out += '\r'; break;
                case 't': out += '\t'; break;
                case 'b': out += '\b'; break;
                case 'f': out += '\f'; break;
                case 'u': {
                    unsigned cp = hex4();
                    if (cp >= 0xD800 && cp < 0xDC00 && t_.compare(i_, 2, "\\u") == 0) {
                        i_ += 2;
                        unsigned low = hex4();
                        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                    }
                    utf8(out, cp);
                    break;
                }
                default: out += e;
            }
        }
    }
    Json value() {
        blanks();
        if (i_ >= t_.size()) bad();
        Json v;
        if (take('{')) {
            if (take('}')) return v;
            do {
                blanks();
                std::string key = text();
                expect(':');
                v.fields[key] = value();
            } while (take(','));
            expect('}');
        } else if (take('[')) {
            if (take(']')) return v;
            do v.items.push_back(value());
            while (take(','));
            expect(']');
        } else if (t_[i_] == '"') {
            v.s = text();
        } else {
            size_t end = t_.find_first_of(",}] \t\r\n", i_);
            if (end == std::string::npos) end = t_.size();
            if (end == i_) bad();
            v.s = t_.substr(i_, end - i_);
            v.n = std::atof(v.s.c_str());
            i_ = end;
        }
        return v;
    }

    const std::string& t_;
    size_t i_ = 0;
};

}  // namespace

const Json& Json::operator[](const std::string& key) const {
    static const Json none;
    auto it = fields.find(key);
    return it == fields.end() ? none : it->second;
}

Json parseJson(const std::string& text) { return Reader(text).document(); }

bool configured() {
    const char* url = std::getenv("QBX_SP_URL");
    return url && *url;
}

std::wstring baseUrl() {
    if (!configured()) throw std::runtime_error("QBX_SP_URL is not set: run the program through tests/with_spemu.sh");
    std::wstring url = qbx::fromUtf8(std::getenv("QBX_SP_URL"));
    return url.back() == L'/' ? url : url + L"/";
}

std::string call(const std::wstring& method, const std::wstring& path, const std::string& body) {
    // The emulator listens on loopback only: nothing of this goes elsewhere.
    const std::wstring url = baseUrl() + path;
    if (url.rfind(L"http://127.0.0.1:", 0) != 0)
        throw std::runtime_error("QBX_SP_URL is not on 127.0.0.1: " + qbx::toUtf8(url));
    qbx::Disp http = qbx::Disp::create(L"WinHttp.WinHttpRequest.5.1");
    http.call(L"Open", method, url, false);
    http.call(L"Send", qbx::fromUtf8(body));
    const long status = http.get(L"Status").toLong();
    if (status != 200)
        throw std::runtime_error(qbx::toUtf8(method + L" " + url) + " answered " + std::to_string(status));
    auto bytes = qbx::bytesOf(http.get(L"ResponseBody"));
    return std::string(bytes.begin(), bytes.end());
}

void reset(const wchar_t* query) { call(L"POST", std::wstring(L"_emu/reset") + query); }

void fault(const std::wstring& query) { call(L"POST", L"_emu/fault?" + query); }

std::vector<Json> requests() { return parseJson(call(L"GET", L"_emu/requests"))["requests"].items; }

Json documents() { return parseJson(call(L"GET", L"_emu/documents")); }

std::string header(const Json& request, const std::string& name) {
    for (const auto& h : request["headers"].items)
        if (h.items.size() == 2 && strcasecmp(h[0].s.c_str(), name.c_str()) == 0) return h[1].s;
    return {};
}

std::string body(const Json& request) {
    static const std::string abc = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned acc = 0;
    int bits = 0;
    for (char c : request["body_b64"].s) {
        if (abc.find(c) == std::string::npos) continue;
        acc = (acc << 6) | static_cast<unsigned>(abc.find(c));
        if ((bits += 6) >= 8) out += static_cast<char>((acc >> (bits -= 8)) & 0xFF);
    }
    return out;
}

}  // namespace spemu
