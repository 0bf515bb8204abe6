#pragma once

#include <QPlainTextEdit>

/// A text pane with a right-click menu of one entry, "Clear All".
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
    void run_menu(const QPoint& place);
};
