// What the files of the spreadsheet's object model share (sheet_objects.cpp,
// sheet_values.cpp, sheet_formats.cpp): reading arguments, values in and
// out of cells, the components' codes, and the format objects. Not for use
// outside them.
#pragma once

#include "settings_ui/spreadsheet/sheet_objects.h"

namespace qbx::sheet {

// Hands out a new object as a Variant (the Variant holds the only reference).
template <class T, class... A>
Variant newObject(A&&... args) {
    ComPtr<T> p(new T(std::forward<A>(args)...));
    return Variant(static_cast<IDispatch*>(p.get()));
}

inline Variant cellRange(const Context& c, const Rect& r, Range::Kind kind = Range::Kind::Cells) {
    return newObject<Range>(c, r, kind);
}

// ---- arguments (sheet_values.cpp)
// A row or column number given to Cells, Rows, Columns (a column also by its letters).
int indexArg(const Variant& v, bool column, Here where = {});
// Raises unless the rectangle lies inside the sheet.
void checkInSheet(const Rect& r);
// The cells an argument names: an address, or a range object.
Rect rectArg(const Variant& v);
// Range(Cell1[, Cell2]).
Rect rangeArgs(Args& a);
// Cells(row, column) or Cells(i) relative to a rectangle; none: all of it.
Rect cellsArgs(const Rect& base, Args& a);
// Rows([i]) and Columns([i]) of a rectangle.
Rect linesArgs(const Rect& base, Args& a, bool columns);
// Address(RowAbsolute, ColumnAbsolute).
std::wstring addressOf(const Rect& r, bool rowAbsolute, bool columnAbsolute);

// ---- values in and out of cells (sheet_values.cpp)
void putValue(Sheet& s, const Rect& r, const Variant& value);
Variant getValue(const Sheet& s, const Rect& r);
void putFormula(Sheet& s, const Rect& r, const Variant& value);
Variant getFormula(const Sheet& s, const Rect& r);

// ---- the components' codes
// Horizontal alignment codes: the newer generations' (HorizontalAlignment)
// and the first generation's (HAlignment).
constexpr long xlHAlignGeneral = 1, xlHAlignLeft = -4131, xlHAlignCenter = -4108, xlHAlignRight = -4152;
constexpr long xlNone = -4142;
constexpr COLORREF kWhite = 0xFFFFFF;
constexpr long xlEdgeLeft = 7, xlEdgeTop = 8, xlEdgeBottom = 9, xlEdgeRight = 10, xlInsideVertical = 11,
               xlInsideHorizontal = 12;
constexpr long xlContinuous = 1, xlDash = -4115, xlDot = -4118, xlDouble = -4119, xlLineStyleNone = -4142;
constexpr long xlHairline = 1, xlThin = 2, xlMedium = -4138, xlThick = 4;
constexpr long xlDown = -4121, xlToRight = -4161, xlUp = -4162, xlToLeft = -4159;
constexpr long xlAscending = 1, xlDescending = 2, xlGuess = 0, xlYes = 1, xlNo = 2;

HAlign alignFromCode(long code, bool firstGeneration);
long alignCode(HAlign a, bool firstGeneration);
// A colour as a number (BGR) or as "#rrggbb"; xlNone is no fill.
COLORREF colorArg(const Variant& v);
// MoveAfterReturnDirection's codes (either generation's) as 0 down, 1 right, 2 up, 3 left.
int directionIndex(long code);
inline CellFormat topLeftFormat(const SheetObject& o, const Rect& r) { return o.sheet().format(r.top, r.left); }

// ---- the format objects (sheet_formats.cpp)
Variant newFont(const Context& c, const Rect& r);
Variant newInterior(const Context& c, const Rect& r);
Variant newBorder(const Context& c, const Rect& r, long index);
Variant newBorders(const Context& c, const Rect& r);
Variant newProtection(const Context& c);
Variant newConstants(const Context& c);

}  // namespace qbx::sheet
