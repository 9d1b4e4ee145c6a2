#include "tests/settings/settings_fixture.h"

#include "host/modGlobals.h"
#include "support/modFileHandling.h"
#include "support/modScriptingDic.h"
#include "tests/test_support.h"

namespace settingstest {

void resetAll() {
    qbx::setCreateHook(nullptr);
    subSetProcessStarter(nullptr);
    subResetScriptingRepairsForTests();
    subResetFileHandlingForTests();
    objPersonalSettings.reset();
    qbxtest::resetAddinState();
}

FailingCreation::FailingCreation() {
    qbx::setCreateHook([this](const wchar_t* progId, IDispatch** out) -> HRESULT {
        ++attempts_[progId];
        auto it = failures_.find(progId);
        if (it != failures_.end() && it->second != 0) {
            if (it->second > 0) --it->second;
            *out = nullptr;
            return REGDB_E_CLASSNOTREG;
        }
        return qbx::createByProgId(progId, out);
    });
}

FailingCreation::~FailingCreation() { qbx::setCreateHook(nullptr); }

StartedProcesses::StartedProcesses() {
    subSetProcessStarter([this](const std::wstring& line) { lines_.push_back(line); });
}

StartedProcesses::~StartedProcesses() { subSetProcessStarter(nullptr); }

}  // namespace settingstest
