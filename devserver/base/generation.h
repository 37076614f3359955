// The generation of server that this process plays; it decides the protocols and the version header.
// Owner: app/options; read everywhere, any thread.
#pragma once
#include <string>
#include <string_view>

namespace devserver {

enum class Generation { modern, server2013, server2010 };

// The value of the version header.
constexpr const char* VersionOf(Generation generation) {
    switch (generation) {
        case Generation::server2013:
            return "15.0.0.4569";
        case Generation::server2010:
            return "14.0.0.6029";
        default:
            return "16.0.0.25318";
    }
}

}  // namespace devserver
