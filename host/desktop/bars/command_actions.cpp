#include "host/desktop/bars/command_actions.h"

#include <QPixmap>

#include "host/desktop/bars/icons.h"
#include "host/desktop/front_end/text.h"

namespace desktop {

QIcon ToQtIcon(const host::Icon* icon) {
    QIcon result;
    if (!icon) return result;
    for (const host::IconImage& image : icon->images()) {
        QPixmap picture;
        if (picture.loadFromData(reinterpret_cast<const uchar*>(image.png.data()),
                                 static_cast<uint>(image.png.size()), "PNG"))
            result.addPixmap(picture);
    }
    return result.isNull() ? NamedIcon(ToQt(icon->name())) : result;
}

CommandActions::CommandActions(host::Workbench& workbench) : m_workbench(workbench) {
    m_workbench.listeners().Add(*this);
}

CommandActions::~CommandActions() {
    m_workbench.listeners().Remove(*this);
}

void CommandActions::SetKeys(const std::u16string& name, const QList<QKeySequence>& keys) {
    m_keys[name] = keys;
}

QAction* CommandActions::ActionOf(const ComPtr<host::Command>& command) {
    const auto found = m_entries.find(command->id());
    if (found != m_entries.end() && found->second.command == command) return found->second.action;
    if (found != m_entries.end()) delete found->second.action;
    auto* const action = new QAction(this);
    action->setObjectName(ToQt(command->name()));
    const Entry entry{command, action};
    m_entries[command->id()] = entry;
    ShowTexts(entry);
    const auto keys = m_keys.find(command->name());
    if (keys != m_keys.end()) {
        action->setShortcuts(keys->second);
    } else if (!command->is_of_host()) {
        action->setShortcut(FreeKey(action->text()));
    }
    connect(action, &QAction::triggered, this, [this, command] { Execute(command); });
    ShowState(entry);
    return action;
}

QAction* CommandActions::Find(const char16_t* name) {
    const auto command = m_workbench.commands().Find(std::u16string_view(name));
    return command ? ActionOf(command) : nullptr;
}

QKeySequence CommandActions::FreeKey(const QString& title) const {
    const qsizetype at = title.indexOf('&');
    if (at < 0 || at + 1 >= title.size()) return {};
    const QKeySequence key("Ctrl+Alt+" + title.mid(at + 1, 1).toUpper());
    for (const auto& [id, entry] : m_entries)
        if (entry.action->shortcuts().contains(key)) return {};
    return key;
}

void CommandActions::ShowTexts(const Entry& entry) {
    const QString title = ToQt(entry.command->Title());
    entry.action->setText(entry.command->is_of_host() ? tr(title.toUtf8().constData()) : title);
    QString tip = ToQt(entry.command->Tip());
    if (tip.isEmpty()) tip = WithoutMnemonic(entry.action->text());
    const QString key = entry.action->shortcut().toString(QKeySequence::NativeText);
    entry.action->setToolTip(key.isEmpty() ? tip : tip + " (" + key + ")");
    entry.action->setStatusTip(tip);
    QIcon icon = ToQtIcon(entry.command->icon());
    const auto own = m_icons.find(entry.command->name());
    // "sp.cmd.checkOut" gets the picture of "checkOut".
    if (icon.isNull()) {
        icon = LineIcon(own == m_icons.end() ? ToQt(entry.command->name()).section('.', -1) : own->second);
    }
    if (icon.isNull()) icon = LineIcon("command");
    entry.action->setIcon(icon);
}

void CommandActions::ShowState(const Entry& entry) {
    const bool is_off = !entry.command->is_of_host() && m_is_busy();
    const LONG state = entry.command->State(m_workbench.active());
    entry.action->setEnabled(!is_off && (state & TMK::UIX_CmdItemState_Disabled) == 0);
    const bool is_checked = (state & TMK::UIX_CmdItemState_Checked) != 0;
    if (is_checked) entry.action->setCheckable(true);
    entry.action->setChecked(is_checked);
}

void CommandActions::Execute(const ComPtr<host::Command>& command) {
    const ComPtr<IUnknown> owner(m_workbench.active());
    const auto execute = [&] { command->Execute(owner.get()); };
    command->is_of_host() ? execute() : m_run(execute);
    Update();
}

void CommandActions::Update() {
    const auto entries = m_entries;
    for (const auto& [id, entry] : entries) ShowState(entry);
}

void CommandActions::CommandsChanged() {
    for (auto entry = m_entries.begin(); entry != m_entries.end();) {
        if (m_workbench.commands().Find(entry->first) == entry->second.command) {
            ShowTexts(entry->second);
            ++entry;
        } else {
            entry->second.action->deleteLater();
            entry = m_entries.erase(entry);
        }
    }
    emit LayoutChanged();
}

void CommandActions::StatesChanged(const std::vector<DWORD>& command_ids) {
    if (command_ids.empty()) return Update();
    for (const DWORD id : command_ids) {
        const auto found = m_entries.find(id);
        if (found != m_entries.end()) ShowState(found->second);
    }
}

}  // namespace desktop
