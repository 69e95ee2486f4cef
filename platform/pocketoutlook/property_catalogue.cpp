// The table of item properties.
#include "platform/pocketoutlook/property_catalogue.h"

#include <algorithm>
#include <array>

namespace kez::pocketoutlook {
namespace {

constexpr std::uint32_t kContactText = 1022;
constexpr std::uint32_t kLongText = 1023;
constexpr std::uint32_t kSubjectText = 4095;
// As many characters as fit into one property of a record, with their terminator.
constexpr std::uint32_t kBodyText = (CEDB_MAXPROPDATASIZE - sizeof(WCHAR)) / sizeof(WCHAR);

constexpr auto kRows = std::to_array<PropertyRow>({
    // Items of every type
    {PIMPR_OID, u"Oid", kItems, Access::Calculated, 0},
    {PIMPR_DO_NOT_SYNC, u"DoNotSync", kItems, Access::Stored, 1},
    {PIMPR_SOURCE_ID, u"SourceId", kContacts | kAppointments, Access::ReadOnly, 0},
    {PIMPR_RECENT, u"Recent", kItems, Access::Stored, 0},
    {PIMPR_CATEGORIES, u"Categories", kItems, Access::Stored, kLongText},
    {PIMPR_BODY_TEXT, u"Body", kItems, Access::Stored, kBodyText},
    {PIMPR_BODY_BINARY, u"BodyBinary", kItems, Access::Stream, 0},

    // Contacts
    {PIMPR_FILEAS, u"FileAs", kContacts, Access::Stored, kContactText},
    {PIMPR_TITLE, u"Title", kContacts, Access::Stored, kContactText},
    {PIMPR_FIRST_NAME, u"FirstName", kContacts, Access::Stored, kContactText},
    {PIMPR_MIDDLE_NAME, u"MiddleName", kContacts, Access::Stored, kContactText},
    {PIMPR_LAST_NAME, u"LastName", kContacts, Access::Stored, kContactText},
    {PIMPR_SUFFIX, u"Suffix", kContacts, Access::Stored, kContactText},
    {PIMPR_BIRTHDAY, u"Birthday", kContacts, Access::Stored, 0},
    {PIMPR_ASSISTANT_NAME, u"AssistantName", kContacts, Access::Stored, kContactText},
    {PIMPR_ANNIVERSARY, u"Anniversary", kContacts, Access::Stored, 0},
    {PIMPR_ASSISTANT_TELEPHONE_NUMBER, u"AssistantTelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_CHILDREN, u"Children", kContacts, Access::Stored, kContactText},
    {PIMPR_WEB_PAGE, u"WebPage", kContacts, Access::Stored, kContactText},
    {PIMPR_SPOUSE, u"Spouse", kContacts, Access::Stored, kContactText},
    {PIMPR_EMAIL1_ADDRESS, u"Email1Address", kContacts, Access::Stored, kContactText},
    {PIMPR_EMAIL2_ADDRESS, u"Email2Address", kContacts, Access::Stored, kContactText},
    {PIMPR_EMAIL3_ADDRESS, u"Email3Address", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME_FAX_NUMBER, u"HomeFaxNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME_TELEPHONE_NUMBER, u"HomeTelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME2_TELEPHONE_NUMBER, u"Home2TelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_MOBILE_TELEPHONE_NUMBER, u"MobileTelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_PAGER_NUMBER, u"PagerNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_RADIO_TELEPHONE_NUMBER, u"RadioTelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS_FAX_NUMBER, u"BusinessFaxNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS_TELEPHONE_NUMBER, u"BusinessTelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS2_TELEPHONE_NUMBER, u"Business2TelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_CAR_TELEPHONE_NUMBER, u"CarTelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_COMPANY_NAME, u"CompanyName", kContacts, Access::Stored, kContactText},
    {PIMPR_DEPARTMENT, u"Department", kContacts, Access::Stored, kContactText},
    {PIMPR_OFFICE_LOCATION, u"OfficeLocation", kContacts, Access::Stored, kContactText},
    {PIMPR_JOB_TITLE, u"JobTitle", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME_ADDRESS_STREET, u"HomeAddressStreet", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME_ADDRESS_CITY, u"HomeAddressCity", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME_ADDRESS_STATE, u"HomeAddressState", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME_ADDRESS_POSTAL_CODE, u"HomeAddressPostalCode", kContacts, Access::Stored, kContactText},
    {PIMPR_HOME_ADDRESS_COUNTRY, u"HomeAddressCountry", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS_ADDRESS_STREET, u"BusinessAddressStreet", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS_ADDRESS_CITY, u"BusinessAddressCity", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS_ADDRESS_STATE, u"BusinessAddressState", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS_ADDRESS_POSTAL_CODE, u"BusinessAddressPostalCode", kContacts, Access::Stored, kContactText},
    {PIMPR_BUSINESS_ADDRESS_COUNTRY, u"BusinessAddressCountry", kContacts, Access::Stored, kContactText},
    {PIMPR_OTHER_ADDRESS_STREET, u"OtherAddressStreet", kContacts, Access::Stored, kContactText},
    {PIMPR_OTHER_ADDRESS_CITY, u"OtherAddressCity", kContacts, Access::Stored, kContactText},
    {PIMPR_OTHER_ADDRESS_STATE, u"OtherAddressState", kContacts, Access::Stored, kContactText},
    {PIMPR_OTHER_ADDRESS_POSTAL_CODE, u"OtherAddressPostalCode", kContacts, Access::Stored, kContactText},
    {PIMPR_OTHER_ADDRESS_COUNTRY, u"OtherAddressCountry", kContacts, Access::Stored, kContactText},
    {PIMPR_IM1_ADDRESS, u"IM1Address", kContacts, Access::Stored, kContactText},
    {PIMPR_IM2_ADDRESS, u"IM2Address", kContacts, Access::Stored, kContactText},
    {PIMPR_IM3_ADDRESS, u"IM3Address", kContacts, Access::Stored, kContactText},
    {PIMPR_COMPANY_TELEPHONE_NUMBER, u"CompanyTelephoneNumber", kContacts, Access::Stored, kContactText},
    {PIMPR_MANAGER, u"Manager", kContacts, Access::Stored, kContactText},
    {PIMPR_GOVERNMENTID, u"GovernmentId", kContacts, Access::Stored, kContactText},
    {PIMPR_ACCOUNT_NAME, u"AccountName", kContacts, Access::Stored, kContactText},
    {PIMPR_CUSTOMERID, u"CustomerId", kContacts, Access::Stored, kContactText},
    {PIMPR_PICTURE, u"Picture", kContacts, Access::Stream, 0},
    {PIMPR_NICKNAME, u"Nickname", kContacts, Access::Stored, kContactText},
    {PIMPR_YOMI_FIRSTNAME, u"YomiFirstName", kContacts, Access::Stored, kContactText},
    {PIMPR_YOMI_LASTNAME, u"YomiLastName", kContacts, Access::Stored, kContactText},
    {PIMPR_YOMI_COMPANY, u"YomiCompanyName", kContacts, Access::Stored, kContactText},
    {PIMPR_YOMI_FILEAS, u"YomiFileAs", kContacts, Access::Stored, kContactText},
    {PIMPR_RINGTONE, u"RingTone", kContacts, Access::Stored, kContactText},
    {PIMPR_SMARTPROP, u"SmartProp", kContacts, Access::Stored, 0},
    {PIMPR_CONTACT_TYPE, u"ContactType", kContacts, Access::ReadOnly, 0},
    {PIMPR_SIM_PHONE, u"SimPhone", kContacts, Access::Stored, kContactText},
    {PIMPR_SMS, u"Sms", kContacts, Access::Calculated, 0},
    {PIMPR_MMS, u"Mms", kContacts, Access::Calculated, 0},
    {PIMPR_DISPLAY_NAME, u"DisplayName", kContacts, Access::Calculated, 0},
    {PIMPR_BUSINESS_ADDRESS, u"BusinessAddress", kContacts, Access::Calculated, 0},
    {PIMPR_HOME_ADDRESS, u"HomeAddress", kContacts, Access::Calculated, 0},
    {PIMPR_OTHER_ADDRESS, u"OtherAddress", kContacts, Access::Calculated, 0},

    // Appointments and tasks
    {PIMPR_SUBJECT, u"Subject", kEvents, Access::Stored, kSubjectText},
    {PIMPR_SENSITIVITY, u"Sensitivity", kEvents, Access::Stored, olConfidential},
    {PIMPR_REMINDER_SET, u"ReminderSet", kEvents, Access::Stored, 0},
    {PIMPR_REMINDER_SOUND_FILE, u"ReminderSoundFile", kEvents, Access::Stored, MAX_PATH},
    {PIMPR_REMINDER_OPTIONS, u"ReminderOptions", kEvents, Access::Stored,
     olLED | olVibrate | olDialog | olSound | olRepeat},
    {PIMPR_IS_RECURRING, u"IsRecurring", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_TYPE, u"RecurrenceType", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_PATTERNSTARTDATE, u"PatternStartDate", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_PATTERNENDDATE, u"PatternEndDate", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_STARTTIME, u"PatternStartTime", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_ENDTIME, u"PatternEndTime", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_NOEND, u"NoEndDate", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_OCCURRENCES, u"Occurrences", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_INTERVAL, u"Interval", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_DAYOFWEEKMASK, u"DayOfWeekMask", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_DAYOFMONTH, u"DayOfMonth", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_INSTANCE, u"Instance", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_DURATION, u"PatternDuration", kEvents, Access::Calculated, 0},
    {PIMPR_RECURRING_MONTHOFYEAR, u"MonthOfYear", kEvents, Access::Calculated, 0},

    // Appointments
    {PIMPR_LOCATION, u"Location", kAppointments, Access::Stored, kLongText},
    {PIMPR_START, u"Start", kAppointments, Access::Stored, 0},
    {PIMPR_DURATION, u"Duration", kAppointments, Access::Stored, 44'640},
    {PIMPR_END, u"End", kAppointments, Access::Calculated, 0},
    {PIMPR_ALL_DAY_EVENT, u"AllDayEvent", kAppointments, Access::Stored, 0},
    {PIMPR_BUSY_STATUS, u"BusyStatus", kAppointments, Access::Stored, olOutOfOffice},
    {PIMPR_REMINDER_MINUTES_BEFORE_START, u"ReminderMinutesBeforeStart", kAppointments, Access::Stored, 0},
    {PIMPR_GLOBAL_OBJECT_ID, u"GlobalObjectId", kAppointments, Access::Stored, 0},
    {PIMPR_TIMEZONE, u"TimeZone", kAppointments, Access::Stored, 0},
    {PIMPR_MEETING_STATUS, u"MeetingStatus", kAppointments, Access::Calculated, 0},
    {PIMPR_MEETING_ORGANIZER_NAME, u"MeetingOrganizerName", kAppointments, Access::Stored, kLongText},
    {PIMPR_MEETING_OWNER_CRITICAL_CHANGE, u"OwnerCriticalChange", kAppointments, Access::Stored, 0},
    {PIMPR_ATTENDEES_CRITICAL_CHANGE, u"AttendeesCriticalChange", kAppointments, Access::Stored, 0},

    // Tasks
    {PIMPR_IMPORTANCE, u"Importance", kTasks, Access::Stored, olImportanceHigh},
    {PIMPR_START_DATE, u"StartDate", kTasks, Access::Stored, 0},
    {PIMPR_DUE_DATE, u"DueDate", kTasks, Access::Stored, 0},
    {PIMPR_DATE_COMPLETED, u"DateCompleted", kTasks, Access::Stored, 0},
    {PIMPR_COMPLETE, u"Complete", kTasks, Access::Calculated, 0},
    {PIMPR_TEAM_TASK, u"TeamTask", kTasks, Access::Stored, 0},
    {PIMPR_REMINDER_TIME, u"ReminderTime", kTasks, Access::Stored, 0},
    {PIMPR_RECURRING_REGENERATING, u"Regenerating", kTasks, Access::Stored, 0},
});

constexpr std::array<std::uint8_t, kRows.size()> ById() {
    std::array<std::uint8_t, kRows.size()> order{};
    for (std::size_t i = 0; i < order.size(); i++) order[i] = static_cast<std::uint8_t>(i);
    std::ranges::sort(order, {}, [](std::uint8_t row) { return kRows[row].id; });
    return order;
}
constexpr auto kById = ById();
static_assert(kRows.size() <= 256);

std::uint8_t KindOf(OlItemType type) {
    switch (type) {
        case olContactItem:
            return kContacts;
        case olAppointmentItem:
            return kAppointments;
        case olTaskItem:
            return kTasks;
        default:
            return 0;
    }
}

char16_t Lower(char16_t character) {
    return character >= u'A' && character <= u'Z' ? static_cast<char16_t>(character + (u'a' - u'A')) : character;
}

bool SameName(std::u16string_view a, std::u16string_view b) { return std::ranges::equal(a, b, {}, Lower, Lower); }

}  // namespace

const PropertyRow* FindProperty(OlItemType type, CEPROPID id) {
    const auto found = std::ranges::lower_bound(kById, id, {}, [](std::uint8_t row) { return kRows[row].id; });
    if (found == kById.end()) return nullptr;
    const PropertyRow& row = kRows[*found];
    return row.id == id && (row.kinds & KindOf(type)) ? &row : nullptr;
}

const PropertyRow* FindProperty(OlItemType type, std::u16string_view name) {
    const std::uint8_t kind = KindOf(type);
    const auto found = std::ranges::find_if(
        kRows, [&](const PropertyRow& row) { return (row.kinds & kind) && SameName(row.name, name); });
    return found == kRows.end() ? nullptr : &*found;
}

}  // namespace kez::pocketoutlook
