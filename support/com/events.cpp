#include "support/com/events.h"

#include "support/com/boundary.h"

namespace qbx {

class EventConnection::Sink final : public Unknown<IDispatch> {
public:
    Sink(const IID& iid, EventHandlers handlers, Pin receiver)
        : iid_(iid), handlers_(std::move(handlers)), receiver_(std::move(receiver)) {}
    void detach() { handlers_.clear(); }
    // A connection point asks for its event interface; callers use IDispatch.
    bool answers(REFIID iid) const override { return iid == IID_IDispatch || iid == iid_; }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override {
        if (n) *n = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** out) override {
        if (out) *out = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* dp, VARIANT* result, EXCEPINFO*,
                                     UINT*) override {
        if (result) VariantInit(result);
        auto it = handlers_.find(id);
        if (it == handlers_.end()) return S_OK;
        EventHandler handler = it->second;  // the handler may disconnect this sink
        ComPtr<IDispatch> keepAlive(this);
        // Handlers report their own failures; nothing goes back to the source.
        quietBoundary(L"event handler", [&] {
            Args args(dp);
            receiver_.run([&] { handler(args); });
        });
        return S_OK;
    }

private:
    IID iid_;
    EventHandlers handlers_;
    Pin receiver_;
};

EventConnection::EventConnection(EventConnection&& o) noexcept
    : point_(std::move(o.point_)), sink_(std::move(o.sink_)), sinkImpl_(std::exchange(o.sinkImpl_, nullptr)),
      cookie_(std::exchange(o.cookie_, 0)), iid_(o.iid_) {}

EventConnection& EventConnection::operator=(EventConnection&& o) noexcept {
    if (this != &o) {
        disconnect();
        point_ = std::move(o.point_);
        sink_ = std::move(o.sink_);
        sinkImpl_ = std::exchange(o.sinkImpl_, nullptr);
        cookie_ = std::exchange(o.cookie_, 0);
        iid_ = o.iid_;
    }
    return *this;
}

bool EventConnection::connect(const Disp& source, std::initializer_list<IID> diids, EventHandlers handlers,
                              Pin receiver) {
    disconnect();
    if (!source) return false;
    auto cpc = source.ptr().as<IConnectionPointContainer>(IID_IConnectionPointContainer);
    if (!cpc) return false;
    for (const IID& iid : diids) {
        ComPtr<IConnectionPoint> cp;
        if (FAILED(cpc->FindConnectionPoint(iid, cp.put())) || !cp) continue;
        auto* impl = new Sink(iid, handlers, receiver);
        ComPtr<IDispatch> sink(impl);
        DWORD cookie = 0;
        if (FAILED(cp->Advise(sink.get(), &cookie))) continue;
        point_ = std::move(cp);
        sink_ = std::move(sink);
        sinkImpl_ = impl;
        cookie_ = cookie;
        iid_ = iid;
        return true;
    }
    return false;
}

void EventConnection::disconnect() noexcept {
    if (sinkImpl_) sinkImpl_->detach();
    if (point_) point_->Unadvise(cookie_);
    point_.reset();
    sink_.reset();
    sinkImpl_ = nullptr;
    cookie_ = 0;
}

}  // namespace qbx
