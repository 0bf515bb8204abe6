#include "UploadDialog.h"

#include "ui_UploadDialog.h"

UploadDialog::UploadDialog(QWidget* parent) : QDialog(parent), ui(new Ui_UploadDialog)
{
    ui->setupUi(this);
    ui->UploadProgress->setMinimum(0);
    ui->UploadProgress->setMaximum(100);
}

UploadDialog::~UploadDialog()
{
    delete ui;
}

void UploadDialog::UpdateProgress(int value)
{
    ui->UploadProgress->setValue(value);
}
