#pragma once

#include "widgets/ClearableTextEdit.h"

/// The log pane: coloured lines on light grey.
class LoggerTextEdit : public ClearableTextEdit
{
    Q_OBJECT

public:
    explicit LoggerTextEdit(QWidget* parent);
};
