// checkout, checkin and discard: the document's workflow on the server.
// The command's worker thread.
#include <array>

#include "host/cli/commands/commands.h"
#include "host/jobs/address.h"
#include "host/jobs/error_text.h"

namespace cli {

namespace {

bool IsCheckedOutToUser(Run& run, TMK::IAFS_File* file, const std::string& what) {
    Variant value;
    run.Check(file->get_Prop(u"CheckedOut", value.put()), what);
    return value.type() == VT_BOOL && value.get().boolVal != VARIANT_FALSE;
}

void RequireCheckedOutToUser(Run& run, TMK::IAFS_File* file, const std::string& what) {
    if (!IsCheckedOutToUser(run, file, what))
        run.Fail(E_FAIL, what, "the document is not checked out to you");
}

}  // namespace

ComPtr<TMK::IAFS_File> OpenToAsk(Run& run, const std::string& what) {
    const auto name = run.NameFor(run.Address(), what);
    if (host::IsFolder(run.InfoOf(name.get(), what).get()))
        run.Fail(E_INVALIDARG, what, "this is a folder, not a document");
    auto file = run.Open(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, what);
    run.host().TakeMessage();
    return file;
}

host::PromptAnswer CheckInAnswer(const Options& options, const char* type_option, const char* button) {
    static constexpr std::array<std::string_view, 3> kTypes{"minor", "major", "overwrite"};
    host::PromptAnswer answer;
    answer.button = button;
    if (const auto type = options.Value(type_option)) {
        for (unsigned i = 0; i < kTypes.size(); ++i) {
            if (kTypes[i] == *type) answer.radio = i;
        }
        if (!answer.radio) throw UsageError("a check-in is minor, major or overwrite, not '" + *type + "'");
        answer.text = "";
    }
    if (const auto comment = options.Value("comment")) answer.text = *comment;
    return answer;
}

// A refused check-out: nothing to do for the holder; others hear who holds the document.
void ExplainCheckOut(Run& run, const std::string& what, CommandError error) {
    const auto name = run.NameFor(run.Address(), what);
    if (error.code == host::kCanceled || !run.FindInfo(name.get(), what)) throw error;
    if (run.IsCheckedOutToUser(name.get(), what)) {
        run.Say("already checked out to you");
        return;
    }
    const std::string holder = run.TextOf(name.get(), u"CheckedOutTo");
    if (holder.empty()) throw error;
    run.Fail(error.code, what,
             "checked out to " + host::PersonOf(holder) + "; ask for a check-in, or try again later");
}

void CheckOut(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    try {
        const auto file = OpenToAsk(run, what);
        run.Exec(file.get(), u"CheckOut", what);
        run.Say("checked out");
    } catch (const CommandError& error) {
        ExplainCheckOut(run, what, error);
    }
}

// A check-in that failed for required columns says which.
void NameMissingFields(Run& run, TMK::IAFS_File* file, const std::string& what, CommandError& error) {
    if (error.code != E_FAIL) return;
    try {
        const std::string missing = MissingFields(run, file, run.options().arguments[0], what);
        if (!missing.empty()) error.message = missing;
    } catch (const CommandError&) {
        // The server doesn't tell its columns; the first failure says all that is known.
    }
}

void CheckIn(Run& run) {
    const Options& options = run.options();
    const std::string what = What(options, options.arguments[0]);
    const bool keep = options.Has("keep");
    const auto answer = CheckInAnswer(options, "type", keep ? "btn.checkInAndKeepCkeckedOut" : "btn.checkIn");
    const bool has_own_options = options.Has("type") || options.Has("comment") || keep;
    const bool has_scripted_answer = !options.answers.empty();
    const auto file = OpenToAsk(run, what);
    RequireCheckedOutToUser(run, file.get(), what);
    // Without options a person is asked, and a script uses the preferences.
    if (has_own_options || (!has_scripted_answer && !run.host().front_end().CanAsk())) {
        run.host().prompts().AddAnswer("msg.checkInDialogMessage", answer);
    }
    SetFields(run, file.get(), options.All("set"), what);
    try {
        run.Exec(file.get(), u"CheckInWithUi", what);
    } catch (CommandError& error) {
        NameMissingFields(run, file.get(), what, error);
        throw;
    }
    const auto asked = run.host().prompts().LastOutcome("msg.checkInDialogMessage");
    if (asked && asked->is_canceled)
        run.Fail(host::kCanceled, what, "cancelled; the document is still checked out to you");
    const bool is_out = IsCheckedOutToUser(run, file.get(), what);
    if (is_out && has_own_options && !keep)
        run.Fail(E_FAIL, what, "the document is still checked out to you");
    run.Say(is_out ? "still checked out to you" : "checked in");
}

void Discard(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const auto file = OpenToAsk(run, what);
    RequireCheckedOutToUser(run, file.get(), what);
    run.Exec(file.get(), u"DiscardCheckOut", what);
    run.Say("check-out given up");
}

}  // namespace cli
