#include "tests/support/http_client.h"

#include <curl/curl.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

namespace testing_support {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::size_t AppendBody(char* data, std::size_t size, std::size_t count, void* answer) {
    static_cast<HttpAnswer*>(answer)->body.append(data, size * count);
    return size * count;
}

std::size_t TakeHeader(char* data, std::size_t size, std::size_t count, void* target) {
    auto& answer = *static_cast<HttpAnswer*>(target);
    const std::string_view line(data, size * count);
    if (line.starts_with("HTTP/")) answer.headers.clear();
    answer.AddHeader(line);
    return size * count;
}

}  // namespace

HttpAnswer Http(const HttpCall& call) {
    HttpAnswer answer;
    CURL* const curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, call.url.c_str());
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, call.method.c_str());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, call.timeout_milliseconds);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, call.follow ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);  // of a server that was started here
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, TakeHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &answer);
    if (call.method == "HEAD") curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
    if (call.body) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, call.body->data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(call.body->size()));
    }
    File upload, download;
    if (!call.upload_file.empty()) {
        upload.reset(std::fopen(call.upload_file.c_str(), "rb"));
        curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl, CURLOPT_READDATA, upload.get());
        curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE,
                         static_cast<curl_off_t>(std::filesystem::file_size(call.upload_file)));
    }
    if (call.download_file.empty()) {
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, AppendBody);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    } else {
        download.reset(std::fopen(call.download_file.c_str(), "wb"));
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, download.get());
    }
    curl_slist* headers = nullptr;
    for (const std::string& header : call.headers) headers = curl_slist_append(headers, header.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    answer.curl_code = curl_easy_perform(curl);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    answer.status = static_cast<int>(status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return answer;
}

}  // namespace testing_support
