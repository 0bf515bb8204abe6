#include "ModDescriptionTextEdit.h"

#include "MainWindow.h"

namespace {

const QString s_Prompt = QStringLiteral("Enter Mod Description");

} // namespace

ModDescriptionTextEdit::ModDescriptionTextEdit(QWidget* parent) : PromptedTextEdit(parent)
{
    appendPlainText(s_Prompt);
}

const QString& ModDescriptionTextEdit::prompt() const
{
    return s_Prompt;
}

void ModDescriptionTextEdit::focusOutEvent(QFocusEvent* e)
{
    PromptedTextEdit::focusOutEvent(e);

    ModParser::ModDescriptor& mod = MainWindow::GetWindow()->GetModDescriptor();
    const QString text = GetFinalText();
    if (mod.description == text)
        return;
    mod.description = text;
    mod.SaveMetadata();
}
