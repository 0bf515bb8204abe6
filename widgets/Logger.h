#pragma once

#include <QString>

class QPlainTextEdit;

/// The one way in which the program speaks to its user: coloured lines in the main window's log.
/// GUI thread only. While no pane is set, messages are dropped.
class Logger
{
public:
    enum eMessageType : unsigned {
        Info,    ///< black: progress and prompts
        Success, ///< green: completed steps
        Warning, ///< olive: advice that needs attention
        Error,   ///< dark red: failures
    };

    Logger() = delete;

    /// Sets the pane that receives the lines; it stays its owner's. Always returns true.
    static bool Initialize(QPlainTextEdit* edit);
    static void Shutdown();

    /// Appends `message` as one line in the colour of `type`. The message is taken as HTML, so it
    /// may hold markup. An unknown type appends an empty line.
    static void LogMessage(QString message, eMessageType type);

private:
    static QPlainTextEdit* s_Edit;
};
