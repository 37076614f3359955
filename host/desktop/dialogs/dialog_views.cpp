#include "host/desktop/dialogs/dialog_views.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "host/desktop/dialogs/template_window.h"
#include "host/desktop/front_end/text.h"

namespace desktop {

namespace {

constexpr int kProgressWidth = 380;

class ProgressWindow final : public QDialog {
public:
    ProgressWindow(ComPtr<host::CancelFlag> cancel, QWidget* parent)
        : QDialog(parent), m_cancel(std::move(cancel)) {
        setObjectName("progress.window");
        setWindowModality(Qt::ApplicationModal);
        auto* const rows = new QVBoxLayout(this);
        rows->setSizeConstraint(QLayout::SetFixedSize);
        rows->setContentsMargins(20, 20, 20, 16);
        rows->setSpacing(12);
        m_text.setWordWrap(true);
        m_text.setTextFormat(Qt::PlainText);
        m_text.setFixedWidth(kProgressWidth);
        m_status.setTextFormat(Qt::PlainText);
        m_bar.setRange(0, 0);
        m_bar.setTextVisible(false);
        rows->addWidget(&m_text);
        rows->addWidget(&m_bar);
        rows->addWidget(&m_status);
        auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
        m_button = buttons->button(QDialogButtonBox::Cancel);
        m_button->setObjectName("btn.cancel");
        connect(buttons, &QDialogButtonBox::rejected, this, [this] { reject(); });
        rows->addWidget(buttons);
    }
    void Update(const host::ProgressTexts& texts) {
        setWindowTitle(ToQt(texts.title));
        m_text.setText(ToQt(texts.text));
        m_status.setText(ToQt(texts.status));
        m_bar.setAccessibleName(m_text.text());
    }

private:
    // Closes by itself when the work ends.
    void reject() override {
        m_cancel->Cancel();
        m_button->setEnabled(false);
        m_status.setText(tr("Cancelling…"));
    }

    const ComPtr<host::CancelFlag> m_cancel;
    QLabel m_text;
    QLabel m_status;
    QProgressBar m_bar;
    QPushButton* m_button;
};

class ShownDialog final : public host::DialogView {
public:
    ShownDialog(host::DialogWindow& model, QWidget* parent) : m_window(model, parent) {
        // Once the window has been filled.
        QTimer::singleShot(0, &m_window, [this] { m_window.show(); });
    }

private:
    TemplateWindow m_window;
};

class ShownProgress final : public host::ProgressView {
public:
    ShownProgress(const host::ProgressTexts& texts, ComPtr<host::CancelFlag> cancel, QWidget* parent)
        : m_window(std::move(cancel), parent) {
        Update(texts);
        m_window.show();
    }
    void Update(const host::ProgressTexts& texts) override { m_window.Update(texts); }

private:
    ProgressWindow m_window;
};

class QtDialogViews final : public host::DialogViews {
public:
    explicit QtDialogViews(const QPointer<QWidget>& parent) : m_parent(parent) {}

    std::unique_ptr<host::DialogView> Show(host::DialogWindow& window) override {
        return std::make_unique<ShownDialog>(window, Parent());
    }
    std::unique_ptr<host::ProgressView> ShowProgress(const host::ProgressTexts& texts,
                                                     ComPtr<host::CancelFlag> cancel) override {
        return std::make_unique<ShownProgress>(texts, std::move(cancel), Parent());
    }

private:
    QWidget* Parent() const {
        QWidget* const modal = QApplication::activeModalWidget();
        return modal ? modal : m_parent.data();
    }
    const QPointer<QWidget>& m_parent;
};

}  // namespace

std::unique_ptr<host::DialogViews> MakeDialogViews(const QPointer<QWidget>& parent) {
    return std::make_unique<QtDialogViews>(parent);
}

}  // namespace desktop
