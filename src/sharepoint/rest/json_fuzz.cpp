// Any bytes as a JSON answer, given to every function that reads JSON.
#include <cstdint>
#include <cstdlib>

#include "sharepoint/request_digest.h"
#include "sharepoint/rest/file_info.h"
#include "sharepoint/rest/protocol.h"

namespace {

void ReadItem(const Json::Value* item) {
    if (!item) return;
    SharePoint::Information information;
    bool is_folder = false;
    const bool read = SharePointRestAPI::ParseRestFileInfo(*item, information, is_folder,
                                                           [](const std::u16string& path) { return path; });
    if (read && is_folder && information.m_size != 0) abort();
}

void ReadItems(const Json::Value* results) {
    if (!results) return;
    for (const Json::Value& item : results->GetArray()) ReadItem(&item);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Json::Document document;
    if (!document.Parse({reinterpret_cast<const char*>(data), size})) {
        if (!document.Root().IsNull()) abort();
        return 0;
    }
    const Json::Value* item = Json::ObjectMember(&document.Root(), u"d");
    ReadItem(&document.Root());
    ReadItem(item);
    for (const char16_t* group : {u"Folders", u"Files"}) {
        ReadItems(Json::ArrayMember(Json::ObjectMember(item, group), u"results"));
    }
    SharePointRestAPI::ErrorCode(document.Root());
    SharePoint::RequestDigest digest;
    digest.Read("fuzz", item, 0);
    Json::Unsigned(Json::Member(item, u"Low"));
    return 0;
}
