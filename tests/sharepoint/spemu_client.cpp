#include "tests/sharepoint/spemu_client.h"

#include "support/com.h"

#include <doctest/doctest.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace spemu {

namespace {

struct Parser {
    const std::string& t;
    size_t i = 0;
    void ws() {
        while (i < t.size() && std::isspace(static_cast<unsigned char>(t[i]))) ++i;
    }
    bool eat(const char* word) {
        size_t n = std::char_traits<char>::length(word);
        if (t.compare(i, n, word) != 0) return false;
        i += n;
        return true;
    }
    std::string str() {
        std::string out;
        ++i;  // opening quote
        while (i < t.size() && t[i] != '"') {
            if (t[i] != '\\') {
                out += t[i++];
                continue;
            }
            char e = t[++i];
            ++i;
            if (e == 'u') {
                unsigned cp = std::stoul(t.substr(i, 4), nullptr, 16);
                i += 4;
                if (cp >= 0xD800 && cp < 0xDC00 && t.compare(i, 2, "\\u") == 0) {
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (std::stoul(t.substr(i + 2, 4), nullptr, 16) - 0xDC00);
                    i += 6;
                }
                out += qbx::toUtf8(std::wstring(1, static_cast<wchar_t>(cp)));  // BMP is all the log holds
            } else {
                out += e == 'n' ? '\n' : e == 't' ? '\t' : e == 'r' ? '\r' : e == 'b' ? '\b' : e == 'f' ? '\f' : e;
            }
        }
        ++i;
        return out;
    }
    Json value() {
        ws();
        Json v;
        if (t[i] == '{') {
            v.kind = Json::Object;
            ++i;
            for (ws(); t[i] != '}'; ws()) {
                std::string k = str();
                ws();
                ++i;  // ':'
                v.fields[k] = value();
                ws();
                if (t[i] == ',') ++i;
            }
            ++i;
        } else if (t[i] == '[') {
            v.kind = Json::Array;
            ++i;
            for (ws(); t[i] != ']'; ws()) {
                v.items.push_back(value());
                ws();
                if (t[i] == ',') ++i;
            }
            ++i;
        } else if (t[i] == '"') {
            v.kind = Json::String;
            v.s = str();
        } else if (eat("true") || eat("false")) {
            v.kind = Json::Bool;
            v.b = t[i - 1] == 'e' && t[i - 2] == 'u';
        } else if (eat("null")) {
        } else {
            v.kind = Json::Number;
            size_t used = 0;
            v.n = std::stod(t.substr(i, 40), &used);
            i += used;
        }
        return v;
    }
};

std::string base64Decode(const std::string& in) {
    static const std::string abc = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned acc = 0;
    int bits = 0;
    for (char c : in) {
        size_t v = abc.find(c);
        if (v == std::string::npos) continue;
        acc = (acc << 6) | static_cast<unsigned>(v);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out += static_cast<char>((acc >> bits) & 0xFF);
        }
    }
    return out;
}

std::string lowered(std::string s) {
    for (auto& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

const Json& Json::operator[](const std::string& key) const {
    static const Json none;
    auto it = fields.find(key);
    return it == fields.end() ? none : it->second;
}

Json parseJson(const std::string& text) {
    Parser p{text};
    return p.value();
}

std::wstring baseUrl() {
    const char* url = std::getenv("QBX_SP_URL");
    REQUIRE_MESSAGE(url != nullptr, "QBX_SP_URL is not set: run the tests through tests/with_spemu.sh");
    return qbx::fromUtf8(url);
}

std::string call(const std::wstring& method, const std::wstring& pathAndQuery, const std::string& body) {
    qbx::Disp http = qbx::Disp::create(L"WinHttp.WinHttpRequest.5.1");
    http.call(L"Open", method, baseUrl() + pathAndQuery, false);
    http.call(L"Send", qbx::fromUtf8(body));
    REQUIRE(http.get(L"Status").toLong() == 200);
    return qbx::toUtf8(http.get(L"ResponseText").toString());
}

void reset(bool documents) { call(L"POST", documents ? L"_emu/reset?documents=1" : L"_emu/reset"); }

void fault(const std::wstring& query) { call(L"POST", L"_emu/fault?" + query); }

std::vector<Json> requests() { return parseJson(call(L"GET", L"_emu/requests"))["requests"].items; }

std::string header(const Json& request, const std::string& name) {
    for (const auto& h : request["headers"].items)
        if (lowered(h[0].s) == lowered(name)) return h[1].s;
    return {};
}

std::string body(const Json& request) { return base64Decode(request["body_b64"].s); }

namespace {
const Json* findDocument(const Json& docs, const std::string& libraryUrl, const std::string& name) {
    for (const auto& lib : docs["libraries"].items)
        if (lowered(lib["url"].s) == lowered(libraryUrl) || lowered(lib["url"].s) == lowered(libraryUrl + "/"))
            for (const auto& d : lib["documents"].items)
                if (d["name"].s == name) return &d;
    return nullptr;
}
}  // namespace

bool hasDocument(const std::string& libraryUrl, const std::string& name) {
    Json docs = parseJson(call(L"GET", L"_emu/documents"));
    return findDocument(docs, libraryUrl, name) != nullptr;
}

std::string storedBytes(const std::string& libraryUrl, const std::string& name) {
    Json docs = parseJson(call(L"GET", L"_emu/documents"));
    const Json* d = findDocument(docs, libraryUrl, name);
    REQUIRE_MESSAGE(d != nullptr, "no document " << name << " in " << libraryUrl);
    // The emulator's Unix path, reached through Wine's drive for "/".
    std::wstring path = L"Z:" + qbx::replaceAll(qbx::fromUtf8((*d)["disk_path"].s), L"/", L"\\");
    std::ifstream in(path.c_str(), std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

}  // namespace spemu
