#include "settings_ui/spreadsheet/sheet_model.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cwchar>
#include <cwctype>

namespace qbx::sheet {

namespace {

bool isBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

std::wstring trimBlanks(const std::wstring& s) {
    size_t b = 0, e = s.size();
    while (b < e && isBlank(s[b])) ++b;
    while (e > b && isBlank(s[e - 1])) --e;
    return s.substr(b, e - b);
}

[[noreturn]] void badAddress(const std::wstring& address, Here where) {
    raise(kErrBadAddress, L"'" + address + L"' is not a cell reference of this sheet (A1 to IV65536)", where);
}

// One side of a reference: a row, a column or both (0 when absent).
struct Ref {
    int row = 0, column = 0;
};

// Reads "[$]letters[$]digits", "[$]letters" or "[$]digits"; false for anything else.
bool parseRef(const std::wstring& s, size_t b, size_t e, Ref& out) {
    size_t i = b;
    bool columnAnchor = i < e && s[i] == L'$';
    if (columnAnchor) ++i;
    size_t letters = i;
    long column = 0;
    while (i < e && s[i] < 128 && std::iswalpha(s[i])) {
        column = column * 26 + (std::towupper(s[i]) - L'A' + 1);
        if (column > kMaxColumns) return false;
        ++i;
    }
    bool hasColumn = i > letters;
    bool rowAnchor = hasColumn && i < e && s[i] == L'$';
    if (rowAnchor) ++i;
    size_t digits = i;
    long row = 0;
    while (i < e && s[i] >= L'0' && s[i] <= L'9') {
        row = row * 10 + (s[i] - L'0');
        if (row > kMaxRows) return false;
        ++i;
    }
    bool hasRow = i > digits;
    if (i != e || (!hasColumn && !hasRow)) return false;
    if (rowAnchor && !hasRow) return false;  // "A$"
    if (hasRow && row < 1) return false;     // "A0"
    out.row = hasRow ? static_cast<int>(row) : 0;
    out.column = hasColumn ? static_cast<int>(column) : 0;
    return true;
}

// The shortest text that reads back as the same number (at most 15 digits,
// as a spreadsheet's General format shows).
std::wstring numberText(double d) {
    if (d == 0) return L"0";
    // Fifteen significant digits at most, plain decimals for the everyday
    // sizes ("10", not "1e+01"), the same whatever the user's locale.
    char buf[64];
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, d, std::chars_format::general, 15);
    if (ec != std::errc()) return L"#NUM!";
    return std::wstring(buf, end);
}

// A number written as text ("12", "-3.5", "1e3"); false for anything else.
bool parseNumber(const std::wstring& text, double& out) {
    std::wstring t = trimBlanks(text);
    if (t.empty()) return false;
    for (wchar_t c : t)
        if (!((c >= L'0' && c <= L'9') || c == L'.' || c == L'-' || c == L'+' || c == L'e' || c == L'E'))
            return false;
    wchar_t* end = nullptr;
    out = std::wcstod(t.c_str(), &end);
    return end && *end == 0 && std::isfinite(out);
}

int compareText(const std::wstring& a, const std::wstring& b) {
    int r = CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, a.data(), static_cast<int>(a.size()), b.data(),
                           static_cast<int>(b.size()));
    return r == CSTR_LESS_THAN ? -1 : r == CSTR_GREATER_THAN ? 1 : 0;
}

// Sorting classes: numbers, then text, then Booleans; empty cells apart.
int sortClass(const CellValue& v) {
    if (std::holds_alternative<double>(v)) return 0;
    if (std::holds_alternative<std::wstring>(v)) return 1;
    if (std::holds_alternative<bool>(v)) return 2;
    return 3;
}

int compareValues(const CellValue& a, const CellValue& b) {
    int ca = sortClass(a), cb = sortClass(b);
    if (ca != cb) return ca < cb ? -1 : 1;
    switch (ca) {
        case 0: {
            double x = std::get<double>(a), y = std::get<double>(b);
            return x < y ? -1 : x > y ? 1 : 0;
        }
        case 1: return compareText(std::get<std::wstring>(a), std::get<std::wstring>(b));
        case 2: return static_cast<int>(std::get<bool>(a)) - static_cast<int>(std::get<bool>(b));
        default: return 0;
    }
}

