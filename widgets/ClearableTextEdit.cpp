#include "widgets/ClearableTextEdit.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <QMouseEvent>

ClearableTextEdit::ClearableTextEdit(QWidget* parent) : QPlainTextEdit(parent)
{
    // The menu opens on the press itself; the base class's own must not follow it.
    setContextMenuPolicy(Qt::PreventContextMenu);
}

void ClearableTextEdit::mousePressEvent(QMouseEvent* e)
{
    if (e->button() == Qt::RightButton)
        run_menu(e->pos());
    QPlainTextEdit::mousePressEvent(e);
}

/// Runs the menu at `place`, in the pane's coordinates, and returns when it has closed.
void ClearableTextEdit::run_menu(const QPoint& place)
{
    // Each pane has a translation context of its own.
    QMenu menu(QCoreApplication::translate(metaObject()->className(), "Context menu"), this);
    QAction clear_all_action(QStringLiteral("Clear All"), this);
    connect(&clear_all_action, SIGNAL(triggered()), this, SLOT(clear_all()));
    menu.addAction(&clear_all_action);
    menu.exec(mapToGlobal(place));
}

void ClearableTextEdit::clear_all()
{
    clear();
}
