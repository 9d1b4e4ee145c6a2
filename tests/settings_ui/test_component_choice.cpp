// Which spreadsheet component the settings grid comes up on, through a real
// window and its control container, with the test bed's stand-ins for the
// three generations of the Office Web Components (testbed/owc/) and the
// emulated Outlook 2003 as the add-in's Outlook (its Assistant asks the
// question when no component can be made).
#include <doctest/doctest.h>

#include "settings_ui/cListHandler_testing.h"
#include "settings_ui/spreadsheet/sheet_model.h"
#include "support/modErroHandling.h"
#include "support/modShell.h"
#include "support/modShell_testing.h"
#include "testbed/owc/owc_standins.h"
#include "tests/settings_ui/settings_window_util.h"

#include <functional>
#include <utility>
#include <vector>

namespace {

using owcemu::Component;

// Outlook 2003, the stand-ins, a window with its controls and the grid
// about to be added to it. Members go in reverse: the grid lets go of the
// control before the window takes it down, the stand-ins are revoked last.
struct Setting : windowtest::Session {
    explicit Setting(owcemu::Knobs knobs) : standIns(std::move(knobs)) {
        subSetShellExecuteHook([this](const std::wstring& verb, const std::wstring& target) {
            opened.emplace_back(verb, target);
            return true;
        });
        grid.ListName = L"exsList";
        grid.TopPos = 450;
        grid.Height = 3000;
        grid.Width(6000);
    }
    ~Setting() {
        subSetShellExecuteHook({});
        qbxtest::resetAddinState();
    }

    const qbx::sheet::Sheet& sheet() const { return *standIns.created().back().sheet; }

    owcemu::StandIns standIns;
    hosttest::TestForm form;
    cFormControls controls{form.hWnd()};
    std::vector<std::pair<std::wstring, std::wstring>> opened;
    qbxtest::PromptRecorder prompts;
    cListHandler grid;
};

struct Choice {
    const char* what;
    std::function<void(owcemu::Knobs&)> setUp;
    bool noXP;
    Component expected;
    bool newer;
};

const Choice kChoices[] = {
    {"all three present: OWC 10", [](owcemu::Knobs&) {}, false, Component::Owc10, true},
    {"only OWC 11", [](owcemu::Knobs& k) { k.only({Component::Owc11}); }, false, Component::Owc11, true},
    {"OWC 10 registered but broken: OWC 11", [](owcemu::Knobs& k) { k.owc10.brokenFactory = true; }, false,
     Component::Owc11, true},
    {"only the first generation", [](owcemu::Knobs& k) { k.only({Component::FirstGeneration}); }, false,
     Component::FirstGeneration, false},
    {"none of the three: Quillbox's own", [](owcemu::Knobs& k) { k.only({}); }, false, Component::Quillbox, true},
    {"NoXP: the first generation although OWC 10 and 11 are there", [](owcemu::Knobs&) {}, true,
     Component::FirstGeneration, false},
    {"NoXP without the first generation: Quillbox's own, never OWC 10 or 11",
     [](owcemu::Knobs& k) { k.only({Component::Owc10, Component::Owc11}); }, true, Component::Quillbox, true},
    {"OWC 10 demanding a licence comes up through the licence entry",
     [](owcemu::Knobs& k) { k.owc10.demandsLicence = true; }, false, Component::Owc10, true},
    {"the first generation gets no licence entry: one demanding a key is passed over",
     [](owcemu::Knobs& k) {
         k.only({Component::FirstGeneration});
         k.firstGeneration.demandsLicence = true;
     },
     false, Component::Quillbox, true},
};

}  // namespace

