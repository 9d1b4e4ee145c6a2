// The settings grid's and settings window's own time with 2,000 document
// libraries, each figure set against the same baseline measured in the same
// round: a plain Win32 list box on a real window filled with the same 2,000
// strings (LB_ADDSTRING, its drawing off meanwhile), then its window brought
// up to date.
//   - SetDicList of 2,000 libraries on the grid hosted in a real window;
//   - fncGetRangeDic of the 2,000 rows;
//   - what SetDicList asks of the control's window while it writes (edit
//     mode): repaint requests and pictures drawn; the one picture after
//     edit mode ends is counted apart;
//   - the settings window: from the button's click (subShowSettingsWindow)
//     to the page filled with the 2,000 libraries of the stored settings,
//     the window's 100 ms display delay not included (it only starts then);
//   - OK with the 2,000 libraries: the page reads the grid back and the
//     settings item is saved (and read again).
// Each figure is the median of the rounds; one line of name=value pairs for
// run_bench.sh, which prints the ratios. With "pieces", the parts the figures
// are made of are timed alone as well (piece_...).
//   bench_settings.exe [ROUNDS [pieces]]
#include "bench/bench_common.h"
#include "bench/bench_prompts.h"
#include "support/modGlobals.h"
#include "settings/cListControl.h"
#include "settings/cPersonalSettings.h"
#include "settings/cSimpleList.h"
#include "settings/modSettingsStore.h"
#include "settings_ui/cListHandler.h"
#include "settings_ui/frmSettings.h"
#include "settings_ui/frmSettings_testing.h"
#include "settings_ui/modControlHost.h"
#include "settings_ui/modSettingsWindow.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"
#include "settings_ui/spreadsheet/sheet_model_testing.h"
#include "settings_ui/spreadsheet/spreadsheet_control_testing.h"
#include "support/com.h"
#include "support/modErroHandling.h"
#include "support/modLanguage.h"
#include "support/modScriptingDic.h"
#include "support/prompt.h"
#include "support/com/win_handles.h"
#include "support/prompt_testing.h"
#include "testbed/outlook/emulator.h"

#include <ole2.h>

#include <algorithm>
#include <functional>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kLibraries = 2000;

// The libraries: realistic addresses, in an order that is not sorted (the
// grid sorts when it reads back).
std::vector<std::wstring> makeLibraries() {
    std::vector<std::wstring> out;
    unsigned seed = 12345;
    for (int i = 0; i < kLibraries; ++i) {
        seed = seed * 1103515245u + 12345u;
        const unsigned n = (seed >> 8) % 1000000u;
        wchar_t buf[160];
        swprintf(buf, 160, L"http://intranet.example/sites/team%06u/Shared Documents %d", n, i);
        out.emplace_back(buf);
    }
    return out;
}

double median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

void pump() {
    MSG msg;
    for (int i = 0; i < 10000 && PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE); ++i) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

// Paints whatever is invalid in the window and its children now.
void paintNow(HWND window) { RedrawWindow(window, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN); }

