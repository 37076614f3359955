#include "host/jobs/places.h"

#include "host/jobs/address.h"

namespace host {

namespace {

constexpr const char* kNamesFile = "place-names.json";
constexpr HRESULT kExists = HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);

void RefuseKnownSite(Job& job, const std::u16string& url, const std::string& what) {
    for (const auto& account : job.Accounts()) {
        if (IsSameSite(Accounts::UrlOf(account.account.get()), url))
            job.Fail(kExists, what, "this site is a place already: " + EscapeUrl(url));
    }
}

}  // namespace

bool IsSameSite(std::u16string_view a, std::u16string_view b) {
    const auto trim = [](std::u16string_view url) {
        while (url.ends_with(u'/')) url.remove_suffix(1);
        return url;
    };
    return EqualIgnoreCase(trim(a), trim(b));
}

std::u16string AddPlace(Job& job, const AccountDetails& details, const std::string& what,
                        const std::function<void()>& prepare) {
    RefuseKnownSite(job, details.url, what);
    prepare();
    StoredAccount account = Accounts::Make(job.file_system(), details);
    job.RequirePrivatePlace(account, what);
    ComPtr<TMK::IAFS_Name> root;
    job.Check(job.host().Bind(account.account.get(), job.cancel(), root), what);
    std::u16string site = job.UrlOf(root.get());
    Accounts::SetSite(job.file_system(), account, site);
    // Another process may have added it while this one signed in.
    const FileLock lock = job.host().accounts().LockAdding();
    RefuseKnownSite(job, site, what);
    job.host().accounts().Save(account);
    return site;
}

std::u16string AddPlaceByWindow(Job& job, const std::string& what) {
    job.host().SetSite({}, {});  // the sign-in is for no known place
    StoredAccount account{{}, std::make_shared<SettingsTree>(), nullptr};
    job.Check(job.file_system()->CreateAccount(nullptr, nullptr, 0, 0, 0, account.account.put()), what);
    std::u16string site = Accounts::UrlOf(account.account.get());
    job.RequirePrivatePlace(account, what);
    const FileLock lock = job.host().accounts().LockAdding();
    RefuseKnownSite(job, site, what);
    job.host().accounts().Save(account);
    return site;
}

std::string NameOfPlace(Job& job, const std::u16string& site) {
    const std::string key = ToUtf8(site);
    const auto names = job.host().profile().LoadJson(kNamesFile);
    if (names.IsObject()) {
        const auto found = names.FindMember(key.c_str());
        if (found != names.MemberEnd() && found->value.IsString()) return found->value.GetString();
    }
    const std::string last = ToUtf8(LastPart(site));
    return last.substr(0, last.find_first_of(".:"));  // of a root site the server's name
}

void NamePlace(Job& job, const std::u16string& site, const std::string& name) {
    if (name.empty() || name.find_first_of(":/\\?") != std::string::npos || name == "http" || name == "https")
        throw Failure(E_INVALIDARG, "a place's name holds none of : / \\ ? and is not empty");
    job.host().profile().UpdateJson(kNamesFile, [&](auto& names) {
        if (!names.IsObject()) names.SetObject();
        auto& memory = names.GetAllocator();
        const std::string key = ToUtf8(site);
        names.RemoveMember(key.c_str());
        using Value = std::remove_reference_t<decltype(names[""])>;
        names.AddMember(Value(key.c_str(), memory), Value(name.c_str(), memory), memory);
    });
}

std::optional<std::u16string> UrlInPlace(Job& job, std::string_view argument) {
    const std::size_t colon = argument.find(':');
    if (colon == std::string_view::npos || LooksLikeUrl(argument)) return std::nullopt;
    const std::u16string wanted = ToUtf16(argument.substr(0, colon));
    std::optional<std::u16string> url;
    for (const auto& account : job.Accounts()) {
        const std::u16string site = Accounts::UrlOf(account.account.get());
        if (!EqualIgnoreCase(ToUtf16(NameOfPlace(job, site)), wanted)) continue;
        if (url) {
            throw Failure(E_INVALIDARG,
                          "several places are named '" + ToUtf8(wanted) +
                              "'; use the whole address, or give one another name with place add --name");
        }
        url = site;
    }
    if (!url) return url;
    std::string_view path = argument.substr(colon + 1);
    while (path.starts_with('/')) path.remove_prefix(1);
    while (path.ends_with('/')) path.remove_suffix(1);
    while (url->ends_with(u'/')) url->pop_back();
    if (!path.empty()) *url += u"/" + ToUtf16(path);
    return url;
}

void RemovePlace(Job& job, const StoredAccount& account) {
    const std::string site = ToUtf8(Accounts::UrlOf(account.account.get()));
    const std::string user = ToUtf8(Accounts::UserOf(account.account.get()));
    job.host().accounts().Remove(account);
    job.host().oauth().Forget(site, user);
}

}  // namespace host
