#include "ReleaseNotesTextEdit.h"

ReleaseNotesTextEdit::ReleaseNotesTextEdit(QWidget* parent)
    : PromptedTextEdit(QStringLiteral("Enter Change Notes"), parent)
{}
