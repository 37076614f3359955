#include "host/profile/settings_tree.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>

#include "host/base/give.h"
#include "host/base/json.h"

namespace host {

using TMK::CabType;
using NodePtr = std::shared_ptr<SettingNode>;

namespace {

NodePtr FindChild(const SettingNode& node, std::u16string_view id) {
    if (node.type != CabType::Dictionary) return nullptr;
    const auto found = std::find_if(node.children.begin(), node.children.end(),
                                    [&](const NodePtr& child) { return EqualIgnoreCase(child->id, id); });
    return found == node.children.end() ? nullptr : *found;
}

// "a.b" is the item of that id, or the item b of the dictionary a.
NodePtr FindPath(const SettingNode& node, std::u16string_view id) {
    if (NodePtr child = FindChild(node, id)) return child;
    const std::size_t dot = id.find(u'.');
    if (dot == std::u16string_view::npos) return nullptr;
    const NodePtr child = FindChild(node, id.substr(0, dot));
    return child ? FindPath(*child, id.substr(dot + 1)) : nullptr;
}

bool Reshape(SettingNode& node, const ItemShape& shape);

void ReshapeDictionary(SettingNode& node, const ItemSet& set) {
    std::vector<NodePtr> shaped;
    for (const ItemShape& item : set.items) {
        NodePtr child = FindChild(node, item.id);
        if (!child) child = std::make_shared<SettingNode>();
        Reshape(*child, item);
        shaped.push_back(std::move(child));
    }
    node.children = std::move(shaped);
}

// Gives the node its shape, keeping what fits; whether it did fit.
bool Reshape(SettingNode& node, const ItemShape& shape) {
    const bool fits = node.type == shape.type;
    node.id = shape.id;
    node.default_value = shape.default_value;
    node.element = nullptr;
    if (shape.type == CabType::Dictionary) {
        if (!fits) node.children.clear();
        node.type = shape.type;
        node.value = {};
        ReshapeDictionary(node, *shape.set);
        return fits;
    }
    if (shape.type == CabType::Array) {
        if (!fits) node.children.clear();
        node.type = shape.type;
        node.value = {};
        node.element = shape.set && !shape.set->items.empty() ? &shape.set->items.front() : nullptr;
        if (node.element) {
            std::erase_if(node.children,
                          [&](const NodePtr& child) { return !Reshape(*child, *node.element); });
        }
        return fits;
    }
    node.children.clear();
    node.value = ConvertSetting(node.value, shape.type);
    node.type = shape.type;
    return node.value.index() != 0;
}

NodePtr NodeFromJson(const rapidjson::Value& json) {
    auto node = std::make_shared<SettingNode>();
    if (json.IsObject()) {
        node->type = CabType::Dictionary;
        for (const auto& member : json.GetObject()) {
            NodePtr child = NodeFromJson(member.value);
            child->id = ToUtf16({member.name.GetString(), member.name.GetStringLength()});
            node->children.push_back(std::move(child));
        }
    } else if (json.IsArray()) {
        node->type = CabType::Array;
        for (const auto& element : json.GetArray()) node->children.push_back(NodeFromJson(element));
    } else {
        if (json.IsBool()) node->value = json.GetBool();
        if (json.IsInt()) {
            node->value = static_cast<std::int32_t>(json.GetInt());
        } else if (json.IsInt64()) {
            node->value = static_cast<std::int64_t>(json.GetInt64());
        }
        if (json.IsString()) node->value = ToUtf16({json.GetString(), json.GetStringLength()});
        node->type = TypeOfSetting(node->value);
    }
    return node;
}

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void WriteNode(Writer& writer, const SettingNode& node) {
    switch (node.type) {
        case CabType::Dictionary:
            writer.StartObject();
            for (const NodePtr& child : node.children) {
                const bool is_plain = child->type != CabType::Dictionary && child->type != CabType::Array;
                if (is_plain && child->value.index() == 0) continue;
                if (child->type == CabType::Object) continue;
                const std::string id = ToUtf8(child->id);
                writer.Key(id.data(), static_cast<rapidjson::SizeType>(id.size()));
                WriteNode(writer, *child);
            }
            writer.EndObject();
            return;
        case CabType::Array:
            writer.StartArray();
            for (const NodePtr& child : node.children) WriteNode(writer, *child);
            writer.EndArray();
            return;
        default:
            break;
    }
    if (const auto* flag = std::get_if<bool>(&node.value)) {
        writer.Bool(*flag);
    } else if (const auto* small = std::get_if<std::int32_t>(&node.value)) {
        writer.Int(*small);
    } else if (const auto* large = std::get_if<std::int64_t>(&node.value)) {
        writer.Int64(*large);
    } else if (const auto* text = std::get_if<std::u16string>(&node.value)) {
        const std::string bytes = ToUtf8(*text);
        writer.String(bytes.data(), static_cast<rapidjson::SizeType>(bytes.size()));
    } else {
        writer.Null();
    }
}

SettingValue FromVariant(const VARIANT& variant) {
    switch (variant.vt) {
        case VT_BOOL:
            return variant.boolVal != VARIANT_FALSE;
        case VT_I2:
            return static_cast<std::int32_t>(variant.iVal);
        case VT_I4:
        case VT_INT:
            return variant.lVal;
        case VT_UI1:
            return static_cast<std::int32_t>(variant.bVal);
        case VT_UI4:
        case VT_UINT:
            return static_cast<std::int64_t>(variant.ulVal);
        case VT_I8:
            return static_cast<std::int64_t>(variant.llVal);
        case VT_BSTR:
            return std::u16string(variant.bstrVal ? variant.bstrVal : u"", SysStringLen(variant.bstrVal));
        case VT_UNKNOWN:
        case VT_DISPATCH:
            return ComPtr<IUnknown>(variant.punkVal);
        default:
            return {};
    }
}

Variant ToVariant(const SettingValue& value) {
    if (const auto* flag = std::get_if<bool>(&value)) return Variant(*flag);
    if (const auto* small = std::get_if<std::int32_t>(&value)) return Variant(static_cast<LONG>(*small));
    if (const auto* large = std::get_if<std::int64_t>(&value)) return Variant(static_cast<LONGLONG>(*large));
    if (const auto* text = std::get_if<std::u16string>(&value)) return Variant(std::u16string_view(*text));
    if (const auto* object = std::get_if<ComPtr<IUnknown>>(&value)) return Variant(object->get());
    return Variant();
}

class Node final : public Object<TMK::ITMK_CabNode> {
public:
    Node(std::shared_ptr<SettingsTree> tree, NodePtr node)
        : m_tree(std::move(tree)), m_node(std::move(node)) {}

