// The client side of the SharePoint emulator's control calls (faults, the
// request log, the stored documents), shared by the test programs and the
// host program. It talks through WinHTTP's request object, never through
// the MSXML objects the add-in uses, so a fault in those can't hide itself.
// A missing QBX_SP_URL, a status other than 200 and a reply that is no JSON
// throw std::runtime_error with a readable message (a test framework shows
// it); a failure of the request object itself raises qbx::Error.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace spemu {

// A parsed JSON value. Strings are UTF-8 in `s`; numbers, true, false and
// null keep their literal text in `s` too, numbers their value in `n`.
struct Json {
    std::string s;
    double n = 0;
    std::vector<Json> items;
    std::map<std::string, Json> fields;
    const Json& operator[](const std::string& key) const;  // an empty value when missing
    const Json& operator[](size_t i) const { return items.at(i); }
};

// Reads a JSON text; throws on malformed text.
Json parseJson(const std::string& text);

bool configured();       // whether QBX_SP_URL is set
std::wstring baseUrl();  // QBX_SP_URL, ending in "/"; throws when it is not set
// Sends a request to the emulator (path relative to the base) and returns
// the reply's bytes; any status but 200 throws.
std::string call(const std::wstring& method, const std::wstring& path, const std::string& body = {});
// Clears the log and all faults (with "?documents=1" also the stored documents).
void reset(const wchar_t* query = L"");
void fault(const std::wstring& query);  // e.g. fault(L"mode=404&count=1")
std::vector<Json> requests();            // the request log, oldest first
Json documents();                        // {"libraries": [{"url", "documents": [{"name", "size"}]}]}
std::string header(const Json& request, const std::string& name);
std::string body(const Json& request);   // a logged body (base64 in the log)

}  // namespace spemu
