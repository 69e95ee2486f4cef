// The Pocket Outlook object model: an in-process COM server for the device's contacts, tasks and appointments.
//
// Slots follow the published order; every method answers an HRESULT. Object results carry a reference that the
// caller releases, strings are automation strings that the caller frees. A DATE is local wall clock time, and
// 949998.0 (4501-01-01) stands for no date. Only the application object is made with CoCreateInstance.
#pragma once

#include <windbase.h>

// --- Classes and interfaces --------------------------------------------------------------------------------

inline constexpr CLSID CLSID_Application = {
    0x05058F23, 0x20BE, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_Folder = {0x05058F21, 0x20BE, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_Items = {0xF06748C1, 0x21A5, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_ContactItem = {
    0x430539D0, 0x2017, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_TaskItem = {0x5B43F690, 0x202C, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_AppointmentItem = {
    0x5B43F692, 0x202C, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_CityItem = {0xC83C5E91, 0x3D1B, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_RecurrencePattern = {
    0x38F47301, 0x270F, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_Exceptions = {
    0xB47398D3, 0x3B73, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_Exception = {0xB47398D2, 0x3B73, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_Recipients = {
    0x76065AE1, 0x2347, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_Recipient = {0x7E136BE1, 0x5240, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr CLSID CLSID_TimeZone = {0x78B27291, 0x5256, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};

inline constexpr IID IID_IPOutlookApp = {0x05058F22, 0x20BE, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IPOutlookApp2 = {0xAF7D0DC7, 0x3D35, 0x424B, {0xAA, 0x60, 0x27, 0xA3, 0x8B, 0x8B, 0x62, 0x9E}};
inline constexpr IID IID_IFolder = {0x05058F20, 0x20BE, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IPOutlookItemCollection = {
    0xF06748C0, 0x21A5, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IPOlItems = {0x6E3DBE90, 0x5411, 0x11D3, {0x8F, 0x39, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IPOlItems2 = {0xCB52F880, 0x4CB0, 0x4A23, {0xAA, 0x09, 0x82, 0x32, 0x6C, 0x98, 0x92, 0x9F}};
inline constexpr IID IID_IPOlItems3 = {0x58ED74D6, 0xD2C4, 0x415F, {0x81, 0x79, 0x5B, 0x67, 0xE4, 0x04, 0x36, 0x14}};
inline constexpr IID IID_IItem = {0xFB8998D0, 0x38F0, 0x4D12, {0xAC, 0x56, 0x4E, 0xC8, 0xFC, 0xE9, 0xF3, 0xD5}};
inline constexpr IID IID_IContact = {0x7F804E40, 0x2010, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_ITask = {0x37C78CE0, 0x202C, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IAppointment = {0x5B43F691, 0x202C, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_ICity = {0xC83C5E90, 0x3D1B, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IRecurrencePattern = {
    0x38F47300, 0x270F, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IExceptions = {0xB47398D1, 0x3B73, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IException = {0xB47398D0, 0x3B73, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IRecipients = {0x76065AE0, 0x2347, 0x11D2, {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IRecipient = {0x7E136BE0, 0x5240, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IPOlRecipient = {0xA11C6E30, 0x51B5, 0x11D3, {0x8F, 0x39, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IRecipient2 = {0x13A73D92, 0xC9CE, 0x4904, {0xA3, 0x48, 0xCB, 0xA3, 0x24, 0x6F, 0x2F, 0x8C}};
inline constexpr IID IID_ITimeZone = {0x78B27290, 0x5256, 0x11D2, {0x8F, 0x1B, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
inline constexpr IID IID_IEnumVARIANT = {0x00020404, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IPimSrcContactSummaryCard = {
    0x95932F0A, 0xE03A, 0x412C, {0x85, 0xEE, 0x04, 0x53, 0x65, 0x27, 0x7E, 0x60}};
inline constexpr IID IID_IPimSrcContactListIcon = {
    0x95932F0A, 0xE03A, 0x412C, {0x85, 0xEE, 0x04, 0x53, 0x65, 0x27, 0x7E, 0x62}};
inline constexpr IID IID_IPimSrcContactNew = {
    0xFD76819E, 0x4BDC, 0x4E98, {0x88, 0x0C, 0x15, 0xDE, 0xD1, 0xFD, 0xA3, 0x0D}};

// --- Values ------------------------------------------------------------------------------------------------

enum OlDefaultFolders : LONG {
    olFolderCalendar = 9,
    olFolderContacts = 10,
    olFolderTasks = 13,
    olFolderCities = 101,
    olFolderInfrared = 102
};
enum OlItemType : LONG { olAppointmentItem = 1, olContactItem = 2, olTaskItem = 3, olCityItem = 102 };
enum OlImportance : LONG { olImportanceLow = 0, olImportanceNormal = 1, olImportanceHigh = 2 };
enum OlSensitivity : LONG { olNormal = 0, olPersonal = 1, olPrivate = 2, olConfidential = 3 };
enum OlBusyStatus : LONG { olFree = 0, olTentative = 1, olBusy = 2, olOutOfOffice = 3 };
enum OlReminderOptions : LONG { olLED = 1, olVibrate = 2, olDialog = 4, olSound = 8, olRepeat = 16 };
enum OlMeetingStatusFlags : LONG { olMeetingFlag = 1, olReceivedFlag = 2, olCanceledFlag = 4, olForwardedFlag = 8 };
enum OlMeetingStatus : LONG { olNonMeeting = 0, olMeeting = 1, olMeetingAccepted = 3, olMeetingCanceled = 7 };
enum OlRecurrenceType : LONG {
    olRecursOnce = -1,
    olRecursDaily = 0,
    olRecursWeekly = 1,
    olRecursMonthly = 2,
    olRecursMonthNth = 3,
    olRecursYearly = 5,
    olRecursYearNth = 6
};
enum OlDaysOfWeek : LONG {
    olSunday = 1,
    olMonday = 2,
    olTuesday = 4,
    olWednesday = 8,
    olThursday = 16,
    olFriday = 32,
    olSaturday = 64
};
enum OlRecipientType : LONG {
    olRecipientTypeUnknown = 0,
    olRecipientTypeRequired = 1,
    olRecipientTypeOptional = 2,
    olRecipientTypeResource = 3
};
enum OlRecipientStatus : LONG {
    olRecipientStatusUnknown = 0,
    olRecipientStatusAccepted = 1,
    olRecipientStatusDeclined = 2,
    olRecipientStatusTentative = 3,
    olRecipientStatusNoResponse = 4
};

inline constexpr DATE CAL_MINDATE = 0.0;
inline constexpr DATE CAL_MAXDATE = 401768.0;
inline constexpr DATE DATE_NONE = 949998.0;

inline constexpr WORD CEVT_PIM_STREAM = 100;
inline constexpr WORD CEVT_PIM_AUTO_I4 = 102;
inline constexpr DWORD PIM_CREATE = 0x00010000;
inline constexpr DWORD PIM_INDEXED = 0x00200000;
inline constexpr DWORD PIM_DONTREPLICATE = 0x00400000;
inline constexpr CEPROPID PIMPR_INVALID_ID = 0xFFFF0002;
inline constexpr DWORD PIMFOLDERNOTIFICATION_REMOTE = 1;
inline constexpr DWORD PIMFOLDERNOTIFICATION_LOCAL = 2;
inline constexpr DWORD PIMFOLDERNOTIFICATION_ALL = 3;

inline constexpr HRESULT MAPI_W_ERRORS_RETURNED = 0x00040380;
inline constexpr HRESULT E_CLOCKRUNNING = static_cast<HRESULT>(0x80040064);
inline constexpr HRESULT E_CITYINROM = static_cast<HRESULT>(0x80040065);
inline constexpr HRESULT E_FIELDTOOLARGE = static_cast<HRESULT>(0x80040066);
inline constexpr HRESULT E_INVALIDREMINDERTIME = static_cast<HRESULT>(0x80040067);
inline constexpr HRESULT E_INVALIDDATES = static_cast<HRESULT>(0x80040068);
inline constexpr HRESULT E_ALLDAYMEETING = static_cast<HRESULT>(0x80040069);
inline constexpr HRESULT E_OVERLAPPINGEXCEPTION = static_cast<HRESULT>(0x8004006A);
inline constexpr HRESULT E_CANTCHANGEDATE = static_cast<HRESULT>(0x8004006B);
inline constexpr HRESULT E_EXCEPTIONSAMEDAY = static_cast<HRESULT>(0x8004006C);
inline constexpr HRESULT E_UNWANTEDITEM = static_cast<HRESULT>(0x8004006D);
inline constexpr HRESULT E_NOTSUPPORTED = static_cast<HRESULT>(0x8004006E);
inline constexpr HRESULT S_AUTO_CLOSED = static_cast<HRESULT>(0x00040096);

// --- Property identifiers ----------------------------------------------------------------------------------

inline constexpr CEPROPID PIMPR_FILEAS = 0x0080001F;
inline constexpr CEPROPID PIMPR_TITLE = 0x0081001F;
inline constexpr CEPROPID PIMPR_FIRST_NAME = 0x0082001F;
inline constexpr CEPROPID PIMPR_MIDDLE_NAME = 0x0083001F;
inline constexpr CEPROPID PIMPR_LAST_NAME = 0x0084001F;
inline constexpr CEPROPID PIMPR_SUFFIX = 0x0085001F;
inline constexpr CEPROPID PIMPR_BIRTHDAY = 0x00F00040;
inline constexpr CEPROPID PIMPR_ASSISTANT_NAME = 0x008F001F;
inline constexpr CEPROPID PIMPR_ANNIVERSARY = 0x00F10040;
inline constexpr CEPROPID PIMPR_ASSISTANT_TELEPHONE_NUMBER = 0x00A1001F;
inline constexpr CEPROPID PIMPR_CHILDREN = 0x00A6001F;
inline constexpr CEPROPID PIMPR_WEB_PAGE = 0x00A7001F;
inline constexpr CEPROPID PIMPR_SPOUSE = 0x00A5001F;
inline constexpr CEPROPID PIMPR_EMAIL1_ADDRESS = 0x0090001F;
inline constexpr CEPROPID PIMPR_EMAIL2_ADDRESS = 0x0091001F;
inline constexpr CEPROPID PIMPR_EMAIL3_ADDRESS = 0x0092001F;
inline constexpr CEPROPID PIMPR_HOME_FAX_NUMBER = 0x009C001F;
inline constexpr CEPROPID PIMPR_HOME_TELEPHONE_NUMBER = 0x0099001F;
inline constexpr CEPROPID PIMPR_HOME2_TELEPHONE_NUMBER = 0x009A001F;
inline constexpr CEPROPID PIMPR_MOBILE_TELEPHONE_NUMBER = 0x0096001F;
inline constexpr CEPROPID PIMPR_PAGER_NUMBER = 0x009D001F;
inline constexpr CEPROPID PIMPR_RADIO_TELEPHONE_NUMBER = 0x009F001F;
inline constexpr CEPROPID PIMPR_BUSINESS_FAX_NUMBER = 0x009B001F;
inline constexpr CEPROPID PIMPR_BUSINESS_TELEPHONE_NUMBER = 0x0097001F;
inline constexpr CEPROPID PIMPR_BUSINESS2_TELEPHONE_NUMBER = 0x0098001F;
inline constexpr CEPROPID PIMPR_CAR_TELEPHONE_NUMBER = 0x009E001F;
inline constexpr CEPROPID PIMPR_COMPANY_NAME = 0x008A001F;
inline constexpr CEPROPID PIMPR_DEPARTMENT = 0x008B001F;
inline constexpr CEPROPID PIMPR_OFFICE_LOCATION = 0x008E001F;
inline constexpr CEPROPID PIMPR_JOB_TITLE = 0x008C001F;
inline constexpr CEPROPID PIMPR_HOME_ADDRESS_STREET = 0x00D1001F;
inline constexpr CEPROPID PIMPR_HOME_ADDRESS_CITY = 0x00D2001F;
inline constexpr CEPROPID PIMPR_HOME_ADDRESS_STATE = 0x00D3001F;
inline constexpr CEPROPID PIMPR_HOME_ADDRESS_POSTAL_CODE = 0x00D4001F;
inline constexpr CEPROPID PIMPR_HOME_ADDRESS_COUNTRY = 0x00D5001F;
inline constexpr CEPROPID PIMPR_BUSINESS_ADDRESS_STREET = 0x00C1001F;
inline constexpr CEPROPID PIMPR_BUSINESS_ADDRESS_CITY = 0x00C2001F;
inline constexpr CEPROPID PIMPR_BUSINESS_ADDRESS_STATE = 0x00C3001F;
inline constexpr CEPROPID PIMPR_BUSINESS_ADDRESS_POSTAL_CODE = 0x00C4001F;
inline constexpr CEPROPID PIMPR_BUSINESS_ADDRESS_COUNTRY = 0x00C5001F;
inline constexpr CEPROPID PIMPR_OTHER_ADDRESS_STREET = 0x00E1001F;
inline constexpr CEPROPID PIMPR_OTHER_ADDRESS_CITY = 0x00E2001F;
inline constexpr CEPROPID PIMPR_OTHER_ADDRESS_STATE = 0x00E3001F;
inline constexpr CEPROPID PIMPR_OTHER_ADDRESS_POSTAL_CODE = 0x00E4001F;
inline constexpr CEPROPID PIMPR_OTHER_ADDRESS_COUNTRY = 0x00E5001F;
inline constexpr CEPROPID PIMPR_IM1_ADDRESS = 0x0093001F;
inline constexpr CEPROPID PIMPR_IM2_ADDRESS = 0x0094001F;
inline constexpr CEPROPID PIMPR_IM3_ADDRESS = 0x0095001F;
inline constexpr CEPROPID PIMPR_COMPANY_TELEPHONE_NUMBER = 0x00A0001F;
inline constexpr CEPROPID PIMPR_MANAGER = 0x008D001F;
inline constexpr CEPROPID PIMPR_GOVERNMENTID = 0x00AA001F;
inline constexpr CEPROPID PIMPR_ACCOUNT_NAME = 0x00AB001F;
inline constexpr CEPROPID PIMPR_CUSTOMERID = 0x00A9001F;
inline constexpr CEPROPID PIMPR_PICTURE = 0x00FF0064;
inline constexpr CEPROPID PIMPR_SUBJECT = 0x0020001F;
inline constexpr CEPROPID PIMPR_LOCATION = 0x0041001F;
inline constexpr CEPROPID PIMPR_START = 0x10420040;
inline constexpr CEPROPID PIMPR_DURATION = 0x10400013;
inline constexpr CEPROPID PIMPR_ALL_DAY_EVENT = 0x0044000B;
inline constexpr CEPROPID PIMPR_SENSITIVITY = 0x00210013;
inline constexpr CEPROPID PIMPR_BUSY_STATUS = 0x00450013;
inline constexpr CEPROPID PIMPR_REMINDER_MINUTES_BEFORE_START = 0x00460013;
inline constexpr CEPROPID PIMPR_REMINDER_SET = 0x0028000B;
inline constexpr CEPROPID PIMPR_IMPORTANCE = 0x00600013;
inline constexpr CEPROPID PIMPR_START_DATE = 0x00620040;
inline constexpr CEPROPID PIMPR_DUE_DATE = 0x00630040;
inline constexpr CEPROPID PIMPR_DATE_COMPLETED = 0x00640040;
inline constexpr CEPROPID PIMPR_COMPLETE = 0x1065000B;
inline constexpr CEPROPID PIMPR_OID = 0x10000066;
inline constexpr CEPROPID PIMPR_FOLDERNOTIFICATIONS = 0x10010013;
inline constexpr CEPROPID PIMPR_DO_NOT_SYNC = 0x10100013;
inline constexpr CEPROPID PIMPR_FOLDER_CATEGORIES = 0x101A001F;
inline constexpr CEPROPID PIMPR_SOURCE_ID = 0x001B0013;
inline constexpr CEPROPID PIMPR_RECENT = 0x101C000B;
inline constexpr CEPROPID PIMPR_CATEGORIES = 0x101D001F;
inline constexpr CEPROPID PIMPR_BODY_BINARY = 0x001E0064;
inline constexpr CEPROPID PIMPR_BODY_TEXT = 0x101F001F;
inline constexpr CEPROPID PIMPR_IS_RECURRING = 0x0022000B;
inline constexpr CEPROPID PIMPR_REMINDER_SOUND_FILE = 0x0029001F;
inline constexpr CEPROPID PIMPR_REMINDER_OPTIONS = 0x002A0013;
inline constexpr CEPROPID PIMPR_RECURRING_TYPE = 0x10300013;
inline constexpr CEPROPID PIMPR_RECURRING_PATTERNSTARTDATE = 0x10310040;
inline constexpr CEPROPID PIMPR_RECURRING_PATTERNENDDATE = 0x10320040;
inline constexpr CEPROPID PIMPR_RECURRING_STARTTIME = 0x10330040;
inline constexpr CEPROPID PIMPR_RECURRING_ENDTIME = 0x10340040;
inline constexpr CEPROPID PIMPR_RECURRING_NOEND = 0x1035000B;
inline constexpr CEPROPID PIMPR_RECURRING_OCCURRENCES = 0x10360013;
inline constexpr CEPROPID PIMPR_RECURRING_INTERVAL = 0x10370013;
inline constexpr CEPROPID PIMPR_RECURRING_DAYOFWEEKMASK = 0x10380013;
inline constexpr CEPROPID PIMPR_RECURRING_DAYOFMONTH = 0x10390013;
inline constexpr CEPROPID PIMPR_RECURRING_INSTANCE = 0x103A0013;
inline constexpr CEPROPID PIMPR_RECURRING_DURATION = 0x103B0013;
inline constexpr CEPROPID PIMPR_RECURRING_MONTHOFYEAR = 0x103C0013;
inline constexpr CEPROPID PIMPR_END = 0x10430040;
inline constexpr CEPROPID PIMPR_GLOBAL_OBJECT_ID = 0x00470041;
inline constexpr CEPROPID PIMPR_TIMEZONE = 0x00480041;
inline constexpr CEPROPID PIMPR_MEETING_STATUS = 0x00500013;
inline constexpr CEPROPID PIMPR_MEETING_ORGANIZER_NAME = 0x0051001F;
inline constexpr CEPROPID PIMPR_MEETING_OWNER_CRITICAL_CHANGE = 0x00520040;
inline constexpr CEPROPID PIMPR_ATTENDEES_CRITICAL_CHANGE = 0x00530040;
inline constexpr CEPROPID PIMPR_TEAM_TASK = 0x0061000B;
inline constexpr CEPROPID PIMPR_REMINDER_TIME = 0x10660040;
inline constexpr CEPROPID PIMPR_RECURRING_REGENERATING = 0x1067000B;
inline constexpr CEPROPID PIMPR_NICKNAME = 0x0086001F;
inline constexpr CEPROPID PIMPR_YOMI_FIRSTNAME = 0x0087001F;
inline constexpr CEPROPID PIMPR_YOMI_LASTNAME = 0x0088001F;
inline constexpr CEPROPID PIMPR_YOMI_COMPANY = 0x0089001F;
inline constexpr CEPROPID PIMPR_YOMI_FILEAS = 0x0101001F;
inline constexpr CEPROPID PIMPR_SMS = 0x10A2001F;
inline constexpr CEPROPID PIMPR_MMS = 0x10A3001F;
inline constexpr CEPROPID PIMPR_DISPLAY_NAME = 0x10A4001F;
inline constexpr CEPROPID PIMPR_RINGTONE = 0x00A8001F;
inline constexpr CEPROPID PIMPR_BUSINESS_ADDRESS = 0x10C0001F;
inline constexpr CEPROPID PIMPR_HOME_ADDRESS = 0x10D0001F;
inline constexpr CEPROPID PIMPR_OTHER_ADDRESS = 0x10E0001F;
inline constexpr CEPROPID PIMPR_SMARTPROP = 0x00F80013;
inline constexpr CEPROPID PIMPR_CONTACT_TYPE = 0x01020013;
inline constexpr CEPROPID PIMPR_SIM_PHONE = 0x0003001F;

// --- Interfaces --------------------------------------------------------------------------------------------

struct IPOutlookApp;
struct IFolder;
struct IPOutlookItemCollection;
struct IItem;
struct IContact;
struct ITask;
struct IAppointment;
struct IRecurrencePattern;
struct IExceptions;
struct IException;
struct IRecipients;
struct IRecipient;
struct ITimeZone;
struct ICity;

struct IPOutlookApp : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE Logon(LONG hWnd) = 0;                                                        // 7
    virtual HRESULT STDMETHODCALLTYPE Logoff() = 0;                                                                // 8
    virtual HRESULT STDMETHODCALLTYPE get_Version(BSTR* version) = 0;                                              // 9
    virtual HRESULT STDMETHODCALLTYPE GetDefaultFolder(INT folder, IFolder** out) = 0;                             // 10
    virtual HRESULT STDMETHODCALLTYPE CreateItem(INT itemType, IDispatch** out) = 0;                               // 11
    virtual HRESULT STDMETHODCALLTYPE GetItemFromOid(LONG oid, IDispatch** out) = 0;                               // 12
    virtual HRESULT STDMETHODCALLTYPE get_HomeCity(ICity** out) = 0;                                               // 13
    virtual HRESULT STDMETHODCALLTYPE put_HomeCity(ICity* city) = 0;                                               // 14
    virtual HRESULT STDMETHODCALLTYPE get_VisitingCity(ICity** out) = 0;                                           // 15
    virtual HRESULT STDMETHODCALLTYPE put_VisitingCity(ICity* city) = 0;                                           // 16
    virtual HRESULT STDMETHODCALLTYPE get_CurrentCityIndex(LONG* index) = 0;                                       // 17
    virtual HRESULT STDMETHODCALLTYPE put_CurrentCityIndex(LONG index) = 0;                                        // 18
    virtual HRESULT STDMETHODCALLTYPE ReceiveFromInfrared() = 0;                                                   // 19
    virtual HRESULT STDMETHODCALLTYPE get_OutlookCompatible(VARIANT_BOOL* compatible) = 0;                         // 20
    virtual HRESULT STDMETHODCALLTYPE GetTimeZoneFromIndex(INT index, ITimeZone** out) = 0;                        // 21
    virtual HRESULT STDMETHODCALLTYPE GetTimeZoneInformationFromIndex(INT index, TIME_ZONE_INFORMATION* out) = 0;  // 22
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;                                     // 23
    virtual HRESULT STDMETHODCALLTYPE SysFreeString(BSTR text) = 0;                                                // 24
    virtual HRESULT STDMETHODCALLTYPE VariantTimeToSystemTime(DATE in, SYSTEMTIME* out) = 0;                       // 25
    virtual HRESULT STDMETHODCALLTYPE SystemTimeToVariantTime(SYSTEMTIME* in, DATE* out) = 0;                      // 26
};

struct IPOutlookApp2 : IPOutlookApp {
    virtual HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, LPCWSTR const* names, ULONG flags,
                                                      CEPROPID* ids) = 0;                         // 27
    virtual HRESULT STDMETHODCALLTYPE GetItemFromOidEx(ULONG oid, ULONG flags, IItem** out) = 0;  // 28
};

struct IFolder : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_Items(IPOutlookItemCollection** out) = 0;                // 7
    virtual HRESULT STDMETHODCALLTYPE get_DefaultItemType(INT* itemType) = 0;                      // 8
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;                     // 9
    virtual HRESULT STDMETHODCALLTYPE AddItemToInfraredFolder(INT itemType, IDispatch* item) = 0;  // 10
    virtual HRESULT STDMETHODCALLTYPE SendToInfrared() = 0;                                        // 11
    virtual HRESULT STDMETHODCALLTYPE ReceiveFromInfrared(IPOutlookItemCollection** out) = 0;      // 12
};

struct IPOutlookItemCollection : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE Add(IDispatch** out) = 0;                                       // 7
    virtual HRESULT STDMETHODCALLTYPE get_Count(INT* count) = 0;                                      // 8
    virtual HRESULT STDMETHODCALLTYPE Find(BSTR restriction, IDispatch** out) = 0;                    // 9
    virtual HRESULT STDMETHODCALLTYPE FindNext(IDispatch** out) = 0;                                  // 10
    virtual HRESULT STDMETHODCALLTYPE Item(INT index, IDispatch** out) = 0;                           // 11
    virtual HRESULT STDMETHODCALLTYPE Remove(INT index) = 0;                                          // 12
    virtual HRESULT STDMETHODCALLTYPE Restrict(BSTR restriction, IPOutlookItemCollection** out) = 0;  // 13
    virtual HRESULT STDMETHODCALLTYPE Sort(BSTR property, VARIANT_BOOL descending) = 0;               // 14
    virtual HRESULT STDMETHODCALLTYPE get_IncludeRecurrences(VARIANT_BOOL* out) = 0;                  // 15
    virtual HRESULT STDMETHODCALLTYPE put_IncludeRecurrences(VARIANT_BOOL in) = 0;                    // 16
    virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** out) = 0;                               // 17
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;                        // 18
};

struct IPOlItems : IPOutlookItemCollection {
    virtual HRESULT STDMETHODCALLTYPE SetColumns(BSTR columns) = 0;  // 19
};

struct IPOlItems2 : IPOlItems {
    virtual HRESULT STDMETHODCALLTYPE GetProps(INT index, const CEPROPID* ids, ULONG flags, WORD count,
                                               CEPROPVAL** values, ULONG* bytes, HANDLE heap) = 0;  // 20
};

struct IPOlItems3 : IPOlItems2 {
    virtual HRESULT STDMETHODCALLTYPE IncludeSimContacts() = 0;  // 21
};

struct IItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values,
                                               ULONG* bytes, HANDLE heap) = 0;                   // 3
    virtual HRESULT STDMETHODCALLTYPE SetProps(ULONG flags, WORD count, CEPROPVAL* values) = 0;  // 4
    virtual HRESULT STDMETHODCALLTYPE Save() = 0;                                                // 5
    virtual HRESULT STDMETHODCALLTYPE Delete() = 0;                                              // 6
    virtual HRESULT STDMETHODCALLTYPE Display(HWND parent) = 0;                                  // 7
    virtual HRESULT STDMETHODCALLTYPE Edit(HWND parent) = 0;                                     // 8
    virtual HRESULT STDMETHODCALLTYPE Copy(IItem** out) = 0;                                     // 9
    virtual HRESULT STDMETHODCALLTYPE get_Oid(LONG* oid) = 0;                                    // 10
    virtual HRESULT STDMETHODCALLTYPE OpenProperty(CEPROPID id, DWORD mode, IStream** out) = 0;  // 11
    virtual HRESULT STDMETHODCALLTYPE get_DefaultItemType(INT* itemType) = 0;                    // 12
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;                   // 13
    virtual HRESULT STDMETHODCALLTYPE get_Parent(IFolder** out) = 0;                             // 14
    virtual HRESULT STDMETHODCALLTYPE AddCategory(LPCWSTR category) = 0;                         // 15
    virtual HRESULT STDMETHODCALLTYPE RemoveCategory(LPCWSTR category) = 0;                      // 16
};

struct IContact : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_Birthday(DATE* out) = 0;                   // 7
    virtual HRESULT STDMETHODCALLTYPE get_Anniversary(DATE* out) = 0;                // 8
    virtual HRESULT STDMETHODCALLTYPE get_BusinessFaxNumber(BSTR* out) = 0;          // 9
    virtual HRESULT STDMETHODCALLTYPE get_CompanyName(BSTR* out) = 0;                // 10
    virtual HRESULT STDMETHODCALLTYPE get_Department(BSTR* out) = 0;                 // 11
    virtual HRESULT STDMETHODCALLTYPE get_Email1Address(BSTR* out) = 0;              // 12
    virtual HRESULT STDMETHODCALLTYPE get_MobileTelephoneNumber(BSTR* out) = 0;      // 13
    virtual HRESULT STDMETHODCALLTYPE get_OfficeLocation(BSTR* out) = 0;             // 14
    virtual HRESULT STDMETHODCALLTYPE get_PagerNumber(BSTR* out) = 0;                // 15
    virtual HRESULT STDMETHODCALLTYPE get_BusinessTelephoneNumber(BSTR* out) = 0;    // 16
    virtual HRESULT STDMETHODCALLTYPE get_JobTitle(BSTR* out) = 0;                   // 17
    virtual HRESULT STDMETHODCALLTYPE get_HomeTelephoneNumber(BSTR* out) = 0;        // 18
    virtual HRESULT STDMETHODCALLTYPE get_Email2Address(BSTR* out) = 0;              // 19
    virtual HRESULT STDMETHODCALLTYPE get_Spouse(BSTR* out) = 0;                     // 20
    virtual HRESULT STDMETHODCALLTYPE get_Email3Address(BSTR* out) = 0;              // 21
    virtual HRESULT STDMETHODCALLTYPE get_Home2TelephoneNumber(BSTR* out) = 0;       // 22
    virtual HRESULT STDMETHODCALLTYPE get_HomeFaxNumber(BSTR* out) = 0;              // 23
    virtual HRESULT STDMETHODCALLTYPE get_CarTelephoneNumber(BSTR* out) = 0;         // 24
    virtual HRESULT STDMETHODCALLTYPE get_AssistantName(BSTR* out) = 0;              // 25
    virtual HRESULT STDMETHODCALLTYPE get_AssistantTelephoneNumber(BSTR* out) = 0;   // 26
    virtual HRESULT STDMETHODCALLTYPE get_Children(BSTR* out) = 0;                   // 27
    virtual HRESULT STDMETHODCALLTYPE get_Categories(BSTR* out) = 0;                 // 28
    virtual HRESULT STDMETHODCALLTYPE get_WebPage(BSTR* out) = 0;                    // 29
    virtual HRESULT STDMETHODCALLTYPE get_Business2TelephoneNumber(BSTR* out) = 0;   // 30
    virtual HRESULT STDMETHODCALLTYPE get_Title(BSTR* out) = 0;                      // 31
    virtual HRESULT STDMETHODCALLTYPE get_FirstName(BSTR* out) = 0;                  // 32
    virtual HRESULT STDMETHODCALLTYPE get_MiddleName(BSTR* out) = 0;                 // 33
    virtual HRESULT STDMETHODCALLTYPE get_LastName(BSTR* out) = 0;                   // 34
    virtual HRESULT STDMETHODCALLTYPE get_Suffix(BSTR* out) = 0;                     // 35
    virtual HRESULT STDMETHODCALLTYPE get_HomeAddressStreet(BSTR* out) = 0;          // 36
    virtual HRESULT STDMETHODCALLTYPE get_HomeAddressCity(BSTR* out) = 0;            // 37
    virtual HRESULT STDMETHODCALLTYPE get_HomeAddressState(BSTR* out) = 0;           // 38
    virtual HRESULT STDMETHODCALLTYPE get_HomeAddressPostalCode(BSTR* out) = 0;      // 39
    virtual HRESULT STDMETHODCALLTYPE get_HomeAddressCountry(BSTR* out) = 0;         // 40
    virtual HRESULT STDMETHODCALLTYPE get_OtherAddressStreet(BSTR* out) = 0;         // 41
    virtual HRESULT STDMETHODCALLTYPE get_OtherAddressCity(BSTR* out) = 0;           // 42
    virtual HRESULT STDMETHODCALLTYPE get_OtherAddressState(BSTR* out) = 0;          // 43
    virtual HRESULT STDMETHODCALLTYPE get_OtherAddressPostalCode(BSTR* out) = 0;     // 44
    virtual HRESULT STDMETHODCALLTYPE get_OtherAddressCountry(BSTR* out) = 0;        // 45
    virtual HRESULT STDMETHODCALLTYPE get_BusinessAddressStreet(BSTR* out) = 0;      // 46
    virtual HRESULT STDMETHODCALLTYPE get_BusinessAddressCity(BSTR* out) = 0;        // 47
    virtual HRESULT STDMETHODCALLTYPE get_BusinessAddressState(BSTR* out) = 0;       // 48
    virtual HRESULT STDMETHODCALLTYPE get_BusinessAddressPostalCode(BSTR* out) = 0;  // 49
    virtual HRESULT STDMETHODCALLTYPE get_BusinessAddressCountry(BSTR* out) = 0;     // 50
    virtual HRESULT STDMETHODCALLTYPE get_RadioTelephoneNumber(BSTR* out) = 0;       // 51
    virtual HRESULT STDMETHODCALLTYPE get_FileAs(BSTR* out) = 0;                     // 52
    virtual HRESULT STDMETHODCALLTYPE get_Body(BSTR* out) = 0;                       // 53
    virtual HRESULT STDMETHODCALLTYPE get_YomiCompanyName(BSTR* out) = 0;            // 54
    virtual HRESULT STDMETHODCALLTYPE get_YomiFirstName(BSTR* out) = 0;              // 55
    virtual HRESULT STDMETHODCALLTYPE get_YomiLastName(BSTR* out) = 0;               // 56
    virtual HRESULT STDMETHODCALLTYPE put_Birthday(DATE in) = 0;                     // 57
    virtual HRESULT STDMETHODCALLTYPE put_Anniversary(DATE in) = 0;                  // 58
    virtual HRESULT STDMETHODCALLTYPE put_BusinessFaxNumber(BSTR in) = 0;            // 59
    virtual HRESULT STDMETHODCALLTYPE put_CompanyName(BSTR in) = 0;                  // 60
    virtual HRESULT STDMETHODCALLTYPE put_Department(BSTR in) = 0;                   // 61
    virtual HRESULT STDMETHODCALLTYPE put_Email1Address(BSTR in) = 0;                // 62
    virtual HRESULT STDMETHODCALLTYPE put_MobileTelephoneNumber(BSTR in) = 0;        // 63
    virtual HRESULT STDMETHODCALLTYPE put_OfficeLocation(BSTR in) = 0;               // 64
    virtual HRESULT STDMETHODCALLTYPE put_PagerNumber(BSTR in) = 0;                  // 65
    virtual HRESULT STDMETHODCALLTYPE put_BusinessTelephoneNumber(BSTR in) = 0;      // 66
    virtual HRESULT STDMETHODCALLTYPE put_JobTitle(BSTR in) = 0;                     // 67
    virtual HRESULT STDMETHODCALLTYPE put_HomeTelephoneNumber(BSTR in) = 0;          // 68
    virtual HRESULT STDMETHODCALLTYPE put_Email2Address(BSTR in) = 0;                // 69
    virtual HRESULT STDMETHODCALLTYPE put_Spouse(BSTR in) = 0;                       // 70
    virtual HRESULT STDMETHODCALLTYPE put_Email3Address(BSTR in) = 0;                // 71
    virtual HRESULT STDMETHODCALLTYPE put_Home2TelephoneNumber(BSTR in) = 0;         // 72
    virtual HRESULT STDMETHODCALLTYPE put_HomeFaxNumber(BSTR in) = 0;                // 73
    virtual HRESULT STDMETHODCALLTYPE put_CarTelephoneNumber(BSTR in) = 0;           // 74
    virtual HRESULT STDMETHODCALLTYPE put_AssistantName(BSTR in) = 0;                // 75
    virtual HRESULT STDMETHODCALLTYPE put_AssistantTelephoneNumber(BSTR in) = 0;     // 76
    virtual HRESULT STDMETHODCALLTYPE put_Children(BSTR in) = 0;                     // 77
    virtual HRESULT STDMETHODCALLTYPE put_Categories(BSTR in) = 0;                   // 78
    virtual HRESULT STDMETHODCALLTYPE put_WebPage(BSTR in) = 0;                      // 79
    virtual HRESULT STDMETHODCALLTYPE put_Business2TelephoneNumber(BSTR in) = 0;     // 80
    virtual HRESULT STDMETHODCALLTYPE put_Title(BSTR in) = 0;                        // 81
    virtual HRESULT STDMETHODCALLTYPE put_FirstName(BSTR in) = 0;                    // 82
    virtual HRESULT STDMETHODCALLTYPE put_MiddleName(BSTR in) = 0;                   // 83
    virtual HRESULT STDMETHODCALLTYPE put_LastName(BSTR in) = 0;                     // 84
    virtual HRESULT STDMETHODCALLTYPE put_Suffix(BSTR in) = 0;                       // 85
    virtual HRESULT STDMETHODCALLTYPE put_HomeAddressStreet(BSTR in) = 0;            // 86
    virtual HRESULT STDMETHODCALLTYPE put_HomeAddressCity(BSTR in) = 0;              // 87
    virtual HRESULT STDMETHODCALLTYPE put_HomeAddressState(BSTR in) = 0;             // 88
    virtual HRESULT STDMETHODCALLTYPE put_HomeAddressPostalCode(BSTR in) = 0;        // 89
    virtual HRESULT STDMETHODCALLTYPE put_HomeAddressCountry(BSTR in) = 0;           // 90
    virtual HRESULT STDMETHODCALLTYPE put_OtherAddressStreet(BSTR in) = 0;           // 91
    virtual HRESULT STDMETHODCALLTYPE put_OtherAddressCity(BSTR in) = 0;             // 92
    virtual HRESULT STDMETHODCALLTYPE put_OtherAddressState(BSTR in) = 0;            // 93
    virtual HRESULT STDMETHODCALLTYPE put_OtherAddressPostalCode(BSTR in) = 0;       // 94
    virtual HRESULT STDMETHODCALLTYPE put_OtherAddressCountry(BSTR in) = 0;          // 95
    virtual HRESULT STDMETHODCALLTYPE put_BusinessAddressStreet(BSTR in) = 0;        // 96
    virtual HRESULT STDMETHODCALLTYPE put_BusinessAddressCity(BSTR in) = 0;          // 97
    virtual HRESULT STDMETHODCALLTYPE put_BusinessAddressState(BSTR in) = 0;         // 98
    virtual HRESULT STDMETHODCALLTYPE put_BusinessAddressPostalCode(BSTR in) = 0;    // 99
    virtual HRESULT STDMETHODCALLTYPE put_BusinessAddressCountry(BSTR in) = 0;       // 100
    virtual HRESULT STDMETHODCALLTYPE put_RadioTelephoneNumber(BSTR in) = 0;         // 101
    virtual HRESULT STDMETHODCALLTYPE put_FileAs(BSTR in) = 0;                       // 102
    virtual HRESULT STDMETHODCALLTYPE put_Body(BSTR in) = 0;                         // 103
    virtual HRESULT STDMETHODCALLTYPE put_YomiCompanyName(BSTR in) = 0;              // 104
    virtual HRESULT STDMETHODCALLTYPE put_YomiFirstName(BSTR in) = 0;                // 105
    virtual HRESULT STDMETHODCALLTYPE put_YomiLastName(BSTR in) = 0;                 // 106
    virtual HRESULT STDMETHODCALLTYPE Save() = 0;                                    // 107
    virtual HRESULT STDMETHODCALLTYPE Delete() = 0;                                  // 108
    virtual HRESULT STDMETHODCALLTYPE Copy(IContact** out) = 0;                      // 109
    virtual HRESULT STDMETHODCALLTYPE Display() = 0;                                 // 110
    virtual HRESULT STDMETHODCALLTYPE get_Oid(LONG* oid) = 0;                        // 111
    virtual HRESULT STDMETHODCALLTYPE put_BodyInk(CEBLOB* ink) = 0;                  // 112
    virtual HRESULT STDMETHODCALLTYPE get_BodyInk(CEBLOB* ink) = 0;                  // 113
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;       // 114
};

struct ITask : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE ClearRecurrencePattern() = 0;                        // 7
    virtual HRESULT STDMETHODCALLTYPE GetRecurrencePattern(IRecurrencePattern** out) = 0;  // 8
    virtual HRESULT STDMETHODCALLTYPE get_IsRecurring(VARIANT_BOOL* out) = 0;              // 9
    virtual HRESULT STDMETHODCALLTYPE get_Subject(BSTR* out) = 0;                          // 10
    virtual HRESULT STDMETHODCALLTYPE get_Categories(BSTR* out) = 0;                       // 11
    virtual HRESULT STDMETHODCALLTYPE get_StartDate(DATE* out) = 0;                        // 12
    virtual HRESULT STDMETHODCALLTYPE get_DueDate(DATE* out) = 0;                          // 13
    virtual HRESULT STDMETHODCALLTYPE get_DateCompleted(DATE* out) = 0;                    // 14
    virtual HRESULT STDMETHODCALLTYPE get_Importance(LONG* out) = 0;                       // 15
    virtual HRESULT STDMETHODCALLTYPE get_Complete(VARIANT_BOOL* out) = 0;                 // 16
    virtual HRESULT STDMETHODCALLTYPE get_Sensitivity(LONG* out) = 0;                      // 17
    virtual HRESULT STDMETHODCALLTYPE get_TeamTask(VARIANT_BOOL* out) = 0;                 // 18
    virtual HRESULT STDMETHODCALLTYPE get_Body(BSTR* out) = 0;                             // 19
    virtual HRESULT STDMETHODCALLTYPE get_ReminderSet(VARIANT_BOOL* out) = 0;              // 20
    virtual HRESULT STDMETHODCALLTYPE get_ReminderSoundFile(BSTR* out) = 0;                // 21
    virtual HRESULT STDMETHODCALLTYPE get_ReminderTime(DATE* out) = 0;                     // 22
    virtual HRESULT STDMETHODCALLTYPE get_ReminderOptions(LONG* out) = 0;                  // 23
    virtual HRESULT STDMETHODCALLTYPE put_Subject(BSTR in) = 0;                            // 24
    virtual HRESULT STDMETHODCALLTYPE put_Categories(BSTR in) = 0;                         // 25
    virtual HRESULT STDMETHODCALLTYPE put_StartDate(DATE in) = 0;                          // 26
    virtual HRESULT STDMETHODCALLTYPE put_DueDate(DATE in) = 0;                            // 27
    virtual HRESULT STDMETHODCALLTYPE put_Importance(LONG in) = 0;                         // 28
    virtual HRESULT STDMETHODCALLTYPE put_Complete(VARIANT_BOOL in) = 0;                   // 29
    virtual HRESULT STDMETHODCALLTYPE put_Sensitivity(LONG in) = 0;                        // 30
    virtual HRESULT STDMETHODCALLTYPE put_TeamTask(VARIANT_BOOL in) = 0;                   // 31
    virtual HRESULT STDMETHODCALLTYPE put_Body(BSTR in) = 0;                               // 32
    virtual HRESULT STDMETHODCALLTYPE put_ReminderSet(VARIANT_BOOL in) = 0;                // 33
    virtual HRESULT STDMETHODCALLTYPE put_ReminderSoundFile(BSTR in) = 0;                  // 34
    virtual HRESULT STDMETHODCALLTYPE put_ReminderTime(DATE in) = 0;                       // 35
    virtual HRESULT STDMETHODCALLTYPE put_ReminderOptions(LONG in) = 0;                    // 36
    virtual HRESULT STDMETHODCALLTYPE Save() = 0;                                          // 37
    virtual HRESULT STDMETHODCALLTYPE Delete() = 0;                                        // 38
    virtual HRESULT STDMETHODCALLTYPE SkipRecurrence() = 0;                                // 39
    virtual HRESULT STDMETHODCALLTYPE Copy(ITask** out) = 0;                               // 40
    virtual HRESULT STDMETHODCALLTYPE Display() = 0;                                       // 41
    virtual HRESULT STDMETHODCALLTYPE get_Oid(LONG* oid) = 0;                              // 42
    virtual HRESULT STDMETHODCALLTYPE put_BodyInk(CEBLOB* ink) = 0;                        // 43
    virtual HRESULT STDMETHODCALLTYPE get_BodyInk(CEBLOB* ink) = 0;                        // 44
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;             // 45
};

struct IAppointment : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE ClearRecurrencePattern() = 0;                        // 7
    virtual HRESULT STDMETHODCALLTYPE GetRecurrencePattern(IRecurrencePattern** out) = 0;  // 8
    virtual HRESULT STDMETHODCALLTYPE get_IsRecurring(VARIANT_BOOL* out) = 0;              // 9
    virtual HRESULT STDMETHODCALLTYPE get_Subject(BSTR* out) = 0;                          // 10
    virtual HRESULT STDMETHODCALLTYPE get_Location(BSTR* out) = 0;                         // 11
    virtual HRESULT STDMETHODCALLTYPE get_Categories(BSTR* out) = 0;                       // 12
    virtual HRESULT STDMETHODCALLTYPE get_Start(DATE* out) = 0;                            // 13
    virtual HRESULT STDMETHODCALLTYPE get_Duration(LONG* minutes) = 0;                     // 14
    virtual HRESULT STDMETHODCALLTYPE get_End(DATE* out) = 0;                              // 15
    virtual HRESULT STDMETHODCALLTYPE get_AllDayEvent(VARIANT_BOOL* out) = 0;              // 16
    virtual HRESULT STDMETHODCALLTYPE get_BusyStatus(LONG* out) = 0;                       // 17
    virtual HRESULT STDMETHODCALLTYPE get_Sensitivity(LONG* out) = 0;                      // 18
    virtual HRESULT STDMETHODCALLTYPE get_Body(BSTR* out) = 0;                             // 19
    virtual HRESULT STDMETHODCALLTYPE get_Recipients(IRecipients** out) = 0;               // 20
    virtual HRESULT STDMETHODCALLTYPE get_MeetingStatus(LONG* out) = 0;                    // 21
    virtual HRESULT STDMETHODCALLTYPE get_ReminderSet(VARIANT_BOOL* out) = 0;              // 22
    virtual HRESULT STDMETHODCALLTYPE get_ReminderSoundFile(BSTR* out) = 0;                // 23
    virtual HRESULT STDMETHODCALLTYPE get_ReminderMinutesBeforeStart(LONG* out) = 0;       // 24
    virtual HRESULT STDMETHODCALLTYPE get_ReminderOptions(LONG* out) = 0;                  // 25
    virtual HRESULT STDMETHODCALLTYPE put_Subject(BSTR in) = 0;                            // 26
    virtual HRESULT STDMETHODCALLTYPE put_Location(BSTR in) = 0;                           // 27
    virtual HRESULT STDMETHODCALLTYPE put_Categories(BSTR in) = 0;                         // 28
    virtual HRESULT STDMETHODCALLTYPE put_Start(DATE in) = 0;                              // 29
    virtual HRESULT STDMETHODCALLTYPE put_Duration(LONG minutes) = 0;                      // 30
    virtual HRESULT STDMETHODCALLTYPE put_End(DATE in) = 0;                                // 31
    virtual HRESULT STDMETHODCALLTYPE put_AllDayEvent(VARIANT_BOOL in) = 0;                // 32
    virtual HRESULT STDMETHODCALLTYPE put_BusyStatus(LONG in) = 0;                         // 33
    virtual HRESULT STDMETHODCALLTYPE put_Sensitivity(LONG in) = 0;                        // 34
    virtual HRESULT STDMETHODCALLTYPE put_Body(BSTR in) = 0;                               // 35
    virtual HRESULT STDMETHODCALLTYPE put_ReminderSet(VARIANT_BOOL in) = 0;                // 36
    virtual HRESULT STDMETHODCALLTYPE put_ReminderSoundFile(BSTR in) = 0;                  // 37
    virtual HRESULT STDMETHODCALLTYPE put_ReminderMinutesBeforeStart(LONG in) = 0;         // 38
    virtual HRESULT STDMETHODCALLTYPE put_ReminderOptions(LONG in) = 0;                    // 39
    virtual HRESULT STDMETHODCALLTYPE Save() = 0;                                          // 40
    virtual HRESULT STDMETHODCALLTYPE Send() = 0;                                          // 41
    virtual HRESULT STDMETHODCALLTYPE Delete() = 0;                                        // 42
    virtual HRESULT STDMETHODCALLTYPE Cancel() = 0;                                        // 43
    virtual HRESULT STDMETHODCALLTYPE Copy(IAppointment** out) = 0;                        // 44
    virtual HRESULT STDMETHODCALLTYPE Display() = 0;                                       // 45
    virtual HRESULT STDMETHODCALLTYPE get_Oid(LONG* oid) = 0;                              // 46
    virtual HRESULT STDMETHODCALLTYPE put_BodyInk(CEBLOB* ink) = 0;                        // 47
    virtual HRESULT STDMETHODCALLTYPE get_BodyInk(CEBLOB* ink) = 0;                        // 48
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;             // 49
};

struct IRecurrencePattern : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_RecurrenceType(LONG* out) = 0;                 // 7
    virtual HRESULT STDMETHODCALLTYPE get_PatternStartDate(DATE* out) = 0;               // 8
    virtual HRESULT STDMETHODCALLTYPE get_StartTime(DATE* out) = 0;                      // 9
    virtual HRESULT STDMETHODCALLTYPE get_EndTime(DATE* out) = 0;                        // 10
    virtual HRESULT STDMETHODCALLTYPE get_PatternEndDate(DATE* out) = 0;                 // 11
    virtual HRESULT STDMETHODCALLTYPE get_NoEndDate(VARIANT_BOOL* out) = 0;              // 12
    virtual HRESULT STDMETHODCALLTYPE get_Occurrences(LONG* out) = 0;                    // 13
    virtual HRESULT STDMETHODCALLTYPE get_Interval(LONG* out) = 0;                       // 14
    virtual HRESULT STDMETHODCALLTYPE get_DayOfWeekMask(LONG* out) = 0;                  // 15
    virtual HRESULT STDMETHODCALLTYPE get_DayOfMonth(LONG* out) = 0;                     // 16
    virtual HRESULT STDMETHODCALLTYPE get_Instance(LONG* out) = 0;                       // 17
    virtual HRESULT STDMETHODCALLTYPE get_Duration(LONG* out) = 0;                       // 18
    virtual HRESULT STDMETHODCALLTYPE get_MonthOfYear(LONG* out) = 0;                    // 19
    virtual HRESULT STDMETHODCALLTYPE put_RecurrenceType(LONG in) = 0;                   // 20
    virtual HRESULT STDMETHODCALLTYPE put_PatternStartDate(DATE in) = 0;                 // 21
    virtual HRESULT STDMETHODCALLTYPE put_StartTime(DATE in) = 0;                        // 22
    virtual HRESULT STDMETHODCALLTYPE put_EndTime(DATE in) = 0;                          // 23
    virtual HRESULT STDMETHODCALLTYPE put_PatternEndDate(DATE in) = 0;                   // 24
    virtual HRESULT STDMETHODCALLTYPE put_NoEndDate(VARIANT_BOOL in) = 0;                // 25
    virtual HRESULT STDMETHODCALLTYPE put_Occurrences(LONG in) = 0;                      // 26
    virtual HRESULT STDMETHODCALLTYPE put_Interval(LONG in) = 0;                         // 27
    virtual HRESULT STDMETHODCALLTYPE put_DayOfWeekMask(LONG in) = 0;                    // 28
    virtual HRESULT STDMETHODCALLTYPE put_DayOfMonth(LONG in) = 0;                       // 29
    virtual HRESULT STDMETHODCALLTYPE put_Instance(LONG in) = 0;                         // 30
    virtual HRESULT STDMETHODCALLTYPE put_Duration(LONG in) = 0;                         // 31
    virtual HRESULT STDMETHODCALLTYPE put_MonthOfYear(LONG in) = 0;                      // 32
    virtual HRESULT STDMETHODCALLTYPE get_Exceptions(IExceptions** out) = 0;             // 33
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;           // 34
    virtual HRESULT STDMETHODCALLTYPE GetOccurrence(DATE date, IAppointment** out) = 0;  // 35
};

struct IExceptions : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE Item(INT index, IException** out) = 0;    // 7
    virtual HRESULT STDMETHODCALLTYPE get_Count(INT* count) = 0;                // 8
    virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** out) = 0;         // 9
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;  // 10
};

struct IException : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_AppointmentItem(IAppointment** out) = 0;  // 7
    virtual HRESULT STDMETHODCALLTYPE get_OriginalDate(DATE* out) = 0;              // 8
    virtual HRESULT STDMETHODCALLTYPE get_Deleted(VARIANT_BOOL* out) = 0;           // 9
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;      // 10
};

struct IRecipients : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE Add(BSTR name, IRecipient** out) = 0;     // 7
    virtual HRESULT STDMETHODCALLTYPE Item(INT index, IRecipient** out) = 0;    // 8
    virtual HRESULT STDMETHODCALLTYPE Remove(INT index) = 0;                    // 9
    virtual HRESULT STDMETHODCALLTYPE get_Count(INT* count) = 0;                // 10
    virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** out) = 0;         // 11
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;  // 12
};

struct IRecipient : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE put_Address(BSTR in) = 0;                 // 7
    virtual HRESULT STDMETHODCALLTYPE get_Address(BSTR* out) = 0;               // 8
    virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* out) = 0;                  // 9
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;  // 10
};

struct IPOlRecipient : IRecipient {
    virtual HRESULT STDMETHODCALLTYPE Resolve(VARIANT_BOOL showDialog, VARIANT_BOOL* resolved) = 0;  // 11
};

struct IRecipient2 : IPOlRecipient {
    virtual HRESULT STDMETHODCALLTYPE put_Type(OlRecipientType in) = 0;        // 12
    virtual HRESULT STDMETHODCALLTYPE put_Status(OlRecipientStatus in) = 0;    // 13
    virtual HRESULT STDMETHODCALLTYPE get_Type(OlRecipientType* out) = 0;      // 14
    virtual HRESULT STDMETHODCALLTYPE get_Status(OlRecipientStatus* out) = 0;  // 15
};

struct ITimeZone : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_Bias(LONG* out) = 0;                            // 7
    virtual HRESULT STDMETHODCALLTYPE get_SupportsDST(VARIANT_BOOL* out) = 0;             // 8
    virtual HRESULT STDMETHODCALLTYPE get_IsStandardAbsoluteDate(VARIANT_BOOL* out) = 0;  // 9
    virtual HRESULT STDMETHODCALLTYPE get_IsDaylightAbsoluteDate(VARIANT_BOOL* out) = 0;  // 10
    virtual HRESULT STDMETHODCALLTYPE get_StandardBias(LONG* out) = 0;                    // 11
    virtual HRESULT STDMETHODCALLTYPE get_StandardName(BSTR* out) = 0;                    // 12
    virtual HRESULT STDMETHODCALLTYPE get_StandardDate(DATE* out) = 0;                    // 13
    virtual HRESULT STDMETHODCALLTYPE get_StandardDayOfWeekMask(LONG* out) = 0;           // 14
    virtual HRESULT STDMETHODCALLTYPE get_StandardInstance(LONG* out) = 0;                // 15
    virtual HRESULT STDMETHODCALLTYPE get_StandardMonthOfYear(LONG* out) = 0;             // 16
    virtual HRESULT STDMETHODCALLTYPE get_DaylightBias(LONG* out) = 0;                    // 17
    virtual HRESULT STDMETHODCALLTYPE get_DaylightName(BSTR* out) = 0;                    // 18
    virtual HRESULT STDMETHODCALLTYPE get_DaylightDate(DATE* out) = 0;                    // 19
    virtual HRESULT STDMETHODCALLTYPE get_DaylightDayOfWeekMask(LONG* out) = 0;           // 20
    virtual HRESULT STDMETHODCALLTYPE get_DaylightInstance(LONG* out) = 0;                // 21
    virtual HRESULT STDMETHODCALLTYPE get_DaylightMonthOfYear(LONG* out) = 0;             // 22
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;            // 23
};

struct ICity : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_Longitude(LONG* out) = 0;             // 7
    virtual HRESULT STDMETHODCALLTYPE get_Latitude(LONG* out) = 0;              // 8
    virtual HRESULT STDMETHODCALLTYPE get_TimezoneIndex(LONG* out) = 0;         // 9
    virtual HRESULT STDMETHODCALLTYPE get_AirportCode(BSTR* out) = 0;           // 10
    virtual HRESULT STDMETHODCALLTYPE get_CountryPhoneCode(BSTR* out) = 0;      // 11
    virtual HRESULT STDMETHODCALLTYPE get_AreaCode(BSTR* out) = 0;              // 12
    virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* out) = 0;                  // 13
    virtual HRESULT STDMETHODCALLTYPE get_Country(BSTR* out) = 0;               // 14
    virtual HRESULT STDMETHODCALLTYPE get_InROM(VARIANT_BOOL* out) = 0;         // 15
    virtual HRESULT STDMETHODCALLTYPE put_Longitude(LONG in) = 0;               // 16
    virtual HRESULT STDMETHODCALLTYPE put_Latitude(LONG in) = 0;                // 17
    virtual HRESULT STDMETHODCALLTYPE put_TimezoneIndex(LONG in) = 0;           // 18
    virtual HRESULT STDMETHODCALLTYPE put_AirportCode(BSTR in) = 0;             // 19
    virtual HRESULT STDMETHODCALLTYPE put_CountryPhoneCode(BSTR in) = 0;        // 20
    virtual HRESULT STDMETHODCALLTYPE put_AreaCode(BSTR in) = 0;                // 21
    virtual HRESULT STDMETHODCALLTYPE put_Name(BSTR in) = 0;                    // 22
    virtual HRESULT STDMETHODCALLTYPE put_Country(BSTR in) = 0;                 // 23
    virtual HRESULT STDMETHODCALLTYPE Save() = 0;                               // 24
    virtual HRESULT STDMETHODCALLTYPE Delete() = 0;                             // 25
    virtual HRESULT STDMETHODCALLTYPE Copy(ICity** out) = 0;                    // 26
    virtual HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) = 0;  // 27
};
