#include "rest/uploads.h"

#include "base/text.h"

namespace devserver::rest {
namespace {

Upload RequireUpload(Context& context, const std::string& id, const Segment& segment) {
    auto upload = context.store.FindUpload(id);
    if (!upload || upload->user != context.user.id)
        throw odata::InvalidArgument("The upload session isn't known.");
    auto offset = ParseInteger(segment.text("fileOffset", 1));
    if (!offset || *offset != upload->size)
        throw odata::InvalidArgument("The file offset doesn't match the bytes that were received.");
    return *upload;
}

std::int64_t Append(Context& context, const std::string& id, const Upload& upload) {
    std::int64_t added = 0;
    context.store.blobs().Append(upload.blob, *context.request.body, added);
    context.store.AdvanceUpload(id, upload.size + added);
    return upload.size + added;
}

}  // namespace

std::optional<Outcome> UploadOperation(Context& context, const Segment& segment,
                                       const std::function<const Item&()>& file) {
    bool starts = segment.Is("StartUpload"), goes_on = segment.Is("ContinueUpload");
    bool finishes = segment.Is("FinishUpload"), cancels = segment.Is("CancelUpload");
    if (!starts && !goes_on && !finishes && !cancels) return std::nullopt;
    context.RequireEdit();
    auto id = ToLower(segment.text("uploadId", 0));
    if (cancels) {
        context.store.CancelUpload(id);
        return Outcome::done("CancelUpload");
    }
    if (starts) {
        const auto& item = file();
        context.store.RequireWritable(item, context.user);
        auto content = context.store.blobs().Create();
        content->WriteAll(*context.request.body);
        auto size = content->size();
        context.store.StartUpload(id, {item.id, context.user.id, content->Keep(), size});
        return Outcome::Of(Node::Of(Value::Int64(size)), "StartUpload");
    }
    auto upload = RequireUpload(context, id, segment);
    auto size = Append(context, id, upload);
    if (goes_on) return Outcome::Of(Node::Of(Value::Int64(size)), "ContinueUpload");
    auto finished = context.store.FinishUpload(id, context.user);
    return Outcome::Of(Node::Of(FileEntity(context, std::make_shared<Item>(finished))), "FinishUpload");
}

}  // namespace devserver::rest
