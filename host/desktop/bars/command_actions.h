// One action of Qt for each command of the workbench: its texts, icon, key and state, and what a click does.
// Main thread only; the workbench outlives it.
#pragma once

#include <QAction>
#include <QObject>
#include <functional>
#include <map>

#include "host/workbench/workbench.h"

namespace desktop {

class CommandActions final : public QObject, private host::WorkbenchListener {
    Q_OBJECT
public:
    explicit CommandActions(host::Workbench& workbench);
    ~CommandActions() override;

    // The action of a command that exists; named as the command.
    QAction* ActionOf(const ComPtr<host::Command>& command);
    QAction* Find(const char16_t* name);  // null for none
    // Keys of the host's own commands; those of plug-ins get Ctrl+Alt and the letter of their mnemonic.
    void SetKeys(const std::u16string& name, const QList<QKeySequence>& keys);
    // The editor's own icon of a command, for one that brings none.
    void SetIcon(const std::u16string& name, const QString& icon) { m_icons[name] = icon; }
    // Commands of plug-ins are off as long as this says so.
    void SetBusy(std::function<bool()> is_busy) { m_is_busy = std::move(is_busy); }
    // Runs a click on a command of a plug-in, which is executed within.
    void SetRunner(std::function<void(const std::function<void()>&)> run) { m_run = std::move(run); }
    // Asks for every state anew.
    void Update();

signals:
    // Bars have other items, or commands other texts.
    void LayoutChanged();
    void SpansChanged(host::InfoBar* bar);
    void PermissionsChanged(host::Document* document);

private:
    struct Entry {
        ComPtr<host::Command> command;
        QAction* action;
    };

    void CommandsChanged() override;
    void StatesChanged(const std::vector<DWORD>& command_ids) override;
    void BarsChanged() override { emit LayoutChanged(); }
    void InfoBarChanged(host::InfoBar& bar) override { emit SpansChanged(&bar); }
    void DocumentChanged(host::Document& document, DWORD, DWORD) override {
        emit PermissionsChanged(&document);
    }
    void ShowTexts(const Entry& entry);
    void ShowState(const Entry& entry);
    void Execute(const ComPtr<host::Command>& command);
    QKeySequence FreeKey(const QString& title) const;

    host::Workbench& m_workbench;
    std::map<DWORD, Entry> m_entries;
    std::map<std::u16string, QList<QKeySequence>> m_keys;
    std::map<std::u16string, QString> m_icons;
    std::function<bool()> m_is_busy = [] { return false; };
    std::function<void(const std::function<void()>&)> m_run = [](const auto& work) { work(); };
};

// The pictures of an icon of the workbench; an empty icon for null.
QIcon ToQtIcon(const host::Icon* icon);

}  // namespace desktop
