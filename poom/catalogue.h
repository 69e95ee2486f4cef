// The catalogue of the properties that travel between an item and a packet: one row a property, in the order in which
// they are asked of the item. Reading translates Pocket Outlook's identifier to the packet's, writing goes back.
//
// An identifier is a number and a value type, and both halves may differ between the two sides; the values are moved
// as they are, but for the picture, which is a stream in the item and a blob in the packet.
#pragma once

#include <array>
#include <cstddef>

#include <pimstore.h>

struct CatalogueRow {
    CEPROPID poom;     // asked of the item
    CEPROPID packet;   // carried by the packet
    const char* name;  // published, without PIMPR_
    const char* meaning;
};

// clang-format off
inline constexpr std::array<CatalogueRow, 54> kContactCatalogue = {{
    {PIMPR_FILEAS, 0x4013001F, "FILEAS", "filing string under which the contact is listed"},
    {PIMPR_TITLE, 0x4023001F, "TITLE", "name prefix (Mr., Dr.)"},
    {PIMPR_FIRST_NAME, 0x3A06001F, "FIRST_NAME", "given name"},
    {PIMPR_MIDDLE_NAME, 0x4024001F, "MIDDLE_NAME", "middle name"},
    {PIMPR_LAST_NAME, 0x3A11001F, "LAST_NAME", "surname"},
    {PIMPR_SUFFIX, 0x3A05001F, "SUFFIX", "name suffix, generation (Jr.)"},
    {PIMPR_BIRTHDAY, 0x40010040, "BIRTHDAY", "birthday"},
    {PIMPR_ASSISTANT_NAME, 0x4002001F, "ASSISTANT_NAME", "assistant's name"},
    {PIMPR_ANNIVERSARY, 0x40030040, "ANNIVERSARY", "wedding anniversary"},
    {PIMPR_ASSISTANT_TELEPHONE_NUMBER, 0x4004001F, "ASSISTANT_TELEPHONE_NUMBER", "assistant's telephone"},
    {PIMPR_CHILDREN, 0x4006001F, "CHILDREN", "children's names, one text"},
    {PIMPR_WEB_PAGE, 0x4008001F, "WEB_PAGE", "web page"},
    {PIMPR_SPOUSE, 0x400A001F, "SPOUSE", "spouse's name"},
    {PIMPR_EMAIL1_ADDRESS, 0x4083001F, "EMAIL1_ADDRESS", "first e-mail address"},
    {PIMPR_EMAIL2_ADDRESS, 0x4093001F, "EMAIL2_ADDRESS", "second e-mail address"},
    {PIMPR_EMAIL3_ADDRESS, 0x40A3001F, "EMAIL3_ADDRESS", "third e-mail address"},
    {PIMPR_HOME_FAX_NUMBER, 0x3A25001F, "HOME_FAX_NUMBER", "home fax"},
    {PIMPR_HOME_TELEPHONE_NUMBER, 0x3A09001F, "HOME_TELEPHONE_NUMBER", "home telephone"},
    {PIMPR_HOME2_TELEPHONE_NUMBER, 0x3A2F001F, "HOME2_TELEPHONE_NUMBER", "second home telephone"},
    {PIMPR_MOBILE_TELEPHONE_NUMBER, 0x3A1C001F, "MOBILE_TELEPHONE_NUMBER", "mobile telephone (also the SMS address)"},
    {PIMPR_PAGER_NUMBER, 0x4009001F, "PAGER_NUMBER", "pager"},
    {PIMPR_RADIO_TELEPHONE_NUMBER, 0x3A1D001F, "RADIO_TELEPHONE_NUMBER", "radio telephone"},
    {PIMPR_BUSINESS_FAX_NUMBER, 0x3A24001F, "BUSINESS_FAX_NUMBER", "business fax"},
    {PIMPR_BUSINESS_TELEPHONE_NUMBER, 0x3A08001F, "BUSINESS_TELEPHONE_NUMBER", "business telephone"},
    {PIMPR_BUSINESS2_TELEPHONE_NUMBER, 0x4007001F, "BUSINESS2_TELEPHONE_NUMBER", "second business telephone"},
    {PIMPR_CAR_TELEPHONE_NUMBER, 0x3A1E001F, "CAR_TELEPHONE_NUMBER", "car telephone"},
    {PIMPR_COMPANY_NAME, 0x3A16001F, "COMPANY_NAME", "company"},
    {PIMPR_DEPARTMENT, 0x3A18001F, "DEPARTMENT", "department"},
    {PIMPR_OFFICE_LOCATION, 0x3A19001F, "OFFICE_LOCATION", "office location"},
    {PIMPR_JOB_TITLE, 0x3A17001F, "JOB_TITLE", "job title"},
    {PIMPR_HOME_ADDRESS_STREET, 0x4040001F, "HOME_ADDRESS_STREET", "home: street"},
    {PIMPR_HOME_ADDRESS_CITY, 0x4041001F, "HOME_ADDRESS_CITY", "home: city"},
    {PIMPR_HOME_ADDRESS_STATE, 0x4042001F, "HOME_ADDRESS_STATE", "home: state, region"},
    {PIMPR_HOME_ADDRESS_POSTAL_CODE, 0x4043001F, "HOME_ADDRESS_POSTAL_CODE", "home: postal code"},
    {PIMPR_HOME_ADDRESS_COUNTRY, 0x4044001F, "HOME_ADDRESS_COUNTRY", "home: country"},
    {PIMPR_BUSINESS_ADDRESS_STREET, 0x4045001F, "BUSINESS_ADDRESS_STREET", "business: street"},
    {PIMPR_BUSINESS_ADDRESS_CITY, 0x4046001F, "BUSINESS_ADDRESS_CITY", "business: city"},
    {PIMPR_BUSINESS_ADDRESS_STATE, 0x4047001F, "BUSINESS_ADDRESS_STATE", "business: state"},
    {PIMPR_BUSINESS_ADDRESS_POSTAL_CODE, 0x4048001F, "BUSINESS_ADDRESS_POSTAL_CODE", "business: postal code"},
    {PIMPR_BUSINESS_ADDRESS_COUNTRY, 0x4049001F, "BUSINESS_ADDRESS_COUNTRY", "business: country"},
    {PIMPR_OTHER_ADDRESS_STREET, 0x404A001F, "OTHER_ADDRESS_STREET", "other: street"},
    {PIMPR_OTHER_ADDRESS_CITY, 0x404B001F, "OTHER_ADDRESS_CITY", "other: city"},
    {PIMPR_OTHER_ADDRESS_STATE, 0x404C001F, "OTHER_ADDRESS_STATE", "other: state"},
    {PIMPR_OTHER_ADDRESS_POSTAL_CODE, 0x404D001F, "OTHER_ADDRESS_POSTAL_CODE", "other: postal code"},
    {PIMPR_OTHER_ADDRESS_COUNTRY, 0x404E001F, "OTHER_ADDRESS_COUNTRY", "other: country"},
    {PIMPR_IM1_ADDRESS, 0xAFE1001F, "IM1_ADDRESS", "instant-messaging address 1"},
    {PIMPR_IM2_ADDRESS, 0xAFE2001F, "IM2_ADDRESS", "instant-messaging address 2"},
    {PIMPR_IM3_ADDRESS, 0xAFE3001F, "IM3_ADDRESS", "instant-messaging address 3"},
    {PIMPR_COMPANY_TELEPHONE_NUMBER, 0xAFE4001F, "COMPANY_TELEPHONE_NUMBER", "company main telephone"},
    {PIMPR_MANAGER, 0xAFE5001F, "MANAGER", "manager's name"},
    {PIMPR_GOVERNMENTID, 0xAFE6001F, "GOVERNMENTID", "government id"},
    {PIMPR_ACCOUNT_NAME, 0xAFE7001F, "ACCOUNT_NAME", "account name"},
    {PIMPR_CUSTOMERID, 0xAFE8001F, "CUSTOMERID", "customer id"},
    {PIMPR_PICTURE, 0xAFE90041, "PICTURE", "contact picture"},
}};

