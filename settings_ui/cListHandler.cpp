#include "settings_ui/cListHandler.h"

#include "attachments/frmTimer.h"
#include "support/modGlobals.h"
#include "settings_ui/modControlHost.h"
#include "support/modAssistant.h"
#include "support/modErroHandling.h"
#include "support/modFileHandling.h"
#include "support/modScriptingDic.h"
#include "support/modShell.h"

#include <climits>

std::shared_ptr<cListHandler> objListHandler;

const wchar_t* const cListHandler::kComponentsDownloadPage =
    L"https://www.microsoft.com/download/details.aspx?id=22276";

namespace {

// The component's named values the grid uses (the same numbers in every
// generation that has them).
constexpr long xlHAlignCenter = -4108;
// The first generation numbers its alignments 0 (general) to 3 (right).
constexpr long ssHAlignCenter = 2;
constexpr long xlContinuous = 1;
constexpr long xlDash = -4115;
constexpr long xlLineStyleNone = -4142;
constexpr long xlThin = 2;
constexpr long xlEdgeTop = 8;
constexpr long xlEdgeRight = 10;
constexpr long xlToRight = -4161;
constexpr long xlAscending = 1;
constexpr long xlNoHeader = 2;

// The shaded header row.
constexpr long kHeaderColour = RGB(236, 233, 216);
// The check-box characters in Wingdings: a checked and an empty box.
const wchar_t kChecked[] = L"\u00FE";
const wchar_t kUnchecked[] = L"\u00A8";

// Visual Basic's TypeName of a value ("String", "Long", "Variant()" ...).
std::wstring fncTypeName(const qbx::Variant& value) {
    const VARTYPE vt = value.type();
    std::wstring base;
    switch (vt & VT_TYPEMASK) {
        case VT_EMPTY: base = L"Empty"; break;
        case VT_NULL: base = L"Null"; break;
        case VT_I2: base = L"Integer"; break;
        case VT_I4: base = L"Long"; break;
        case VT_R4: base = L"Single"; break;
        case VT_R8: base = L"Double"; break;
        case VT_CY: base = L"Currency"; break;
        case VT_DATE: base = L"Date"; break;
        case VT_BSTR: base = L"String"; break;
        case VT_DISPATCH: base = L"Object"; break;
        case VT_ERROR: base = L"Error"; break;
        case VT_BOOL: base = L"Boolean"; break;
        case VT_VARIANT: base = L"Variant"; break;
        case VT_UI1: base = L"Byte"; break;
        case VT_DECIMAL: base = L"Decimal"; break;
        default: base = L"Unknown"; break;
    }
    if (vt & VT_ARRAY) base += L"()";
    return base;
}

bool fncIsEmptyValue(const qbx::Variant& value) {
    if (value.isEmpty()) return true;
    const VARIANT& raw = value.raw();
    return raw.vt == VT_BSTR && SysStringLen(raw.bstrVal) == 0;
}

// The top left cell of an address ("$A$2:$B$5" gives "$A$2").
std::wstring fncFirstCell(const std::wstring& address) {
    const size_t colon = address.find(L':');
    return colon == std::wstring::npos ? address : address.substr(0, colon);
}

}  // namespace

cListHandler::cListHandler() = default;

cListHandler::~cListHandler() = default;

qbx::Disp cListHandler::fncRange(const std::wstring& strAddress) const {
    if (!CurrSheet) qbx::raiseVb(qbx::vbErrObjectNotSet);
    return CurrSheet.getObj(L"Range", strAddress);
}

// The component's default sort: the range's rows by its first column,
// ascending, no header row.
void cListHandler::subSortRows(const std::wstring& strRange) const {
    fncRange(strRange).call(L"Sort", 1, xlAscending, xlNoHeader);
}

// ---------------------------------------------------------------- creation

// One creation attempt, errors ignored: true when the window took a control
// of the class. With licensed set, the window's licence collection first gets
// an entry for the class (an empty key: the class's own run-time key).
bool cListHandler::fncTryAdd(cFormControls& frmForm, const wchar_t* progId, bool licensed) {
    qbx::Err err;
    if (licensed) {
        err.resume([&] {
            if (!frmForm.HasLicense(progId)) frmForm.AddLicense(progId, L"");
        });
    }
    err.resume([&] { objHostedControl = frmForm.Add(progId, ListName); });
    const bool created = err.number() == 0 && objHostedControl;
    err.clear();
    return created;
}

