#pragma once

#include "widgets/ClearableTextEdit.h"

/// The log pane: coloured lines on light grey.
class LoggerTextEdit : public ClearableTextEdit
{
    Q_OBJECT

public:
    explicit LoggerTextEdit(QWidget* parent);

    /// Nothing, for all that the lines refer to. They hold names of files and mods as they are, and
    /// markup in those must not open files: a pipe would hang the program.
    QVariant loadResource(int type, const QUrl& name) override;

private:
    /// Gives the endless runs places to break, so that the other lines can break between words.
    /// Nobody copies a run that is longer than any path, so these places do no harm in it.
    void break_endless_runs();
};
