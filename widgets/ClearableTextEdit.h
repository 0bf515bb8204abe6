#pragma once

#include <QPlainTextEdit>

/// A text pane with a right-click menu of one entry, "Clear All".
class ClearableTextEdit : public QPlainTextEdit
{
    Q_OBJECT

public:
    explicit ClearableTextEdit(QWidget* parent);

    /// Shows `text` instead of what is there. Where a line of it is endless, lines break anywhere
    /// and not only between words.
    void ShowText(const QString& text);

protected:
    void insertFromMimeData(const QMimeData* source) override;
    void mousePressEvent(QMouseEvent* e) override;

private slots:
    void clear_all();

private:
    void run_menu(const QPoint& place);
};
