#include "testbed/outlook/emu_base.h"

#include "testbed/outlook/emulator.h"

#include <olectl.h>

#include <algorithm>

namespace emu {

void fail(long number, const std::wstring& text) { qbx::raise(number, text); }
void failIndex() { fail(errors::kBadIndex, L"Array index out of bounds."); }
void failNotFound() { fail(errors::kNotFound, L"The attempted operation failed.  An object could not be found."); }
void failInvalidArg() { fail(errors::kInvalidArg, L"One or more parameter values are not valid."); }

IndexArg indexArg(const qbx::Args& a, size_t i) {
    qbx::Variant v = a.value(i);
    IndexArg r;
    if (v.type() == VT_BSTR) {
        r.byName = true;
        r.name = v.toString();
    } else {
        r.index = v.toLong();
    }
    return r;
}

// ---------------------------------------------------------------- enumerator

namespace {

// Walks a collection by position, asking it for its current count and
// element each time, as Outlook's own enumerators do.
class LiveEnum final : public qbx::Unknown<IEnumVARIANT> {
public:
    LiveEnum(IDispatch* owner, std::function<long()> count, std::function<qbx::Variant(long)> item, long pos = 1)
        : owner_(owner), count_(std::move(count)), item_(std::move(item)), pos_(pos) {}
    bool answers(REFIID iid) const override { return iid == IID_IEnumVARIANT; }
    HRESULT STDMETHODCALLTYPE Next(ULONG n, VARIANT* out, ULONG* got) override {
        ULONG k = 0;
        try {
            auto* o = static_cast<Object*>(owner_.get());
            while (k < n && o->model() && !o->gone() && pos_ <= count_()) {
                qbx::Variant v = item_(pos_++);
                VariantInit(&out[k]);
                out[k] = v.detach();
                ++k;
            }
        } catch (...) {
        }
        if (got) *got = k;
        return k == n ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG n) override {
        pos_ += static_cast<long>(n);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        pos_ = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) override {
        if (!out) return E_POINTER;
        *out = new LiveEnum(owner_.get(), count_, item_, pos_);
        (*out)->AddRef();
        return S_OK;
    }

private:
    qbx::ComPtr<IDispatch> owner_;
    std::function<long()> count_;
    std::function<qbx::Variant(long)> item_;
    long pos_;
};

}  // namespace

// ---------------------------------------------------------------- connection point

HRESULT ConnectionPoint::QueryInterface(REFIID iid, void** out) {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IConnectionPoint) {
        *out = static_cast<IConnectionPoint*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

// A connection point lives as long as its object: references to it are
// references to the object.
ULONG ConnectionPoint::AddRef() { return owner_.AddRef(); }
ULONG ConnectionPoint::Release() { return owner_.Release(); }

HRESULT ConnectionPoint::GetConnectionInterface(IID* iid) {
    if (!iid) return E_POINTER;
    *iid = diid_;
    return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** out) {
    if (!out) return E_POINTER;
    *out = &owner_.container_;
    (*out)->AddRef();
    return S_OK;
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
    if (!sink || !cookie) return E_POINTER;
    *cookie = 0;
    if (!owner_.ol_) return CONNECT_E_ADVISELIMIT;
    // The sink must answer the event interface itself.
    qbx::ComPtr<IDispatch> target;
    if (FAILED(sink->QueryInterface(diid_, target.putVoid())) || !target) return CONNECT_E_CANNOTCONNECT;
    *cookie = owner_.ol_->nextCookie();
    sinks_.push_back(Sink{*cookie, std::move(target)});
    return S_OK;
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) {
    auto it = std::find_if(sinks_.begin(), sinks_.end(), [&](const Sink& s) { return s.cookie == cookie; });
    if (it == sinks_.end()) return CONNECT_E_NOCONNECTION;
    // Keep the sink alive until it is out of the list: its release may call back.
    qbx::ComPtr<IDispatch> keep = std::move(it->target);
    sinks_.erase(it);
    keep.reset();
    return S_OK;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** out) {
    if (out) *out = nullptr;
    return E_NOTIMPL;
}

bool ConnectionPoint::advised(DWORD cookie) const noexcept {
    return std::any_of(sinks_.begin(), sinks_.end(), [&](const Sink& s) { return s.cookie == cookie; });
}

// ---------------------------------------------------------------- object

Object::Object(Outlook& ol, std::wstring typeName) : DispatchObject(std::move(typeName)), ol_(&ol) {}

Object::~Object() = default;

Outlook& Object::ol() const {
    if (!ol_) fail(errors::kServerGone, L"The RPC server is unavailable.");
    return *ol_;
}

void Object::kill(long number, const std::wstring& text) {
    gone_ = true;
    goneNumber_ = number;
    goneText_ = text;
}

void Object::orphanSinks() noexcept {
    for (auto& s : sources_) s.point->dropAll();
}

void Object::orphan() noexcept {
    orphaned_ = true;
    ol_ = nullptr;
    orphanSinks();
}

DISPID Object::method(const std::wstring& name, Getter fn, DISPID id) {
    DISPID d = DispatchObject::method(name, std::move(fn), id);
    names_[d] = name;
    return d;
}

DISPID Object::property(const std::wstring& name, Getter get, Setter put, DISPID id) {
    DISPID d = DispatchObject::property(name, std::move(get), std::move(put), id);
    names_[d] = name;
    return d;
}

void Object::setDefault(DISPID id) {
    default_ = id;
    setDefaultMember(id);
}

void Object::liveEnumerator(std::function<long()> count, std::function<qbx::Variant(long)> item) {
    method(L"_NewEnum", [this, count, item](qbx::Args&) {
        qbx::ComPtr<IEnumVARIANT> e(new LiveEnum(disp(), count, item));
        return qbx::Variant(static_cast<IUnknown*>(e.get()));
    }, DISPID_NEWENUM);
}

std::wstring Object::memberName(DISPID id) const {
    if (id == DISPID_VALUE && default_ != DISPID_UNKNOWN) id = default_;
    auto it = names_.find(id);
    return it == names_.end() ? std::wstring() : it->second;
}

void Object::sources(const IID& diid, int fromVersion) {
    sources_.push_back(Source{diid, fromVersion, std::make_unique<ConnectionPoint>(*this, diid)});
}

bool Object::offered(const Source& s) const { return ol_ && ol_->version() >= s.fromVersion; }

long Object::advisedSinks() const noexcept {
    long n = 0;
    for (const auto& s : sources_) n += static_cast<long>(s.point->sinks().size());
    return n;
}

HRESULT Object::queryOther(REFIID iid, void** out) {
    if (iid == IID_EmuObject) {
        *out = this;  // no reference: only the emulator asks, and only to look
        return S_OK;
    }
    if (iid == IID_IConnectionPointContainer && !sources_.empty()) {
        *out = static_cast<IConnectionPointContainer*>(&container_);
        AddRef();
        return S_OK;
    }
    for (const IID& known : iids_) {
        if (iid == known) {
            *out = disp();
            AddRef();
            return S_OK;
        }
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

void Object::finalRelease() {
    if (orphaned_) delete this;
}

ULONG Object::Release() {
    if (ol_) ol_->noteRelease();
    return DispatchObject::Release();
}

void Object::beforeCall(DISPID id, WORD flags) {
    if (!ol_) fail(errors::kServerGone, L"The RPC server is unavailable.");
    std::wstring name = memberName(id);
    bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    ol_->logCall(className() + L"." + name + (put ? L"=" : L""));
    if (wordSide_ && ol_->version() < 12 && ol_->knobs().wordCallDelay > 0) {
        // The call waits for Word's reply in COM's modal loop.
        Outlook::pumpMessages(static_cast<DWORD>(ol_->knobs().wordCallDelay));
        if (!ol_) fail(errors::kServerGone, L"The RPC server is unavailable.");
    }
    if (gone_) fail(goneNumber_, goneText_);
    ol_->checkFailure(className(), name, flags);
}

HRESULT Object::Container::EnumConnectionPoints(IEnumConnectionPoints** out) {
    if (out) *out = nullptr;
    return E_NOTIMPL;
}

HRESULT Object::Container::FindConnectionPoint(REFIID iid, IConnectionPoint** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    for (auto& s : o_.sources_) {
        if (s.diid == iid && o_.offered(s)) {
            *out = s.point.get();
            (*out)->AddRef();
            return S_OK;
        }
    }
    return CONNECT_E_NOCONNECTION;
}

bool Object::fire(DISPID id, const std::vector<qbx::Variant>& args, bool withCancel, bool cancel) {
    return fireWhere([](const IID&) { return true; }, id, args, withCancel, cancel);
}

bool Object::fireOn(std::initializer_list<IID> diids, DISPID id, const std::vector<qbx::Variant>& args,
                    bool withCancel, bool cancel) {
    std::vector<IID> wanted(diids);
    return fireWhere([&](const IID& i) { return std::find(wanted.begin(), wanted.end(), i) != wanted.end(); }, id,
                     args, withCancel, cancel);
}

bool Object::fireWhere(const std::function<bool(const IID&)>& which, DISPID id, const std::vector<qbx::Variant>& args,
                       bool withCancel, bool cancel) {
    // While an event runs, the handlers it reached are on the thread's stack.
    struct Running {
        Outlook* ol;
        explicit Running(Outlook* o) : ol(o) {
            if (ol) ++ol->eventsRunning;
        }
        ~Running() {
            if (ol) --ol->eventsRunning;
        }
    } running(ol_);
    // Every chosen connection point takes part; the event's DISPID is the same
    // on all the interfaces that declare it. The sinks are taken first, with a
    // reference each, so that one unadvising (or releasing everything) during
    // the event harms nobody.
    struct Target {
        DWORD cookie;
        ConnectionPoint* point;
        qbx::ComPtr<IDispatch> sink;
    };
    std::vector<Target> targets;
    for (auto& s : sources_) {
        if (!offered(s) || !which(s.diid)) continue;
        for (const auto& k : s.point->sinks()) targets.push_back(Target{k.cookie, s.point.get(), k.target});
    }
    std::sort(targets.begin(), targets.end(), [](const Target& a, const Target& b) { return a.cookie < b.cookie; });
    VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
    for (auto& t : targets) {
        if (!t.point->advised(t.cookie)) continue;  // unadvised by an earlier sink
        std::vector<VARIANT> rg(args.size() + (withCancel ? 1 : 0));
        size_t n = rg.size();
        for (size_t i = 0; i < args.size(); ++i) rg[n - 1 - i] = args[i].raw();  // borrowed
        if (withCancel) {
            VariantInit(&rg[0]);
            rg[0].vt = VT_BYREF | VT_BOOL;
            rg[0].pboolVal = &flag;
        }
        DISPPARAMS dp{rg.empty() ? nullptr : rg.data(), nullptr, static_cast<UINT>(rg.size()), 0};
        qbx::Variant ignored;
        EXCEPINFO ei{};
        UINT argErr = 0;
        // Outlook ignores what a sink answers.
        t.sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &dp, ignored.put(), &ei, &argErr);
        SysFreeString(ei.bstrSource);
        SysFreeString(ei.bstrDescription);
        SysFreeString(ei.bstrHelpFile);
    }
    return flag != VARIANT_FALSE;
}

}  // namespace emu
