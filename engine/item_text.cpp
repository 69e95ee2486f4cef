#include "engine/item_text.h"

#include <cstdio>

#include "engine/com_ptr.h"

namespace kez::engine {

std::optional<std::string> Utf8(const WCHAR* text) {
    if (!text || !*text) return std::string();
    const INT size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size == 0) return std::nullopt;
    std::string utf8(static_cast<std::size_t>(size), '\0');
    if (WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr) != size) return std::nullopt;
    utf8.pop_back();  // the terminator
    return utf8;
}

std::string DateText(DATE date) {
    SYSTEMTIME parts{};
    if (date == DATE_NONE || !VariantTimeToSystemTime(date, &parts)) return {};
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", parts.wYear, parts.wMonth, parts.wDay,
                  parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

std::optional<std::string> RecipientsText(IAppointment& appointment) {
    ComPtr<IRecipients> recipients;
    INT count = 0;
    if (FAILED(appointment.get_Recipients(recipients.Out())) || !recipients) return std::nullopt;
    if (FAILED(recipients->get_Count(&count))) return std::nullopt;
    std::string text;
    for (INT i = 1; i <= count; ++i) {
        ComPtr<IRecipient> recipient;
        AutomationString name;
        AutomationString address;
        if (FAILED(recipients->Item(i, recipient.Out())) || !recipient) return std::nullopt;
        if (FAILED(recipient->get_Name(name.Out())) || FAILED(recipient->get_Address(address.Out()))) {
            return std::nullopt;
        }
        if (SysStringLen(name.Get()) == 0 || SysStringLen(address.Get()) == 0) continue;
        const std::optional<std::string> nameText = Utf8(name.Get());
        const std::optional<std::string> addressText = Utf8(address.Get());
        if (!nameText || !addressText) return std::nullopt;
        text += *nameText + ";" + *addressText;
        if (i != count) text += ";";
    }
    return text;
}

}  // namespace kez::engine
