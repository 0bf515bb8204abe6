#pragma once

#include <QDialog>

class Ui_UploadDialog;

/// The progress of a running upload: a modal dialog that holds nothing but a bar.
class UploadDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(UploadDialog)

public:
    explicit UploadDialog(QWidget* parent = nullptr);
    ~UploadDialog() override;

    /// Moves the bar, whose range is 0 to 100.
    void UpdateProgress(int value);

private:
    Ui_UploadDialog* ui = nullptr;
};