bool cListHandler::AddToForm(cFormControls& frmForm) {
    subSetAction(L"Adding the spreadsheet grid " + ListName + L" to the window");
    objHostedControl.reset();
    bool blnCreated = false;
    bool blnNewer = false;
    if (!NoXP) {
        blnCreated = fncTryAdd(frmForm, L"OWC10.Spreadsheet", true);
        if (!blnCreated) blnCreated = fncTryAdd(frmForm, L"OWC11.Spreadsheet", true);
        blnNewer = blnCreated;
    }
    if (!blnCreated) blnCreated = fncTryAdd(frmForm, L"OWC.Spreadsheet", false);
    // The components are discontinued and never existed for 64-bit Office:
    // without them the grid is Quillbox's own control, which answers the
    // newer components' names.
    if (!blnCreated) {
        blnCreated = fncTryAdd(frmForm, L"Quillbox.Spreadsheet", false);
        blnNewer = blnCreated;
    }
    if (!blnCreated) {
        const std::wstring question = L"Unable to start the MS Office Web Components!\r\n"
                                      L"Please download these FREE component from Microsoft Download\r\n"
                                      L"Do you want to go to that website now?";
        if (fncAssistantAsk(ouaOutlook, question) == IDYES) {
            fncShellExecute(L"open", kComponentsDownloadPage);
        } else {
            fncAssistantAlert(ouaOutlook, std::wstring(kProductName) + L" will now shut down!");
        }
        ReleaseOutlookObjects();
        return false;
    }
    return fncAttach(objHostedControl, blnNewer);
}

bool cListHandler::fncAttach(const qbx::Disp& hostedControl, bool blnNewer) {
    bool result = false;
    subSetAction(L"Setting up the spreadsheet grid " + ListName);
    objHostedControl = hostedControl;
    blnNewerComponent_ = blnNewer;
    qbx::guarded(L"AddToForm", [&] {
        objSpreadsheet = objHostedControl.getObj(L"object");
        CurrSheet = objSpreadsheet.getObj(L"ActiveSheet");
        subSetDefaults();
        SetExcelVisible(false);
        FreezePanes(L"A2");
        result = true;
    });
    return result;
}

void cListHandler::subSetDefaults() {
    subSetAction(L"Setting the default look and protection of the grid");
    qbx::guarded(L"subSetDefaults", [&] {
        objSpreadsheet.put(L"AllowPropertyToolbox", false);
        objSpreadsheet.put(L"DisplayTitleBar", false);

        qbx::Disp header = fncRange(L"1:1");
        header.getObj(L"Interior").put(L"Color", kHeaderColour);
        header.getObj(L"Font").put(L"Bold", true);

        qbx::Disp rows = fncRange(L"1:1999");
        rows.getObj(L"Font").put(L"Name", L"Tahoma");
        rows.getObj(L"Font").put(L"Size", 8);

        fncRange(L"f1").put(L"Formula", L"=Counta(A1:A10000)");

        if (blnNewerComponent_) {
            objSpreadsheet.put(L"DisplayWorkbookTabs", false);
            objSpreadsheet.getObj(L"ActiveWindow").put(L"EnableResize", false);
        }

        // Everything is editable except the header row and the count cell.
        fncRange(L"A1:F2000").put(L"Locked", false);
        fncRange(L"A1:F1").put(L"Locked", true);

        qbx::Disp protection = CurrSheet.getObj(L"Protection");
        protection.put(L"AllowDeletingColumns", false);
        protection.put(L"AllowInsertingColumns", false);
        protection.put(L"AllowInsertingRows", false);
        protection.put(L"AllowFiltering", true);
        if (blnNewerComponent_) {
            protection.put(L"AllowFormattingColumns", true);
            protection.put(L"AllowFormattingRows", true);
        } else {
            protection.put(L"AllowSizingAllColumns", true);
            protection.put(L"AllowSizingAllRows", true);
        }
        protection.put(L"AllowSorting", true);
        protection.put(L"Enabled", true);

        objHostedControl.put(L"Top", TopPos);
        objHostedControl.put(L"Left", LeftPos);
        objHostedControl.put(L"Height", Height);
        objHostedControl.put(L"Width", intWidth_);
        objHostedControl.put(L"Visible", blnVisible_);
    });
}

