#pragma once

#include <QString>

#include <filesystem>

/// A path of Qt for std::filesystem, which is used where Qt has nothing.
std::filesystem::path ToNativePath(const QString& path);
