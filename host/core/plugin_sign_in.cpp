#include "host/core/plugin_sign_in.h"

#include "host/base/failure.h"
#include "host/profile/settings_tree.h"

namespace host {

PluginSignIn::PluginSignIn(SignInPrompts& prompts, OAuth& oauth, std::optional<Credentials> credentials,
                           std::function<void(const std::string&)> note)
    : m_prompts(prompts), m_oauth(oauth), m_credentials(std::move(credentials)), m_note(std::move(note)) {}

void PluginSignIn::SetPlace(const std::u16string& url, const std::u16string& user) {
    SetPlace({ToUtf8(url), ToUtf8(user)});
}

ComPtr<TMK::IAFS_BindContext> PluginSignIn::NewBindContext() const {
    return MakeBindContext(m_prompts, m_credentials, m_note);
}

OAuthRequest PluginSignIn::ReadRequest(TMK::ITMK_CabNode* parameters) const {
    const auto read = [&](LPCWSTR id) {
        ComPtr<TMK::ITMK_CabNode> item;
        parameters->get_Item(id, item.put());
        return ToUtf8(StringOf(item.get()));
    };
    OAuthRequest request{read(u"authority"), read(u"clientID"), read(u"scope"), {}, {}};
    const OAuthPlace at = place();
    request.site = at.site;
    // A site that is no place yet: the scope begins with its server.
    if (request.site.empty()) request.site = request.scope.substr(0, request.scope.rfind('/'));
    request.user = at.user;
    return request;
}

HRESULT PluginSignIn::PutToken(TMK::ITMK_CabNode* parameters) {
    OAuthRequest request = ReadRequest(parameters);
    ComPtr<TMK::ITMK_CabNode> token;
    parameters->get_Item(u"tokenData.accessToken", token.put());
    if (!token) return E_INVALIDARG;
    try {
        m_oauth.RequirePrivatePlace(request.site);
        if (const auto own = m_oauth.FindOverride(request.site)) {
            if (!own->authority.empty()) request.authority = own->authority;
            if (!own->client_id.empty()) request.client_id = own->client_id;
            request.flow = own->flow;
            request.redirect = own->redirect;
        }
        if (request.authority.empty() || request.scope.empty()) return E_INVALIDARG;
        return token->put_v(Variant(std::u16string_view(ToUtf16(m_oauth.GetToken(request)))).get());
    } catch (const Failure& failure) {
        const bool was_refused = m_oauth.HasTokenInUse(request.site);
        m_note((was_refused ? "you have no right to do this, or the sign-in has ended, and a new one failed: "
                            : "") +
               std::string(failure.what()));
        throw;
    }
}

}  // namespace host
