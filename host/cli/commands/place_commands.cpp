// place add, place list, place remove, signout: the remembered sites.
// The command's worker thread.
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/jobs/address.h"
#include "host/jobs/places.h"

namespace cli {

namespace {

std::string UserOf(const host::StoredAccount& account) {
    return host::ToUtf8(host::Accounts::UserOf(account.account.get()));
}

// The place of exactly this address.
host::StoredAccount PlaceAt(Run& run, const std::u16string& url, const std::string& what) {
    for (auto& account : run.Accounts()) {
        if (host::IsSameSite(host::Accounts::UrlOf(account.account.get()), url)) return account;
    }
    run.Fail(HRESULT_FROM_WIN32(1168), what, "this is no place; 'sphost place list' shows them");
}

// The new account by the options; secrets are read from standard input.
host::AccountDetails ReadDetails(Run& run, const std::u16string& url, const std::string& what) {
    const Options& options = run.options();
    const std::string api = options.Value("api").value_or("modern");
    if (api != "modern" && api != "compatible")
        throw UsageError("--api takes modern or compatible, not '" + api + "'");
    const auto encipher = [&](const std::string& secret) {
        return run.host().EncryptForPlugin(host::ToUtf16(secret));
    };
    host::AccountDetails details;
    details.url = url;
    details.is_modern = api == "modern";
    if (const auto user = options.Value("user")) details.user = encipher(*user);
    if (options.Has("password-stdin")) {
        if (!options.Has("user")) throw UsageError("--password-stdin goes with --user");
        details.password = encipher(ReadSecretLine(what));
    }
    if (options.Has("token-stdin")) {
        if (options.Has("password-stdin"))
            throw UsageError("--token-stdin and --password-stdin exclude each other");
        details.token = encipher(ReadSecretLine(what));
    }
    return details;
}

}  // namespace

std::optional<host::Credentials> GivenCredentials(const Options& options) {
    if (options.command == "place add" || !options.Has("password-stdin")) return std::nullopt;
    return host::Credentials{host::ToUtf16(options.Value("user").value_or("")),
                             host::ToUtf16(ReadSecretLine(options.command))};
}

void Detect(Run& run) {
    const std::string& address = run.options().arguments[0];
    const std::string what = What(run.options(), address);
    const HRESULT result = run.file_system()->StringToName(host::ToUtf16(address).c_str(),
                                                           TMK::AFS_String2Name_FullTest, nullptr, nullptr);
    if (result != E_INVALIDARG) run.Check(result, what);
    const bool is_sharepoint = SUCCEEDED(result);
    JsonText json;
    json.StartObject().Key("url").String(address).Key("sharePoint").Bool(is_sharepoint).EndObject();
    if (run.options().Has("json")) run.Out(json.Take());
    run.Say(is_sharepoint ? "SharePoint" : "not SharePoint");
    if (!is_sharepoint) throw NegativeAnswer{};
}

// Stores the options of this server's sign-in, if there are any.
void KeepSignInOverride(Run& run, const std::u16string& url) {
    const Options& options = run.options();
    const host::OAuthOverride value{options.Value("authority").value_or(""),
                                    options.Value("client-id").value_or(""),
                                    options.Value("sign-in").value_or(""),
                                    options.Value("redirect").value_or(""), options.Has("insecure-http")};
    if (!value.flow.empty() && value.flow != "code" && value.flow != "device")
        throw UsageError("--sign-in takes code or device, not '" + value.flow + "'");
    try {
        host::PortOfRedirect(value.redirect);
    } catch (const host::Failure& failure) {
        throw UsageError(failure.what());
    }
    const bool any = options.Has("authority") || options.Has("client-id") || options.Has("sign-in") ||
                     options.Has("redirect") || options.Has("insecure-http");
    if (any) run.host().oauth().SetOverride(host::ToUtf8(url), value);
}

// The two options that a first place most often lacks.
void AddSignInHint(const Options& options, CommandError& error) {
    const bool is_modern = options.Value("api").value_or("modern") == "modern";
    const bool is_known =
        error.code == HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS) || error.code == host::kCanceled;
    if (!is_modern || is_known) return;
    error.message += "; SharePoint 2013 and older are added with --api compatible";
    if (!options.Has("authority") && !options.Has("token-stdin"))
        error.message += ", spdevserver with --authority http://HOST:PORT/organizations/";
}

