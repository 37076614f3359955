// The reference host with the loaded library, for measurements.
#include "reader.h"

#include <optional>
#include <stdexcept>

#include "host/base/text.h"
#include "host/cli/commands/commands.h"

namespace bench {

namespace {

class NoTerminal final : public host::Terminal {
public:
    bool CanAsk() const override { return false; }
    void Tell(std::string_view) override {}
    std::optional<std::string> Ask(std::string_view, bool) override { return std::nullopt; }
};

constexpr std::string_view kAccountTemplate = R"(<CabTemplate><ItemSet id="AccountDict">
 <Item id="Url" type="String"/><Item id="WebUrl" type="String"/><Item id="AuthHeader" type="String"/>
 <Item id="User" type="String"/><Item id="Password" type="String"/><Item id="AuthToken" type="String"/>
 <Item id="APIVer" type="Int" defVal="0"/></ItemSet>
 <Root id="SharePointAccountDataSettingsV1" itemSet="AccountDict"/></CabTemplate>)";

}  // namespace

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

Reader::Reader(const std::string& origin, const SignIn& sign_in)
    : m_origin(origin), m_terminal(std::make_unique<NoTerminal>()) {
    host::HostOptions options;
    options.profile = m_folder / "profile";
    options.terminal = m_terminal.get();
    m_host = std::make_unique<host::Host>(std::move(options));
    m_host->LoadPlugin(PLUGIN_FILE);
    m_file_system = m_host->FileSystem();
    auto tree = std::make_shared<host::SettingsTree>();
    tree->SetTemplate(kAccountTemplate, u"SharePointAccountDataSettingsV1");
    const auto cab = tree->View();
    host::PutString(cab.get(), u"Url", host::ToUtf16(m_origin + "/sites/team"));
    const auto put_secret = [&](const char16_t* item, const std::string& value) {
        if (!value.empty()) host::PutString(cab.get(), item, m_host->EncryptForPlugin(host::ToUtf16(value)));
    };
    put_secret(u"AuthToken", sign_in.token);
    put_secret(u"User", sign_in.user);
    put_secret(u"Password", sign_in.password);
    Require(host::ChildOf(cab.get(), u"APIVer")->put_v(Variant(LONG{sign_in.modern})), "APIVer");
    m_account = host::Accounts::Restore(m_file_system.get(), *tree);
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
