#include "host/jobs/listing.h"

#include "host/base/text.h"
#include "host/jobs/error_text.h"

namespace host {

namespace {

// The plug-in's failure doesn't say whether there is a document, nothing, or a server that refuses.
[[noreturn]] void RefuseFolder(Job& job, TMK::IAFS_Name* folder, HRESULT result, const std::string& what) {
    if (const auto info = job.FindInfo(folder, what)) {
        if (!IsFolder(info.get())) Job::Fail(E_INVALIDARG, what, "this is a document; see stat");
        Job::Fail(result, what, FriendlyText(result));
    }
    Job::Fail(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), what, "there is no folder here");
}

}  // namespace

void ListFolder(Job& job, TMK::IAFS_Name* folder, const std::string& what, const EachItem& each) {
    ComPtr<TMK::IAFS_EnumFolder> listing;
    const HRESULT result = job.file_system()->EnumFolder(folder, 0, job.cancel(), listing.put());
    if (result == E_FAIL) RefuseFolder(job, folder, result, what);
    job.Check(result, what);
    for (;;) {
        ComPtr<TMK::IAFS_EnumFolderItem> item;
        if (job.Check(listing->Next(item.put()), what) == S_FALSE || !item) break;
        each(item.get());
    }
    Variant reason;
    if (FAILED(job.file_system()->get_Prop(folder, u"UnreadReason", reason.put())) ||
        reason.type() != VT_BSTR)
        return;
    const std::string text = ToUtf8(FromWide(reason.bstrVal));
    if (!text.empty()) Job::Fail(E_FAIL, what, WordsFor(E_FAIL, PlainLine(text)));
}

}  // namespace host
