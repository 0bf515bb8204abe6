#include "SteamLibrary.h"

#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QStringList>
#include <QtEndian>

namespace {

/// Sets `function` to the export `name`, or to null; returns whether it is there.
template<typename Function>
bool resolve(QLibrary& library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(library.resolve(name));
    return function != nullptr;
}

template<typename Function>
void require(QLibrary& library, const char* name, Function& function, QStringList& missing)
{
    if (!resolve(library, name, function))
        missing << QString::fromLatin1(name);
}

QStringList resolve_all(QLibrary& library, SteamFunctions& functions)
{
    QStringList missing;

    // The start function has changed its name over the years; one of them is enough.
    const bool can_start[] = {
        resolve(library, "SteamAPI_Init", functions.SteamAPI_Init),
        resolve(library, "SteamAPI_InitFlat", functions.SteamAPI_InitFlat),
        resolve(library, "SteamInternal_SteamAPI_Init", functions.SteamInternal_SteamAPI_Init),
        resolve(library, "SteamAPI_InitSafe", functions.SteamAPI_InitSafe),
    };
    if (!(can_start[0] || can_start[1] || can_start[2] || can_start[3]))
        missing << QStringLiteral("SteamAPI_Init (or a later form of it)");

    require(library, "SteamAPI_Shutdown", functions.SteamAPI_Shutdown, missing);
    require(library, "SteamAPI_RunCallbacks", functions.SteamAPI_RunCallbacks, missing);
    require(library, "SteamAPI_RegisterCallResult", functions.SteamAPI_RegisterCallResult, missing);
    require(library, "SteamAPI_UnregisterCallResult", functions.SteamAPI_UnregisterCallResult,
            missing);
    require(library, "SteamAPI_GetHSteamUser", functions.SteamAPI_GetHSteamUser, missing);
    require(library, "SteamAPI_GetHSteamPipe", functions.SteamAPI_GetHSteamPipe, missing);
    require(library, "SteamInternal_CreateInterface", functions.SteamInternal_CreateInterface,
            missing);
    return missing;
}

/// Whether the file is an ELF library without its end, as an interrupted copy leaves it: the
/// system's loader maps such a file without a look at its size and takes the process down. The
/// table of sections, whose place is in the header, lies at the end of the file.
bool is_cut_short(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray header = file.read(64);
    if (!header.startsWith("\x7F\x45LF\x02\x01")) // 64 bits, little-endian
        return false;
    if (header.size() < 64)
        return true;
    const auto table = qFromLittleEndian<quint64>(header.constData() + 40);
    const quint64 size = quint64{qFromLittleEndian<quint16>(header.constData() + 58)}
                         * qFromLittleEndian<quint16>(header.constData() + 60);
    return table + size > static_cast<quint64>(file.size());
}

} // namespace

QString SteamLibraryFileName()
{
#if defined(Q_OS_WIN64)
    return QStringLiteral("steam_api64.dll");
#elif defined(Q_OS_WIN)
    return QStringLiteral("steam_api.dll");
#elif defined(Q_OS_MACOS)
    return QStringLiteral("libsteam_api.dylib");
#else
    return QStringLiteral("libsteam_api.so");
#endif
}

std::optional<SteamFunctions> LoadSteamLibrary(const QString& path, QString& problem)
{
    if (!QFileInfo(path).isFile()) {
        problem = QStringLiteral("%1: there is no such file").arg(path);
        return std::nullopt;
    }

    if (is_cut_short(path)) {
        problem = QStringLiteral("%1: cannot be loaded: its end is missing").arg(path);
        return std::nullopt;
    }

    QLibrary library(path);
    // A dependency that is missing must show here, not as a crash at the first call.
    library.setLoadHints(QLibrary::ResolveAllSymbolsHint);
    if (!library.load()) {
        problem = QStringLiteral("%1: cannot be loaded: %2").arg(path, library.errorString());
        return std::nullopt;
    }

    SteamFunctions functions;
    const QStringList missing = resolve_all(library, functions);
    if (!missing.isEmpty()) {
        problem = QStringLiteral("%1: not a usable Steam library, it lacks %2")
                      .arg(path, missing.join(QStringLiteral(", ")));
        return std::nullopt;
    }
    return functions;
}