// ---------------------------------------------------------------- reading and writing

short cListHandler::UsedRows(const std::wstring& strCountCell) {
    short result = 0;
    subSetAction(L"Trying to find number of used rows");
    qbx::guarded(L"UsedRows", [&] {
        CurrSheet.call(L"Calculate");
        const short count = fncRange(strCountCell).get(L"Value").toShort();
        if (count == SHRT_MIN) qbx::raiseVb(qbx::vbErrOverflow);
        result = static_cast<short>(count - 1);
    });
    return result;
}

qbx::Variant cListHandler::fncGetRangeArray(const std::wstring& strCountCell, const std::wstring& strLastColumn) {
    qbx::Variant result;
    subSetAction(L"Entering fncGetRangeArray");
    qbx::guarded(L"fncGetRangeArray", [&] {
        const short rows = UsedRows(strCountCell);
        // Without a data row there is nothing to read: the range "a2:a1"
        // would hand back the header.
        if (rows < 1) return;
        EditMode(true);
        subSortRows(L"a2:" + strLastColumn + L"1000");
        EditMode(false);
        result = fncRange(L"a2:" + strLastColumn + std::to_wstring(rows + 1)).get(L"Value");
        if (!result.isArray()) {
            // One cell gives its value alone; the callers always get rows.
            qbx::SafeArray one = qbx::SafeArray::variants2D(1, 1);
            LONG index[2] = {0, 0};
            SafeArrayPutElement(one.get(), index, const_cast<VARIANT*>(&result.raw()));
            result = std::move(one).toVariant(VT_VARIANT);
        }
    });
    return result;
}

qbx::Disp cListHandler::fncGetRangeDic(const std::wstring& strCountCell, const std::wstring& strLastColumn) {
    qbx::Disp result;
    subSetAction(L"Entering fncGetRangeDic");
    qbx::guarded(L"fncGetRangeDic", [&] {
        const short rows = UsedRows(strCountCell);
        qbx::Disp dic = fncCreateDic();
        if (rows >= 1) {
            subSortRows(L"a2:" + strLastColumn + L"1000");
            // Column A of the used rows in one read.
            qbx::Variant block = fncRange(L"a2:a" + std::to_wstring(rows + 1)).get(L"Value");
            // The rows are sorted without regard to case, so a value the
            // dictionary already holds is the same as the one before it. A
            // value that differs from its neighbour is added straight away;
            // should the dictionary still know it, its refusal (457) only
            // means "already present".
            std::wstring previous;
            bool first = true;
            auto addValue = [&](const qbx::Variant& cell) {
                const std::wstring text = cell.isNull() ? std::wstring() : cell.toString();
                if (!first && qbx::textEquals(text, previous)) return;
                first = false;
                previous = text;
                qbx::Err err;
                err.resume([&] { dic.call(L"Add", text, text); });
                if (err.number() != 0 && err.number() != qbx::vbErrKeyExists)
                    qbx::raise(err.number(), err.description());
            };
            // Column A of a block read as rows: every element in storage
            // order is one row, as the block has one column.
            if (block.isArray()) {
                for (const qbx::Variant& cell : qbx::elementsOf(block)) addValue(cell);
            } else {
                addValue(block);
            }
        }
        result = dic;
    });
    return result;
}

void cListHandler::SetDicList(const qbx::Disp& dic) {
    subSetAction(L"Writing the list into the grid");
    qbx::guarded(L"SetDicList", [&] {
        EditMode(true);
        SetValue(L"A2:A200", qbx::Variant(L""));
        long row = 2;
        for (const qbx::Variant& item : qbx::elementsOf(dic.get(L"Items")))
            SetValue(L"A" + std::to_wstring(row++), item);
        EditMode(false);
    });
}

