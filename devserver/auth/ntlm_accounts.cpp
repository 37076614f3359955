#include "auth/ntlm_accounts.h"

#include <fcntl.h>
#include <gssapi/gssapi_ext.h>
#include <iconv.h>
#include <openssl/evp.h>
#include <openssl/provider.h>
#include <unistd.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "base/text.h"

namespace devserver {
namespace {

constexpr char kDomain[] = "CONTOSO";
char ntlm_oid[] = "\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a";
char spnego_oid[] = "\x2b\x06\x01\x05\x05\x02";

// NTLM hashes UTF-16; ill-formed text is cut at its first fault.
std::string Utf16Of(std::string text) {
    auto converter = ::iconv_open("UTF-16LE", "UTF-8");
    std::string wide(text.size() * 2, '\0');
    char *from = text.data(), *to = wide.data();
    std::size_t left = text.size(), room = wide.size();
    ::iconv(converter, &from, &left, &to, &room);
    ::iconv_close(converter);
    wide.resize(wide.size() - room);
    return wide;
}

// OpenSSL has MD4 in its legacy provider alone, which is loaded into a context of its own.
class PasswordHash {
public:
    PasswordHash() {
        m_provider.reset(OSSL_PROVIDER_load(m_context.get(), "legacy"));
        m_algorithm.reset(EVP_MD_fetch(m_context.get(), "MD4", nullptr));
        if (!m_algorithm) throw std::runtime_error("NTLM needs MD4, which this machine's OpenSSL lacks");
    }

    // 32 upper-case digits (MS-NLMP 3.3.1, NTOWFv1).
    std::string operator()(const std::string& password) const {
        auto text = Utf16Of(password);
        unsigned char out[EVP_MAX_MD_SIZE];
        unsigned size = 0;
        if (EVP_Digest(text.data(), text.size(), out, &size, m_algorithm.get(), nullptr) != 1)
            throw std::runtime_error("a password couldn't be hashed for NTLM");
        return HexEncode({reinterpret_cast<const char*>(out), size}, true);
    }

private:
    template <auto release>
    struct Release {
        void operator()(auto* object) const { release(object); }
    };
    std::unique_ptr<OSSL_LIB_CTX, Release<OSSL_LIB_CTX_free>> m_context{OSSL_LIB_CTX_new()};
    std::unique_ptr<OSSL_PROVIDER, Release<OSSL_PROVIDER_unload>> m_provider;
    std::unique_ptr<EVP_MD, Release<EVP_MD_free>> m_algorithm;
};

// The lines name no domain, so that the mechanism accepts any that the client sends.
std::string LinesOf(Store& store) {
    PasswordHash hash;
    std::string text;
    for (const auto& user : store.users()) {
        for (const auto& name : {user.name, user.email})
            text += name + ":0:" + std::string(32, '0') + ":" + hash(user.password) + ":\n";
    }
    return text;
}

void WriteFile(const std::string& file, const std::string& text) {
    ::unlink(file.c_str());
    int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    bool written =
        descriptor >= 0 && ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (descriptor >= 0) ::close(descriptor);
    if (!written) throw std::runtime_error("cannot write " + file);
}

gss_cred_id_t Acquire(const std::string& file) {
    OM_uint32 minor = 0;
    // Without a service name, since clients would compare it with the one they ask for.
    char text[256] = "@localhost";
    ::gethostname(text + 1, sizeof text - 2);
    gss_buffer_desc buffer{std::char_traits<char>::length(text), text};
    gss_name_t name = GSS_C_NO_NAME;
    gss_import_name(&minor, &buffer, GSS_C_NT_HOSTBASED_SERVICE, &name);
    std::array<gss_OID_desc, 2> mechanisms{gss_OID_desc{10, ntlm_oid}, gss_OID_desc{6, spnego_oid}};
    gss_OID_set_desc set{mechanisms.size(), mechanisms.data()};
    gss_key_value_element_desc key_file{"ntlmssp_keyfile", file.c_str()};
    gss_key_value_set_desc options{1, &key_file};
    gss_cred_id_t credential = GSS_C_NO_CREDENTIAL;
    auto major = gss_acquire_cred_from(&minor, name, GSS_C_INDEFINITE, &set, GSS_C_ACCEPT, &options,
                                       &credential, nullptr, nullptr);
    gss_release_name(&minor, &name);
    if (GSS_ERROR(major)) throw std::runtime_error("NTLM isn't to be had: is gss-ntlmssp installed?");
    return credential;
}

}  // namespace

NtlmAccounts::NtlmAccounts(Store& store, const std::string& folder) {
    auto file = folder + "/ntlm-users";
    WriteFile(file, LinesOf(store));
    ::setenv("NETBIOS_DOMAIN_NAME", kDomain, 1);
    // The mechanism compares names by the process's locale.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    m_credential = Acquire(file);
}

NtlmAccounts::~NtlmAccounts() {
    OM_uint32 minor = 0;
    gss_release_cred(&minor, &m_credential);
}

}  // namespace devserver
