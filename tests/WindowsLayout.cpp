// Compiled, never linked, by a compiler for Windows: the headers assert the sizes and offsets of that
// platform, and building a holder checks its layout.

#include "CallResult.h"

static_assert(sizeof(CreateItemResult_t) == 24 && sizeof(SteamParamStringArray_t) == 16, "64-bit Windows");

struct Receiver
{
    void on_created(CreateItemResult_t* result, bool io_failure);
};
using Holder = CCallResult<Receiver, CreateItemResult_t>;
Holder* make_holder();
Holder* make_holder() { return new Holder; }