void cListHandler::SetValue(const std::wstring& strAddress, const qbx::Variant& value) {
    subSetAction(L"Setting value of cells: " + strAddress + L" to a value of type " + fncTypeName(value));
    qbx::guarded(L"SetValue", [&] {
        qbx::Disp range = fncRange(strAddress);
        if (fncIsEmptyValue(value))
            range.call(L"ClearContents");
        else
            range.put(L"Value", value);
    });
}

qbx::Variant cListHandler::GetValue(const std::wstring& strAddress) {
    qbx::Variant result;
    subSetAction(L"Reading the value of cells: " + strAddress);
    qbx::guarded(L"GetValue", [&] { result = fncRange(strAddress).get(L"Value"); });
    return result;
}

void cListHandler::SetFormula(const std::wstring& strAddress, const std::wstring& strFormula) {
    subSetAction(L"Setting formula of cells: " + strAddress + L" to a formula: " + strFormula);
    qbx::guarded(L"SetFormula", [&] {
        qbx::Disp range = fncRange(strAddress);
        if (strFormula.empty())
            range.call(L"ClearContents");
        else
            range.put(L"Formula", strFormula);
    });
}

// ---------------------------------------------------------------- check boxes and selection

void cListHandler::SetCheckedColumn(const std::wstring& strColumn) {
    subSetAction(L"Making column " + strColumn + L" a check-box column");
    qbx::guarded(L"SetCheckedColumn", [&] {
        SetFont(strColumn, L"Wingdings");
        CenterAlign(strColumn);
        RaiseEventsEnabled(true);
        Checkboxes_ = true;
        CheckBoxCol_ = strColumn.substr(0, 1);
    });
}

void cListHandler::SetChecked(const std::wstring& strAddress, bool blnChecked) {
    subSetAction(L"Setting checkbox value of cells: " + strAddress + L" to the value " +
                 (blnChecked ? L"True" : L"False"));
    qbx::guarded(L"SetChecked", [&] { fncRange(strAddress).put(L"Value", blnChecked ? kChecked : kUnchecked); });
}

bool cListHandler::GetChecked(const std::wstring& strAddress) {
    bool result = false;
    subSetAction(L"Reading the value of cell " + strAddress);
    qbx::guarded(L"GetChecked", [&] {
        const qbx::Variant value = fncRange(strAddress).get(L"Value");
        const std::wstring text = value.isNull() ? std::wstring() : value.toString();
        // An empty cell reads as checked.
        result = text == kChecked || text.empty();
    });
    return result;
}

std::wstring cListHandler::fncGetSel() {
    std::wstring result;
    subSetAction(L"Reading the selected cell of the grid");
    qbx::guarded(L"fncGetSel", [&] {
        qbx::Disp selection = objSpreadsheet.getObj(L"Selection");
        std::wstring address = fncFirstCell(selection.get(L"Address").toString());
        qbx::Disp cell = fncRange(address);
        intCurrRow_ = cell.get(L"Row").toShort();
        intCurrCol_ = cell.get(L"Column").toShort();
        if (intCurrRow_ == 1) {
            // The header is not for editing: the cell below it is selected instead.
            address = qbx::replaceAll(address, L"1", L"2");
            SelectCell(address);
            intCurrRow_ = 2;
        }
        result = address;
    });
    return result;
}

void cListHandler::objTimer_Timer() {
    subSetAction(L"Checking whether the selected cell of the grid changed");
    qbx::guarded(L"objTimer_Timer", [&] {
        if (!objSpreadsheet) return;
        qbx::Disp viewable = fncRange(objSpreadsheet.getObj(L"ActiveWindow").get(L"ViewableRange").toString());
        if (viewable.getObj(L"Rows").get(L"Count").toLong() <= 1) return;
        const std::wstring address = fncGetSel();
        const std::wstring plain = qbx::replaceAll(address, L"$", L"");
        if (SelectedAddress_ == address || SelectedAddress_ == plain) return;
        if (Checkboxes_ && !plain.empty() && qbx::textEquals(plain.substr(0, 1), CheckBoxCol_)) {
            // A click (or a move) onto a check box toggles it; the selection
            // goes back to where it was, so the same box can be clicked again
            // and the next tick sees no change.
            EditMode(true);
            SetChecked(address, !GetChecked(address));
            EditMode(false);
            SelectCell(SelectedAddress_.empty() ? address : SelectedAddress_);
            if (SelectedAddress_.empty()) SelectedAddress_ = address;
            return;
        }
        SelectedAddress_ = address;
        if (selectionChange_) selectionChange_(address);
    });
}

