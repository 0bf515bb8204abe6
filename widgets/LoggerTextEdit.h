#pragma once

#include "ClearableTextEdit.h"

/// The log pane: coloured lines on light grey.
class LoggerTextEdit : public ClearableTextEdit
{
    Q_OBJECT

public:
    explicit LoggerTextEdit(QWidget* parent);

    /// Nothing, for all that the lines refer to. They hold names of files and mods as they are, and
    /// markup in those must not open files: a pipe would hang the program.
    QVariant loadResource(int type, const QUrl& name) override;
};
