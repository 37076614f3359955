// The reference host with the loaded library, for measurements.
#include "reader.h"

#include <stdexcept>

#include "host/base/text.h"

namespace bench {

void Require(HRESULT result, const std::string& what) {
    if (FAILED(result)) throw std::runtime_error(what + " failed: " + host::FormatResult(result));
}

SignIn::SignIn(const e2e::DevServer& server, const std::string& name) : modern(server.IsModern()) {
    if (modern) {
        token = server.Token(name);
    } else {
        user = password = name;
    }
}

std::vector<std::string> SignIn::CurlOptions() const {
    if (modern) return {"-H", "Authorization: Bearer " + token};
    return {"--basic", "-u", user + ":" + password};
}

Reader::Reader(const std::string& origin, const SignIn& sign_in) : m_origin(origin) {
    m_host = std::make_unique<host::Host>(m_front_end, m_folder / "profile");
    m_host->LoadPlugin(PLUGIN_FILE);
    m_file_system = m_host->FileSystem();
    const auto encipher = [&](const std::string& text) {
        return m_host->EncryptForPlugin(host::ToUtf16(text));
    };
    const host::AccountDetails details{host::ToUtf16(m_origin + "/sites/team"), encipher(sign_in.user),
                                       encipher(sign_in.password), encipher(sign_in.token), sign_in.modern};
    m_account = host::Accounts::Make(m_file_system.get(), details).account;
    Require(m_host->Bind(m_account.get(), nullptr, m_root), "binding to " + m_origin);
}

Reader::~Reader() {
    m_root.reset();
    m_account.reset();
    m_file_system.reset();
    m_host.reset();
}

ComPtr<TMK::IAFS_Name> Reader::Name(const std::string& item) {
    ComPtr<TMK::IAFS_Name> name;
    const std::u16string url = host::ToUtf16(m_origin + e2e::DevServer::PathOf(item));
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
