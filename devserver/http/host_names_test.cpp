#include "http/host_names.h"

#include <gtest/gtest.h>

namespace devserver::http {
namespace {

TEST(HostNames, KnowThisMachineTheListeningAddressAndTheGivenNames) {
    const HostNames names("192.0.2.7", {"Box.test"});
    for (auto host : {"localhost", "LOCALHOST:8080", "localhost.", "a.localhost", "127.0.0.1:1", "127.8.9.1",
                      "[::1]:80", "[::1]", "192.0.2.7:99", "box.test:5", "BOX.TEST."})
        EXPECT_TRUE(names.Has(host)) << host;
    for (auto host : {"evil.example", "127.0.0.1.evil.example", "localhost.evil.example", "evil-localhost",
                      "192.0.2.8", "[::2]", "a.box.test", "0.0.0.0", "2130706433", "", ":80", "["})
        EXPECT_FALSE(names.Has(host)) << host;
}

TEST(HostNames, AWildcardKnowsEveryAddressAndNoName) {
    for (auto listening : {"0.0.0.0", "::"}) {
        const HostNames names(listening, {});
        EXPECT_TRUE(names.Has("192.0.2.8:80")) << listening;
        EXPECT_TRUE(names.Has("[2001:db8::1]:80")) << listening;
        EXPECT_FALSE(names.Has("evil.example:80")) << listening;
    }
}

}  // namespace
}  // namespace devserver::http
