#include "sharepoint/modDocLibs.h"

#include "support/modErroHandling.h"
#include "support/modScriptingDic.h"

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
std::vector<std::wstring> segmentsBetweenSlashes(const std::wstring& strPath) {
    std::vector<std::wstring> parts = qbx::split(strPath, L"/"), segments;
    for (size_t i = 1; i + 1 < parts.size(); ++i) {
        for (const auto& s : segments)
            if (qbx::textEquals(s, parts[i]))
                qbx::raise(qbx::vbErrKeyExists, L"This key is already associated with an element of this collection");
        segments.push_back(parts[i]);
    }
    return segments;
}

// True when the text declares a document type: a DOCTYPE in its prolog,
// after an optional byte-order mark, XML declaration, processing
// instructions, comments and blanks.
bool fncHasDocumentType(const std::wstring& strXml) {
    size_t i = 0;
    if (!strXml.empty() && strXml[0] == 0xFEFF) ++i;
    for (;;) {
        while (i < strXml.size() && (strXml[i] == L' ' || strXml[i] == L'\t' || strXml[i] == L'\r' || strXml[i] == L'\n')) ++i;
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

}  // namespace

// A server's reply as an XML document that fetches nothing and reads no
// document type declaration: external entities and schemas are not resolved,
// and a reply that declares a document type is not loaded at all (a DTD has
// no business in a web service reply; refusing it keeps entity tricks of any
// kind away from the parser on every platform, also where the parser accepts
// the switch that forbids DTDs but ignores it).
qbx::Disp fncParseReply(const std::wstring& strXml) {
    qbx::Disp objXml = qbx::Disp::create(L"MSXML2.DOMDocument");
    objXml.put(L"async", false);
    objXml.put(L"resolveExternals", false);
    objXml.put(L"validateOnParse", false);
    qbx::Err err;
    err.resume([&] { objXml.call(L"setProperty", L"ProhibitDTD", true); });
    err.clear();
    if (!fncHasDocumentType(strXml)) objXml.call(L"loadXML", strXml);
    return objXml;
}


std::wstring fncPostSoap(const std::wstring& strServiceUrl, const std::wstring& strBody) {
    qbx::Disp objHttp = qbx::Disp::create(L"Microsoft.XMLHTTP");
    objHttp.call(L"Open", L"POST", strServiceUrl, false);
    objHttp.call(L"setRequestHeader", L"SOAPAction", kGetListCollectionAction);
    objHttp.call(L"setRequestHeader", L"Content-Type", L"text/xml");
    objHttp.call(L"send", strBody);
    return objHttp.get(L"responseText").toString();
}

std::wstring fncGetListCollection(const std::wstring& strServiceUrl) {
    std::wstring strBody = qbx::replaceAll(kListCollectionTemplate, L"*", L"\"");
    strBody = qbx::replaceAll(strBody, L";", L"\r\n");
    return fncPostSoap(strServiceUrl, strBody);
}

std::wstring fncAbsoluteFromRelative(const std::wstring& strViewUrl, const std::wstring& strSiteUrl) {
    std::wstring result;
    subSetAction(L"Finding absolute from " + strViewUrl + L" in site " + strSiteUrl);
    qbx::guarded(L"fncAbsoluteFromRelative", [&] {
        if (strViewUrl.empty()) return;
        // Upper-casing keeps every character in its place, so the position
        // found in the upper-cased copy is the position in the original.
        std::wstring strLibraryPath;
        const size_t p = qbx::toUpper(strViewUrl).find(L"FORMS/");
        if (p != std::wstring::npos) strLibraryPath = qbx::toUpper(strViewUrl.substr(0, p));

        const std::vector<std::wstring> libSegments = segmentsBetweenSlashes(strLibraryPath);
        const std::vector<std::wstring> siteSegments = segmentsBetweenSlashes(strSiteUrl);
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
    std::wstring strReply;
    qbx::Disp objXml, objLists, objChildren;
    long lngCount = 0;
    err.resume([&] { strReply = fncGetListCollection(strServiceUrl); });
    err.resume([&] { objXml = fncParseReply(strReply); });
    strReply.clear();
    err.resume([&] { objLists = objXml.getObj(L"getElementsByTagName", L"Lists").getObj(L"item", 0L); });
    err.resume([&] { objChildren = objLists.getObj(L"childNodes"); });
    err.resume([&] { lngCount = objChildren.get(L"length").toLong(); });

    for (long i = 0; i < lngCount; ++i) {
        qbx::Disp objList;
        qbx::Variant varType, varView;
        if (!err.resume([&] { objList = objChildren.getObj(L"item", i); })) continue;
        // Only elements carry attributes; text between them is passed over.
        long lngNodeType = 0;
        err.resume([&] { lngNodeType = objList.get(L"nodeType").toLong(); });
        if (lngNodeType != 1) continue;
        err.resume([&] { varType = objList.get(L"getAttribute", L"BaseType"); });
        if (varType.type() != VT_BSTR || varType.toString() != L"1") continue;
        err.resume([&] { varView = objList.get(L"getAttribute", L"DefaultViewUrl"); });
        if (varView.type() != VT_BSTR) continue;
        const std::wstring strUrl = qbx::toLower(fncAbsoluteFromRelative(varView.toString(), strSiteUrl));
        if (strUrl.empty()) continue;
        err.resume([&] {
            if (!dicLists.get(L"Exists", strUrl).toBool()) dicLists.call(L"Add", strUrl, strUrl);
        });
    }
    err.clear();
    return dicLists;
}
