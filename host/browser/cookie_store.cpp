#include "host/browser/cookie_store.h"

#include <algorithm>
#include <ctime>
#include <functional>

#include "host/base/failure.h"
#include "host/base/json.h"

namespace host {

namespace {

constexpr std::string_view kFile = "cookies.json";
constexpr std::string_view kPurpose = "browser cookies";

std::string DomainOf(const rapidjson::Value& cookie) {
    return TextOf(cookie, "domain");
}

// Whether the cookie is a domain's, not one host's.
bool IsOfDomain(const rapidjson::Value& cookie) {
    return DomainOf(cookie).starts_with('.');
}

std::string LowerDomain(const rapidjson::Value& cookie) {
    std::string domain = DomainOf(cookie);
    std::transform(domain.begin(), domain.end(), domain.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return domain.starts_with('.') ? domain.substr(1) : domain;
}

bool LivesOn(const rapidjson::Value& cookie) {
    const auto expires = cookie.FindMember("expires");
    return expires != cookie.MemberEnd() && expires->value.IsNumber() &&
           expires->value.GetDouble() > static_cast<double>(std::time(nullptr));
}

// Only the cookies that `keep` names, as text.
std::string Filter(const std::string& cookies, const std::function<bool(const rapidjson::Value&)>& keep) {
    std::optional<Json> json = ParseJson(cookies);
    if (!json || !json->IsArray()) return "[]";
    for (auto at = json->Begin(); at != json->End();) {
        at = at->IsObject() && keep(*at) ? at + 1 : json->Erase(at);
    }
    return CompactText(*json);
}

// A purpose of its own for each group, so that stored texts can't be exchanged.
std::string PurposeOf(const std::string& group) {
    return std::string(kPurpose) + " " + group;
}

std::string CookiesOf(const Json& groups, const std::string& group, const Cipher& cipher) {
    const std::string stored = groups.IsObject() ? TextOf(groups, group.c_str()) : "";
    return stored.empty() ? "[]" : cipher.Decrypt(PurposeOf(group), stored);
}

void SetCookies(Json& groups, const std::string& group, const std::string& cookies, const Cipher& cipher) {
    if (!groups.IsObject()) groups.SetObject();
    auto& memory = groups.GetAllocator();
    groups.RemoveMember(group.c_str());
    if (cookies != "[]") {
        groups.AddMember(rapidjson::Value(group.c_str(), memory),
                         rapidjson::Value(cipher.Encrypt(PurposeOf(group), cookies).c_str(), memory), memory);
    }
}

}  // namespace

CookieStore::CookieStore(const Profile& profile, std::shared_ptr<const Cipher> cipher)
    : m_profile(profile), m_cipher(std::move(cipher)) {}

std::string CookieStore::Load(const std::u16string& group) const {
    try {
        return Filter(CookiesOf(m_profile.LoadJson(kFile), ToUtf8(group), *m_cipher), LivesOn);
    } catch (const Failure& failure) {
        m_profile.warn(std::string("the browser's cookies can't be read, so it starts with none: ") +
                       failure.what());
        return "[]";
    }
}

void CookieStore::Save(const std::u16string& group, const std::string& cookies) {
    m_profile.UpdateJson(
        kFile, [&](Json& groups) { SetCookies(groups, ToUtf8(group), Filter(cookies, LivesOn), *m_cipher); });
}

void CookieStore::Delete(const std::u16string& group, const std::u16string& host) {
    if (!fs::exists(m_profile.file(kFile))) return;
    // In the form of a cookie's domain, so that case doesn't matter.
    Json wanted(rapidjson::kObjectType);
    wanted.AddMember("domain", rapidjson::Value(ToUtf8(host).c_str(), wanted.GetAllocator()),
                     wanted.GetAllocator());
    const std::string name = LowerDomain(wanted);
    const bool all_below = host.starts_with(u'.');
    m_profile.UpdateJson(kFile, [&](Json& groups) {
        std::string left = "[]";
        try {
            left = Filter(CookiesOf(groups, ToUtf8(group), *m_cipher), [&](const auto& cookie) {
                const std::string domain = LowerDomain(cookie);
                const bool goes_to_it = IsOfDomain(cookie) && name.ends_with("." + domain);
                const bool lies_below = all_below && domain.ends_with("." + name);
                return domain != name && !goes_to_it && !lies_below && LivesOn(cookie);
            });
        } catch (const Failure&) {
            // Cookies that can't be deciphered are useless, so the whole group is dropped.
        }
        SetCookies(groups, ToUtf8(group), left, *m_cipher);
    });
}

}  // namespace host
