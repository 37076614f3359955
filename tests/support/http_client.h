// Plain HTTP for tests, around the system under test: no proxy, no trust in certificates. One thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

struct HttpAnswer {
    int curl_code = 0;  // 0: a whole answer came
    int status = 0;
    std::string body;
    std::multimap<std::string, std::string> headers;  // of the last answer; names in lower case

    // The first value of a header, or "".
    std::string Header(const std::string& name) const;
    // Takes a line of a head; one without a colon is none.
    void AddHeader(std::string_view line);
};

struct HttpCall {
    std::string method = "GET";
    std::string url = {};
    std::optional<std::string> body = {};
    std::vector<std::string> headers = {};
    std::string upload_file = {};    // sent as the body, streamed
    std::string download_file = {};  // the answer's body goes there
    long timeout_milliseconds = 60'000;
    bool follow = false;
};

HttpAnswer Http(const HttpCall& call);

// Percent-encoding of every byte but unreserved ones and the slash.
std::string Escape(const std::string& text);

}  // namespace testing_support
