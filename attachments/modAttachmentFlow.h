// Helpers of the attachment flow (cMailInspector): the flow's clock, the
// addresses it builds and the temporary copy of an attachment.
#pragma once

#include <string>

// The current local date and time as an OLE date (days since 30 Dec 1899,
// the time as the fraction), to the millisecond.
double fncFlowNow();

// The upload address on the default library: the library without one trailing
// "/" or "\", "/", the (already converted) file name, and the whole address
// converted once more.
std::wstring fncDefaultTarget(const std::wstring& strLibrary, const std::wstring& strFileNameConverted);

// True for an absolute address: a scheme followed by "://" (http://...) or a
// network path (\\server\share).
bool fncIsAbsoluteAddress(const std::wstring& strAddress);

// The address as the upload sends it: characters outside ASCII written as
// the percent escapes of their UTF-8 bytes, everything else as it stands
// (the entities and "%20" of the conversion included). A request object that
// turned them into the system's code page would send "?" for what the code
// page lacks, and the library would store the file under a name the link in
// the mail does not have.
std::wstring fncUploadAddress(const std::wstring& strTarget);

// Where an attachment is saved before its upload: the temporary folder
// without its trailing separator, "\", the next free file number and the
// converted file name (C:\Temp\1report.pdf). Empty text when the temporary
// folder can't be found (that failure is reported); raises when no file
// number is free.
std::wstring fncTempCopyPath(const std::wstring& strFileNameConverted);

// Deletes a temporary copy; a copy that is missing or can't be deleted is
// left as it is, without a message.
void subRemoveTempCopy(const std::wstring& strPath) noexcept;
