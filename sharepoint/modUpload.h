// Upload of one local file into a SharePoint document library: a single
// synchronous HTTP PUT of the whole file to the document's final address.
#pragma once

#include <string>

// Sends the file at strLocalPath to strTargetUrl (already entity-converted by
// the caller, not percent-encoded). True when the server's status text is
// exactly "CREATED" or "OK"; false for every other reply (a redirect is not
// followed, so it is one of those), and false through
// the error report for a missing component, an unreadable file or a failed
// connection. No credentials and no headers of its own are passed, so the
// platform signs in as the current user.
bool fncUploadFile(const std::wstring& strLocalPath, const std::wstring& strTargetUrl);
