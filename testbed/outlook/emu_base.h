// The base of every object of the emulated Outlook: a real COM object reached
// through IDispatch by member name, which can also answer Outlook's own
// interface IDs, source events through connection points, refuse calls once it
// is gone (a closed window, a sent mail), and fail on purpose when a test has
// asked for it.
//
// Ownership: the emulator (emu::Outlook) owns every object by plain C++
// ownership. COM references count only what others hold, so a test can ask how
// many references the add-in still holds. An object is never freed while the
// emulator lives; when the emulator goes, objects still referenced from
// outside are orphaned (every call then fails as on a vanished server) and
// freed by their last Release.
#pragma once

#include "support/com/dispatch_object.h"

#include <ocidl.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace emu {

class Outlook;
class Object;

// Answered by every emulator object with its own Object pointer (no
// reference is added), so the emulator can tell its objects from others.
// {6E0C3A1D-5B7F-4C2E-9A55-1F0B2C7D9E41}
inline constexpr IID IID_EmuObject = {0x6E0C3A1D, 0x5B7F, 0x4C2E, {0x9A, 0x55, 0x1F, 0x0B, 0x2C, 0x7D, 0x9E, 0x41}};

// Errors the emulated Outlook raises, as Outlook raises them: an HRESULT with
// a text (the add-in sees the HRESULT as the error number).
namespace errors {
inline constexpr long kNotFound = static_cast<long>(0x8004010FL);       // MAPI_E_NOT_FOUND
inline constexpr long kDeleted = static_cast<long>(0x8004010AL);        // MAPI_E_OBJECT_DELETED
inline constexpr long kCollision = static_cast<long>(0x80040604L);      // MAPI_E_COLLISION
inline constexpr long kBadIndex = static_cast<long>(0x8002000BL);       // DISP_E_BADINDEX
inline constexpr long kInvalidArg = static_cast<long>(0x80070057L);     // E_INVALIDARG
inline constexpr long kFailed = static_cast<long>(0x80004005L);         // E_FAIL
inline constexpr long kFileNotFound = static_cast<long>(0x80070002L);   // ERROR_FILE_NOT_FOUND
inline constexpr long kPathNotFound = static_cast<long>(0x80070003L);   // ERROR_PATH_NOT_FOUND
inline constexpr long kServerGone = static_cast<long>(0x800706BAL);     // RPC_S_SERVER_UNAVAILABLE
inline constexpr const wchar_t* kDeletedText = L"The item has been moved or deleted.";
}  // namespace errors

[[noreturn]] void fail(long number, const std::wstring& text);
[[noreturn]] void failIndex();      // "Array index out of bounds."
[[noreturn]] void failNotFound();   // "The attempted operation failed.  An object could not be found."
[[noreturn]] void failInvalidArg(); // "One or more parameter values are not valid."

// An index argument of a collection: a number, or text for a lookup by name.
struct IndexArg {
    bool byName = false;
    long index = 0;
    std::wstring name;
};
IndexArg indexArg(const qbx::Args& a, size_t i);

// One connection point: the sinks advised for one event interface.
class ConnectionPoint final : public IConnectionPoint {
public:
    ConnectionPoint(Object& owner, const IID& diid) : owner_(owner), diid_(diid) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** out) override;
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** out) override;

    const IID& diid() const noexcept { return diid_; }
    struct Sink {
        DWORD cookie;
        qbx::ComPtr<IDispatch> target;
    };
    const std::vector<Sink>& sinks() const noexcept { return sinks_; }
    bool advised(DWORD cookie) const noexcept;
    void dropAll() noexcept { sinks_.clear(); }

private:
    Object& owner_;
    IID diid_;
    std::vector<Sink> sinks_;
};

class Object : public qbx::DispatchObject {
public:
    ~Object() override;

    // The emulator this object belongs to; null once it is orphaned.
    Outlook* model() const noexcept { return ol_; }
    Outlook& ol() const;
    IDispatch* disp() noexcept { return static_cast<IDispatch*>(this); }
    // A new reference as an automation value (for results and event arguments).
    qbx::Variant var() { return qbx::Variant(disp()); }

