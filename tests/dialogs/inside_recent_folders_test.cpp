// The last folders of sites, as the settings keep them.
#include <gtest/gtest.h>

#include "browse/recent_folders.h"
#include "host/base/text.h"
#include "tests/interfaces/inside_host.h"

namespace dialogs {

namespace {

std::u16string Site(int number) {
    return u"https://host/sites/" + host::ToUtf16(std::to_string(number));
}

TEST(RecentFolders, AreTheNewestTenAndOneForEachSite) {
    interfaces::InsideHost inside;
    for (int i = 0; i < 12; ++i) RememberFolder(inside.plugin(), Site(i), Site(i) + u"/first #1");
    RememberFolder(inside.plugin(), Site(3) + u"/", Site(3) + u"/second");
    inside.Restart();
    EXPECT_EQ(GetRecentFolder(inside.plugin(), Site(0)), u"");
    EXPECT_EQ(GetRecentFolder(inside.plugin(), Site(1)), u"");
    EXPECT_EQ(GetRecentFolder(inside.plugin(), Site(2)), Site(2) + u"/first #1");
    EXPECT_EQ(GetRecentFolder(inside.plugin(), Site(3)), Site(3) + u"/second");
    EXPECT_EQ(GetRecentFolder(inside.plugin(), Site(11)), Site(11) + u"/first #1");
    const auto dialog = host::ChildOf(inside.host().PluginSettings().get(), u"OpenSaveDialog");
    ComPtr<TMK::ITMK_CabNode> list, newest, url;
    UINT count = 0;
    ASSERT_EQ(dialog->get_Item(u"RecentConnections", list.put()), S_OK);
    EXPECT_EQ(list->get_Count(&count), S_OK);
    EXPECT_EQ(count, 10u);
    ASSERT_EQ(list->get_ItemAt(0, newest.put()), S_OK);
    ASSERT_EQ(newest->get_Item(u"FolderUrl", url.put()), S_OK);
    EXPECT_EQ(host::StringOf(url.get()), Site(3) + u"/second");
}

}  // namespace

}  // namespace dialogs
