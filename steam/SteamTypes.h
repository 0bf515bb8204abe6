#pragma once

#include <cstddef>
#include <cstdint>

// The data types that cross the border to the Steam API library. Names, widths, values and layouts
// are those of the library's binary interface; a mistake here is a crash on a player's machine.

using HSteamPipe = std::int32_t;
using HSteamUser = std::int32_t;
using AppId_t = std::uint32_t;
using SteamAPICall_t = std::uint64_t;
using PublishedFileId_t = std::uint64_t;
using UGCQueryHandle_t = std::uint64_t;
using UGCUpdateHandle_t = std::uint64_t;

/// The call number of a call that Steam did not accept.
constexpr SteamAPICall_t k_uAPICallInvalid = 0;
constexpr UGCUpdateHandle_t k_UGCUpdateHandleInvalid = 0xFFFFFFFFFFFFFFFFU;

/// A result code. Any 32-bit number may arrive; only the codes that the program acts on have names.
enum EResult : std::int32_t {
    k_EResultOK = 1,
    k_EResultAdministratorOK = 46,
};

enum EWorkshopFileType : std::int32_t {
    k_EWorkshopFileTypeCommunity = 0,
};

enum ERemoteStoragePublishedFileVisibility : std::int32_t {
    k_ERemoteStoragePublishedFileVisibilityPublic = 0,
    k_ERemoteStoragePublishedFileVisibilityFriendsOnly = 1,
    k_ERemoteStoragePublishedFileVisibilityPrivate = 2,
};

// Steam packs its structures to 4 bytes on Linux and macOS, 64-bit included, and to 8 on Windows.
// Never bind a reference to a member of one of these: it may not be aligned.
#if defined(_WIN32)
#pragma pack(push, 8)
#else
#pragma pack(push, 4)
#endif

/// The answer to `ISteamUGC::SendQueryUGCRequest`.
struct SteamUGCQueryCompleted_t
{
    static constexpr std::int32_t k_iCallback = 3401;

    UGCQueryHandle_t m_handle;
    EResult m_eResult;
    std::uint32_t m_unNumResultsReturned;
    std::uint32_t m_unTotalMatchingResults;
    bool m_bCachedData;
};

/// The answer to `ISteamUGC::CreateItem`.
struct CreateItemResult_t
{
    static constexpr std::int32_t k_iCallback = 3403;

    EResult m_eResult;
    PublishedFileId_t m_nPublishedFileId;
    bool m_bUserNeedsToAcceptWorkshopLegalAgreement;
};

/// The answer to `ISteamUGC::SubmitItemUpdate`.
struct SubmitItemUpdateResult_t
{
    static constexpr std::int32_t k_iCallback = 3404;

    EResult m_eResult;
    bool m_bUserNeedsToAcceptWorkshopLegalAgreement;
};

/// A list of UTF-8 texts handed to Steam; both the array and its texts stay the caller's.
struct SteamParamStringArray_t
{
    const char** m_ppStrings;
    std::int32_t m_nNumStrings;
};

#pragma pack(pop)

// Steam copies as many bytes as the receiver asks for and writes them at its own offsets.
#if defined(_WIN32)
static_assert(sizeof(CreateItemResult_t) == 24);
static_assert(offsetof(CreateItemResult_t, m_nPublishedFileId) == 8);
static_assert(offsetof(CreateItemResult_t, m_bUserNeedsToAcceptWorkshopLegalAgreement) == 16);
#else
static_assert(sizeof(CreateItemResult_t) == 16);
static_assert(offsetof(CreateItemResult_t, m_nPublishedFileId) == 4);
static_assert(offsetof(CreateItemResult_t, m_bUserNeedsToAcceptWorkshopLegalAgreement) == 12);
#endif
static_assert(offsetof(CreateItemResult_t, m_eResult) == 0);

static_assert(sizeof(SteamUGCQueryCompleted_t) == 24);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_handle) == 0);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_eResult) == 8);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_unNumResultsReturned) == 12);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_unTotalMatchingResults) == 16);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_bCachedData) == 20);

static_assert(sizeof(SubmitItemUpdateResult_t) == 8);
static_assert(offsetof(SubmitItemUpdateResult_t, m_eResult) == 0);
static_assert(offsetof(SubmitItemUpdateResult_t, m_bUserNeedsToAcceptWorkshopLegalAgreement) == 4);

static_assert(offsetof(SteamParamStringArray_t, m_ppStrings) == 0);
static_assert(offsetof(SteamParamStringArray_t, m_nNumStrings) == sizeof(void*));
#if defined(_WIN32)
static_assert(sizeof(SteamParamStringArray_t) == 2 * sizeof(void*));
#else
static_assert(sizeof(SteamParamStringArray_t) == sizeof(void*) + 4);
#endif
