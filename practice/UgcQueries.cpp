// Asking for the details of items.

#include "Ugc.h"
#include "Guard.h"
#include "Rehearsal.h"
#include "Workshop.h"

#include <cstring>
#include <utility>

namespace practice {

namespace {

constexpr int kFailure = 2;

// More than anyone asks for at once: a larger count is a broken one.
constexpr std::uint32_t kMostQueried = 1000;

// Null, and the caller's mistake, when there is no such query.
ItemQuery* OpenQuery(const Interface* self, const char* method, std::uint64_t handle)
{
    if (!InUse(self, method)) {
        return nullptr;
    }
    auto& queries = TheWorkshop().queries;
    const auto found = queries.find(handle);
    if (found == queries.end()) {
        Mistake(Method(method) + " on query " + std::to_string(handle)
                + ", which is unknown or released");
        return nullptr;
    }
    return &found->second;
}

std::uint64_t CreateQueryUGCDetailsRequest(Interface* self, const std::uint64_t* items,
                                           std::uint32_t count) noexcept
{
    return Guarded(kNoHandle, [&] {
        std::uint64_t handle = kNoHandle;
        std::vector<std::uint64_t> wanted;
        std::string list;
        if (items == nullptr || count == 0 || count > kMostQueried) {
            Mistake(Method("CreateQueryUGCDetailsRequest") + " for " + std::to_string(count)
                    + " items" + (items == nullptr ? " that are null" : ""));
        } else {
            wanted.resize(count);
            std::memcpy(wanted.data(), items, count * sizeof(std::uint64_t));
        }
        for (const std::uint64_t item : wanted) {
            list += (list.empty() ? "" : ", ") + std::to_string(item);
        }
        if (InUse(self, "CreateQueryUGCDetailsRequest") && !wanted.empty()) {
            TheWorkshop().LookAtScriptFile();
            handle = ++TheWorkshop().last_query;
            TheWorkshop().queries[handle].items = wanted;
        }
        return Told(CallText(Method("CreateQueryUGCDetailsRequest"), "[" + list + "]"), handle);
    });
}

Answer QueryAnswer(std::uint64_t handle, const Rehearsed& wanted)
{
    Workshop& workshop = TheWorkshop();
    const auto found = workshop.queries.find(handle);
    int result = wanted.result;
    std::uint32_t returned = 0;
    if (wanted.Fails()) {
        LogRehearsed("query", wanted);
    } else if (found == workshop.queries.end()) {
        result = kFailure;
        workshop.store.Log("query", result, "it was released before its answer");
    } else {
        found->second.answered = true;
        returned = static_cast<std::uint32_t>(found->second.items.size());
        for (const std::uint64_t item : found->second.items) {
            if (!workshop.store.Item(item)) {
                Note("item " + std::to_string(item) + " is unknown, it has no preview");
            }
        }
    }
    return {result, QueryCompletedBytes(handle, result, returned), wanted.io_failure};
}

std::uint64_t SendQueryUGCRequest(Interface* self, std::uint64_t handle) noexcept
{
    return Guarded(kNoCall, [&] {
        std::uint64_t call = kNoCall;
        ItemQuery* const query = OpenQuery(self, "SendQueryUGCRequest", handle);
        if (query != nullptr && query->sent) {
            Mistake(Method("SendQueryUGCRequest") + " on query " + std::to_string(handle)
                    + ", which is sent already");
        } else if (query != nullptr && !Refused(CallKind::Query)) {
            const Rehearsed wanted = TakeRehearsed(CallKind::Query);
            query->sent = true;
            call = TheWorkshop().calls.Add(kQueryCompleted,
                                           AnswerInTime(wanted.silent, [handle, wanted] {
                                               return QueryAnswer(handle, wanted);
                                           }));
        }
        return Told(CallText(Method("SendQueryUGCRequest"), handle), call);
    });
}

// Empty when the item has none, or is not to have one.
std::string PreviewAddress(const ItemQuery& query, std::uint32_t index)
{
    Workshop& workshop = TheWorkshop();
    if (!query.answered || index >= query.items.size()
        || workshop.script.preview == PreviewAnswer::None) {
        return "";
    }
    if (!workshop.script.preview_url.empty()) {
        return workshop.script.preview_url;
    }
    const std::uint64_t item = query.items[index];
    auto picture = workshop.store.Item(item) ? workshop.store.Preview(item) : std::nullopt;
    return picture ? workshop.previews.Publish(item, std::move(*picture)) : "";
}

bool GetQueryUGCPreviewURL(Interface* self, std::uint64_t handle, std::uint32_t index, char* buffer,
                           std::uint32_t size) noexcept
{
    return Guarded(false, [&] {
        bool fits = false;
        const ItemQuery* const query = OpenQuery(self, "GetQueryUGCPreviewURL", handle);
        if (buffer == nullptr || size == 0) {
            Mistake(Method("GetQueryUGCPreviewURL") + " with nowhere to put the address");
        } else if (query != nullptr) {
            const std::string address = PreviewAddress(*query, index);
            fits = !address.empty() && address.size() < size;
            if (fits) {
                std::memcpy(buffer, address.c_str(), address.size() + 1);
            }
        }
        return Told(CallText(Method("GetQueryUGCPreviewURL"), handle, index, size), fits);
    });
}

bool ReleaseQueryUGCRequest(Interface* self, std::uint64_t handle) noexcept
{
    return Guarded(false, [&] {
        const bool known = OpenQuery(self, "ReleaseQueryUGCRequest", handle) != nullptr;
        if (known) {
            TheWorkshop().queries.erase(handle);
        }
        return Told(CallText(Method("ReleaseQueryUGCRequest"), handle), known);
    });
}

} // namespace

void AddQuerySlots(UgcSlots& slots)
{
    slots[2] = AsSlot(&CreateQueryUGCDetailsRequest);
    slots[3] = AsSlot(&SendQueryUGCRequest);
    slots[5] = AsSlot(&GetQueryUGCPreviewURL);
    slots[13] = AsSlot(&ReleaseQueryUGCRequest);
}

} // namespace practice
