#include "UploadDialog.h"

#include "ui_UploadDialog.h"

UploadDialog::UploadDialog(QWidget* parent) : QDialog(parent), ui(new Ui_UploadDialog)
{
    ui->setupUi(this);
}

UploadDialog::~UploadDialog()
{
    delete ui;
}

void UploadDialog::UpdateProgress(int value)
{
    ui->UploadProgress->setValue(value);
}