// Drops from an older layer the fields a newer layer covering it sets again.
void dropCovered(Format& old, const Format& nw) {
    if (nw.fontName) old.fontName.reset();
    if (nw.fontSize) old.fontSize.reset();
    if (nw.bold) old.bold.reset();
    if (nw.interior) old.interior.reset();
    if (nw.locked) old.locked.reset();
    if (nw.align) old.align.reset();
    if (nw.numberFormat) old.numberFormat.reset();
    if (nw.rightBorder) old.rightBorder.reset();
    if (nw.bottomBorder) old.bottomBorder.reset();
    if (nw.borderColor) old.borderColor.reset();
    if (nw.borderWeight) old.borderWeight.reset();
}

// Copies into a layer the fields another sets.
void overlayFormat(Format& into, const Format& f) {
    if (f.fontName) into.fontName = f.fontName;
    if (f.fontSize) into.fontSize = f.fontSize;
    if (f.bold) into.bold = f.bold;
    if (f.interior) into.interior = f.interior;
    if (f.locked) into.locked = f.locked;
    if (f.align) into.align = f.align;
    if (f.numberFormat) into.numberFormat = f.numberFormat;
    if (f.rightBorder) into.rightBorder = f.rightBorder;
    if (f.bottomBorder) into.bottomBorder = f.bottomBorder;
    if (f.borderColor) into.borderColor = f.borderColor;
    if (f.borderWeight) into.borderWeight = f.borderWeight;
}

bool setsNothing(const Format& f) {
    return !f.fontName && !f.fontSize && !f.bold && !f.interior && !f.locked && !f.align && !f.numberFormat &&
           !f.rightBorder && !f.bottomBorder && !f.borderColor && !f.borderWeight;
}

void overlay(CellFormat& c, const Format& f) {
    if (f.fontName) c.fontName = *f.fontName;
    if (f.fontSize) c.fontSize = *f.fontSize;
    if (f.bold) c.bold = *f.bold;
    if (f.interior) c.interior = *f.interior;
    if (f.locked) c.locked = *f.locked;
    if (f.align) c.align = *f.align;
    if (f.numberFormat) c.numberFormat = *f.numberFormat;
    if (f.rightBorder) c.rightBorder = *f.rightBorder;
    if (f.bottomBorder) c.bottomBorder = *f.bottomBorder;
    if (f.borderColor) c.borderColor = *f.borderColor;
    if (f.borderWeight) c.borderWeight = *f.borderWeight;
}

bool within(const Rect& inner, const Rect& outer) {
    return inner.top >= outer.top && inner.bottom <= outer.bottom && inner.left >= outer.left &&
           inner.right <= outer.right;
}

const Rect kWholeSheet{1, 1, kMaxRows, kMaxColumns};

void checkCell(int row, int column, Here where) {
    if (row < 1 || row > kMaxRows || column < 1 || column > kMaxColumns)
        raise(kErrBadAddress,
              L"Row " + std::to_wstring(row) + L", column " + std::to_wstring(column) + L" is outside the sheet",
              where);
}

}  // namespace

// ---------------------------------------------------------------- addresses

Rect parseAddress(const std::wstring& address, Here where) {
    std::wstring s = trimBlanks(address);
    size_t colon = s.find(L':');
    Ref a, b;
    if (colon == std::wstring::npos) {
        if (!parseRef(s, 0, s.size(), a) || !a.row || !a.column) badAddress(address, where);
        return Rect{a.row, a.column, a.row, a.column};
    }
    if (!parseRef(s, 0, colon, a) || !parseRef(s, colon + 1, s.size(), b)) badAddress(address, where);
    if ((a.row == 0) != (b.row == 0) || (a.column == 0) != (b.column == 0)) badAddress(address, where);
    Rect r;
    if (!a.row) {  // whole columns
        r = Rect{1, std::min(a.column, b.column), kMaxRows, std::max(a.column, b.column)};
    } else if (!a.column) {  // whole rows
        r = Rect{std::min(a.row, b.row), 1, std::max(a.row, b.row), kMaxColumns};
    } else {
        r = Rect{std::min(a.row, b.row), std::min(a.column, b.column), std::max(a.row, b.row),
                 std::max(a.column, b.column)};
    }
    return r;
}

