#include "widgets/LoggerTextEdit.h"

#include "widgets/ClearAllMenu.h"

#include <QMouseEvent>

LoggerTextEdit::LoggerTextEdit(QWidget* parent) : QPlainTextEdit(parent)
{
    // The colours of the lines are fixed, so the ground under them must not follow the desktop.
    QPalette colours = palette();
    colours.setBrush(QPalette::Active, QPalette::Base, Qt::lightGray);
    colours.setBrush(QPalette::Inactive, QPalette::Base, Qt::lightGray);
    setPalette(colours);

    // The menu opens on the press itself; the base class's own must not follow it.
    setContextMenuPolicy(Qt::PreventContextMenu);
}

void LoggerTextEdit::mousePressEvent(QMouseEvent* e)
{
    if (e->button() == Qt::RightButton)
        RunClearAllMenu(*this, *e, tr("Context menu"));
    QPlainTextEdit::mousePressEvent(e);
}

void LoggerTextEdit::clear_all()
{
    clear();
}
