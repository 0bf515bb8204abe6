#include "ReleaseNotesTextEdit.h"

namespace {

const QString s_Prompt = QStringLiteral("Enter Change Notes");

} // namespace

ReleaseNotesTextEdit::ReleaseNotesTextEdit(QWidget* parent) : PromptedTextEdit(parent)
{
    appendPlainText(s_Prompt);
}

const QString& ReleaseNotesTextEdit::prompt() const
{
    return s_Prompt;
}
