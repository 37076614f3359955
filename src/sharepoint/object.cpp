// What all dialects share about items: their names, and their trace form. Re-entrant.
#include "sharepoint/object.h"

#include "base/log.h"

namespace SharePoint {

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

}  // namespace SharePoint
