#include "support/com/class_factory.h"

#include "support/com/boundary.h"

namespace qbx {

namespace {

std::atomic<long> serverLocks{0};

class ClassFactory final : public Unknown<IClassFactory> {
public:
    explicit ClassFactory(CreateFunction create) : create_(create) {}
    bool answers(REFIID iid) const override { return iid == IID_IClassFactory; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        return comBoundary(L"IClassFactory::CreateInstance", [&] { return create_(iid, out); });
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        lock ? ++serverLocks : --serverLocks;
        return S_OK;
    }

private:
    CreateFunction create_;
};

}  // namespace

ComPtr<IClassFactory> makeClassFactory(CreateFunction create) {
    return ComPtr<IClassFactory>(new ClassFactory(create));
}

bool canUnloadNow() noexcept { return liveObjects() == 0 && serverLocks.load() == 0; }

}  // namespace qbx
