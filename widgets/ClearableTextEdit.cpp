#include "ClearableTextEdit.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QTextBlock>

namespace {

/// In characters; longer than any path or mod's name, so the log never meets one. For each line of
/// a run Qt looks for the run's end, which takes a time that grows with the square of the length:
/// half a million characters would stop the window for a minute.
constexpr int longest_run = 10'000;

bool has_endless_run(const QString& text)
{
    int length = 0;
    for (const QChar character : text) {
        const bool is_break = character == QLatin1Char(' ') || character == QLatin1Char('\t')
                              || character == QChar::LineSeparator;
        length = is_break ? 0 : length + 1;
        if (length > longest_run)
            return true;
    }
    return false;
}

} // namespace

ClearableTextEdit::ClearableTextEdit(QWidget* parent) : QPlainTextEdit(parent)
{
    // The menu opens on the press itself; the base class's own must not follow it.
    setContextMenuPolicy(Qt::PreventContextMenu);
    // Emitted before the new text is laid out.
    connect(document(), &QTextDocument::contentsChange, this, &ClearableTextEdit::choose_wrapping);
}

void ClearableTextEdit::choose_wrapping(int from, int /*removed*/, int added)
{
    if (added == 0)
        return; // the first half of showing another text
    const bool was_anywhere = wordWrapMode() == QTextOption::WrapAnywhere;
    // A run that was there may have gone: then the whole text counts.
    QTextBlock block = document()->findBlock(was_anywhere ? 0 : from);
    const int end = was_anywhere ? document()->characterCount() : from + added;
    bool is_endless = false;
    for (; block.isValid() && block.position() <= end && !is_endless; block = block.next())
        is_endless = has_endless_run(block.text());
    setWordWrapMode(is_endless ? QTextOption::WrapAnywhere
                               : QTextOption::WrapAtWordBoundaryOrAnywhere);
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
