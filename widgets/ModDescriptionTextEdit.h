#pragma once

#include "PromptedTextEdit.h"

/// The editor of the mod's description. A changed text is stored in the loaded mod and saved as
/// soon as the editor loses the focus, also because it is disabled: a file that somebody has broken
/// meanwhile is replaced, as the typed text exists nowhere else.
class ModDescriptionTextEdit : public PromptedTextEdit
{
    Q_OBJECT

public:
    explicit ModDescriptionTextEdit(QWidget* parent);

protected:
    const QString& prompt() const override;
    void focusOutEvent(QFocusEvent* e) override;
};
