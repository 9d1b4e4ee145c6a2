// The reply parser of the library discovery, for tests.
#pragma once

#include "sharepoint/modDocLibs.h"

// A web service reply as an XML document (MSXML2.DOMDocument) that resolved
// nothing outside the text: no external entities, no schemas, and a reply
// that declares a document type is left unloaded (an empty document).
// Malformed XML gives an empty document too; errors creating the document
// go to the caller.
qbx::Disp fncParseReply(const std::wstring& strXml);
