#include "platform/sign_in_notes.h"

#include <dlfcn.h>

#include <mutex>
#include <set>

namespace platform {

namespace {

struct Notes {
    std::mutex mutex;
    std::function<void(const std::string&)> take;
    std::set<std::string> told;
};

Notes& TheNotes() {
    static Notes notes;
    return notes;
}

}  // namespace

// The program exports it, for the libraries that have a copy of this code.
extern "C" __attribute__((visibility("default"))) void PlatformNoteSignIn(const char* sentence) {
    Notes& notes = TheNotes();
    const std::lock_guard lock(notes.mutex);
    if (notes.take && notes.told.insert(sentence).second) notes.take(sentence);
}

void SetSignInNotes(std::function<void(const std::string&)> take) {
    Notes& notes = TheNotes();
    const std::lock_guard lock(notes.mutex);
    notes.take = std::move(take);
    notes.told.clear();
}

void NoteSignIn(const std::string& sentence) {
    void* const of_program = dlsym(RTLD_DEFAULT, "PlatformNoteSignIn");
    const auto note =
        of_program ? reinterpret_cast<decltype(&PlatformNoteSignIn)>(of_program) : &PlatformNoteSignIn;
    note(sentence.c_str());
}

}  // namespace platform
