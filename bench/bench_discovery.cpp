// Discovery of a large site, timed against parsing the same reply alone.
//   bench_discovery.exe SITE_URL ROUNDS
// The emulator must already answer the site's lists.asmx with the reply to
// measure. Prints the best of ROUNDS for:
//   fetch_s      getting the reply over HTTP (fncGetListCollection);
//   loadxml_s    loadXML of that reply into a plain document, nothing else;
//   discovery_s  fncGetListsFromSite with the same reply handed over at once
//                by a stand-in request object: the add-in's own work on it;
//   end_to_end_s fncGetListsFromSite against the server, for information.
#include "bench/bench_common.h"
#include "sharepoint/modDocLibs.h"
#include "support/com/dispatch_object.h"

#include <ole2.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace {

// A request object whose reply is already there.
class CannedReply final : public qbx::DispatchObject {
public:
    explicit CannedReply(const std::wstring& reply) : DispatchObject(L"IXMLHTTPRequest") {
        auto nothing = [](qbx::Args&) { return qbx::Variant(); };
        method(L"Open", nothing);
        method(L"setRequestHeader", nothing);
        method(L"send", nothing);
        property(L"responseText", [reply](qbx::Args&) { return qbx::Variant(reply); });
    }
};

double best(int rounds, const std::function<void()>& work) {
    double t = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const double start = bench::now();
        work();
        t = std::min(t, bench::now() - start);
    }
    return t;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return 2;
    OleInitialize(nullptr);
    const std::wstring site = argv[1];
    const int rounds = std::max(1, _wtoi(argv[2]));
    long libraries = -1, librariesServed = -1;
    std::wstring reply;
    double fetch = 0, load = 0, discovery = 0, endToEnd = 0;
    try {
        fetch = best(rounds, [&] { reply = fncGetListCollection(site + L"_vti_bin/lists.asmx"); });
        auto canned = qbx::makeObject<CannedReply>(reply);
        auto cannedHook = [&](const wchar_t* progId, IDispatch** out) -> HRESULT {
            if (std::wstring(progId) != L"Microsoft.XMLHTTP") return qbx::createByProgId(progId, out);
            *out = canned.get();
            (*out)->AddRef();
            return S_OK;
        };
        // The two are timed in turns, so that both see the machine alike.
        load = discovery = 1e9;
        for (int i = 0; i < rounds; ++i) {
            qbx::Disp doc = qbx::Disp::create(L"MSXML2.DOMDocument");
            doc.put(L"async", false);
            double start = bench::now();  // only the loadXML call counts
            doc.call(L"loadXML", reply);
            load = std::min(load, bench::now() - start);
            doc.reset();

            qbx::setCreateHook(cannedHook);
            start = bench::now();
            libraries = fncGetListsFromSite(site).get(L"Count").toLong();
            discovery = std::min(discovery, bench::now() - start);
            qbx::setCreateHook(nullptr);
        }
        endToEnd = best(rounds, [&] { librariesServed = fncGetListsFromSite(site).get(L"Count").toLong(); });
    } catch (const qbx::Error& e) {
        std::printf("error=%ls\n", e.description().c_str());
        return 1;
    }
    std::printf("reply_chars=%zu libraries=%ld libraries_served=%ld fetch_s=%.4f loadxml_s=%.4f discovery_s=%.4f "
                "end_to_end_s=%.4f\n",
                reply.size(), libraries, librariesServed, fetch, load, discovery, endToEnd);
    OleUninitialize();
    return 0;
}
