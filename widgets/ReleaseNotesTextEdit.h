#pragma once

#include "PromptedTextEdit.h"

/// The editor of the change notes for the next upload.
class ReleaseNotesTextEdit : public PromptedTextEdit
{
    Q_OBJECT

public:
    explicit ReleaseNotesTextEdit(QWidget* parent);
};
