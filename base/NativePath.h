#pragma once

#include <QString>

#include <filesystem>

/// Between Qt's paths and those of std::filesystem, which is used where Qt has nothing.
std::filesystem::path ToNativePath(const QString& path);

/// For people: what the system's encoding does not know becomes U+FFFD.
QString FromNativePath(const std::filesystem::path& path);
