// What earlier runs left unsent: compared with the server, and sent. The thread of the job.
#pragma once

#include "host/cache/cache_store.h"
#include "host/jobs/job.h"

namespace host {

// The server's version, compared with the one that the local copy is based on.
enum class ServerVersion { same, newer, gone, unknown };
struct Comparison {
    ServerVersion server;
    bool is_same_size = false;  // as what waits
};
Comparison CompareWithServer(Job& job, const UnsentDocument& document, const std::string& what);

// Whether the server holds what waits: the upload was taken, and only its answer got lost.
bool IsOnServer(Job& job, const UnsentDocument& document, const std::string& what);

// Sends what waits over the server's version, and makes the document again when it is gone. The file is still
// open, for what follows a save.
ComPtr<TMK::IAFS_File> Upload(Job& job, const UnsentDocument& document, ServerVersion server,
                              const std::string& what);

}  // namespace host
