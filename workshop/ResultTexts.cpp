#include "SteamWrapper.h"

#include <array>

namespace {

/// The explanations of failures by result code, null for codes that have none. Code 2, the
/// commonest and least telling failure, has none on purpose. The wording is what players know,
/// misspellings included.
constexpr std::array<const char*, 107> failure_texts = {
    nullptr,                                                       // 0
    nullptr,                                                       // 1
    nullptr,                                                       // 2
    "No network connection",                                       // 3
    nullptr,                                                       // 4
    "Invalid password",                                            // 5
    "User logged in elsewhere",                                    // 6
    "Protocol version is incorrect",                               // 7
    "Incorrect parameter",                                         // 8
    "File not found",                                              // 9
    "System is currently busy",                                    // 10
    "Invalid state",                                               // 11
    "Invalid name",                                                // 12
    "Invalid email",                                               // 13
    "Name must be unique",                                         // 14
    "Access is denied",                                            // 15
    "Operation timed out",                                         // 16
    "You are banned",                                              // 17
    "Account not found",                                           // 18
    "SteamId is invalid",                                          // 19
    "Requested service is unavailable",                            // 20
    "User is not logged in",                                       // 21
    "Request is currently pending",                                // 22
    "Encryption process failed",                                   // 23
    "Insufficient privileges",                                     // 24
    "Limit exceeded",                                              // 25
    "Access has been revoked",                                     // 26
    "Access has expired",                                          // 27
    "Access already redeemed",                                     // 28
    "Duplicate request",                                           // 29
    "Already owned",                                               // 30
    "IP address not found",                                        // 31
    "Failed to write change",                                      // 32
    "Failed to acquire access lock",                               // 33
    "Logon session replaced",                                      // 34
    "Connection failed",                                           // 35
    "Connection handshake failed",                                 // 36
    "I/O failure",                                                 // 37
    "Remote disconnect has occured",                               // 38
    "Shopping cart not found",                                     // 39
    "Operation was blocked",                                       // 40
    "Operation was ignored",                                       // 41
    "Nothing matching the request was found",                      // 42
    "Your account is disabled",                                    // 43
    "Service is currently read-only",                              // 44
    "Feature not available",                                       // 45
    nullptr,                                                       // 46
    "Content version mismatch",                                    // 47
    "Current CM cannot perform service",                           // 48
    "User logged in elsewhere, cached login failed",               // 49
    "User logged in elsewhere, please wait...",                    // 50
    "Operation was paused / suspended due to a running operation", // 51
    "Operation was cancelled",                                     // 52
    "Data is corrupt",                                             // 53
    "Out of disk space",                                           // 54
    "Remote processing failed",                                    // 55
    "Password is not set on the server",                           // 56
    "External account not linked to Steam",                        // 57
    "PSN ticket is invalid",                                       // 58
    "External account linked to another account",                  // 59
    "Conflict between local and remote files",                     // 60
    "Illegal password",                                            // 61
    "New value is unchanged",                                      // 62
    "Two-factor authentication failed",                            // 63
    "New password illegal",                                        // 64
    "Invalid authorization code",                                  // 65
    "Login failed due to two-factor authentication",               // 66
    "Hardware incapable of IPT",                                   // 67
    "IPT initialization error",                                    // 68
    "Operation failed due to parental control restrictions",       // 69
    "Error in Facebook query",                                     // 70
    "Login denied due to authorization code expiration",           // 71
    "Login restricted by IP",                                      // 72
    "Your account is in lockdown",                                 // 73
    "Login denied, email verification required",                   // 74
    "No matching URL",                                             // 75
    "Failed to parse due to missing field",                        // 76
    "Must re-enter password",                                      // 77
    "Value out of range",                                          // 78
    "Catastrophic failure",                                        // 79
    "The requested service has been disabled",                     // 80
    "Specified CEG files are not valid",                           // 81
    "Device not allowed to perform action",                        // 82
    "The requested action is unavailble in your region",           // 83
    "Rating limit exceeded, try again later",                      // 84
    "Two-factor authentication login required",                    // 85
    "Item could not be accessed because it was deleted",           // 86
    "Login attempt failed due to throttling",                      // 87
    "Two-factor authentication code mismatch",                     // 88
    "Two factor activation code mismatch",                         // 89
    "Account is associated with multiple partners",                // 90
    "Data could not be modified",                                  // 91
    "Account does not have a mobile device associated with it",    // 92
    "Time value is out of sync",                                   // 93
    "SMS code mismatch",                                           // 94
    "Too many accounts trying to access resource",                 // 95
    "Too many changes made to this account",                       // 96
    "Too many changes made to this phone",                         // 97
    "Failed to refund payment",                                    // 98
    "Failed to send email",                                        // 99
    "Unable to perform operation, payment not settled",            // 100
    "Captcha input required",                                      // 101
    "Game server login token is banned",                           // 102
    "Game server login is denied",                                 // 103
    "Requested operation is invalid",                              // 104
    "IP address has been banned from taking this action",          // 105
    "Token has expired due to inactivity",                         // 106
};

} // namespace

QString SteamWrapper::convert_eresult_to_string(EResult result)
{
    if (result == k_EResultOK)
        return tr("Success");
    if (result == k_EResultAdministratorOK)
        return tr("Success (administrator"); // the parenthesis has never been closed

    const auto index = static_cast<std::size_t>(result); // a negative code becomes a huge index
    const char* const text = index < failure_texts.size() ? failure_texts[index] : nullptr;
    if (text)
        return tr("Error (%1) - %2").arg(result).arg(QLatin1String(text));
    return tr("Error (%1) - Unknown error").arg(result);
}
