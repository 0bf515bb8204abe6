#include "LoggerTextEdit.h"

LoggerTextEdit::LoggerTextEdit(QWidget* parent) : ClearableTextEdit(parent)
{
    // The colours of the lines are fixed, so the background must not follow the desktop.
    QPalette colours = palette();
    colours.setBrush(QPalette::Active, QPalette::Base, Qt::lightGray);
    colours.setBrush(QPalette::Inactive, QPalette::Base, Qt::lightGray);
    setPalette(colours);
}

QVariant LoggerTextEdit::loadResource(int /*type*/, const QUrl& /*name*/)
{
    return QByteArray(""); // not null, after which the document would look for itself
}
