// The tests' side of the SharePoint emulator's control API (/_emu/): faults,
// the request log and the stored documents. Requests go through WinHTTP's
// request object, not through the MSXML objects under test.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace spemu {

// A parsed JSON value (just enough JSON for the emulator's replies).
struct Json {
    enum Kind { Null, Bool, Number, String, Array, Object } kind = Null;
    bool b = false;
    double n = 0;
    std::string s;
    std::vector<Json> items;
    std::map<std::string, Json> fields;

    const Json& operator[](const std::string& key) const;
    const Json& operator[](size_t i) const { return items.at(i); }
    size_t size() const { return kind == Array ? items.size() : fields.size(); }
    bool has(const std::string& key) const { return fields.count(key) != 0; }
};
Json parseJson(const std::string& text);

// The emulator's base URL (QBX_SP_URL), ending in "/".
std::wstring baseUrl();
// Sends a control request and returns the reply body as UTF-8.
std::string call(const std::wstring& method, const std::wstring& pathAndQuery, const std::string& body = {});
// Clears faults and the request log (and the stored documents with documents).
void reset(bool documents = false);
// Adds a fault, e.g. fault(L"mode=404&count=1").
void fault(const std::wstring& query);
// The logged requests, oldest first.
std::vector<Json> requests();
// The value of a request's header (the first of that name, any case), or "".
std::string header(const Json& request, const std::string& name);
// A logged body, when the log kept it.
std::string body(const Json& request);
// The stored bytes of a document of a library ("/sites/team/Proposals").
std::string storedBytes(const std::string& libraryUrl, const std::string& name);
// Whether the emulator holds a document of that name in that library.
bool hasDocument(const std::string& libraryUrl, const std::string& name);

}  // namespace spemu
