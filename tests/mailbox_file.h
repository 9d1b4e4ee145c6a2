// The emulated Outlook over a mailbox kept in a file of its own, so Outlook
// can end and start again over the same mail: what the add-in saved is there
// at the next start. A fixture adds what the add-in does at each start and
// stop; the file is removed with the fixture.
#pragma once

#include "support/modGlobals.h"
#include "testbed/outlook/emulator.h"

#include <memory>
#include <string>

namespace qbxtest {

class MailboxFile {
public:
    explicit MailboxFile(const std::wstring& stem) {
        wchar_t temp[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH + 1, temp);
        static int n = 0;
        file_ = std::wstring(temp) + stem + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++n) +
                L".mbx";
        DeleteFileW(file_.c_str());
    }
    virtual ~MailboxFile() { DeleteFileW(file_.c_str()); }
    MailboxFile(const MailboxFile&) = delete;
    MailboxFile& operator=(const MailboxFile&) = delete;

    // Outlook ends and starts again; the add-in is loaded afresh.
    void restart() {
        stop();
        start();
    }
    std::unique_ptr<emu::Outlook> ol;

protected:
    // Outlook starts over the file as the add-in's Outlook.
    virtual void start() {
        emu::Knobs k;
        k.mailboxFile = file_;
        ol = std::make_unique<emu::Outlook>(k);
        ouaOutlook = ol->application();
    }
    virtual void stop() { ol.reset(); }

private:
    std::wstring file_;
};

}  // namespace qbxtest
