// Fault injection for the spreadsheet's object model, for tests and the test
// bed's stand-ins: members made to fail with a chosen number and text, and
// refused names answered again.
#pragma once

#include "settings_ui/spreadsheet/sheet_objects.h"

namespace qbx::sheet {

struct MemberPolicyTesting {
    // Takes a name ("Member" or "Object.Member") off the refused list.
    static void answer(MemberPolicy& p, const std::wstring& name) { p.refused_.erase(MemberPolicy::key(name)); }
    // The member raises number (with the text, or "Method 'X' of object 'Y'
    // failed" when it is empty) whenever it is called.
    static void fail(MemberPolicy& p, const std::wstring& name, long number = kErrMemberFailed,
                     std::wstring description = {}) {
        p.failing_[MemberPolicy::key(name)] = MemberPolicy::Failure{number, std::move(description)};
    }
    static void stopFailing(MemberPolicy& p, const std::wstring& name) { p.failing_.erase(MemberPolicy::key(name)); }
};

// A policy with those knobs at hand, as the test bed's component knobs hold it.
class FaultyMemberPolicy : public MemberPolicy {
public:
    FaultyMemberPolicy() = default;
    FaultyMemberPolicy(MemberPolicy p) : MemberPolicy(std::move(p)) {}  // NOLINT: converts on purpose
    void answer(const std::wstring& name) { MemberPolicyTesting::answer(*this, name); }
    void fail(const std::wstring& name, long number = kErrMemberFailed, std::wstring description = {}) {
        MemberPolicyTesting::fail(*this, name, number, std::move(description));
    }
    void stopFailing(const std::wstring& name) { MemberPolicyTesting::stopFailing(*this, name); }
};

}  // namespace qbx::sheet
