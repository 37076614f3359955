// A document: its properties, content, check-out and check-in, versions, moving and copying.
// Owner: rest/; a request's thread alone.
#pragma once
#include "rest/resource.h"

namespace devserver::rest {

class FileResource : public Resource {
public:
    FileResource(std::string path, std::optional<Item> item)
        : m_path(std::move(path)), m_item(std::move(item)) {}
    ResourcePtr child(Context& context, const Segment& segment) override;
    std::optional<Outcome> operation(Context& context, const Segment& segment) override;
    Outcome get(Context& context) override;
    Outcome Remove(Context& context) override;
    Outcome WriteContent(Context& context);
    // The document; throws the error for a missing one.
    const Item& Require(Context& context) const;

private:
    Outcome Answer(Context& context, const Item& item) const;
    std::optional<Outcome> workflow(Context& context, const Segment& segment);
    std::optional<Outcome> placement(Context& context, const Segment& segment);

    std::string m_path;
    std::optional<Item> m_item;
};

// A resource that answers with a finished node.
ResourcePtr MakeNode(Node node, std::string name);
// The address of a document below its web's _api/.
std::string FileId(const Item& item);
Node PropertiesNode(const Context& context, const Item& item, const std::string& id);
http::Response ContentResponse(const Context& context, const std::string& blob);

}  // namespace devserver::rest
