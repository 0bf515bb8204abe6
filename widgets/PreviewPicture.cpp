#include "widgets/PreviewPicture.h"

#include "qt/Differences.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>

namespace {

/// A few hundred bytes can unpack to gigabytes. 32 million pixels take 128 MiB (twice that with
/// 16 bits for each colour), far above any picture that fits into the Workshop's limit of 1 MiB in
/// earnest.
constexpr qint64 max_pixels = qint64{32} * 1024 * 1024;

QPixmap decode(QIODevice& device)
{
    QImageReader reader(&device);
    const QSize size = reader.size(); // from the header, nothing is unpacked yet
    if (!size.isValid() || qint64{size.width()} * size.height() > max_pixels)
        return {};
    QtDifferences::LiftPictureLimit(); // this one was the limit
    return QPixmap::fromImageReader(&reader);
}

} // namespace

QPixmap PreviewPicture::FromData(const QByteArray& data)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    return decode(buffer);
}

QPixmap PreviewPicture::FromFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return decode(file);
}
