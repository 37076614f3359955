// What the plug-in tells a host while it starts, and a host that lacks something.
#include <gtest/gtest.h>

#include "host/base/host_objects.h"
#include "host/base/object.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/plugin/forwarding_host.h"

namespace interfaces {

namespace {

using Sizes = std::vector<std::pair<UINT, UINT>>;

class LackingHost final : public ForwardingHost {
public:
    LackingHost(TMK::ITMK_Inst* whole, std::u16string missing)
        : ForwardingHost(whole), m_missing(std::move(missing)) {}

    HRESULT GetExtension(LPCWSTR id, IUnknown** out_extension) override {
        if (id != m_missing) return ForwardingHost::GetExtension(id, out_extension);
        *out_extension = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT GetPluginSettings(TMK::ITMK_Plugin*, VARIANT_BOOL, TMK::ITMK_Cab**) override { return E_NOTIMPL; }

private:
    std::u16string m_missing;
};

// Notes the sizes of the images that an icon is made of.
class RecordingIcon final : public cCoClassUnknownT<RecordingIcon, TMK::IUIX_MultiSizeIcon> {
public:
    RecordingIcon(ComPtr<TMK::IUIX_MultiSizeIcon> base, Sizes& sizes)
        : m_base(std::move(base)), m_sizes(sizes) {}

    HRESULT AddImage(TMK::IUIX_Image* image) override {
        auto& [width, height] = m_sizes.emplace_back();
        image->get_Size(&width, &height);
        return m_base->AddImage(image);
    }
    HRESULT Finish(TMK::IUIX_Icon** out_icon) override { return m_base->Finish(out_icon); }

private:
    ComPtr<TMK::IUIX_MultiSizeIcon> m_base;
    Sizes& m_sizes;
};

class RecordingInterface final : public cCoClassUnknownT<RecordingInterface, TMK::IUIX_Inst> {
public:
    RecordingInterface(ComPtr<TMK::IUIX_Inst> base, Sizes& sizes) : m_base(std::move(base)), m_sizes(sizes) {}

    HRESULT CreateMultiSizeIcon(TMK::IUIX_MultiSizeIcon** out_icon) override {
        ComPtr<TMK::IUIX_MultiSizeIcon> icon;
        const HRESULT result = m_base->CreateMultiSizeIcon(icon.put());
        *out_icon = MakeObject<RecordingIcon>(std::move(icon), m_sizes).detach();
        return result;
    }
    HRESULT CreateImage(IStream* stream, TMK::IUIX_Image** out_image) override {
        return m_base->CreateImage(stream, out_image);
    }
    HRESULT CreateObj(const TMK::UIX_CreateObjParams* parameters, TMK::IUIX_Obj** out_object) override {
        return m_base->CreateObj(parameters, out_object);
    }
    HRESULT get_CmdManager(TMK::IUIX_CmdManager** out) override { return m_base->get_CmdManager(out); }
    HRESULT get_ImageExt(TMK::IRGC_Inst** out) override { return m_base->get_ImageExt(out); }
    HRESULT get_Theme(TMK::IUIX_Theme** out) override { return m_base->get_Theme(out); }
    HRESULT CreateCmdBar(TMK::IUIX_Obj* parent, const RECT* rectangle, LPCWSTR a, LPCWSTR b, DWORD style,
                         TMK::IUIX_CmdBar** out) override {
        return m_base->CreateCmdBar(parent, rectangle, a, b, style, out);
    }
    HRESULT GetIcon(BSTR name, TMK::IUIX_Icon** out) override { return m_base->GetIcon(name, out); }
    HRESULT CreateFileTypeIcon(LPWSTR extension, DWORD flags, TMK::IUIX_Icon** out) override {
        return m_base->CreateFileTypeIcon(extension, flags, out);
    }

private:
    ComPtr<TMK::IUIX_Inst> m_base;
    Sizes& m_sizes;
};

struct InfoBar {
    std::u16string id, title, description;
    DWORD priority = 0, colour = 0;
    TMK::IUIX_Icon* icon = nullptr;
    UINT images = 0;
};

class RecordingHost final : public ForwardingHost {
public:
    explicit RecordingHost(TMK::ITMK_Inst* base) : ForwardingHost(base) {}

