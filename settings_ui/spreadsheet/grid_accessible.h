// What a screen reader reads of the spreadsheet control's window: a table
// (named by its header cell) whose children are the rows shown of the
// viewable range, down to the last used or active row; each row's children
// are its cells, with the cell's text as name and value. The active cell is
// the focus and the selection.
//
// Child ids in the window's events and on the table: a row is its position
// among the table's children (1, 2, ...); a cell is fncCellChildId(row,
// column), which the table answers as a simple element of its own.
#pragma once

#include <windows.h>
#include <oleacc.h>

#include <memory>

class cSpreadsheetControl;

// The link from the accessible objects to their control; cut when the
// control goes, so an object a reader still holds answers "gone".
struct cGridAccessLink {
    cSpreadsheetControl* control = nullptr;
};

// The id under which a cell is known in events and to the table.
long fncCellChildId(int row, int column);

// The table object for the control's window (a new reference), or null.
IAccessible* fncCreateGridAccessible(const std::shared_ptr<cGridAccessLink>& link);
