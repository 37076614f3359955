#include "browse/recent_folders.h"

#include <vector>

#include "base/plugin_context.h"
#include "base/settings_access.h"
#include "base/url.h"

namespace {

constexpr size_t kMostFolders = 10;

struct RecentFolder {
    std::u16string web_url;
    std::u16string folder_url;
};

Settings::Node GetList(PluginContext& plugin) {
    ComPtr<TMK::ITMK_Cab> settings;
    if (!plugin.m_tmk_inst ||
        FAILED(plugin.m_tmk_inst->GetPluginSettings(&plugin, VARIANT_TRUE, settings.put())))
        return {};
    const Settings::Node dialog =
        Settings::GetChild(Settings::GetRoot(settings.get()).get(), u"OpenSaveDialog");
    return Settings::GetChild(dialog.get(), u"RecentConnections");
}

UINT CountOf(const Settings::Node& list) {
    UINT count = 0;
    if (list) list->get_Count(&count);
    return count;
}

std::vector<RecentFolder> Read(const Settings::Node& list) {
    std::vector<RecentFolder> folders;
    for (UINT index = 0; index < CountOf(list); ++index) {
        Settings::Node item;
        if (FAILED(list->get_ItemAt(index, item.put()))) continue;
        folders.push_back(
            {Settings::GetString(item.get(), u"WebUrl"), Settings::GetString(item.get(), u"FolderUrl")});
    }
    return folders;
}

void Write(const Settings::Node& list, const std::vector<RecentFolder>& folders) {
    while (CountOf(list) > folders.size())
        if (FAILED(list->RemoveAt(CountOf(list) - 1))) return;
    for (UINT index = 0; index < folders.size(); ++index) {
        Settings::Node item;
        const HRESULT result =
            index < CountOf(list) ? list->get_ItemAt(index, item.put()) : list->Append(item.put());
        if (FAILED(result)) return;
        Settings::SetString(item.get(), u"WebUrl", folders[index].web_url);
        Settings::SetString(item.get(), u"FolderUrl", folders[index].folder_url);
    }
}

bool IsOf(const RecentFolder& folder, const std::u16string& web_url) {
    return CompareUrls(folder.web_url, web_url) == CompareUrlsResult::equal;
}

}  // namespace

std::u16string GetRecentFolder(PluginContext& plugin, const std::u16string& web_url) {
    for (const RecentFolder& folder : Read(GetList(plugin)))
        if (IsOf(folder, web_url)) return folder.folder_url;
    return {};
}

void RememberFolder(PluginContext& plugin, const std::u16string& web_url, const std::u16string& folder_url) {
    const Settings::Node list = GetList(plugin);
    if (!list) return;
    std::vector<RecentFolder> folders = Read(list);
    std::erase_if(folders, [&](const RecentFolder& folder) { return IsOf(folder, web_url); });
    folders.insert(folders.begin(), {web_url, folder_url});
    if (folders.size() > kMostFolders) folders.resize(kMostFolders);
    Write(list, folders);
}
