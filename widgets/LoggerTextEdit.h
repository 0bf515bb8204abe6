#pragma once

#include <QPlainTextEdit>

/// The log pane: coloured lines on light grey, cleared from its right-click menu.
class LoggerTextEdit : public QPlainTextEdit
{
    Q_OBJECT

public:
    explicit LoggerTextEdit(QWidget* parent);

protected:
    void mousePressEvent(QMouseEvent* e) override;

private slots:
    void clear_all();
};
