#include "Interfaces.h"

#include "Guard.h"
#include "Journal.h"
#include "Workshop.h"

#include <deque>
#include <string>

namespace practice {

Interface* InterfaceOfThisStart(const char* name, const void* const* table)
{
    static auto* const objects = new std::deque<Interface>; // addresses stay as it grows
    const unsigned start = TheWorkshop().StartNumber();
    for (Interface& object : *objects) {
        if (object.start == start && std::string(object.name) == name) {
            return &object;
        }
    }
    objects->push_back({table, name, start});
    return &objects->back();
}

bool InUse(const Interface* object, const char* method)
{
    const std::string name = std::string(object->name) + "::" + method;
    if (!TheWorkshop().Started()) {
        Mistake(name + " while the library is not started");
        return false;
    }
    if (object->start != TheWorkshop().StartNumber()) {
        Mistake(name + " on an object of a former start");
        return false;
    }
    return true;
}

std::uint64_t NotRehearsed(const Interface* object, std::size_t slot)
{
    return Guarded(std::uint64_t(0), [&] {
        Mistake(std::string(object->name) + " slot " + std::to_string(slot) + " is not rehearsed");
        return std::uint64_t(0);
    });
}

} // namespace practice
