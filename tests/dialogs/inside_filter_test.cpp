// File types: the combo box, typed names, the filters of the host, and the host's wishes as settings.
#include <gtest/gtest.h>

#include <map>

#include "browse/list/names_filter.h"
#include "dialogs/dialog_parameters.h"
#include "host/base/text.h"
#include "host/dialogs/controls.h"
#include "host/profile/settings_tree.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/plugin/forwarding_host.h"

namespace dialogs {

namespace {

using host::ToUtf8;

// A combo box in no window.
class Filter : public ::testing::Test, public host::ControlOwner {
protected:
    void OnNotify(host::Control&, TMK::UIX_ControlAction) override {}
    void OnChange(host::Control&, host::ControlChange) override {}
    const host::Catalogue& catalogue() const override { return m_catalogue; }
    HWND handle() const override { return nullptr; }
    ComPtr<TMK::IUIX_Obj> Object() override { return nullptr; }

    std::string Items() {
        std::string texts;
        for (const auto& item : m_combo->items()) texts += (texts.empty() ? "" : ",") + ToUtf8(item.text);
        return texts;
    }

    host::Catalogue m_catalogue;
    ComPtr<host::ComboControl> m_combo =
        host::Make<host::ComboControl>(static_cast<host::ControlOwner&>(*this), host::ControlTemplate(), 1u);
    FilesExtensionFilter m_filter{nullptr, m_combo.get()};
};

TEST_F(Filter, ReadsTheListUpToItsFirstFlaw) {
    const std::pair<const char16_t*, const char*> rows[] = {{u"PDF|*.pdf|Word|*.doc;*.docx|", "PDF,Word"},
                                                            {u"PDF|*.pdf|Word|*.doc", "PDF"},
                                                            {u"PDF|*.pdf||*.doc|", "PDF"},
                                                            {u"PDF||Word|*.doc|", ""},
                                                            {u"PDF", ""},
                                                            {u"", ""},
                                                            {u"All|*|", "All"}};
    for (const auto& [text, items] : rows) {
        m_filter.SetFilter(text);
        EXPECT_EQ(Items(), items) << ToUtf8(text);
        EXPECT_EQ(m_combo->selected(), *items ? 0 : -1) << ToUtf8(text);
    }
}

TEST_F(Filter, PassesTheSelectedExtensions) {
    m_filter.SetFilter(u"Word|*.doc;docx|All|*.pdf;*.*|None|*.|");
    EXPECT_TRUE(m_filter.IsValidTitle(u"a.b.DOCX"));
    EXPECT_FALSE(m_filter.IsValidTitle(u"doc"));
    EXPECT_FALSE(m_filter.IsValidTitle(u"a.pdf"));
    m_combo->put_SelItem(1);
    EXPECT_TRUE(m_filter.IsValidTitle(u"anything"));
    m_combo->put_SelItem(-1);
    EXPECT_TRUE(m_filter.IsValidTitle(u"anything"));
}

struct NameRow {
    const char16_t* name;
    LONG selected;
    const char16_t* default_extension;
    const char16_t* expected;
};

TEST_F(Filter, CompletesNames) {
    m_filter.SetFilter(u"PDF|*.pdf;*.fdf|Word|*.doc;*.docx|All|*.*|Bare|*.;*.x|");
    const NameRow rows[] = {
        {u"report", 0, u"", u"report.pdf"},
        {u"report", 3, u"", u"report"},
        {u"report", 2, u"txt", u"report.txt"},
        {u"report", -1, u"txt", u"report.txt"},
        {u"report", 2, u"", u"report"},
        {u"a.b", 2, u"txt", u"a.b"},
        {u"report.PDF", 0, u"", u"report.PDF"},
        {u"report.fdf", 0, u"", u"report.fdf"},
        {u"report.docx", 0, u"", u"report.pdf"},
        {u"a.DOC", 0, u"", u"a.pdf"},
        {u"a.b", 0, u"", u"a.b.pdf"},
        {u"a.b c", 0, u"", u"a.b c.pdf"},
        {u".pdf", 1, u"", u".doc"},
    };
    for (const NameRow& row : rows) {
        m_combo->put_SelItem(row.selected);
        std::u16string name = row.name;
        const bool changed = m_filter.AddFilterExtension(name, row.default_extension);
        EXPECT_EQ(ToUtf8(name), ToUtf8(row.expected)) << ToUtf8(row.name) << row.selected;
        EXPECT_EQ(changed, name != row.name) << ToUtf8(row.name);
    }
}

// A host with filters of its own.
class Kinds final : public testing_support::ForwardingHost {
public:
    Kinds() : ForwardingHost(nullptr) {}
    HRESULT GetFileFilter(LPCWSTR key, DWORD form, BSTR* out_filter) override {
        const auto found = texts.find(std::u16string(key) + (form == 0 ? u"0" : u"1"));
        *out_filter = Bstr(found == texts.end() ? std::u16string() : found->second).detach();
        return S_OK;
    }
    std::map<std::u16string, std::u16string> texts;
};

TEST(FilterText, OffersNoKindsOfOtherPrograms) {
    Kinds kinds;
    kinds.texts = {
        {u"<pdf>1", u"PDF|*.pdf||"},
        {u"<pdf>0", u"PDF|*.pdf|"},
        {u"<all>1", u"All|*.*|"},
        {u"<allSupp>1",
         u"Supported|*.doc;*.docx;*.xls;*.pdf;*.txt|Word|*.doc;*.docx|Excel|*.xls|PDF|*.pdf|Text|*.txt|"},
        {u"<doc>0", u"Word|*.doc;*.docx||"},
        {u"<xls>0", u"Excel|*.xls|"}};
    EXPECT_EQ(ToUtf8(MakeFilterText(kinds, true)), "PDF|*.pdf|Supported|*.pdf;*.txt|Text|*.txt|All|*.*|");
    EXPECT_EQ(ToUtf8(MakeFilterText(kinds, false)), "PDF|*.pdf|All|*.*|");
}

// Missing items, items of other types and objects of another kind are as if there were none.
TEST(DialogParameters, ReadWhatFits) {
    constexpr std::string_view kShape = R"(<CabTemplate><ItemSet id="D"><Item id="Flags" type="String"/>
<Item id="Title" type="Int"/><Item id="FileFilterIndex" type="Int"/><Item id="DefaultExt" type="String"/>
<Item id="Foreign" type="String"/><Item id="InitialPathName" type="IUnknown"/>
<Item id="SettingsBtnCallbacks" type="String"/></ItemSet><Root id="R" itemSet="D"/></CabTemplate>)";
    const auto tree = std::make_shared<host::SettingsTree>();
    const auto cab = tree->View();
    ASSERT_EQ(cab->SetTemplate2(kShape.data(), static_cast<LONG>(kShape.size()), u"R"), S_OK);
    const auto put = [&](LPCWSTR id, const VARIANT& value) {
        EXPECT_EQ(host::ChildOf(cab.get(), id)->put_v(value), S_OK);
    };
    put(u"Flags", Variant(u"four"));
    put(u"Title", Variant(LONG{7}));
    put(u"FileFilterIndex", Variant(LONG{-1}));
    put(u"DefaultExt", Variant(u"pdf"));
    const auto foreign = std::make_shared<host::SettingsTree>();
    put(u"InitialPathName", Variant(static_cast<IUnknown*>(foreign->View().get())));
    Ui::DialogParameters parameters;
    parameters.m_title = u"old";
    ASSERT_EQ(parameters.LoadFromCab(cab.get()), S_OK);
    EXPECT_EQ(parameters.m_flags, 0u);
    EXPECT_EQ(parameters.m_title, u"");
    EXPECT_EQ(parameters.m_file_filter_index, -1);
    EXPECT_EQ(parameters.m_default_ext, u"pdf");
    EXPECT_FALSE(parameters.m_initial_path_name);
    EXPECT_FALSE(parameters.m_settings_btn_callbacks);
    parameters.m_file_filter_index = 3;
    parameters.m_default_ext = u"changed";
    ASSERT_EQ(parameters.SaveToCab(cab.get()), S_OK);
    ASSERT_EQ(parameters.LoadFromCab(cab.get()), S_OK);
    EXPECT_EQ(parameters.m_file_filter_index, 3);
    EXPECT_EQ(parameters.m_default_ext, u"pdf") << "nothing else goes back";
}

}  // namespace

}  // namespace dialogs
