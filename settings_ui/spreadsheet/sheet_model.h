// The data behind Quillbox's own spreadsheet control: one worksheet of cells
// with values, the few formulas the add-in writes, layered formats, column
// widths, protection, the selection and the view settings the object model
// exposes. No windows and no COM here: the object model (sheet_objects.h)
// and the control's window (spreadsheet_control.h) both work on this.
//
// Rows and columns are 1-based, as A1 addresses are. The sheet is 65,536 rows
// by 256 columns (A to IV), the size of the spreadsheets the control stands in
// for. Errors are raised as qbx::Error (numbers in kErr... below) at the
// caller's line, so a bad address or value reaches the add-in's error
// convention like any failed late-bound call.
#pragma once

#include "support/com.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace qbx::sheet {

constexpr int kMaxRows = 65536;
constexpr int kMaxColumns = 256;
// The longest text one cell holds.
constexpr size_t kMaxCellText = 32767;

// Error numbers the control raises (with their texts from the object model).
constexpr long kErrBadAddress = 1004;   // not an A1 reference, or outside the sheet
constexpr long kErrBadValue = 1004;     // an array of the wrong shape, a text too long
constexpr long kErrProtected = 1004;    // a user edit of a locked cell on a protected sheet

// A rectangle of cells, inclusive on all sides.
struct Rect {
    int top = 1, left = 1, bottom = 1, right = 1;
    int rows() const noexcept { return bottom - top + 1; }
    int columns() const noexcept { return right - left + 1; }
    bool contains(int row, int column) const noexcept {
        return row >= top && row <= bottom && column >= left && column <= right;
    }
    bool isCell() const noexcept { return top == bottom && left == right; }
    friend bool operator==(const Rect&, const Rect&) = default;
};

// Parses an A1 reference in any letter case, with or without "$" anchors:
// a cell ("f1", "$A$2"), a range ("a2:a5", "A1:F2000"), whole rows ("1:1",
// "1:1999") or whole columns ("A:A", "B:D"). Blanks around it are allowed.
// Raises kErrBadAddress for anything else or anything outside the sheet.
Rect parseAddress(const std::wstring& address, Here where = {});
// "A", "B", ... "Z", "AA", ... "IV".
std::wstring columnName(int column);
// The address as the spreadsheet reports it: absolute ("$A$2", "$A$2:$B$5");
// relative ("A2", "A2:B5") when absolute is false.
std::wstring formatAddress(const Rect& r, bool absolute = true);

// A cell's value: empty, a number, a Boolean or text.
using CellValue = std::variant<std::monostate, double, bool, std::wstring>;
bool isEmpty(const CellValue& v) noexcept;
// The value as the cell shows it (numbers in the shortest general form).
std::wstring displayText(const CellValue& v);
// Conversions to and from Variant at the object model's edge. A Variant that
// is no simple value (an object, an array) raises kErrBadValue.
CellValue fromVariant(const Variant& v, Here where = {});
Variant toVariant(const CellValue& v);

enum class HAlign { General, Left, Center, Right };

// One layer of formatting: only the fields that are set apply.
struct Format {
    std::optional<std::wstring> fontName;
    std::optional<double> fontSize;
    std::optional<bool> bold;
    std::optional<COLORREF> interior;  // CLR_INVALID: no fill
    std::optional<bool> locked;
    std::optional<HAlign> align;
    std::optional<std::wstring> numberFormat;
    // Borders: line style (0 = none), colour and weight of the right and the
    // bottom edge of each cell in the layer's rectangle.
    std::optional<int> rightBorder, bottomBorder;
    std::optional<COLORREF> borderColor;
    std::optional<int> borderWeight;  // 1 hairline, 2 thin, 3 medium, 4 thick
};

// A layer that sets every field to its default: what ClearFormats leaves.
Format defaultFormat();

// Everything that is known about one cell's look, with the defaults filled in
// (Arial 10, not bold, no fill, locked, general alignment and number format).
struct CellFormat {
    std::wstring fontName = L"Arial";
    double fontSize = 10;
    bool bold = false;
    COLORREF interior = CLR_INVALID;
    bool locked = true;
    HAlign align = HAlign::General;
    std::wstring numberFormat = L"General";
    int rightBorder = 0, bottomBorder = 0;
    COLORREF borderColor = 0;
    int borderWeight = 2;
};

struct Protection {
    bool enabled = false;
    bool allowFormattingColumns = false, allowFormattingRows = false;
    bool allowInsertingColumns = false, allowInsertingRows = false;
    bool allowDeletingColumns = false, allowDeletingRows = false;
    bool allowSizingAllColumns = false, allowSizingAllRows = false;
    bool allowSorting = false, allowFiltering = false;
    bool allowHeadingRename = false;
    bool enableAutoFilter = false;  // the sheet's EnableAutoFilter switch
};

// Settings of the spreadsheet and its window that the object model exposes
// and the window obeys. Switches the window has nothing for are kept and
// read back, so setting them is harmless.
struct ViewSettings {
    bool displayGridlines = true;
    bool displayColumnHeadings = true, displayRowHeadings = true;
    bool displayHorizontalScrollBar = true, displayVerticalScrollBar = true;
    bool displayToolbar = true, displayTitleBar = true, displayWorkbookTabs = true;
    bool allowPropertyToolbox = true, enableResize = true;
    bool screenUpdating = true;
    bool moveAfterReturn = true;
    int moveAfterReturnDirection = 0;  // 0 down, 1 right, 2 up, 3 left (XlDirection order of the component)
    int frozenRows = 0, frozenColumns = 0;  // rows above / columns left of the frozen split
    bool autoFilter = false;
};

