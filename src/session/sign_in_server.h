// Where hosted sites sign in, and how this application is registered there.
#pragma once

namespace SignInServer {

inline constexpr const char16_t* kHost = u"login.microsoftonline.com";
inline constexpr const char16_t* kHostedSitesSuffix = u".sharepoint.com";
inline constexpr const char16_t* kClientId = u"11111111-2222-4333-8444-555555555555";
inline constexpr const char16_t* kAuthority = u"https://login.microsoftonline.com/organizations/";
inline constexpr const char16_t* kRedirectUri =
    u"ms-appx-web://microsoft.aad.brokerplugin/11111111-2222-4333-8444-555555555555";

// The one store of cookies that all browser windows share.
inline constexpr const char16_t* kCookieGroup = u"ds";

}  // namespace SignInServer
