#include "workshop/SteamWrapper.h"

namespace {

/// The explanation of a failure, null for codes that have none. Code 2, the commonest and least
/// telling failure, has none on purpose. The wording is what players know, misspellings included.
const char* failure_text(EResult result)
{
    switch (static_cast<int>(result)) {
    case 3:
        return "No network connection";
    case 5:
        return "Invalid password";
    case 6:
        return "User logged in elsewhere";
    case 7:
        return "Protocol version is incorrect";
    case 8:
        return "Incorrect parameter";
    case 9:
        return "File not found";
    case 10:
        return "System is currently busy";
    case 11:
        return "Invalid state";
    case 12:
        return "Invalid name";
    case 13:
        return "Invalid email";
    case 14:
        return "Name must be unique";
    case 15:
        return "Access is denied";
    case 16:
        return "Operation timed out";
    case 17:
        return "You are banned";
    case 18:
        return "Account not found";
    case 19:
        return "SteamId is invalid";
    case 20:
        return "Requested service is unavailable";
    case 21:
        return "User is not logged in";
    case 22:
        return "Request is currently pending";
    case 23:
        return "Encryption process failed";
    case 24:
        return "Insufficient privileges";
    case 25:
        return "Limit exceeded";
    case 26:
        return "Access has been revoked";
    case 27:
        return "Access has expired";
    case 28:
        return "Access already redeemed";
    case 29:
        return "Duplicate request";
    case 30:
        return "Already owned";
    case 31:
        return "IP address not found";
    case 32:
        return "Failed to write change";
    case 33:
        return "Failed to acquire access lock";
    case 34:
        return "Logon session replaced";
    case 35:
        return "Connection failed";
    case 36:
        return "Connection handshake failed";
    case 37:
        return "I/O failure";
    case 38:
        return "Remote disconnect has occured";
    case 39:
        return "Shopping cart not found";
    case 40:
        return "Operation was blocked";
    case 41:
        return "Operation was ignored";
    case 42:
        return "Nothing matching the request was found";
    case 43:
        return "Your account is disabled";
    case 44:
        return "Service is currently read-only";
    case 45:
        return "Feature not available";
    case 47:
        return "Content version mismatch";
    case 48:
        return "Current CM cannot perform service";
    case 49:
        return "User logged in elsewhere, cached login failed";
    case 50:
        return "User logged in elsewhere, please wait...";
    case 51:
        return "Operation was paused / suspended due to a running operation";
    case 52:
        return "Operation was cancelled";
    case 53:
        return "Data is corrupt";
    case 54:
        return "Out of disk space";
    case 55:
        return "Remote processing failed";
    case 56:
        return "Password is not set on the server";
    case 57:
        return "External account not linked to Steam";
    case 58:
        return "PSN ticket is invalid";
    case 59:
        return "External account linked to another account";
    case 60:
        return "Conflict between local and remote files";
    case 61:
        return "Illegal password";
    case 62:
        return "New value is unchanged";
    case 63:
        return "Two-factor authentication failed";
    case 64:
        return "New password illegal";
    case 65:
        return "Invalid authorization code";
    case 66:
        return "Login failed due to two-factor authentication";
    case 67:
        return "Hardware incapable of IPT";
    case 68:
        return "IPT initialization error";
    case 69:
        return "Operation failed due to parental control restrictions";
    case 70:
        return "Error in Facebook query";
    case 71:
        return "Login denied due to authorization code expiration";
    case 72:
        return "Login restricted by IP";
    case 73:
        return "Your account is in lockdown";
    case 74:
        return "Login denied, email verification required";
    case 75:
        return "No matching URL";
    case 76:
        return "Failed to parse due to missing field";
    case 77:
        return "Must re-enter password";
    case 78:
        return "Value out of range";
    case 79:
        return "Catastrophic failure";
    case 80:
        return "The requested service has been disabled";
    case 81:
        return "Specified CEG files are not valid";
    case 82:
        return "Device not allowed to perform action";
    case 83:
        return "The requested action is unavailble in your region";
    case 84:
        return "Rating limit exceeded, try again later";
    case 85:
        return "Two-factor authentication login required";
    case 86:
        return "Item could not be accessed because it was deleted";
    case 87:
        return "Login attempt failed due to throttling";
    case 88:
        return "Two-factor authentication code mismatch";
    case 89:
        return "Two factor activation code mismatch";
    case 90:
        return "Account is associated with multiple partners";
    case 91:
        return "Data could not be modified";
    case 92:
        return "Account does not have a mobile device associated with it";
    case 93:
        return "Time value is out of sync";
    case 94:
        return "SMS code mismatch";
    case 95:
        return "Too many accounts trying to access resource";
    case 96:
        return "Too many changes made to this account";
    case 97:
        return "Too many changes made to this phone";
    case 98:
        return "Failed to refund payment";
    case 99:
        return "Failed to send email";
    case 100:
        return "Unable to perform operation, payment not settled";
    case 101:
        return "Captcha input required";
    case 102:
        return "Game server login token is banned";
    case 103:
        return "Game server login is denied";
    case 104:
        return "Requested operation is invalid";
    case 105:
        return "IP address has been banned from taking this action";
    case 106:
        return "Token has expired due to inactivity";
    default:
        return nullptr;
    }
}

} // namespace

QString SteamWrapper::convert_eresult_to_string(EResult result)
{
    if (result == k_EResultOK)
        return tr("Success");
    if (result == k_EResultAdministratorOK)
        return tr("Success (administrator"); // the parenthesis has never been closed

    const qlonglong code = result;
    if (const char* text = failure_text(result))
        return tr("Error (%1) - %2").arg(code).arg(QLatin1String(text));
    return tr("Error (%1) - Unknown error").arg(code);
}
