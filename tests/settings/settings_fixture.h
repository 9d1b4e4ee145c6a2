// Shared by the settings tests: shared state put back before and after each
// test, component creation that can be made to fail, and a recorder of the
// processes the add-in would start.
#pragma once

#include "support/com.h"

#include <map>
#include <string>
#include <vector>

namespace settingstest {

// Puts back the error handling, the shared Outlook state, the repair flags,
// objFS, the process starter and the creation hook.
void resetAll();

struct Fixture {
    Fixture() { resetAll(); }
    ~Fixture() { resetAll(); }
};

// Makes creation by ProgID fail for the named components: each entry fails
// its next `count` attempts (-1: always); the rest are created normally.
// Counts every attempt per ProgID. Removed on destruction.
class FailingCreation {
public:
    FailingCreation();
    ~FailingCreation();
    void fail(const std::wstring& progId, int count) { failures_[progId] = count; }
    int attempts(const std::wstring& progId) const {
        auto it = attempts_.find(progId);
        return it == attempts_.end() ? 0 : it->second;
    }

private:
    std::map<std::wstring, int> failures_;
    std::map<std::wstring, int> attempts_;
};

// Records the command lines the add-in starts instead of running them.
class StartedProcesses {
public:
    StartedProcesses();
    ~StartedProcesses();
    const std::vector<std::wstring>& lines() const { return lines_; }

private:
    std::vector<std::wstring> lines_;
};

}  // namespace settingstest
