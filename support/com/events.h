// Receiving COM events: a sink answers one event interface (DIID) and calls a
// handler per DISPID; an EventConnection advises it on a source and unadvises
// when it is dropped. Unknown DISPIDs are answered with S_OK, and a handler's
// failure never travels back into the source.
#pragma once

#include "support/com/dispatch_object.h"

#include <ocidl.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>

namespace qbx {

// Event arguments are read like an incoming call's (Args): in declaration
// order, with setBool for a by-reference Cancel.
using EventHandler = std::function<void(Args&)>;
using EventHandlers = std::map<DISPID, EventHandler>;

// What keeps an event's receiver alive while one of its handlers runs: a
// handler may end with the receiver's last other reference released (a
// window closing drops the object that watches it).
class Pin {
public:
    Pin() = default;
    // A COM object: referenced for the handler's duration.
    explicit Pin(IUnknown* owner)
        : hold_([owner] { return std::shared_ptr<void>(std::make_shared<ComPtr<IUnknown>>(owner)); }) {}
    // An object owned by shared_ptr: locked for the handler's duration; once
    // it is gone its handlers are not called.
    template <class T>
    explicit Pin(std::weak_ptr<T> owner)
        : hold_([w = std::move(owner)] { return std::shared_ptr<void>(w.lock()); }) {}
    // Runs the handler with the receiver held; does nothing (false) when the
    // receiver is gone. An empty Pin holds nothing and always runs it.
    template <class F>
    bool run(F&& handler) const {
        std::shared_ptr<void> held;
        if (hold_ && !(held = hold_())) return false;
        handler();
        return true;
    }

private:
    std::function<std::shared_ptr<void>()> hold_;
};

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
    // The receiver is pinned (see Pin) around every handler call.
    bool connect(const Disp& source, std::initializer_list<IID> diids, EventHandlers handlers, Pin receiver = {});
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