    HRESULT get_Type(CabType* out_type) override {
        const std::lock_guard lock(m_tree->mutex());
        return GiveValue(out_type, m_node->type);
    }
    HRESULT get_Item(LPCWSTR id, TMK::ITMK_CabNode** out_item) override {
        if (!id) return GiveNode(out_item, E_INVALIDARG, [] { return NodePtr(); });
        return GiveNode(out_item, S_FALSE, [&] { return FindPath(*m_node, id); });
    }
    HRESULT get_Count(UINT* out_count) override {
        const std::lock_guard lock(m_tree->mutex());
        return GiveValue(out_count, m_node->children.size());
    }
    HRESULT get_ItemAt(UINT index, TMK::ITMK_CabNode** out_item) override {
        return GiveNode(out_item, E_INVALIDARG,
                        [&] { return index < m_node->children.size() ? m_node->children[index] : nullptr; });
    }
    HRESULT Append(TMK::ITMK_CabNode** out_item) override {
        return GiveNode(out_item, E_INVALIDARG, [&]() -> NodePtr {
            if (m_node->type != CabType::Array) return nullptr;
            auto element = std::make_shared<SettingNode>();
            if (m_node->element) Reshape(*element, *m_node->element);
            m_node->children.push_back(element);
            m_tree->MarkChanged();
            return element;
        });
    }
    HRESULT RemoveAt(UINT index) override {
        const std::lock_guard lock(m_tree->mutex());
        if (m_node->type != CabType::Array || index >= m_node->children.size()) return E_INVALIDARG;
        m_node->children.erase(m_node->children.begin() + index);
        m_tree->MarkChanged();
        return S_OK;
    }
    HRESULT get_v(VARIANT* out_value) override {
        if (!out_value) return E_POINTER;
        VariantInit(out_value);
        return Guarded([&] {
            const std::lock_guard lock(m_tree->mutex());
            *out_value = ToVariant(Value()).detach();
            return S_OK;
        });
    }
    HRESULT put_v(const VARIANT& value) override {
        return Guarded([&] {
            const std::lock_guard lock(m_tree->mutex());
            SettingValue fitting = ConvertSetting(FromVariant(value), m_node->type);
            if (fitting.index() == 0) return DISP_E_TYPEMISMATCH;
            if (m_node->type == CabType::Unset) m_node->type = TypeOfSetting(fitting);
            if (m_node->value != fitting) m_tree->MarkChanged();
            m_node->value = std::move(fitting);
            return S_OK;
        });
    }
    HRESULT get_String(BSTR* out_value) override {
        return Guarded([&] {
            const std::lock_guard lock(m_tree->mutex());
            const auto* text = std::get_if<std::u16string>(&Value());
            return GiveString(out_value, text ? std::u16string_view(*text) : std::u16string_view());
        });
    }

private:
    const SettingValue& Value() const {
        return m_node->value.index() != 0 ? m_node->value : m_node->default_value;
    }
    // `find` runs under the tree's lock.
    template <class Find>
    HRESULT GiveNode(TMK::ITMK_CabNode** out_item, HRESULT when_missing, Find&& find) {
        if (!out_item) return E_POINTER;
        *out_item = nullptr;
        return Guarded([&] {
            const std::lock_guard lock(m_tree->mutex());
            const NodePtr node = find();
            if (!node) return when_missing;
            *out_item = Make<Node>(m_tree, node).detach();
            return S_OK;
        });
    }

