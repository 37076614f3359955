#include "auth/service_keys.h"

#include <gssapi/gssapi_ext.h>

#include <array>
#include <stdexcept>

namespace devserver {
namespace {

constexpr std::string_view kKerberos = "\x2a\x86\x48\x86\xf7\x12\x01\x02\x02";
constexpr std::string_view kSpnego = "\x2b\x06\x01\x05\x05\x02";

gss_OID_desc OidOf(std::string_view bytes) {
    return {static_cast<OM_uint32>(bytes.size()), const_cast<char*>(bytes.data())};
}

}  // namespace

ServiceKeys::ServiceKeys(const std::string& file) {
    OM_uint32 minor = 0;
    std::array<gss_OID_desc, 2> mechanisms{OidOf(kKerberos), OidOf(kSpnego)};
    gss_OID_set_desc set{mechanisms.size(), mechanisms.data()};
    auto path = "FILE:" + file;
    gss_key_value_element_desc keys{"keytab", path.c_str()};
    gss_key_value_set_desc options{1, &keys};
    auto major = gss_acquire_cred_from(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &set, GSS_C_ACCEPT, &options,
                                       &m_credential, nullptr, nullptr);
    if (GSS_ERROR(major)) throw std::runtime_error("no keys of a service in '" + file + "' (--keytab)");
}

ServiceKeys::~ServiceKeys() {
    OM_uint32 minor = 0;
    gss_release_cred(&minor, &m_credential);
}

bool ServiceKeys::Take(std::string_view token) {
    return token.front() == 0x60 && token.find(kKerberos) != std::string_view::npos;
}

}  // namespace devserver
