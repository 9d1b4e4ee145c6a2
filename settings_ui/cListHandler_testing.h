// Access to the grid wrapper's private state, for tests.
#pragma once

#include "settings_ui/cListHandler.h"

struct cListHandlerTesting {
    // True when an Office XP or 2003 component (or Quillbox's own, which
    // answers the same names) was created; false for the Office 2000 one.
    static bool NewerComponent(const cListHandler& grid) noexcept { return grid.blnNewerComponent_; }
    // Who hears SelectionChange; nothing in the add-in listens yet.
    static void setSelectionChangeListener(cListHandler& grid, cListHandler::SelectionChangeListener listener) {
        grid.selectionChange_ = std::move(listener);
    }
    // One tick of the selection polling, as the timer runs it.
    static void pollSelection(cListHandler& grid) { grid.objTimer_Timer(); }
};
