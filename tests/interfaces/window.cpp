#include "tests/interfaces/window.h"

#include <stdexcept>

#include "host/base/text.h"

namespace interfaces {

Window::Window(const DevServer& server, const std::string& user, const PreferenceValues& preferences,
               Layout layout)
    : Editor(server, user, preferences) {
    workbench().listeners().Add(*this);
    workbench().MakeView(layout);
    workbench().OpenedView();
}

Window::~Window() {
    while (!workbench().views().empty()) workbench().Close(*workbench().views().back());
    workbench().listeners().Remove(*this);
}

Tab Window::OpenTab(const std::string& document, DWORD flags) {
    const Opened opened = Open(document, flags);
    if (FAILED(opened.result)) throw std::runtime_error("not opened: " + document + ": " + opened.message);
    return Show(opened.file);
}

Tab Window::Show(const ComPtr<TMK::IAFS_File>& file, const host::DocumentActions& actions) {
    Tab tab{file, host::Make<host::Document>(file, actions), nullptr};
    tab.view = workbench().Open(tab.document);
    workbench().Activate(tab.view.get());
    workbench().StartedViewing(*tab.view);
    Settle();
    return tab;
}

void Window::Close(Tab& tab) {
    workbench().Close(*tab.view);
    tab = {};
}

HRESULT Window::Click(const std::string& command, const Tab& tab) {
    const HRESULT result = workbench().commands().Find(host::ToUtf16(command))->Execute(tab.view.get());
    Settle();
    return result;
}

std::string Window::Usable(IUnknown* owner) {
    std::string names;
    for (const auto& command : workbench().commands().all()) {
        constexpr std::u16string_view kOwn = u"sp.cmd.";
        if (!command->name().starts_with(kOwn) || !command->IsEnabled(owner)) continue;
        names += (names.empty() ? "" : " ") + host::ToUtf8(command->name().substr(kOwn.size()));
    }
    return names;
}

void Window::Settle() {
    // What is due by then may ask for another look, which is due at once.
    for (int look = 0; look < 2; ++look) {
        bool is_over = false;
        front_end().RunAfter(std::chrono::milliseconds(3), [&] { is_over = true; });
        host().main_thread().PumpUntil([&] { return is_over; });
    }
}

std::optional<ShownBar> Window::BarOf(const Tab& tab) {
    const auto span = tab.document->info_bar()->Span(workbench().atoms().Of(u"ibar.sharepoint"));
    if (!span) return std::nullopt;
    ShownBar shown{host::ToUtf8(span->text()), {}};
    for (const auto& button : span->buttons())
        shown.buttons += (shown.buttons.empty() ? "" : " ") + host::ToUtf8(button->name().substr(7));
    return shown;
}

DWORD Window::RestrictedOf(const Tab& tab) {
    DWORD mask = 0;
    tab.document->core().GetPermissions(TMK::TMK_PermissionSource_Restricted, TMK::TMK_PermissionKind_Mask,
                                        &mask);
    return mask;
}

std::string Window::NamesIn(const host::CommandBar& bar) {
    std::string names;
    for (const host::BarItem& item : bar.items())
        names += (names.empty() ? "" : " ") + (item.command ? host::ToUtf8(item.command->name()) : "-");
    return names;
}

}  // namespace interfaces
