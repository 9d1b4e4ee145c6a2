// The tests' side of the SharePoint emulator (faults, request log, stored
// documents), reached through WinHTTP's request object, not the MSXML
// objects under test.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace spemu {

// A parsed JSON value: text or number, array items, object fields.
struct Json {
    std::string s;
    double n = 0;
    std::vector<Json> items;
    std::map<std::string, Json> fields;
    const Json& operator[](const std::string& key) const;
    const Json& operator[](size_t i) const { return items.at(i); }
};

std::wstring baseUrl();  // QBX_SP_URL, ending in "/"
// Sends a request to the emulator and returns the reply's bytes; the status must be 200.
std::string call(const std::wstring& method, const std::wstring& path, const std::string& body = {});
// Clears the log and all faults (with documents=1 also the stored documents).
void reset(const wchar_t* query = L"");
void fault(const std::wstring& query);  // e.g. fault(L"mode=404&count=1")
std::vector<Json> requests();            // the request log, oldest first
std::string header(const Json& request, const std::string& name);
std::string body(const Json& request);   // a logged body (base64 in the log)

}  // namespace spemu
