// The settings window's page list and what a tab switch does to the grid:
// advanced pages, a page without the grid, a caption given twice, the clear
// of the grid's data rows (and a grid that is gone), the display timer's
// delay, edit mode, and the wrapper's action trail before its reads.
#include <doctest/doctest.h>

#include "settings_ui/cTabs.h"
#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "support/prompt_testing.h"
#include "tests/settings_ui/settings_window_util.h"

#include <filesystem>
#include <fstream>
#include <iterator>

using windowtest::Window;

namespace {

// A page without the grid: an empty child window that saves nothing.
class PlainPage final : public qbx::DispatchObject {
public:
    PlainPage() : DispatchObject(L"uscPlain") {
        method(L"subSaveSettings", [](qbx::Args&) { return qbx::Variant(); });
    }
};

// The window gets a plain page and an advanced one after the libraries.
struct MorePages {
    MorePages() {
        static const bool registered = [] {
            cFormControls::RegisterPage(L"Quillbox.uscPlain", [](HWND form) {
                cFormControls::Page page;
                page.object = qbx::Disp(static_cast<IDispatch*>(qbx::makeObject<PlainPage>().get()));
                page.window = CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 100, 100, form, nullptr, nullptr, nullptr);
                return page;
            });
            return true;
        }();
        (void)registered;
        subSetSettingsPagesHook([](cTabs& tabs) {
            tabs.AddTab(L"uscPlain", L"Plain", false, false, false, {}, false);
            tabs.AddTab(L"uscPlain", L"Expert", false, true, false, {}, false);
        });
    }
    ~MorePages() { subSetSettingsPagesHook({}); }
};

}  // namespace

TEST_CASE("the page list: advanced pages only in advanced mode, a page without the grid hides it for good, a "
          "grid page shows it 100 ms later, a caption given twice is refused") {
    subSetPhrases(fncGetLanguageColumn());
    MorePages pages;
    Window w;
    w.settle();
    HWND strip = w.control(IDC_TBSSETTINGS);
    CHECK(TabCtrl_GetItemCount(strip) == 2);  // the libraries and Plain; Expert waits for advanced mode

    TabCtrl_SetCurSel(strip, 1);
    w.clickTab();
    Sleep(200);
    hosttest::pump();
    CHECK_FALSE(Window::shown(w.gridHost()));

    const DWORD switched = GetTickCount();
    TabCtrl_SetCurSel(strip, 0);
    w.clickTab();
    w.settle();
    CHECK(GetTickCount() - switched >= 100 - 16);  // less the tick count's granularity

    CheckDlgButton(w.hWnd(), IDC_CHKADVANCED, BST_CHECKED);
    Window::command(w.hWnd(), IDC_CHKADVANCED, BN_CLICKED);
    CHECK(TabCtrl_GetItemCount(strip) == 3);
    CHECK_FALSE(blnErrorOccurred);

    cTabs tabs;  // a caption given twice: the dictionary's duplicate-key error
    tabs.AddTab(L"uscPlain", L"Plain", false, false, false, {}, false);
    CHECK(qbxtest::errorOf([&] { tabs.AddTab(L"uscPlain", L"Plain", true, false, false, {}, false); }) == 457);
}

TEST_CASE("the grid's writes: edit mode switches screen updating and protection off and on again, the range "
          "reads say what they do before they read, a tab switch clears every data row of columns A to E and "
          "nothing else; with the grid gone the add-in is released without a report of its own") {
    subSetPhrases(fncGetLanguageColumn());
    Window w({.sites = L"http://a/lib/"});
    w.settle();
    qbx::Disp spreadsheet = objListHandler->objSpreadsheet;
    qbx::Disp protection = w.sheet().getObj(L"Protection");
    for (const bool on : {true, false}) {
        objListHandler->EditMode(on);
        CHECK(spreadsheet.get(L"ScreenUpdating").toBool() == !on);
        CHECK(protection.get(L"Enabled").toBool() == !on);
    }

    const std::wstring log = fncAddinFolder() + L"\\BrantholmLog.txt";
    for (const std::string read : {"fncGetRangeArray", "fncGetRangeDic"}) {
        CAPTURE(read);
        DeleteFileW(log.c_str());
        blnDebugLog = true;
        if (read == "fncGetRangeArray")
            objListHandler->fncGetRangeArray(L"F1", L"A");
        else
            objListHandler->fncGetRangeDic(L"F1", L"A");
        blnDebugLog = false;
        std::string text;
        {
            std::ifstream in(std::filesystem::path(log), std::ios::binary);
            text.assign(std::istreambuf_iterator<char>(in), {});
        }
        DeleteFileW(log.c_str());
        const size_t entering = text.find("Entering " + read);
        REQUIRE(entering != std::string::npos);
        CHECK(entering < text.find("Trying to find number of used rows"));
    }

    objListHandler->EditMode(true);
    for (const wchar_t* cell : {L"B2", L"E2999", L"F2", L"B3000", L"E3000"})
        w.sheet().getObj(L"Range", cell).put(L"Value", L"x");
    objListHandler->EditMode(false);
    w.clickTab();
    CHECK(w.cell(L"B2") + w.cell(L"E2999") == L"");
    CHECK(w.cell(L"F2") + w.cell(L"B3000") + w.cell(L"E3000") == L"xxx");
    CHECK(w.cell(L"A2") == L"http://a/lib/");  // the page wrote its list back after the clear
    CHECK_FALSE(blnErrorOccurred);

    // The grid gone (error 91 in the clear): the add-in is released there
    // and then, before anything after it reports its own failure, and the
    // error itself is no report of the switch.
    objListHandler->CurrSheet = qbx::Disp();
    objListHandler->objSpreadsheet = qbx::Disp();
    w.form->objPrevControl.reset();  // no page to save first
    qbxtest::PromptRecorder restores;
    std::vector<std::wstring> reports;
    bool releasedBeforeReport = false;
    qbx::setPromptHandler([&](const qbx::Prompt& p) {
        if (reports.empty()) releasedBeforeReport = blnShuttingDown;
        reports.push_back(p.text);
        return qbx::PromptAnswer{IDNO, {}};
    });
    CHECK_FALSE(blnShuttingDown);
    w.clickTab();
    CHECK(blnShuttingDown);
    CHECK(releasedBeforeReport);
    for (const std::wstring& text : reports)
        CHECK_FALSE((text.find(L"#91") != std::wstring::npos && text.find(L"tbsSettings_Click") != std::wstring::npos));
}
