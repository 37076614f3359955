#include "host/desktop/dialogs/template_window.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QFontMetricsF>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QScreen>
#include <QScrollArea>
#include <algorithm>

#include "host/desktop/front_end/text.h"

namespace desktop {

using host::ControlChange;
using host::ControlKind;

namespace {

// The font that templates are made for, in pixels of 96 to an inch.
constexpr double kTemplateCharWidth = 6;
constexpr double kTemplateLineHeight = 13;
constexpr int kLeastScrolledHeight = 160;

Scale FontScale(const QFont& font) {
    static const QString letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const QFontMetricsF metrics(font);
    const double width = metrics.horizontalAdvance(letters) / static_cast<double>(letters.size());
    return {std::max(1.0, width / kTemplateCharWidth), std::max(1.0, metrics.height() / kTemplateLineHeight)};
}

bool IsField(ControlKind kind) {
    return kind == ControlKind::Edit || kind == ControlKind::Combo || kind == ControlKind::List ||
           kind == ControlKind::Properties;
}

}  // namespace

TemplateWindow::TemplateWindow(host::DialogWindow& model, QWidget* parent)
    : QDialog(parent), m_model(model), m_scroll(new QScrollArea(this)), m_content(new QWidget) {
    setObjectName(ToQt(model.shape().id));
    setWindowModality(Qt::ApplicationModal);
    setSizeGripEnabled(false);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidget(m_content);
    m_scroll->setFocusPolicy(Qt::NoFocus);
    m_content->installEventFilter(this);
    const auto& shapes = model.shape().controls;
    if (std::any_of(shapes.begin(), shapes.end(), [](const auto& shape) { return shape.stays_at_bottom; }))
        m_bottom = new QWidget(this);
    AddControls();
    TitleChanged();
    model.SetListener(this);
    if (!model.bars().empty()) BarsChanged();
    Place();
}

TemplateWindow::~TemplateWindow() {
    m_model.SetListener(nullptr);
}

QWidget* TemplateWindow::HomeOf(const host::Control& control) const {
    return m_bottom && control.shape().stays_at_bottom ? m_bottom : m_content;
}

void TemplateWindow::AddControls() {
    QWidget* before = nullptr;
    for (const auto& control : m_model.controls()) {
        m_views.push_back(MakeControlView(*control, HomeOf(*control)));
        QWidget* const widget = m_views.back()->widget();
        for (QWidget* const next : m_views.back()->FocusOrder()) {
            if (before) setTabOrder(before, next);
            before = next;
        }
        if (auto* const button = qobject_cast<QPushButton*>(widget)) {
            button->setDefault(control->shape().id == m_model.shape().default_item);
            // In a window that isn't active no field loses the focus.
            connect(button, &QPushButton::pressed, this, [this] { Commit(); });
        }
    }
    NameFields();
}

// A label names the field that follows it.
void TemplateWindow::NameFields() {
    for (std::size_t i = 0; i < m_views.size(); ++i) {
        QWidget* const field = m_views[i]->widget();
        if (!IsField(m_views[i]->control().kind())) continue;
        const bool has_label = i > 0 && m_views[i - 1]->control().kind() == ControlKind::Label &&
                               !m_views[i - 1]->control().shape().text.empty();
        if (!has_label) {
            field->setAccessibleName(ToQt(m_model.title()));
            continue;
        }
        auto* const label = static_cast<QLabel*>(m_views[i - 1]->widget());
        label->setBuddy(field);
        field->setAccessibleName(WithoutMnemonic(label->text()));
    }
}

ControlView* TemplateWindow::ViewOf(const host::Control& control) const {
    const auto found = std::find_if(m_views.begin(), m_views.end(),
                                    [&](const auto& view) { return &view->control() == &control; });
    return found == m_views.end() ? nullptr : found->get();
}

void TemplateWindow::Commit() {
    for (const auto& view : m_views) view->Commit();
}

void TemplateWindow::Measure() {
    const Scale font_scale = FontScale(font());
    std::vector<int> widths;
    const auto measure = [&] {
        m_measured.clear();
        for (std::size_t i = 0; i < m_views.size(); ++i) {
            Measured measured = m_views[i]->Measure(widths.empty() ? 1 : widths[i]);
            if (!m_views[i]->control().is_shown()) measured = {measured.shape, {}, 0};
            m_measured.push_back(measured);
        }
    };
    measure();
    widths = Widths(m_model.shape(), m_measured, font_scale);
    measure();
    m_placing = desktop::Place(m_model.shape(), m_measured, ScaleFor(m_measured, font_scale));
    if (!m_bar || !m_placing.bar.isNull()) return;
    const int height = m_bar->sizeHint().height();
    m_placing.bar = QRect(0, 0, m_placing.size.width(), height);
    for (auto* const places : {&m_placing.places, &m_placing.least_places})
        for (QRect& place : *places) place.translate(0, height);
    m_placing.size.rheight() += height;
    m_placing.least_size.rheight() += height;
}

void TemplateWindow::Place() {
    const QScopedValueRollback placing(m_is_placing, true);
    Measure();
    int top_of_bottom = m_placing.size.height();
    for (std::size_t i = 0; i < m_views.size(); ++i) {
        if (m_views[i]->control().shape().stays_at_bottom)
            top_of_bottom = std::min(top_of_bottom, m_placing.places[i].top());
    }
    m_bottom_height = m_placing.size.height() - top_of_bottom;
    const QSize room = screen()->availableSize() * 0.95;
    QSize least = m_placing.least_size.boundedTo(room);
    if (m_model.shape().is_scrollable)
        least.setHeight(std::min(least.height(), kLeastScrolledHeight + m_bottom_height));
    setMinimumSize(least);
    // A window in view keeps the size that the person has given it.
    resize(size().expandedTo(isVisible() ? least : m_placing.size).boundedTo(room));
    Arrange();
}

void TemplateWindow::Arrange() {
    if (m_placing.size.isEmpty()) return;
    const QSize inside(width(), height() - m_bottom_height);
    const QSize content(m_placing.least_size.width(), m_placing.least_size.height() - m_bottom_height);
    m_scroll->setGeometry(QRect(QPoint(), inside));
    m_content->resize(content.expandedTo(inside));
    if (m_bottom) m_bottom->setGeometry(0, inside.height(), width(), m_bottom_height);
    const QSize whole(m_content->width(), m_content->height() + m_bottom_height);
    const std::vector<QRect> places = Stretch(m_placing, m_measured, whole);
    for (std::size_t i = 0; i < m_views.size(); ++i) {
        QRect place = places[i];
        if (m_bottom && m_views[i]->control().shape().stays_at_bottom) {
            const int from_bottom = m_placing.size.height() - m_placing.places[i].top();
            place.moveTop(m_bottom_height - from_bottom);
        }
        m_views[i]->widget()->setGeometry(place);
    }
    if (m_bar) {
        QRect bar = m_placing.bar;
        bar.setWidth(bar.width() + m_content->width() - m_placing.size.width());
        m_bar->setGeometry(bar);
    }
}

void TemplateWindow::ControlChanged(host::Control& control, ControlChange change) {
    ControlView* const view = ViewOf(control);
    if (!view) return;
    view->Apply(change);
    const bool is_text =
        change == ControlChange::Text && control.kind() != ControlKind::Edit && !control.shape().text.empty();
    if ((is_text || change == ControlChange::Shown) && !m_is_placing) Place();
}

void TemplateWindow::ControlAdded(host::Control& control) {
    m_views.push_back(MakeControlView(control, m_content));
    Place();
}

void TemplateWindow::TitleChanged() {
    setWindowTitle(WithoutMnemonic(ToQt(m_model.title())));
}

void TemplateWindow::BarsChanged() {
    if (!m_bar) m_bar = new BarView(m_model.workbench(), m_model.Object(), m_content);
    m_bar->SetBars(m_model.bars());
    m_bar->show();
    Place();
}

void TemplateWindow::reject() {
    m_model.PressEscape();
}

void TemplateWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    m_model.CloseByPerson();
}

void TemplateWindow::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::FontChange && !m_is_placing && !m_views.empty()) Place();
}

void TemplateWindow::keyPressEvent(QKeyEvent* event) {
    // Enter in a field with several lines never comes here.
    const bool is_enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (is_enter && !qobject_cast<QPushButton*>(focusWidget())) {
        Commit();
        m_model.PressEnter();
        return event->accept();
    }
    QDialog::keyPressEvent(event);
}

void TemplateWindow::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    Arrange();
}

// A field that the person comes to by Tab is scrolled into view.
bool TemplateWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn) {
        if (auto* const widget = qobject_cast<QWidget*>(watched)) m_scroll->ensureWidgetVisible(widget);
    }
    return QDialog::eventFilter(watched, event);
}

}  // namespace desktop
