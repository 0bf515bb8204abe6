#include "Logger.h"

#include <QPlainTextEdit>

#include <iterator>

QPlainTextEdit* Logger::s_Edit = nullptr;

namespace {

/// By message type.
constexpr const char* formats[] = {
    QT_TRANSLATE_NOOP("QObject", "<font color=\"#000000\">%1</font>"),
    QT_TRANSLATE_NOOP("QObject", "<font color=\"#008800\">%1</font>"),
    QT_TRANSLATE_NOOP("QObject", "<font color=\"#888800\">%1</font>"),
    QT_TRANSLATE_NOOP("QObject", "<font color=\"#aa0000\">%1</font>"),
};

} // namespace

bool Logger::Initialize(QPlainTextEdit* edit)
{
    s_Edit = edit;
    return true;
}

void Logger::Shutdown()
{
    s_Edit = nullptr;
}

void Logger::LogMessage(QString message, eMessageType type)
{
    if (!s_Edit)
        return;
    const bool is_known = type < std::size(formats);
    s_Edit->appendHtml(is_known ? QObject::tr(formats[type]).arg(message) : QString());
}
