#include "afs/document/upload_check.h"

#include <gtest/gtest.h>

#include "tests/support/row_name.h"

namespace Afs {

namespace {

// A version of the document; the one before an upload is `Shown()` as it stands.
struct Shown {
    uint64_t time = 100;
    uint64_t size = 5;
    std::u16string holder = u"i:0#.w|d\\alice";
    std::u16string author = {};
    std::u16string content = {};
    std::u16string entity = {};
};

SharePoint::Information Record(const Shown& shown) {
    SharePoint::Information record;
    record.m_modified_time = shown.time;
    record.m_size = shown.size;
    record.m_checkout_user = shown.holder;
    record.m_modified_by = shown.author;
    record.m_tags = {shown.content, shown.entity};
    return record;
}

struct Row {
    std::string what;
    Shown before = {};
    Shown now;
    std::u16string answered = {};
    UploadOutcome outcome;

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.what; }
};

// All uploads have 5 bytes.
const Row kRows[] = {
    {.what = "a later time", .now = {.time = 101}, .outcome = UploadOutcome::own},
    {.what = "an earlier time", .now = {.time = 99}, .outcome = UploadOutcome::own},
    {.what = "another size", .now = {.time = 101, .size = 6}, .outcome = UploadOutcome::of_somebody_else},
    {.what = "nobody holds it any more",
     .now = {.time = 101, .holder = {}},
     .outcome = UploadOutcome::of_somebody_else},
    {.what = "another author",
     .now = {.time = 101, .author = u"d\\bob"},
     .outcome = UploadOutcome::of_somebody_else},
    {.what = "the holder is the author",
     .now = {.time = 101, .author = u"D\\Alice"},
     .outcome = UploadOutcome::own},
    {.what = "the tag of the answer",
     .now = {.time = 101, .entity = u"\"{1},2\""},
     .answered = u"W/\"{1},2\"",
     .outcome = UploadOutcome::own},
    {.what = "another tag than the answer's",
     .now = {.time = 101, .entity = u"\"{1},3\""},
     .answered = u"\"{1},2\"",
     .outcome = UploadOutcome::of_somebody_else},
    {.what = "the same second, another tag",
     .before = {.entity = u"\"1\""},
     .now = {.entity = u"\"2\""},
     .outcome = UploadOutcome::own},
    {.what = "nothing has changed, another size was sent",
     .before = {.size = 7},
     .now = {.size = 7},
     .outcome = UploadOutcome::not_taken},
    {.what = "nothing has changed, nor has the tag",
     .before = {.content = u"{1},1"},
     .now = {.content = u"{1},1"},
     .outcome = UploadOutcome::same_tags},
    {.what = "nothing has changed, no tags", .now = {}, .outcome = UploadOutcome::same_time},
};

class UploadCheck : public ::testing::TestWithParam<Row> {};

TEST_P(UploadCheck, TellsOnesOwnVersion) {
    const Row& row = GetParam();
    EXPECT_EQ(JudgeUpload({Record(row.before), 5, row.answered}, Record(row.now)), row.outcome);
}

INSTANTIATE_TEST_SUITE_P(Upload, UploadCheck, ::testing::ValuesIn(kRows), testing_support::RowName());

}  // namespace

}  // namespace Afs
