#pragma once

#include <QPixmap>

class QByteArray;
class QString;

/// Decodes pictures that come from outside. The format is told from the data; a picture that cannot
/// be decoded, or that would unpack to more than a preview can sensibly be, gives a null pixmap.
namespace PreviewImage {

QPixmap FromData(const QByteArray& data);
QPixmap FromFile(const QString& path);

} // namespace PreviewImage
