#include "bench/reader.h"

#include "host/base/text.h"

namespace bench {

std::vector<std::string> CurlOptions(const Login& login) {
    if (login.is_modern) return {"-H", "Authorization: Bearer " + login.token};
    return {"--basic", "-u", login.user + ":" + login.password};
}

Reader::Reader(const std::string& origin, const Login& login) : m_origin(origin) {
    m_host = std::make_unique<host::Host>(m_front_end, m_folder / "profile");
    m_host->LoadPlugin(PLUGIN_FILE);
    m_file_system = m_host->FileSystem();
    m_account = MakeAccount(*m_host, m_origin + "/sites/team", login);
    Require(m_host->Bind(m_account.account.get(), nullptr, m_root), "binding to " + m_origin);
}

Reader::~Reader() {
    m_root.reset();
    m_account = {};
    m_file_system.reset();
    m_host.reset();
}

ComPtr<TMK::IAFS_Name> Reader::Name(const std::string& item) {
    ComPtr<TMK::IAFS_Name> name;
    const std::u16string url = host::ToUtf16(m_origin + DevServer::PathOf(item));
    Require(m_file_system->StringToName(url.c_str(), 0, m_root.get(), name.put()), "the name " + item);
    return name;
}

ComPtr<TMK::IAFS_File> Reader::Open(const std::string& document, DWORD flags) {
    ComPtr<TMK::IAFS_File> file;
    const auto details = host::Make<host::ErrorDetails>();
    const HRESULT result =
        m_file_system->OpenFile(Name(document).get(), flags, details.get(), nullptr, file.put());
    Require(result, "opening " + document + " (" + details->Text() + ")");
    return file;
}

}  // namespace bench
