// A window made from a template, as people see it. Main thread only; the model outlives it.
#pragma once

#include <QDialog>

#include "host/desktop/dialogs/bar_view.h"
#include "host/desktop/dialogs/control_view.h"
#include "host/dialogs/dialog_window.h"

class QScrollArea;

namespace desktop {

class TemplateWindow final : public QDialog, private host::DialogListener {
    Q_OBJECT
public:
    TemplateWindow(host::DialogWindow& model, QWidget* parent);
    ~TemplateWindow() override;

private:
    void ControlChanged(host::Control& control, host::ControlChange change) override;
    void ControlAdded(host::Control& control) override;
    void TitleChanged() override;
    void BarsChanged() override;

    void AddControls();
    // Hands on what is being typed.
    void Commit();
    void NameFields();
    // Measures every control and gives the window at least the size that its texts need.
    void Place();
    void Measure();
    void Arrange();
    QWidget* HomeOf(const host::Control& control) const;
    ControlView* ViewOf(const host::Control& control) const;
    void reject() override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    host::DialogWindow& m_model;
    QScrollArea* const m_scroll;
    QWidget* const m_content;
    QWidget* m_bottom = nullptr;  // holds the controls that stay at the bottom
    BarView* m_bar = nullptr;
    std::vector<std::unique_ptr<ControlView>> m_views;
    std::vector<Measured> m_measured;
    Placing m_placing;
    int m_bottom_height = 0;
    bool m_is_placing = false;
};

}  // namespace desktop