inline constexpr std::array<CatalogueRow, 9> kAppointmentCatalogue = {{
    {PIMPR_SUBJECT, 0x0037001F, "SUBJECT", "subject"},
    {PIMPR_LOCATION, 0x4208001F, "LOCATION", "location"},
    {PIMPR_START, 0x420D0040, "START", "start"},
    {PIMPR_DURATION, 0x42130003, "DURATION", "minutes"},
    {PIMPR_ALL_DAY_EVENT, 0x42150003, "ALL_DAY_EVENT", "all-day flag"},
    {PIMPR_SENSITIVITY, 0x00040002, "SENSITIVITY", "sensitivity"},
    {PIMPR_BUSY_STATUS, 0x000F0002, "BUSY_STATUS", "busy status"},
    {PIMPR_REMINDER_MINUTES_BEFORE_START, 0x45010003, "REMINDER_MINUTES_BEFORE_START", "minutes before start"},
    {PIMPR_REMINDER_SET, 0x45030002, "REMINDER_SET", "reminder on"},
}};

// The date of completion and the flag share a number in the packet and differ in type: that is the format.
inline constexpr std::array<CatalogueRow, 8> kTaskCatalogue = {{
    {PIMPR_SUBJECT, 0x0037001F, "SUBJECT", "subject"},
    {PIMPR_IMPORTANCE, 0x00260003, "IMPORTANCE", "importance: 0 low, 1 normal, 2 high"},
    {PIMPR_SENSITIVITY, 0x00040002, "SENSITIVITY", "sensitivity"},
    {PIMPR_START_DATE, 0x41040040, "START_DATE", "start date"},
    {PIMPR_DUE_DATE, 0x41050040, "DUE_DATE", "due date"},
    {PIMPR_DATE_COMPLETED, 0x410F0040, "DATE_COMPLETED", "completion date"},
    {PIMPR_COMPLETE, 0x410F0002, "COMPLETE", "completed"},
    {PIMPR_REMINDER_SET, 0x45030002, "REMINDER_SET", "reminder on"},
}};
// clang-format on

// The rows of one type; `rows` is null for no type.
struct Catalogue {
    const CatalogueRow* rows;
    std::size_t count;
    const CatalogueRow* begin() const { return rows; }
    const CatalogueRow* end() const { return rows + count; }
};

// `dwDBType` is a database type or a type's letter.
Catalogue CatalogueOf(DWORD dwDBType);

// The packet's identifier for Pocket Outlook's under the given type. What the type does not know is traced and comes
// back as it is.
CEPROPID ConvertPropID(CEPROPID propid, DWORD dwDBType);

// The row of `catalogue` that the packet calls `propid`; null for none.
const CatalogueRow* FindByPacketID(Catalogue catalogue, CEPROPID propid);
