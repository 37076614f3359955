#include "afs/document/upload_check.h"

#include "base/text/ignore_case.h"

namespace Afs {

namespace {

bool AreTold(const std::u16string& a, const std::u16string& b) {
    return !a.empty() && !b.empty();
}

// The tag itself, without the mark of a weak one and the quotation marks.
std::u16string_view BareTag(std::u16string_view tag) {
    if (tag.starts_with(u"W/")) tag.remove_prefix(2);
    while (tag.starts_with(u'"')) tag.remove_prefix(1);
    while (tag.ends_with(u'"')) tag.remove_suffix(1);
    return tag;
}

// A login without the prefix of its claims.
std::u16string_view BareLogin(std::u16string_view login) {
    return login.substr(login.rfind(u'|') + 1);
}

bool IsOwn(const SentUpload& sent, const SharePoint::Information& now) {
    if (now.m_size != sent.size || now.m_checkout_user != sent.before.m_checkout_user) return false;
    if (AreTold(now.m_modified_by, now.m_checkout_user) &&
        !EqualIgnoringCase(BareLogin(now.m_modified_by), BareLogin(now.m_checkout_user)))
        return false;
    return !AreTold(sent.entity_tag, now.m_tags.m_entity) ||
           BareTag(sent.entity_tag) == BareTag(now.m_tags.m_entity);
}

}  // namespace

UploadOutcome JudgeUpload(const SentUpload& sent, const SharePoint::Information& now) {
    const SharePoint::VersionTags& before = sent.before.m_tags;
    const bool has_content = AreTold(before.m_content, now.m_tags.m_content);
    const bool has_entity = AreTold(before.m_entity, now.m_tags.m_entity);
    const bool is_renamed = (has_content && before.m_content != now.m_tags.m_content) ||
                            (has_entity && before.m_entity != now.m_tags.m_entity);
    if (is_renamed || now.m_modified_time != sent.before.m_modified_time || now.m_size != sent.before.m_size)
        return IsOwn(sent, now) ? UploadOutcome::own : UploadOutcome::of_somebody_else;
    if (now.m_size != sent.size) return UploadOutcome::not_taken;
    return has_content || has_entity ? UploadOutcome::same_tags : UploadOutcome::same_time;
}

}  // namespace Afs