// ---------------------------------------------------------------- modes

void cListHandler::EditMode(bool blnOn) {
    subSetAction(blnOn ? L"Starting to write into the grid" : L"Ending the writes into the grid");
    qbx::guarded(L"EditMode", [&] {
        if (objSpreadsheet) {
            objSpreadsheet.put(L"ScreenUpdating", !blnOn);
            CurrSheet.getObj(L"Protection").put(L"Enabled", !blnOn);
        }
        if (blnRaiseEvents_) {
            if (!objTimer) {
                objTimer = std::make_unique<frmTimer>();
                objTimer->TimerInterval(kPollInterval);
                objTimer->setTimerListener([this] { objTimer_Timer(); });
            }
            objTimer->TimerEnabled(!blnOn);
        }
    });
}

void cListHandler::Visible(bool blnVisible) {
    subSetAction(blnVisible ? L"Showing the grid" : L"Hiding the grid");
    blnVisible_ = blnVisible;
    qbx::guarded(L"Visible", [&] {
        if (objHostedControl) objHostedControl.put(L"Visible", blnVisible);
    });
}

void cListHandler::ClearAll() {
    subSetAction(L"Clearing the whole grid");
    qbx::guarded(L"ClearAll", [&] {
        EditMode(true);
        for (const wchar_t* part : {L"Columns", L"Rows"}) {
            qbx::Disp all = CurrSheet.getObj(part);
            all.call(L"Clear");
            all.call(L"ClearContents");
            all.call(L"ClearFormats");
            if (!blnNewerComponent_ && std::wstring(part) == L"Columns") all.put(L"FreezePanes", true);
        }
        qbx::Disp rows = CurrSheet.getObj(L"Rows");
        rows.getObj(L"Font").put(L"Size", 8);
        rows.getObj(L"Font").put(L"Name", L"Tahoma");
        SelectCell(L"A1");
        objSpreadsheet.put(L"DisplayGridlines", true);
        EditMode(false);
    });
}

void cListHandler::PrintSheet(const qbx::Disp& objBrowser) {
    subSetAction(L"Printing the grid");
    qbx::guarded(L"PrintSheet", [&] {
        const std::wstring html = CurrSheet.getObj(L"UsedRange").get(L"HTMLData").toString();
        if (html.empty()) return;
        const std::wstring path = fncGetTempPath() + L"OWCPrint.htm";
        subWriteTextFile(path, html);
        if (objBrowser) {
            objBrowser.call(L"Navigate2", path);
            objBrowser.getObj(L"document").call(L"execCommand", L"print");
        } else {
            fncShellExecute(L"print", path);
        }
    });
}

void cListHandler::AutoFilter(const std::wstring&) {
    subSetAction(L"Switching the grid's filter on");
    qbx::guarded(L"AutoFilter", [&] {
        CurrSheet.put(L"EnableAutoFilter", true);
        CurrSheet.getObj(L"UsedRange").call(L"AutoFilter");
    });
}

// ---------------------------------------------------------------- small setters

void cListHandler::SetBold(const std::wstring& a, bool blnBold) {
    subSetAction(L"Setting bold text of cells " + a);
    qbx::guarded(L"SetBold", [&] { fncRange(a).getObj(L"Font").put(L"Bold", blnBold); });
}

void cListHandler::LockRange(const std::wstring& a, bool blnLocked) {
    subSetAction(L"Locking cells " + a);
    qbx::guarded(L"LockRange", [&] { fncRange(a).put(L"Locked", blnLocked); });
}

