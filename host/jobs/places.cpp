#include "host/jobs/places.h"

#include "host/jobs/address.h"

namespace host {

namespace {

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

void RemovePlace(Job& job, const StoredAccount& account) {
    const std::string site = ToUtf8(Accounts::UrlOf(account.account.get()));
    const std::string user = ToUtf8(Accounts::UserOf(account.account.get()));
    job.host().accounts().Remove(account);
    job.host().oauth().Forget(site, user);
}

}  // namespace host
