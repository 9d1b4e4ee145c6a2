// The late-bound object model of Quillbox's own spreadsheet control: the part
// of the Office Web Components' Spreadsheet object model (versions 10 and 11)
// that the settings grid uses, plus the first generation's names where they
// differ. Every object is a DispatchObject reached by member name, without
// regard to letter case; all of them work on one shared Sheet.
//
//   Spreadsheet   the control's own IDispatch (ActiveSheet, ActiveWindow,
//                 Range, view switches, Caption as the default member ...)
//   Worksheet     ActiveSheet: Range, Cells, Rows, Columns, UsedRange,
//                 Protection, Calculate, Protect/Unprotect, AutoFilter
//   Range         Value, Formula, Clear..., Font, Interior, Borders, Locked,
//                 Sort, Address, HTMLData ...
//   Font, Interior, Borders/Border, Protection, Window, Constants
//
// Which names an instance answers is decided by its MemberPolicy: refused
// names are unknown to GetIDsOfNames (a late-bound caller sees error 438),
// failing names raise when called. The product's control refuses the first
// generation's names; the test bed makes stand-ins with other policies, and
// makes members fail through sheet_objects_testing.h.
#pragma once

#include "settings_ui/spreadsheet/sheet_model.h"
#include "support/com/dispatch_object.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace qbx::sheet {

// The number and text a failing member raises unless told otherwise.
constexpr long kErrMemberFailed = 1004;

// Which member names an instance answers. A name is "Member" (on every
// object) or "Object.Member" (on one kind of object, by its type name:
// "Spreadsheet", "Worksheet", "Range", "Font", "Interior", "Borders",
// "Border", "Protection", "Window", "Constants"); letter case is ignored.
class MemberPolicy {
public:
    struct Failure {
        long number = kErrMemberFailed;
        std::wstring description;  // empty: "Method 'X' of object 'Y' failed"
    };

    // Refuses nothing and fails nothing.
    MemberPolicy() = default;
    // What Quillbox's own control answers: the newer names; the first
    // generation's names that differ from them are refused.
    static MemberPolicy product();
    // The first generation's names that the newer generations lack (as
    // "Member" or "Object.Member").
    static const std::vector<std::wstring>& firstGenerationNames();

    void refuse(const std::wstring& name);

    bool refuses(const std::wstring& object, const std::wstring& member) const;
    // The failure set for the member, or null (members are made to fail
    // through sheet_objects_testing.h).
    const Failure* failure(const std::wstring& object, const std::wstring& member) const;

private:
    friend struct MemberPolicyTesting;  // sheet_objects_testing.h
    // A name as the lists keep it (letter case folded).
    static std::wstring key(const std::wstring& name);

    std::set<std::wstring> refused_;           // lower case
    std::map<std::wstring, Failure> failing_;  // lower case
};

// What every object of one spreadsheet shares.
struct Context {
    std::shared_ptr<Sheet> sheet;
    std::shared_ptr<MemberPolicy> policy;
};

// The base of every object of the model: members from its class's shared
// MemberTable, the member policy applied to names and calls, and the shared
// Sheet.
class SheetObject : public DispatchObject {
public:
    Sheet& sheet() const noexcept { return *ctx_.sheet; }
    const Context& context() const noexcept { return ctx_; }
    MemberPolicy& policy() const noexcept { return *ctx_.policy; }

protected:
    SheetObject(std::wstring typeName, Context ctx, const MemberTable& members);

    // Refused names are unknown.
    bool answersName(const std::wstring& name) const override;
    // A refused member is not found, a failing one raises; any member that
    // reads or changes the sheet first takes in an entry the user is typing.
    HRESULT beforeMember(const std::wstring& name, DISPID id, WORD flags) override;

private:
    Context ctx_;
};

// A rectangle of cells. Rows and Columns give the same cells but count and
// index by row or by column, as the object model's collections do.
class Range final : public SheetObject {
public:
    enum class Kind { Cells, Rows, Columns };
    Range(Context ctx, const Rect& r, Kind kind = Kind::Cells);
    const Rect& rect() const noexcept { return rect_; }
    Kind kind() const noexcept { return kind_; }

private:
    static const MemberTable& members();
    Rect rect_;
    Kind kind_;
};

class Worksheet final : public SheetObject {
public:
    explicit Worksheet(Context ctx);

private:
    static const MemberTable& members();
};

class Window final : public SheetObject {
public:
    explicit Window(Context ctx);

private:
    static const MemberTable& members();
};

// The spreadsheet itself: the control's IDispatch. The control's window
// class derives from it (and answers the OLE control interfaces through
// queryOther); tests and the test bed use a window-less one from create().
class Spreadsheet : public SheetObject {
public:
    // A spreadsheet without a window, on a new sheet unless one is given.
    static ComPtr<Spreadsheet> create(std::shared_ptr<Sheet> sheet = nullptr,
                                      MemberPolicy policy = MemberPolicy::product());

    const std::shared_ptr<Sheet>& sheetPtr() const noexcept { return context().sheet; }
    // The default member's text.
    std::wstring caption = L"Quillbox Spreadsheet";

protected:
    explicit Spreadsheet(std::shared_ptr<Sheet> sheet, MemberPolicy policy = MemberPolicy::product());

    // Repaint: the window redraws now (whatever ScreenUpdating says). The
    // window-less spreadsheet asks the sheet's view, if any.
    virtual void repaint();

private:
    static const MemberTable& members();
    ComPtr<Worksheet> worksheet_;
    ComPtr<Window> window_;
};

// An HTML document with the range's shown texts as a table, HTML-escaped.
std::wstring htmlTable(const Sheet& sheet, const Rect& r);

}  // namespace qbx::sheet
