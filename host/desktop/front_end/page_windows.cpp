#include "host/desktop/front_end/page_windows.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "host/browser/pane_windows.h"

namespace desktop {

namespace {

class WaitingNotice final : public QDialog {
public:
    explicit WaitingNotice(QWidget* parent) : QDialog(parent) {
        setObjectName("signInWindow");
        setWindowTitle(tr("Sign in"));
        setWindowModality(Qt::ApplicationModal);
        auto* const rows = new QVBoxLayout(this);
        rows->addWidget(new QLabel(tr("The site's own sign-in page is open in a window of its own.")));
        auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
        buttons->button(QDialogButtonBox::Cancel)->setObjectName("btn.cancel");
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        rows->addWidget(buttons);
    }
};

class PageWindows final : public host::Windows {
public:
    PageWindows(QtMainThread& main_thread, const QPointer<QWidget>& parent)
        : m_panes(host::MakePaneWindows(main_thread)), m_parent(parent) {
        QObject::connect(&main_thread, &QtMainThread::PumpingChanged, &m_context,
                         [this](bool is_pumping) { Show(is_pumping && m_panes->Has(m_last)); });
    }

    HRESULT Create(const TMK::UIX_CreateObjParams& parameters, ComPtr<TMK::IUIX_Obj>& out_window) override {
        const HRESULT result = m_panes->Create(parameters, out_window);
        if (SUCCEEDED(result)) out_window->get_WndHandle(&m_last);
        return result;
    }
    bool Has(HWND handle) const override { return m_panes->Has(handle); }
    void Resize(HWND handle, int width, int height) override { m_panes->Resize(handle, width, height); }
    void Close(HWND handle) override { m_panes->Close(handle); }
    void DestroyAll() override { m_panes->DestroyAll(); }

private:
    void Show(bool is_shown) {
        delete m_notice;
        if (!is_shown) return;
        m_notice = new WaitingNotice(m_parent);
        QObject::connect(m_notice, &QDialog::rejected, &m_context, [this] { m_panes->Close(m_last); });
        m_notice->show();
    }

    const std::unique_ptr<host::Windows> m_panes;
    const QPointer<QWidget>& m_parent;
    QObject m_context;
    QPointer<QDialog> m_notice;
    HWND m_last = nullptr;  // the window that was made last
};

}  // namespace

std::unique_ptr<host::Windows> MakePageWindows(QtMainThread& main_thread, const QPointer<QWidget>& parent) {
    return std::make_unique<PageWindows>(main_thread, parent);
}

}  // namespace desktop
