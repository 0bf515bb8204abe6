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

struct Slot
{
    const char* name;
    int found;
    int wanted;
};

#define CLIENT(name, slot)                                                                         \
    {                                                                                              \
#name, slot_of(&ISteamClient::name), slot                                                  \
    }
#define UGC(name, slot)                                                                            \
    {                                                                                              \
#name, slot_of(&ISteamUGC::name), slot                                                     \
    }

/// A receiver that keeps a copy of what it was given.
struct Receiver
{
    void on_created(CreateItemResult_t* result, bool io_failure)
    {
        ++calls;
        last = *result;
        last_io_failure = io_failure;
    }

    int calls = 0;
    CreateItemResult_t last{};
    bool last_io_failure = false;
};

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
    void interfaces_have_every_method_in_its_slot();
    void results_are_read_at_their_offsets();
    void library_calls_the_holder_by_slot();
    void refuses_unusable_libraries_data();
    void refuses_unusable_libraries();
    void loads_old_and_new_libraries();
};

void tst_border::interfaces_have_every_method_in_its_slot()
{
#if defined(_MSC_VER)
    QSKIP("a pointer to member tells no slot with this compiler");
#endif
    const Slot slots_used[] = {
        CLIENT(CreateSteamPipe, 0),
        CLIENT(BReleaseSteamPipe, 1),
        CLIENT(ConnectToGlobalUser, 2),
        CLIENT(CreateLocalUser, 3),
        CLIENT(ReleaseUser, 4),
        CLIENT(GetISteamUser, 5),
        CLIENT(GetISteamGameServer, 6),
        CLIENT(SetLocalIPBinding, 7),
        CLIENT(GetISteamFriends, 8),
        CLIENT(GetISteamUtils, 9),
        CLIENT(GetISteamMatchmaking, 10),
        CLIENT(GetISteamMatchmakingServers, 11),
        CLIENT(GetISteamGenericInterface, 12),
        CLIENT(GetISteamUserStats, 13),
        CLIENT(GetISteamGameServerStats, 14),
        CLIENT(GetISteamApps, 15),
        CLIENT(GetISteamNetworking, 16),
        CLIENT(GetISteamRemoteStorage, 17),
        CLIENT(GetISteamScreenshots, 18),
        CLIENT(RunFrame, 19),
        CLIENT(GetIPCCallCount, 20),
        CLIENT(SetWarningMessageHook, 21),
        CLIENT(BShutdownIfAllPipesClosed, 22),
        CLIENT(GetISteamHTTP, 23),
        CLIENT(GetISteamUnifiedMessages, 24),
        CLIENT(GetISteamController, 25),
        CLIENT(GetISteamUGC, 26),
        CLIENT(GetISteamAppList, 27),
        CLIENT(GetISteamMusic, 28),
        CLIENT(GetISteamMusicRemote, 29),
        CLIENT(GetISteamHTMLSurface, 30),
        CLIENT(SetPostAPIResultInProcess, 31),
        CLIENT(RemovePostAPIResultInProcess, 32),
        CLIENT(SetCheckCallbackRegisteredInProcess, 33),
        CLIENT(GetISteamInventory, 34),
        CLIENT(GetISteamVideo, 35),

        UGC(CreateQueryUserUGCRequest, 0),
        UGC(CreateQueryUGCDetailsRequest, 2),
        UGC(SendQueryUGCRequest, 3),
        UGC(GetQueryUGCPreviewURL, 5),
        UGC(GetQueryUGCKeyValueTag, 12),
        UGC(ReleaseQueryUGCRequest, 13),
        UGC(SetLanguage, 23),
        UGC(SetCloudFileNameFilter, 25),
        UGC(RequestUGCDetails, 30),
        UGC(CreateItem, 31),
        UGC(StartItemUpdate, 32),
        UGC(SetItemTitle, 33),
        UGC(SetItemDescription, 34),
        UGC(SetItemUpdateLanguage, 35),
        UGC(SetItemMetadata, 36),
        UGC(SetItemVisibility, 37),
        UGC(SetItemTags, 38),
        UGC(SetItemContent, 39),
        UGC(SetItemPreview, 40),
        UGC(RemoveItemPreview, 47),
        UGC(SubmitItemUpdate, 48),
        UGC(GetItemUpdateProgress, 49),
    };
    for (const Slot& slot : slots_used)
        QVERIFY2(slot.found == slot.wanted, slot.name);
}

void tst_border::results_are_read_at_their_offsets()
{
    constexpr std::uint64_t id = 0x1122334455667788u;
#if defined(Q_OS_WIN)
    const auto created = from_bytes<CreateItemResult_t>({{0, 17}, {8, id}, {16, 1}});
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

    const auto query =
        from_bytes<SteamUGCQueryCompleted_t>({{0, id}, {8, 7}, {12, 5}, {16, 6}, {20, 1}});
    QCOMPARE(std::uint64_t{query.m_handle}, id);
    QCOMPARE(int{query.m_eResult}, 7);
    QCOMPARE(std::uint32_t{query.m_unNumResultsReturned}, 5u);
    QCOMPARE(std::uint32_t{query.m_unTotalMatchingResults}, 6u);
    QVERIFY(query.m_bCachedData);
    QCOMPARE(sizeof(SteamUGCQueryCompleted_t), std::size_t{24});
}

