#include "CallResult.h"
#include "ISteamClient.h"
#include "ISteamUGC.h"

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

template<typename... Methods>
QList<int> slots_of(Methods... methods)
{
    return {slot_of(methods)...};
}

} // namespace

class tst_border : public QObject
{
    Q_OBJECT

private slots:
    void interfaces_have_what_is_called_in_its_slot()
    {
#if defined(_MSC_VER)
        QSKIP("a pointer to member tells no slot with this compiler");
#endif
        // Those that are called; the others only keep a place between them.
        using Client = ISteamClient;
        QCOMPARE(slots_of(&Client::GetISteamUser, &Client::GetISteamFriends, &Client::GetISteamUtils,
                          &Client::GetISteamMatchmaking, &Client::GetISteamMatchmakingServers,
                          &Client::GetISteamUserStats, &Client::GetISteamApps, &Client::GetISteamNetworking,
                          &Client::GetISteamRemoteStorage, &Client::GetISteamScreenshots, &Client::GetISteamHTTP,
                          &Client::GetISteamUnifiedMessages, &Client::GetISteamController, &Client::GetISteamUGC,
                          &Client::GetISteamAppList, &Client::GetISteamMusic, &Client::GetISteamMusicRemote,
                          &Client::GetISteamHTMLSurface, &Client::GetISteamInventory, &Client::GetISteamVideo),
                 (QList<int>{5, 8, 9, 10, 11, 13, 15, 16, 17, 18, 23, 24, 25, 26, 27, 28, 29, 30, 34, 35}));
        using UGC = ISteamUGC;
        QCOMPARE(slots_of(&UGC::CreateQueryUGCDetailsRequest, &UGC::SendQueryUGCRequest, &UGC::GetQueryUGCPreviewURL,
                          &UGC::CreateItem, &UGC::StartItemUpdate, &UGC::SetItemTitle, &UGC::SetItemDescription,
                          &UGC::SetItemMetadata, &UGC::SetItemVisibility, &UGC::SetItemTags, &UGC::SetItemContent,
                          &UGC::SetItemPreview, &UGC::SubmitItemUpdate, &UGC::GetItemUpdateProgress),
                 (QList<int>{2, 3, 5, 31, 32, 33, 34, 36, 37, 38, 39, 40, 48, 49}));
        struct Holder : CallResultBase
        {
            using CallResultBase::run_call_result;

        protected:
            ~Holder() = default;
        };
#if defined(_WIN32)
        QCOMPARE(slot_of(&Holder::run_call_result), 0); // called by the library
#else
        QCOMPARE(slot_of(&Holder::run_call_result), 1);
#endif
    }
};

QTEST_GUILESS_MAIN(tst_border)

#include "tst_border.moc"
