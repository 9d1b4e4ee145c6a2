// Shared by the settings tests and the scripting components' tests: the
// shared state put back around each test, creation by ProgID that can be made
// to fail, and the processes the add-in would start, recorded instead of run.
#pragma once

#include "support/modGlobals.h"
#include "support/modFileHandling.h"
#include "support/modFileHandling_testing.h"
#include "support/modScriptingDic.h"
#include "support/modScriptingDic_testing.h"
#include "tests/test_support.h"

#include <map>
#include <string>
#include <vector>

namespace settingstest {

using Strings = std::vector<std::wstring>;

inline void resetAll() {
    qbx::setCreateHook(nullptr);
    subSetProcessStarter(nullptr);
    subResetScriptingRepairsForTests();
    subResetFileHandlingForTests();
    objPersonalSettings.reset();
    qbxtest::resetAddinState();
}

struct Fixture {
    Fixture() { resetAll(); }
    ~Fixture() { resetAll(); }

    // The next `count` creations of the ProgID fail (-1: all); every attempt
    // made while a failure is set up is counted.
    void failCreation(const std::wstring& progId, int count) {
        failures[progId] = count;
        qbx::setCreateHook([this](const wchar_t* id, IDispatch** out) -> HRESULT {
            ++attempts[id];
            int& left = failures[id];
            if (left == 0) return qbx::createByProgId(id, out);
            if (left > 0) --left;
            *out = nullptr;
            return REGDB_E_CLASSNOTREG;
        });
    }
    void recordProcesses() {
        subSetProcessStarter([this](const std::wstring& line) { started.push_back(line); });
    }

    std::map<std::wstring, int> failures, attempts;
    Strings started;
};

}  // namespace settingstest
