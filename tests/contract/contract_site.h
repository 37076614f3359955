// A development server of one generation, and its site as the backend of that generation sees it for one
// user. One thread.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "http/session.h"
#include "sharepoint/object.h"
#include "tests/support/dev_server.h"

namespace contract {

using namespace testing_support;

enum class Generation { modern, y2013, y2010 };

const char* OptionOf(Generation generation);

// The suite: each test runs once for each generation.
class Contract : public ::testing::TestWithParam<Generation> {
protected:
    Contract();
    // Where the parts of the contract differ.
    bool IsRest() const { return GetParam() == Generation::modern; }
    bool HasColumns() const { return GetParam() != Generation::y2010; }

    DevServer& server() { return m_server; }
    // The site signed in to as a user; made once.
    SharePoint::Web& Site(const std::string& user = "alice");
    std::u16string Url(const std::string& item, const std::string& user = "alice") const;
    // Something in the library; null when it isn't there.
    std::shared_ptr<SharePoint::Object> Find(
        const std::string& item, const std::string& user = "alice",
        SharePoint::Web::BindObjectType type = SharePoint::Web::BindObjectType::any);
    std::shared_ptr<SharePoint::File> FindFile(const std::string& item, const std::string& user = "alice");
    // Makes a document with its folders and writes it.
    void Make(const std::string& item, const std::string& bytes, const std::string& user = "alice");
    void Write(SharePoint::File& file, const std::string& bytes);
    std::string Read(SharePoint::File& file);
    std::vector<std::string> Children(const std::string& folder);
    // The comment unescaped.
    StoredDocument Look(const std::string& item) const;
    void DefineColumn(const std::string& json) const;
    // The path relative to the server root of something in the library.
    static std::u16string Path(const std::string& item);

private:
    // The process remembers one user of a host, so other users take the host's other name.
    std::string OriginFor(const std::string& user) const;

    DevServer m_server;
    std::map<std::string, std::shared_ptr<SharePoint::Web>> m_webs;
};

}  // namespace contract
