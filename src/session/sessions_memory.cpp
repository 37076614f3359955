#include "session/sessions_memory.h"

#include "base/failure.h"
#include "base/plugin_context.h"
#include "base/text/ignore_case.h"
#include "platform/com_ptr.h"

namespace {

Settings::Node FindByUrl(TMK::ITMK_CabNode* sessions, const std::u16string& url) {
    UINT count = 0;
    sessions->get_Count(&count);
    for (UINT index = 0; index < count; ++index) {
        Settings::Node element;
        if (SUCCEEDED(sessions->get_ItemAt(index, element.put())) && element &&
            EqualIgnoringCase(Settings::GetString(element.get(), u"Url"), url)) {
            return element;
        }
    }
    return {};
}

}  // namespace

HRESULT GetSettings(PluginContext& plugin, const std::u16string& url, bool create, Settings::Node& o_node) {
    TRACE_ENTRY("GetSettings");
    o_node.reset();
    CHECK_RETURN(plugin.m_tmk_inst != nullptr, E_FAIL);
    ComPtr<TMK::ITMK_Cab> settings;
    CHECK_RESULT_TEXT(plugin.m_tmk_inst->GetPluginSettings(&plugin, VARIANT_TRUE, settings.put()),
                      u"plugin->m_tmk_inst->GetPluginSettings(plugin, VARIANT_TRUE, &settings)");
    CHECK_RETURN_TEXT(settings != nullptr, E_FAIL, u"!settings.IsNull()");
    const Settings::Node sessions = Settings::GetChild(Settings::GetRoot(settings.get()).get(), u"Sessions");
    CHECK_RETURN_TEXT(sessions != nullptr, E_FAIL, u"!sessions.IsNull()");
    o_node = FindByUrl(sessions.get(), url);
    if (!o_node && create) {
        CHECK_RESULT(sessions->Append(o_node.put()));
        Settings::SetString(o_node.get(), u"Url", url);
    }
    TRACE_RETURN(S_OK);
}

Http::Session::Credentials GetStoredCredentials(const std::u16string& url, PluginContext& plugin,
                                                TMK::IAFS_BindContext* context) {
    TRACE_ENTRY("GetStoredCredentials");
    Bstr user;
    Bstr password;
    CHECK_RESULT_THROW_TEXT(
        context->OnGetUserAccount(nullptr, nullptr, nullptr, nullptr, nullptr, user.put(), password.put(),
                                  nullptr, TMK::AFS_BindContext_NoUI),
        u"context->OnGetUserAccount(nullptr, nullptr, nullptr, nullptr, nullptr, &user, &password, "
        u"nullptr, TMK::AFS_BindContext_NoUI)");
    Http::Session::Credentials stored{user.str(), password.str()};
    Settings::Node node;
    if (stored.user.empty() && SUCCEEDED(GetSettings(plugin, url, false, node)) && node) {
        stored.user = Settings::GetString(node.get(), u"Login");
    }
    TRACE_EXIT(u"");
    return stored;
}
