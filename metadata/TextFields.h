#pragma once

#include "ModParser.h"

namespace ModParser {

/// An element of "metadata.xml" that holds a text, and the member that keeps it.
struct TextField
{
    const char* element;
    QString ModDescriptor::*member;
};

/// All of them, in the order in which they are written. The tags follow behind.
inline constexpr TextField text_fields[] = {
    {"name", &ModDescriptor::name},       {"directory", &ModDescriptor::directory},
    {"id", &ModDescriptor::id},           {"description", &ModDescriptor::description},
    {"version", &ModDescriptor::version}, {"visibility", &ModDescriptor::visibility},
};

} // namespace ModParser
