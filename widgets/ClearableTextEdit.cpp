#include "widgets/ClearableTextEdit.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>

#include <algorithm>

namespace {

/// Qt looks for the ends of words in a time that grows with the square of a line: half a million
/// characters without a blank stop the window for a minute. The Workshop takes 8000 bytes.
constexpr int longest_line = 20'000;

bool has_endless_line(const QString& text)
{
    const QStringList lines = text.split(QLatin1Char('\n'));
    return std::any_of(lines.begin(), lines.end(),
                       [](const QString& line) { return line.size() > longest_line; });
}

} // namespace

ClearableTextEdit::ClearableTextEdit(QWidget* parent) : QPlainTextEdit(parent)
{
    // The menu opens on the press itself; the base class's own must not follow it.
    setContextMenuPolicy(Qt::PreventContextMenu);
}

void ClearableTextEdit::ShowText(const QString& text)
{
    clear_all(); // while the old text is there, every change of the wrapping lays it out anew
    if (has_endless_line(text))
        setWordWrapMode(QTextOption::WrapAnywhere);
    setPlainText(text);
}

void ClearableTextEdit::insertFromMimeData(const QMimeData* source)
{
    if (has_endless_line(source->text()))
        setWordWrapMode(QTextOption::WrapAnywhere);
    QPlainTextEdit::insertFromMimeData(source);
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
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
}
