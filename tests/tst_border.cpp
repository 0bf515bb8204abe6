#include "Support.h"

#include "steam/CallResult.h"
#include "steam/ISteamClient.h"
#include "steam/ISteamUGC.h"
#include "steam/SteamLibrary.h"

#include <QCoreApplication>
#include <QTest>

#include <cstring>

namespace {

/// The place of a virtual method in its table. A pointer to a virtual member holds one more than
/// the offset in bytes in the ABI that all compilers but Microsoft's share (on ARM the offset
/// itself).
template<typename Method>
int slot_of(Method method)
{
    std::uintptr_t words[2] = {};
    static_assert(sizeof method == sizeof words);
    std::memcpy(words, &method, sizeof words);
    return static_cast<int>(words[0] / sizeof(void*));
}

/// Whether the methods stand in their table one after the other, from slot `first` on.
template<typename... Methods>
bool stand_in_order(int first, Methods... methods)
{
    return ((slot_of(methods) == first++) && ...);
}

/// `bytes` of zeros with `value` at each of the offsets given.
template<typename Result>
Result from_bytes(std::initializer_list<std::pair<int, std::uint64_t>> values)
{
    unsigned char bytes[sizeof(Result)] = {};
    for (const auto& [offset, value] : values) {
        const std::size_t size = value > 0xFFFFFFFFu ? 8 : value > 1 ? 4 : 1;
        std::memcpy(bytes + offset, &value, size);
    }
    Result result;
    std::memcpy(&result, bytes, sizeof result);
    return result;
}

} // namespace

class tst_border : public QObject
{
    Q_OBJECT

private slots:
    void interfaces_have_every_method_in_its_slot()
    {
#if defined(_MSC_VER)
        QSKIP("a pointer to member tells no slot with this compiler");
#endif
        using Client = ISteamClient;
        QVERIFY(stand_in_order(0, &Client::CreateSteamPipe, &Client::BReleaseSteamPipe, &Client::ConnectToGlobalUser,
                               &Client::CreateLocalUser, &Client::ReleaseUser, &Client::GetISteamUser,
                               &Client::GetISteamGameServer, &Client::SetLocalIPBinding, &Client::GetISteamFriends));
        QVERIFY(stand_in_order(9, &Client::GetISteamUtils, &Client::GetISteamMatchmaking,
                               &Client::GetISteamMatchmakingServers, &Client::GetISteamGenericInterface,
                               &Client::GetISteamUserStats, &Client::GetISteamGameServerStats, &Client::GetISteamApps,
                               &Client::GetISteamNetworking, &Client::GetISteamRemoteStorage));
        QVERIFY(stand_in_order(18, &Client::GetISteamScreenshots, &Client::RunFrame, &Client::GetIPCCallCount,
                               &Client::SetWarningMessageHook, &Client::BShutdownIfAllPipesClosed,
                               &Client::GetISteamHTTP, &Client::GetISteamUnifiedMessages, &Client::GetISteamController,
                               &Client::GetISteamUGC));
        QVERIFY(stand_in_order(27, &Client::GetISteamAppList, &Client::GetISteamMusic, &Client::GetISteamMusicRemote,
                               &Client::GetISteamHTMLSurface, &Client::SetPostResultHook, &Client::RemovePostResultHook,
                               &Client::SetCallbackCheck, &Client::GetISteamInventory, &Client::GetISteamVideo));
        using UGC = ISteamUGC;
        QVERIFY(stand_in_order(0, &UGC::CreateQueryUserUGCRequest, &UGC::CreateQueryAllUGCRequest,
                               &UGC::CreateQueryUGCDetailsRequest, &UGC::SendQueryUGCRequest, &UGC::GetQueryUGCResult,
                               &UGC::GetQueryUGCPreviewURL, &UGC::GetQueryUGCMetadata, &UGC::GetQueryUGCChildren,
                               &UGC::GetQueryUGCStatistic, &UGC::GetQueryUGCNumAdditionalPreviews,
                               &UGC::GetQueryUGCAdditionalPreview, &UGC::GetQueryUGCNumKeyValueTags,
                               &UGC::GetQueryUGCKeyValueTag, &UGC::ReleaseQueryUGCRequest));
        QVERIFY(stand_in_order(14, &UGC::AddRequiredTag, &UGC::AddExcludedTag, &UGC::SetReturnOnlyIDs,
                               &UGC::SetReturnKeyValueTags, &UGC::SetReturnLongDescription, &UGC::SetReturnMetadata,
                               &UGC::SetReturnChildren, &UGC::SetReturnAdditionalPreviews, &UGC::SetReturnTotalOnly,
                               &UGC::SetLanguage, &UGC::SetAllowCachedResponse, &UGC::SetCloudFileNameFilter,
                               &UGC::SetMatchAnyTag, &UGC::SetSearchText, &UGC::SetRankedByTrendDays,
                               &UGC::AddRequiredKeyValueTag, &UGC::RequestUGCDetails));
        QVERIFY(stand_in_order(31, &UGC::CreateItem, &UGC::StartItemUpdate, &UGC::SetItemTitle,
                               &UGC::SetItemDescription, &UGC::SetItemUpdateLanguage, &UGC::SetItemMetadata,
                               &UGC::SetItemVisibility, &UGC::SetItemTags, &UGC::SetItemContent, &UGC::SetItemPreview,
                               &UGC::RemoveItemKeyValueTags, &UGC::AddItemKeyValueTag, &UGC::AddItemPreviewFile,
                               &UGC::AddItemPreviewVideo, &UGC::UpdateItemPreviewFile, &UGC::UpdateItemPreviewVideo,
                               &UGC::RemoveItemPreview, &UGC::SubmitItemUpdate, &UGC::GetItemUpdateProgress));
    }

