// Discovery of the document libraries of a SharePoint site through the site's
// Lists web service (SOAP GetListCollection), and the rule that turns a
// library's default view address into the library's absolute URL.
#pragma once

#include "support/com.h"

#include <string>

// Posts strBody to strServiceUrl as the GetListCollection SOAP call and
// returns the reply body. The status is not examined; errors go to the caller.
// Kept on purpose: the discovery posts through the same steps without
// converting the reply to text first.
std::wstring fncPostSoap(const std::wstring& strServiceUrl, const std::wstring& strBody);

// Asks the Lists web service at strServiceUrl for all lists of its site and
// returns the reply body.
std::wstring fncGetListCollection(const std::wstring& strServiceUrl);

// The absolute URL of the library whose default view is strViewUrl, on the
// site strSiteUrl (which ends in "/"): the site URL followed by the upper-cased
// path segments of the view address before "Forms/" that the site URL does not
// already hold, each with a "/". A view address without "Forms/" gives the
// site URL itself; an empty one, or a path that repeats a segment, gives "".
std::wstring fncAbsoluteFromRelative(const std::wstring& strViewUrl, const std::wstring& strSiteUrl);

// The document libraries of the site strSiteUrl (ending in "/"), as a
// dictionary (text comparison) whose keys and items are the libraries'
// absolute URLs in lower case, in the order of the reply. Any failure leaves
// the dictionary as it stands, possibly empty; nothing is shown to the user.
qbx::Disp fncGetListsFromSite(const std::wstring& strSiteUrl);
