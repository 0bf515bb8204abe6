#pragma once

class QMouseEvent;
class QPlainTextEdit;
class QString;

/// Runs the right-click menu of the text panes at the place of `press` and returns when it has
/// closed. Its one entry, "Clear All", triggers the slot `clear_all()` of `edit`.
void RunClearAllMenu(QPlainTextEdit& edit, const QMouseEvent& press, const QString& title);
