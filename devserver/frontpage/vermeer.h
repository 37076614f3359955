// The RPC packets of FrontPage's server extensions: requests with bracketed lists, answers as HTML lists.
// Owner: frontpage/; a request's thread alone.
#pragma once
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace devserver::frontpage {

struct RpcRequest {
    std::string method, version;  // "open service" and "12.0.0.0"
    std::map<std::string, std::string> arguments;
    // A missing argument is empty.
    std::string argument(const std::string& name) const;
    // The texts of a bracketed list, "[a;b]"; a bare text is a list of one.
    std::vector<std::string> list(const std::string& name) const;
    static RpcRequest Parse(std::string_view body);
};

// A value of a metadata list with its type, "SX|text" and the like.
std::string Value(std::string_view type, std::string_view text);

// Builds an answer page; every line ends with a line feed.
class RpcPage {
public:
    explicit RpcPage(const std::string& method, const std::string& version);
    RpcPage& argument(const std::string& name, std::string_view text = {});
    RpcPage& BeginList();
    RpcPage& EndList();
    // "name=text" as an element of a list.
    RpcPage& element(const std::string& name, std::string_view text = {});
    // A name and its value of a metadata list.
    RpcPage& metadata(const std::string& name, const std::string& typed_value);
    std::string Finish();

private:
    std::string m_text;
};

}  // namespace devserver::frontpage
