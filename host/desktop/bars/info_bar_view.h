// The information bar of a document: a strip for each span, with its colour, icon, wrapped text and a button
// for each command. Main thread only.
#pragma once

#include <QFrame>

#include "host/desktop/bars/command_actions.h"

namespace desktop {

class InfoBarView final : public QFrame {
    Q_OBJECT
public:
    // The actions outlive it.
    InfoBarView(CommandActions& actions, const host::Catalogue& catalogue, QWidget* parent = nullptr);
    // Shows the spans as they are now; null for none.
    void Show(const host::InfoBar* bar);

private:
    QWidget* MakeSpan(const host::InfoBarSpan& span);

    CommandActions& m_actions;
    const host::Catalogue& m_catalogue;
};

}  // namespace desktop
