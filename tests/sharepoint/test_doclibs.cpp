// Document library discovery: the SOAP request as sent, the libraries kept
// from the reply, the address rule, and replies that are broken or hostile.
#include <doctest/doctest.h>

#include "sharepoint/modDocLibs.h"
#include "support/modErroHandling.h"
#include "tests/sharepoint/spemu_client.h"
#include "tests/test_support.h"

#include <vector>

namespace {

// The dictionary's keys in order; checks that every item equals its key.
std::vector<std::wstring> keysOf(const qbx::Disp& dic) {
    REQUIRE(dic);
    std::vector<std::wstring> keys;
    qbx::Variant all = dic.call(L"Keys");
    qbx::SafeArray owned(qbx::Variant::copyOf(all.raw()).detach().parray);
    LONG lo = 0, hi = -1;
    SafeArrayGetLBound(owned.get(), 1, &lo);
    SafeArrayGetUBound(owned.get(), 1, &hi);
    for (LONG i = lo; i <= hi; ++i) {
        VARIANT v;
        VariantInit(&v);
        SafeArrayGetElement(owned.get(), &i, &v);
        keys.push_back(qbx::Variant::attach(v).toString());
        CHECK(dic.get(L"Item", keys.back()).toString() == keys.back());
    }
    return keys;
}

std::string narrowKeys(const std::vector<std::wstring>& keys) {
    std::string s;
    for (const auto& k : keys) s += qbxtest::narrow(k) + "\n";
    return s;
}

}  // namespace

