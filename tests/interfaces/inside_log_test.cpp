// What the trace log says of addresses that don't belong to a site: their shape, and none of their words.
#include <gtest/gtest.h>

#include "base/log.h"
#include "base/text/encoding.h"
#include "host/base/host_objects.h"
#include "host/base/text.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/trace_log.h"

namespace interfaces {

namespace {

TEST(MaskedLog, ShowsTheShapeOfARefusedAddressAndNoneOfItsWords) {
    const DevServer server;
    server.WriteAs("alice", "Walrus.pdf", "x");
    InsideHost inside;
    const auto account = MakeAccount(inside.host(), server.Site(), LoginOf(server, "alice"));
    ComPtr<TMK::IAFS_Name> root;
    ASSERT_EQ(inside.host().Bind(account.account.get(), nullptr, root), S_OK);
    const auto files = inside.host().FileSystem();
    const std::u16string origin = host::ToUtf16(server.Origin());
    const struct {
        const char* name;
        std::u16string address;
    } rows[] = {
        {.name = "another server", .address = u"http://giraffe.test/Okapi/Tapir.pdf"},
        {.name = "another site", .address = origin + u"/sites/giraffe/Okapi/Tapir.pdf"},
        {.name = "a share", .address = u"\\\\giraffe.test@SSL\\DavWWWRoot\\Okapi\\Tapir.pdf"},
        {.name = "a link of another server", .address = u"http://giraffe.test/:b:/s/Okapi/Tapir"},
        {.name = "a link that leads nowhere", .address = origin + u"/:b:/s/Okapi/Tapir"},
        {.name = "no document of the site",
         .address = host::ToUtf16(server.Origin() + DevServer::PathOf("Giraffe/Okapi/Tapir.pdf"))},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string log = LogOf(Log::verbose, [&] {
            ComPtr<TMK::IAFS_Name> name;
            LONG match = 0;
            account.account->VerifyURL(row.address.c_str(), &match);
            if (FAILED(files->StringToName(row.address.c_str(), 0, root.get(), name.put()))) return;
            ComPtr<TMK::IAFS_File> file;
            const auto details = host::Make<host::ErrorDetails>();
            EXPECT_NE(files->OpenFile(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting,
                                      details.get(), nullptr, file.put()),
                      S_OK);
        });
        const std::u16string shape = MaskForLog(row.address);
        EXPECT_NE(log.find(ToUtf8(shape)), std::string::npos) << ToUtf8(shape) << "\n" << log;
        for (const char* word : {"giraffe", "Giraffe", "Okapi", "Tapir", "Walrus", "sites/team"})
            EXPECT_EQ(log.find(word), std::string::npos) << word << " in\n" << log;
    }
}

}  // namespace

}  // namespace interfaces
