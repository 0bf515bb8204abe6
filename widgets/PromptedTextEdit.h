#pragma once

#include "ClearableTextEdit.h"

/// A text editor that shows a prompt while it is empty and has no focus.
///
/// The prompt is ordinary text, recognised only by comparing the whole text: a user who types
/// exactly the prompt has typed nothing.
class PromptedTextEdit : public ClearableTextEdit
{
    Q_OBJECT

public:
    /// The text for use: empty while the prompt shows, otherwise as it is.
    QString GetFinalText() const;

protected:
    /// Subclasses show their prompt themselves when they are built.
    explicit PromptedTextEdit(QWidget* parent);

    virtual const QString& prompt() const = 0;

    void focusInEvent(QFocusEvent* e) override;
    void focusOutEvent(QFocusEvent* e) override;

private:
    bool shows_prompt() const;
};
