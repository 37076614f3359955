// The exported function, and what the plug-in says of itself before Setup.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace interfaces {

namespace {

class Library {
public:
    Library() : m_handle(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL)) {
        if (m_handle) get_plugin = reinterpret_cast<TMK::TMKE_GetPluginFn>(dlsym(m_handle, "TMKE_GetPlugin"));
        if (!get_plugin) throw std::runtime_error("the library has no plug-in");
    }
    ~Library() { dlclose(m_handle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    TMK::TMKE_GetPluginFn get_plugin = nullptr;

private:
    void* m_handle;
};

TEST(LoadedPlugIn, SaysWhatItIsAndRefusesWhatItLacks) {
    const Library library;
    EXPECT_EQ(library.get_plugin(nullptr), E_POINTER);
    ComPtr<TMK::ITMK_Plugin> plugin;
    ASSERT_EQ(library.get_plugin(plugin.put()), S_OK);
    GUID id{};
    DWORD number = 7;
    Bstr text;
    EXPECT_EQ(plugin->get__GUID(&id), S_OK);
    EXPECT_TRUE((id == GUID{0x666BE179, 0xFF02, 0x4C8B, {0x96, 0x90, 0x04, 0x1D, 0xA9, 0x18, 0x76, 0xE1}}));
    EXPECT_EQ(plugin->get_version(&number), S_OK);
    EXPECT_EQ(number, 0x000A0002u);
    EXPECT_EQ(plugin->get_VendorID(&number), S_OK);
    EXPECT_EQ(number, 0u);
    EXPECT_EQ(plugin->get_Features(&number), S_OK);
    EXPECT_EQ(number, 0u);
    EXPECT_EQ(plugin->get_Name(text.put()), S_OK);
    EXPECT_EQ(text.str(), u"SharePoint");
    EXPECT_EQ(plugin->get_Publisher(text.put()), S_OK);
    EXPECT_EQ(text.str(), u"Tessmark Co Ltd.");
    EXPECT_EQ(plugin->get_Description(text.put()), S_OK);
    EXPECT_EQ(text.str(),
              u"SharePoint plugin allows users work with in files located in Sharepoint servers.");
    EXPECT_EQ(plugin->get_CopyrightInfo(text.put()), S_OK);
    const std::u16string notice = text.str();
    EXPECT_EQ(std::count(notice.begin(), notice.end(), u'\n'), 1);
    EXPECT_EQ(plugin->get_LegalInfo(text.put()), S_OK);
    EXPECT_NE(text.str(), notice);
    EXPECT_EQ(plugin->get__GUID(nullptr), E_POINTER);
    EXPECT_EQ(plugin->get_version(nullptr), E_POINTER);
    EXPECT_EQ(plugin->get_VendorID(nullptr), E_POINTER);
    EXPECT_EQ(plugin->get_Features(nullptr), E_POINTER);
    for (auto getter :
         {&TMK::ITMK_Plugin::get_Name, &TMK::ITMK_Plugin::get_Publisher, &TMK::ITMK_Plugin::get_Description,
          &TMK::ITMK_Plugin::get_CopyrightInfo, &TMK::ITMK_Plugin::get_LegalInfo})
        EXPECT_EQ((plugin.get()->*getter)(nullptr), E_POINTER);
    EXPECT_EQ(plugin->ShowPrefsDlg(nullptr), E_NOTIMPL);
    EXPECT_EQ(plugin->ImportAdditionalData(nullptr), E_NOTIMPL);
    EXPECT_EQ(plugin->ExportAdditionalData(nullptr), E_NOTIMPL);
    EXPECT_EQ(plugin->ResetSettings(), S_OK);
    EXPECT_EQ(plugin->Setup(nullptr), E_INVALIDARG);
    EXPECT_EQ(plugin->Unload(), S_OK);
}

}  // namespace

}  // namespace interfaces
