#pragma once

#include "SteamApi.h"
#include "SteamTypes.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // has virtual methods, but a plain layout
#endif

/// The part of a call-result holder that the Steam library sees: a table of three slots and a
/// callback id at a fixed place. It is registered under a call number and called back once.
class CallResultBase
{
public:
    CallResultBase(const CallResultBase&) = delete;
    CallResultBase& operator=(const CallResultBase&) = delete;

protected:
    explicit CallResultBase(std::int32_t callback) : callback_id(callback)
    {
        static_assert(offsetof(CallResultBase, callback_flags) == sizeof(void*));
        static_assert(offsetof(CallResultBase, callback_id) == sizeof(void*) + 4);
        static_assert(sizeof(CallResultBase) == sizeof(void*) + 8, "subclass members follow here");
    }
    ~CallResultBase() = default;

    // The library calls by slot. The one for Windows is built by Microsoft's compiler, which
    // reverses the order of overloads; so the order depends on the platform and not on the compiler
    // that builds the program. Two names, because overloads would leave the order to that compiler.
#if defined(_WIN32)
    virtual void run_call_result(void* result, bool io_failure, SteamAPICall_t call) = 0;
    virtual void run_callback(void*)
    {}
#else
    virtual void run_callback(void*)
    {} // for broadcasts, which nothing here registers for
    virtual void run_call_result(void* result, bool io_failure, SteamAPICall_t call) = 0;
#endif
    virtual int get_callback_size_bytes() = 0;

private:
    [[maybe_unused]] std::uint8_t callback_flags = 0;
    [[maybe_unused]] std::int32_t callback_id; // read by the library
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/// Receives the answer to one asynchronous Steam call and hands it to a member function of
/// `Target`.
///
/// GUI thread only. The holder fires once, from inside `SteamApi::RunCallbacks`; it must live at a
/// fixed address while it is armed and unregisters itself when it dies armed.
template<class Target, class Result>
class CCallResult final : public CallResultBase
{
public:
    /// `result` is only valid during the call; on an I/O failure its contents are not to be
    /// trusted.
    using Handler = void (Target::*)(Result* result, bool io_failure);

    CCallResult() : CallResultBase(Result::k_iCallback) {}
    CCallResult(const CCallResult&) = delete;
    CCallResult& operator=(const CCallResult&) = delete;
    ~CCallResult() { Cancel(); }

    /// Waits for `new_call` instead of any earlier call, whose answer is then never delivered. A
    /// call number of 0 leaves the holder unarmed.
    void Set(SteamAPICall_t new_call, Target* new_target, Handler new_handler)
    {
        Cancel();
        call = new_call;
        target = new_target;
        handler = new_handler;
        if (call != k_uAPICallInvalid)
            SteamApi::RegisterCallResult(this, call);
    }

    void Cancel()
    {
        if (call != k_uAPICallInvalid) {
            SteamApi::UnregisterCallResult(this, call);
            call = k_uAPICallInvalid;
        }
    }

private:
    void run_call_result(void* result, bool io_failure, SteamAPICall_t answered_call) override
    {
        if (answered_call != call)
            return;
        // The library drops the registration itself. The holder counts as idle before the handler
        // runs, because the handler may arm it anew and unregistering now would crash the library.
        call = k_uAPICallInvalid;
        (target->*handler)(static_cast<Result*>(result), io_failure);
    }

    int get_callback_size_bytes() override { return static_cast<int>(sizeof(Result)); }

    SteamAPICall_t call = k_uAPICallInvalid;
    Target* target = nullptr;
    Handler handler = nullptr;
};
