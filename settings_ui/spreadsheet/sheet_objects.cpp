// The spreadsheet's object model: the member policy, the objects' base, and
// the Range, Worksheet, Window and Spreadsheet objects. Arguments and values
// are read in sheet_values.cpp, the format objects live in sheet_formats.cpp.
#include "settings_ui/spreadsheet/sheet_objects_internal.h"

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
                 [](Range& r, Args&) { return getFormula(r.sheet(), r.rect()); },
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
    m.member<Range>(L"Font", [](Range& r, Args&) { return newFont(r.context(), r.rect()); });
    m.member<Range>(L"Interior", [](Range& r, Args&) { return newInterior(r.context(), r.rect()); });
    m.member<Range>(L"Borders", [](Range& r, Args& a) {
        if (a.has(0)) return newBorder(r.context(), r.rect(), a.i32(0));
        return newBorders(r.context(), r.rect());
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
        m.member<Worksheet>(L"Protection", [](Worksheet& w, Args&) { return newProtection(w.context()); });
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
        m.member<Spreadsheet>(L"Constants", [](Spreadsheet& s, Args&) { return newConstants(s.context()); });
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

}  // namespace qbx::sheet
