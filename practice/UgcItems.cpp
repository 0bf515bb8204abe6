// Creating an item and updating it.

#include "Ugc.h"
#include "Guard.h"
#include "Rehearsal.h"
#include "Tags.h"
#include "Workshop.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace practice {

namespace {

// Results of creating.
constexpr int kFailure = 2;
constexpr int kNotAcceptable = 8;

constexpr int kPlainItem = 0; // the file type of an item of files, the only one rehearsed

constexpr std::size_t kLongestMetadata = 5000; // bytes that the Workshop accepts
constexpr std::size_t kAnyLength = static_cast<std::size_t>(-1);

Answer CreateAnswer(std::uint32_t app, int type, const Rehearsed& wanted)
{
    Workshop& workshop = TheWorkshop();
    const std::string name = "new item";
    int result = wanted.result;
    std::uint64_t item = 0;
    if (wanted.Fails()) {
        LogRehearsed(name, wanted);
    } else if (app != workshop.AppId() || type != kPlainItem) {
        result = kNotAcceptable;
        workshop.store.Log(name, result,
                           "app " + std::to_string(app) + " or file type " + std::to_string(type)
                               + " is not accepted");
    } else {
        try {
            item = workshop.store.Create({app, workshop.script.owner});
        } catch (const std::exception& error) {
            result = kFailure;
            workshop.store.Log(name, result, error.what());
        }
    }
    return {result, CreateItemResultBytes(result, item, workshop.script.legal_agreement),
            wanted.io_failure};
}

std::uint64_t CreateItem(Interface* self, std::uint32_t app, std::int32_t type) noexcept
{
    return Guarded(kNoCall, [&] {
        std::uint64_t call = kNoCall;
        if (InUse(self, "CreateItem") && !Refused(CallKind::Create)) {
            const Rehearsed wanted = TakeRehearsed(CallKind::Create);
            call = TheWorkshop().calls.Add(kCreateItemResult,
                                           AnswerInTime(wanted.silent, [app, type, wanted] {
                                               return CreateAnswer(app, type, wanted);
                                           }));
        }
        return Told(CallText(Method("CreateItem"), app, type), call);
    });
}

// Null, and the caller's mistake, when the handle is not of an update that can be filled in.
ItemUpdate* OpenUpdate(const Interface* self, const char* method, std::uint64_t handle)
{
    if (!InUse(self, method)) {
        return nullptr;
    }
    auto& updates = TheWorkshop().updates;
    const auto found = updates.find(handle);
    if (found == updates.end() || found->second.upload != nullptr) {
        Mistake(Method(method) + " on update " + std::to_string(handle) + ", which is "
                + (found == updates.end() ? "unknown or finished" : "submitted already"));
        return nullptr;
    }
    return &found->second;
}

std::uint64_t StartItemUpdate(Interface* self, std::uint32_t app, std::uint64_t item) noexcept
{
    return Guarded(kNoHandle, [&] {
        std::uint64_t handle = kNoHandle;
        if (InUse(self, "StartItemUpdate")) {
            handle = ++TheWorkshop().last_update;
            UpdateFields& fields = TheWorkshop().updates[handle].fields;
            fields.app_id = app;
            fields.item = item;
        }
        return Told(CallText(Method("StartItemUpdate"), app, item), handle);
    });
}

// All setters alike: `shown` is how the journal shows the value, `set` stores it or answers false.
template<typename Set>
bool SetField(const Interface* self, const char* method, std::uint64_t handle,
              const std::string& shown, Set set) noexcept
{
    return Guarded(false, [&] {
        ItemUpdate* const update = OpenUpdate(self, method, handle);
        const bool taken = update != nullptr && set(update->fields);
        return Told(CallText(Method(method), handle, shown), taken);
    });
}

bool SetText(const Interface* self, const char* method, std::uint64_t handle, const char* text,
             std::optional<std::string> UpdateFields::*field,
             std::size_t longest = kAnyLength) noexcept
{
    const auto set = [&](UpdateFields& fields) {
        if (text == nullptr) {
            Mistake(Method(method) + " with a null text");
            return false;
        }
        if (std::strlen(text) > longest) {
            return false;
        }
        fields.*field = text;
        return true;
    };
    return SetField(self, method, handle, Quoted(text), set);
}

bool SetItemTitle(Interface* self, std::uint64_t handle, const char* text) noexcept
{
    return SetText(self, "SetItemTitle", handle, text, &UpdateFields::title);
}

bool SetItemDescription(Interface* self, std::uint64_t handle, const char* text) noexcept
{
    return SetText(self, "SetItemDescription", handle, text, &UpdateFields::description);
}

bool SetItemMetadata(Interface* self, std::uint64_t handle, const char* text) noexcept
{
    return SetText(self, "SetItemMetadata", handle, text, &UpdateFields::metadata,
                   kLongestMetadata);
}

// Paths are not looked at before the update is submitted.
bool SetItemContent(Interface* self, std::uint64_t handle, const char* folder) noexcept
{
    return SetText(self, "SetItemContent", handle, folder, &UpdateFields::content);
}

bool SetItemPreview(Interface* self, std::uint64_t handle, const char* file) noexcept
{
    return SetText(self, "SetItemPreview", handle, file, &UpdateFields::preview);
}

bool SetItemVisibility(Interface* self, std::uint64_t handle, std::int32_t visibility) noexcept
{
    return SetField(self, "SetItemVisibility", handle, Shown(visibility),
                    [visibility](UpdateFields& fields) {
                        fields.visibility = visibility;
                        return true;
                    });
}

bool SetItemTags(Interface* self, std::uint64_t handle, const void* array) noexcept
{
    return Guarded(false, [&] {
        const auto tags = ReadTags(array, Method("SetItemTags"));
        return SetField(self, "SetItemTags", handle, ShownTags(tags), [&](UpdateFields& fields) {
            if (!tags || !std::all_of(tags->begin(), tags->end(), AcceptableTag)) {
                return false;
            }
            fields.tags = tags;
            return true;
        });
    });
}

// The update is over as soon as it has a result; the answer is what remains of it.
CallResults::Work UploadWork(std::uint64_t handle, std::uint64_t item, const Rehearsed& wanted)
{
    return [handle, item, wanted]() -> std::optional<Answer> {
        Workshop& workshop = TheWorkshop();
        std::optional<int> result;
        if (wanted.Fails()) {
            result = wanted.result;
            LogRehearsed("item " + std::to_string(item), wanted);
        } else {
            result = workshop.updates.at(handle).upload->Step();
        }
        if (!result) {
            return std::nullopt;
        }
        workshop.updates.erase(handle);
        return Answer{*result,
                      SubmitItemUpdateResultBytes(*result, item, workshop.script.legal_agreement),
                      wanted.io_failure};
    };
}

std::uint64_t SubmitItemUpdate(Interface* self, std::uint64_t handle, const char* note) noexcept
{
    return Guarded(kNoCall, [&] {
        Workshop& workshop = TheWorkshop();
        std::uint64_t call = kNoCall;
        ItemUpdate* const update = OpenUpdate(self, "SubmitItemUpdate", handle);
        if (update != nullptr && !Refused(CallKind::Submit)) {
            const Rehearsed wanted = TakeRehearsed(CallKind::Submit);
            update->fields.change_note = note != nullptr ? note : ""; // null: no note
            update->upload = std::make_shared<Upload>(workshop.store, workshop.script,
                                                      workshop.AppId(), update->fields);
            const auto never = []() -> std::optional<Answer> { return std::nullopt; };
            call = workshop.calls.Add(
                kSubmitItemUpdateResult,
                wanted.silent ? never : UploadWork(handle, update->fields.item, wanted));
        }
        return Told(CallText(Method("SubmitItemUpdate"), handle, note), call);
    });
}

std::int32_t GetItemUpdateProgress(Interface* self, std::uint64_t handle, std::uint64_t* done,
                                   std::uint64_t* total) noexcept
{
    return Guarded(0, [&] {
        const auto& updates = TheWorkshop().updates;
        const auto found = updates.find(handle);
        Progress seen;
        if (!InUse(self, "GetItemUpdateProgress")) {
            // told
        } else if (found == updates.end()) {
            Mistake(Method("GetItemUpdateProgress") + " on update " + std::to_string(handle)
                    + ", which is unknown or finished");
        } else if (found->second.upload != nullptr) {
            seen = found->second.upload->Seen();
        }
        if (done == nullptr || total == nullptr) {
            Mistake(Method("GetItemUpdateProgress") + " with nowhere to put the counts");
        } else {
            *done = seen.done;
            *total = seen.total;
        }
        const auto status = static_cast<std::int32_t>(seen.status);
        NotePolled("GetItemUpdateProgress", CallText(Method("GetItemUpdateProgress"), handle)
                                                + " = " + Shown(status) + ", " + Shown(seen.done)
                                                + " of " + Shown(seen.total));
        return status;
    });
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
