// Helpers of the settings window's tests: the real window loaded over the
// emulated Outlook and its mailbox, with Quillbox's spreadsheet control
// creatable by ProgID in this process, driven through window messages.
#pragma once

#include "support/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "settings/modSettingsStore.h"
#include "settings_ui/cListHandler.h"
#include "settings_ui/frmSettings.h"
#include "settings_ui/frmSettings_testing.h"
#include "settings_ui/modControlHost.h"
#include "settings_ui/settings_dialogs.h"
#include "settings_ui/spreadsheet/spreadsheet_control.h"
#include "testbed/outlook/emulator.h"
#include "tests/control_host/control_host_util.h"
#include "tests/settings/settings_fixture.h"

#include <commctrl.h>

#include <memory>
#include <string>

namespace windowtest {

// The text's non-empty lines.
inline std::vector<std::wstring> lines(const std::wstring& text) {
    std::vector<std::wstring> out;
    for (const std::wstring& s : qbx::split(text, L"\r\n"))
        if (!s.empty()) out.push_back(s);
    return out;
}

// The emulated Outlook (version 11, with the Assistant) as the add-in's
// Outlook, over the add-in's state as at load time.
struct Session {
    Session() {
        settingstest::resetAll();
        ouaOutlook = outlook.application();
    }
    ~Session() { settingstest::resetAll(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    emu::Outlook outlook;
};

// What the settings item in the mailbox holds, as last saved.
struct Stored {
    std::wstring sites, defaultSite;
    bool always = false;
};

// What the window opens over.
struct Opening {
    std::wstring sites{};      // the stored libraries, one a line
    std::wstring defaultSite{};
    bool always = false;
    bool endWithClose = false;  // the opener's choice (the settings button passes false)
    bool visible = true;
};

// The settings window, loaded (not modal) over a fresh mailbox whose
// settings are `opening`'s.
class Window : public Session {
public:
    explicit Window(const Opening& opening = {}) {
        REQUIRE(subFindSettingsFolder());
        objPersonalSettings = std::make_shared<cPersonalSettings>();
        objPersonalSettings->DicList.FromString(opening.sites);
        objPersonalSettings->strDefaultSite = opening.defaultSite;
        objPersonalSettings->blnAlwaysDefault = opening.always;
        REQUIRE(objPersonalSettings->SaveSettings());
        REQUIRE(objPersonalSettings->GetSettings());
        form = std::make_unique<frmSettings>();
        form->blnEndWithClose = opening.endWithClose;
        loadTick = GetTickCount();
        REQUIRE(form->Load(nullptr, opening.visible) != nullptr);
    }
    ~Window() {
        form.reset();
        hosttest::pump();
    }

    HWND hWnd() const { return form->hWnd(); }
    HWND page() const {
        return frmSettingsTesting::Controls(*form) ? frmSettingsTesting::Controls(*form)->Window(L"CurrTab") : nullptr;
    }
    HWND pageControl(int id) const { return GetDlgItem(page(), id); }
    HWND gridHost() const {
        return frmSettingsTesting::Controls(*form) ? frmSettingsTesting::Controls(*form)->Window(L"exsList") : nullptr;
    }
    HWND gridWindow() const { return GetWindow(gridHost(), GW_CHILD); }
    static bool shown(HWND w) { return w && (GetWindowLongW(w, GWL_STYLE) & WS_VISIBLE) != 0; }

    // Runs the window's messages until `done` holds or `ms` have passed.
    template <class Done>
    bool pumpUntil(Done done, DWORD ms = 2000) {
        const DWORD end = GetTickCount() + ms;
        while (!done()) {
            if (static_cast<LONG>(GetTickCount() - end) >= 0) return false;
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
            hosttest::pump();
        }
        return true;
    }
    // Lets the display timer show the grid.
    void settle() { REQUIRE(pumpUntil([&] { return shown(gridHost()); })); }

    qbx::Disp sheet() const {
        REQUIRE(objListHandler);
        return objListHandler->CurrSheet;
    }
    std::wstring cell(const std::wstring& address) const {
        return sheet().getObj(L"Range", address).get(L"Value").toString();
    }
    void selectCell(const std::wstring& address) const { sheet().getObj(L"Range", address).call(L"Select"); }
    // Types into the selected cell as a person does, ending with Enter.
    void typeIntoGrid(const std::wstring& text) const {
        for (wchar_t c : text) SendMessageW(keyTarget(), WM_CHAR, c, 1);
        SendMessageW(keyTarget(), WM_KEYDOWN, VK_RETURN, 1);
        SendMessageW(keyTarget(), WM_KEYUP, VK_RETURN, 0xC0000001);
    }
    // A key with Ctrl held, as the grid hears it.
    void ctrlKey(UINT vk) const {
        BYTE state[256] = {};
        GetKeyboardState(state);
        state[VK_CONTROL] = 0x80;
        SetKeyboardState(state);
        SendMessageW(keyTarget(), WM_KEYDOWN, vk, 1);
        state[VK_CONTROL] = 0;
        SetKeyboardState(state);
    }

    // A button or notification of the page or the window, as a click sends it.
    static void command(HWND dialog, int id, WORD code) {
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, code), reinterpret_cast<LPARAM>(GetDlgItem(dialog, id)));
    }
    void clickTab() const {
        NMHDR header{control(IDC_TBSSETTINGS), IDC_TBSSETTINGS, static_cast<UINT>(TCN_SELCHANGE)};
        SendMessageW(hWnd(), WM_NOTIFY, IDC_TBSSETTINGS, reinterpret_cast<LPARAM>(&header));
    }
    HWND control(int id) const { return form->control(id); }

    // The default box's entries and its text.
    std::vector<std::wstring> comboEntries() const {
        std::vector<std::wstring> out;
        HWND combo = pageControl(IDC_CMBDEFAULT);
        const LRESULT n = SendMessageW(combo, CB_GETCOUNT, 0, 0);
        for (LRESULT i = 0; i < n; ++i) {
            std::wstring text(static_cast<size_t>(SendMessageW(combo, CB_GETLBTEXTLEN, i, 0)), L'\0');
            SendMessageW(combo, CB_GETLBTEXT, i, reinterpret_cast<LPARAM>(text.data()));
            out.push_back(text);
        }
        return out;
    }
    std::wstring comboText() const { return hosttest::windowText(pageControl(IDC_CMBDEFAULT)); }

    Stored stored() const {
        Stored s;
        for (emu::Folder* f : outlook.defaultFolder(6)->folders->list) {
            if (f->name != L"QBXSettings" || f->contents.empty()) continue;
            for (const auto& p : f->contents.front()->savedProperties) {
                if (p.name == L"strSites") s.sites = p.value.toString();
                if (p.name == L"strDefaultSite") s.defaultSite = p.value.toString();
                if (p.name == L"blnAlwaysDefault") s.always = p.value.toBool();
            }
        }
        return s;
    }

    hosttest::SpreadsheetClass spreadsheetClass;
    std::unique_ptr<frmSettings> form;
    DWORD loadTick = 0;

private:
    // Keys go to the cell editor while one is open, else to the grid.
    HWND keyTarget() const {
        HWND grid = gridWindow();
        if (HWND edit = FindWindowExW(grid, nullptr, L"Edit", nullptr)) return edit;
        return grid;
    }
};

}  // namespace windowtest
