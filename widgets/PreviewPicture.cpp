#include "widgets/PreviewPicture.h"

#include "qt/Differences.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QtEndian>

#include <algorithm>

namespace {

/// A few hundred bytes can unpack to gigabytes. 32 million pixels take 128 MiB (twice that with
/// 16 bits for each colour), far above any picture that fits into the Workshop's limit of 1 MiB in
/// earnest.
constexpr qint64 max_pixels = qint64{32} * 1024 * 1024;
/// What a picture of that size takes with 16 bits for each colour and nothing packed.
constexpr qint64 max_file_bytes = max_pixels * 8;
/// Each can unpack to 8 MB, and is unpacked although nobody looks at it.
constexpr int max_packed_texts = 16;
/// A progressive JPEG has some ten scans. Each goes over all pixels, and takes ten bytes of file.
constexpr int max_scans_of_largest = 100;

/// The formats of Qt itself, which tell the size of a picture before they unpack it. Plugins that
/// others have installed need not: a vector format, for one, is unpacked and read whole for its
/// size, and may hold further pictures.
bool is_known(const QByteArray& format)
{
    static const QList<QByteArray> known{"bmp", "cur", "gif", "ico", "jpeg", "pbm",
                                         "pgm", "png", "ppm", "xbm", "xpm"};
    return known.contains(format);
}

/// The number at `place`; 0 where there is none.
template<typename Number>
Number little_endian(const QByteArray& data, qint64 place)
{
    if (place > data.size() - qint64{sizeof(Number)})
        return 0;
    return qFromLittleEndian<Number>(data.constData() + place);
}

bool is_within_limit(const QSize& size)
{
    return qint64{size.width()} * size.height() <= max_pixels;
}

/// The reader tells the size of the first frame but unpacks the screen. It takes a screen without a
/// width or height from a frame, which may be any.
bool is_bearable_gif(const QByteArray& data)
{
    const QSize screen(little_endian<quint16>(data, 6), little_endian<quint16>(data, 8));
    return !screen.isEmpty() && is_within_limit(screen);
}

/// The first picture of an icon has a header of its own, which is what counts.
bool is_bearable_icon(const QByteArray& data)
{
    const qint64 length = little_endian<quint32>(data, 14); // is allocated as it stands
    const qint64 picture = little_endian<quint32>(data, 18);
    const auto number = [&data, picture](qint64 place) {
        return little_endian<qint32>(data, picture + place);
    };
    const bool is_png = number(0) == 0x474E5089; // the first bytes, the last one highest
    const QSize size =
        is_png ? QSize(qbswap(number(16)), qbswap(number(20))) : QSize(number(4), number(8));
    return length <= data.size() && is_within_limit(size);
}

/// Judges by the headers; nothing is unpacked yet.
bool is_bearable(const QByteArray& data, const QImageReader& reader)
{
    const QByteArray format = reader.format();
    const QSize size = is_known(format) ? reader.size() : QSize();
    if (!size.isValid() || !is_within_limit(size))
        return false;
    if (format == "jpeg") {
        const qint64 scans = data.count("\xFF\xDA");
        return scans * size.width() * size.height() <= max_pixels * max_scans_of_largest;
    }
    if (format == "gif")
        return is_bearable_gif(data);
    if (format == "ico" || format == "cur")
        return is_bearable_icon(data);
    return true;
}

} // namespace

QPixmap PreviewPicture::FromData(const QByteArray& data)
{
    // Before there is a reader: it unpacks them to tell the size. Icons may hold them too.
    if (data.count("zTXt") + data.count("iTXt") > max_packed_texts)
        return {};
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    if (!is_bearable(data, reader))
        return {};
    QtDifferences::LiftPictureLimit(); // this one was the limit
    return QPixmap::fromImageReader(&reader);
}

QPixmap PreviewPicture::FromFile(const QString& path)
{
    QFile file(path);
    // Opening a pipe would wait for ever.
    if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    // No more is asked for than there is: what is asked for is allocated.
    const QByteArray data = file.read(std::min(file.size(), max_file_bytes) + 1);
    return data.size() <= max_file_bytes ? FromData(data) : QPixmap();
}
