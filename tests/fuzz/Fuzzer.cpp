#include "Properties.h"

#include <QGuiApplication>

#include <cstddef>

// The names are those that libFuzzer looks for. PROPERTY comes from the build: one fuzzer for each.

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QGuiApplication application(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uchar* data, std::size_t size)
{
    Properties::PROPERTY(QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(size)));
    return 0;
}
