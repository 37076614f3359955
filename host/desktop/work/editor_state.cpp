#include "host/desktop/work/editor_state.h"

#include "host/base/failure.h"

namespace desktop {

namespace {

constexpr const char* kFile = "editor.json";

rapidjson::Value Copy(const std::string& text, host::Json& json) {
    return rapidjson::Value(text.c_str(), static_cast<rapidjson::SizeType>(text.size()), json.GetAllocator());
}

void Put(host::Json& json, const char* name, rapidjson::Value value) {
    if (!json.IsObject()) json.SetObject();
    json.RemoveMember(name);
    json.AddMember(rapidjson::Value(name, json.GetAllocator()), value, json.GetAllocator());
}

}  // namespace

EditorState::EditorState(const host::Profile& profile) : m_profile(profile), m_json(profile.LoadJson(kFile)) {
    if (!m_json.IsObject()) m_json.SetObject();
    const auto recent = m_json.FindMember("recent");
    if (recent == m_json.MemberEnd() || !recent->value.IsArray()) return;
    for (const auto& item : recent->value.GetArray())
        if (item.IsString()) m_recent.append(QString::fromUtf8(item.GetString()));
}

void EditorState::Change(const std::function<void(host::Json&)>& change) {
    change(m_json);
    try {
        m_profile.UpdateJson(kFile, change);
    } catch (const host::Failure& failure) {
        m_profile.warn(failure.what());
    }
}

void EditorState::AddRecent(const QString& document) {
    m_recent.removeAll(document);
    m_recent.prepend(document);
    while (m_recent.size() > kMostRecent) m_recent.removeLast();
    Change([this](host::Json& json) {
        rapidjson::Value list(rapidjson::kArrayType);
        for (const QString& item : m_recent)
            list.PushBack(Copy(item.toStdString(), json), json.GetAllocator());
        Put(json, "recent", std::move(list));
    });
}

QString EditorState::Text(const char* name) const {
    return QString::fromStdString(host::TextOf(m_json, name));
}

bool EditorState::Flag(const char* name, bool preset) const {
    const auto found = m_json.FindMember(name);
    return found != m_json.MemberEnd() && found->value.IsBool() ? found->value.GetBool() : preset;
}

void EditorState::SetText(const char* name, const QString& value) {
    Change([&](host::Json& json) { Put(json, name, Copy(value.toStdString(), json)); });
}

void EditorState::SetFlag(const char* name, bool value) {
    Change([&](host::Json& json) { Put(json, name, rapidjson::Value(value)); });
}

}  // namespace desktop