    void results_are_read_at_their_offsets()
    {
        constexpr std::uint64_t id = 0x1122334455667788u;
#if defined(Q_OS_WIN)
        const auto created = from_bytes<CreateItemResult_t>({{0, 17}, {8, id}, { 16, 1 }});
        QCOMPARE(sizeof(CreateItemResult_t), std::size_t{24});
        QCOMPARE(sizeof(SteamParamStringArray_t), 2 * sizeof(void*));
#else
        const auto created = from_bytes<CreateItemResult_t>({{0, 17}, {4, id}, {12, 1}});
        QCOMPARE(sizeof(CreateItemResult_t), std::size_t{16});
        QCOMPARE(sizeof(SteamParamStringArray_t), sizeof(void*) + 4);
#endif
        QCOMPARE(int{created.m_eResult}, 17);
        QCOMPARE(std::uint64_t{created.m_nPublishedFileId}, id);
        QVERIFY(created.m_bUserNeedsToAcceptWorkshopLegalAgreement);

        const auto submitted = from_bytes<SubmitItemUpdateResult_t>({{0, 25}, {4, 1}});
        QCOMPARE(int{submitted.m_eResult}, 25);
        QVERIFY(submitted.m_bUserNeedsToAcceptWorkshopLegalAgreement);
        QCOMPARE(sizeof(SubmitItemUpdateResult_t), std::size_t{8});

        const auto query = from_bytes<SteamUGCQueryCompleted_t>({{0, id}, {8, 7}, {12, 5}, {16, 6}, {20, 1}});
        QCOMPARE(std::uint64_t{query.m_handle}, id);
        QCOMPARE(int{query.m_eResult}, 7);
        QCOMPARE(std::uint32_t{query.m_unNumResultsReturned}, 5u);
        QCOMPARE(std::uint32_t{query.m_unTotalMatchingResults}, 6u);
        QVERIFY(query.m_bCachedData);
        QCOMPARE(sizeof(SteamUGCQueryCompleted_t), std::size_t{24});
    }
};

QTEST_GUILESS_MAIN(tst_border)

#include "tst_border.moc"
