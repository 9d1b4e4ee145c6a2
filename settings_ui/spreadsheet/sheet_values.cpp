// The spreadsheet's object model: reading the arguments of its calls, values
// and formulas in and out of cells (scalars and arrays), the components'
// codes, and the HTML of a range.
#include "settings_ui/spreadsheet/sheet_objects_internal.h"

#include <algorithm>

namespace qbx::sheet {

// ---------------------------------------------------------------- arguments

// A row or column number given to Cells, Rows, Columns (a column also by its letters).
int indexArg(const Variant& v, bool column, Here where) {
    if (column && v.type() == VT_BSTR) {
        Rect r = parseAddress(v.toString() + L":" + v.toString(), where);
        return r.left;
    }
    return static_cast<int>(v.toLong(where));
}

void checkInSheet(const Rect& r) {
    if (r.top < 1 || r.left < 1 || r.bottom > kMaxRows || r.right > kMaxColumns || r.top > r.bottom ||
        r.left > r.right)
        raise(kErrBadAddress, L"The cells asked for lie outside the sheet (A1 to IV65536)");
}

// The cells an argument names: an address, or a range object (read through
// its Address, so a range of any origin is understood).
Rect rectArg(const Variant& v) {
    if (v.isObject()) {
        Disp d = v.toDisp();
        if (!d) raiseVb(vbErrObjectNotSet);
        return parseAddress(d.get(L"Address").toString());
    }
    if (v.type() != VT_BSTR && !v.isNumeric())
        raise(kErrBadAddress, L"A cell reference is expected here");
    return parseAddress(v.toString());
}

namespace {

Rect bounding(const Rect& a, const Rect& b) {
    return Rect{std::min(a.top, b.top), std::min(a.left, b.left), std::max(a.bottom, b.bottom),
                std::max(a.right, b.right)};
}

}  // namespace

// Range(Cell1[, Cell2]): one reference, or the rectangle spanning two.
Rect rangeArgs(Args& a) {
    Rect r = rectArg(a.value(0));
    if (a.has(1)) r = bounding(r, rectArg(a.value(1)));
    return r;
}

// Cells(row, column) relative to a rectangle's top left; Cells(i) counts
// rows first across the rectangle's width; no argument is the whole rectangle.
Rect cellsArgs(const Rect& base, Args& a) {
    if (!a.has(0)) return base;
    int row, column;
    if (a.has(1)) {
        row = indexArg(a.value(0), false);
        column = indexArg(a.value(1), true);
    } else {
        long i = a.i32(0) - 1;
        if (i < 0) raise(kErrBadAddress, L"Cell numbers start at 1");
        row = static_cast<int>(i / base.columns()) + 1;
        column = static_cast<int>(i % base.columns()) + 1;
    }
    Rect r{base.top + row - 1, base.left + column - 1, base.top + row - 1, base.left + column - 1};
    checkInSheet(r);
    return r;
}

// Rows([i]) and Columns([i]) of a rectangle; a text names them by address
// ("1:1999", "B", "A:C").
Rect linesArgs(const Rect& base, Args& a, bool columns) {
    if (!a.has(0)) return base;
    Variant v = a.value(0);
    if (v.type() == VT_BSTR) {
        std::wstring s = v.toString();
        if (s.find(L':') == std::wstring::npos) s += L":" + s;
        return parseAddress(s);
    }
    int i = static_cast<int>(v.toLong());
    Rect r = base;
    if (columns) r.left = r.right = base.left + i - 1;
    else r.top = r.bottom = base.top + i - 1;
    checkInSheet(r);
    return r;
}

// An address with each part absolute or not, as Address(RowAbsolute, ColumnAbsolute) gives it.
std::wstring addressOf(const Rect& r, bool rowAbsolute, bool columnAbsolute) {
    if (rowAbsolute == columnAbsolute) return formatAddress(r, rowAbsolute);
    std::wstring rd = rowAbsolute ? L"$" : L"", cd = columnAbsolute ? L"$" : L"";
    if (r.left == 1 && r.right == kMaxColumns)
        return rd + std::to_wstring(r.top) + L":" + rd + std::to_wstring(r.bottom);
    if (r.top == 1 && r.bottom == kMaxRows) return cd + columnName(r.left) + L":" + cd + columnName(r.right);
    std::wstring first = cd + columnName(r.left) + rd + std::to_wstring(r.top);
    if (r.isCell()) return first;
    return first + L":" + cd + columnName(r.right) + rd + std::to_wstring(r.bottom);
}

// ---------------------------------------------------------------- values in and out

namespace {

// One element of an array as a Variant.
Variant elementAt(SAFEARRAY* sa, VARTYPE vt, LONG* index) {
    VARIANT e;
    VariantInit(&e);
    HRESULT hr = E_FAIL;
    switch (vt) {
        case VT_VARIANT: hr = SafeArrayGetElement(sa, index, &e); break;
        case VT_DECIMAL:
            hr = SafeArrayGetElement(sa, index, &e.decVal);
            e.vt = VT_DECIMAL;
            break;
        case VT_BSTR: case VT_BOOL: case VT_I1: case VT_UI1: case VT_I2: case VT_UI2: case VT_I4: case VT_UI4:
        case VT_INT: case VT_UINT: case VT_I8: case VT_UI8: case VT_R4: case VT_R8: case VT_CY: case VT_DATE:
            hr = SafeArrayGetElement(sa, index, &e.llVal);  // the value sits at the union's start
            if (SUCCEEDED(hr)) e.vt = vt;
            break;
        default:
            raise(kErrBadValue, L"An array of this kind of element can't be put into cells");
    }
    if (FAILED(hr)) raise(kErrBadValue, L"An element of the array could not be read");
    return Variant::attach(e);
}

std::wstring shapeText(long rows, long columns) {
    return std::to_wstring(rows) + (rows == 1 ? L" row and " : L" rows and ") + std::to_wstring(columns) +
           (columns == 1 ? L" column" : L" columns");
}

// Calls put(row, column, element) for each element of an array assigned to
// the range, after checking the shapes agree. A 2-D array must have the
// range's rows and columns (any lower bounds). A 1-D array goes down a
// one-column range (the add-in's lists) or across a one-row range.
template <class F>
void forArray(const Variant& value, const Rect& r, F put) {
    Variant v = Variant::copyOf(value.raw());
    SAFEARRAY* sa = v.raw().parray;
    if (!sa) raise(kErrBadValue, L"The array is empty");
    VARTYPE vt = VT_EMPTY;
    SafeArrayGetVartype(sa, &vt);
    UINT dims = SafeArrayGetDim(sa);
    std::wstring range = formatAddress(r, false);
    if (dims == 2) {
        LONG lr = 0, ur = -1, lc = 0, uc = -1;
        SafeArrayGetLBound(sa, 1, &lr);
        SafeArrayGetUBound(sa, 1, &ur);
        SafeArrayGetLBound(sa, 2, &lc);
        SafeArrayGetUBound(sa, 2, &uc);
        long rows = ur - lr + 1, columns = uc - lc + 1;
        if (rows != r.rows() || columns != r.columns())
            raise(kErrBadValue, L"The array has " + shapeText(rows, columns) + L" but the range " + range + L" has " +
                                    shapeText(r.rows(), r.columns()));
        for (long i = 0; i < rows; ++i)
            for (long j = 0; j < columns; ++j) {
                LONG index[2] = {lr + i, lc + j};  // rows first, as the array was made
                put(r.top + static_cast<int>(i), r.left + static_cast<int>(j), elementAt(sa, vt, index));
            }
        return;
    }
    if (dims == 1) {
        LONG l = 0, u = -1;
        SafeArrayGetLBound(sa, 1, &l);
        SafeArrayGetUBound(sa, 1, &u);
        long n = u - l + 1;
        bool down = r.columns() == 1 && n == r.rows();
        bool across = r.rows() == 1 && n == r.columns();
        if (!down && !across)
            raise(kErrBadValue, L"A list of " + std::to_wstring(n) + L" values fits a range of one column or one row with " +
                                    std::to_wstring(n) + L" cells, not " + range + L" (" + shapeText(r.rows(), r.columns()) + L")");
        for (long i = 0; i < n; ++i) {
            LONG index = l + i;
            int row = down ? r.top + static_cast<int>(i) : r.top;
            int column = down ? r.left : r.left + static_cast<int>(i);
            put(row, column, elementAt(sa, vt, &index));
        }
        return;
    }
    raise(kErrBadValue, L"Only arrays of one or two dimensions can be put into cells");
}

// A rows-first 2-D array (1-based) of the range, one Variant per cell.
template <class F>
Variant arrayOf(const Rect& r, F cell) {
    SAFEARRAYBOUND b[2];
    b[0].cElements = static_cast<ULONG>(r.rows());
    b[0].lLbound = 1;
    b[1].cElements = static_cast<ULONG>(r.columns());
    b[1].lLbound = 1;
    SafeArray a(SafeArrayCreate(VT_VARIANT, 2, b));
    if (!a.get()) raiseVb(vbErrOutOfMemory);
    {
        ArrayData<VARIANT> data(a.get());
        // Storage runs down the first dimension (rows) first.
        for (int c = 0; c < r.columns(); ++c)
            for (int row = 0; row < r.rows(); ++row)
                data[static_cast<size_t>(c) * static_cast<size_t>(r.rows()) + static_cast<size_t>(row)] =
                    cell(row, c).detach();
    }
    return std::move(a).toVariant(VT_VARIANT);
}

}  // namespace

void putValue(Sheet& s, const Rect& r, const Variant& value) {
    Sheet::Batch batch(s);
    if (value.isArray()) {
        forArray(value, r, [&](int row, int column, const Variant& e) { s.setValue(row, column, fromVariant(e)); });
        return;
    }
    // A scalar fills every cell; empty (or empty text) clears them.
    CellValue v = fromVariant(value);
    if (isEmpty(v) || (std::holds_alternative<std::wstring>(v) && std::get<std::wstring>(v).empty())) {
        s.clearContents(r);
        return;
    }
    for (int c = r.left; c <= r.right; ++c)
        for (int row = r.top; row <= r.bottom; ++row) s.setValue(row, c, v);
}

Variant getValue(const Sheet& s, const Rect& r) {
    if (r.isCell()) return toVariant(s.value(r.top, r.left));
    auto values = s.values(r);
    return arrayOf(r, [&](int row, int c) { return toVariant(values[static_cast<size_t>(row)][static_cast<size_t>(c)]); });
}

void putFormula(Sheet& s, const Rect& r, const Variant& value) {
    Sheet::Batch batch(s);
    if (value.isArray()) {
        forArray(value, r, [&](int row, int column, const Variant& e) { s.setFormula(row, column, e.toString()); });
        return;
    }
    std::wstring text = value.toString();
    if (text.empty()) {
        s.clearContents(r);
        return;
    }
    for (int c = r.left; c <= r.right; ++c)
        for (int row = r.top; row <= r.bottom; ++row) s.setFormula(row, c, text);
}

Variant getFormula(const Sheet& s, const Rect& r) {
    if (r.isCell()) return Variant(s.formula(r.top, r.left));
    return arrayOf(r, [&](int row, int c) { return Variant(s.formula(r.top + row, r.left + c)); });
}

// ---------------------------------------------------------------- formats


HAlign alignFromCode(long code, bool firstGeneration) {
    if (firstGeneration) {
        switch (code) {
            case 0: return HAlign::General;
            case 1: return HAlign::Left;
            case 2: return HAlign::Center;
            case 3: return HAlign::Right;
        }
    } else {
        switch (code) {
            case xlHAlignGeneral: return HAlign::General;
            case xlHAlignLeft: return HAlign::Left;
            case xlHAlignCenter: return HAlign::Center;
            case xlHAlignRight: return HAlign::Right;
        }
    }
    raise(kErrBadValue, L"Unknown horizontal alignment " + std::to_wstring(code));
}

long alignCode(HAlign a, bool firstGeneration) {
    static const long newer[] = {xlHAlignGeneral, xlHAlignLeft, xlHAlignCenter, xlHAlignRight};
    return firstGeneration ? static_cast<long>(a) : newer[static_cast<int>(a)];
}


// A colour as a number (BGR, as Visual Basic's RGB gives it) or as "#rrggbb".
COLORREF colorArg(const Variant& v) {
    if (v.type() == VT_BSTR) {
        std::wstring s = v.toString();
        if (s.size() == 7 && s[0] == L'#') {
            unsigned long rgb = std::wcstoul(s.c_str() + 1, nullptr, 16);
            return RGB((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF);
        }
    }
    long n = v.toLong();
    if (n == xlNone) return CLR_INVALID;
    if (n < 0 || n > 0xFFFFFF) raise(kErrBadValue, L"Not a colour: " + std::to_wstring(n));
    return static_cast<COLORREF>(n);
}

int directionIndex(long code) {
    switch (code) {
        case xlDown: case 0: return 0;
        case xlToRight: case 1: return 1;
        case xlUp: case 2: return 2;
        case xlToLeft: case 3: return 3;
    }
    raise(kErrBadValue, L"Unknown direction " + std::to_wstring(code));
}

// ---------------------------------------------------------------- HTML

namespace {
std::wstring escapeHtml(const std::wstring& s) {
    std::wstring out;
    out.reserve(s.size());
    for (wchar_t c : s) {
        switch (c) {
            case L'&': out += L"&amp;"; break;
            case L'<': out += L"&lt;"; break;
            case L'>': out += L"&gt;"; break;
            case L'"': out += L"&quot;"; break;
            case L'\'': out += L"&#39;"; break;
            case L'\n': out += L"<br>"; break;
            case L'\r': break;
            default: out += c;
        }
    }
    return out;
}
}  // namespace

std::wstring htmlTable(const Sheet& sheet, const Rect& range) {
    // Whole rows and columns print only as far as cells are filled.
    Rect used = sheet.usedRange();
    Rect r{range.top, range.left, std::min(range.bottom, used.bottom), std::min(range.right, used.right)};
    if (r.bottom < r.top || r.right < r.left) return {};
    auto values = sheet.values(r);
    bool any = false;
    for (const auto& row : values)
        for (const auto& v : row) any = any || !isEmpty(v);
    if (!any) return {};
    std::wstring html =
        L"<html><head><meta charset=\"utf-8\"></head><body>\r\n"
        L"<table border=\"1\" cellspacing=\"0\" cellpadding=\"2\" style=\"border-collapse:collapse\">\r\n";
    for (int i = 0; i < r.rows(); ++i) {
        html += L"<tr>";
        for (int j = 0; j < r.columns(); ++j) {
            CellFormat f = sheet.format(r.top + i, r.left + j);
            html += L"<td style=\"font-family:'" + escapeHtml(f.fontName) + L"';font-size:" + displayText(f.fontSize) + L"pt";
            if (f.bold) html += L";font-weight:bold";
            if (f.align == HAlign::Center) html += L";text-align:center";
            if (f.align == HAlign::Right) html += L";text-align:right";
            html += L"\">" + escapeHtml(displayText(values[static_cast<size_t>(i)][static_cast<size_t>(j)])) + L"</td>";
        }
        html += L"</tr>\r\n";
    }
    html += L"</table>\r\n</body></html>\r\n";
    return html;
}

}  // namespace qbx::sheet
