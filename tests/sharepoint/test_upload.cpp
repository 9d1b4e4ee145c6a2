// Upload: what the server receives, which replies count as success, and what
// the user sees when the upload fails. Runs against the SharePoint emulator.
#include <doctest/doctest.h>

#include "sharepoint/modUpload.h"
#include "support/dispatch_object.h"
#include "support/modErroHandling.h"
#include "support/modHtml.h"
#include "tests/sharepoint/spemu_client.h"
#include "tests/test_support.h"

#include <fstream>
#include <map>

using qbx::Args;
using qbx::Variant;

namespace {

const std::string kLibrary = "/sites/team/Proposals";

std::wstring libraryUrl() { return spemu::baseUrl() + L"sites/team/Proposals/"; }

// A file in the temporary folder holding the given bytes; removed at the end.
struct TempFile {
    std::wstring path;
    explicit TempFile(const std::string& bytes, const std::wstring& name = L"upload.bin") {
        wchar_t dir[MAX_PATH];
        GetTempPathW(MAX_PATH, dir);
        path = std::wstring(dir) + L"qbx-sp-" + name;
        std::ofstream out(path.c_str(), std::ios::binary);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    ~TempFile() { DeleteFileW(path.c_str()); }
};

std::string binaryContent(size_t size) {
    std::string s(size, '\0');
    unsigned x = 12345;
    for (size_t i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        s[i] = static_cast<char>(i < 256 ? i : (x >> 16) & 0xFF);
    }
    return s;
}

// Expects the one error report of a failed upload, answered No, naming the
// given action trail.
void checkReport(const qbxtest::PromptRecorder& prompts, const std::wstring& trail) {
    REQUIRE(prompts.prompts().size() == 1);
    const std::wstring& text = prompts.prompts()[0].text;
    CHECK_MESSAGE(text.find(L"\r\n" + trail + L"\r\n") != std::wstring::npos, qbxtest::narrow(text));
    CHECK(text.find(L"fncUploadFile") != std::wstring::npos);
    CHECK(blnErrorOccurred);
}

// A stand-in for the stream component, recording the calls it gets.
class FakeStream final : public qbx::DispatchObject {
public:
    explicit FakeStream(std::string content) : DispatchObject(L"Stream"), content_(std::move(content)) {
        property(L"Type", [](Args&) { return Variant(1L); },
                 [this](Args&, const Variant& v) { calls += L"Type=" + v.toString() + L";"; });
        method(L"Open", [this](Args& a) {
            calls += L"Open(" + std::to_wstring(a.count()) + L");";
            return Variant();
        });
        method(L"LoadFromFile", [this](Args& a) {
            calls += L"LoadFromFile(" + a.str(0) + L");";
            if (failLoad) qbx::raise(3002, L"File could not be opened.");
            return Variant();
        });
        method(L"Read", [this](Args& a) {
            calls += L"Read(" + std::to_wstring(a.count()) + L");";
            return qbx::SafeArray::bytes(content_.data(), content_.size()).toVariant(VT_UI1);
        });
        method(L"Close", [this](Args&) {
            calls += L"Close;";
            return Variant();
        });
    }
    std::wstring calls;
    bool failLoad = false;

private:
    std::string content_;
};

// Substitutes objects for some ProgIDs while it lives; a null object makes
// that creation fail.
struct CreateOverride {
    explicit CreateOverride(std::map<std::wstring, IDispatch*> objects) {
        qbx::setCreateHook([objects](const wchar_t* progId, IDispatch** out) -> HRESULT {
            auto it = objects.find(progId);
            if (it == objects.end()) return qbx::createByProgId(progId, out);
            if (!it->second) return REGDB_E_CLASSNOTREG;
            *out = it->second;
            (*out)->AddRef();
            return S_OK;
        });
    }
    ~CreateOverride() { qbx::setCreateHook(nullptr); }
};

}  // namespace

TEST_CASE("upload: the bytes stored are the bytes of the file, sent as one plain PUT") {
    qbxtest::resetAddinState();
    spemu::reset(true);
    const std::string content = binaryContent(300 * 1024);
    TempFile file(content);
    REQUIRE(fncUploadFile(file.path, libraryUrl() + L"data.bin"));
    CHECK(spemu::storedBytes(kLibrary, "data.bin") == content);

    auto log = spemu::requests();
    REQUIRE(log.size() == 1);
    CHECK(log[0]["method"].s == "PUT");
    CHECK(log[0]["raw_path"].s == "/sites/team/Proposals/data.bin");
    CHECK(log[0]["body_length"].n == static_cast<double>(content.size()));
    CHECK(spemu::header(log[0], "Authorization").empty());
    CHECK(spemu::header(log[0], "Overwrite").empty());
    CHECK_FALSE(blnErrorOccurred);

    SUBCASE("an empty file is a PUT with an empty body") {
        TempFile empty("", L"empty.txt");
        spemu::reset();
        CHECK(fncUploadFile(empty.path, libraryUrl() + L"empty.txt"));
        auto put = spemu::requests().at(0);
        CHECK(put["method"].s == "PUT");
        CHECK(put["body_length"].n == 0);
        CHECK(spemu::storedBytes(kLibrary, "empty.txt").empty());
    }
}

TEST_CASE("upload: success is the status text CREATED or OK, nothing else") {
    qbxtest::resetAddinState();
    spemu::reset(true);
    TempFile file("content");
    const std::wstring target = libraryUrl() + L"status.txt";
    CHECK(fncUploadFile(file.path, target));  // a new document: 201 CREATED
    CHECK(fncUploadFile(file.path, target));  // replaced: 200 OK
    auto log = spemu::requests();
    REQUIRE(log.size() == 2);
    CHECK(log[0]["reason"].s == "CREATED");
    CHECK(log[1]["reason"].s == "OK");

    // Each of these is a plain false: no error, no prompt (the prompt guard
    // fails the test on any prompt).
    for (const wchar_t* f : {L"mode=case", L"mode=reason&code=201&text=ok", L"mode=reason&code=200&text=Ok",
                             L"mode=reason&code=201&text=201", L"mode=reason&code=201", L"mode=401",
                             L"mode=403", L"mode=404", L"mode=500", L"mode=reason&code=201&text=CREATED%20"}) {
        CAPTURE(qbxtest::narrow(f));
        spemu::reset();
        spemu::fault(std::wstring(f) + L"&count=1");
        CHECK_FALSE(fncUploadFile(file.path, target));
        CHECK_FALSE(blnErrorOccurred);
    }
    spemu::reset();
    spemu::fault(L"mode=reason&code=500&text=OK&count=1");
    CHECK(fncUploadFile(file.path, target));  // the number is never looked at
    CHECK(fncUploadFile(file.path, libraryUrl() + L"Forms/x.txt") == false);  // 403 from the library
}

TEST_CASE("upload: a name with HTML-special characters reaches the server as entities") {
    qbxtest::resetAddinState();
    spemu::reset(true);
    TempFile file("x");
    const std::wstring name = L"a&b<c>d\"e f.txt";
    REQUIRE(fncUploadFile(file.path, libraryUrl() + fncHtmlEncode(name)));
    auto log = spemu::requests();
    REQUIRE(log.size() == 1);
    CHECK(log[0]["raw_path"].s == "/sites/team/Proposals/a&amp;b&lt;c&gt;d&amp;quot;e%20f.txt");
    CHECK(spemu::hasDocument(kLibrary, "a&amp;b&lt;c&gt;d&amp;quot;e f.txt"));
}

TEST_CASE("upload: failures on the way are reported with the upload's action trail") {
    qbxtest::resetAddinState();
    spemu::reset(true);
    TempFile file(binaryContent(64 * 1024));
    const std::wstring target = libraryUrl() + L"broken.bin";
    const std::wstring trail = L"Uploading " + file.path + L" to " + target;

    SUBCASE("the connection is reset while the body is sent") {
        spemu::fault(L"mode=reset");  // every attempt: the platform retries a reset once
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncUploadFile(file.path, target));
        checkReport(prompts, trail);
    }
    SUBCASE("the local file is missing") {
        const std::wstring missing = file.path + L".missing";
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncUploadFile(missing, target));
        checkReport(prompts, L"Uploading " + missing + L" to " + target);
        CHECK(spemu::requests().empty());
    }
    qbxtest::resetAddinState();
}

