// A file system for the host's tests: a folder of this machine behind the interfaces of a plug-in, opening
// its documents through the host's files cache, with faults on request. One thread at a time for each object.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "host/base/object.h"
#include "host/base/posix_file.h"
#include "hostapi/itmk.h"

namespace host::testing {

inline constexpr char kSiteUrl[] = "https://fake.test/site";

struct FakeSite {
    fs::path folder;
    // Faults; the numbers are bytes, and 0 is no fault.
    std::uint64_t end_download_at = 0;
    std::uint64_t fail_download_at = 0;
    std::uint64_t fail_upload_at = 0;
    int upload_retries = 0;
    std::string sentence;              // told with each upload that succeeds
    std::uint64_t stop_upload_at = 0;  // writes the file "stopped" into the folder, then waits to be killed
    // Counts of requests.
    std::atomic<int> downloads{0};
    std::atomic<int> uploads{0};

    fs::path PathOf(const std::u16string& url) const;
    // The faults that the environment names: FAKE_STOP_UPLOAD_AT, FAKE_END_DOWNLOAD_AT, FAKE_FAIL_UPLOAD_AT
    // and FAKE_SENTENCE.
    void ReadEnvironment();
};

// The site must outlive the file system; caches come from `afs`, or from the maker that a test gives.
ComPtr<TMK::IAFS_FileSys> MakeFakeFileSys(FakeSite& site, ComPtr<TMK::IAFS_Inst> afs);

// A name without a listing.
ComPtr<TMK::IAFS_Name> NameAt(TMK::IAFS_FileSys* file_system, const std::string& path);

// The plug-in around such a file system.
ComPtr<TMK::ITMK_Plugin> MakeFakePlugin(FakeSite& site);

}  // namespace host::testing