TEST_CASE("discovery: the request to the Lists service, to the byte, and the libraries of the reply") {
    qbxtest::resetAddinState();
    spemu::reset();
    const std::wstring site = spemu::baseUrl() + L"sites/team/";
    auto keys = keysOf(fncGetListsFromSite(site));
    CHECK(narrowKeys(keys) == narrowKeys({site + L"shared documents/", site + L"proposals/"}));
    CHECK(strCurrentAction.find(L"Finding absolute from ") == 0);

    auto log = spemu::requests();
    REQUIRE(log.size() == 1);
    CHECK(log[0]["method"].s == "POST");
    CHECK(log[0]["raw_path"].s == "/sites/team/_vti_bin/lists.asmx");
    CHECK(spemu::header(log[0], "SOAPAction") == "http://schemas.microsoft.com/sharepoint/soap/GetListCollection");
    CHECK(spemu::header(log[0], "Content-Type") == "text/xml");
    CHECK(spemu::body(log[0]) ==
          "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
          "<soap:Envelope xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\r\n"
          " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" \r\n"
          " xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">\r\n"
          "<soap:Body><GetListCollection xmlns=\"http://schemas.microsoft.com/sharepoint/soap/\" />\r\n"
          "</soap:Body>\r\n"
          "</soap:Envelope>");
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("discovery: libraries of a site as the page sees them") {
    qbxtest::resetAddinState();
    spemu::reset();
    spemu::call(L"POST", L"_emu/site",
                R"({"path": "/sites/odd/", "title": "Odd", "lists": [
                   {"title": "Docs", "url": "Docs", "base_type": 1},
                   {"title": "Docs again", "url": "DOCS2", "base_type": 1, "default_view_url": "/sites/odd/DOCS/Forms/All.aspx"},
                   {"title": "Calendar", "base_type": 0},
                   {"title": "No forms", "url": "Plain", "base_type": 1, "default_view_url": "/sites/odd/Plain/AllItems.aspx"},
                   {"title": "No view", "url": "NoView", "base_type": 1, "attrs": {"DefaultViewUrl": ""}},
                   {"title": "Other base", "url": "Pics", "base_type": 4, "default_view_url": "/sites/odd/Pics/Forms/x.aspx"}]})");
    const std::wstring site = spemu::baseUrl() + L"SITES/ODD/";
    auto keys = keysOf(fncGetListsFromSite(site));
    // Two libraries differing in case appear once; a view without "Forms/"
    // gives the site itself; the rest are no document libraries.
    CHECK(narrowKeys(keys) == narrowKeys({qbx::toLower(site) + L"docs/", qbx::toLower(site)}));

    SUBCASE("a site URL without its trailing slash runs into the service name") {
        spemu::reset();
        CHECK(keysOf(fncGetListsFromSite(spemu::baseUrl() + L"sites/team")).empty());
        CHECK(spemu::requests().at(0)["raw_path"].s == "/sites/team_vti_bin/lists.asmx");
    }
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("discovery: broken, empty, hostile and huge replies give a dictionary and no message") {
    qbxtest::resetAddinState();
    spemu::reset();
    const std::wstring site = spemu::baseUrl() + L"sites/team/";
    for (const wchar_t* f : {L"mode=notxml", L"mode=nolists", L"mode=500", L"mode=401", L"mode=reset"}) {
        CAPTURE(qbxtest::narrow(f));
        spemu::reset();
        spemu::fault(f);
        CHECK(keysOf(fncGetListsFromSite(site)).empty());
    }
    spemu::reset();
    CHECK(keysOf(fncGetListsFromSite(L"http://127.0.0.1:1/")).empty());  // nothing listens there

    SUBCASE("external entities are never fetched") {
        const std::string secret = spemu::parseJson(spemu::call(L"GET", L"_emu/info"))["secret"].s;
        REQUIRE_FALSE(secret.empty());
        for (const wchar_t* f : {L"mode=dtd", L"mode=dtd&ref=attr"}) {
            CAPTURE(qbxtest::narrow(f));
            spemu::reset();
            spemu::fault(std::wstring(f) + L"&count=1");
            CHECK(keysOf(fncGetListsFromSite(site)).empty());  // a reply with a DTD is not read
            CHECK(spemu::requests().size() == 1);              // and nothing else was fetched
        }
    }
    SUBCASE("5000 lists") {
        spemu::fault(L"mode=many&n=5000&count=1");
        auto keys = keysOf(fncGetListsFromSite(site));
        CHECK(keys.size() == 1250);
        CHECK(keys.front() == site + L"docs 00000/");
    }
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("a reply document never reads a DTD, wherever it hides") {
    const std::wstring lists = L"<Lists><List BaseType=\"1\"/></Lists>";
    auto listCount = [](const std::wstring& xml) {
        return fncParseReply(xml).getObj(L"getElementsByTagName", L"List").get(L"length").toLong();
    };
    CHECK(listCount(L"<?xml version=\"1.0\"?>\r\n<!-- <!DOCTYPE x> -->" + lists) == 1);
    CHECK(listCount(L"\xFEFF<?xml version=\"1.0\"?><!-- c --> <?pi x?>\n<!DOCTYPE Lists []>" + lists) == 0);
    std::wstring laughs = L"<?xml version=\"1.0\"?><!DOCTYPE Lists [<!ENTITY a \"aaaaaaaaaa\">";
    for (char c = 'b'; c <= 'k'; ++c)
        laughs += L"<!ENTITY " + std::wstring(1, c) + L" \"" +
                  qbx::replaceAll(L"&x;&x;&x;&x;&x;&x;&x;&x;&x;&x;", L"x", std::wstring(1, c - 1)) + L"\">";
    CHECK(listCount(laughs + L"]><Lists><List Title=\"&k;\"/></Lists>") == 0);
    CHECK(listCount(L"<Lists><List>") == 0);  // malformed: an empty document
}

TEST_CASE("fncAbsoluteFromRelative") {
    qbxtest::resetAddinState();
    const std::wstring team = L"http://server/sites/team/";
    CHECK(fncAbsoluteFromRelative(L"/sites/team/Shared Documents/Forms/AllItems.aspx", team) ==
          team + L"SHARED DOCUMENTS/");
    CHECK(fncAbsoluteFromRelative(L"/Shared Documents/Forms/AllItems.aspx", L"http://server/") ==
          L"http://server/SHARED DOCUMENTS/");
    CHECK(fncAbsoluteFromRelative(L"/sites/team/Docs/forms/x.aspx", team) == team + L"DOCS/");
    CHECK(fncAbsoluteFromRelative(L"/sites/team/a/b/Forms/x.aspx", team) == team + L"A/B/");
    CHECK(fncAbsoluteFromRelative(L"/sites/team/Lists/Tasks/AllItems.aspx", team) == team);
    CHECK(fncAbsoluteFromRelative(L"", team) == L"");
    CHECK(strCurrentAction == L"Finding absolute from  in site " + team);
    CHECK_FALSE(blnErrorOccurred);

    SUBCASE("a path that repeats a segment can't be resolved") {
        for (auto [view, siteUrl] : {std::pair{L"/sites/x/Docs/x/Forms/a.aspx", team},
                                     std::pair{L"/Docs/Forms/a.aspx", std::wstring(L"http://server/a/A/")}}) {
            qbxtest::resetAddinState();
            qbxtest::PromptRecorder prompts(IDNO);
            CHECK(fncAbsoluteFromRelative(view, siteUrl) == L"");
            REQUIRE(prompts.prompts().size() == 1);
            CHECK(prompts.prompts()[0].text.find(L"Finding absolute from " + std::wstring(view)) != std::wstring::npos);
        }
    }
    qbxtest::resetAddinState();
}
