// Creating an item and updating it.

#include "Ugc.h"
#include "Workshop.h"

#include <algorithm>
#include <cstring>

namespace practice {

namespace {

constexpr std::size_t longest_metadata = 5000; // bytes that the Workshop accepts
constexpr std::size_t any_length = static_cast<std::size_t>(-1);
constexpr std::size_t longest_tag = 255; // characters that the Workshop accepts

std::optional<Answer> answer_creation(std::uint32_t app, int result)
{
    const Workshop& workshop = TheWorkshop();
    std::uint64_t item = 0;
    if (result == result_ok) {
        if (app != workshop.AppId()) {
            throw Refusal(result_not_acceptable, "the item is for app " + std::to_string(app)
                                                     + ", the program runs as app "
                                                     + std::to_string(workshop.AppId()));
        }
        item = workshop.store.Create(app, workshop.script.owner);
    }
    return Answer{result, CreateItemResultBytes(result, item)};
}

std::uint64_t CreateItem(Interface* self, std::uint32_t app, std::int32_t type) noexcept
{
    const auto create = [app] {
        return TheWorkshop().BeginCall("create", "new item", create_item_result_id,
                                       [app](int result) { return answer_creation(app, result); });
    };
    return UgcCall(self, "CreateItem", no_call, create, app, type);
}

std::uint64_t StartItemUpdate(Interface* self, std::uint32_t app, std::uint64_t item) noexcept
{
    const auto start = [item] {
        TheWorkshop().updates[++TheWorkshop().last_update].fields.item = item;
        return TheWorkshop().last_update;
    };
    return UgcCall(self, "StartItemUpdate", no_handle, start, app, item);
}

/// Null, and the caller's mistake, when there is no such update, or it was submitted already and
/// must not be.
ItemUpdate* find_update(std::uint64_t handle, bool submitted_too = false)
{
    const auto found = TheWorkshop().updates.find(handle);
    if (found == TheWorkshop().updates.end()
        || (found->second.upload != nullptr && !submitted_too)) {
        Mistake("update " + std::to_string(handle) + " is unknown, submitted or finished");
        return nullptr;
    }
    return &found->second;
}

/// All setters alike: `shown` is how the journal shows the value, `set` stores it or answers false.
template<typename Value, typename Set>
bool set_field(const Interface* self, const char* method, std::uint64_t handle, const Value& shown,
               Set set) noexcept
{
    const auto find_and_set = [&] {
        ItemUpdate* const update = find_update(handle);
        return update != nullptr && set(update->fields);
    };
    return UgcCall(self, method, false, find_and_set, handle, shown);
}

bool set_text(const Interface* self, const char* method, std::uint64_t handle, const char* text,
              const char* key, std::size_t longest = any_length) noexcept
{
    return set_field(self, method, handle, text, [&](UpdateFields& fields) {
        if (std::strlen(text) > longest)
            return false;
        fields.values[key] = text;
        return true;
    });
}

bool SetItemTitle(Interface* self, std::uint64_t handle, const char* text) noexcept
{
    return set_text(self, "SetItemTitle", handle, text, "title");
}

bool SetItemDescription(Interface* self, std::uint64_t handle, const char* text) noexcept
{
    return set_text(self, "SetItemDescription", handle, text, "description");
}

bool SetItemMetadata(Interface* self, std::uint64_t handle, const char* text) noexcept
{
    return set_text(self, "SetItemMetadata", handle, text, "metadata", longest_metadata);
}

/// Paths are not looked at before the update is submitted.
bool SetItemContent(Interface* self, std::uint64_t handle, const char* folder) noexcept
{
    return set_text(self, "SetItemContent", handle, folder, "content");
}

bool SetItemPreview(Interface* self, std::uint64_t handle, const char* file) noexcept
{
    return set_text(self, "SetItemPreview", handle, file, "preview");
}

bool SetItemVisibility(Interface* self, std::uint64_t handle, std::int32_t visibility) noexcept
{
    return set_field(self, "SetItemVisibility", handle, visibility, [&](UpdateFields& fields) {
        fields.values["visibility"] = visibility;
        return true;
    });
}

/// The texts of the caller's array, which has their address and their number.
Json read_tags(const void* array)
{
    const char* const* texts = nullptr;
    std::int32_t count = 0;
    std::memcpy(&texts, array, sizeof(texts));
    std::memcpy(&count, static_cast<const char*>(array) + sizeof(texts), sizeof(count));
    return std::vector<std::string>(texts, texts + count);
}

bool is_acceptable_tag(const std::string& tag)
{
    std::size_t characters = 0;
    unsigned char before = 0;
    for (const char each : tag) {
        const auto byte = static_cast<unsigned char>(each);
        const bool second_set = before == 0xC2 && byte < 0xA0; // of controls: U+0080 to U+009F
        if (byte < 0x20 || byte == 0x7F || byte == ',' || second_set)
            return false;
        before = byte;
        characters +=
            (byte & 0xC0) == 0x80 ? 0 : 1; // bytes that go on with one are none of their own
    }
    const bool is_utf8 = Json::parse(Shown(tag)) == tag; // else some of it is replaced
    return is_utf8 && characters > 0 && characters <= longest_tag;
}

bool SetItemTags(Interface* self, std::uint64_t handle, const void* array) noexcept
{
    const Json tags = read_tags(array);
    return set_field(self, "SetItemTags", handle, tags, [&](UpdateFields& fields) {
        if (!std::all_of(tags.begin(), tags.end(), is_acceptable_tag))
            return false;
        fields.values["tags"] = tags;
        return true;
    });
}

/// The update is over as soon as it has a result; the answer is what remains of it.
std::optional<Answer> answer_submission(std::uint64_t handle, int result)
{
    Workshop& workshop = TheWorkshop();
    if (result == result_ok && !workshop.updates.at(handle).upload->Step())
        return std::nullopt;
    workshop.updates.erase(handle);
    return Answer{result, SubmitItemUpdateResultBytes(result, workshop.script.legal_agreement)};
}

std::uint64_t SubmitItemUpdate(Interface* self, std::uint64_t handle, const char* note) noexcept
{
    const auto submit = [&] {
        ItemUpdate* const update = find_update(handle);
        if (update == nullptr)
            return no_call;
        Workshop& workshop = TheWorkshop();
        const std::uint64_t item = update->fields.item;
        const std::uint64_t call = workshop.BeginCall(
            "submit", "item " + std::to_string(item), submit_item_update_result_id,
            [handle](int result) { return answer_submission(handle, result); });
        if (call != no_call) {
            update->fields.change_note = note != nullptr ? note : ""; // null: no note
            update->upload = std::make_unique<Upload>(workshop.store, workshop.script,
                                                      workshop.AppId(), update->fields);
        }
        return call;
    };
    return UgcCall(self, "SubmitItemUpdate", no_call, submit, handle, note);
}

std::int32_t GetItemUpdateProgress(Interface* self, std::uint64_t handle, std::uint64_t* done,
                                   std::uint64_t* total) noexcept
{
    Progress seen;
    const ItemUpdate* const update =
        InUse(self, "GetItemUpdateProgress") ? find_update(handle, true) : nullptr;
    if (update != nullptr && update->upload != nullptr)
        seen = update->upload->Seen();
    *done = seen.done;
    *total = seen.total;
    NotePolled(CallText("ISteamUGC::GetItemUpdateProgress", handle) + " = " + Shown(seen.status)
               + ", " + Shown(seen.done) + " of " + Shown(seen.total));
    return seen.status;
}

} // namespace

void AddItemSlots(UgcSlots& slots)
{
    slots[31] = AsSlot(&CreateItem);
    slots[32] = AsSlot(&StartItemUpdate);
    slots[33] = AsSlot(&SetItemTitle);
    slots[34] = AsSlot(&SetItemDescription);
    slots[36] = AsSlot(&SetItemMetadata);
    slots[37] = AsSlot(&SetItemVisibility);
    slots[38] = AsSlot(&SetItemTags);
    slots[39] = AsSlot(&SetItemContent);
    slots[40] = AsSlot(&SetItemPreview);
    slots[48] = AsSlot(&SubmitItemUpdate);
    slots[49] = AsSlot(&GetItemUpdateProgress);
}

} // namespace practice