void cListHandler::SetExcelVisible(bool blnVisible) {
    subSetAction(L"Showing or hiding the spreadsheet's toolbar and headings");
    qbx::guarded(L"SetExcelVisible", [&] {
        objSpreadsheet.put(L"DisplayToolbar", blnVisible);
        ColHeaders(blnVisible);
        RowHeaders(blnVisible);
        if (blnNewerComponent_) {
            qbx::Disp window = objSpreadsheet.getObj(L"ActiveWindow");
            window.put(L"DisplayHorizontalScrollBar", blnVisible);
            window.put(L"DisplayVerticalScrollBar", blnVisible);
        }
    });
}

void cListHandler::ColHeaders(bool blnVisible) {
    subSetAction(L"Showing or hiding the column headings");
    qbx::guarded(L"ColHeaders", [&] {
        objSpreadsheet.put(blnNewerComponent_ ? L"DisplayColumnHeadings" : L"DisplayColHeaders", blnVisible);
    });
}

void cListHandler::RowHeaders(bool blnVisible) {
    subSetAction(L"Showing or hiding the row headings");
    qbx::guarded(L"RowHeaders", [&] {
        objSpreadsheet.put(blnNewerComponent_ ? L"DisplayRowHeadings" : L"DisplayRowHeaders", blnVisible);
    });
}

void cListHandler::SetVisibleRange(const std::wstring& a) {
    subSetAction(L"Setting the cells the grid shows to " + a);
    qbx::guarded(L"SetVisibleRange", [&] {
        CurrSheet.getObj(L"Protection").put(L"Enabled", false);
        objSpreadsheet.getObj(L"ActiveWindow").put(L"ViewableRange", a);
    });
}

void cListHandler::SortRange() {
    subSetAction(L"Sorting the grid");
    qbx::guarded(L"SortRange", [&] { subSortRows(L"A2:d1000"); });
}

void cListHandler::FreezePanes(const std::wstring& a) {
    subSetAction(L"Freezing the grid above and left of " + a);
    qbx::guarded(L"FreezePanes", [&] {
        if (blnNewerComponent_) {
            fncRange(a).call(L"Select");
            qbx::Disp window = objSpreadsheet.getObj(L"ActiveWindow");
            window.put(L"FreezePanes", false);
            window.put(L"FreezePanes", true);
        } else {
            fncRange(a).put(L"FreezePanes", true);
        }
    });
}

void cListHandler::FixHorizontalAlign(const std::wstring& a, long lngAlignment) {
    subSetAction(L"Aligning cells " + a);
    qbx::guarded(L"FixHorizontalAlign", [&] {
        fncRange(a).put(blnNewerComponent_ ? L"HorizontalAlignment" : L"HAlignment", lngAlignment);
    });
}

void cListHandler::CenterAlign(const std::wstring& a) {
    FixHorizontalAlign(a, blnNewerComponent_ ? xlHAlignCenter : ssHAlignCenter);
}

void cListHandler::AutoFitCols(const std::wstring& a) {
    subSetAction(L"Fitting the columns of " + a + L" to their text");
    qbx::guarded(L"AutoFitCols", [&] {
        if (blnNewerComponent_)
            fncRange(a).getObj(L"EntireColumn").call(L"AutoFit");
        else
            fncRange(a).call(L"AutoFitColumns");
    });
}

void cListHandler::SetFont(const std::wstring& a, const std::wstring& strFontName) {
    subSetAction(L"Setting the font of cells " + a + L" to " + strFontName);
    qbx::guarded(L"SetFont", [&] { fncRange(a).getObj(L"Font").put(L"Name", strFontName); });
}

void cListHandler::RightEdgeColDash(const std::wstring& a) {
    subSetAction(L"Drawing a dashed line right of column " + a);
    qbx::guarded(L"RightEdgeColDash", [&] {
        qbx::Disp border = fncRange(a).getObj(L"EntireColumn").getObj(L"Borders").item(xlEdgeRight);
        border.put(L"LineStyle", xlDash);
        border.put(L"Color", 0);
        border.put(L"Weight", xlThin);
    });
}

