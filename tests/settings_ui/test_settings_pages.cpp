// The settings window's page list and what a tab switch does to the grid:
// advanced pages, a page without the grid, a caption given twice, the clear
// of the grid's data rows (and a grid that is gone), the display timer's
// delay, edit mode, and the wrapper's action trail before its reads.
#include <doctest/doctest.h>

#include "settings_ui/cTabs.h"
#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "tests/settings_ui/settings_window_util.h"

#include <vector>

using windowtest::Window;

namespace {

// A page without the grid: an empty child window that saves nothing.
class PlainPage final : public qbx::DispatchObject {
public:
    PlainPage() : DispatchObject(L"uscPlain") {
        method(L"subSaveSettings", [](qbx::Args&) { return qbx::Variant(); });
    }
};

void registerPlainPage() {
    static bool done = false;
    if (done) return;
    done = true;
    cFormControls::RegisterPage(L"Quillbox.uscPlain", [](HWND form) {
        auto object = qbx::makeObject<PlainPage>();
        cFormControls::Page page;
        page.object = qbx::Disp(static_cast<IDispatch*>(object.get()));
        page.window = CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 100, 100, form, nullptr, nullptr, nullptr);
        return page;
    });
}

// The window with a plain page and an advanced one after the libraries.
struct MorePages {
    MorePages() {
        registerPlainPage();
        subSetSettingsPagesHook([](cTabs& tabs) {
            tabs.AddTab(L"uscPlain", L"Plain", false, false, false, {}, false);
            tabs.AddTab(L"uscPlain", L"Expert", false, true, false, {}, false);
        });
    }
    ~MorePages() { subSetSettingsPagesHook({}); }
};

void selectTab(Window& w, int index) {
    TabCtrl_SetCurSel(w.control(IDC_TBSSETTINGS), index);
    w.clickTab();
}

}  // namespace

TEST_CASE("the page list: advanced pages only in advanced mode, a page without the grid hides it at once, a "
          "grid page shows it 100 ms later, a caption given twice is refused") {
    subSetPhrases(fncGetLanguageColumn());
    MorePages pages;
    Window w;
    w.settle();
    HWND strip = w.control(IDC_TBSSETTINGS);
    CHECK(TabCtrl_GetItemCount(strip) == 2);  // the libraries and Plain; Expert waits for advanced mode
    CHECK(Window::shown(w.control(IDC_CHKADVANCED)));

    selectTab(w, 1);
    CHECK_FALSE(Window::shown(w.gridHost()));  // at once
    Sleep(200);
    hosttest::pump();
    CHECK_FALSE(Window::shown(w.gridHost()));  // and for good

    // Back to the grid page: shown by the timer, not before 100 ms.
    const DWORD switched = GetTickCount();
    selectTab(w, 0);
    CHECK_FALSE(Window::shown(w.gridHost()));
    w.settle();
    CHECK(GetTickCount() - switched >= 100 - 16);  // the tick count's own granularity

    // Advanced mode rebuilds the strip with the advanced page; the first page is shown.
    CheckDlgButton(w.hWnd(), IDC_CHKADVANCED, BST_CHECKED);
    Window::command(w.hWnd(), IDC_CHKADVANCED, BN_CLICKED);
    CHECK(TabCtrl_GetItemCount(strip) == 3);
    CHECK(TabCtrl_GetCurSel(strip) == 0);
    w.settle();
    CHECK_FALSE(blnErrorOccurred);

    // A caption given twice: the dictionary's duplicate-key error.
    cTabs tabs;
    tabs.AddTab(L"uscPlain", L"Plain", false, false, false, {}, false);
    CHECK(hosttest::errorNumberOf([&] { tabs.AddTab(L"uscPlain", L"Plain", true, false, false, {}, false); }) == 457);
}

TEST_CASE("a tab switch clears every data row of columns A to E and nothing else; with the grid gone the "
          "add-in is released") {
    subSetPhrases(fncGetLanguageColumn());
    Window w({.sites = L"http://a/lib/"});
    w.settle();
    qbx::Disp sheet = w.sheet();
    objListHandler->EditMode(true);
    for (const wchar_t* cell : {L"B2", L"E2999", L"F2", L"B3000", L"E3000"}) sheet.getObj(L"Range", cell).put(L"Value", L"x");
    objListHandler->EditMode(false);
    w.clickTab();
    CHECK(w.cell(L"B2").empty());
    CHECK(w.cell(L"E2999").empty());
    CHECK(w.cell(L"F2") == L"x");
    CHECK(w.cell(L"B3000") == L"x");
    CHECK(w.cell(L"E3000") == L"x");
    CHECK(w.cell(L"A2") == L"http://a/lib/");  // the page wrote its list back after the clear
    CHECK_FALSE(blnShuttingDown);

    // The grid's sheet gone (error 91 in the clear): the add-in is released,
    // and the switch itself reports nothing (the new page, which can't fill
    // a grid that is gone, reports its own failure).
    objListHandler->CurrSheet = qbx::Disp();
    w.form->objPrevControl.reset();  // no page to save first
    qbxtest::PromptRecorder prompts;
    prompts.queue(IDNO);
    w.clickTab();
    CHECK(blnShuttingDown);
    for (const qbx::Prompt& p : prompts.prompts()) CHECK(p.text.find(L"tbsSettings_Click") == std::wstring::npos);
}

TEST_CASE("edit mode: screen updating and protection off while the program writes, on again after; the "
          "range reads say what they do before they read") {
    subSetPhrases(fncGetLanguageColumn());
    Window w({.sites = L"http://a/lib/"});
    w.settle();
    qbx::Disp spreadsheet = objListHandler->objSpreadsheet;
    qbx::Disp protection = w.sheet().getObj(L"Protection");
    objListHandler->EditMode(true);
    CHECK_FALSE(spreadsheet.get(L"ScreenUpdating").toBool());
    CHECK_FALSE(protection.get(L"Enabled").toBool());
    objListHandler->EditMode(false);
    CHECK(spreadsheet.get(L"ScreenUpdating").toBool());
    CHECK(protection.get(L"Enabled").toBool());

    // Each range read says what it does before it reads the count cell.
    const std::wstring log = fncAddinFolder() + L"\\BrantholmLog.txt";
    for (const std::wstring read : {L"fncGetRangeArray", L"fncGetRangeDic"}) {
        CAPTURE(qbxtest::narrow(read));
        DeleteFileW(log.c_str());
        blnDebugLog = true;
        if (read == L"fncGetRangeArray")
            objListHandler->fncGetRangeArray(L"F1", L"A");
        else
            objListHandler->fncGetRangeDic(L"F1", L"A");
        blnDebugLog = false;
        std::string text;
        {
            qbx::FileHandle h(CreateFileW(log.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
            REQUIRE(h);
            char buffer[4096];
            DWORD got = 0;
            while (ReadFile(h.get(), buffer, sizeof buffer, &got, nullptr) && got > 0) text.append(buffer, got);
        }
        DeleteFileW(log.c_str());
        const size_t entering = text.find("Entering " + qbxtest::narrow(read));
        const size_t counting = text.find("Trying to find number of used rows");
        REQUIRE(entering != std::string::npos);
        REQUIRE(counting != std::string::npos);
        CHECK(entering < counting);
    }
    CHECK_FALSE(blnErrorOccurred);
}
