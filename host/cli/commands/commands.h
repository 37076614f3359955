// Every command of sphost by its name. The command's worker thread.
#pragma once

#include "host/cache/upkeep.h"
#include "host/cli/run/run.h"

namespace cli {

void PlaceAdd(Run& run);
void PlaceList(Run& run);
void PlaceRemove(Run& run);
void SignOut(Run& run);
void Detect(Run& run);
void List(Run& run);
void Stat(Run& run);
void Get(Run& run);
void Put(Run& run);
void Edit(Run& run);
void CheckOut(Run& run);
void CheckIn(Run& run);
void Discard(Run& run);
void Fields(Run& run);
void MakeFolder(Run& run);
void Remove(Run& run);
void Move(Run& run);
void Copy(Run& run);
void Rename(Run& run);
void Preferences(Run& run);
void Recover(Run& run);
void Cache(Run& run);

// The credentials of --user and --password-stdin. `place add` stores them in its new account instead.
std::optional<host::Credentials> GivenCredentials(const Options& options);

// Opens the document of the first argument for queries: no prompt, no download, and no close, which could
// give up a check-out.
ComPtr<TMK::IAFS_File> OpenToAsk(Run& run, const std::string& what);

// Fills the library columns that words such as NAME=value name. Throws a UsageError for other words.
void SetFields(Run& run, TMK::IAFS_File* file, const std::vector<std::string>& assignments,
               const std::string& what);

// Which required columns are empty, by their titles, and the command that fills them; or empty.
std::string MissingFields(Run& run, TMK::IAFS_File* file, const std::string& url, const std::string& what);

// What follows a save: the after-save step and the close.
void FinishSave(Run& run, TMK::IAFS_File* file, const std::string& what);

// "saved", or how the document was checked in as well.
std::string SavedText(Run& run);

// Says in the error of a failed save that the document is checked out, if it is, and how that ends.
void AddCheckOutHint(Run& run, TMK::IAFS_File* file, const std::string& url, CommandError& error);

// Throws a CommandError where the folder of a new item is missing and --parents doesn't allow to make it.
void RequireParent(Run& run, const std::u16string& url, const std::string& what);

// Which local copy stays although it should go, and until when.
std::string WhyItStays(const host::LocalCopy& copy);

// The answer to the check-in prompt from --type, --check-in and --comment.
host::PromptAnswer CheckInAnswer(const Options& options, const char* type_option, const char* button);

}  // namespace cli
