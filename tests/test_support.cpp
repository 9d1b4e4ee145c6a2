#include "tests/test_support.h"

#include <doctest/doctest.h>

#include "support/modGlobals.h"
#include "support/com.h"
#include "support/modErroHandling.h"

namespace qbxtest {

namespace {
PromptRecorder* active = nullptr;
}

void installPromptGuard() {
    qbx::setPromptHandler([](const qbx::Prompt& p) {
        qbx::PromptAnswer a;
        a.button = (p.style & 0xF) == MB_OK ? IDOK : IDNO;
        if (active) return a;  // not reached: a recorder installs its own handler
        FAIL_CHECK("unexpected prompt: " << narrow(p.text));
        return a;
    });
}

PromptRecorder::PromptRecorder(int defaultButton) : defaultButton_(defaultButton) {
    active = this;
    qbx::setPromptHandler([this](const qbx::Prompt& p) {
        prompts_.push_back(p);
        if (!answers_.empty()) {
            qbx::PromptAnswer a = answers_.front();
            answers_.pop_front();
            return a;
        }
        qbx::PromptAnswer a;
        a.button = defaultButton_;
        return a;
    });
}

PromptRecorder::~PromptRecorder() {
    active = nullptr;
    installPromptGuard();
}

void resetAddinState() {
    ReleaseOutlookObjects();
    strCurrentAction.clear();
    strErrorReport.clear();
    blnErrorOccurred = false;
    blnErrorReported = false;
    blnShuttingDown = false;
}

std::string narrow(const std::wstring& w) { return qbx::toUtf8(w); }

}  // namespace qbxtest
