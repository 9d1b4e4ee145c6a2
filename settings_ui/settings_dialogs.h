// Resource numbers of the settings window and its document library page.
#pragma once

// The settings window (frmSettings).
#define IDD_SETTINGS        300
#define IDC_TBSSETTINGS     3001
#define IDC_CHKADVANCED     3002
#define IDC_FRAME2          3003
#define IDC_LBLWEBLINK      3004
// cmdOK and cmdCancel are IDOK and IDCANCEL, so Enter and Escape work.

// The document library page (uscPublishSites), a child of the window.
#define IDD_PUBLISHSITES    310
#define IDC_CMDBROWSE       3101
#define IDC_LBLDEFAULT      3102
#define IDC_CMBDEFAULT      3103
#define IDC_CHKALWAYSDEFAULT 3104
