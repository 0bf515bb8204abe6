// Compiled, never linked, by a compiler for Windows: the border to the Steam library as that platform
// packs it. The header asserts what it declares; the numbers stand here once more, so that neither
// side can be changed alone.

#include "steam/CallResult.h"

static_assert(sizeof(void*) == 8, "for the 64-bit library");

static_assert(sizeof(CreateItemResult_t) == 24);
static_assert(offsetof(CreateItemResult_t, m_eResult) == 0);
static_assert(offsetof(CreateItemResult_t, m_nPublishedFileId) == 8);
static_assert(offsetof(CreateItemResult_t, m_bUserNeedsToAcceptWorkshopLegalAgreement) == 16);

static_assert(sizeof(SubmitItemUpdateResult_t) == 8);
static_assert(offsetof(SubmitItemUpdateResult_t, m_bUserNeedsToAcceptWorkshopLegalAgreement) == 4);

static_assert(sizeof(SteamUGCQueryCompleted_t) == 24);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_eResult) == 8);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_unNumResultsReturned) == 12);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_unTotalMatchingResults) == 16);
static_assert(offsetof(SteamUGCQueryCompleted_t, m_bCachedData) == 20);

static_assert(sizeof(SteamParamStringArray_t) == 16);
static_assert(offsetof(SteamParamStringArray_t, m_nNumStrings) == 8);

// Building a holder checks its layout; the members of the subclass begin at 16.
struct Receiver
{
    void on_created(CreateItemResult_t* result, bool io_failure);
};
using Holder = CCallResult<Receiver, CreateItemResult_t>;
static_assert(sizeof(CallResultBase) == 16);
Holder* make_holder();
Holder* make_holder()
{
    return new Holder;
}
