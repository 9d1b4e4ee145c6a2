// Quillbox's own spreadsheet control, "Quillbox.Spreadsheet": the object
// model of sheet_objects.h as its IDispatch, the OLE control interfaces a
// container needs (cOleControl), and a window that shows and edits the sheet
// the way a person expects of a spreadsheet grid.
//
// The window draws with the system's colours, the cells' own fonts at the
// window's DPI, column widths from the sheet, the frozen rows (and columns)
// kept in place while the rest scrolls, gridlines, row and column headings
// and scroll bars as the view settings say. A cell whose font is
// "Wingdings" holding the character 254 or 168 shows a checked or an empty
// check box, drawn by the system, so it looks right without the font.
//
// Only the cells of the viewable range (the whole sheet unless set) are
// shown and reachable by mouse, keys, scrolling and selection.
//
// Editing: typing starts an entry in the active cell (an EDIT child over the
// cell), F2 or a double click edits the cell's content in place; Enter
// commits and moves as MoveAfterReturn says, Tab and Shift+Tab commit and
// move sideways (in a one-column grid to the dialog's next or previous
// control), Escape cancels an entry (outside one it is the dialog's). Any
// call of the object model that reads or changes the sheet first commits an
// open entry into the cell it was started in. Arrows, Page Up/Down, Home, End and
// Ctrl+Home move the active cell (Shift extends the selection), Delete
// clears the selection's editable cells, Ctrl+C copies the selection as tab
// and CR LF separated text, Ctrl+V pastes such text from the active cell on.
// A locked cell of a protected sheet refuses every edit with a beep.
//
// While ScreenUpdating is off nothing is drawn: a paint the system asks for
// shows the last picture again.
#pragma once

#include "settings_ui/spreadsheet/cOleControl.h"
#include "settings_ui/spreadsheet/grid_accessible.h"
#include "settings_ui/spreadsheet/sheet_objects.h"
#include "support/com/win_window.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

extern const CLSID CLSID_QuillboxSpreadsheet;
extern const wchar_t* const kSpreadsheetProgId;  // "Quillbox.Spreadsheet"

// Creates a control and answers the interface asked for (the class
// factory's CreateInstance). The policy decides which member names it
// answers; the test bed's stand-ins for other spreadsheet components pass
// their own.
HRESULT fncCreateSpreadsheetControl(REFIID iid, void** out,
                                    qbx::sheet::MemberPolicy policy = qbx::sheet::MemberPolicy::product());

class cSpreadsheetControl final : public qbx::sheet::Spreadsheet, public cOleControl, private qbx::sheet::View {
public:
    explicit cSpreadsheetControl(qbx::sheet::MemberPolicy policy = qbx::sheet::MemberPolicy::product());
    ~cSpreadsheetControl() override;

    // One reference count for every interface: the object model's.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return Spreadsheet::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Spreadsheet::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Spreadsheet::Release(); }

    // Controls alive in the process, read by the tests of the window. (The
    // DLL's unloading counts every object of ours, see qbx::liveObjects.)
    static long liveObjects() noexcept;

protected:
    HRESULT queryOther(REFIID iid, void** out) override { return queryOleInterface(iid, out); }
    void repaint() override;
    const CLSID& classId() const override { return CLSID_QuillboxSpreadsheet; }
    HWND createControlWindow(HWND parent, const RECT& position) override;
    bool translateKey(MSG& message) override;

private:
    friend struct cSpreadsheetControlTesting;  // spreadsheet_control_testing.h
    friend class cGridAccessible;              // grid_accessible.cpp

    // ---- View: what the sheet asks of the window
    void setViewableRange(const qbx::sheet::Rect& r) override;
    void settleEntry() override;
    // The viewable range is one column wide: Tab moves between controls.
    bool oneColumn() const;
    void invalidate() override;
    double measureText(const std::wstring& text, const qbx::sheet::CellFormat& format) const override;

