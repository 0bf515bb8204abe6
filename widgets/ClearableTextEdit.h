#pragma once

#include <QPlainTextEdit>

/// A text pane with a right-click menu of one entry, "Clear All". Lines break between words, but
/// anywhere as long as the text holds an endless run: thousands of characters without a space.
class ClearableTextEdit : public QPlainTextEdit
{
    Q_OBJECT

public:
    explicit ClearableTextEdit(QWidget* parent);

protected:
    void mousePressEvent(QMouseEvent* e) override;

private slots:
    void clear_all();

private:
    void choose_wrapping(int from, int removed, int added);
    void run_menu(const QPoint& place);
};
