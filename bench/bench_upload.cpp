// The add-in's upload, timed: fncUploadFile of one file to one address.
//   bench_upload.exe FILE URL
#include "bench/bench_common.h"
#include "sharepoint/modUpload.h"

#include <ole2.h>

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return 2;
    OleInitialize(nullptr);
    const double start = bench::now();
    const bool ok = fncUploadFile(argv[1], argv[2]);
    bench::report(ok, bench::now() - start);
    OleUninitialize();
    return ok ? 0 : 1;
}
