#include "tests/support/signed_in_host.h"

#include "host/base/text.h"

namespace testing_support {

SignedInHost::SignedInHost(const std::string& plugin_file, const std::string& origin, const Login& login,
                           const Prepare& prepare)
    : m_origin(origin), m_host(std::make_unique<TestHost>(m_front_end, m_folder / "profile")) {
    m_host->LoadPlugin(plugin_file);
    m_file_system = m_host->FileSystem();
    if (prepare) prepare(*this);
    m_account = MakeAccount(*m_host, m_origin + "/sites/team", login);
    Require(m_host->Bind(account(), nullptr, m_root), "binding to " + m_origin);
}

// The plug-in's objects go before the library does.
SignedInHost::~SignedInHost() {
    EndPlugIn();
    m_host.reset();
}

void SignedInHost::EndPlugIn() {
    m_root.reset();
    m_account = {};
    m_file_system.reset();
    m_host->UnloadPlugin();
}

std::u16string SignedInHost::Url(const std::string& item) const {
    return host::ToUtf16(m_origin + DevServer::PathOf(item));
}

ComPtr<TMK::IAFS_Name> SignedInHost::Name(const std::string& item) {
    ComPtr<TMK::IAFS_Name> name;
    Require(m_file_system->StringToName(Url(item).c_str(), 0, m_root.get(), name.put()), "the name " + item);
    return name;
}

}  // namespace testing_support
