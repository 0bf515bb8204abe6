#include "workshop/SteamWrapper.h"

#include "steam/ISteamUGC.h"
#include "steam/SteamApi.h"
#include "widgets/Logger.h"
#include "widgets/PreviewPicture.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <array>
#include <utility>

namespace {

std::array<char, 4096> s_preview_url;

/// Marks a request as a preview download, with the value 0. A request without it reads as 0 too.
constexpr auto kind_attribute = QNetworkRequest::User;
/// Which preview request a download belongs to, so that a late one is not taken for the newest.
constexpr auto generation_attribute =
    static_cast<QNetworkRequest::Attribute>(QNetworkRequest::User + 1);

/// The Workshop takes previews of less than 1 MiB; whatever sends much more is no preview.
constexpr qint64 max_preview_bytes = qint64{8} * 1024 * 1024;
/// What Qt may hold that has not been taken yet.
constexpr qint64 read_ahead_bytes = qint64{64} * 1024;
constexpr int silence_timeout_ms = 30'000;

QNetworkRequest preview_request(uint generation)
{
    const QString address = QString::fromLatin1(s_preview_url.data());
    QNetworkRequest request(QUrl(address, QUrl::TolerantMode));
    request.setAttribute(kind_attribute, QVariant(0));
    request.setAttribute(generation_attribute, generation);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setTransferTimeout(silence_timeout_ms);
    // Qt would unpack a packed answer before anyone could look at its size. Pictures are not
    // packed.
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
    ++preview_generation;
    return true;
}

void SteamWrapper::on_mod_query_complete(SteamUGCQueryCompleted_t* /*result*/, bool /*ioFailure*/)
{
    const UGCQueryHandle_t query = query_handle;
    query_handle = 0;
    ISteamUGC* const ugc = SteamApi::Context().UGC;
    if (!preview_callback.callback || !ugc)
        return;

    s_preview_url.fill('\0');
    if (!ugc->GetQueryUGCPreviewURL(query, 0, s_preview_url.data(), s_preview_url.size()))
        return;
    s_preview_url.back() = '\0';

    QNetworkReply* const reply = network_access_manager->get(preview_request(preview_generation));
    // Without a limit Qt's own thread reads on for as long as there is something to read.
    reply->setReadBufferSize(read_ahead_bytes);
    preview_bytes.clear();
    connect(reply, &QNetworkReply::readyRead, this, [this, reply] { take_preview_bytes(*reply); });
}

void SteamWrapper::take_preview_bytes(QNetworkReply& reply)
{
    if (reply.request().attribute(generation_attribute).toUInt() != preview_generation) {
        reply.abort();
        return;
    }
    preview_bytes += reply.readAll();
    if (preview_bytes.size() > max_preview_bytes)
        reply.abort();
}

void SteamWrapper::received_network_reply(QNetworkReply* reply)
{
    if (reply->request().attribute(kind_attribute).toInt() != 0)
        return;
    const QVariant generation = reply->request().attribute(generation_attribute);
    if (generation.isValid() && generation.toUInt() != preview_generation)
        return;

    // Taken before it is called: it may ask for the next preview at once.
    const CallbackInfo<const QPixmap&> callback = preview_callback;
    preview_callback.Reset();
    const QByteArray arrived =
        generation.isValid() ? std::exchange(preview_bytes, QByteArray()) : QByteArray();

    if (reply->error() != QNetworkReply::NoError) {
        Logger::LogMessage(tr("Failed to download preview image for mod '%1': %2")
                               .arg(current_mod.name, reply->errorString()),
                           Logger::Error);
        callback.Call(QPixmap());
        return;
    }
    callback.Call(PreviewPicture::FromData(arrived + reply->readAll()));
}