void cListHandler::TopEdgeRowDash(const std::wstring& a) {
    subSetAction(L"Drawing a dashed line above row " + a);
    qbx::guarded(L"TopEdgeRowDash", [&] {
        qbx::Disp border = fncRange(a).getObj(L"EntireRow").getObj(L"Borders").item(xlEdgeTop);
        border.put(L"LineStyle", xlDash);
        border.put(L"Color", 0);
        border.put(L"Weight", xlThin);
    });
}

void cListHandler::DisplayVerticalScroll(bool blnVisible) {
    subSetAction(L"Showing or hiding the grid's vertical scroll bar");
    qbx::guarded(L"DisplayVerticalScroll", [&] {
        objSpreadsheet.getObj(L"ActiveWindow").put(L"DisplayVerticalScrollBar", blnVisible);
    });
}

void cListHandler::DisplayHorizontalScroll(bool blnVisible) {
    subSetAction(L"Showing or hiding the grid's horizontal scroll bar");
    qbx::guarded(L"DisplayHorizontalScroll", [&] {
        objSpreadsheet.getObj(L"ActiveWindow").put(L"DisplayHorizontalScrollBar", blnVisible);
    });
}

void cListHandler::SelectCell(const std::wstring& a) {
    subSetAction(L"Selecting cell " + a);
    qbx::guarded(L"SelectCell", [&] { fncRange(a).call(L"Select"); });
}

void cListHandler::SetColumnWidth(const std::wstring& a, double dblWidth) {
    subSetAction(L"Setting the width of column " + a);
    qbx::guarded(L"SetColumnWidth", [&] { fncRange(a).getObj(L"EntireColumn").put(L"ColumnWidth", dblWidth); });
}

void cListHandler::SetDateFormat(const std::wstring& a) {
    subSetAction(L"Showing cells " + a + L" as dates");
    qbx::guarded(L"SetDateFormat", [&] {
        CurrSheet.getObj(L"Protection").put(L"Enabled", false);
        fncRange(a).put(L"NumberFormat", L"General Date");
    });
}

void cListHandler::SetTextFormat(const std::wstring& a) {
    subSetAction(L"Showing cells " + a + L" as text");
    qbx::guarded(L"SetTextFormat", [&] { fncRange(a).put(L"NumberFormat", L"Text"); });
}

void cListHandler::SetNumberFormat(const std::wstring& a) {
    subSetAction(L"Showing cells " + a + L" as numbers");
    qbx::guarded(L"SetNumberFormat", [&] { fncRange(a).put(L"NumberFormat", L"General"); });
}

void cListHandler::SetInteriorColor(const std::wstring& a, long lngColor, bool blnClearBorders) {
    subSetAction(L"Colouring cells " + a);
    qbx::guarded(L"SetInteriorColor", [&] {
        CurrSheet.getObj(L"Protection").put(L"Enabled", false);
        qbx::Disp range = fncRange(a);
        range.getObj(L"Interior").put(L"Color", lngColor);
        qbx::Disp borders = range.getObj(L"Borders");
        if (blnClearBorders) {
            borders.put(L"LineStyle", xlLineStyleNone);
        } else {
            borders.put(L"LineStyle", xlContinuous);
            borders.put(L"Weight", objSpreadsheet.getObj(L"Constants").get(L"owcLineWeightThin"));
        }
    });
}

long cListHandler::GetInteriorColor(const std::wstring& a) {
    long result = 0;
    subSetAction(L"Trying to determine interior color of cell " + a);
    qbx::guarded(L"GetInteriorColor", [&] { result = fncRange(a).getObj(L"Interior").get(L"Color").toLong(); });
    return result;
}

void cListHandler::Width(short intWidth) {
    subSetAction(L"Setting the width of the grid");
    qbx::guarded(L"Width", [&] {
        if (objSpreadsheet) objHostedControl.put(L"Width", intWidth);
        intWidth_ = intWidth;
    });
}

void cListHandler::MoveRight() {
    subSetAction(L"Making Enter move to the right in the grid");
    qbx::guarded(L"MoveRight", [&] {
        objSpreadsheet.put(L"MoveAfterReturn", true);
        objSpreadsheet.put(L"MoveAfterReturnDirection", xlToRight);
    });
}
