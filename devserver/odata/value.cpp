#include "odata/value.h"

#include <algorithm>

#include "base/text.h"
#include "odata/errors.h"

namespace devserver::odata {
namespace {
// Entities link to each other in circles, so an expansion needs a limit.
constexpr std::size_t kMaxDepth = 8;
}  // namespace

const Value* Entity::Find(std::string_view name) const {
    for (const auto& [key, value] : properties)
        if (EqualsIgnoringCase(key, name)) return &value;
    return nullptr;
}

Node Node::Of(Value value) {
    Node node;
    node.kind = Kind::value;
    node.value = std::move(value);
    return node;
}

Node Node::Of(Entity entity) {
    Node node;
    node.kind = Kind::entity;
    node.entity = std::make_shared<Entity>(std::move(entity));
    return node;
}

Node Node::Of(Feed feed) {
    Node node;
    node.kind = Kind::feed;
    node.feed = std::make_shared<Feed>(std::move(feed));
    return node;
}

Node Node::Of(std::vector<Complex> values) {
    Node node;
    node.kind = Kind::values;
    node.values = std::move(values);
    return node;
}

Projection& Projection::child(std::string_view name, bool expand) {
    for (auto& branch : m_branches) {
        if (branch->name == name) {
            branch->expanded |= expand;
            return branch->below;
        }
    }
    m_branches.push_back(std::make_shared<Branch>(Branch{std::string(name), expand, {}}));
    return m_branches.back()->below;
}

Projection Projection::Parse(std::string_view select, std::string_view expand) {
    Projection root;
    auto each = [](std::string_view list, auto&& use) {
        for (const auto& piece : Split(list, ',')) {
            if (auto path = Split(ToLower(Trim(piece)), '/'); !path[0].empty()) {
                if (path.size() > kMaxDepth) throw InvalidExpression(piece);
                use(path);
            }
        }
    };
    each(expand, [&](const std::vector<std::string>& path) {
        Projection* at = &root;
        for (const auto& name : path) at = &at->child(name, true);
    });
    each(select, [&](const std::vector<std::string>& path) {
        Projection* at = &root;
        for (std::size_t i = 0; i < path.size(); ++i) {
            if (path[i] == "*") at->m_star = true;
            at->m_select.push_back(path[i]);
            if (i + 1 < path.size()) at = &at->child(path[i], false);
        }
    });
    return root;
}

bool Projection::names(std::string_view name) const {
    auto key = ToLower(name);
    return std::find(m_select.begin(), m_select.end(), key) != m_select.end();
}

bool Projection::Selects(std::string_view name) const {
    return SelectsAll() || names(name);
}

const Projection* Projection::Expanded(std::string_view name) const {
    for (const auto& branch : m_branches)
        if (branch->expanded && EqualsIgnoringCase(branch->name, name)) return &branch->below;
    return nullptr;
}

}  // namespace devserver::odata
