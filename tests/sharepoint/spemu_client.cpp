#include "tests/sharepoint/spemu_client.h"

#include "support/com.h"

#include <doctest/doctest.h>

#include <cstdlib>
#include <strings.h>

namespace spemu {

namespace {

// Just enough JSON for the emulator's replies (its text escapes are ASCII).
Json parse(const std::string& t, size_t& i) {
    auto ws = [&] { i = t.find_first_not_of(" \t\r\n,:", i); };
    auto text = [&] {
        std::string out;
        for (++i; t[i] != '"'; ++i) {
            if (t[i] != '\\') { out += t[i]; continue; }
            char e = t[++i];
            if (e == 'u') out += static_cast<char>(std::stoi(t.substr(i + 1, 4), nullptr, 16)), i += 4;
            else out += e == 'n' ? '\n' : e == 'r' ? '\r' : e == 't' ? '\t' : e;
        }
        ++i;
        return out;
    };
    Json v;
    ws();
    if (t[i] == '{' || t[i] == '[') {
        const char close = t[i] == '{' ? '}' : ']';
        for (++i, ws(); t[i] != close; ws()) {
            if (close == '}') {
                std::string key = text();
                v.fields[key] = parse(t, i);
            } else {
                v.items.push_back(parse(t, i));
            }
        }
        ++i;
    } else if (t[i] == '"') {
        v.s = text();
    } else {
        size_t end = t.find_first_of(",}] \r\n", i);
        v.s = t.substr(i, end - i);
        v.n = std::atof(v.s.c_str());
        i = end;
    }
    return v;
}

}  // namespace

const Json& Json::operator[](const std::string& key) const {
    static const Json none;
    auto it = fields.find(key);
    return it == fields.end() ? none : it->second;
}

std::wstring baseUrl() {
    const char* url = std::getenv("QBX_SP_URL");
    REQUIRE_MESSAGE(url, "QBX_SP_URL is not set: run the tests through tests/with_spemu.sh");
    return qbx::fromUtf8(url);
}

std::string call(const std::wstring& method, const std::wstring& path, const std::string& body) {
    qbx::Disp http = qbx::Disp::create(L"WinHttp.WinHttpRequest.5.1");
    http.call(L"Open", method, baseUrl() + path, false);
    http.call(L"Send", qbx::fromUtf8(body));
    REQUIRE(http.get(L"Status").toLong() == 200);
    auto bytes = qbx::bytesOf(http.get(L"ResponseBody"));
    return std::string(bytes.begin(), bytes.end());
}

void reset(const wchar_t* query) { call(L"POST", std::wstring(L"_emu/reset") + query); }

void fault(const std::wstring& query) { call(L"POST", L"_emu/fault?" + query); }

std::vector<Json> requests() {
    size_t i = 0;
    return parse(call(L"GET", L"_emu/requests"), i)["requests"].items;
}

std::string header(const Json& request, const std::string& name) {
    for (const auto& h : request["headers"].items)
        if (strcasecmp(h[0].s.c_str(), name.c_str()) == 0) return h[1].s;
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
