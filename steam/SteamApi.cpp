#include "SteamApi.h"

#include "SteamLibrary.h"

#include <QCoreApplication>
#include <QDir>

#include <array>
#include <cstdio>

namespace {

std::optional<SteamFunctions> s_functions; // the library, once it is loaded
SteamContext s_context;                    // all null while the API is not running
QString s_problem;

/// The length of the reason text that the newer start functions fill in.
constexpr std::size_t reason_size = 1024;

/// Where the library has to be: beside the executable and nowhere else. A library from a search
/// path or from the working directory could be anybody's.
QString library_path()
{
    return QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + QLatin1Char('/')
                                    + SteamLibraryFileName());
}

/// Always false, for the caller to return.
bool report(const QString& problem)
{
    s_problem = problem;
    // On a line of its own: some libraries leave their last line unfinished.
    std::fprintf(stderr, "\n%s\n", qPrintable(problem));
    return false;
}

bool load_library()
{
    QString problem;
    s_functions = LoadSteamLibrary(library_path(), problem);
    return s_functions || report(problem);
}

/// The client looks for the application id in the environment before it tries a file in the working
/// directory, which may be anywhere. What Steam has set itself stays, unless the player has added
/// the program to Steam as a foreign game: then the id is 0, and Steam would refuse to start.
void name_application(AppId_t app)
{
    if (qgetenv("SteamAppId").toUInt() > 0) // 0 also for what is no number or too large
        return;
    for (const char* variable : {"SteamAppId", "SteamGameId"})
        qputenv(variable, QByteArray::number(app));
}

bool start(const SteamFunctions& functions)
{
    std::array<char, reason_size + 1> reason{}; // ends with a zero, whatever the library writes
    bool started = false;
    if (functions.SteamAPI_Init)
        started = functions.SteamAPI_Init();
    else if (functions.SteamAPI_InitFlat)
        started = functions.SteamAPI_InitFlat(reason.data()) == 0;
    else if (functions.SteamInternal_SteamAPI_Init)
        started = functions.SteamInternal_SteamAPI_Init(nullptr, reason.data()) == 0;
    else
        started = functions.SteamAPI_InitSafe();

    const QString why = QString::fromUtf8(reason.data()).trimmed();
    return started
           || report(QStringLiteral("%1: the Steam API did not start: %2")
                         .arg(library_path(),
                              why.isEmpty() ? QStringLiteral("no reason was given") : why));
}

/// A client can start and yet no longer know the interfaces that an upload needs.
bool has_needed_interfaces()
{
    if (s_context.User && s_context.UGC)
        return true;
    const char* const missing = !s_context.Client ? "ISteamClient"
                                : !s_context.User ? "ISteamUser"
                                                  : "ISteamUGC";
    return report(QStringLiteral("%1: the Steam client has no %2 of the version that is needed")
                      .arg(library_path(), QLatin1String(missing)));
}

} // namespace

bool SteamApi::Init(AppId_t app)
{
    s_problem.clear();
    if (!s_functions && !load_library())
        return false;
    name_application(app);
    s_context = SteamContext{};
    if (!start(*s_functions))
        return false;
    s_context = RequestInterfaces(*s_functions);
    const bool is_usable = has_needed_interfaces();
    if (!is_usable)
        Shutdown();
    return is_usable;
}

const QString& SteamApi::Problem()
{
    return s_problem;
}

void SteamApi::RunCallbacks()
{
    s_functions->SteamAPI_RunCallbacks();
}

void SteamApi::Shutdown()
{
    if (s_functions)
        s_functions->SteamAPI_Shutdown();
    s_context = SteamContext{};
}

const SteamContext& SteamApi::Context()
{
    return s_context;
}

void SteamApi::RegisterCallResult(CallResultBase* holder, SteamAPICall_t call)
{
    s_functions->SteamAPI_RegisterCallResult(holder, call);
}

void SteamApi::UnregisterCallResult(CallResultBase* holder, SteamAPICall_t call)
{
    s_functions->SteamAPI_UnregisterCallResult(holder, call);
}
