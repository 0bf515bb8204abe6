#include "metadata/NativePath.h"

#include <QFile>

#if defined(Q_OS_WIN)

std::filesystem::path ToNativePath(const QString& path)
{
    return path.toStdWString();
}

QString FromNativePath(const std::filesystem::path& path)
{
    return QString::fromStdWString(path.generic_wstring());
}

#else

std::filesystem::path ToNativePath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

QString FromNativePath(const std::filesystem::path& path)
{
    return QFile::decodeName(path.c_str());
}

#endif
