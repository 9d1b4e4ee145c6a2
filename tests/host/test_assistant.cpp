// The assistant messages and the list separator routine.
#include <doctest/doctest.h>

#include "host/modGlobals.h"
#include "support/dispatch_object.h"
#include "support/modAssistant.h"
#include "support/modErroHandling.h"
#include "support/modShell.h"
#include "tests/test_support.h"

#include <string>
#include <vector>

using qbx::Args;
using qbx::Variant;

namespace {

// An Assistant that records what it is told and answers DoAlert with a
// chosen button.
class RecordingAssistant final : public qbx::DispatchObject {
public:
    RecordingAssistant() : DispatchObject(L"Assistant") {
        property(L"Visible", [this](Args&) { return Variant(visible); },
                 [this](Args&, const Variant& v) { visible = v.toBool(); log.push_back(L"Visible"); });
        property(L"Animation", [this](Args&) { return Variant(animation); },
                 [this](Args&, const Variant& v) { animation = v.toLong(); log.push_back(L"Animation"); });
        method(L"DoAlert", [this](Args& a) {
            log.push_back(L"DoAlert");
            alertArgs.clear();
            for (size_t i = 0; i < a.count(); ++i) alertArgs.push_back(a.value(i));
            return Variant(answer);
        });
    }
    bool visible = false;
    long animation = 0;
    long answer = 1;
    std::vector<Variant> alertArgs;
    std::vector<std::wstring> log;
};

class WindowStub final : public qbx::DispatchObject {
public:
    WindowStub() : DispatchObject(L"Explorer") {
        property(L"Caption", [this](Args&) { ++captionReads; return Variant(L"Inbox - Quillbox test"); });
    }
    int captionReads = 0;
};

// An application with (or without) an Assistant.
class AssistantApplication final : public qbx::DispatchObject {
public:
    explicit AssistantApplication(bool withAssistant) : DispatchObject(L"_Application") {
        if (withAssistant)
            property(L"Assistant", [this](Args&) { return Variant(static_cast<IDispatch*>(assistant.get())); });
        property(L"ActiveWindow", [this](Args&) { return Variant(static_cast<IDispatch*>(window.get())); });
    }
    qbx::ComPtr<RecordingAssistant> assistant = qbx::makeObject<RecordingAssistant>();
    qbx::ComPtr<WindowStub> window = qbx::makeObject<WindowStub>();
};

qbx::Disp dispOf(IDispatch* d) { return qbx::Disp(d); }

void checkAlertArgs(const std::vector<Variant>& a, const std::wstring& text, long buttons, long icon) {
    REQUIRE(a.size() == 7);
    CHECK(a[0].toString() == L"Quillbox");
    CHECK(a[1].toString() == text);
    CHECK(a[2].toLong() == buttons);
    CHECK(a[3].toLong() == icon);
    CHECK(a[4].toLong() == 0);   // the first button is the default
    CHECK(a[5].toLong() == -1);  // default cancel behaviour
    CHECK(a[6].type() == VT_BOOL);
    CHECK(a[6].toBool() == false);
}

}  // namespace

TEST_CASE("assistant: an alert without an application is a plain information box and nothing more") {
    qbxtest::resetAddinState();
    subSetAction(L"before");
    qbxtest::PromptRecorder prompts(IDOK);
    fncAssistantAlert(qbx::Disp(), L"Something to say");
    REQUIRE(prompts.prompts().size() == 1);
    const qbx::Prompt& p = prompts.prompts()[0];
    CHECK(p.text == L"Something to say");
    CHECK(p.title == L"Quillbox");
    CHECK(p.style == (MB_OK | MB_ICONINFORMATION));
    CHECK(fncGetAction() == L"before");
    CHECK_FALSE(blnShuttingDown);
}

TEST_CASE("assistant: the alert, the question and the working animation go to the Assistant") {
    qbxtest::resetAddinState();
    auto app = qbx::makeObject<AssistantApplication>(true);
    RecordingAssistant& assistant = *app->assistant.get();
    qbxtest::PromptRecorder prompts;  // none may appear

    SUBCASE("alert: one OK button, critical icon") {
        fncAssistantAlert(dispOf(app.get()), L"Failed\r\nreally");
        CHECK(assistant.log == std::vector<std::wstring>{L"Visible", L"DoAlert"});
        CHECK(assistant.visible);
        checkAlertArgs(assistant.alertArgs, L"Failed\r\nreally", 0, 4);
        CHECK(fncGetAction() == L"Creating Assistant to display message Failed\r\nreally");
        CHECK(app->window->captionReads == 1);  // Outlook's window is brought forward first
    }
    SUBCASE("question: Yes and No, question icon, the answer handed back") {
        assistant.answer = 6;
        CHECK(fncAssistantAsk(dispOf(app.get()), L"Replace it?") == 6);
        assistant.answer = 7;
        CHECK(fncAssistantAsk(dispOf(app.get()), L"Replace it?") == 7);
        checkAlertArgs(assistant.alertArgs, L"Replace it?", 4, 2);
        CHECK(fncGetAction() == L"Creating Assistant to display message Replace it?");
    }
    SUBCASE("working: visible, animation 25") {
        subAssistantWorking(dispOf(app.get()));
        CHECK(assistant.log == std::vector<std::wstring>{L"Visible", L"Animation"});
        CHECK(assistant.animation == 25);
        CHECK(fncGetAction() == L"Showing that the Assistant is working");
    }
    CHECK(prompts.prompts().empty());
    CHECK_FALSE(blnShuttingDown);
}

TEST_CASE("assistant: an application without an Assistant fails into the error report") {
    qbxtest::resetAddinState();
    auto app = qbx::makeObject<AssistantApplication>(false);
    qbxtest::PromptRecorder prompts(IDNO);
    fncAssistantAlert(dispOf(app.get()), L"Hello");
    REQUIRE(prompts.prompts().size() == 1);
    CHECK(prompts.prompts()[0].text.find(L"Creating Assistant to display message Hello") != std::wstring::npos);
    CHECK(prompts.prompts()[0].text.find(L"fncAssistantAlert") != std::wstring::npos);
    CHECK(blnShuttingDown);  // the error stops the add-in
    qbxtest::resetAddinState();
}

TEST_CASE("list separator: read from the user's regional settings") {
    qbxtest::resetAddinState();
    wchar_t saved[16] = {};
    REQUIRE(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, saved, 16) > 0);
    CHECK(fncGetListSeparator() == saved);
    CHECK(fncGetAction() == L"Getting List separator from computer settings!");
    // A user who changed the separator gets the new one.
    if (SetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, L";;")) {
        CHECK(fncGetListSeparator() == L";;");
        SetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, saved);
        CHECK(fncGetListSeparator() == saved);
    } else {
        MESSAGE("the regional settings can't be changed here; only the current separator was checked");
    }
}
