// Upload against the SharePoint emulator: what the server receives, which
// replies count as success, and what the user sees when the upload fails.
#include <doctest/doctest.h>

#include "sharepoint/modUpload.h"
#include "support/com/dispatch_object.h"
#include "support/modErroHandling.h"
#include "support/modHtml.h"
#include "testbed/sharepoint/spemu_client.h"
#include "tests/test_support.h"

#include <fstream>
#include <map>
#include <optional>

using qbx::Variant;

namespace {

std::wstring library() { return spemu::baseUrl() + L"sites/team/Proposals/"; }

// A file in the temporary folder, removed at the end.
struct TempFile {
    std::wstring path;
    explicit TempFile(const std::string& bytes) {
        wchar_t dir[MAX_PATH];
        GetTempPathW(MAX_PATH, dir);
        path = std::wstring(dir) + L"qbx-sp-upload.bin";
        std::ofstream(path.c_str(), std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    ~TempFile() { DeleteFileW(path.c_str()); }
};

// The one error report of a failed upload (answered No) names the trail.
void checkReport(const qbxtest::PromptRecorder& prompts, const std::wstring& trail) {
    REQUIRE(prompts.prompts().size() == 1);
    const std::wstring& text = prompts.prompts()[0].text;
    CHECK_MESSAGE(text.find(L"\r\n" + trail + L"\r\n") != std::wstring::npos, qbxtest::narrow(text));
    CHECK(text.find(L"fncUploadFile") != std::wstring::npos);
}

// A stand-in for the stream component that records its calls.
class FakeStream final : public qbx::DispatchObject {
public:
    FakeStream() : DispatchObject(L"Stream") {
        property(L"Type", [](qbx::Args&) { return Variant(1L); },
                 [this](qbx::Args&, const Variant& v) { calls += L"Type=" + v.toString() + L";"; });
        auto record = [this](const wchar_t* name) {
            method(name, [this, name](qbx::Args& a) {
                calls += name + (a.count() ? L"(" + a.str(0) + L");" : std::wstring(L";"));
                if (failLoad && calls.find(L"LoadFromFile") != std::wstring::npos)
                    qbx::raiseVb(qbx::adErrOpeningFile);
                return std::wstring(name) == L"Read" ? qbx::SafeArray::bytes("a\0b", 3).toVariant(VT_UI1) : Variant();
            });
        };
        for (auto name : {L"Open", L"LoadFromFile", L"Read", L"Close"}) record(name);
    }
    std::wstring calls;
    bool failLoad = false;
};

// Substitutes objects for ProgIDs while it lives; a null one fails creation.
struct CreateOverride {
    explicit CreateOverride(std::map<std::wstring, IDispatch*> objects) {
        qbx::setCreateHook([objects](const wchar_t* progId, IDispatch** out) -> HRESULT {
            auto it = objects.find(progId);
            if (it == objects.end()) return qbx::createByProgId(progId, out);
            if (!it->second) return REGDB_E_CLASSNOTREG;
            (*out = it->second)->AddRef();
            return S_OK;
        });
    }
    ~CreateOverride() { qbx::setCreateHook(nullptr); }
};

// How many documents all libraries of the emulator hold.
size_t storedDocuments() {
    size_t n = 0;
    for (const auto& lib : spemu::documents()["libraries"].items) n += lib["documents"].items.size();
    return n;
}

}  // namespace

TEST_CASE("upload: the server stores the file's bytes, sent as one plain PUT") {
    qbxtest::resetAddinState();
    std::string content(300 * 1024, '\0');
    for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>((i * 7919) >> (i % 5));
    for (const std::string& bytes : {content, std::string()}) {
        spemu::reset(L"?documents=1");
        TempFile file(bytes);
        REQUIRE(fncUploadFile(file.path, library() + L"data.bin"));
        auto put = spemu::requests().at(0);
        CHECK(put["method"].s == "PUT");
        CHECK(put["raw_path"].s == "/sites/team/Proposals/data.bin");
        CHECK(put["body_length"].n == static_cast<double>(bytes.size()));
        CHECK(spemu::header(put, "Authorization").empty());
        CHECK(spemu::call(L"GET", L"sites/team/Proposals/data.bin") == bytes);
    }
    // A name with HTML-special characters arrives as entities, not escapes.
    TempFile file("x");
    spemu::reset();
    REQUIRE(fncUploadFile(file.path, library() + fncHtmlEncode(L"a&b<c>d\"e f.txt")));
    CHECK(spemu::requests().at(0)["raw_path"].s == "/sites/team/Proposals/a&amp;b&lt;c&gt;d&amp;quot;e%20f.txt");
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("upload: success is the status text CREATED or OK, nothing else") {
    qbxtest::resetAddinState();
    spemu::reset(L"?documents=1");
    TempFile file("content");
    const std::wstring target = library() + L"status.txt";
    CHECK(fncUploadFile(file.path, target));  // new: 201 CREATED
    CHECK(fncUploadFile(file.path, target));  // replaced: 200 OK
    CHECK(spemu::requests().at(1)["reason"].s == "OK");
    // A plain false each time: no error, no prompt (the guard fails the test on one).
    for (const wchar_t* f : {L"mode=case", L"mode=reason&text=ok", L"mode=reason&text=201", L"mode=reason",
                             L"mode=reason&text=CREATED%20", L"mode=401", L"mode=403", L"mode=404", L"mode=500"}) {
        CAPTURE(qbxtest::narrow(f));
        spemu::fault(std::wstring(f) + L"&count=1");
        CHECK_FALSE(fncUploadFile(file.path, target));
    }
    spemu::fault(L"mode=reason&code=500&text=OK&count=1");
    CHECK(fncUploadFile(file.path, target));  // the number is never looked at
    CHECK_FALSE(blnErrorOccurred);
}

TEST_CASE("upload: a reset connection and a missing file are reported with the upload's trail") {
    TempFile file(std::string(64 * 1024, 'z'));
    const std::wstring target = library() + L"broken.bin";
    // The connection breaks while the body is sent, or half-way through the reply.
    for (const wchar_t* f : {L"mode=reset", L"mode=reset&at=reply"}) {
        for (const std::wstring& path : {file.path, file.path + L".missing"}) {
            qbxtest::resetAddinState();
            spemu::reset();
            spemu::fault(f);  // on every attempt: a platform may retry once
            qbxtest::PromptRecorder prompts(IDNO);
            CHECK_FALSE(fncUploadFile(path, target));
            checkReport(prompts, L"Uploading " + path + L" to " + target);
            CHECK(spemu::requests().empty() == (path != file.path));  // a missing file sends nothing
        }
    }
    qbxtest::resetAddinState();
}

TEST_CASE("upload through a working stream component: its calls in order, its bytes sent, released") {
    qbxtest::resetAddinState();
    spemu::reset(L"?documents=1");
    auto stream = qbx::makeObject<FakeStream>();
    const std::wstring target = library() + L"stream.bin", path = L"C:\\temp\\1report.doc";
    {
        CreateOverride hook({{L"ADODB.Stream", stream.get()}});
        CHECK(fncUploadFile(path, target));
        CHECK(stream->calls == L"Type=1;Open;LoadFromFile(" + path + L");Read;");
        CHECK(spemu::call(L"GET", L"sites/team/Proposals/stream.bin") == std::string("a\0b", 3));
        // Its own failure to open the file is an error: no other way of reading is tried.
        stream->failLoad = true;
        const size_t before = spemu::requests().size();
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncUploadFile(path, target));
        checkReport(prompts, L"Uploading " + path + L" to " + target);
        CHECK(spemu::requests().size() == before);
    }
    for (auto [progId, trail] : {std::pair{L"WinHttp.WinHttpRequest.5.1", L"Creating WinHttp.WinHttpRequest.5.1 object"},
                                 std::pair{L"ADODB.Stream", L"Creating ADODB.Stream object"}}) {
        qbxtest::resetAddinState();
        CreateOverride hook({{progId, nullptr}, {L"ADODB.Stream", stream.get()}});  // the first of a ProgID wins
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncUploadFile(path, target));
        checkReport(prompts, trail);
    }
    CHECK(stream->refCount() == 1);  // only the test's own reference is left
    qbxtest::resetAddinState();
}

TEST_CASE("upload: a redirect is never a stored document, whatever its target answers, on both ways of reading") {
    auto stream = qbx::makeObject<FakeStream>();
    for (bool blnStream : {false, true}) {
        std::optional<CreateOverride> hook;
        if (blnStream) hook.emplace(std::map<std::wstring, IDispatch*>{{L"ADODB.Stream", stream.get()}});
        TempFile file("redirected");
        const std::wstring target = library() + L"moved.txt";
        // To a sign-in page that says "200 OK" to anything, to another library
        // (307 and 308 would carry the PUT there), and without a Location.
        for (const wchar_t* to : {L"", L"&to=library", L"&location=none"}) {
            for (int code : {301, 302, 303, 307, 308}) {
                CAPTURE(blnStream);
                CAPTURE(code);
                CAPTURE(qbxtest::narrow(to));
                qbxtest::resetAddinState();
                spemu::reset(L"?documents=1");
                spemu::fault(L"mode=redirect&path=/sites/team/Proposals/&code=" + std::to_wstring(code) + to);
                CHECK_FALSE(fncUploadFile(file.path, target));
                // Not followed: the redirect's target never hears of the file.
                CHECK(spemu::requests().size() == 1);
                CHECK(storedDocuments() == 0);
                CHECK_FALSE(blnErrorOccurred);  // a refusal, not an error: no report
            }
        }
    }
    CHECK(stream->refCount() == 1);
}