    // ---- geometry
    // Where a cell is in the window, in pixels.
    RECT cellRect(int row, int column) const;
    struct Band {
        int index;  // row or column number
        int start;  // pixel where it begins
        int size;   // pixels
    };
    struct Layout {
        int headWidth = 0, headHeight = 0;  // row headings' width, column headings' height
        int frozenBottom = 0, frozenRight = 0;
        std::vector<Band> rows, columns;
    };
    Layout layout() const;
    int dpi() const;
    int rowHeight() const;
    int columnPixels(int column) const;
    int digitWidth() const;
    int fullyVisibleRows() const;
    int fullyVisibleColumns() const;
    bool hitTest(POINT p, int& row, int& column) const;

    // ---- drawing
    friend struct qbx::WindowProcedures;
    std::optional<LRESULT> windowMessage(UINT message, WPARAM w, LPARAM l);
    void windowAttached(HWND window) noexcept { window_ = window; }
    void windowDetached() noexcept;
    LRESULT handle(UINT message, WPARAM w, LPARAM l);
    void paint(HDC target, const RECT& client);
    void render(HDC dc, const RECT& client);
    void drawLines(HDC dc, const Layout& lay);
    void drawBorders(HDC dc, const Layout& lay);
    void drawSelection(HDC dc, const Layout& lay);
    void drawHeadings(HDC dc, const RECT& client, const Layout& lay);
    void drawCell(HDC dc, const RECT& cell, int row, int column, const Layout& lay);
    void drawCheckBox(HDC dc, const RECT& cell, bool checked, qbx::sheet::HAlign align);
    HFONT font(const std::wstring& name, double points, bool bold) const;
    void refresh();
    void updateScrollBars();

    // ---- moving and selecting
    void moveTo(int row, int column, bool extend);
    void moveBy(int rows, int columns, bool extend);
    void ensureVisible(int row, int column);
    void scrollRows(int delta);
    void scrollColumns(int delta);
    bool onKey(UINT key);
    // Window messages of the keyboard and the mouse.
    static POINT pointOf(LPARAM l);
    LRESULT dialogCode(const MSG* m) const;
    bool onKeyDown(WPARAM w, LPARAM l);
    void onChar(WPARAM w, LPARAM l);
    void onMouseDown(POINT p, bool doubleClick, bool shift);
    bool selectHeading(POINT p);
    void onMouseMove(POINT p, bool buttonDown);
    void endDrag();
    void onScroll(bool vertical, WORD request);
    void nextControl(bool previous);
    // The grid or its cell editor has the keyboard.
    bool hasFocus() const;
    // Tells screen readers where the active cell is now (focus and
    // selection events) when it moved since they were last told.
    void announceActiveCell(bool always = false);
    void announceValue(int row, int column);

    // ---- editing
    static constexpr UINT kCommitLater = WM_APP + 0x51;  // the cell editor lost the focus to another window
    enum class EditMode { None, Enter, Edit };  // Enter: started by typing; Edit: F2 or double click
    bool startEdit(const std::wstring& text, EditMode mode);
    bool commitEdit();
    void cancelEdit();
    bool editKey(UINT key);
    std::optional<LRESULT> editMessage(UINT message, WPARAM w, LPARAM l);
    void clearSelection();
    void copySelection();
    void paste();

    std::shared_ptr<qbx::sheet::Sheet> sheet_;
    HWND window_ = nullptr;  // the window cOleControl owns, while it lives
    qbx::OwnedWindow edit_;  // the cell editor while an entry is open
    qbx::WindowSubclass editSubclass_;
    EditMode editMode_ = EditMode::None;
    bool settling_ = false;
    std::shared_ptr<cGridAccessLink> accessLink_ = std::make_shared<cGridAccessLink>();
    int announcedRow_ = 0, announcedColumn_ = 0;
    int editRow_ = 0, editColumn_ = 0;
    int topRow_ = 1, leftColumn_ = 1;  // first row and column shown below / right of the frozen ones
    int anchorRow_ = 1, anchorColumn_ = 1, endRow_ = 1, endColumn_ = 1;  // selection made by the keys or mouse
    bool dragging_ = false;
    bool verticalBar_ = false, horizontalBar_ = false;
    uint64_t renders_ = 0;
    qbx::Bitmap lastPicture_;  // what was drawn last, shown again while ScreenUpdating is off
    SIZE lastPictureSize_{};
    mutable std::map<std::wstring, qbx::Font> fonts_;
    mutable int digitWidth_ = 0, digitWidthDpi_ = 0;
};
