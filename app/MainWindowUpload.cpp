#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Logger.h"
#include "SteamWrapper.h"
#include "UploadDialog.h"

#include <QDesktopServices>
#include <QUrl>

void MainWindow::on_SubmitButton_clicked()
{
    if (!ModParser::ValidateModDirectory(mod_descriptor)) {
        Logger::LogMessage(tr("Failed to upload mod '%1' to Steam Workshop<br>%2")
                               .arg(mod_descriptor.name, ModParser::GetParseMetadataResult()),
                           Logger::Error);
        return;
    }

    // A click takes no focus on some desktops, and the description is only stored when it is left.
    ui->ModDescription->clearFocus();

    // In memory only: it is saved when the upload has succeeded.
    mod_descriptor.IncrementVersion();
    SteamWrapper::GetInstance()->UploadMod(mod_descriptor, ui->ChangeNotes->GetFinalText(),
                                           MainWindow::mod_upload_result_received, this);

    // A dialog of an earlier upload that the user only hid stays with the window until it closes.
    upload_dialog = new UploadDialog(this);
    upload_dialog->setWindowTitle(tr("Uploading mod '%1'").arg(mod_descriptor.name));
    upload_dialog->show();
}

void MainWindow::forward_upload_progress()
{
    if (!upload_dialog)
        return;
    const int progress = SteamWrapper::GetInstance()->GetUploadModProgress();
    if (progress > 0)
        upload_dialog->UpdateProgress(progress);
}

void MainWindow::mod_upload_result_received(bool success, void* user)
{
    auto* const window = static_cast<MainWindow*>(user);
    if (success) {
        window->mod_descriptor.SaveMetadata();
        window->enable_viewing_ui(true);
    } else {
        window->mod_descriptor.DecrementVersion();
    }
    window->refresh_mod_information_ui();

    delete window->upload_dialog;
    window->upload_dialog = nullptr;
}

void MainWindow::on_ViewButton_clicked()
{
    const QString address = tr("https://steamcommunity.com/sharedfiles/filedetails/?id=%1");
    QDesktopServices::openUrl(QUrl(address.arg(mod_descriptor.id), QUrl::TolerantMode));
}
