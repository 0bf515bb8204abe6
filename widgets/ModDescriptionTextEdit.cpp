#include "ModDescriptionTextEdit.h"

#include "MainWindow.h"

ModDescriptionTextEdit::ModDescriptionTextEdit(QWidget* parent)
    : PromptedTextEdit(QStringLiteral("Enter Mod Description"), parent)
{}

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
