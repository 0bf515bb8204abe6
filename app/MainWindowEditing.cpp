#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "PreviewImage.h"
#include "Visibility.h"

#include <QFileDialog>

#include <iterator>

void MainWindow::on_ChangePreview_clicked()
{
    const QString path =
        QFileDialog::getOpenFileName(this, QStringLiteral("Choose Preview"), QString(),
                                     QStringLiteral("Mod Preview Files (*.png *.jpg *.bmp)"));
    if (path.isEmpty())
        return;
    // For the next upload only: reading the metadata again forgets it.
    mod_descriptor.preview_path = path;
    show_preview(PreviewImage::FromFile(path));
}

/// Also runs when the program selects an entry: once while the window is built, with no mod loaded,
/// and when a mod of another visibility is shown.
void MainWindow::on_ModVisibility_currentIndexChanged(int Index)
{
    // -1 is no entry.
    if (Index >= 0 && Index < static_cast<int>(std::size(ModParser::visibilities)))
        mod_descriptor.visibility = tr(ModParser::visibilities[Index]);
    mod_descriptor.SaveMetadata();
}

/// Compares all rows with the mod, so it does not matter what the click itself did.
void MainWindow::on_ModTags_clicked(const QModelIndex&)
{
    QStringList checked;
    bool has_new = false;
    for (int row = 0; row < ui->ModTags->count(); ++row) {
        const QListWidgetItem* const item = ui->ModTags->item(row);
        if (item->data(Qt::CheckStateRole).toInt() != Qt::Checked)
            continue;
        checked << item->text();
        has_new = has_new || !mod_descriptor.tags.contains(item->text());
    }
    if (!has_new && checked.size() == mod_descriptor.tags.size())
        return;
    mod_descriptor.tags = checked;
    mod_descriptor.SaveMetadata();
}