void tst_border::library_calls_the_holder_by_slot()
{
    Receiver receiver;
    CCallResult<Receiver, CreateItemResult_t> holder;
    holder.Set(7, &receiver, &Receiver::on_created); // no library is loaded here

    // What the library does with nothing but the address of the object.
    void* const object = &holder;
    std::int32_t callback_id = 0;
    std::memcpy(&callback_id, static_cast<char*>(object) + sizeof(void*) + 4, sizeof callback_id);
    QCOMPARE(callback_id, 3403);
    void** table = nullptr;
    std::memcpy(&table, object, sizeof table);
#if defined(_MSC_VER)
    constexpr int run_slot = 0;
#else
    constexpr int run_slot = 1;
#endif
    const auto run = reinterpret_cast<void (*)(void*, void*, bool, std::uint64_t)>(table[run_slot]);
    const auto get_size = reinterpret_cast<int (*)(void*)>(table[2]);

    CreateItemResult_t result{};
    result.m_nPublishedFileId = 99;
    QCOMPARE(get_size(object), static_cast<int>(sizeof result));
    run(object, &result, true, 8);
    QCOMPARE(receiver.calls, 0); // another call's answer
    run(object, &result, true, 7);
    QCOMPARE(receiver.calls, 1);
    QCOMPARE(std::uint64_t{receiver.last.m_nPublishedFileId}, std::uint64_t{99});
    QVERIFY(receiver.last_io_failure);
    run(object, &result, false, 7);
    QCOMPARE(receiver.calls, 1); // a holder fires once
}

void tst_border::refuses_unusable_libraries_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("words");

    const QString bin = QCoreApplication::applicationDirPath();
    const QByteArray good = read_file(bin + "/" + SteamLibraryFileName());
    QByteArray foreign = good;
    foreign.replace(18, 2, QByteArray("\x08\x00", 2)); // the processor in an ELF header: MIPS

    QTest::newRow("missing") << QByteArray() << QStringList{"there is no such file"};
    QTest::newRow("empty") << QByteArray("") << QStringList{"cannot be loaded"};
    QTest::newRow("text") << QByteArray("not a library\n") << QStringList{"cannot be loaded"};
    QTest::newRow("cut short") << good.left(5000) << QStringList{"cannot be loaded"};
#if defined(Q_OS_LINUX)
    QTest::newRow("another processor") << foreign << QStringList{"cannot be loaded"};
#endif
    QTest::newRow("unresolved dependency")
        << read_file(UNRESOLVED_LIBRARY) << QStringList{"cannot be loaded", "nobody_has_this"};
    QTest::newRow("most functions missing") << read_file(INCOMPLETE_LIBRARY)
                                            << QStringList{"SteamAPI_Init (or",
                                                           "SteamAPI_Shutdown",
                                                           "SteamAPI_RegisterCallResult",
                                                           "SteamAPI_UnregisterCallResult",
                                                           "SteamAPI_GetHSteamUser",
                                                           "SteamAPI_GetHSteamPipe",
                                                           "SteamInternal_CreateInterface"};
}

void tst_border::refuses_unusable_libraries()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, words);
    QTemporaryDir folder;
    const QString path = folder.path() + "/" + SteamLibraryFileName();
    if (!bytes.isNull())
        write_file(path, bytes);

    QString problem;
    QVERIFY(!LoadSteamLibrary(path, problem));
    QVERIFY2(problem.contains(path), qPrintable(problem));
    for (const QString& word : words)
        QVERIFY2(problem.contains(word), qPrintable(problem));
    QVERIFY2(!problem.contains("RunCallbacks"), qPrintable(problem)); // the incomplete one has it
}

void tst_border::loads_old_and_new_libraries()
{
    QString problem;
    const QString bin = QCoreApplication::applicationDirPath();
    const auto old = LoadSteamLibrary(bin + "/" + SteamLibraryFileName(), problem);
    QVERIFY2(old.has_value(), qPrintable(problem));
    QVERIFY(old->SteamAPI_Init && !old->SteamAPI_InitFlat && !old->SteamInternal_SteamAPI_Init);

    const auto recent = LoadSteamLibrary(bin + "-new/" + SteamLibraryFileName(), problem);
    QVERIFY2(recent.has_value(), qPrintable(problem));
    QVERIFY(!recent->SteamAPI_Init && recent->SteamAPI_InitFlat);
    QVERIFY(recent->SteamInternal_SteamAPI_Init && recent->SteamAPI_InitSafe);
    QVERIFY(recent->SteamAPI_RunCallbacks != old->SteamAPI_RunCallbacks);
}

QTEST_GUILESS_MAIN(tst_border)

#include "tst_border.moc"
