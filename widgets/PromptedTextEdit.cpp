#include "widgets/PromptedTextEdit.h"

#include "widgets/ClearAllMenu.h"

#include <QMouseEvent>

PromptedTextEdit::PromptedTextEdit(QWidget* parent) : QPlainTextEdit(parent)
{
    // The menu opens on the press itself; the base class's own must not follow it.
    setContextMenuPolicy(Qt::PreventContextMenu);
}

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

void PromptedTextEdit::mousePressEvent(QMouseEvent* e)
{
    if (e->button() == Qt::RightButton)
        RunClearAllMenu(*this, *e, tr("Context menu"));
    QPlainTextEdit::mousePressEvent(e);
}

void PromptedTextEdit::clear_all()
{
    clear();
}
