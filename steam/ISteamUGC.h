#pragma once

#include "SteamTypes.h"

/// The Workshop interface, version "STEAMUGC_INTERFACE_VERSION009", up to the last slot in use.
///
/// The object belongs to the Steam library and dies with `SteamAPI_Shutdown`. As with
/// `ISteamClient`, only the place of a method counts: the order must not change, nothing may be
/// overloaded, no destructor may be virtual. Methods without arguments are never called and only
/// keep their slot. All texts are UTF-8 and NUL-terminated and are copied by the callee.
class ISteamUGC
{
public:
    virtual void CreateQueryUserUGCRequest() = 0; // slot 0
    virtual void CreateQueryAllUGCRequest() = 0;  // 1
    virtual UGCQueryHandle_t CreateQueryUGCDetailsRequest(const PublishedFileId_t* ids,
                                                          std::uint32_t count) = 0; // 2
    /// Answered by `SteamUGCQueryCompleted_t`.
    virtual SteamAPICall_t SendQueryUGCRequest(UGCQueryHandle_t query) = 0; // 3
    virtual void GetQueryUGCResult() = 0;                                   // 4
    /// Writes the address of the preview of item `index` to `url` (at most `size` bytes with the
    /// terminator); false when the item has none or the query has not been answered.
    virtual bool GetQueryUGCPreviewURL(UGCQueryHandle_t query, std::uint32_t index, char* url,
                                       std::uint32_t size) = 0; // 5
    virtual void GetQueryUGCMetadata() = 0;                     // 6
    virtual void GetQueryUGCChildren() = 0;                     // 7
    virtual void GetQueryUGCStatistic() = 0;                    // 8
    virtual void GetQueryUGCNumAdditionalPreviews() = 0;        // 9
    virtual void GetQueryUGCAdditionalPreview() = 0;            // 10
    virtual void GetQueryUGCNumKeyValueTags() = 0;              // 11
    virtual void GetQueryUGCKeyValueTag() = 0;                  // 12
    virtual void ReleaseQueryUGCRequest() = 0;                  // 13
    virtual void AddRequiredTag() = 0;                          // 14
    virtual void AddExcludedTag() = 0;                          // 15
    virtual void SetReturnOnlyIDs() = 0;                        // 16
    virtual void SetReturnKeyValueTags() = 0;                   // 17
    virtual void SetReturnLongDescription() = 0;                // 18
    virtual void SetReturnMetadata() = 0;                       // 19
    virtual void SetReturnChildren() = 0;                       // 20
    virtual void SetReturnAdditionalPreviews() = 0;             // 21
    virtual void SetReturnTotalOnly() = 0;                      // 22
    virtual void SetLanguage() = 0;                             // 23
    virtual void SetAllowCachedResponse() = 0;                  // 24
    virtual void SetCloudFileNameFilter() = 0;                  // 25
    virtual void SetMatchAnyTag() = 0;                          // 26
    virtual void SetSearchText() = 0;                           // 27
    virtual void SetRankedByTrendDays() = 0;                    // 28
    virtual void AddRequiredKeyValueTag() = 0;                  // 29
    virtual void RequestUGCDetails() = 0;                       // 30
    /// Answered by `CreateItemResult_t`.
    virtual SteamAPICall_t CreateItem(AppId_t app, EWorkshopFileType type) = 0;         // 31
    virtual UGCUpdateHandle_t StartItemUpdate(AppId_t app, PublishedFileId_t item) = 0; // 32
    virtual bool SetItemTitle(UGCUpdateHandle_t update, const char* title) = 0;         // 33
    virtual bool SetItemDescription(UGCUpdateHandle_t update, const char* text) = 0;    // 34
    virtual void SetItemUpdateLanguage() = 0;                                           // 35
    virtual bool SetItemMetadata(UGCUpdateHandle_t update, const char* metadata) = 0;   // 36
    virtual bool SetItemVisibility(UGCUpdateHandle_t update,
                                   ERemoteStoragePublishedFileVisibility visibility) = 0; // 37
    virtual bool SetItemTags(UGCUpdateHandle_t update,
                             const SteamParamStringArray_t* tags) = 0;             // 38
    virtual bool SetItemContent(UGCUpdateHandle_t update, const char* folder) = 0; // 39
    virtual bool SetItemPreview(UGCUpdateHandle_t update, const char* file) = 0;   // 40
    virtual void RemoveItemKeyValueTags() = 0;                                     // 41
    virtual void AddItemKeyValueTag() = 0;                                         // 42
    virtual void AddItemPreviewFile() = 0;                                         // 43
    virtual void AddItemPreviewVideo() = 0;                                        // 44
    virtual void UpdateItemPreviewFile() = 0;                                      // 45
    virtual void UpdateItemPreviewVideo() = 0;                                     // 46
    virtual void RemoveItemPreview() = 0;                                          // 47
    /// Answered by `SubmitItemUpdateResult_t`.
    virtual SteamAPICall_t SubmitItemUpdate(UGCUpdateHandle_t update,
                                            const char* change_note) = 0; // 48
    /// `done` and `total` are bytes of the present phase, 0 of 0 in most phases; returns the phase.
    virtual std::int32_t GetItemUpdateProgress(UGCUpdateHandle_t update, std::uint64_t* done,
                                               std::uint64_t* total) = 0; // 49

protected:
    ~ISteamUGC() = default;
};
