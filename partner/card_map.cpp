#include "partner/card_map.h"

#include <algorithm>
#include <array>

namespace kez::partner {
namespace {

using S = CardShape;

constexpr CardRow kRows[] = {
    {"LastName", S::NamePart, 0, "", "N", "N", ""},
    {"FirstName", S::NamePart, 1, "", "N", "N", ""},
    {"MiddleName", S::NamePart, 2, "", "N", "N", ""},
    {"Title", S::NamePart, 3, "", "N", "N", ""},
    {"Suffix", S::NamePart, 4, "", "N", "N", ""},
    {"FileAs", S::Text, 0, "", "X-EVOLUTION-FILE-AS X-FILE-AS SORT-STRING", "X-EVOLUTION-FILE-AS", ""},
    {"CompanyName", S::OrgPart, 0, "", "ORG", "ORG", ""},
    {"Department", S::OrgPart, 1, "", "ORG", "ORG", ""},
    {"OfficeLocation", S::OrgPart, 2, "", "ORG", "ORG", ""},
    {"JobTitle", S::Text, 0, "", "TITLE ROLE", "TITLE", ""},
    {"Email1Address", S::Mail, 0, "", "EMAIL", "EMAIL;TYPE=INTERNET,PREF", "EMAIL;PREF=1"},
    {"Email2Address", S::Mail, 0, "", "EMAIL", "EMAIL;TYPE=INTERNET", "EMAIL;PREF=2"},
    {"Email3Address", S::Mail, 0, "", "EMAIL", "EMAIL;TYPE=INTERNET", "EMAIL;PREF=3"},
    {"HomeTelephoneNumber", S::Phone, 0, "HOME", "TEL", "TEL;TYPE=HOME,VOICE", ""},
    {"Home2TelephoneNumber", S::Phone, 0, "HOME", "TEL", "TEL;TYPE=HOME,VOICE", ""},
    {"BusinessTelephoneNumber", S::Phone, 0, "WORK", "TEL", "TEL;TYPE=WORK,VOICE", ""},
    {"Business2TelephoneNumber", S::Phone, 0, "WORK", "TEL", "TEL;TYPE=WORK,VOICE", ""},
    {"MobileTelephoneNumber", S::Phone, 0, "CELL", "TEL", "TEL;TYPE=CELL", ""},
    {"PagerNumber", S::Phone, 0, "PAGER", "TEL", "TEL;TYPE=PAGER", ""},
    {"CarTelephoneNumber", S::Phone, 0, "CAR", "TEL", "TEL;TYPE=CAR", "TEL;TYPE=x-car"},
    {"RadioTelephoneNumber", S::Phone, 0, "RADIO", "TEL", "TEL;TYPE=X-EVOLUTION-RADIO", "TEL;TYPE=x-radio"},
    {"BusinessFaxNumber", S::Phone, 0, "WORKFAX", "TEL", "TEL;TYPE=WORK,FAX", ""},
    {"HomeFaxNumber", S::Phone, 0, "HOMEFAX", "TEL", "TEL;TYPE=HOME,FAX", ""},
    {"CompanyTelephoneNumber", S::Phone, 0, "COMPANY", "TEL X-MS-TEL", "TEL;TYPE=X-EVOLUTION-COMPANY", ""},
    {"AssistantTelephoneNumber", S::Phone, 0, "ASSISTANT", "TEL X-MS-TEL", "TEL;TYPE=X-EVOLUTION-ASSISTANT", ""},
    {"HomeAddressStreet", S::Address, 2, "HOME", "ADR", "ADR;TYPE=HOME", ""},
    {"HomeAddressCity", S::Address, 3, "HOME", "ADR", "ADR;TYPE=HOME", ""},
    {"HomeAddressState", S::Address, 4, "HOME", "ADR", "ADR;TYPE=HOME", ""},
    {"HomeAddressPostalCode", S::Address, 5, "HOME", "ADR", "ADR;TYPE=HOME", ""},
    {"HomeAddressCountry", S::Address, 6, "HOME", "ADR", "ADR;TYPE=HOME", ""},
    {"BusinessAddressStreet", S::Address, 2, "WORK", "ADR", "ADR;TYPE=WORK", ""},
    {"BusinessAddressCity", S::Address, 3, "WORK", "ADR", "ADR;TYPE=WORK", ""},
    {"BusinessAddressState", S::Address, 4, "WORK", "ADR", "ADR;TYPE=WORK", ""},
    {"BusinessAddressPostalCode", S::Address, 5, "WORK", "ADR", "ADR;TYPE=WORK", ""},
    {"BusinessAddressCountry", S::Address, 6, "WORK", "ADR", "ADR;TYPE=WORK", ""},
    {"OtherAddressStreet", S::Address, 2, "", "ADR", "ADR", ""},
    {"OtherAddressCity", S::Address, 3, "", "ADR", "ADR", ""},
    {"OtherAddressState", S::Address, 4, "", "ADR", "ADR", ""},
    {"OtherAddressPostalCode", S::Address, 5, "", "ADR", "ADR", ""},
    {"OtherAddressCountry", S::Address, 6, "", "ADR", "ADR", ""},
    {"IM1Address", S::Chat, 0, "", "IMPP", "IMPP", ""},
    {"IM2Address", S::Chat, 0, "", "IMPP", "IMPP", ""},
    {"IM3Address", S::Chat, 0, "", "IMPP", "IMPP", ""},
    {"WebPage", S::Text, 0, "", "URL", "URL", ""},
    {"Birthday", S::Day, 0, "", "BDAY", "BDAY", ""},
    {"Anniversary", S::Day, 0, "", "ANNIVERSARY X-ANNIVERSARY X-EVOLUTION-ANNIVERSARY X-MS-ANNIVERSARY",
     "X-ANNIVERSARY", "ANNIVERSARY"},
    {"Spouse", S::Text, 0, "spouse", "X-SPOUSE X-MS-SPOUSE X-EVOLUTION-SPOUSE RELATED", "X-SPOUSE",
     "RELATED;VALUE=text;TYPE=spouse"},
    {"Children", S::Names, 0, "child", "X-CHILDREN X-MS-CHILD RELATED", "X-CHILDREN", "RELATED;VALUE=text;TYPE=child"},
    {"AssistantName", S::Text, 0, "agent", "X-ASSISTANT X-MS-ASSISTANT X-EVOLUTION-ASSISTANT RELATED", "X-ASSISTANT",
     "RELATED;VALUE=text;TYPE=agent"},
    {"Manager", S::Text, 0, "", "X-MANAGER X-MS-MANAGER X-EVOLUTION-MANAGER", "X-MANAGER", ""},
    {"GovernmentId", S::Text, 0, "", "X-GOVERNMENT-ID", "X-GOVERNMENT-ID", ""},
    {"AccountName", S::Text, 0, "", "X-ACCOUNT", "X-ACCOUNT", ""},
    {"CustomerId", S::Text, 0, "", "X-CUSTOMER-ID", "X-CUSTOMER-ID", ""},
    {"Categories", S::Categories, 0, "", "CATEGORIES", "CATEGORIES", ""},
    {"Body", S::Text, 0, "", "NOTE", "NOTE", ""},
    {"Picture", S::Photo, 0, "", "PHOTO", "PHOTO", ""},
};

}  // namespace

std::span<const CardRow> CardRows() { return kRows; }

const CardRow* FindCardRow(std::string_view field) {
    for (const auto& row : kRows)
        if (row.field == field) return &row;
    return nullptr;
}

std::span<const std::string_view> Readings(const CardRow& row) {
    static const auto all = [] {
        std::array<std::vector<std::string_view>, std::size(kRows)> readings;
        for (std::size_t i = 0; i < readings.size(); ++i) {
            std::string_view rest = kRows[i].readings;
            for (std::size_t blank; (blank = rest.find(' ')) != std::string_view::npos; rest.remove_prefix(blank + 1))
                readings[i].push_back(rest.substr(0, blank));
            readings[i].push_back(rest);
        }
        return readings;
    }();
    return all[static_cast<std::size_t>(&row - kRows)];
}

std::vector<std::string_view> OverflowFields(std::string_view kind) {
    if (kind == "CELL") return {"Home2TelephoneNumber", "Business2TelephoneNumber", "RadioTelephoneNumber"};
    if (kind == "ANY")
        return {"HomeTelephoneNumber", "BusinessTelephoneNumber", "Home2TelephoneNumber", "Business2TelephoneNumber",
                "MobileTelephoneNumber"};
    return {};
}

std::vector<std::string> PlainParts(const ContentLine& line, Syntax syntax, bool lists) {
    std::vector<std::string> parts = Split(Text(line), ';');
    for (auto& part : parts) {
        std::string plain;
        for (const auto& one : lists && !IsOld(syntax) ? Split(part, ',') : std::vector<std::string>{part}) {
            std::string value = Trimmed(Unescape(one, syntax));
            if (!value.empty()) plain += (plain.empty() ? "" : " ") + value;
        }
        part = plain;
    }
    return parts;
}

std::vector<ListElement> ListElements(const ContentLine& line, Syntax syntax) {
    std::vector<ListElement> elements;
    std::string text = Text(line);
    for (auto& outer : IsOld(syntax) ? Split(text, ';') : std::vector<std::string>{text}) {
        for (auto& escaped : Split(outer, ',')) {
            std::string shown = Trimmed(Unescape(escaped, syntax));
            // A comma inside a name would be two names on a device.
            std::replace(shown.begin(), shown.end(), ',', ' ');
            elements.push_back({escaped, shown});
        }
    }
    return elements;
}

}  // namespace kez::partner
