// The bar for searching: a text, how many matches there are, previous, next, close. Main thread.
#pragma once

#include <QFrame>

class QLabel;
class QLineEdit;
class QToolButton;

namespace pages {

class Finder;

class FindBar final : public QFrame {
    Q_OBJECT

public:
    FindBar(Finder& finder, QWidget* parent);

    // Shows it with the text selected, ready for typing.
    void Open();
    void CloseBar();

signals:
    void TextChanged(const QString& text);
    void Closed();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QToolButton* AddButton(const QString& name, const QString& sign, const QString& text);
    void ShowCount();

    Finder& m_finder;
    QLineEdit* m_text;
    QLabel* m_count;
    QToolButton* m_previous;
    QToolButton* m_next;
};

}  // namespace pages
