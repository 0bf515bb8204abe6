#include "PreviewImage.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QtEndian>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace {

/// A few hundred bytes can decode to gigabytes. 8 Mi pixels are a screen of 3840 x 2160, far more
/// than a preview of less than 1 MiB has. Decoding takes up to 12 bytes a pixel (a progressive JPEG
/// with four colour channels).
constexpr qint64 max_pixels = qint64{8} * 1024 * 1024;
/// A BMP of that size.
constexpr qint64 max_file_bytes = max_pixels * 4 + qint64{64} * 1024;
/// A progressive JPEG has some ten scans. Each covers all pixels and takes as little as ten bytes.
constexpr int max_scans = 32;
/// CPU time, so that the load of the computer does not decide which images are shown.
constexpr std::clock_t max_time = CLOCKS_PER_SEC / 2;

/// Qt's own formats for previews. They report the size of an image before it is decoded; installed
/// plugins need not.
bool is_known(const QByteArray& format)
{
    static const QList<QByteArray> known{"bmp", "gif", "jpeg", "png"};
    return known.contains(format);
}

/// The data of an image, which end early once decoding has taken too long. The number of pixels
/// does not limit that: decoders also decompress what follows the last pixel, and slow down with
/// every comment.
class TimedData final : public QIODevice
{
public:
    /// The reader opens it.
    explicit TimedData(QByteArray new_data) : data(std::move(new_data)) {}

    qint64 size() const override { return data.size(); }
    bool is_late() const { return std::clock() - start > max_time; }

protected:
    qint64 readData(char* target, qint64 most) override
    {
        const qint64 length = is_late() ? 0 : std::min(most, data.size() - pos());
        std::copy_n(data.constData() + pos(), length, target);
        return length;
    }

    qint64 writeData(const char* /*source*/, qint64 /*length*/) override { return -1; }

private:
    const QByteArray data;
    const std::clock_t start = std::clock();
};

/// The PNG without its metadata. A compressed text of 8 KB takes 50 MiB while it is read.
QByteArray without_texts(const QByteArray& png)
{
    static const QList<QByteArray> needed{"IHDR", "PLTE", "tRNS", "IDAT", "IEND"};
    constexpr int around_content = 12; // length, kind and checksum
    QByteArray result = png.left(8);
    int length = 0;
    for (int place = 8; place + around_content <= png.size(); place += length) {
        const qint64 claimed = qFromBigEndian<quint32>(png.constData() + place);
        length = static_cast<int>(std::min<qint64>(around_content + claimed, png.size() - place));
        if (needed.contains(png.mid(place + 4, 4)))
            result += png.mid(place, length);
    }
    return result;
}

/// A BMP that is stored from top to bottom has a negative height.
bool is_within_limit(const QSize& size)
{
    const qint64 pixels = size.width() * std::abs(qint64{size.height()});
    return pixels > 0 && pixels <= max_pixels;
}

/// The reader reports the size of the first frame but allocates the logical screen, which it takes
/// from any frame if it has no width or height.
QSize gif_screen(const QByteArray& gif)
{
    if (gif.size() < 10)
        return {};
    return {qFromLittleEndian<quint16>(gif.constData() + 6),
            qFromLittleEndian<quint16>(gif.constData() + 8)};
}

/// Checks the headers; nothing is decoded yet.
bool is_acceptable(const QByteArray& data, const QImageReader& reader)
{
    const QByteArray format = reader.format();
    // Reading the comments of a JPEG takes six times their size, its pixels less than a byte each.
    if (format == "jpeg" && (data.size() > max_pixels || data.count("\xFF\xDA") > max_scans))
        return false;
    if (format == "gif" && !is_within_limit(gif_screen(data)))
        return false;
    return is_known(format) && is_within_limit(reader.size());
}

} // namespace

QPixmap PreviewImage::FromData(const QByteArray& data)
{
    TimedData source(data.startsWith("\x89PNG") ? without_texts(data) : data);
    QImageReader reader(&source);
    if (!is_acceptable(data, reader))
        return {};
    const QPixmap picture = QPixmap::fromImageReader(&reader);
    return source.is_late() ? QPixmap() : picture;
}

QPixmap PreviewImage::FromFile(const QString& path)
{
    QFile file(path);
    // Opening a pipe would block until somebody writes.
    if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray data = file.read(max_file_bytes + 1);
    return data.size() <= max_file_bytes ? FromData(data) : QPixmap();
}
