// What a person is told of a sign-in that went wrong below the calls of platform/wininet.h. Any thread.
#pragma once

#include <functional>
#include <string>

namespace platform {

// For a program: takes one sentence a failure, on the thread where it happens; null takes none. Sentences
// from a library that the program has loaded come here, too. Each is told once.
void SetSignInNotes(std::function<void(const std::string& sentence)> take);

// For the internet layer.
void NoteSignIn(const std::string& sentence);

}  // namespace platform
