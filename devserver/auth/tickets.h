// Tokens, device codes and authorization codes. The database has their hashes alone.
// Owner: app/service makes one, on the store's database; any thread.
#pragma once
#include <optional>
#include <string>

#include "store/database.h"
#include "store/records.h"

namespace devserver {

struct Token {
    Id user = 0;
    Seconds expires = 0;
    std::string scope, client;
};

struct DeviceCode {
    std::string user_code, client, scope;
    Seconds expires = 0, last_poll = 0;
    int interval = 1;
    Id user = 0;  // 0: nobody has approved it yet
    bool denied = false;
};

struct AuthorizationCode {
    std::string client, scope, redirect_uri, challenge;
    Id user = 0;
    Seconds expires = 0;
};

class Tickets {
public:
    explicit Tickets(Database& database);

    void PutToken(const std::string& value, const std::string& kind, const Token& token);
    std::optional<Token> token(const std::string& value, const std::string& kind);
    // False when it was gone already.
    bool DropToken(const std::string& value);
    void ExpireTokens(const std::string& kind);

    void PutDeviceCode(const std::string& code, const DeviceCode& record);
    std::optional<DeviceCode> FindDeviceCode(const std::string& code);
    // By the code that the device shows to the person.
    std::optional<DeviceCode> DeviceCodeByUserCode(const std::string& user_code);
    // What the person decided; user 0 and `denied` for no.
    void DecideDeviceCode(const std::string& user_code, Id user, bool denied);
    void NoteDevicePoll(const std::string& code, Seconds last_poll, int interval);
    // False when it was gone already.
    bool DropDeviceCode(const std::string& code);

    void PutAuthorizationCode(const std::string& code, const AuthorizationCode& grant);
    // The grant of a code that hasn't expired; the code is removed.
    std::optional<AuthorizationCode> TakeAuthorizationCode(const std::string& code);

private:
    Database& m_database;
};

}  // namespace devserver
