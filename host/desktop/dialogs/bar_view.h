// A command bar in a window: a row of buttons in step with the commands. Main thread only; the bar and the
// workbench outlive it.
#pragma once

#include <QWidget>

#include "host/workbench/workbench.h"

class QHBoxLayout;
class QToolButton;

namespace desktop {

class BarView final : public QWidget, private host::WorkbenchListener {
    Q_OBJECT
public:
    // `owner` is what the commands act on.
    BarView(const host::Surroundings& workbench, ComPtr<IUnknown> owner, QWidget* parent = nullptr);
    ~BarView() override;
    void SetBars(const std::vector<ComPtr<host::CommandBar>>& bars);

private:
    void CommandsChanged() override { Rebuild(); }
    void BarsChanged() override { Rebuild(); }
    void StatesChanged(const std::vector<DWORD>&) override { ShowStates(); }
    void Rebuild();
    void AddButton(const ComPtr<host::Command>& command);
    void ShowStates();

    struct Entry {
        ComPtr<host::Command> command;
        QToolButton* button;
    };
    const host::Surroundings& m_workbench;
    const ComPtr<IUnknown> m_owner;
    std::vector<ComPtr<host::CommandBar>> m_bars;
    std::vector<Entry> m_entries;
    QHBoxLayout* const m_row;
};

}  // namespace desktop
