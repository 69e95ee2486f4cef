// Values of Pocket Outlook's objects as texts: the forms that the agreement's items have.
#pragma once

#include <pimstore.h>

#include <optional>
#include <string>

namespace kez::engine {

// "" for null. Nothing where the platform does not convert it (no memory): that is not the same as an empty text.
std::optional<std::string> Utf8(const WCHAR* text);

// "YYYY-MM-DD hh:mm:ss"; "" for no date and for one that cannot be.
std::string DateText(DATE date);

// "name;address;name;address" as the device's item bridge writes it: recipients without a name or an address are left
// out, and where the last one is, a semicolon ends the text. Nothing where a recipient cannot be read.
std::optional<std::string> RecipientsText(IAppointment& appointment);

}  // namespace kez::engine
