#include "Logger.h"

#include <QPlainTextEdit>

#include <iterator>

QPlainTextEdit* Logger::s_Edit = nullptr;

namespace {

/// By message type.
constexpr const char* colours[] = {"#000000", "#008800", "#888800", "#aa0000"};

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
    const QString format = QStringLiteral("<font color=\"%1\">%2</font>");
    const bool is_known = type < std::size(colours);
    s_Edit->appendHtml(is_known ? format.arg(QLatin1String(colours[type]), message) : QString());
}
