#include "sharepoint/rest/protocol.h"

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

}  // namespace

std::u16string FileAddress(const std::u16string& web, const std::u16string& path) {
    return Address(web, u"GetFileByServerRelativePath", path);
}

std::u16string FolderAddress(const std::u16string& web, const std::u16string& path) {
    return Address(web, u"GetFolderByServerRelativePath", path);
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
