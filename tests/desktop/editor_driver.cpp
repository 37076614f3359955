#include "tests/desktop/editor_driver.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include "host/desktop/front_end/text.h"

namespace desktop_tests {

namespace {

constexpr int kPatienceMs = 30'000;
constexpr int kWatchMs = 10;
constexpr const char* kSeen = "seenByTheTest";

}  // namespace

std::string MakePdf(int pages, const std::string& text) {
    QPDF pdf;
    pdf.emptyPDF();
    for (int i = 0; i < pages; ++i) {
        auto page = QPDFObjectHandle::parse(
            "<< /Type /Page /MediaBox [0 0 595 842] /Resources << /Font << /F << /Type /Font /Subtype /Type1 "
            "/BaseFont /Helvetica >> >> >> >>");
        page.replaceKey("/Contents",
                        QPDFObjectHandle::newStream(&pdf, "BT /F 24 Tf 72 720 Td (" + text + ") Tj ET"));
        pdf.addPage(pdf.makeIndirectObject(page), false);
    }
    QPDFWriter writer(pdf);
    writer.setOutputMemory();
    writer.setDeterministicID(true);
    writer.write();
    const auto buffer = writer.getBufferSharedPointer();
    return {reinterpret_cast<const char*>(buffer->getBuffer()), buffer->getSize()};
}

std::string RotationsOf(const std::string& bytes) {
    QPDF pdf;
    pdf.processMemoryFile("pdf", bytes.data(), bytes.size());
    std::string rotations;
    for (QPDFPageObjectHelper& page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        auto rotation = page.getAttribute("/Rotate", false);
        rotations += (rotations.empty() ? "" : " ") +
                     std::to_string(rotation.isInteger() ? rotation.getIntValueAsInt() : 0);
    }
    return rotations;
}

EditorDriver::EditorDriver(const std::filesystem::path& profile, const EditorOptions& options)
    : m_front_end(
          {.browser = {.script = {}, .program = options.browser}, .make_dialogs = desktop::MakeDialogViews}),
      m_host(std::make_unique<host::Host>(m_front_end, profile)) {
    m_host->LoadPlugin(PLUGIN_FILE);
    m_editor =
        std::make_unique<desktop::Editor>(*m_host, m_front_end, options.has_languages ? LANGUAGE_FOLDER : "");
    if (options.autosave_ms > 0) m_editor->autosave_ms = options.autosave_ms;
    m_window = std::make_unique<desktop::MainWindow>(*m_editor, options.bars);
    m_window->show();
    QObject::connect(&m_watch, &QTimer::timeout, m_window.get(), [this] { AnswerNow(); });
    m_watch.start(kWatchMs);
}

EditorDriver::~EditorDriver() {
    m_window->KeepUnsaved();
    m_window.reset();
    m_editor.reset();
    m_host.reset();
}

bool EditorDriver::Comes(const std::function<bool()>& event) {
    return QTest::qWaitFor(event, kPatienceMs);
}

void EditorDriver::Open(const std::string& address) {
    auto* const box = m_window->findChild<QLineEdit*>("address");
    box->setFocus();
    box->setText(QString::fromStdString(address));
    QTest::keyClick(box, Qt::Key_Return);
    ASSERT_TRUE(Comes([this] { return IsOpen(); })) << address;
}

void EditorDriver::Click(const QString& name) {
    QAbstractButton* found = nullptr;
    const auto look = [&] {
        found = nullptr;
        QWidget* const bar = tab() ? &tab()->info_bar() : nullptr;
        for (QWidget* const root : {bar, static_cast<QWidget*>(m_window.get())}) {
            for (auto* const button :
                 root ? root->findChildren<QAbstractButton*>(name) : QList<QAbstractButton*>())
                if (!found && button->isVisible() && button->isEnabled()) found = button;
        }
        return found != nullptr;
    };
    ASSERT_TRUE(Comes(look)) << name.toStdString() << " can't be clicked";
    QTest::mouseClick(found, Qt::LeftButton);
}

QAction* EditorDriver::Action(const QString& name) {
    return m_window->actions().Find(name.toStdU16String().c_str());
}

void EditorDriver::Trigger(const QString& name) {
    QAction* const action = Action(name);
    ASSERT_TRUE(action && action->isEnabled()) << name.toStdString() << " is off";
    action->trigger();
}

void EditorDriver::PressKey(Qt::Key key) {
    m_window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_window.get()));
    QTest::keyClick(m_window.get(), key, Qt::ControlModifier);
}

void EditorDriver::Save() {
    PressKey(Qt::Key_S);
    ASSERT_TRUE(Comes([this] { return IsOpen(); }));
}

void EditorDriver::Answer(const QString& window, std::function<void(QDialog&)> answer) {
    m_answers[window].push(std::move(answer));
}

void EditorDriver::Answer(const QString& window, const QString& button) {
    Answer(window, [button](QDialog& dialog) { Press(dialog, button); });
}

void EditorDriver::AnswerNow() {
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
        auto* const dialog = qobject_cast<QDialog*>(widget);
        if (!dialog || !dialog->isVisible() || dialog->property(kSeen).toBool()) continue;
        dialog->setProperty(kSeen, true);
        auto& answers = m_answers[dialog->objectName()];
        if (answers.empty()) {
            // Nobody expects it: closing it lets the test end.
            const auto* const text = dialog->findChild<QLabel*>("text");
            ADD_FAILURE() << "an unexpected window: " << dialog->objectName().toStdString() << ": "
                          << (text ? text->text().toStdString() : "");
            return dialog->reject();
        }
        const auto answer = std::move(answers.front());
        answers.pop();
        m_answered.push_back(dialog->objectName().toStdString());
        return answer(*dialog);
    }
}

std::vector<std::string> EditorDriver::TakeAnswered() {
    return std::exchange(m_answered, {});
}

std::string EditorDriver::Bar() {
    const auto* const text = tab() ? tab()->info_bar().findChild<QLabel*>("text") : nullptr;
    return text && tab()->info_bar().isVisible() ? text->text().toStdString() : "";
}

std::string EditorDriver::BarButtons() {
    std::string names;
    if (!tab()) return names;
    for (const auto* const button : tab()->info_bar().findChildren<QAbstractButton*>())
        names += (names.empty() ? "" : " ") + button->objectName().toStdString();
    return names;
}

void Press(QWidget& window, const QString& button) {
    auto* const found = window.findChild<QAbstractButton*>(button);
    if (!found || !found->isVisible() || !found->isEnabled()) {
        ADD_FAILURE() << window.objectName().toStdString() << " has no button " << button.toStdString();
        // Closing it lets the test end.
        if (auto* const dialog = qobject_cast<QDialog*>(&window)) dialog->reject();
        return;
    }
    QTest::mouseClick(found, Qt::LeftButton);
}

}  // namespace desktop_tests
