#include "settings_ui/spreadsheet/sheet_objects.h"

#include <algorithm>

namespace qbx::sheet {

namespace {

// Member names are ASCII; anything else is folded by the system.
std::wstring folded(const std::wstring& s) {
    std::wstring r = s;
    for (wchar_t& c : r) {
        if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + 32);
        else if (c >= 128) return toLower(s);
    }
    return r;
}

// Hands out a new object as a Variant (the Variant holds the only reference).
template <class T, class... A>
Variant newObject(A&&... args) {
    ComPtr<T> p(new T(std::forward<A>(args)...));
    return Variant(static_cast<IDispatch*>(p.get()));
}

Variant cellRange(const Context& c, const Rect& r, Range::Kind kind = Range::Kind::Cells) {
    return newObject<Range>(c, r, kind);
}

// ---------------------------------------------------------------- arguments

// A row or column number given to Cells, Rows, Columns (a column also by its letters).
int indexArg(const Variant& v, bool column, Here where = {}) {
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

Rect bounding(const Rect& a, const Rect& b) {
    return Rect{std::min(a.top, b.top), std::min(a.left, b.left), std::max(a.bottom, b.bottom),
                std::max(a.right, b.right)};
}

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
    VARIANT* data = nullptr;
    SafeArrayAccessData(a.get(), reinterpret_cast<void**>(&data));
    // Storage runs down the first dimension (rows) first.
    for (int c = 0; c < r.columns(); ++c)
        for (int row = 0; row < r.rows(); ++row)
            data[static_cast<size_t>(c) * static_cast<size_t>(r.rows()) + static_cast<size_t>(row)] =
                cell(row, c).detach();
    SafeArrayUnaccessData(a.get());
    return std::move(a).toVariant(VT_VARIANT);
}

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

// ---------------------------------------------------------------- formats

// Horizontal alignment codes: the newer generations' (HorizontalAlignment)
// and the first generation's (HAlignment).
constexpr long xlHAlignGeneral = 1, xlHAlignLeft = -4131, xlHAlignCenter = -4108, xlHAlignRight = -4152;

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

constexpr long xlNone = -4142;
constexpr COLORREF kWhite = 0xFFFFFF;

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

CellFormat topLeftFormat(const SheetObject& o, const Rect& r) { return o.sheet().format(r.top, r.left); }

// ---------------------------------------------------------------- Font, Interior

class Font final : public SheetObject {
public:
    Font(Context c, const Rect& r) : SheetObject(L"Font", std::move(c), members()), rect(r) {}
    Rect rect;

private:
    static const MemberTable& members() {
        static const MemberTable list = [] {
            MemberTable m;
            m.member<Font>(L"Name", [](Font& f, Args&) { return Variant(topLeftFormat(f, f.rect).fontName); },
                        [](Font& f, Args&, const Variant& v) {
                            Format x;
                            x.fontName = v.toString();
                            f.sheet().applyFormat(f.rect, x);
                        });
            m.member<Font>(L"Size", [](Font& f, Args&) { return Variant(topLeftFormat(f, f.rect).fontSize); },
                        [](Font& f, Args&, const Variant& v) {
                            double size = v.toDouble();
                            if (!(size >= 1 && size <= 409)) raise(kErrBadValue, L"A font size is 1 to 409 points");
                            Format x;
                            x.fontSize = size;
                            f.sheet().applyFormat(f.rect, x);
                        });
            m.member<Font>(L"Bold", [](Font& f, Args&) { return Variant(topLeftFormat(f, f.rect).bold); },
                        [](Font& f, Args&, const Variant& v) {
                            Format x;
                            x.bold = v.toBool();
                            f.sheet().applyFormat(f.rect, x);
                        });
            return m;
        }();
        return list;
    }
};

class Interior final : public SheetObject {
public:
    Interior(Context c, const Rect& r) : SheetObject(L"Interior", std::move(c), members()), rect(r) {}
    Rect rect;

private:
    static const MemberTable& members() {
        static const MemberTable list = [] {
            MemberTable m;
            // No fill reads as white, as the grid shows it.
            m.member<Interior>(L"Color",
                            [](Interior& i, Args&) {
                                COLORREF c = topLeftFormat(i, i.rect).interior;
                                return Variant(static_cast<long>(c == CLR_INVALID ? kWhite : c));
                            },
                            [](Interior& i, Args&, const Variant& v) {
                                Format x;
                                x.interior = colorArg(v);
                                i.sheet().applyFormat(i.rect, x);
                            });
            return m;
        }();
        return list;
    }
};

// ---------------------------------------------------------------- Borders

constexpr long xlEdgeLeft = 7, xlEdgeTop = 8, xlEdgeBottom = 9, xlEdgeRight = 10, xlInsideVertical = 11,
               xlInsideHorizontal = 12;
constexpr long xlContinuous = 1, xlDash = -4115, xlDot = -4118, xlDouble = -4119, xlLineStyleNone = -4142;
constexpr long xlHairline = 1, xlThin = 2, xlMedium = -4138, xlThick = 4;

// The cells whose right or bottom edge draws one border of a range; false
// when there are none (the sheet's own outer edge, or no inside lines).
bool edgeCells(const Rect& r, long index, Rect& cells, bool& right) {
    cells = r;
    switch (index) {
        case xlEdgeLeft:
            if (r.left == 1) return false;
            cells.left = cells.right = r.left - 1;
            right = true;
            return true;
        case xlEdgeRight: cells.left = r.right; right = true; return true;
        case xlInsideVertical:
            if (r.left == r.right) return false;
            cells.right = r.right - 1;
            right = true;
            return true;
        case xlEdgeTop:
            if (r.top == 1) return false;
            cells.top = cells.bottom = r.top - 1;
            right = false;
            return true;
        case xlEdgeBottom: cells.top = r.bottom; right = false; return true;
        case xlInsideHorizontal:
            if (r.top == r.bottom) return false;
            cells.bottom = r.bottom - 1;
            right = false;
            return true;
    }
    raise(vbErrSubscript, L"There is no border number " + std::to_wstring(index));
}

enum class BorderPart { Style, Color, Weight };

void putBorder(Sheet& s, const Rect& r, long index, BorderPart part, const Variant& v) {
    Rect cells;
    bool right = false;
    if (!edgeCells(r, index, cells, right)) return;
    Format x;
    switch (part) {
        case BorderPart::Style: {
            long style = v.toLong();
            if (style == xlLineStyleNone) style = 0;
            (right ? x.rightBorder : x.bottomBorder) = static_cast<int>(style);
            break;
        }
        case BorderPart::Color: x.borderColor = colorArg(v); break;
        case BorderPart::Weight: {
            long w = v.toLong();
            if (w != xlHairline && w != xlThin && w != xlMedium && w != xlThick)
                raise(kErrBadValue, L"Unknown border weight " + std::to_wstring(w));
            x.borderWeight = static_cast<int>(w);
            break;
        }
    }
    s.applyFormat(cells, x);
}

Variant getBorder(const Sheet& s, const Rect& r, long index, BorderPart part) {
    Rect cells;
    bool right = false;
    if (!edgeCells(r, index, cells, right)) return part == BorderPart::Style ? Variant(xlLineStyleNone) : Variant(0L);
    CellFormat f = s.format(cells.top, cells.left);
    switch (part) {
        case BorderPart::Style: {
            int style = right ? f.rightBorder : f.bottomBorder;
            return Variant(style == 0 ? xlLineStyleNone : static_cast<long>(style));
        }
        case BorderPart::Color: return Variant(static_cast<long>(f.borderColor));
        default: return Variant(static_cast<long>(f.borderWeight));
    }
}

class Border final : public SheetObject {
public:
    Border(Context c, const Rect& r, long i) : SheetObject(L"Border", std::move(c), members()), rect(r), index(i) {}
    Rect rect;
    long index;

private:
    static void part(MemberTable& m, const wchar_t* name, BorderPart p) {
        m.member<SheetObject>(name, [p](SheetObject& o, Args&) { auto& b = static_cast<Border&>(o); return getBorder(b.sheet(), b.rect, b.index, p); },
              [p](SheetObject& o, Args&, const Variant& v) {
                  auto& b = static_cast<Border&>(o);
                  putBorder(b.sheet(), b.rect, b.index, p, v);
              });
    }
    static const MemberTable& members() {
        static const MemberTable list = [] {
            MemberTable m;
            part(m, L"LineStyle", BorderPart::Style);
            part(m, L"Color", BorderPart::Color);
            part(m, L"Weight", BorderPart::Weight);
            return m;
        }();
        return list;
    }
};

// Borders: Item(index) gives one edge; LineStyle, Color and Weight set every
// edge and inside line of the range at once.
class Borders final : public SheetObject {
public:
    Borders(Context c, const Rect& r) : SheetObject(L"Borders", std::move(c), members()), rect(r) {}
    Rect rect;

private:
    static void part(MemberTable& m, const wchar_t* name, BorderPart p) {
        m.member<SheetObject>(name, [p](SheetObject& o, Args&) { auto& b = static_cast<Borders&>(o); return getBorder(b.sheet(), b.rect, xlEdgeBottom, p); },
              [p](SheetObject& o, Args&, const Variant& v) {
                  auto& b = static_cast<Borders&>(o);
                  Sheet::Batch batch(b.sheet());
                  for (long i = xlEdgeLeft; i <= xlInsideHorizontal; ++i) putBorder(b.sheet(), b.rect, i, p, v);
              });
    }
    static const MemberTable& members() {
        static const MemberTable list = [] {
            MemberTable m;
            DISPID item = m.member<Borders>(L"Item", [](Borders& b, Args& a) {
                long i = a.i32(0);
                Rect unused;
                bool right;
                edgeCells(b.rect, i, unused, right);  // raises for an unknown index
                return newObject<Border>(b.context(), b.rect, i);
            });
            m.setDefaultMember(item);
            m.member<Borders>(L"Count", [](Borders&, Args&) { return Variant(6L); });
            part(m, L"LineStyle", BorderPart::Style);
            part(m, L"Color", BorderPart::Color);
            part(m, L"Weight", BorderPart::Weight);
            return m;
        }();
        return list;
    }
};

// ---------------------------------------------------------------- Protection, Constants

class ProtectionObject final : public SheetObject {
public:
    explicit ProtectionObject(Context c) : SheetObject(L"Protection", std::move(c), members()) {}

private:
    static void flag(MemberTable& m, const wchar_t* name, bool Protection::*field) {
        m.member<SheetObject>(name, [field](SheetObject& o, Args&) { return Variant(o.sheet().protection.*field); },
              [field](SheetObject& o, Args&, const Variant& v) { o.sheet().protection.*field = v.toBool(); });
    }
    static const MemberTable& members() {
        static const MemberTable list = [] {
            MemberTable m;
            flag(m, L"Enabled", &Protection::enabled);
            flag(m, L"AllowFormattingColumns", &Protection::allowFormattingColumns);
            flag(m, L"AllowFormattingRows", &Protection::allowFormattingRows);
            flag(m, L"AllowInsertingColumns", &Protection::allowInsertingColumns);
            flag(m, L"AllowInsertingRows", &Protection::allowInsertingRows);
            flag(m, L"AllowDeletingColumns", &Protection::allowDeletingColumns);
            flag(m, L"AllowDeletingRows", &Protection::allowDeletingRows);
            flag(m, L"AllowSizingAllColumns", &Protection::allowSizingAllColumns);
            flag(m, L"AllowSizingAllRows", &Protection::allowSizingAllRows);
            flag(m, L"AllowSorting", &Protection::allowSorting);
            flag(m, L"AllowFiltering", &Protection::allowFiltering);
            flag(m, L"AllowHeadingRename", &Protection::allowHeadingRename);
            return m;
        }();
        return list;
    }
};

constexpr long xlDown = -4121, xlToRight = -4161, xlUp = -4162, xlToLeft = -4159;
constexpr long xlAscending = 1, xlDescending = 2, xlGuess = 0, xlYes = 1, xlNo = 2;

class Constants final : public SheetObject {
public:
    explicit Constants(Context c) : SheetObject(L"Constants", std::move(c), members()) {}

private:
    static const MemberTable& members() {
        static const MemberTable list = [] {
            static const std::pair<const wchar_t*, long> values[] = {
                // Border weights are those of the cells' Border.Weight, so the
                // thin line is 2 here (the charts' own line-weight list
                // elsewhere numbers it 1).
                {L"owcLineWeightHairline", xlHairline}, {L"owcLineWeightThin", xlThin},
                {L"owcLineWeightMedium", xlMedium}, {L"owcLineWeightThick", xlThick},
                {L"xlHairline", xlHairline}, {L"xlThin", xlThin}, {L"xlMedium", xlMedium}, {L"xlThick", xlThick},
                {L"xlContinuous", xlContinuous}, {L"xlDash", xlDash}, {L"xlDot", xlDot}, {L"xlDouble", xlDouble},
                {L"xlLineStyleNone", xlLineStyleNone}, {L"xlNone", xlNone},
                {L"xlEdgeLeft", xlEdgeLeft}, {L"xlEdgeTop", xlEdgeTop}, {L"xlEdgeBottom", xlEdgeBottom},
                {L"xlEdgeRight", xlEdgeRight}, {L"xlInsideVertical", xlInsideVertical},
                {L"xlInsideHorizontal", xlInsideHorizontal},
                {L"xlHAlignGeneral", xlHAlignGeneral}, {L"xlHAlignLeft", xlHAlignLeft},
                {L"xlHAlignCenter", xlHAlignCenter}, {L"xlHAlignRight", xlHAlignRight},
                {L"ssHAlignGeneral", 0}, {L"ssHAlignLeft", 1}, {L"ssHAlignCenter", 2}, {L"ssHAlignRight", 3},
                {L"xlAscending", xlAscending}, {L"xlDescending", xlDescending},
                {L"xlGuess", xlGuess}, {L"xlYes", xlYes}, {L"xlNo", xlNo},
                {L"xlDown", xlDown}, {L"xlToRight", xlToRight}, {L"xlUp", xlUp}, {L"xlToLeft", xlToLeft},
            };
            MemberTable m;
            for (const auto& [name, value] : values) {
                long v = value;
                m.member<SheetObject>(name, [v](SheetObject&, Args&) { return Variant(v); });
            }
            return m;
        }();
        return list;
    }
};

// ---------------------------------------------------------------- shared groups of members

// Switches kept in the view settings (a change repaints).
void viewSwitch(MemberTable& m, const wchar_t* name, bool ViewSettings::*field) {
    m.member<SheetObject>(name, [field](SheetObject& o, Args&) { return Variant(o.sheet().settings.*field); },
          [field](SheetObject& o, Args&, const Variant& v) {
              o.sheet().settings.*field = v.toBool();
              o.sheet().changed();
          });
}

// Range, Cells, Rows and Columns of the whole sheet (Spreadsheet and Worksheet).
void sheetAccess(MemberTable& m) {
    const Rect all{1, 1, kMaxRows, kMaxColumns};
    m.member<SheetObject>(L"Range", [](SheetObject& o, Args& a) { return cellRange(o.context(), rangeArgs(a)); });
    m.member<SheetObject>(L"Cells", [all](SheetObject& o, Args& a) { return cellRange(o.context(), cellsArgs(all, a)); });
    m.member<SheetObject>(L"Rows", [all](SheetObject& o, Args& a) { return cellRange(o.context(), linesArgs(all, a, false), Range::Kind::Rows); });
    m.member<SheetObject>(L"Columns", [all](SheetObject& o, Args& a) {
        return cellRange(o.context(), linesArgs(all, a, true), Range::Kind::Columns);
    });
}

// ActiveCell, Selection and ViewableRange (Spreadsheet and Window).
void viewAccess(MemberTable& m, bool rangeSelection) {
    m.member<SheetObject>(L"ActiveCell", [](SheetObject& o, Args&) {
        const Sheet& s = o.sheet();
        return cellRange(o.context(), Rect{s.activeRow(), s.activeColumn(), s.activeRow(), s.activeColumn()});
    });
    m.member<SheetObject>(L"Selection", [](SheetObject& o, Args&) { return cellRange(o.context(), o.sheet().selection()); });
    if (rangeSelection)
        m.member<SheetObject>(L"RangeSelection", [](SheetObject& o, Args&) { return cellRange(o.context(), o.sheet().selection()); });
    m.member<SheetObject>(L"ViewableRange", [](SheetObject& o, Args&) { return Variant(formatAddress(o.sheet().viewableRange())); },
          [](SheetObject& o, Args&, const Variant& v) { o.sheet().setViewableRange(rectArg(v)); });
    viewSwitch(m, L"DisplayGridlines", &ViewSettings::displayGridlines);
    viewSwitch(m, L"DisplayColumnHeadings", &ViewSettings::displayColumnHeadings);
    viewSwitch(m, L"DisplayRowHeadings", &ViewSettings::displayRowHeadings);
    viewSwitch(m, L"DisplayHorizontalScrollBar", &ViewSettings::displayHorizontalScrollBar);
    viewSwitch(m, L"DisplayVerticalScrollBar", &ViewSettings::displayVerticalScrollBar);
    viewSwitch(m, L"DisplayWorkbookTabs", &ViewSettings::displayWorkbookTabs);
    viewSwitch(m, L"EnableResize", &ViewSettings::enableResize);
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

}  // namespace

// ---------------------------------------------------------------- MemberPolicy

const std::vector<std::wstring>& MemberPolicy::firstGenerationNames() {
    static const std::vector<std::wstring> names = {
        L"DisplayColHeaders",     L"DisplayRowHeaders",  L"HAlignment",      L"AutoFitColumns",
        L"AllowSizingAllColumns", L"AllowSizingAllRows", L"Range.FreezePanes",
    };
    return names;
}

MemberPolicy MemberPolicy::product() {
    MemberPolicy p;
    for (const auto& n : firstGenerationNames()) p.refuse(n);
    return p;
}

std::wstring MemberPolicy::key(const std::wstring& name) { return folded(name); }

void MemberPolicy::refuse(const std::wstring& name) { refused_.insert(folded(name)); }

bool MemberPolicy::refuses(const std::wstring& object, const std::wstring& member) const {
    if (refused_.empty()) return false;
    std::wstring m = folded(member);
    return refused_.count(m) || refused_.count(folded(object) + L"." + m);
}

const MemberPolicy::Failure* MemberPolicy::failure(const std::wstring& object, const std::wstring& member) const {
    if (failing_.empty()) return nullptr;
    std::wstring m = folded(member);
    auto it = failing_.find(m);
    if (it == failing_.end()) it = failing_.find(folded(object) + L"." + m);
    return it == failing_.end() ? nullptr : &it->second;
}

// ---------------------------------------------------------------- SheetObject

SheetObject::SheetObject(std::wstring typeName, Context ctx, const MemberTable& members)
    : DispatchObject(std::move(typeName), members), ctx_(std::move(ctx)) {}

bool SheetObject::answersName(const std::wstring& name) const { return !ctx_.policy->refuses(className(), name); }

namespace {

// Members that only say where things are (the selection polling reads them
// every tick) leave an entry the user is typing alone; every other member
// reads or changes the sheet and takes the entry in first. Names as
// registered.
bool positional(const std::wstring& name) {
    static const std::set<std::wstring> names = {
        L"ActiveWindow", L"ActiveSheet", L"ViewableRange", L"Range",          L"Cells",   L"Rows",   L"Columns",
        L"Item",         L"Selection",   L"ActiveCell",    L"RangeSelection", L"Address", L"Row",    L"Column",
        L"Count"};
    return names.count(name) > 0;
}

}  // namespace

HRESULT SheetObject::beforeMember(const std::wstring& name, DISPID, WORD) {
    if (ctx_.policy->refuses(className(), name)) return DISP_E_MEMBERNOTFOUND;
    if (const MemberPolicy::Failure* f = ctx_.policy->failure(className(), name))
        raise(f->number, f->description.empty() ? L"Method '" + name + L"' of object '" + className() + L"' failed"
                                                : f->description);
    if (View* view = sheet().view(); view && !positional(name)) view->settleEntry();
    return S_OK;
}

// ---------------------------------------------------------------- Range

Range::Range(Context ctx, const Rect& r, Kind kind) : SheetObject(L"Range", std::move(ctx), members()), rect_(r), kind_(kind) {}

namespace {

void applyTo(Range& r, void (*set)(Format&, const Variant&), const Variant& v) {
    Format f;
    set(f, v);
    r.sheet().applyFormat(r.rect(), f);
}

// FreezePanes on a range (first generation): rows above and columns left of
// its top left cell stay in place.
Variant freezeAt(Range& r) {
    r.sheet().settings.frozenRows = r.rect().top - 1;
    r.sheet().settings.frozenColumns = r.rect().left - 1;
    r.sheet().changed();
    return Variant(true);
}

}  // namespace

namespace {

using Kind = Range::Kind;

// Value, Formula, Address and the cells, rows and columns in a range.
void rangeCells(MemberTable& m) {
    m.member<Range>(L"Value", [](Range& r, Args&) { return getValue(r.sheet(), r.rect()); },
                 [](Range& r, Args&, const Variant& v) { putValue(r.sheet(), r.rect(), v); });
    m.member<Range>(L"Value2", [](Range& r, Args&) { return getValue(r.sheet(), r.rect()); },
                 [](Range& r, Args&, const Variant& v) { putValue(r.sheet(), r.rect(), v); });
    m.member<Range>(L"Text", [](Range& r, Args&) { return Variant(displayText(r.sheet().value(r.rect().top, r.rect().left))); });
    m.member<Range>(L"Formula",
                 [](Range& r, Args&) {
                     const Sheet& s = r.sheet();
                     if (r.rect().isCell()) return Variant(s.formula(r.rect().top, r.rect().left));
                     return arrayOf(r.rect(), [&](int row, int c) { return Variant(s.formula(r.rect().top + row, r.rect().left + c)); });
                 },
                 [](Range& r, Args&, const Variant& v) { putFormula(r.sheet(), r.rect(), v); });
    m.member<Range>(L"Address", [](Range& r, Args& a) {
        bool rowAbs = a.has(0) ? a.boolean(0) : true, colAbs = a.has(1) ? a.boolean(1) : true;
        return Variant(addressOf(r.rect(), rowAbs, colAbs));
    });
    m.member<Range>(L"Row", [](Range& r, Args&) { return Variant(static_cast<long>(r.rect().top)); });
    m.member<Range>(L"Column", [](Range& r, Args&) { return Variant(static_cast<long>(r.rect().left)); });
    m.member<Range>(L"Count", [](Range& r, Args&) {
        double n = r.kind() == Kind::Rows ? r.rect().rows() : r.kind() == Kind::Columns ? r.rect().columns()
                                                                                         : double(r.rect().rows()) * r.rect().columns();
        return Variant(static_cast<long>(n));
    });
    DISPID item = m.member<Range>(L"Item", [](Range& r, Args& a) {
        if (r.kind() == Kind::Cells || a.has(1)) return cellRange(r.context(), cellsArgs(r.rect(), a));
        return cellRange(r.context(), linesArgs(r.rect(), a, r.kind() == Kind::Columns), r.kind());
    });
    m.setDefaultMember(item);
    m.member<Range>(L"Cells", [](Range& r, Args& a) { return cellRange(r.context(), cellsArgs(r.rect(), a)); });
    m.member<Range>(L"Rows", [](Range& r, Args& a) { return cellRange(r.context(), linesArgs(r.rect(), a, false), Kind::Rows); });
    m.member<Range>(L"Columns", [](Range& r, Args& a) { return cellRange(r.context(), linesArgs(r.rect(), a, true), Kind::Columns); });
    m.member<Range>(L"EntireColumn", [](Range& r, Args&) {
        return cellRange(r.context(), Rect{1, r.rect().left, kMaxRows, r.rect().right}, Kind::Columns);
    });
    m.member<Range>(L"EntireRow", [](Range& r, Args&) {
        return cellRange(r.context(), Rect{r.rect().top, 1, r.rect().bottom, kMaxColumns}, Kind::Rows);
    });
}

// Clearing, formats and column widths.
void rangeFormats(MemberTable& m) {
    m.member<Range>(L"Clear", [](Range& r, Args&) { r.sheet().clear(r.rect()); return Variant(); });
    m.member<Range>(L"ClearContents", [](Range& r, Args&) { r.sheet().clearContents(r.rect()); return Variant(); });
    m.member<Range>(L"ClearFormats", [](Range& r, Args&) { r.sheet().clearFormats(r.rect()); return Variant(); });
    m.member<Range>(L"Font", [](Range& r, Args&) { return newObject<Font>(r.context(), r.rect()); });
    m.member<Range>(L"Interior", [](Range& r, Args&) { return newObject<Interior>(r.context(), r.rect()); });
    m.member<Range>(L"Borders", [](Range& r, Args& a) {
        if (a.has(0)) return newObject<Border>(r.context(), r.rect(), a.i32(0));
        return newObject<Borders>(r.context(), r.rect());
    });
    m.member<Range>(L"Locked", [](Range& r, Args&) { return Variant(topLeftFormat(r, r.rect()).locked); },
                 [](Range& r, Args&, const Variant& v) {
                     applyTo(r, [](Format& f, const Variant& x) { f.locked = x.toBool(); }, v);
                 });
    m.member<Range>(L"HorizontalAlignment", [](Range& r, Args&) { return Variant(alignCode(topLeftFormat(r, r.rect()).align, false)); },
                 [](Range& r, Args&, const Variant& v) {
                     applyTo(r, [](Format& f, const Variant& x) { f.align = alignFromCode(x.toLong(), false); }, v);
                 });
    m.member<Range>(L"HAlignment", [](Range& r, Args&) { return Variant(alignCode(topLeftFormat(r, r.rect()).align, true)); },
                 [](Range& r, Args&, const Variant& v) {
                     applyTo(r, [](Format& f, const Variant& x) { f.align = alignFromCode(x.toLong(), true); }, v);
                 });
    m.member<Range>(L"NumberFormat", [](Range& r, Args&) { return Variant(topLeftFormat(r, r.rect()).numberFormat); },
                 [](Range& r, Args&, const Variant& v) {
                     applyTo(r, [](Format& f, const Variant& x) { f.numberFormat = x.toString(); }, v);
                 });
    m.member<Range>(L"ColumnWidth",
                 [](Range& r, Args&) {
                     double w = r.sheet().columnWidth(r.rect().left);
                     for (int c = r.rect().left + 1; c <= r.rect().right; ++c)
                         if (r.sheet().columnWidth(c) != w) return Variant::null();
                     return Variant(w);
                 },
                 [](Range& r, Args&, const Variant& v) {
                     Sheet::Batch batch(r.sheet());
                     double w = v.toDouble();
                     for (int c = r.rect().left; c <= r.rect().right; ++c) r.sheet().setColumnWidth(c, w);
                 });
    m.member<Range>(L"AutoFit", [](Range& r, Args&) { r.sheet().autoFit(r.rect().left, r.rect().right); return Variant(); });
    m.member<Range>(L"AutoFitColumns", [](Range& r, Args&) { r.sheet().autoFit(r.rect().left, r.rect().right); return Variant(); });
}

// Selecting, HTML, filtering, sorting and freezing.
void rangeActions(MemberTable& m) {
    m.member<Range>(L"Select", [](Range& r, Args&) { r.sheet().select(r.rect()); return Variant(true); });
    // Activate: the cell becomes the active one; a selection that holds
    // it stays, otherwise the cell alone is selected.
    m.member<Range>(L"Activate", [](Range& r, Args&) {
        Sheet& s = r.sheet();
        Rect cell{r.rect().top, r.rect().left, r.rect().top, r.rect().left};
        s.select(s.selection().contains(cell.top, cell.left) && !r.rect().isCell() ? s.selection() : r.rect());
        return Variant(true);
    });
    m.member<Range>(L"HTMLData", [](Range& r, Args&) { return Variant(htmlTable(r.sheet(), r.rect())); });
    m.member<Range>(L"AutoFilter", [](Range& r, Args&) {
        r.sheet().settings.autoFilter = true;
        r.sheet().changed();
        return Variant();
    });
    // Sort(ColumnKey, Order, Header): the key is a column of the range
    // (its number within the range, its letters, or a cell or range in
    // it); order xlAscending (1, the default) or xlDescending (2); header
    // xlYes (1) leaves the first row, xlNo (2) and xlGuess (0) sort all.
    m.member<Range>(L"Sort", [](Range& r, Args& a) {
        int key = 1;
        if (a.has(0)) {
            Variant k = a.value(0);
            if (k.isObject() || (k.type() == VT_BSTR && !k.isNumeric())) {
                Rect kr = k.isObject() ? rectArg(k) : linesArgs(Rect{1, 1, kMaxRows, kMaxColumns}, a, true);
                key = kr.left - r.rect().left + 1;
            } else {
                key = static_cast<int>(k.toLong());
            }
        }
        long order = a.has(1) ? a.i32(1) : xlAscending;
        if (order != xlAscending && order != xlDescending)
            raise(kErrBadValue, L"The sort order is 1 (ascending) or 2 (descending), not " + std::to_wstring(order));
        bool header = a.has(2) && a.i32(2) == xlYes;
        r.sheet().sort(r.rect(), key, order == xlAscending, header);
        return Variant();
    });
    m.member<Range>(L"FreezePanes", [](Range& r, Args&) { return freezeAt(r); },
                 [](Range& r, Args&, const Variant& v) {
                     if (v.toBool()) {
                         freezeAt(r);
                     } else {
                         r.sheet().settings.frozenRows = r.sheet().settings.frozenColumns = 0;
                         r.sheet().changed();
                     }
                 });
}

}  // namespace

const MemberTable& Range::members() {
    static const MemberTable list = [] {
        MemberTable m;
        rangeCells(m);
        rangeFormats(m);
        rangeActions(m);
        return m;
    }();
    return list;
}

// ---------------------------------------------------------------- Worksheet

Worksheet::Worksheet(Context ctx) : SheetObject(L"Worksheet", std::move(ctx), members()) {}

const MemberTable& Worksheet::members() {
    static const MemberTable list = [] {
        MemberTable m;
        sheetAccess(m);
        m.member<Worksheet>(L"UsedRange", [](Worksheet& w, Args&) { return cellRange(w.context(), w.sheet().usedRange()); });
        m.member<Worksheet>(L"Protection", [](Worksheet& w, Args&) { return newObject<ProtectionObject>(w.context()); });
        m.member<Worksheet>(L"Calculate", [](Worksheet& w, Args&) { w.sheet().calculate(); return Variant(); });
        m.member<Worksheet>(L"EnableAutoFilter", [](Worksheet& w, Args&) { return Variant(w.sheet().protection.enableAutoFilter); },
                         [](Worksheet& w, Args&, const Variant& v) { w.sheet().protection.enableAutoFilter = v.toBool(); });
        m.member<Worksheet>(L"AutoFilter", [](Worksheet& w, Args&) { return Variant(w.sheet().settings.autoFilter); },
                         [](Worksheet& w, Args&, const Variant& v) {
                             w.sheet().settings.autoFilter = v.toBool();
                             w.sheet().changed();
                         });
        m.member<Worksheet>(L"Protect", [](Worksheet& w, Args&) { w.sheet().protection.enabled = true; return Variant(); });
        m.member<Worksheet>(L"Unprotect", [](Worksheet& w, Args&) { w.sheet().protection.enabled = false; return Variant(); });
        m.member<Worksheet>(L"ProtectContents", [](Worksheet& w, Args&) { return Variant(w.sheet().protection.enabled); });
        m.member<Worksheet>(L"Name", [](Worksheet&, Args&) { return Variant(L"Sheet1"); });
        m.member<Worksheet>(L"Activate", [](Worksheet&, Args&) { return Variant(); });
        return m;
    }();
    return list;
}

// ---------------------------------------------------------------- Window

Window::Window(Context ctx) : SheetObject(L"Window", std::move(ctx), members()) {}

const MemberTable& Window::members() {
    static const MemberTable list = [] {
        MemberTable m;
        viewAccess(m, true);
        // FreezePanes True freezes the rows above and the columns left of
        // the active cell; False thaws them.
        m.member<Window>(L"FreezePanes",
                      [](Window& w, Args&) {
                          const ViewSettings& s = w.sheet().settings;
                          return Variant(s.frozenRows > 0 || s.frozenColumns > 0);
                      },
                      [](Window& w, Args&, const Variant& v) {
                          Sheet& s = w.sheet();
                          bool on = v.toBool();
                          s.settings.frozenRows = on ? s.activeRow() - 1 : 0;
                          s.settings.frozenColumns = on ? s.activeColumn() - 1 : 0;
                          s.changed();
                      });
        return m;
    }();
    return list;
}

// ---------------------------------------------------------------- Spreadsheet

Spreadsheet::Spreadsheet(std::shared_ptr<Sheet> sheet, MemberPolicy policy)
    : SheetObject(L"Spreadsheet",
                  Context{sheet ? std::move(sheet) : std::make_shared<Sheet>(),
                          std::make_shared<MemberPolicy>(std::move(policy))},
                  members()) {
    worksheet_ = ComPtr<Worksheet>(new Worksheet(context()));
    window_ = ComPtr<Window>(new Window(context()));
}

ComPtr<Spreadsheet> Spreadsheet::create(std::shared_ptr<Sheet> sheet, MemberPolicy policy) {
    return ComPtr<Spreadsheet>(new Spreadsheet(std::move(sheet), std::move(policy)));
}

void Spreadsheet::repaint() {
    if (View* v = sheet().view()) v->invalidate();
}

const MemberTable& Spreadsheet::members() {
    static const MemberTable list = [] {
        MemberTable m;
        DISPID caption = m.member<Spreadsheet>(L"Caption", [](Spreadsheet& s, Args&) { return Variant(s.caption); },
                                            [](Spreadsheet& s, Args&, const Variant& v) { s.caption = v.toString(); });
        m.setDefaultMember(caption);
        m.member<Spreadsheet>(L"ActiveSheet", [](Spreadsheet& s, Args&) { return Variant(static_cast<IDispatch*>(s.worksheet_.get())); });
        m.member<Spreadsheet>(L"ActiveWindow", [](Spreadsheet& s, Args&) { return Variant(static_cast<IDispatch*>(s.window_.get())); });
        m.member<Spreadsheet>(L"Constants", [](Spreadsheet& s, Args&) { return newObject<Constants>(s.context()); });
        sheetAccess(m);
        viewAccess(m, false);
        viewSwitch(m, L"AllowPropertyToolbox", &ViewSettings::allowPropertyToolbox);
        viewSwitch(m, L"DisplayTitleBar", &ViewSettings::displayTitleBar);
        viewSwitch(m, L"DisplayToolbar", &ViewSettings::displayToolbar);
        viewSwitch(m, L"DisplayColHeaders", &ViewSettings::displayColumnHeadings);
        viewSwitch(m, L"DisplayRowHeaders", &ViewSettings::displayRowHeadings);
        // Turning screen updating back on repaints what changed meanwhile.
        viewSwitch(m, L"ScreenUpdating", &ViewSettings::screenUpdating);
        // MoveAfterReturn(Direction) also switches it on in that direction.
        m.member<Spreadsheet>(L"MoveAfterReturn",
                           [](Spreadsheet& s, Args& a) {
                               ViewSettings& v = s.sheet().settings;
                               if (a.has(0)) {
                                   v.moveAfterReturnDirection = directionIndex(a.i32(0));
                                   v.moveAfterReturn = true;
                               }
                               return Variant(v.moveAfterReturn);
                           },
                           [](Spreadsheet& s, Args&, const Variant& v) { s.sheet().settings.moveAfterReturn = v.toBool(); });
        m.member<Spreadsheet>(L"MoveAfterReturnDirection",
                           [](Spreadsheet& s, Args&) {
                               static const long codes[] = {xlDown, xlToRight, xlUp, xlToLeft};
                               return Variant(codes[s.sheet().settings.moveAfterReturnDirection & 3]);
                           },
                           [](Spreadsheet& s, Args&, const Variant& v) {
                               s.sheet().settings.moveAfterReturnDirection = directionIndex(v.toLong());
                           });
        m.member<Spreadsheet>(L"HTMLData", [](Spreadsheet& s, Args&) { return Variant(htmlTable(s.sheet(), s.sheet().usedRange())); });
        m.member<Spreadsheet>(L"Calculate", [](Spreadsheet& s, Args&) { s.sheet().calculate(); return Variant(); });
        m.member<Spreadsheet>(L"Repaint", [](Spreadsheet& s, Args&) { s.repaint(); return Variant(); });
        return m;
    }();
    return list;
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
