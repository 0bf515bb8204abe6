#include "NativePath.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#if defined(Q_OS_WIN)

// Only with these beginnings a path may have more than some 260 characters; Qt adds them by itself.
namespace {

const QString long_share = QStringLiteral("//?/UNC/");
const QString long_path = QStringLiteral("//?/");

} // namespace

std::filesystem::path ToNativePath(const QString& path)
{
    const QString whole = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const bool is_share = whole.startsWith(QLatin1String("//"));
    const QString prefixed = is_share ? long_share + whole.mid(2) : long_path + whole;
    return QDir::toNativeSeparators(prefixed).toStdWString();
}

#else

std::filesystem::path ToNativePath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

#endif