    // Marks the object as gone: every later call raises the given error. Its
    // advised sinks stay advised until their owners unadvise.
    void kill(long number, const std::wstring& text);
    bool gone() const noexcept { return gone_; }

    // Counts releases after a fast shutdown's Quit (Outlook::releasesAfterQuit).
    ULONG STDMETHODCALLTYPE Release() override;

    // Fires an event on every sink of every connection point of this object
    // that offers the given DISPID, in the order the sinks were advised. The
    // arguments are in declaration order; with withCancel a by-reference
    // Boolean Cancel (VT_BYREF|VT_BOOL) is passed last, shared by all sinks,
    // and its final value is returned. A sink may unadvise itself or any other
    // sink during the event: sinks unadvised before their turn are skipped.
    bool fire(DISPID id, const std::vector<qbx::Variant>& args, bool withCancel = false, bool cancel = false);
    // Fires only on the connection points of the given event interfaces.
    bool fireOn(std::initializer_list<IID> diids, DISPID id, const std::vector<qbx::Variant>& args,
                bool withCancel = false, bool cancel = false);

    long advisedSinks() const noexcept;
    // The name of a member by DISPID (empty when unknown).
    std::wstring memberName(DISPID id) const;

    // Called by the emulator when it goes: first every sink is let go, then
    // objects others still hold are orphaned.
    void orphanSinks() noexcept;
    void orphan() noexcept;

protected:
    Object(Outlook& ol, std::wstring typeName);

    // Members, remembered by name for the failure injection and the call log.
    DISPID method(const std::wstring& name, Getter fn, DISPID id = DISPID_UNKNOWN);
    DISPID property(const std::wstring& name, Getter get, Setter put = nullptr, DISPID id = DISPID_UNKNOWN);
    // A live _NewEnum over count()/item(i) (1-based): like Outlook's own
    // enumerators it walks by position, so removing the current element
    // during a For Each skips the next one.
    void liveEnumerator(std::function<long()> count, std::function<qbx::Variant(long)> item);
    // The default member (DISPID_VALUE) by name.
    void setDefault(DISPID id);

    // Outlook or Office interface IDs this object answers in QueryInterface
    // (with its IDispatch face: callers reach it late-bound).
    void answers(const IID& iid) { iids_.push_back(iid); }
    // An event interface this object sources, from the given Outlook version on.
    void sources(const IID& diid, int fromVersion = 0);

    HRESULT queryOther(REFIID iid, void** out) override;
    void finalRelease() override;
    void beforeCall(DISPID id, WORD flags) override;
    // An object of Word's, the editor of Word mail windows: with the knob
    // wordCallDelay on Outlook 2002 and 2003 every call into it waits in
    // COM's modal loop, as a call into another process does.
    void wordSide() noexcept { wordSide_ = true; }

private:
    friend class ConnectionPoint;
    class Container final : public IConnectionPointContainer {
    public:
        explicit Container(Object& o) : o_(o) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override { return o_.QueryInterface(iid, out); }
        ULONG STDMETHODCALLTYPE AddRef() override { return o_.AddRef(); }
        ULONG STDMETHODCALLTYPE Release() override { return o_.Release(); }
        HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** out) override;
        HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** out) override;

    private:
        Object& o_;
    };
    struct Source {
        IID diid;
        int fromVersion;
        std::unique_ptr<ConnectionPoint> point;
    };
    bool offered(const Source& s) const;
    bool fireWhere(const std::function<bool(const IID&)>& which, DISPID id, const std::vector<qbx::Variant>& args,
                   bool withCancel, bool cancel);

    Outlook* ol_;
    std::vector<IID> iids_;
    std::vector<Source> sources_;
    Container container_{*this};
    std::map<DISPID, std::wstring> names_;
    DISPID default_ = DISPID_UNKNOWN;
    bool gone_ = false;
    bool orphaned_ = false;
    bool wordSide_ = false;
    long goneNumber_ = 0;
    std::wstring goneText_;
};

}  // namespace emu
