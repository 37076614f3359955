// What the server refuses for its size.
// Owner: app/options; read everywhere, any thread.
#pragma once

namespace devserver {

struct Limits {
    int list_threshold = 0;  // entries of a folder that a listing without pages may have; 0 for any
    int max_url = 0;         // characters of a path; 0 for any
};

}  // namespace devserver
