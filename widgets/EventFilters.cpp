#include "EventFilters.h"

#include <QCursor>
#include <QEvent>
#include <QTextDocument>
#include <QToolTip>
#include <QWidget>

bool PlainToolTips::eventFilter(QObject* watched, QEvent* event)
{
    const auto* const widget = qobject_cast<QWidget*>(watched); // installed on nothing else
    if (event->type() != QEvent::ToolTip || widget->toolTip().isEmpty())
        return false;
    QToolTip::showText(QCursor::pos(),
                       Qt::convertFromPlainText(widget->toolTip(), Qt::WhiteSpaceNormal));
    return true;
}

bool WheelBlocker::eventFilter(QObject* /*watched*/, QEvent* event)
{
    return event->type() == QEvent::Wheel;
}
