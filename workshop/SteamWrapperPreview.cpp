#include "SteamWrapper.h"

#include "ISteamUGC.h"
#include "Logger.h"
#include "PreviewImage.h"
#include "SteamApi.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <array>
#include <utility>

namespace {

std::array<char, 4096> s_preview_url;

/// Marks a request as a preview download, with the value 0. A request without it reads as 0 too.
constexpr auto kind_attribute = QNetworkRequest::User;

/// The Workshop takes previews of less than 1 MiB; much more than that is no preview.
constexpr qint64 max_preview_bytes = qint64{8} * 1024 * 1024;
/// What Qt may hold unread. It keeps a block of a hundred bytes or more for each chunk of the
/// reply, and a chunk may be a single byte.
constexpr qint64 read_ahead_bytes = qint64{64} * 1024;
constexpr int silence_timeout_ms = 30'000;
/// An error text may quote what the server has sent, and a long line takes the log seconds.
constexpr int max_reason_characters = 500;

QNetworkRequest preview_request()
{
    const QString address = QString::fromLatin1(s_preview_url.data());
    QNetworkRequest request(QUrl(address, QUrl::TolerantMode));
    request.setAttribute(kind_attribute, QVariant(0));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setTransferTimeout(silence_timeout_ms);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    // Qt would decompress a reply before its size can be checked. Images are not sent compressed.
    request.setRawHeader("Accept-Encoding", "identity");
    return request;
}

} // namespace

bool SteamWrapper::RetrieveModPreview(const ModParser::ModDescriptor& mod,
                                      void (*callback)(const QPixmap& preview, void* user),
                                      void* user)
{
    const PublishedFileId_t item = mod.id.toULongLong();
    if (item == 0)
        return false;

    SteamAPICall_t call = k_uAPICallInvalid;
    if (ISteamUGC* const ugc = SteamApi::Context().UGC) {
        query_handle = ugc->CreateQueryUGCDetailsRequest(&item, 1);
        call = ugc->SendQueryUGCRequest(query_handle);
    }
    query_call_result.Set(call, this, &SteamWrapper::on_mod_query_complete);
    current_mod = mod;
    preview_callback = CallbackInfo<const QPixmap&>(callback, user);
    if (preview_reply && preview_reply->isRunning())
        delete preview_reply; // only the newest request is answered
    return true;
}

void SteamWrapper::on_mod_query_complete(SteamUGCQueryCompleted_t* /*result*/, bool /*ioFailure*/)
{
    const UGCQueryHandle_t query = query_handle;
    query_handle = 0;
    ISteamUGC* const ugc = SteamApi::Context().UGC;
    if (!preview_callback.callback || !ugc)
        return;

    if (!ugc->GetQueryUGCPreviewURL(query, 0, s_preview_url.data(), s_preview_url.size()))
        return;
    s_preview_url.back() = '\0';

    preview_bytes.clear();
    preview_reply = network_access_manager->get(preview_request());
    // Without a limit Qt's own thread reads on for as long as there is something to read.
    preview_reply->setReadBufferSize(read_ahead_bytes);
    connect(preview_reply, &QNetworkReply::readyRead, this, &SteamWrapper::take_preview_bytes);
}

void SteamWrapper::take_preview_bytes()
{
    preview_bytes += preview_reply->readAll();
    if (preview_bytes.size() > max_preview_bytes)
        preview_reply->abort();
}

void SteamWrapper::received_network_reply(QNetworkReply* reply)
{
    if (reply->request().attribute(kind_attribute).toInt() != 0)
        return;

    // Taken before it is called: it may ask for the next preview at once.
    const CallbackInfo<const QPixmap&> callback = preview_callback;
    preview_callback.Reset();
    const QByteArray arrived = std::exchange(preview_bytes, QByteArray());

    if (reply->error() != QNetworkReply::NoError) {
        Logger::LogMessage(
            tr("Failed to download preview image for mod '%1': %2")
                .arg(current_mod.name, reply->errorString().left(max_reason_characters)),
            Logger::Error);
        callback.Call(QPixmap());
        return;
    }
    callback.Call(PreviewImage::FromData(arrived + reply->readAll()));
}
