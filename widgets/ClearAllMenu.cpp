#include "widgets/ClearAllMenu.h"

#include <QAction>
#include <QMenu>
#include <QMouseEvent>
#include <QPlainTextEdit>

void RunClearAllMenu(QPlainTextEdit& edit, const QMouseEvent& press, const QString& title)
{
    QMenu menu(title, &edit);
    QAction clear_all(QStringLiteral("Clear All"), &edit);
    QObject::connect(&clear_all, SIGNAL(triggered()), &edit, SLOT(clear_all()));
    menu.addAction(&clear_all);
    menu.exec(edit.mapToGlobal(press.localPos().toPoint()));
}
