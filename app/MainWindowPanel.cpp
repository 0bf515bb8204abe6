#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Visibility.h"

void MainWindow::refresh_mod_information_ui()
{
    ui->ModName->setText(tr("Name: %1").arg(mod_descriptor.name));
    ui->ModName->setToolTip(mod_descriptor.name);
    ui->ModDescription->setToolTip(mod_descriptor.description);
    ui->ModVersion->setText(tr("Version: %1").arg(mod_descriptor.version));
    ui->ModVersion->setToolTip(mod_descriptor.version);

    // An empty description does not wipe what the user may be writing.
    if (!mod_descriptor.description.isEmpty())
        ui->ModDescription->setPlainText(mod_descriptor.description);

    ui->ModVisibility->setCurrentIndex(ModParser::visibility_index(mod_descriptor.visibility));

    for (int row = 0; row < ui->ModTags->count(); ++row) {
        QListWidgetItem* const item = ui->ModTags->item(row);
        const bool is_set = mod_descriptor.tags.contains(item->text());
        item->setData(Qt::CheckStateRole, is_set ? Qt::Checked : Qt::Unchecked);
    }
}

void MainWindow::enable_all_ui(bool enable)
{
    enable_processing_ui(enable);
    enable_uploading_ui(enable);
    enable_information_ui(enable);
    enable_viewing_ui(enable);
}

void MainWindow::enable_uploading_ui(bool enable)
{
    ui->SubmitButton->setDisabled(!enable);
    ui->ChangeNotes->setDisabled(!enable);
}

void MainWindow::enable_information_ui(bool enable)
{
    ui->ModVisibility->setDisabled(!enable);
    ui->ChangePreview->setDisabled(!enable);
    ui->ModDescription->setDisabled(!enable);
    ui->ModTags->setDisabled(!enable);
}

void MainWindow::enable_viewing_ui(bool enable)
{
    ui->ViewButton->setDisabled(!enable);
}

void MainWindow::enable_processing_ui(bool enable)
{
    ui->ChooseMetadata->setDisabled(!enable);
}
