#pragma once

#include <QPixmap>

class QByteArray;
class QString;

/// Decodes untrusted images. The format is detected from the data. An image that cannot be decoded,
/// or that is larger than any preview, gives a null pixmap.
namespace PreviewImage {

QPixmap FromData(const QByteArray& data);
QPixmap FromFile(const QString& path);

} // namespace PreviewImage
