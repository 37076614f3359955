#include "sharepoint/rest/protocol.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "base/text/encoding.h"
#include "base/url.h"

namespace SharePointRestAPI {

namespace {

// A range of statuses, for one error code or (0) for any.
template <typename Result>
struct Outcome {
    uint32_t first_status;
    uint32_t last_status;
    uint32_t code;
    Result result;
};

using SharePoint::File;

constexpr Outcome<File::CheckInResult> kCheckInOutcomes[] = {
    {200, 200, 0, File::cirOk},
    {204, 204, 0, File::cirOk},
    {201, 399, 0, File::cirFail},
    {500, 500, kRequiredPropertiesMissing, File::cirRequiredProperties},
};

constexpr Outcome<File::DiscardResult> kDiscardOutcomes[] = {
    {200, 200, 0, File::dcrOk},
    {204, 204, 0, File::dcrOk},
    {201, 399, 0, File::dcrFail},
    {500, 500, kNoCheckedInVersion, File::dcrNoCheckedInVersion},
};

// The first row that fits.
template <typename Result, size_t count>
std::optional<Result> Find(const Outcome<Result> (&outcomes)[count], uint32_t status, uint32_t code) {
    for (const Outcome<Result>& outcome : outcomes) {
        if (status < outcome.first_status || status > outcome.last_status) continue;
        if (outcome.code == 0 || outcome.code == code) return outcome.result;
    }
    return std::nullopt;
}

std::u16string Address(const std::u16string& web, const char16_t* function, const std::u16string& path) {
    return web + u"/_api/web/" + function + u"(decodedurl='/" + UrlEncodeQuoted(path);
}

// Ordered by the one column that every list has an index of.
constexpr int kListData = 2;  // the rows alone
constexpr char kPageView[] =
    "<View><Query><OrderBy><FieldRef Name='ID'/></OrderBy></Query><ViewFields>"
    "<FieldRef Name='FileLeafRef'/><FieldRef Name='FileRef'/><FieldRef Name='FSObjType'/>"
    "<FieldRef Name='File_x0020_Size'/><FieldRef Name='Created'/><FieldRef Name='Modified'/>"
    "<FieldRef Name='CheckoutUser'/></ViewFields><RowLimit Paged='TRUE'>5000</RowLimit></View>";

}  // namespace

std::u16string FileAddress(const std::u16string& web, const std::u16string& path) {
    return Address(web, u"GetFileByServerRelativePath", path);
}

std::u16string FolderAddress(const std::u16string& web, const std::u16string& path) {
    return Address(web, u"GetFolderByServerRelativePath", path);
}

std::u16string PagesAddress(const std::u16string& web, const std::u16string& library) {
    return web + u"/_api/web/GetList('/" + UrlEncodeQuoted(library) + u"')/RenderListDataAsStream";
}

std::string PageBody(const std::u16string& folder, const std::u16string& paging) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    const auto text = [&](const char* key, const std::string& value) {
        writer.Key(key);
        writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    };
    writer.StartObject();
    writer.Key("parameters");
    writer.StartObject();
    writer.Key("RenderOptions");
    writer.Int(kListData);
    writer.Key("DatesInUtc");
    writer.Bool(true);
    text("ViewXml", kPageView);
    text("FolderServerRelativeUrl", "/" + ToUtf8(folder));
    if (!paging.empty()) text("Paging", ToUtf8(paging));
    writer.EndObject();
    writer.EndObject();
    return buffer.GetString();
}

std::u16string DigestHeader(const std::u16string& digest) {
    return u"X-RequestDigest:" + digest;
}

std::optional<uint32_t> ErrorCode(const Json::Value& answer) {
    return Json::Code(Json::Member(Json::ObjectMember(&answer, u"error"), u"code"));
}

std::optional<File::CheckInResult> CheckInResultOf(uint32_t status, uint32_t code) {
    return Find(kCheckInOutcomes, status, code);
}

std::optional<File::DiscardResult> DiscardResultOf(uint32_t status, uint32_t code) {
    return Find(kDiscardOutcomes, status, code);
}

}  // namespace SharePointRestAPI
