// A folder of many files: EnumFolder with all Next against libcurl and the bare parser alone on the same
// answer, from memory and from the development server; and how many listings sphost asks for.
#include <curl/curl.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cstdio>
#include <pugixml.hpp>
#include <stdexcept>

#include "bench/reader.h"
#include "bench/replay_server.h"
#include "bench/report.h"
#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

constexpr char kFolder[] = "Many files";
constexpr double kLimit = 1.5;

std::size_t Append(char* data, std::size_t size, std::size_t count, void* out) {
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

constexpr char kPropfind[] = R"(<?xml version="1.0" ?><D:propfind xmlns:D="DAV:"><D:allprop/></D:propfind>)";

std::size_t CountJson(const std::string& body) {
    rapidjson::GenericDocument<rapidjson::UTF16<char16_t>> json;
    json.Parse<rapidjson::kParseDefaultFlags, rapidjson::UTF8<>>(body.c_str());
    if (json.HasParseError()) throw std::runtime_error("the floor got no JSON");
    return json[u"d"][u"Files"][u"results"].Size();
}

// Parses, and takes from each response what a listing shows, into UTF-16. The folder itself is one of them.
std::size_t CountXml(std::string& body) {
    pugi::xml_document xml;
    if (!xml.load_buffer_inplace(body.data(), body.size())) throw std::runtime_error("the floor got no XML");
    std::size_t count = 0;
    std::u16string text;
    for (const pugi::xml_node response : xml.child("D:multistatus").children("D:response")) {
        const pugi::xml_node prop = response.child("D:propstat").child("D:prop");
        for (const char* name : {"D:displayname", "D:getcontentlength", "D:creationdate", "D:getlastmodified",
                                 "Office:modifiedby", "Z:Win32FileAttributes"}) {
            const std::string_view bytes = prop.child(name).text().get();
            text.assign(bytes.begin(), bytes.end());
        }
        ++count;
    }
    return count - 1;
}

// One connection that stays, as the plug-in's does.
class Floor {
public:
    explicit Floor(const Login& login) : m_modern(login.is_modern), m_curl(curl_easy_init()) {
        if (m_modern) {
            AddHeader("Accept: application/json;odata=verbose");
            AddHeader("Authorization: Bearer " + login.token);
        } else {
            AddHeader("Accept: application/xml, text/xml");
            AddHeader("Depth: 1");
            curl_easy_setopt(m_curl, CURLOPT_CUSTOMREQUEST, "PROPFIND");
            curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, kPropfind);
            curl_easy_setopt(m_curl, CURLOPT_USERNAME, login.user.c_str());
            curl_easy_setopt(m_curl, CURLOPT_PASSWORD, login.password.c_str());
        }
        curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, m_headers);
        curl_easy_setopt(m_curl, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, Append);
    }
    ~Floor() {
        curl_slist_free_all(m_headers);
        curl_easy_cleanup(m_curl);
    }
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;

    // Fetches and parses; returns the number of files found.
    std::size_t Run(const std::string& url) {
        std::string body;
        curl_easy_setopt(m_curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &body);
        if (curl_easy_perform(m_curl) != CURLE_OK) throw std::runtime_error("no answer from " + url);
        return m_modern ? CountJson(body) : CountXml(body);
    }

private:
    void AddHeader(const std::string& line) { m_headers = curl_slist_append(m_headers, line.c_str()); }

    bool m_modern;
    CURL* m_curl;
    curl_slist* m_headers = nullptr;
};

std::size_t Enumerate(bench::Reader& reader, TMK::IAFS_Name* name) {
    ComPtr<TMK::IAFS_EnumFolder> items;
    bench::Require(reader.file_system()->EnumFolder(name, 0, nullptr, items.put()), "EnumFolder");
    std::size_t count = 0;
    for (;;) {
        ComPtr<TMK::IAFS_EnumFolderItem> item;
        const HRESULT result = items->Next(item.put());
        bench::Require(result, "Next");
        if (result == S_FALSE) return count;
        ++count;
    }
}

bool Compare(const char* what, double limit, unsigned rounds, std::size_t files, bench::Reader& reader,
             TMK::IAFS_Name* name, Floor& floor, const std::string& url) {
    const auto check = [&](std::size_t count) {
        if (count != files) throw std::runtime_error("found " + std::to_string(count) + " files");
    };
    const bench::Pair pair = bench::Alternate(
        rounds, [&] { return bench::Time([&] { check(Enumerate(reader, name)); }); },
        [&] { return bench::Time([&] { check(floor.Run(url)); }); });
    const double ratio = pair.measured / pair.floor;
    return bench::Line(what, bench::Fixed(pair.measured * 1000, 1, "ms"),
                       bench::Fixed(pair.floor * 1000, 1, "ms"), bench::Fixed(ratio, 2),
                       limit > 0 ? "<= " + bench::Fixed(limit, 2) : "-", limit == 0 || ratio <= limit);
}

bool CountListings(const DevServer& server) {
    const Sphost sphost;
    sphost.AddPlace(server, "alice");
    server.ClearRequests();
    if (sphost.Run({"ls", server.Url(kFolder)}).status != 0) throw std::runtime_error("sphost ls failed");
    const auto listings = server.Listings();
    for (const std::string& request : server.Requests()) std::fprintf(stderr, "  %s\n", request.c_str());
    return bench::Line("listing requests of sphost ls", std::to_string(listings), "-",
                       std::to_string(listings), "1", listings == 1);
}

bool Run(const std::string& generation, unsigned files, unsigned rounds) {
    const DevServer server(
        {"--generation", generation, "--seed-count", std::string(kFolder) + "=" + std::to_string(files)});
    const Login login = LoginOf(server, "alice");
    const bool once = CountListings(server);
    Floor floor(login);
    // A bare parse of XML in memory takes a microsecond for each row, so that any object made of it counts.
    const double memory_limit = login.is_modern ? kLimit : 0;

    bench::ReplayServer replay(server.Origin());
    bench::Reader replay_reader(replay.Origin(), login);
    const auto replay_name = replay_reader.Name(kFolder);
    Enumerate(replay_reader, replay_name.get());
    std::size_t length = 0;
    const std::string target = replay.LongestTarget(length);
    std::fprintf(stderr, "  the answer has %zu bytes\n", length);
    const bool from_memory =
        Compare("EnumFolder with all Next, answer from memory", memory_limit, rounds, files, replay_reader,
                replay_name.get(), floor, replay.Origin() + target);

    bench::Reader reader(server.Origin(), login);
    const auto name = reader.Name(kFolder);
    const bool from_server = Compare("EnumFolder with all Next, from spdevserver", kLimit, rounds, files,
                                     reader, name.get(), floor, server.Origin() + target);
    return once && from_memory && from_server;
}

}  // namespace

int main(int argc, char** argv) {
    return bench::ExitStatus("listing_bench", [&] {
        return Run(bench::Generation(argc, argv), bench::Option(argc, argv, "--files", 10'000),
                   bench::Option(argc, argv, "--rounds", 15));
    });
}
