#pragma once

#include "PromptedTextEdit.h"

/// The editor of the change notes that go with the next upload.
class ReleaseNotesTextEdit : public PromptedTextEdit
{
    Q_OBJECT

public:
    explicit ReleaseNotesTextEdit(QWidget* parent);

protected:
    const QString& prompt() const override;
};
