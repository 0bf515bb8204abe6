#include "PromptedTextEdit.h"

PromptedTextEdit::PromptedTextEdit(QWidget* parent) : ClearableTextEdit(parent)
{}

bool PromptedTextEdit::shows_prompt() const
{
    return toPlainText() == prompt();
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
        appendPlainText(prompt());
    QPlainTextEdit::focusOutEvent(e);
}
