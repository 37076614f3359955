#include "tests/dialogs/dialog_driver.h"

#include "host/base/text.h"
#include "host/base/variants.h"

namespace dialogs {

using host::ToUtf16;
using host::ToUtf8;

namespace {

constexpr std::string_view kTemplate = R"(<CabTemplate><ItemSet id="D">
<Item id="Flags" type="Int"/><Item id="Title" type="String"/><Item id="ActionBtnTitle" type="String"/>
<Item id="CancelBtnTitle" type="String"/><Item id="SettingsBtnTitle" type="String"/>
<Item id="FileFilters" type="String"/><Item id="FileFilterIndex" type="Int"/>
<Item id="DefaultExt" type="String"/><Item id="InitialPathName" type="IUnknown"/>
<Item id="InitialFileName" type="String"/><Item id="SettingsBtnCallbacks" type="IUnknown"/>
</ItemSet><Root id="R" itemSet="D"/></CabTemplate>)";

void Put(TMK::ITMK_Cab* cab, LPCWSTR id, const VARIANT& value) {
    const auto item = host::ChildOf(cab, id);
    Require(item ? item->put_v(value) : E_FAIL, "the item " + ToUtf8(id));
}

void Put(TMK::ITMK_Cab* cab, LPCWSTR id, const std::string& text) {
    if (!text.empty()) Put(cab, id, Variant(std::u16string_view(ToUtf16(text))));
}

}  // namespace

Driver::Driver(const DevServer& server, const std::string& user,
               const interfaces::PreferenceValues& preferences)
    : Editor(server, user, preferences) {}

void Driver::Then(const std::string& what, Action action) {
    ThenWhen(what, IsUsable, std::move(action));
}

void Driver::ThenWhen(const std::string& what, host::testing::ScriptedDialogs::Condition condition,
                      Action action) {
    front_end().dialogs.Then(what, std::move(condition), std::move(action));
}

Outcome Driver::Show(DWORD type, const Wishes& wishes) {
    ComPtr<TMK::IAFS_DlgParams> parameters;
    Require(file_system()->CreateDlgParams(type, 0, parameters.put()), "the parameters of a dialog");
    ComPtr<TMK::ITMK_Cab> cab;
    Require(parameters->get_Settings(cab.put()), "the settings of a dialog");
    Require(cab->SetTemplate2(kTemplate.data(), static_cast<LONG>(kTemplate.size()), u"R"), "the template");
    const ComPtr<TMK::IAFS_Name> folder =
        wishes.from_site ? ComPtr<TMK::IAFS_Name>(root()) : Name(wishes.folder);
    if (!wishes.from_site) Put(cab.get(), u"InitialPathName", Variant(static_cast<IUnknown*>(folder.get())));
    if (wishes.settings_callbacks)
        Put(cab.get(), u"SettingsBtnCallbacks", Variant(wishes.settings_callbacks.get()));
    Put(cab.get(), u"InitialFileName", wishes.file_name);
    Put(cab.get(), u"FileFilters", wishes.filters);
    Put(cab.get(), u"FileFilterIndex", Variant(LONG{wishes.filter_index}));
    Put(cab.get(), u"DefaultExt", wishes.default_ext);
    Put(cab.get(), u"Flags", Variant(LONG{wishes.flags}));
    Put(cab.get(), u"Title", wishes.title);
    Put(cab.get(), u"ActionBtnTitle", wishes.action);
    Put(cab.get(), u"CancelBtnTitle", wishes.cancel);
    Put(cab.get(), u"SettingsBtnTitle", wishes.settings);
    Outcome outcome;
    ComPtr<TMK::IAFS_NamesCollection> names;
    outcome.result =
        file_system()->ShowDlg(type, folder.get(), parameters.get(), nullptr, names.put(), &outcome.choice);
    if (names) outcome.names = NamesOf(names.get());
    Variant index;
    host::ChildOf(cab.get(), u"FileFilterIndex")->get_v(index.put());
    outcome.filter_index = index.type() == VT_I4 ? index.lVal : -1000;
    EXPECT_TRUE(front_end().dialogs.IsDone()) << "steps are left";
    return outcome;
}

std::vector<std::string> Driver::NamesOf(TMK::IAFS_NamesCollection* names) {
    const std::u16string library = Url("");
    std::vector<std::string> found;
    UINT count = 0;
    names->get_Count(&count);
    for (UINT i = 0; i < count; ++i) {
        ComPtr<TMK::IAFS_Name> name;
        Bstr url;
        names->get_Item(i, name.put());
        Require(file_system()->NameToString(name.get(), 0, nullptr, url.put()), "the URL of a name");
        const std::u16string text = url.str();
        found.push_back(ToUtf8(text.starts_with(library) ? text.substr(library.size()) : text));
    }
    return found;
}

bool Driver::Command(DialogWindow& window, const std::string& name) {
    const auto command = host().workbench().commands().Find(ToUtf16("sp.cmd." + name));
    if (!command || !command->IsEnabled(window.Object().get())) return false;
    return command->Execute(window.Object().get()) == S_OK;
}

std::string Driver::Prompts() {
    std::string ids;
    for (const auto& prompt : TakePrompts()) ids += (ids.empty() ? "" : " ") + prompt.id;
    return ids;
}

host::ListControl& List(DialogWindow& window) {
    return *window.Find<host::ListControl>(u"lst.files");
}

bool IsUsable(DialogWindow& window) {
    return List(window).is_enabled();
}

bool IsEnabled(DialogWindow& window, std::u16string_view id) {
    return window.Find(id)->is_enabled();
}

std::string TextOf(DialogWindow& window, std::u16string_view id) {
    return ToUtf8(window.Find(id)->Text());
}

void Type(DialogWindow& window, const std::string& name) {
    window.Find<host::EditControl>(u"ed.name")->TypeText(ToUtf16(name));
}

void PressOk(DialogWindow& window) {
    EXPECT_EQ(window.Find<host::ButtonControl>(u"btn.ok")->Click(), S_OK) << "OK can't be pressed";
}

std::vector<std::string> Rows(DialogWindow& window) {
    std::vector<std::string> rows;
    const host::ListControl& list = List(window);
    for (LONG row = 0; row < list.RowCount(); ++row) {
        const std::string extension = ToUtf8(list.TextAt(row, 1).text);
        rows.push_back(ToUtf8(list.TextAt(row, 0).text) + (extension.empty() ? "" : "." + extension));
    }
    return rows;
}

LONG RowOf(DialogWindow& window, const std::string& wanted) {
    const std::vector<std::string> rows = Rows(window);
    const auto found = std::find(rows.begin(), rows.end(), wanted);
    EXPECT_NE(found, rows.end()) << wanted << " is not among " << ::testing::PrintToString(rows);
    return found == rows.end() ? -1 : static_cast<LONG>(found - rows.begin());
}

void Select(DialogWindow& window, const std::vector<std::string>& wanted) {
    std::vector<LONG> rows;
    for (const std::string& row : wanted) rows.push_back(RowOf(window, row));
    List(window).SelectRows(rows);
}

void DoubleClick(DialogWindow& window, const std::string& row) {
    List(window).DoubleClickRow(RowOf(window, row));
}

void PlaceDialogs::MakeFolder(const std::string& folder) {
    const auto name = driver().Name(folder);
    Require(driver().file_system()->CreateFolder(name.get(), 0, nullptr, nullptr), "making " + folder);
}

void PlaceDialogs::RemoveFolder(const std::string& folder) {
    const auto name = driver().Name(folder);
    Require(driver().file_system()->Delete(name.get(), nullptr, nullptr), "removing " + folder);
}

}  // namespace dialogs
