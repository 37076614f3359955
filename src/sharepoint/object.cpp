#include "sharepoint/object.h"

#include "base/failure.h"
#include "base/log.h"

namespace SharePoint {

bool AreOfOtherContent(const VersionTags& tags, const VersionTags& other) {
    if (!tags.m_content.empty() && !other.m_content.empty()) return tags.m_content != other.m_content;
    return !tags.m_entity.empty() && !other.m_entity.empty() && tags.m_entity != other.m_entity;
}

std::u16string DescribeForLog(const Information& information, bool is_folder) {
    return Log::Format(
        u"{is_folder=%i, path='%s', name='%s', checkout_user='%s', created_time=%llu, modified_time=%llu, "
        u"size=%llu}",
        is_folder ? 1 : 0, MaskForLog(information.m_path), MaskForLog(information.m_name),
        MaskForLog(information.m_checkout_user), information.m_created_time, information.m_modified_time,
        information.m_size);
}

std::u16string_view LastPathPart(std::u16string_view path) {
    const size_t slash = path.rfind(u'/');
    return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

void RefuseChangeOfWeb(const char* trace_function, const char16_t* change) {
    if (Log::IsOn(Log::verbose)) Log::Write(Log::verbose, std::string(trace_function) + "-->", {});
    THROW_TRACED(Exception, std::u16string(u"Root folder does not support ") + change);
}

File::CheckOutState FindCheckOutState(const char* trace_function, const std::u16string& holder,
                                      const std::function<std::u16string()>& get_current_user) {
    using CheckOutState = File::CheckOutState;
    if (holder.empty()) TRACE_RETURN(CheckOutState::none);
    const std::u16string user = get_current_user();
    if (user.empty()) {
        LOG_LINE(Log::error, u"Failed to get current user");
        return CheckOutState::unknown;
    }
    if (holder == user) TRACE_RETURN(CheckOutState::me);
    TRACE_RETURN(CheckOutState::other_user);
}

}  // namespace SharePoint