TEST_CASE("upload through a working stream component: its calls, in order, and its bytes sent") {
    qbxtest::resetAddinState();
    spemu::reset(true);
    auto stream = qbx::makeObject<FakeStream>(std::string("stream\0bytes", 12));
    const std::wstring target = libraryUrl() + L"stream.bin";

    SUBCASE("the file is read through the stream") {
        CreateOverride hook({{L"ADODB.Stream", stream.get()}});
        CHECK(fncUploadFile(L"C:\\temp\\1report.doc", target));
        CHECK(stream->calls == L"Type=1;Open(0);LoadFromFile(C:\\temp\\1report.doc);Read(0);");
        CHECK(spemu::storedBytes(kLibrary, "stream.bin") == std::string("stream\0bytes", 12));
    }
    SUBCASE("a stream that can't open the file fails the upload; the file is not read another way") {
        stream->failLoad = true;
        CreateOverride hook({{L"ADODB.Stream", stream.get()}});
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncUploadFile(L"C:\\temp\\1report.doc", target));
        checkReport(prompts, L"Uploading C:\\temp\\1report.doc to " + target);
        CHECK(prompts.prompts()[0].text.find(L"#3002") != std::wstring::npos);
        CHECK(spemu::requests().empty());
    }
    SUBCASE("a missing request component is named in the report") {
        CreateOverride hook({{L"ADODB.Stream", stream.get()}, {L"MSXML2.XMLHTTP.3.0", nullptr}});
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncUploadFile(L"C:\\temp\\1report.doc", target));
        checkReport(prompts, L"Creating MSXML2.XMLHTTP.3.0 object");
    }
    SUBCASE("a missing stream component is named in the report") {
        CreateOverride hook({{L"ADODB.Stream", nullptr}});
        qbxtest::PromptRecorder prompts(IDNO);
        CHECK_FALSE(fncUploadFile(L"C:\\temp\\1report.doc", target));
        checkReport(prompts, L"Creating ADODB.Stream object");
    }
    CHECK(stream->refCount() == 1);  // only the test's own reference is left
    qbxtest::resetAddinState();
}
