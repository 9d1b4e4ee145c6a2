// Controls added to a window at run time, the way a form's Controls
// collection adds them: ActiveX controls (created by ProgID, with their
// run-time licence where the class asks for one, and hosted in Windows' own
// control container, atl.dll) and the add-in's own pages (made from a table
// of page factories by the same kind of class identifier, "Quillbox.<name>").
//
// Each added control is reached through an extender object (IDispatch):
//   Name, Top, Left, Width, Height   positions in the window's units (twips:
//                                    1440 to the inch at the window's DPI)
//   Visible                          shows or hides the control
//   object                           the control itself (its IDispatch)
// and, for a page, the page's own members answered by name as well
// (subSaveSettings ...), as Visual Basic's extender forwards them.
#pragma once

#include "support/com.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

class cFormControls {
public:
    explicit cFormControls(HWND form);
    ~cFormControls();  // removes every control still on the window
    cFormControls(const cFormControls&) = delete;
    cFormControls& operator=(const cFormControls&) = delete;

    // The run-time licence collection: class names with their keys. An entry
    // with an empty key means "ask the class for its run-time key".
    bool HasLicense(const std::wstring& progId) const;
    void AddLicense(const std::wstring& progId, const std::wstring& key = {});

    // Adds a control of the class under the name (case-insensitive, unique
    // on the window) and returns its extender. Raises 429 when the class
    // can't be created or hosted (a class asking for a licence it does not
    // get raises its own error), 360 when the name is taken. The control
    // starts hidden at 0, 0, an ActiveX control with no size, a page with
    // the size it was designed with.
    qbx::Disp Add(const std::wstring& progId, const std::wstring& name, qbx::Here where = {});
    // Removes (destroys) the control of that name; raises 730 when there is none.
    void Remove(const std::wstring& name, qbx::Here where = {});
    // The extender of the control of that name; nothing when there is none.
    qbx::Disp Item(const std::wstring& name) const;
    // The window handle that holds the control of that name (for tests and
    // screenshots); null when there is none.
    HWND Window(const std::wstring& name) const;

    HWND form() const noexcept { return form_; }

    // Gives a keyboard message aimed at a hosted ActiveX control (its window
    // or one inside it) to the control's IOleInPlaceActiveObject first, as a
    // container does before its own accelerators and dialog keys. True when
    // the control used it; the window's message loop then drops it.
    bool TranslateAccelerator(MSG* message) const;

    // The add-in's own pages: a factory makes the page as a child window of
    // the form and returns its object (members by name, at least
    // subSaveSettings) and its window. Registered once per process.
    struct Page {
        qbx::Disp object;
        HWND window = nullptr;
    };
    using PageFactory = std::function<Page(HWND form)>;
    static void RegisterPage(const std::wstring& classId, PageFactory factory);

private:
    struct Entry;
    HWND form_;
    std::map<std::wstring, std::wstring> licenses_;
    std::map<std::wstring, std::unique_ptr<Entry>> controls_;  // keyed by lower-case name
};

// Twips per pixel of a window, horizontally and vertically (15 at 96 DPI).
double fncTwipsPerPixelX(HWND window);
double fncTwipsPerPixelY(HWND window);
