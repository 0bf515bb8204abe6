#include "Logger.h"

#include <QObject>
#include <QPlainTextEdit>

QPlainTextEdit* Logger::s_Edit = nullptr;

namespace {

/// The line format of a message type, null for an unknown type.
QString line_format(Logger::eMessageType type)
{
    switch (type) {
    case Logger::Info:
        return QObject::tr("<font color=\"#000000\">%1</font>");
    case Logger::Success:
        return QObject::tr("<font color=\"#008800\">%1</font>");
    case Logger::Warning:
        return QObject::tr("<font color=\"#888800\">%1</font>");
    case Logger::Error:
        return QObject::tr("<font color=\"#aa0000\">%1</font>");
    }
    return {};
}

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
    const QString format = line_format(type);
    s_Edit->appendHtml(format.isNull() ? QString() : format.arg(message));
}