std::wstring columnName(int column) {
    std::wstring s;
    while (column > 0) {
        int d = (column - 1) % 26;
        s.insert(s.begin(), static_cast<wchar_t>(L'A' + d));
        column = (column - 1) / 26;
    }
    return s;
}

std::wstring formatAddress(const Rect& r, bool absolute) {
    std::wstring d = absolute ? L"$" : L"";
    if (r.left == 1 && r.right == kMaxColumns)  // whole rows (the whole sheet too)
        return d + std::to_wstring(r.top) + L":" + d + std::to_wstring(r.bottom);
    if (r.top == 1 && r.bottom == kMaxRows)  // whole columns
        return d + columnName(r.left) + L":" + d + columnName(r.right);
    std::wstring first = d + columnName(r.left) + d + std::to_wstring(r.top);
    if (r.isCell()) return first;
    return first + L":" + d + columnName(r.right) + d + std::to_wstring(r.bottom);
}

// ---------------------------------------------------------------- values

bool isEmpty(const CellValue& v) noexcept { return std::holds_alternative<std::monostate>(v); }

std::wstring displayText(const CellValue& v) {
    if (auto d = std::get_if<double>(&v)) return numberText(*d);
    if (auto b = std::get_if<bool>(&v)) return *b ? L"TRUE" : L"FALSE";
    if (auto s = std::get_if<std::wstring>(&v)) return *s;
    return {};
}

CellValue fromVariant(const Variant& value, Here where) {
    Variant v = Variant::copyOf(value.raw());
    switch (v.type()) {
        case VT_EMPTY:
        case VT_NULL: return std::monostate{};
        case VT_BOOL: return v.raw().boolVal != VARIANT_FALSE;
        case VT_BSTR: return Bstr(v.raw().bstrVal).str();
        case VT_I1: case VT_UI1: case VT_I2: case VT_UI2: case VT_I4: case VT_UI4: case VT_INT: case VT_UINT:
        case VT_I8: case VT_UI8: case VT_R4: case VT_R8: case VT_CY: case VT_DATE: case VT_DECIMAL:
            return v.toDouble(where);
        default:
            raise(kErrBadValue, L"A cell holds a number, a Boolean or text, not this kind of value", where);
    }
}

Variant toVariant(const CellValue& v) {
    if (auto d = std::get_if<double>(&v)) return Variant(*d);
    if (auto b = std::get_if<bool>(&v)) return Variant(*b);
    if (auto s = std::get_if<std::wstring>(&v)) return Variant(*s);
    return Variant();
}

Format defaultFormat() {
    CellFormat d;
    Format f;
    f.fontName = d.fontName;
    f.fontSize = d.fontSize;
    f.bold = d.bold;
    f.interior = d.interior;
    f.locked = d.locked;
    f.align = d.align;
    f.numberFormat = d.numberFormat;
    f.rightBorder = d.rightBorder;
    f.bottomBorder = d.bottomBorder;
    f.borderColor = d.borderColor;
    f.borderWeight = d.borderWeight;
    return f;
}

// ---------------------------------------------------------------- the sheet

Sheet::Sheet() = default;

CellValue Sheet::value(int row, int column) const {
    auto it = cells_.find(key(row, column));
    if (it == cells_.end()) return std::monostate{};
    if (!it->second.formula.empty()) recalcIfNeeded();
    return it->second.value;
}

std::wstring Sheet::formula(int row, int column) const {
    auto it = cells_.find(key(row, column));
    if (it == cells_.end()) return {};
    if (!it->second.formula.empty()) return it->second.formula;
    return displayText(it->second.value);
}

bool Sheet::hasFormula(int row, int column) const {
    return formulas_.count(key(row, column)) != 0;
}

