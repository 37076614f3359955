#include "bench/reader.h"

#include "host/base/host_objects.h"

namespace bench {

std::vector<std::string> CurlOptions(const Login& login) {
    if (login.is_modern) return {"-H", "Authorization: Bearer " + login.token};
    return {"--basic", "-u", login.user + ":" + login.password};
}

Reader::Reader(const std::string& origin, const Login& login) : SignedInHost(PLUGIN_FILE, origin, login) {}

ComPtr<TMK::IAFS_File> Reader::Open(const std::string& document, DWORD flags) {
    ComPtr<TMK::IAFS_File> file;
    const auto details = host::Make<host::ErrorDetails>();
    const HRESULT result =
        file_system()->OpenFile(Name(document).get(), flags, details.get(), nullptr, file.put());
    Require(result, "opening " + document + " (" + details->Text() + ")");
    return file;
}

}  // namespace bench
