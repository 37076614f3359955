#include "app/seed.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace devserver {
namespace fs = std::filesystem;
namespace {

void CopyFile(Store& store, const fs::path& from, const std::string& to, const User& user) {
    auto content = store.blobs().Create();
    std::ifstream stream(from, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + from.string());
    std::vector<char> block(1 << 20);
    while (stream.read(block.data(), static_cast<std::streamsize>(block.size())), stream.gcount() > 0)
        content->Write(block.data(), static_cast<std::size_t>(stream.gcount()));
    struct stat information {};
    ::stat(from.c_str(), &information);
    store.AddPublished(to, std::move(content), information.st_mtime, user);
}

// Runs a step of the copying; the store's refusal of it names the file that was to be copied.
template <class Step>
void Named(const fs::path& from, Step step) {
    try {
        step();
    } catch (const StoreError& error) {
        throw std::runtime_error("--seed " + from.string() + " is refused: " + error.what());
    }
}

void CopyFolder(Store& store, const fs::path& from, const std::string& to, const User& user) {
    std::vector<fs::directory_entry> entries(fs::directory_iterator(from), fs::directory_iterator{});
    std::sort(entries.begin(), entries.end());
    for (const auto& entry : entries) {
        auto target = to + "/" + entry.path().filename().string();
        if (entry.is_directory()) {
            Named(entry, [&] { store.CreateFolder(target, user); });
            CopyFolder(store, entry.path(), target, user);
        } else if (entry.is_regular_file()) {
            Named(entry, [&] { CopyFile(store, entry.path(), target, user); });
        }
    }
}

}  // namespace

void Seed(Store& store, const Options& options) {
    if (store.IsSeeded()) return;
    // A refused seed leaves nothing, so that the next start begins it anew.
    Transaction transaction(store.database());
    auto user = store.UserByName(options.users[0].name).value();
    auto library = store.libraries(store.site().id).at(0);
    auto root = store.item(library.root_item)->path;
    if (!options.seed_folder.empty()) {
        if (!fs::is_directory(options.seed_folder))
            throw UsageError("--seed " + options.seed_folder + " isn't a folder");
        CopyFolder(store, options.seed_folder, root, user);
    }
    for (const auto& [name, count] : options.seed_counts) store.AddMany(root + "/" + name, count, user);
    store.SetSeeded();
    transaction.Commit();
}

}  // namespace devserver
