#include "sharepoint/modDocLibs.h"
#include "sharepoint/modDocLibs_testing.h"

#include "support/modErroHandling.h"
#include "support/modScriptingDic.h"

#include <string_view>
#include <vector>

namespace {

// The GetListCollection request: "*" stands for a double quote and ";" for a
// line break, both replaced before sending.
const wchar_t* const kListCollectionTemplate =
    L"<?xml version=*1.0* encoding=*utf-8*?>;"
    L"<soap:Envelope xmlns:xsi=*http://www.w3.org/2001/XMLSchema-instance*;"
    L" xmlns:xsd=*http://www.w3.org/2001/XMLSchema* ;"
    L" xmlns:soap=*http://schemas.xmlsoap.org/soap/envelope/*>;"
    L"<soap:Body><GetListCollection xmlns=*http://schemas.microsoft.com/sharepoint/soap/* />;"
    L"</soap:Body>;"
    L"</soap:Envelope>";

const wchar_t* const kGetListCollectionAction = L"http://schemas.microsoft.com/sharepoint/soap/GetListCollection";

// The path segments between the first and the last "/" of a text, in order,
// compared as text. A segment that occurs twice raises the error a keyed
// dictionary raises for a key it already holds.
std::vector<std::wstring> fncSegmentsBetweenSlashes(const std::wstring& strPath) {
    std::vector<std::wstring> parts = qbx::split(strPath, L"/"), segments;
    for (size_t i = 1; i + 1 < parts.size(); ++i) {
        for (const auto& s : segments)
            if (qbx::textEquals(s, parts[i]))
                qbx::raiseVb(qbx::vbErrKeyExists);
        segments.push_back(parts[i]);
    }
    return segments;
}

// True when the text declares a document type: a DOCTYPE in its prolog,
// after an optional byte-order mark, XML declaration, processing
// instructions, comments and blanks.
bool fncHasDocumentType(std::wstring_view strXml) {
    size_t i = 0;
    if (!strXml.empty() && strXml[0] == 0xFEFF) ++i;
    for (;;) {
        while (i < strXml.size() && std::wstring_view(L" \t\r\n").find(strXml[i]) != std::wstring_view::npos) ++i;
        if (strXml.compare(i, 2, L"<?") == 0) {
            i = strXml.find(L"?>", i + 2);
            if (i == std::wstring::npos) return false;
            i += 2;
        } else if (strXml.compare(i, 4, L"<!--") == 0) {
            i = strXml.find(L"-->", i + 4);
            if (i == std::wstring::npos) return false;
            i += 3;
        } else {
            return strXml.compare(i, 9, L"<!DOCTYPE") == 0;
        }
    }
}

// The node after this one, or no object at the end (or on any failure).
qbx::Disp fncNextSibling(qbx::Disp::Member& nextSibling, const qbx::Disp& objNode) {
    qbx::Disp next;
    qbx::Err err;
    err.resume([&] { next = nextSibling.get(objNode).toDisp(); });
    return next;
}

// The reply of a SOAP call as the request object hands it over (a BSTR in a
// Variant). A large reply is millions of characters: it travels from the
// request object to the parser without being copied.
qbx::Variant fncPostSoapReply(const std::wstring& strServiceUrl, const std::wstring& strBody) {
    qbx::Disp objHttp = qbx::Disp::create(L"Microsoft.XMLHTTP");
    objHttp.call(L"Open", L"POST", strServiceUrl, false);
    objHttp.call(L"setRequestHeader", L"SOAPAction", kGetListCollectionAction);
    objHttp.call(L"setRequestHeader", L"Content-Type", L"text/xml");
    objHttp.call(L"send", strBody);
    qbx::Variant varReply = objHttp.get(L"responseText");
    if (varReply.type() != VT_BSTR) varReply = qbx::Variant(varReply.toString());
    return varReply;
}

qbx::Variant fncListCollectionReply(const std::wstring& strServiceUrl) {
    std::wstring strBody = qbx::replaceAll(kListCollectionTemplate, L"*", L"\"");
    strBody = qbx::replaceAll(strBody, L";", L"\r\n");
    return fncPostSoapReply(strServiceUrl, strBody);
}

// A server's reply (a Variant holding a BSTR) as an XML document that fetches
// nothing and reads no document type declaration: external entities and
// schemas are not resolved, and a reply that declares a document type is not
// loaded at all (a DTD has no business in a web service reply; refusing it
// keeps entity tricks of any kind away from the parser on every platform,
// also where the parser accepts the switch that forbids DTDs but ignores it).
qbx::Disp fncLoadReply(qbx::Variant varXml) {
    qbx::Disp objXml = qbx::Disp::create(L"MSXML2.DOMDocument");
    objXml.put(L"async", false);
    objXml.put(L"resolveExternals", false);
    objXml.put(L"validateOnParse", false);
    qbx::Err err;
    err.resume([&] { objXml.call(L"setProperty", L"ProhibitDTD", true); });
    // A nesting deeper than any reply needs is refused rather than recursed into.
    err.resume([&] { objXml.call(L"setProperty", L"MaxElementDepth", 256L); });
    err.clear();
    if (varXml.type() != VT_BSTR) varXml = qbx::Variant(varXml.toString());
    const BSTR bstrXml = varXml.raw().bstrVal;
    if (fncHasDocumentType(std::wstring_view(bstrXml ? bstrXml : L"", SysStringLen(bstrXml)))) return objXml;
    // The text is moved into the call, not copied.
    objXml.call(L"loadXML", std::move(varXml));
    return objXml;
}

}  // namespace

