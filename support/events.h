// Receiving COM events: a sink answers one event interface (DIID) and calls a
// handler per DISPID; an EventConnection advises it on a source and unadvises
// when it is dropped. Unknown DISPIDs are answered with S_OK, and a handler's
// failure never travels back into the source.
#pragma once

#include "com.h"

#include <functional>
#include <initializer_list>
#include <map>

namespace qbx {

// Event arguments in declaration order.
class EventArgs {
public:
    explicit EventArgs(DISPPARAMS* dp) noexcept : dp_(dp) {}
    size_t count() const noexcept { return dp_ ? dp_->cArgs : 0; }
    Variant value(size_t i) const;
    Disp obj(size_t i) const { return value(i).toDisp(); }
    // Writes a by-reference Boolean argument such as Cancel.
    void setBool(size_t i, bool v) const;

private:
    VARIANT* raw(size_t i) const noexcept;
    DISPPARAMS* dp_;
};

using EventHandler = std::function<void(EventArgs&)>;
using EventHandlers = std::map<DISPID, EventHandler>;

class EventConnection {
public:
    EventConnection() = default;
    EventConnection(const EventConnection&) = delete;
    EventConnection& operator=(const EventConnection&) = delete;
    EventConnection(EventConnection&& o) noexcept;
    EventConnection& operator=(EventConnection&& o) noexcept;
    ~EventConnection() { disconnect(); }

    // Advises a sink on the first of the event interfaces that the source
    // offers (newest first, so older Outlook versions fall back to the
    // interface they have). Returns false when the source offers none.
    bool connect(const Disp& source, std::initializer_list<IID> diids, EventHandlers handlers);
    // Unadvises; the sink stops calling its handlers at once.
    void disconnect() noexcept;
    bool connected() const noexcept { return static_cast<bool>(point_); }
    const IID& iid() const noexcept { return iid_; }

private:
    class Sink;
    ComPtr<IConnectionPoint> point_;
    ComPtr<IDispatch> sink_;
    Sink* sinkImpl_ = nullptr;
    DWORD cookie_ = 0;
    IID iid_{};
};

}  // namespace qbx
