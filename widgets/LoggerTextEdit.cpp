#include "widgets/LoggerTextEdit.h"

#include <QTextBlock>

namespace {

/// Characters from one place to break to the next.
constexpr int gap = 500;

} // namespace

LoggerTextEdit::LoggerTextEdit(QWidget* parent) : ClearableTextEdit(parent)
{
    // The colours of the lines are fixed, so the ground under them must not follow the desktop.
    QPalette colours = palette();
    colours.setBrush(QPalette::Active, QPalette::Base, Qt::lightGray);
    colours.setBrush(QPalette::Inactive, QPalette::Base, Qt::lightGray);
    setPalette(colours);
    connect(this, &QPlainTextEdit::textChanged, this, &LoggerTextEdit::break_endless_runs);
}

void LoggerTextEdit::break_endless_runs()
{
    if (wordWrapMode() != QTextOption::WrapAnywhere)
        return;
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        const QString text = block.text();
        if (!has_endless_run(text))
            continue;
        // From the end, so that the places before stay where they are.
        const int last = static_cast<int>(text.size()) - 1;
        for (int place = last / gap * gap; place > 0; place -= gap) {
            const int half = text.at(place).isLowSurrogate() ? 1 : 0; // a character stays whole
            cursor.setPosition(block.position() + place - half);
            cursor.insertText(QString(zero_width_space));
        }
    }
    cursor.endEditBlock();
}

QVariant LoggerTextEdit::loadResource(int /*type*/, const QUrl& /*name*/)
{
    return QByteArray(""); // not null, after which the document would look for itself
}
