// Asking for the details of items.

#include "Ugc.h"
#include "Workshop.h"

#include <cstring>
#include <utility>

namespace practice {

namespace {

/// Null, and the caller's mistake, when there is no such query.
ItemQuery* open_query(std::uint64_t handle)
{
    const auto found = TheWorkshop().queries.find(handle);
    if (found == TheWorkshop().queries.end()) {
        Mistake("query " + std::to_string(handle) + " is unknown");
        return nullptr;
    }
    return &found->second;
}

std::uint64_t CreateQueryUGCDetailsRequest(Interface* self, const std::uint64_t* items,
                                           std::uint32_t count) noexcept
{
    const std::vector<std::uint64_t> wanted(items, items + count);
    const auto create = [&] {
        TheWorkshop().LookAtScriptFile();
        TheWorkshop().queries[++TheWorkshop().last_query].items = wanted;
        return TheWorkshop().last_query;
    };
    return UgcCall(self, "CreateQueryUGCDetailsRequest", no_handle, create, wanted);
}

std::optional<Answer> answer_query(std::uint64_t handle, int result)
{
    TheWorkshop().queries.at(handle).answered = result == result_ok;
    return Answer{result, QueryCompletedBytes(result)};
}

std::uint64_t SendQueryUGCRequest(Interface* self, std::uint64_t handle) noexcept
{
    const auto send = [handle] {
        if (open_query(handle) == nullptr)
            return no_call;
        return TheWorkshop().BeginCall("query", "query", query_completed_id, [handle](int result) {
            return answer_query(handle, result);
        });
    };
    return UgcCall(self, "SendQueryUGCRequest", no_call, send, handle);
}

/// Empty when the item has none, or is not to have one.
std::string preview_address(const ItemQuery& query, std::uint32_t index)
{
    const Workshop& workshop = TheWorkshop();
    if (!query.answered || index >= query.items.size() || workshop.script.preview.kind == "none")
        return "";
    if (!workshop.script.preview_url.empty())
        return workshop.script.preview_url;
    const std::uint64_t item = query.items[index];
    auto image = FileBytes(workshop.store.ItemFolder(item) / "preview");
    if (!image || !workshop.store.Item(item)) {
        Note("item " + std::to_string(item) + " is unknown or has no preview");
        return "";
    }
    return PublishPreview(item, std::move(*image), workshop.script.preview);
}

bool GetQueryUGCPreviewURL(Interface* self, std::uint64_t handle, std::uint32_t index, char* buffer,
                           std::uint32_t size) noexcept
{
    const auto get = [&] {
        const ItemQuery* const query = open_query(handle);
        const std::string address = query != nullptr ? preview_address(*query, index) : "";
        if (address.empty() || address.size() >= size)
            return false;
        std::memcpy(buffer, address.c_str(), address.size() + 1);
        return true;
    };
    return UgcCall(self, "GetQueryUGCPreviewURL", false, get, handle, index, size);
}

} // namespace

void AddQuerySlots(UgcSlots& slots)
{
    slots[2] = AsSlot(&CreateQueryUGCDetailsRequest);
    slots[3] = AsSlot(&SendQueryUGCRequest);
    slots[5] = AsSlot(&GetQueryUGCPreviewURL);
}

} // namespace practice