// A visible top-level window to put the list box or the grid on.
HWND makeForm(int width, int height, const wchar_t* title) {
    static const ATOM atom = [] {
        WNDCLASSW wc{};
        wc.lpfnWndProc = DefWindowProcW;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
        wc.lpszClassName = L"QbxBenchForm";
        return RegisterClassW(&wc);
    }();
    if (!atom) return nullptr;
    HWND w = CreateWindowExW(WS_EX_CONTROLPARENT, L"QbxBenchForm", title, WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 20,
                             20, width, height, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    if (w) ShowWindow(w, SW_SHOWNOACTIVATE);
    pump();
    return w;
}

// The spreadsheet control made creatable by its ProgID inside this program
// (which links the add-in's code rather than loading the DLL): a class
// object registered for the process, and the ProgID's CLSID key in the
// prefix's machine-wide classes (the only ones Wine reads), removed again at
// the end. The last control made is kept while asked, so its drawing can be
// counted.
class ControlFactory final : public qbx::Unknown<IClassFactory> {
public:
    bool answers(REFIID iid) const override { return iid == IID_IClassFactory; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (outer) return CLASS_E_NOAGGREGATION;
        if (!out) return E_POINTER;
        *out = nullptr;
        try {
            qbx::ComPtr<cSpreadsheetControl> control(new cSpreadsheetControl());
            if (keepLast) last = control;
            return control->QueryInterface(iid, out);
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

    bool keepLast = false;
    qbx::ComPtr<cSpreadsheetControl> last;
};

class ControlRegistration {
public:
    explicit ControlRegistration(IClassFactory* factory) {
        wchar_t clsid[64] = {};
        StringFromGUID2(CLSID_QuillboxSpreadsheet, clsid, 64);
        qbx::RegKey key;
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, keyPath().c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, key.put(),
                            nullptr) == ERROR_SUCCESS) {
            RegSetValueExW(key.get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(clsid),
                           static_cast<DWORD>((wcslen(clsid) + 1) * sizeof(wchar_t)));
            written_ = true;
        }
        ok_ = written_ && SUCCEEDED(CoRegisterClassObject(CLSID_QuillboxSpreadsheet, factory, CLSCTX_INPROC_SERVER,
                                                          REGCLS_MULTIPLEUSE, &cookie_));
    }
    ~ControlRegistration() {
        if (cookie_) CoRevokeClassObject(cookie_);
        if (written_) RegDeleteTreeW(HKEY_LOCAL_MACHINE, (std::wstring(L"Software\\Classes\\") + kSpreadsheetProgId).c_str());
    }
    bool ok() const noexcept { return ok_; }

private:
    static std::wstring keyPath() { return std::wstring(L"Software\\Classes\\") + kSpreadsheetProgId + L"\\CLSID"; }
    DWORD cookie_ = 0;
    bool written_ = false;
    bool ok_ = false;
};

// The baseline: a plain list box on a real window.
class ListBoxBaseline {
public:
    explicit ListBoxBaseline(const std::vector<std::wstring>& items) : items_(items) {
        form_ = makeForm(640, 400, L"List box baseline");
        list_ = CreateWindowExW(WS_EX_CLIENTEDGE, L"LISTBOX", nullptr,
                                WS_CHILD | WS_VISIBLE | WS_VSCROLL | LBS_NOTIFY | LBS_NOINTEGRALHEIGHT, 8, 8, 600,
                                340, form_, nullptr, GetModuleHandleW(nullptr), nullptr);
        pump();
    }
    ~ListBoxBaseline() {
        if (form_) DestroyWindow(form_);
        pump();
    }
    // Seconds to fill the box with every string and show it; false when the
    // box did not take them all. A bulk fill switches the box's drawing off
    // meanwhile, as any program filling a list box with thousands of strings
    // does; without that, every string redraws the box and its scroll bar
    // (under Wine about 2.7 ms each), which would make a baseline nobody
    // measures against.
    bool fill(double& seconds, bool redrawEach = false) {
        SendMessageW(list_, LB_RESETCONTENT, 0, 0);
        paintNow(form_);
        const double t0 = bench::now();
        if (!redrawEach) SendMessageW(list_, WM_SETREDRAW, FALSE, 0);
        for (const auto& s : items_) SendMessageW(list_, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(s.c_str()));
        if (!redrawEach) {
            SendMessageW(list_, WM_SETREDRAW, TRUE, 0);
            InvalidateRect(list_, nullptr, TRUE);
        }
        paintNow(form_);
        seconds = bench::now() - t0;
        pump();
        return SendMessageW(list_, LB_GETCOUNT, 0, 0) == static_cast<LRESULT>(items_.size());
    }

private:
    const std::vector<std::wstring>& items_;
    HWND form_ = nullptr;
    HWND list_ = nullptr;
};

// The grid as the settings window sets it up, on a window of its own.
class HostedGrid {
public:
    explicit HostedGrid(ControlFactory& factory) {
        form_ = makeForm(700, 520, L"Settings grid");
        controls_ = std::make_unique<cFormControls>(form_);
        factory.keepLast = true;
        grid.ListName = L"exsList";
        grid.Height = 6000;
        grid.Width(6500);
        grid.TopPos = 300;
        grid.LeftPos = 120;
        grid.Visible(true);
        const double t0 = bench::now();
        made_ = grid.AddToForm(*controls_);
        addSeconds = bench::now() - t0;
        factory.keepLast = false;
        control = std::move(factory.last);
        if (!made_ || !control) return;
        grid.DisplayVerticalScroll(true);
        grid.SetValue(L"A1", qbx::Variant(L"Document libraries"));
        grid.SetColumnWidth(L"A1", 68);
        pump();
        paintNow(form_);
    }
    ~HostedGrid() {
        control.reset();
        grid.objHostedControl.reset();
        grid.objSpreadsheet.reset();
        grid.CurrSheet.reset();
        controls_.reset();
        if (form_) DestroyWindow(form_);
        pump();
    }
    bool made() const noexcept { return made_; }
    HWND form() const noexcept { return form_; }
    // Empties the data rows, as a page switch does.
    void clear() {
        grid.EditMode(true);
        grid.CurrSheet.getObj(L"Range", L"a2:e2999").call(L"ClearContents");
        grid.EditMode(false);
        pump();
        paintNow(form_);
    }
    std::wstring text(int row) {
        return qbx::sheet::displayText(control->sheetPtr()->value(row, 1));
    }

    cListHandler grid;
    qbx::ComPtr<cSpreadsheetControl> control;
    double addSeconds = 0;  // AddToForm alone

private:
    HWND form_ = nullptr;
    std::unique_ptr<cFormControls> controls_;
    bool made_ = false;
};

qbx::Disp dictionaryOf(const std::vector<std::wstring>& items) {
    qbx::Disp dic = fncCreateDic();
    for (const auto& item : items) dic.call(L"Add", item, item);
    return dic;
}

// The user's settings as an earlier session left them in the mailbox.
void seedSettings(emu::Outlook& ol, const std::vector<std::wstring>& libraries) {
    std::wstring sites;
    for (const auto& l : libraries) sites += (sites.empty() ? L"" : L"\r\n") + l;
    qbx::Disp folder =
        ol.nameSpace().getObj(L"GetDefaultFolder", 6).getObj(L"Folders").get(L"Add", L"QBXSettings", 6).toDisp();
    qbx::Disp item = folder.getObj(L"Items").get(L"Add", L"IPM.Post").toDisp();
    item.put(L"Subject", L"Quillbox Settings");
    qbx::Disp properties = item.getObj(L"UserProperties");
    properties.get(L"Add", L"strSites", 1).toDisp().put(L"Value", sites);
    properties.get(L"Add", L"strDefaultSite", 1).toDisp().put(L"Value", libraries.front());
    properties.get(L"Add", L"blnAlwaysDefault", 6).toDisp().put(L"Value", false);
    item.call(L"Save");
}

struct Figures {
    std::map<std::string, std::vector<double>> series;
    void add(const std::string& name, double value) { series[name].push_back(value); }
};

// The parts the figures are made of, each timed alone on the same data
// (with "pieces" on the command line): where the grid's and the window's
// time goes.
void timePieces(Figures& f, ControlFactory& factory, const std::vector<std::wstring>& libraries) {
    auto timed = [&](const char* name, const std::function<void()>& body) {
        const double t0 = bench::now();
        body();
        f.add(name, (bench::now() - t0) * 1000);
    };
    const std::wstring lastRow = std::to_wstring(libraries.size() + 1);
    HostedGrid g(factory);
    f.add("piece_grid_addtoform_ms", g.addSeconds * 1000);

    // The dictionary, late-bound, as the wrapper and the list use it.
    qbx::Disp dic;
    timed("piece_dictionary_2000_exists_and_add_ms", [&] {
        dic = fncCreateDic();
        for (const auto& l : libraries)
            if (!dic.get(L"Exists", l).toBool()) dic.call(L"Add", l, l);
    });
    cSimpleList list;
    qbx::Variant array;
    timed("piece_list_fromstring_ms", [&] {
        std::wstring text;
        for (const auto& l : libraries) text += (text.empty() ? L"" : L"\r\n") + l;
        list.FromString(text);
    });
    timed("piece_list_toarray_ms", [&] { array = list.ToArray(); });
    timed("piece_list_fromarray_ms", [&] { list.FromArray(array); });
    // A box on a page not yet shown, as the page fills its default box.
    timed("piece_list_into_combo_box_ms", [&] {
        qbx::OwnedWindow combo(CreateWindowExW(0, L"COMBOBOX", nullptr, WS_CHILD | CBS_DROPDOWN | WS_VSCROLL, 10,
                                               10, 300, 200, g.form(), nullptr, GetModuleHandleW(nullptr), nullptr));
        cListControl box(combo.get());
        std::wstring selected = libraries.front();
        list.AddToComboOrList(box, selected);
    });

    // The grid's own calls.
    g.clear();
    timed("piece_grid_clear_a2_e2999_ms", [&] { g.clear(); });
    timed("piece_grid_setvalue_of_the_array_ms", [&] {
        g.grid.EditMode(true);
        g.grid.SetValue(L"a2:a" + lastRow, array);
        g.grid.EditMode(false);
    });
    timed("piece_grid_usedrows_ms", [&] { g.grid.UsedRows(L"F1"); });
    timed("piece_grid_sort_a2_a1000_ms",
          [&] { g.grid.CurrSheet.getObj(L"Range", L"a2:A1000").call(L"Sort", 1, 1, 2); });
    timed("piece_grid_read_column_a_ms", [&] { g.grid.CurrSheet.getObj(L"Range", L"a2:a" + lastRow).get(L"Value"); });
    if (objPersonalSettings) {
        timed("piece_settings_save_ms", [&] { objPersonalSettings->SaveSettings(); });
        timed("piece_settings_get_ms", [&] { objPersonalSettings->GetSettings(); });
    }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int rounds = std::max(1, argc > 1 ? _wtoi(argv[1]) : 5);
    const bool pieces = argc > 2 && _wcsicmp(argv[2], L"pieces") == 0;
    OleInitialize(nullptr);
    bench::answerPromptsWith(IDCANCEL);

    // The phrases, as start-up loads them (the grid's header is one).
    subSetPhrases(fncGetLanguageColumn());
    const std::vector<std::wstring> libraries = makeLibraries();
    Figures f;
    bool ok = true;
    std::string failure;
    auto fail = [&](const char* what) {
        if (ok) failure = what;
        ok = false;
    };
    long repaintsInWrites = 0, rendersInWrites = 0, repaintsOfModeSwitch = 0, rendersAfter = 0;
    {
        qbx::ComPtr<ControlFactory> factory(new ControlFactory());
        ControlRegistration registration(factory.get());
        if (!registration.ok()) fail("control-registration");

        ListBoxBaseline baseline(libraries);
        {
            // Once, for the record: the box redrawn after every string.
            double s = 0;
            if (!baseline.fill(s, true)) fail("list-box");
            f.add("listbox_redraw_each_ms", s * 1000);
        }
        auto baselineRound = [&] {
            double s = 0;
            if (!baseline.fill(s)) fail("list-box");
            f.add("listbox_ms", s * 1000);
        };

        // The grid on a window of its own: writing, reading back, drawing.
        {
            HostedGrid g(*factory.get());
            if (!g.made()) fail("grid-not-made");
            qbx::Disp dic = dictionaryOf(libraries);
            for (int r = 0; ok && r < rounds; ++r) {
                baselineRound();

                g.clear();
                double t0 = bench::now();
                g.grid.SetDicList(dic);
                paintNow(g.form());
                f.add("setdiclist_ms", (bench::now() - t0) * 1000);
                if (g.text(2) != libraries.front() || g.text(kLibraries + 1) != libraries.back())
                    fail("setdiclist-content");
                pump();

                t0 = bench::now();
                qbx::Disp read = g.grid.fncGetRangeDic(L"F1", L"A");
                f.add("getrangedic_ms", (bench::now() - t0) * 1000);
                if (!read || read.get(L"Count").toLong() != kLibraries) fail("getrangedic-count");
                pump();
            }

            // Repaints: what ending edit mode alone asks for is taken off
            // what the whole SetDicList asked for; what is left came from
            // the writes.
            if (ok) {
                qbx::sheet::Sheet& sheet = *g.control->sheetPtr();
                g.clear();
                uint64_t req0 = qbx::sheet::SheetTesting::repaintRequests(sheet);
                g.grid.EditMode(true);
                g.grid.EditMode(false);
                repaintsOfModeSwitch = static_cast<long>(qbx::sheet::SheetTesting::repaintRequests(sheet) - req0);
                pump();
                paintNow(g.form());
                req0 = qbx::sheet::SheetTesting::repaintRequests(sheet);
                const uint64_t ren0 = cSpreadsheetControlTesting::renderCount(g.control.get());
                g.grid.SetDicList(dic);
                repaintsInWrites =
                    static_cast<long>(qbx::sheet::SheetTesting::repaintRequests(sheet) - req0) - repaintsOfModeSwitch;
                rendersInWrites = static_cast<long>(cSpreadsheetControlTesting::renderCount(g.control.get()) - ren0);
                const uint64_t ren1 = cSpreadsheetControlTesting::renderCount(g.control.get());
                pump();
                paintNow(g.form());
                rendersAfter = static_cast<long>(cSpreadsheetControlTesting::renderCount(g.control.get()) - ren1);
            }
        }

        // The settings window over the emulated Outlook's mailbox.
        emu::Knobs knobs;
        knobs.version = 16;
        emu::Outlook ol(knobs);
        ouaOutlook = ol.application();
        seedSettings(ol, libraries);
        if (!subFindSettingsFolder()) fail("settings-folder");
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        if (!objPersonalSettings->GetSettings() || objPersonalSettings->DicList.Count() != kLibraries)
            fail("settings-read");

        double opened = 0, saved = 0;
        short rowsShown = 0;
        bool closed = false;
        subSetSettingsOpenedHook([&](frmSettings& form) {
            // The window is loaded and the page has filled the grid: the
            // click's work is done (the display delay has only started).
            opened = bench::now();
            rowsShown = objListHandler ? objListHandler->UsedRows(L"F1") : short(0);
            const double t0 = bench::now();
            frmSettingsTesting::clickOK(form);
            saved = bench::now() - t0;
            closed = frmSettingsTesting::Closed(form);
            // Never left waiting for a person.
            if (!closed) frmSettingsTesting::clickCancel(form);
        });
        for (int r = 0; ok && r < rounds; ++r) {
            baselineRound();
            opened = saved = 0;
            rowsShown = 0;
            closed = false;
            const double t0 = bench::now();
            subShowSettingsWindow(qbx::Disp());
            pump();
            if (opened == 0) {
                fail("window-not-opened");
                break;
            }
            f.add("window_ms", (opened - t0) * 1000);
            f.add("ok_save_ms", saved * 1000);
            if (rowsShown != kLibraries) {
                std::fprintf(stderr, "the page showed %d rows\n", rowsShown);
                fail("window-rows");
            }
            if (!closed) fail("ok-did-not-close");
            if (!objPersonalSettings || objPersonalSettings->DicList.Count() != kLibraries) fail("saved-count");
        }
        subSetSettingsOpenedHook(nullptr);
        if (pieces && ok)
            for (int r = 0; r < rounds; ++r) timePieces(f, *factory.get(), libraries);
        if (blnErrorOccurred) fail("error-reported");
        objListHandler.reset();
        objPersonalSettings.reset();
        ReleaseOutlookObjects();
        ol.shutdown();
    }
    if (bench::prompts) fail("prompts");

    std::printf("rounds=%d libraries=%d", rounds, kLibraries);
    for (const auto& [name, values] : f.series) std::printf(" %s=%.3f", name.c_str(), median(values));
    std::printf(" repaints_in_writes=%ld renders_in_writes=%ld repaints_mode_switch=%ld renders_after=%ld",
                repaintsInWrites, rendersInWrites, repaintsOfModeSwitch, rendersAfter);
    std::printf(" prompts=%ld ok=%d%s%s\n", bench::prompts, ok ? 1 : 0, ok ? "" : " failure=", failure.c_str());
    std::fflush(stdout);
    OleUninitialize();
    return ok ? 0 : 1;
}