    std::shared_ptr<SettingsTree> m_tree;
    NodePtr m_node;
};

class Cab final : public Object<TMK::ITMK_Cab> {
public:
    Cab(std::shared_ptr<SettingsTree> tree, std::function<void()> on_release)
        : m_tree(std::move(tree)), m_on_release(std::move(on_release)) {}
    ~Cab() override {
        if (!m_on_release) return;
        Guarded([&] {
            m_on_release();
            return S_OK;
        });
    }
    HRESULT SetTemplate2(const void* data, LONG size, LPCWSTR name) override {
        if (!data || size <= 0 || !name) return E_INVALIDARG;
        return Guarded([&] {
            m_tree->SetTemplate({static_cast<const char*>(data), static_cast<std::size_t>(size)}, name);
            return S_OK;
        });
    }
    HRESULT get_Root(TMK::ITMK_CabNode** out_root) override {
        return Give(out_root, [&] {
            const std::lock_guard lock(m_tree->mutex());
            return Make<Node>(m_tree, m_tree->root());
        });
    }

private:
    std::shared_ptr<SettingsTree> m_tree;
    std::function<void()> m_on_release;
};

}  // namespace

SettingsTree::SettingsTree() : m_root(std::make_shared<SettingNode>()) {
    m_root->type = CabType::Dictionary;
}

void SettingsTree::SetTemplate(std::string_view xml, std::u16string_view name) {
    auto shape = SettingsTemplate::Parse(xml, name);
    const std::lock_guard lock(m_mutex);
    m_templates.push_back(shape);
    Reshape(*m_root, shape->root());
}

std::string SettingsTree::ToJson() const {
    const std::lock_guard lock(m_mutex);
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    WriteNode(writer, *m_root);
    return std::string(buffer.GetString(), buffer.GetSize());
}

void SettingsTree::FromJson(std::string_view json) {
    const std::optional<Json> document = ParseJson(json);
    if (!document || !document->IsObject()) throw Failure(kBadData, "stored settings are no JSON object");
    NodePtr root = NodeFromJson(*document);
    const std::lock_guard lock(m_mutex);
    m_root = std::move(root);
    if (!m_templates.empty()) Reshape(*m_root, m_templates.back()->root());
}

bool SettingsTree::TakeChanged() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_changed, false);
}

bool SettingsTree::IsChanged() const {
    const std::lock_guard lock(m_mutex);
    return m_changed;
}

std::string SettingsTree::stored() const {
    const std::lock_guard lock(m_mutex);
    return m_stored;
}

void SettingsTree::NoteStored(std::string json) {
    const std::lock_guard lock(m_mutex);
    m_stored = std::move(json);
}

std::optional<std::string> SettingsTree::TakeChangedJson() {
    const std::lock_guard lock(m_mutex);
    if (!std::exchange(m_changed, false)) return std::nullopt;
    return ToJson();
}

ComPtr<TMK::ITMK_Cab> SettingsTree::View(std::function<void()> on_release) {
    return Make<Cab>(shared_from_this(), std::move(on_release));
}

ComPtr<TMK::ITMK_CabNode> ChildOf(TMK::ITMK_Cab* tree, std::u16string_view id) {
    ComPtr<TMK::ITMK_CabNode> root;
    ComPtr<TMK::ITMK_CabNode> child;
    if (SUCCEEDED(tree->get_Root(root.put()))) root->get_Item(std::u16string(id).c_str(), child.put());
    return child;
}

std::u16string StringOf(TMK::ITMK_CabNode* node) {
    Bstr text;
    if (node) node->get_String(text.put());
    return std::u16string(text.view());
}

void PutString(TMK::ITMK_Cab* tree, std::u16string_view id, std::u16string_view value) {
    const auto child = ChildOf(tree, id);
    if (!child || FAILED(child->put_v(Variant(value).get()))) {
        throw Failure(E_INVALIDARG, "the settings tree has no item '" + ToUtf8(id) + "'");
    }
}

}  // namespace host
