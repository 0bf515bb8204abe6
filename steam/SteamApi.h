#pragma once

#include "SteamContext.h"
#include "SteamTypes.h"

class CallResultBase;
class QString;

/// The Steam API as the program sees it: the library beside the executable, loaded at the first
/// start. GUI thread only.
namespace SteamApi {

/// Loads the library if that has not been done, names the application `app` to the Steam client and
/// starts the API. Returns false, with one line on standard error that names the file, when the
/// library is missing or unusable, the start fails, or the client lacks an interface that the
/// program needs. May be called again after a failure or after `Shutdown`.
bool Init(AppId_t app);

/// Why the last `Init` has returned false, in the words of that line; empty after a good start.
const QString& Problem();

/// Lets Steam work; answers that have arrived are delivered from inside this call. Needs a loaded
/// library, as registering does.
void RunCallbacks();

/// Stops the API; harmless when it is not running or not even loaded. Every interface pointer is
/// dead afterwards, but registrations survive: a holder that is still armed must unregister itself.
void Shutdown();

/// The interface pointers, all null while the API is not running. Never keep one across `Shutdown`.
const SteamContext& Context();

/// Has the answer to `call` delivered to `holder`. The library keeps the bare pointer until it has
/// delivered or `UnregisterCallResult` is called.
void RegisterCallResult(CallResultBase* holder, SteamAPICall_t call);

/// Takes a registration back. Never from inside the delivery of that very call: the library drops
/// the registration itself there and would crash.
void UnregisterCallResult(CallResultBase* holder, SteamAPICall_t call);

} // namespace SteamApi
