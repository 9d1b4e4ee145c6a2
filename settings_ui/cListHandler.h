// The settings window's spreadsheet grid: a spreadsheet control put on a
// window and made to behave as a plain editable table. Row 1 is a bold,
// shaded, locked header; the text is small Tahoma; the sheet is protected so
// that the user edits cells and nothing else; a check-box column can be drawn
// with Wingdings; cell F1 counts the used rows ("=Counta(A1:A10000)").
//
// The control is, in this order of preference, the Office Web Components
// spreadsheet of Office XP ("OWC10.Spreadsheet"), of Office 2003
// ("OWC11.Spreadsheet"), of Office 2000 ("OWC.Spreadsheet", whose member
// names differ in places), and Quillbox's own ("Quillbox.Spreadsheet"), which
// answers the newer member names. Everything is reached late-bound by name.
//
// Every program write happens between EditMode(true) and EditMode(false):
// screen updating and protection are off meanwhile, and the selection polling
// timer is stopped, so the program's own selection changes raise nothing.
//
// Kept on purpose: GetValue, PrintSheet, AutoFilter, SetBold, LockRange,
// TopEdgeRowDash, SetDateFormat, SetTextFormat, SetNumberFormat and
// GetInteriorColor belong to the grid's member set though no page calls them.
#pragma once

#include "support/com.h"

#include <functional>
#include <memory>
#include <string>

class cFormControls;
class frmTimer;

class cListHandler {
public:
    cListHandler();
    ~cListHandler();
    cListHandler(const cListHandler&) = delete;
    cListHandler& operator=(const cListHandler&) = delete;

    // The control that was added to the window (its extender: Top, Left,
    // Height, Width, Visible), the spreadsheet itself, and its active sheet.
    qbx::Disp objHostedControl;
    qbx::Disp objSpreadsheet;
    qbx::Disp CurrSheet;
    // The control's name on the window.
    std::wstring ListName;
    // Skip the Office XP and 2003 components.
    bool NoXP = false;
    // Placement in the window's units (twips), set before AddToForm.
    short TopPos = 0;
    short LeftPos = 0;
    short Height = 0;
    // The polling timer for selection changes (made by EditMode when events are on).
    std::unique_ptr<frmTimer> objTimer;

    // SelectionChange(SelectedAddress): the selected cell moved to another
    // address while the user, not the program, was editing.
    using SelectionChangeListener = std::function<void(const std::wstring& strSelectedAddress)>;

    // Creates the control on the window. False when no control could be made
    // (the user has then been asked about the components and the add-in has
    // stopped). A step of the set-up that fails reports itself (and so stops
    // the add-in); the remaining steps still run, as each has its own trap.
    bool AddToForm(cFormControls& frmForm);
    // The second half of AddToForm: takes a hosted control's spreadsheet and
    // sets it up (defaults, no toolbar or headings, the header row frozen).
    // blnNewer: the control answers the newer components' member names.
    bool fncAttach(const qbx::Disp& hostedControl, bool blnNewer);
    void subSetDefaults();

    short UsedRows(const std::wstring& strCountCell);
    // The used rows' values from column A to strLastColumn, sorted by column
    // A; an empty value when no data row is used.
    qbx::Variant fncGetRangeArray(const std::wstring& strCountCell, const std::wstring& strLastColumn);
    // The distinct values of column A's used rows, sorted, as a dictionary
    // (key and item the same text); empty when no data row is used.
    qbx::Disp fncGetRangeDic(const std::wstring& strCountCell, const std::wstring& strLastColumn);
    void SetDicList(const qbx::Disp& dic);

    void SetValue(const std::wstring& strAddress, const qbx::Variant& value);
    qbx::Variant GetValue(const std::wstring& strAddress);
    void SetFormula(const std::wstring& strAddress, const std::wstring& strFormula);

    void SetCheckedColumn(const std::wstring& strColumn);
    void SetChecked(const std::wstring& strAddress, bool blnChecked);
    // True for a checked box and for an empty cell (an empty cell reads as checked).
    bool GetChecked(const std::wstring& strAddress);

    // The selected cell's address (the top left one of a larger selection);
    // a header cell is replaced by the cell below it, which is selected.
    std::wstring fncGetSel();

    void EditMode(bool blnOn);
    void RaiseEventsEnabled(bool blnOn) { blnRaiseEvents_ = blnOn; }
    void Visible(bool blnVisible);

    void ClearAll();
    // Prints the used range through the browser object when one is given,
    // else through the shell's print verb.
    void PrintSheet(const qbx::Disp& objBrowser);
    void AutoFilter(const std::wstring& strRange);

    // Small setters, one late-bound member each.
    void SetBold(const std::wstring& strAddress, bool blnBold);
    void LockRange(const std::wstring& strAddress, bool blnLocked);
    void SetExcelVisible(bool blnVisible);
    void ColHeaders(bool blnVisible);
    void RowHeaders(bool blnVisible);
    void SetVisibleRange(const std::wstring& strAddress);
    void SortRange();
    void FreezePanes(const std::wstring& strAddress);
    void FixHorizontalAlign(const std::wstring& strAddress, long lngAlignment);
    void CenterAlign(const std::wstring& strAddress);
    void AutoFitCols(const std::wstring& strAddress);
    void SetFont(const std::wstring& strAddress, const std::wstring& strFontName);
    void RightEdgeColDash(const std::wstring& strAddress);
    void TopEdgeRowDash(const std::wstring& strAddress);
    void DisplayVerticalScroll(bool blnVisible);
    void DisplayHorizontalScroll(bool blnVisible);
    void SelectCell(const std::wstring& strAddress);
    void SetColumnWidth(const std::wstring& strAddress, double dblWidth);
    void SetDateFormat(const std::wstring& strAddress);
    void SetTextFormat(const std::wstring& strAddress);
    void SetNumberFormat(const std::wstring& strAddress);
    void SetInteriorColor(const std::wstring& strAddress, long lngColor, bool blnClearBorders = false);
    long GetInteriorColor(const std::wstring& strAddress);
    short Width() const noexcept { return intWidth_; }
    void Width(short intWidth);
    void MoveRight();

    // Where the components can be downloaded (opened when the user says Yes).
    static const wchar_t* const kComponentsDownloadPage;
    // How often the selection is polled, in milliseconds.
    static constexpr long kPollInterval = 250;

private:
    friend struct cListHandlerTesting;  // cListHandler_testing.h

    // One tick of the selection polling (the timer calls it).
    void objTimer_Timer();

    qbx::Disp fncRange(const std::wstring& strAddress) const;
    void subSortRows(const std::wstring& strRange) const;
    bool fncTryAdd(cFormControls& frmForm, const wchar_t* progId, bool licensed);

    bool blnNewerComponent_ = false;
    std::wstring SelectedAddress_;
    short intCurrRow_ = 0;
    short intCurrCol_ = 0;  // kept on purpose: the last selection's column, though nothing reads it
    bool Checkboxes_ = false;
    std::wstring CheckBoxCol_;
    bool blnRaiseEvents_ = false;
    short intWidth_ = 0;
    bool blnVisible_ = false;
    SelectionChangeListener selectionChange_;
};

// The process-wide grid of the settings window (exsList); pages read it.
extern std::shared_ptr<cListHandler> objListHandler;
