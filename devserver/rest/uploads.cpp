#include "rest/uploads.h"

#include "base/text.h"

namespace devserver::rest {
namespace {

Upload require_upload(Context& context, const std::string& id, const Segment& segment) {
    auto upload = context.store.upload(id);
    if (!upload || upload->user != context.user.id)
        throw odata::invalid_argument("The upload session isn't known.");
    auto offset = parse_integer(segment.text("fileOffset", 1));
    if (!offset || *offset != upload->size)
        throw odata::invalid_argument("The file offset doesn't match the bytes that were received.");
    return *upload;
}

std::int64_t append(Context& context, const std::string& id, const Upload& upload) {
    std::int64_t added = 0;
    context.store.blobs().append(upload.blob, *context.request.body, added);
    context.store.advance_upload(id, upload.size + added);
    return upload.size + added;
}

}  // namespace

std::optional<Outcome> upload_operation(Context& context, const Segment& segment,
                                        const std::function<const Item&()>& file) {
    bool starts = segment.is("StartUpload"), goes_on = segment.is("ContinueUpload");
    bool finishes = segment.is("FinishUpload"), cancels = segment.is("CancelUpload");
    if (!starts && !goes_on && !finishes && !cancels) return std::nullopt;
    context.require_edit();
    auto id = to_lower(segment.text("uploadId", 0));
    if (cancels) {
        context.store.cancel_upload(id);
        return Outcome::done("CancelUpload");
    }
    if (starts) {
        const auto& item = file();
        context.store.require_writable(item, context.user);
        auto content = context.store.blobs().create();
        content->write_all(*context.request.body);
        auto size = content->size();
        context.store.start_upload(id, {item.id, context.user.id, content->keep(), size});
        return Outcome::of(Node::of(Value::int64(size)), "StartUpload");
    }
    auto upload = require_upload(context, id, segment);
    auto size = append(context, id, upload);
    if (goes_on) return Outcome::of(Node::of(Value::int64(size)), "ContinueUpload");
    auto finished = context.store.finish_upload(id, context.user);
    return Outcome::of(Node::of(file_entity(context, std::make_shared<Item>(finished))), "FinishUpload");
}

}  // namespace devserver::rest
