#include "PromptedTextEdit.h"

PromptedTextEdit::PromptedTextEdit(const QString& new_prompt, QWidget* parent)
    : ClearableTextEdit(parent), prompt(new_prompt)
{
    appendPlainText(prompt);
}

bool PromptedTextEdit::shows_prompt() const
{
    return toPlainText() == prompt;
}

QString PromptedTextEdit::GetFinalText() const
{
    return shows_prompt() ? QString() : toPlainText();
}

void PromptedTextEdit::focusInEvent(QFocusEvent* e)
{
    if (shows_prompt())
        clear();
    QPlainTextEdit::focusInEvent(e);
}

void PromptedTextEdit::focusOutEvent(QFocusEvent* e)
{
    if (toPlainText().isEmpty())
        appendPlainText(prompt);
    QPlainTextEdit::focusOutEvent(e);
}