qbx::Disp fncParseReply(const std::wstring& strXml) { return fncLoadReply(qbx::Variant(strXml)); }

std::wstring fncPostSoap(const std::wstring& strServiceUrl, const std::wstring& strBody) {
    return fncPostSoapReply(strServiceUrl, strBody).toString();
}

std::wstring fncGetListCollection(const std::wstring& strServiceUrl) {
    return fncListCollectionReply(strServiceUrl).toString();
}

std::wstring fncAbsoluteFromRelative(const std::wstring& strViewUrl, const std::wstring& strSiteUrl) {
    std::wstring result;
    subSetAction(L"Finding absolute from " + strViewUrl + L" in site " + strSiteUrl);
    qbx::guarded(L"fncAbsoluteFromRelative", [&] {
        if (strViewUrl.empty()) return;
        // Upper-casing keeps every character in its place, so the text before
        // "FORMS/" in the upper-cased copy is the upper-cased text before it.
        std::wstring strLibraryPath = qbx::toUpper(strViewUrl);
        const size_t p = strLibraryPath.find(L"FORMS/");
        strLibraryPath.resize(p == std::wstring::npos ? 0 : p);

        // A path that repeats a segment name can't be resolved (a site
        // /sites/docs/ with a library "Docs" is one): the library is left
        // out quietly, as every failure of the discovery is, not reported.
        std::vector<std::wstring> libSegments, siteSegments;
        qbx::Err err;
        const bool blnResolved = err.resume([&] { libSegments = fncSegmentsBetweenSlashes(strLibraryPath); }) &&
                                 err.resume([&] { siteSegments = fncSegmentsBetweenSlashes(strSiteUrl); });
        err.clear();
        if (!blnResolved) return;
        std::wstring strAbsolute = strSiteUrl;
        for (const auto& segment : libSegments) {
            bool blnInSite = false;
            for (const auto& s : siteSegments) blnInSite = blnInSite || qbx::textEquals(s, segment);
            if (!blnInSite) strAbsolute += segment + L"/";
        }
        result = strAbsolute;
    });
    return result;
}

qbx::Disp fncGetListsFromSite(const std::wstring& strSiteUrl) {
    qbx::Disp dicLists = fncCreateDic();
    subSetAction(L"Trying to find document lists from site " + strSiteUrl);

    // From here on every failing step is skipped and the rest goes on, so a
    // failure leaves the result as it stands.
    qbx::Err err;
    const std::wstring strServiceUrl = strSiteUrl + L"_vti_bin/lists.asmx";
    qbx::Variant varReply;
    qbx::Disp objXml, objLists, objList;
    // The reply of fncGetListCollection, kept as the request object gave it.
    err.resume([&] { varReply = fncListCollectionReply(strServiceUrl); });
    err.resume([&] { objXml = fncLoadReply(std::move(varReply)); });
    err.resume([&] { objLists = objXml.getObj(L"getElementsByTagName", L"Lists").getObj(L"item", 0L); });

    // The children in order, from sibling to sibling (reaching them by index
    // costs time in proportion to the index on some platforms).
    // Thousands of calls on nodes of one kind: each member is looked up once.
    qbx::Disp::Member getAttribute(L"getAttribute"), nextSibling(L"nextSibling");
    qbx::Disp::Member exists(L"Exists"), add(L"Add");
    err.resume([&] { objList = objLists.getObj(L"firstChild"); });
    for (; objList; objList = fncNextSibling(nextSibling, objList)) {
        // A child that isn't an element has no attributes: reading one fails
        // and the child is passed over.
        qbx::Variant varType, varView;
        err.resume([&] { varType = getAttribute.get(objList, L"BaseType"); });
        if (varType.type() != VT_BSTR || varType.toString() != L"1") continue;
        err.resume([&] { varView = getAttribute.get(objList, L"DefaultViewUrl"); });
        if (varView.type() != VT_BSTR) continue;
        const std::wstring strUrl = qbx::toLower(fncAbsoluteFromRelative(varView.toString(), strSiteUrl));
        if (strUrl.empty()) continue;
        err.resume([&] {
            if (!exists.get(dicLists, strUrl).toBool()) add.get(dicLists, strUrl, strUrl);
        });
    }
    err.clear();
    return dicLists;
}
