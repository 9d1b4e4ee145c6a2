// The spreadsheet's format objects: Font, Interior, Borders and Border,
// Protection, and Constants.
#include "settings_ui/spreadsheet/sheet_objects_internal.h"

namespace qbx::sheet {

namespace {

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

}  // namespace

Variant newFont(const Context& c, const Rect& r) { return newObject<Font>(c, r); }
Variant newInterior(const Context& c, const Rect& r) { return newObject<Interior>(c, r); }
Variant newBorder(const Context& c, const Rect& r, long index) { return newObject<Border>(c, r, index); }
Variant newBorders(const Context& c, const Rect& r) { return newObject<Borders>(c, r); }
Variant newProtection(const Context& c) { return newObject<ProtectionObject>(c); }
Variant newConstants(const Context& c) { return newObject<Constants>(c); }

}  // namespace qbx::sheet