void Sheet::setValue(int row, int column, CellValue v, Here where) {
    checkCell(row, column, where);
    if (auto s = std::get_if<std::wstring>(&v)) {
        if (s->size() > kMaxCellText)
            raise(kErrBadValue,
                  L"A cell holds at most " + std::to_wstring(kMaxCellText) + L" characters; this text has " +
                      std::to_wstring(s->size()),
                  where);
        // Empty text leaves the cell empty, so counts and the used range
        // don't see it.
        if (s->empty()) v = std::monostate{};
    }
    uint32_t k = key(row, column);
    if (isEmpty(v)) {
        if (cells_.erase(k) == 0) return;
        formulas_.erase(k);
    } else {
        Cell& c = cells_[k];
        c.value = std::move(v);
        if (!c.formula.empty()) {
            c.formula.clear();
            formulas_.erase(k);
        }
    }
    dirty_ = true;
    changed();
}

void Sheet::setFormula(int row, int column, const std::wstring& text, Here where) {
    checkCell(row, column, where);
    if (text.empty() || text[0] != L'=') {
        if (!text.empty() && text[0] == L'\'') return setValue(row, column, text.substr(1), where);
        double d;
        if (parseNumber(text, d)) return setValue(row, column, d, where);
        std::wstring t = trimBlanks(text);
        if (textEquals(t, L"TRUE")) return setValue(row, column, true, where);
        if (textEquals(t, L"FALSE")) return setValue(row, column, false, where);
        return setValue(row, column, text, where);
    }
    if (text.size() > kMaxCellText)
        raise(kErrBadValue, L"A formula holds at most " + std::to_wstring(kMaxCellText) + L" characters", where);

    // "=NAME(reference)" or "=reference", blanks allowed around the parts.
    std::wstring body = trimBlanks(text.substr(1));
    Cell c;
    size_t open = body.find(L'(');
    auto bad = [&] { raise(kErrBadValue, L"The formula '" + text + L"' is not understood", where); };
    if (open == std::wstring::npos) {
        c.fn = Fn::Ref;
        try {
            c.ref = parseAddress(body, where);
        } catch (const Error&) {
            bad();
        }
        if (!c.ref.isCell()) bad();
    } else {
        if (body.back() != L')') bad();
        std::wstring name = toUpper(trimBlanks(body.substr(0, open)));
        if (name == L"COUNTA") c.fn = Fn::CountA;
        else if (name == L"COUNT") c.fn = Fn::Count;
        else if (name == L"SUM") c.fn = Fn::Sum;
        else bad();
        try {
            c.ref = parseAddress(body.substr(open + 1, body.size() - open - 2), where);
        } catch (const Error&) {
            bad();
        }
    }
    std::wstring normal;
    for (wchar_t ch : text)
        if (!isBlank(ch)) normal += ch;
    c.formula = toUpper(normal);
    uint32_t k = key(row, column);
    cells_[k] = std::move(c);
    formulas_[k] = 0;
    dirty_ = true;
    changed();
}

void Sheet::enterText(int row, int column, const std::wstring& text, Here where) {
    checkCell(row, column, where);
    if (!editable(row, column))
        raise(kErrProtected,
              L"The cell " + formatAddress(Rect{row, column, row, column}, false) +
                  L" is locked on a protected sheet and can't be changed",
              where);
    setFormula(row, column, text, where);
}

bool Sheet::editable(int row, int column) const {
    return !(protection.enabled && format(row, column).locked);
}

void Sheet::eraseCells(const Rect& r) {
    for (int c = r.left; c <= r.right; ++c) {
        auto b = cells_.lower_bound(key(r.top, c));
        auto e = cells_.upper_bound(key(r.bottom, c));
        if (b == e) continue;
        formulas_.erase(formulas_.lower_bound(key(r.top, c)), formulas_.upper_bound(key(r.bottom, c)));
        cells_.erase(b, e);
        dirty_ = true;
    }
}

void Sheet::clearContents(const Rect& r) {
    eraseCells(r);
    changed();
}

void Sheet::clearFormats(const Rect& r) {
    if (within(kWholeSheet, r)) {
        formats_.clear();
    } else {
        applyFormat(r, defaultFormat());
        return;
    }
    changed();
}

void Sheet::clear(const Rect& r) {
    Batch batch(*this);
    clearContents(r);
    clearFormats(r);
}

void Sheet::calculate() {
    dirty_ = true;
    recalcIfNeeded();
    changed();
}

