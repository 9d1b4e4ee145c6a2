// The document library page of the settings window: the libraries on the
// shared grid (one address per row of column A under the header), a button
// that adds every document library of a SharePoint site, the default library
// and the "always use the default" switch. The page works on the personal
// settings object only; saving to Outlook is the window's business.
//
// The page is a child dialog of the settings window and an object whose
// members are reached by name (subSaveSettings ...), made by the window
// through its class identifier "Quillbox.uscPublishSites".
#pragma once

#include "support/com/dispatch_object.h"
#include "support/com/win_window.h"

#include <string>

class uscPublishSites final : public qbx::DispatchObject {
public:
    static constexpr const wchar_t* kClassId = L"Quillbox.uscPublishSites";

    // Makes the page's window as a hidden child of the form.
    explicit uscPublishSites(HWND form);
    ~uscPublishSites() override;

    HWND hWnd() const noexcept { return hwnd_; }
    HWND control(int id) const noexcept { return GetDlgItem(hwnd_, id); }

    void subSetCaptions();
    void subGetSettings();
    void subSaveSettings();
    // The document libraries of a site (the discovery's dictionary).
    qbx::Disp fncGetListsFromSite(const std::wstring& strSiteUrl);

    void UserControl_Show();
    void cmbDefault_DropDown();
    void cmdBrowse_Click();

    // Column A's width, in characters: wider than the grid, so the column
    // fills it up to the scroll bar.
    static constexpr double kColumnWidth = 76;

private:
    friend struct qbx::WindowProcedures;
    INT_PTR dialogMessage(UINT message, WPARAM wParam, LPARAM lParam);
    void windowDetached() noexcept { hwnd_ = nullptr; }
    // The grid's column A under the header, as a list (empty when no row is used).
    void subReadGrid(class cSimpleList& list);

    // The page's window while it lives; the form's controls own it (it goes
    // with the form, or when the page is removed from it).
    HWND hwnd_ = nullptr;
};

// Puts the settings pages into the window's table of page classes (once).
void subRegisterSettingsPages();