TEST_CASE("component creation: the first component that can be made is used and set up without an error") {
    for (const Choice& c : kChoices) {
        INFO(std::string(c.what));
        owcemu::Knobs knobs;
        c.setUp(knobs);
        Setting s(knobs);
        s.grid.NoXP = c.noXP;

        CHECK(s.grid.AddToForm(s.controls));

        REQUIRE(s.standIns.created().size() == 1);
        const auto& made = s.standIns.created()[0];
        CHECK(owcemu::name(made.component) == std::string(owcemu::name(c.expected)));
        // OWC 10 and 11 get a licence entry, so the container creates them
        // with the run-time key they offer; the others are created plainly.
        CHECK(made.throughLicence == (c.expected == Component::Owc10 || c.expected == Component::Owc11));
        CHECK(cListHandlerTesting::NewerComponent(s.grid) == c.newer);
        CHECK(s.controls.Item(L"exsList"));

        // The refusals of the component's stand-in would have failed the
        // set-up into the error report.
        CHECK_FALSE(blnErrorOccurred);
        CHECK(s.prompts.prompts().empty());
        CHECK(s.outlook.balloons().empty());
        CHECK_FALSE(blnShuttingDown);

        // What the set-up left on the sheet, whichever names it took. On the
        // first generation the headings can only have been switched off by
        // DisplayColHeaders/DisplayRowHeaders (the newer names are refused),
        // the header row frozen by Range.FreezePanes, column sizing allowed
        // by AllowSizingAllColumns.
        const qbx::sheet::Sheet& sheet = s.sheet();
        CHECK_FALSE(sheet.settings.displayColumnHeadings);
        CHECK_FALSE(sheet.settings.displayRowHeadings);
        CHECK(sheet.settings.frozenRows == 1);
        CHECK(sheet.protection.enabled);
        CHECK((c.newer ? sheet.protection.allowFormattingColumns : sheet.protection.allowSizingAllColumns));
        CHECK((c.newer ? sheet.protection.allowFormattingRows : sheet.protection.allowSizingAllRows));
        // Workbook tabs and resizing exist on the newer components only.
        CHECK(sheet.settings.displayWorkbookTabs == !c.newer);
        CHECK(sheet.settings.enableResize == !c.newer);

        // The grid's other operations keep to the names its component
        // answers, and write into the component that was made.
        s.grid.SetCheckedColumn(L"B:B");  // Wingdings, centred: HAlignment or HorizontalAlignment
        s.grid.SetValue(L"A2", qbx::Variant(L"http://server/a rather long library address"));
        s.grid.AutoFitCols(L"A:A");  // AutoFitColumns or EntireColumn.AutoFit
        s.grid.SetColumnWidth(L"C1", 12);
        s.grid.RightEdgeColDash(L"C1");
        s.grid.SetInteriorColor(L"D2", RGB(255, 0, 0));
        s.grid.DisplayVerticalScroll(false);
        s.grid.SetVisibleRange(L"A1");
        s.grid.MoveRight();
        s.grid.FreezePanes(L"A2");
        CHECK_FALSE(blnErrorOccurred);
        CHECK(qbx::sheet::displayText(sheet.value(2, 1)) == L"http://server/a rather long library address");
        CHECK(sheet.format(5, 2).align == qbx::sheet::HAlign::Center);
        CHECK(sheet.columnWidth(1) > sheet.columnWidth(5));
        CHECK(sheet.columnWidth(3) == 12);
        CHECK(sheet.settings.frozenRows == 1);

        s.grid.ClearAll();  // on the first generation freezes through Columns.FreezePanes
        CHECK_FALSE(blnErrorOccurred);
        CHECK(s.prompts.prompts().empty());
    }
}

TEST_CASE("component creation: a member failing on the chosen component is reported, no other component is tried") {
    owcemu::Knobs knobs;
    knobs.owc10.policy.fail(L"Protection.AllowSorting", 1004, L"The sheet refused");
    Setting s(knobs);
    s.grid.AddToForm(s.controls);
    CHECK(s.standIns.created().size() == 1);
    CHECK(blnErrorOccurred);
    CHECK(strErrorReport.find(L"The sheet refused") != std::wstring::npos);
    CHECK(strErrorReport.find(L"Setting the default look and protection of the grid") != std::wstring::npos);
    CHECK(s.outlook.balloons().empty());  // not the question about the components
    CHECK(s.opened.empty());
}

TEST_CASE("component creation: with no component at all the Assistant asks about the download") {
    const std::wstring question = L"Unable to start the MS Office Web Components!\r\n"
                                  L"Please download these FREE component from Microsoft Download\r\n"
                                  L"Do you want to go to that website now?";
    struct Answer {
        const char* what;
        long button;
        std::vector<std::pair<std::wstring, std::wstring>> opened;
        std::vector<std::wstring> balloons;
    };
    const Answer answers[] = {
        {"Yes opens the download page", IDYES, {{L"open", cListHandler::kComponentsDownloadPage}}, {question}},
        {"No says Quillbox shuts down", IDNO, {}, {question, L"Quillbox will now shut down!"}},
    };
    for (const Answer& a : answers) {
        INFO(std::string(a.what));
        owcemu::Knobs knobs;
        knobs.only({});
        knobs.quillbox.brokenFactory = true;
        Setting s(knobs);
        s.outlook.setBalloonAnswerer([&a](const emu::Balloon&) { return a.button; });

        CHECK_FALSE(s.grid.AddToForm(s.controls));

        CHECK(s.standIns.created().empty());
        CHECK_FALSE(s.controls.Item(L"exsList"));
        std::vector<std::wstring> shown;
        for (const emu::Balloon& b : s.outlook.balloons()) shown.push_back(b.text);
        CHECK(shown == a.balloons);
        CHECK(s.opened == a.opened);
        CHECK(blnShuttingDown);
        CHECK_FALSE(ouaOutlook);
        CHECK_FALSE(blnErrorOccurred);
        CHECK(s.prompts.prompts().empty());
    }
}
