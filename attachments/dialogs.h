// Resource numbers of the add-in's dialogs and their controls.
#pragma once

// The library chooser (frmChooseSite).
#define IDD_CHOOSESITE      200
#define IDC_FRAPREDEFINED   1001
#define IDC_OPTPREDEFINED   1002
#define IDC_LBLSITE         1003
#define IDC_LSTSITES        1004
#define IDC_CHKDEFAULT      1005
#define IDC_FRANEWSITE      1006
#define IDC_OPTNEW          1007
#define IDC_TXTNEWSITE      1008
#define IDC_CHKADD          1009
#define IDC_LBLFILENAME     1010
#define IDC_TXTFILENAME     1011
#define IDC_LBLRESULT       1012
// cmdOK and cmdCancel are IDOK and IDCANCEL, so Enter and Escape work.
