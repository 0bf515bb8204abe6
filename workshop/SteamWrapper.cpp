#include "SteamWrapper.h"

#include "Logger.h"
#include "SteamApi.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

SteamWrapper* SteamWrapper::s_Instance = nullptr;

SteamWrapper* SteamWrapper::GetInstance()
{
    if (!s_Instance)
        s_Instance = new SteamWrapper;
    return s_Instance;
}

void SteamWrapper::DestroyInstance()
{
    delete s_Instance;
    s_Instance = nullptr;
}

bool SteamWrapper::Initialize()
{
    if (!SteamApi::Init(TARNWICK_STEAM_APP_ID)) {
        Logger::LogMessage(tr("Initializing Steam API... Failed. Please make sure Steam is running "
                              "and then relaunch this app"),
                           Logger::Error);
        return false;
    }

    Logger::LogMessage(tr("Initializing Steam API... Success"), Logger::Success);
    network_access_manager = new QNetworkAccessManager(this);
    connect(network_access_manager, SIGNAL(finished(QNetworkReply*)), this,
            SLOT(received_network_reply(QNetworkReply*)));
    return true;
}

QString SteamWrapper::StartProblem() const
{
    return SteamApi::Problem();
}

void SteamWrapper::Update()
{
    // Also the guard against a start that failed: there is no user interface then.
    if (SteamApi::Context().User)
        SteamApi::RunCallbacks();
}

void SteamWrapper::Shutdown()
{
    SteamApi::Shutdown();
}
