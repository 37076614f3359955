// The If header of RFC 4918, section 10.4: its lists, the tokens in it, and whether it holds.
// Owner: dav/; a request's thread alone.
#pragma once
#include <functional>
#include <string>
#include <vector>

namespace devserver::dav {

struct Condition {
    bool negated = false;
    std::string token, etag;  // one of them is set
};

struct ConditionList {
    std::string resource;  // tagged lists; empty: the request's own address
    std::vector<Condition> conditions;
};

// The present entity tag and lock token of a resource, empty where there is none.
struct ResourceState {
    std::string etag, token;
};

class IfHeader {
public:
    IfHeader() = default;
    // Throws DavError 400 for a header that can't be read.
    static IfHeader Parse(const std::string& text);
    bool empty() const { return m_lists.empty(); }
    bool Holds(const std::function<ResourceState(const std::string& resource)>& state_of) const;
    // Whether the client has sent this lock token.
    bool Submits(const std::string& token) const;
    // The first token, empty when there is none.
    std::string FirstToken() const;

private:
    std::vector<ConditionList> m_lists;
};

}  // namespace devserver::dav