// What the window tells the model, and the model the window.
class View {
public:
    virtual ~View() = default;
    // The viewable range changed: only its cells may be shown, scrolled to
    // or selected by the user from now on.
    virtual void setViewableRange(const Rect& r) = 0;
    // The object model is about to read or change the sheet: an entry the
    // user is still typing goes into the cell it was started in first.
    virtual void settleEntry() {}
    // Something changed: repaint when screen updating is on.
    virtual void invalidate() = 0;
    // The width of the text in the cell's font, in characters of the default
    // font (Arial 10), for AutoFit; negative when the view can't measure
    // (then the sheet estimates with an average character width).
    virtual double measureText(const std::wstring& text, const CellFormat& format) const { return -1; }
};

class Sheet {
public:
    Sheet();

    // Holds back the repaint requests of a bulk change: while one lives,
    // changed() only notes that something changed, and the outermost one
    // passes a single request on when it ends.
    class Batch {
    public:
        explicit Batch(Sheet& s) noexcept : s_(s) { ++s_.batchDepth_; }
        ~Batch() {
            if (--s_.batchDepth_ == 0 && s_.batchChanged_) {
                s_.batchChanged_ = false;
                s_.changed();
            }
        }
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        Sheet& s_;
    };

    // ---- values and formulas
    CellValue value(int row, int column) const;          // formulas evaluated
    std::wstring formula(int row, int column) const;     // "=COUNTA(A1:A10000)" or the value's text
    bool hasFormula(int row, int column) const;
    // Writes a value (kills a formula there); raises kErrBadValue for a text
    // longer than kMaxCellText.
    void setValue(int row, int column, CellValue v, Here where = {});
    // Text starting with "=" is a formula: COUNTA(range), COUNT(range),
    // SUM(range) and a plain cell reference are understood; anything else
    // raises kErrBadValue. Other text is a value (numbers recognised).
    void setFormula(int row, int column, const std::wstring& text, Here where = {});
    // A user's entry from the cell editor: like setFormula, but refused with
    // kErrProtected when the cell is locked on a protected sheet.
    void enterText(int row, int column, const std::wstring& text, Here where = {});
    bool editable(int row, int column) const;  // not (locked and protected)
    void clearContents(const Rect& r);
    void clearFormats(const Rect& r);
    void clear(const Rect& r);  // contents and formats
    // Recomputes every formula now (they are also recomputed when read after a change).
    void calculate();
    // The smallest rectangle holding every non-empty cell (A1 when none).
    Rect usedRange() const;
    // Rows-first values of a range, for Value on several cells.
    std::vector<std::vector<CellValue>> values(const Rect& r) const;
    // Sorts the rows of the range by one of its columns (1-based within the
    // range): text without regard to letter case, numbers before text,
    // empty cells last whatever the order. Header true leaves the first row.
    void sort(const Rect& r, int keyColumn, bool ascending, bool header);

    // ---- formats
    void applyFormat(const Rect& r, const Format& f);
    CellFormat format(int row, int column) const;
    double columnWidth(int column) const;  // in characters of the default font; 8.43 by default
    void setColumnWidth(int column, double width);
    // Sets the columns' widths to fit their longest displayed text.
    void autoFit(int firstColumn, int lastColumn);

    // ---- protection, selection, view
    Protection protection;
    ViewSettings settings;
    int activeRow() const noexcept { return activeRow_; }
    int activeColumn() const noexcept { return activeColumn_; }
    const Rect& selection() const noexcept { return selection_; }
    // Selects a range; its top left becomes the active cell.
    void select(const Rect& r);
    void setView(View* view) noexcept { view_ = view; }
    View* view() const noexcept { return view_; }
    // The cells the user may see and reach (the whole sheet unless set):
    // the window hides every other cell, as the components do with cells
    // kept for intermediate results.
    const Rect& viewableRange() const noexcept { return viewable_; }
    void setViewableRange(const Rect& r);
    // Tells the window to repaint (only when screen updating is on); counts
    // the requests that reached the window, for the benchmarks.
    void changed();

private:
    friend struct SheetTesting;  // sheet_model_testing.h

    // What a formula computes: the value of one cell, or a count or sum over a range.
    enum class Fn : uint8_t { Ref, CountA, Count, Sum };
    struct Cell {
        CellValue value;       // a formula's last result
        std::wstring formula;  // empty: a plain value
        Fn fn = Fn::Ref;
        Rect ref;
    };
    static uint32_t key(int row, int column) noexcept { return (static_cast<uint32_t>(column) << 17) | static_cast<uint32_t>(row); }
    void recalcIfNeeded() const;
    CellValue evaluate(uint32_t k) const;
    void eraseCells(const Rect& r);

    // Read through const readers that recalculate formulas first.
    mutable std::map<uint32_t, Cell> cells_;  // column-major, so a column's rows are neighbours
    mutable std::map<uint32_t, int> formulas_;  // formula cells: 0 to compute, 1 computing, 2 done
    std::vector<std::pair<Rect, Format>> formats_;
    std::map<int, double> columnWidths_;
    mutable bool dirty_ = false;
    int activeRow_ = 1, activeColumn_ = 1;
    Rect selection_;
    View* view_ = nullptr;
    uint64_t repaints_ = 0;
    int batchDepth_ = 0;
    bool batchChanged_ = false;
    Rect viewable_{1, 1, kMaxRows, kMaxColumns};
};

}  // namespace qbx::sheet