void Sheet::recalcIfNeeded() const {
    if (!dirty_) return;
    for (auto& f : formulas_) f.second = 0;
    for (auto& f : formulas_) evaluate(f.first);
    dirty_ = false;
}

// Computes a formula cell's value (once per recalculation); a formula that
// reaches itself again gives 0 rather than looping.
CellValue Sheet::evaluate(uint32_t k) const {
    auto it = cells_.find(k);
    if (it == cells_.end()) return std::monostate{};
    Cell& c = it->second;
    auto state = formulas_.find(k);
    if (state == formulas_.end() || state->second == 2) return c.value;
    if (state->second == 1) return 0.0;
    state->second = 1;
    auto valueAt = [&](uint32_t at, const Cell& cell) { return cell.formula.empty() ? cell.value : evaluate(at); };
    CellValue result;
    if (c.fn == Fn::Ref) {
        auto target = cells_.find(key(c.ref.top, c.ref.left));
        CellValue v = target == cells_.end() ? CellValue{} : valueAt(target->first, target->second);
        result = isEmpty(v) ? CellValue{0.0} : v;
    } else {
        double sum = 0, count = 0;
        for (int col = c.ref.left; col <= c.ref.right; ++col) {
            auto b = cells_.lower_bound(key(c.ref.top, col));
            auto e = cells_.upper_bound(key(c.ref.bottom, col));
            for (auto i = b; i != e; ++i) {
                CellValue v = valueAt(i->first, i->second);
                if (c.fn == Fn::CountA) {
                    if (!isEmpty(v)) ++count;
                } else if (auto d = std::get_if<double>(&v)) {
                    ++count;
                    sum += *d;
                }
            }
        }
        result = c.fn == Fn::Sum ? sum : count;
    }
    c.value = result;
    state->second = 2;
    return result;
}

Rect Sheet::usedRange() const {
    if (cells_.empty()) return Rect{};
    Rect r{kMaxRows, kMaxColumns, 1, 1};
    for (const auto& [k, cell] : cells_) {
        int row = static_cast<int>(k & 0x1FFFF), col = static_cast<int>(k >> 17);
        r.top = std::min(r.top, row);
        r.bottom = std::max(r.bottom, row);
        r.left = std::min(r.left, col);
        r.right = std::max(r.right, col);
    }
    return r;
}

std::vector<std::vector<CellValue>> Sheet::values(const Rect& r) const {
    recalcIfNeeded();
    std::vector<std::vector<CellValue>> out(static_cast<size_t>(r.rows()),
                                            std::vector<CellValue>(static_cast<size_t>(r.columns())));
    for (int c = r.left; c <= r.right; ++c) {
        auto b = cells_.lower_bound(key(r.top, c));
        auto e = cells_.upper_bound(key(r.bottom, c));
        for (auto i = b; i != e; ++i)
            out[static_cast<size_t>(static_cast<int>(i->first & 0x1FFFF) - r.top)][static_cast<size_t>(c - r.left)] = i->second.value;
    }
    return out;
}

void Sheet::sort(const Rect& r, int keyColumn, bool ascending, bool header) {
    if (keyColumn < 1 || keyColumn > r.columns())
        raise(kErrBadValue, L"The sort key is column " + std::to_wstring(keyColumn) + L" of a range with " +
                                std::to_wstring(r.columns()) + L" columns");
    recalcIfNeeded();
    Rect body = r;
    if (header) ++body.top;
    // Rows below the last filled one are empty and stay where they are.
    Rect used = usedRange();
    body.bottom = std::min(body.bottom, used.bottom);
    if (cells_.empty() || body.top >= body.bottom) return;

    size_t n = static_cast<size_t>(body.rows());
    std::vector<std::vector<Cell>> rows(n, std::vector<Cell>(static_cast<size_t>(body.columns())));
    for (int c = body.left; c <= body.right; ++c) {
        auto b = cells_.lower_bound(key(body.top, c));
        auto e = cells_.upper_bound(key(body.bottom, c));
        for (auto i = b; i != e; ++i)
            rows[static_cast<size_t>(static_cast<int>(i->first & 0x1FFFF) - body.top)][static_cast<size_t>(c - body.left)] = std::move(i->second);
    }
    size_t k = static_cast<size_t>(keyColumn - 1);
    std::stable_sort(rows.begin(), rows.end(), [&](const std::vector<Cell>& a, const std::vector<Cell>& b) {
        const CellValue &x = a[k].value, &y = b[k].value;
        bool ex = isEmpty(x) && a[k].formula.empty(), ey = isEmpty(y) && b[k].formula.empty();
        if (ex || ey) return !ex && ey;  // empty cells last in either order
        int d = compareValues(x, y);
        return ascending ? d < 0 : d > 0;
    });
    eraseCells(body);
    for (size_t i = 0; i < n; ++i)
        for (size_t c = 0; c < rows[i].size(); ++c) {
            Cell& cell = rows[i][c];
            if (isEmpty(cell.value) && cell.formula.empty()) continue;
            uint32_t at = key(body.top + static_cast<int>(i), body.left + static_cast<int>(c));
            if (!cell.formula.empty()) formulas_[at] = 0;
            cells_[at] = std::move(cell);
        }
    dirty_ = true;
    changed();
}

