#pragma once

#include <QPlainTextEdit>

/// A text editor that shows a prompt while it is empty and has no focus.
///
/// The prompt is ordinary text, told apart from the user's only by comparing the whole: a user who
/// types exactly the prompt has typed nothing.
class PromptedTextEdit : public QPlainTextEdit
{
    Q_OBJECT

public:
    /// The text for use: empty while the prompt shows, otherwise as it stands.
    QString GetFinalText() const;

protected:
    /// Subclasses show their prompt themselves when they are built.
    explicit PromptedTextEdit(QWidget* parent);

    virtual const QString& prompt() const = 0;

    void mousePressEvent(QMouseEvent* e) override;
    void focusInEvent(QFocusEvent* e) override;
    void focusOutEvent(QFocusEvent* e) override;

private slots:
    void clear_all();

private:
    bool shows_prompt() const;
};
