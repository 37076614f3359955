// Questions to the environment variables. Any thread.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <string_view>

namespace host {

// Whether one of the variables has a value that isn't empty.
bool IsAnySet(std::initializer_list<const char*> variables);

// Whether requests may go through a proxy.
bool IsProxySet();

// A file in the folder of the running program, whatever link it was called by.
std::filesystem::path BesideProgram(std::string_view name);

// The program that shows sign-in pages: SPHOST_BROWSER, or the one beside this program.
std::filesystem::path BrowserProgramPath();

}  // namespace host