void PlaceAdd(Run& run) {
    const Options& options = run.options();
    const std::string what = What(options, options.arguments[0]);
    const std::u16string url = host::ParseUrl(options.arguments[0]);
    const host::AccountDetails details = ReadDetails(run, url, what);
    std::u16string site;
    try {
        site = host::AddPlace(run, details, what, [&] { KeepSignInOverride(run, url); });
    } catch (CommandError& error) {
        AddSignInHint(options, error);
        throw;
    }
    if (const auto name = options.Value("name")) host::NamePlace(run, site, *name);
    const std::string name = host::NameOfPlace(run, site);
    if (options.Has("json")) {
        JsonText json;
        json.StartObject().Key("url").String(host::EscapeUrl(site)).Key("name").String(name).EndObject();
        run.Out(json.Take());
    }
    run.Say("added " + host::EscapeUrl(site));
}

void PlaceList(Run& run) {
    JsonText json;
    json.StartArray();
    for (const auto& account : run.Accounts()) {
        const std::string url = host::EscapeUrl(host::Accounts::UrlOf(account.account.get()));
        const std::string name = UserOf(account);
        const std::string place = host::NameOfPlace(run, host::Accounts::UrlOf(account.account.get()));
        json.StartObject().Key("url").String(url).Key("name").String(place).Key("user").Text(name);
        json.Key("api").String(host::Accounts::IsModern(account) ? "modern" : "compatible").EndObject();
        run.Say(url + "  " + host::PlainLine(place) + ":" +
                (name.empty() ? "" : "  " + host::PlainLine(name)));
    }
    json.EndArray();
    if (run.options().Has("json")) run.Out(json.Take());
}

// The local copies of a place that its documents no longer need; those that hold something unsent stay.
void DropCopiesOf(Run& run, const std::string& site) {
    const auto dropped = host::DropCopies(*run.host().cache(),
                                          [&](const host::LocalCopy& copy) { return copy.account == site; });
    for (const host::LocalCopy& copy : dropped.kept) run.Say(WhyItStays(copy));
}

void PlaceRemove(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const auto account = PlaceAt(run, run.Address(), what);
    const std::string site = host::ToUtf8(host::Accounts::UrlOf(account.account.get()));
    for (const auto& document : run.host().cache()->Unsent()) {
        if (document.entry.account == site && !run.options().Has("yes")) {
            run.Fail(host::kInUse, what,
                     "changes of its documents were not sent yet; see 'sphost recover', or add --yes");
        }
    }
    host::RemovePlace(run, account);
    DropCopiesOf(run, site);
    run.Say("removed " + host::EscapeUrl(host::ToUtf16(site)));
}

void SignOut(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    auto account = PlaceAt(run, run.Address(), what);
    const std::u16string site = host::Accounts::UrlOf(account.account.get());
    const std::string user = UserOf(account);
    const Variant holder(static_cast<IUnknown*>(account.account.get()));
    const HRESULT result =
        run.file_system()->Exec(nullptr, u"SignOut", holder.get(), nullptr, nullptr, run.cancel());
    // The profile's sign-in is removed even if the browser's part failed.
    run.host().oauth().Forget(host::ToUtf8(site), user);
    host::Accounts::DropSignIn(run.file_system(), account);
    run.host().accounts().Save(account);
    DropCopiesOf(run, host::ToUtf8(site));
    if (result != E_NOTIMPL) run.Check(result, what);
    run.Say("signed out of " + host::EscapeUrl(site));
}

}  // namespace cli