// ---------------------------------------------------------------- formats

void Sheet::applyFormat(const Rect& r, const Format& f) {
    // Older layers inside the new one lose what it sets again, so repeating a
    // format on the same cells doesn't pile up layers.
    for (auto& [rect, layer] : formats_)
        if (within(rect, r)) dropCovered(layer, f);
    std::erase_if(formats_, [](const auto& l) { return setsNothing(l.second); });
    if (setsNothing(f)) {
        // nothing to add
    } else if (!formats_.empty() && formats_.back().first == r) {
        // The newest layer covers the same cells: one layer carries both.
        Format& last = formats_.back().second;
        overlayFormat(last, f);
    } else {
        formats_.emplace_back(r, f);
    }
    changed();
}

CellFormat Sheet::format(int row, int column) const {
    CellFormat c;
    for (const auto& [rect, layer] : formats_)
        if (rect.contains(row, column)) overlay(c, layer);
    return c;
}

double Sheet::columnWidth(int column) const {
    auto it = columnWidths_.find(column);
    return it == columnWidths_.end() ? 8.43 : it->second;
}

void Sheet::setColumnWidth(int column, double width) {
    if (column < 1 || column > kMaxColumns) raise(kErrBadAddress, L"Column " + std::to_wstring(column) + L" is outside the sheet");
    if (!(width >= 0 && width <= 255)) raise(kErrBadValue, L"A column is 0 to 255 characters wide");
    columnWidths_[column] = width;
    changed();
}

void Sheet::autoFit(int firstColumn, int lastColumn) {
    recalcIfNeeded();
    Batch batch(*this);
    for (int c = std::max(firstColumn, 1); c <= std::min(lastColumn, kMaxColumns); ++c) {
        auto b = cells_.lower_bound(key(1, c));
        auto e = cells_.upper_bound(key(kMaxRows, c));
        if (b == e) continue;  // nothing to fit: the width stays
        double widest = 0;
        for (auto i = b; i != e; ++i) {
            std::wstring text = displayText(i->second.value);
            CellFormat f = format(static_cast<int>(i->first & 0x1FFFF), c);
            double w = view_ ? view_->measureText(text, f) : -1;
            // Without a window: an average character of Arial 10 is one
            // unit; bold text is a little wider.
            if (w < 0) w = static_cast<double>(text.size()) * f.fontSize / 10.0 * (f.bold ? 1.1 : 1.0);
            widest = std::max(widest, w);
        }
        setColumnWidth(c, std::min(255.0, std::ceil((widest + 0.7) * 100) / 100));
    }
}

// ---------------------------------------------------------------- selection and view

void Sheet::select(const Rect& r) {
    selection_ = r;
    activeRow_ = r.top;
    activeColumn_ = r.left;
    changed();
}

void Sheet::setViewableRange(const Rect& r) {
    viewable_ = r;
    if (view_) view_->setViewableRange(r);
}

void Sheet::changed() {
    if (batchDepth_ > 0) {
        batchChanged_ = true;
        return;
    }
    if (!settings.screenUpdating || !view_) return;
    ++repaints_;
    view_->invalidate();
}

}  // namespace qbx::sheet