    HRESULT GetExtension(LPCWSTR id, IUnknown** out_extension) override {
        if (std::u16string_view(id) != u"UIX") return ForwardingHost::GetExtension(id, out_extension);
        ComPtr<TMK::IUIX_Inst> base;
        const HRESULT result = ForwardingHost::GetExtension(id, reinterpret_cast<IUnknown**>(base.put()));
        *out_extension = MakeObject<RecordingInterface>(std::move(base), image_sizes).detach();
        return result;
    }
    HRESULT Str2ID(LPCWSTR name, VARIANT_BOOL create, DWORD* out_id) override {
        const HRESULT result = ForwardingHost::Str2ID(name, create, out_id);
        if (create != VARIANT_FALSE) made_ids[name] = *out_id;
        return result;
    }
    HRESULT RegisterInfoBarType(LPCWSTR id, LPCWSTR title, LPCWSTR description, DWORD priority, DWORD colour,
                                TMK::IUIX_Icon* icon) override {
        InfoBar& bar = info_bars.emplace_back(InfoBar{id, title, description, priority, colour, icon});
        if (icon) icon->get_ImagesCount(&bar.images);
        return S_OK;
    }

    Sizes image_sizes;
    std::map<std::u16string, DWORD> made_ids;
    std::vector<InfoBar> info_bars;
};

TEST(SetUp, FailsWithoutOneOfItsExtensionsAndLetsGoOfTheRest) {
    {
        InsideHost inside;
        for (const char16_t* missing : {u"AFS", u"AUX", u"UIX"}) {
            const auto instance = MakeObject<LackingHost>(inside.host().instance(), missing);
            const auto plugin = MakeObject<Plugin>();
            EXPECT_EQ(plugin->Setup(instance.get()), E_NOINTERFACE);
            EXPECT_EQ(plugin->Init(), E_NOTIMPL) << "the host's failure is the plug-in's";
            EXPECT_EQ(plugin->Unload(), S_OK);
        }
    }
    EXPECT_EQ(host::LiveObjects(), 0);
}

TEST(SetUp, GivesTheHostItsIconAndItsInformationBar) {
    InsideHost inside;
    const auto host = MakeObject<RecordingHost>(inside.host().instance());
    const auto plugin = MakeObject<Plugin>();
    ASSERT_EQ(plugin->Setup(host.get()), S_OK);
    EXPECT_EQ(host->image_sizes, (Sizes{{16, 16}, {24, 24}, {32, 32}, {48, 48}}));
    ASSERT_EQ(plugin->FinalizeRegistering(), S_OK);
    ASSERT_EQ(host->info_bars.size(), 1u);
    const InfoBar& bar = host->info_bars[0];
    EXPECT_EQ(bar.id, u"ibar.sharepoint");
    EXPECT_EQ(bar.title, u"$$$.sp.ibar.sharepoint.title");
    EXPECT_EQ(bar.description, u"$$$.sp.ibar.sharepoint.description");
    EXPECT_EQ(bar.priority, 100u);
    EXPECT_EQ(bar.colour, 0xF1C281u);
    EXPECT_EQ(bar.images, 4u);
    EXPECT_EQ(bar.icon, plugin->m_icon.get()) << "the information bar shows the plug-in's own icon";
    ASSERT_TRUE(host->made_ids.contains(u"ibar.sharepoint"));
    EXPECT_EQ(plugin->m_info_bar_id, host->made_ids[u"ibar.sharepoint"]);
    EXPECT_EQ(plugin->Unload(), S_OK);
}

}  // namespace

}  // namespace interfaces
