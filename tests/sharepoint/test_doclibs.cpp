// Document library discovery: the SOAP request as sent, the libraries kept
// from the reply, the address rule, and broken, hostile and huge replies.
#include <doctest/doctest.h>

#include "sharepoint/modDocLibs.h"
#include "sharepoint/modDocLibs_testing.h"
#include "support/modErroHandling.h"
#include "testbed/sharepoint/spemu_client.h"
#include "tests/test_support.h"

#include <algorithm>

namespace {

// The dictionary's keys in order, one a line; every item must equal its key.
std::string keysOf(const qbx::Disp& dic) {
    REQUIRE(dic);
    std::string keys;
    qbx::Variant all = dic.get(L"Keys");
    SAFEARRAY* a = all.raw().parray;
    for (LONG i = 0; a && i < static_cast<LONG>(a->rgsabound[0].cElements); ++i) {
        const std::wstring key = qbx::Variant::copyOf(static_cast<VARIANT*>(a->pvData)[i]).toString();
        CHECK(dic.get(L"Item", key).toString() == key);
        keys += qbxtest::narrow(key) + "\n";
    }
    return keys;
}

}  // namespace

TEST_CASE("discovery: the request to the Lists service, to the byte, and the libraries of the reply") {
    qbxtest::resetAddinState();
    spemu::reset();
    const std::wstring site = spemu::baseUrl() + L"sites/team/";
    CHECK(keysOf(fncGetListsFromSite(site)) ==
          qbxtest::narrow(site + L"shared documents/\n" + site + L"proposals/\n"));
    auto post = spemu::requests().at(0);
    CHECK(post["method"].s == "POST");
    CHECK(post["raw_path"].s == "/sites/team/_vti_bin/lists.asmx");
    CHECK(spemu::header(post, "SOAPAction") == "http://schemas.microsoft.com/sharepoint/soap/GetListCollection");
    CHECK(spemu::header(post, "Content-Type") == "text/xml");
    CHECK(spemu::body(post) ==
          "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
          "<soap:Envelope xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\r\n"
          " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" \r\n"
          " xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">\r\n"
          "<soap:Body><GetListCollection xmlns=\"http://schemas.microsoft.com/sharepoint/soap/\" />\r\n"
          "</soap:Body>\r\n"
          "</soap:Envelope>");

    // A site URL without its trailing "/" runs into the service's name.
    CHECK(keysOf(fncGetListsFromSite(spemu::baseUrl() + L"sites/team")).empty());
    CHECK(spemu::requests().at(1)["raw_path"].s == "/sites/team_vti_bin/lists.asmx");

    // Libraries differing in case appear once; a view without "Forms/" gives
    // the site itself; other lists and lists without a view are left out.
    spemu::call(L"POST", L"_emu/site", R"({"path": "/sites/odd/", "lists": [
        {"title": "Docs", "base_type": 1}, {"title": "Calendar", "base_type": 0},
        {"title": "D2", "base_type": 1, "default_view_url": "/sites/odd/DOCS/Forms/All.aspx"},
        {"title": "Plain", "base_type": 1, "default_view_url": "/sites/odd/Plain/AllItems.aspx"},
        {"title": "NoView", "base_type": 1, "attrs": {"DefaultViewUrl": ""}},
        {"title": "Pics", "base_type": 4, "default_view_url": "/sites/odd/Pics/Forms/x.aspx"}]})");
    const std::wstring odd = spemu::baseUrl() + L"SITES/ODD/";
    CHECK(keysOf(fncGetListsFromSite(odd)) == qbxtest::narrow(qbx::toLower(odd + L"docs/\n" + odd + L"\n")));
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("discovery: broken, hostile and huge replies give a dictionary and no message") {
    qbxtest::resetAddinState();
    const std::wstring site = spemu::baseUrl() + L"sites/team/";
    for (const wchar_t* f : {L"mode=notxml", L"mode=nolists", L"mode=500", L"mode=401", L"mode=reset",
                             L"mode=dtd", L"mode=dtd&ref=attr"}) {
        CAPTURE(qbxtest::narrow(f));
        spemu::reset();
        spemu::fault(f);
        CHECK(keysOf(fncGetListsFromSite(site)).empty());  // a reply with a DTD is not read at all
        for (const auto& r : spemu::requests()) CHECK(r["raw_path"].s == "/sites/team/_vti_bin/lists.asmx");
    }
    CHECK(keysOf(fncGetListsFromSite(L"http://127.0.0.1:1/")).empty());  // nothing listens there
    for (int code : {301, 302, 303, 307, 308}) {  // to a sign-in page that answers "200 OK" with a form
        CAPTURE(code);
        spemu::reset();
        spemu::fault(L"mode=redirect&code=" + std::to_wstring(code));
        CHECK(keysOf(fncGetListsFromSite(site)).empty());
    }

    spemu::reset();
    spemu::fault(L"mode=many&n=5000");
    const std::string keys = keysOf(fncGetListsFromSite(site));
    CHECK(std::count(keys.begin(), keys.end(), '\n') == 1250);
    CHECK(keys.find(qbxtest::narrow(site + L"docs 00000/\n" + site + L"docs 00004/\n")) == 0);
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("a reply document never reads a DTD, wherever it hides") {
    auto lists = [](const std::wstring& xml) {
        return fncParseReply(xml).getObj(L"getElementsByTagName", L"List").get(L"length").toLong();
    };
    const std::wstring body = L"<Lists><List BaseType=\"1\"/></Lists>";
    CHECK(lists(L"<?xml version=\"1.0\"?>\r\n<!-- <!DOCTYPE x> -->" + body) == 1);
    CHECK(lists(L"\xFEFF<?xml version=\"1.0\"?><!-- c --> <?pi x?>\n<!DOCTYPE Lists []>" + body) == 0);
    std::wstring laughs = L"<!DOCTYPE Lists [<!ENTITY a \"aaaaaaaaaa\">";
    for (wchar_t c = L'b'; c <= L'k'; ++c)
        laughs += L"<!ENTITY " + std::wstring(1, c) + L" \"" + qbx::replaceAll(L"&x;&x;&x;&x;&x;&x;&x;&x;", L"x",
                                                                               std::wstring(1, c - 1)) + L"\">";
    CHECK(lists(laughs + L"]><Lists><List Title=\"&k;\"/></Lists>") == 0);
    CHECK(lists(L"<Lists><List>") == 0);  // malformed: an empty document
}

TEST_CASE("fncAbsoluteFromRelative") {
    qbxtest::resetAddinState();
    const std::wstring team = L"http://server/sites/team/";
    CHECK(fncAbsoluteFromRelative(L"/sites/team/Shared Documents/Forms/AllItems.aspx", team) ==
          team + L"SHARED DOCUMENTS/");
    CHECK(fncAbsoluteFromRelative(L"/Shared Documents/Forms/AllItems.aspx", L"http://server/") ==
          L"http://server/SHARED DOCUMENTS/");
    CHECK(fncAbsoluteFromRelative(L"/sites/team/a/b/forms/x.aspx", team) == team + L"A/B/");
    CHECK(fncAbsoluteFromRelative(L"/sites/team/Lists/Tasks/AllItems.aspx", team) == team);
    CHECK(fncAbsoluteFromRelative(L"", team) == L"");
    CHECK(strCurrentAction == L"Finding absolute from  in site " + team);
    CHECK_FALSE(blnErrorOccurred);
    // A path that repeats a segment can't be resolved: "" and no report, as
    // for every failure of the discovery.
    qbxtest::PromptRecorder prompts(IDNO);
    for (auto [view, site] : {std::pair{L"/sites/x/Docs/x/Forms/a.aspx", team},
                              std::pair{L"/Docs/Forms/a.aspx", std::wstring(L"http://server/a/A/")}}) {
        CHECK(fncAbsoluteFromRelative(view, site) == L"");
    }
    // An everyday site: /sites/docs/ with its library "Docs" is left out of
    // the discovery without a word, the other library is found.
    spemu::reset();
    spemu::call(L"POST", L"_emu/site", R"({"path": "/sites/docs/", "lists": [
        {"title": "Docs", "base_type": 1}, {"title": "Reports", "base_type": 1}]})");
    const std::wstring docs = spemu::baseUrl() + L"sites/docs/";
    CHECK(keysOf(fncGetListsFromSite(docs)) == qbxtest::narrow(qbx::toLower(docs + L"reports/\n")));
    CHECK(prompts.prompts().empty());
    CHECK_FALSE(blnErrorOccurred);
}
