// Records of all three types through the database objects and the real Pocket Outlook: out as a packet, in as an item.
#include <gmock/gmock.h>

#include <algorithm>

#include "platform/changewriter/change_writer.h"
#include "tests/database/session_double.h"
#include "tests/support/change_tables.h"
#include "tests/support/device_log.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/outlook.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

DATE At(WORD year, WORD month, WORD day, WORD hour, WORD minute = 0) {
    SYSTEMTIME time = {};
    time.wYear = year;
    time.wMonth = month;
    time.wDay = day;
    time.wHour = hour;
    time.wMinute = minute;
    DATE date = 0;
    EXPECT_EQ(SystemTimeToVariantTime(&time, &date), 1);
    return date;
}
FILETIME FileTimeAt(WORD year, WORD month, WORD day, WORD hour) {
    SYSTEMTIME time = {};
    time.wYear = year;
    time.wMonth = month;
    time.wDay = day;
    time.wHour = hour;
    FILETIME result = {};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &result));
    return result;
}

// A record as it travels.
class Packet : public CKezCEPacket {
 public:
    const CEPROPVAL* Find(CEPROPID id) {
        CEPROPVAL* props = nullptr;
        WORD count = 0;
        GetPropList(&props, &count);
        for (WORD i = 0; i < count; ++i) {
            if (props[i].propid == id && props[i].wFlags == 0) return &props[i];
        }
        return nullptr;
    }
    std::u16string Text(CEPROPID id) {
        const CEPROPVAL* prop = Find(id);
        return prop != nullptr && prop->val.lpwstr != nullptr ? std::u16string(prop->val.lpwstr) : std::u16string();
    }
    // Takes what `sent` holds, as the other side receives it.
    void Receive(CKezCEPacket& sent) { ASSERT_EQ(SetNextBytes(sent.GetPacketBuffer(), sent.GetPacketBytes()), 0); }
};

// What goes to the device differs from what comes from it: the start is a FILETIME of the wall clock, and "not all day"
// is 2.
void SayAsTheOtherSideDoes(CKezCEPacket& packet, const FILETIME& start) {
    const LONG notAllDay = 2;
    packet.PropDelete(0x420D0040);
    packet.PropAddValue(0x420D0040, &start);
    packet.PropDelete(0x42150003);
    packet.PropAddValue(0x42150003, &notAllDay);
    packet.PropFini();
}

std::size_t CountOf(const std::u16string& text, const std::u16string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::u16string::npos; at = text.find(part, at + part.size())) ++count;
    return count;
}

class HostRecords : public ::testing::Test {
 protected:
    HostRecords() : owner(std::make_unique<Outlook>()) { StartLog(0); }
    ~HostRecords() override { StopLog(); }

    TestDevice device;
    ChangeTables tables;
    std::unique_ptr<Outlook> owner;
};

TEST_F(HostRecords, AContactWithPictureCategoriesAndNoteIsTheSameWhereItArrives) {
    const Held<IContact> contact = owner->NewContact();
    contact->put_FirstName(Bstr(u"Zo\u00EB"));
    contact->put_LastName(Bstr(u"Example"));
    contact->put_Birthday(At(1980, 5, 17, 0));
    contact->put_Categories(Bstr(u"Friends, Work"));
    contact->put_Body(Bstr(u"Likes tea"));
    const CEOID oid = Outlook::Saved(contact);
    {
        Held<IItem> item;
        ASSERT_EQ(contact->QueryInterface(IID_IItem, reinterpret_cast<void**>(item.Out())), S_OK);
        Held<IStream> stream;
        ASSERT_EQ(item->OpenProperty(PIMPR_PICTURE, GENERIC_WRITE, stream.Out()), S_OK);
        std::vector<BYTE> picture(100000);
        for (std::size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<BYTE>(i * 7);
        ULONG written = 0;
        ASSERT_EQ(stream->Write(picture.data(), static_cast<ULONG>(picture.size()), &written), S_OK);
        ASSERT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
        ASSERT_EQ(item->Save(), S_OK);
    }
    ContactDatabase database;
    Packet sent;
    ASSERT_EQ(database.DBFillPacket(oid, sent), oid);
    EXPECT_EQ(sent.Text(0x3A06001F), u"Zo\u00EB");
    EXPECT_EQ(sent.Text(0xAFF0001F), u"Friends, Work");
    EXPECT_EQ(sent.Text(0xAFFA001F), u"Likes tea");
    ASSERT_NE(sent.Find(0xAFE90041), nullptr);
    EXPECT_EQ(sent.Find(0xAFE90041)->val.blob.dwCount, 100000u);

    Packet received;
    received.Receive(sent);
    const CEOID copy = database.DBWritePacket(0, received);
    ASSERT_NE(copy, 0u);
    EXPECT_NE(copy, oid);
    EXPECT_EQ(database.GetRecordCRC(copy), database.GetRecordCRC(oid));
}

// What the base takes goes on to the type's own writer, which then says that it does not know it.
TEST_F(HostRecords, EachTypesWriterSeesAPropertyBehindTheBase) {
    CEPROPVAL categories = {};
    categories.propid = 0xAFF0001F;
    WCHAR text[] = TEXT("Friends");
    categories.val.lpwstr = text;
    CKezCEPacket packet;
    CCEPoom session;
    const auto write = [&](CKezAspDB& database, DWORD type) {
        EXPECT_TRUE(session.InitializeItem(0, type, 0));
        StartLog(100);
        EXPECT_EQ(database.PropToPoom(packet, &categories, &session), TRUE);
        std::vector<std::string> lines = TrimmedLog(device);
        lines.erase(lines.begin(), std::find(lines.begin(), lines.end(), "CKezAspDB::PropToPoom - PropID (31) +"));
        StartLog(0);
        return lines;
    };
    const std::vector<std::string> base = {"CKezAspDB::PropToPoom - PropID (31) +", "CCEPoom::SetCategories +",
                                           "CCEPoom::SetCategories -", "CKezAspDB::PropToPoom -"};
    const auto andThen = [&](std::vector<std::string> own) {
        own.insert(own.begin(), base.begin(), base.end());
        return own;
    };
    ContactDatabase contacts;
    EXPECT_EQ(write(contacts, 24), andThen({"Unhandled prop 0xaff0001f"}));
    TaskDatabase tasks;
    EXPECT_EQ(write(tasks, 26), andThen({}));
    AppointmentDatabase appointments;
    EXPECT_EQ(write(appointments, 25), andThen({"CKezAspDBAppt::PropToPoom::propid=0xaff0001f, hr=0x00000000"}));
    BSTR set = nullptr;
    EXPECT_EQ(session.m_pAppt->get_Categories(&set), S_OK);
    EXPECT_EQ(std::u16string(set), u"Friends");
    SysFreeString(set);
}

TEST_F(HostRecords, ATaskIsTheSameWhereItArrives) {
    const Held<ITask> task = owner->NewTask();
    task->put_Subject(Bstr(u"Call Bob"));
    task->put_StartDate(At(2026, 3, 2, 0));
    task->put_DueDate(At(2026, 3, 6, 0));
    task->put_Importance(olImportanceHigh);
    task->put_Sensitivity(olPrivate);
    task->put_Body(Bstr(u"About the roof"));
    const CEOID oid = Outlook::Saved(task);
    TaskDatabase database;
    Packet sent;
    ASSERT_EQ(database.DBFillPacket(oid, sent), oid);
    EXPECT_EQ(sent.Text(0x0037001F), u"Call Bob");
    Packet received;
    received.Receive(sent);
    const CEOID copy = database.DBWritePacket(0, received);
    ASSERT_NE(copy, 0u);
    EXPECT_EQ(database.GetRecordCRC(copy), database.GetRecordCRC(oid));
}

TEST_F(HostRecords, AWeeklyMeetingSendsItsExceptionsAndKeepsNoModifiedOccurrence) {
    const Held<IAppointment> meeting = owner->NewAppointment();
    meeting->put_Subject(Bstr(u"Weekly"));
    meeting->put_Start(At(2026, 3, 3, 10));
    meeting->put_Duration(30);
    Held<IRecurrencePattern> pattern;
    ASSERT_EQ(meeting->GetRecurrencePattern(pattern.Out()), S_OK);
    pattern->put_RecurrenceType(olRecursWeekly);
    pattern->put_DayOfWeekMask(olTuesday);
    pattern->put_NoEndDate(VARIANT_TRUE);
    const CEOID oid = Outlook::Saved(meeting);
    {
        Held<IAppointment> second;
        ASSERT_EQ(pattern->GetOccurrence(At(2026, 3, 10, 10), second.Out()), S_OK);
        ASSERT_EQ(second->Delete(), S_OK);
        for (WORD day : {17, 24}) {
            Held<IAppointment> moved;
            ASSERT_EQ(pattern->GetOccurrence(At(2026, 3, day, 10), moved.Out()), S_OK);
            moved->put_Subject(Bstr(u"Moved"));
            moved->put_Start(At(2026, 3, day, 14));
            ASSERT_EQ(moved->Save(), S_OK);
        }
    }
    AppointmentDatabase database;
    Packet sent;
    ASSERT_EQ(database.DBFillPacket(oid, sent), oid);
    EXPECT_EQ(sent.Find(0xAFF1000B)->val.boolVal, TRUE);
    EXPECT_EQ(sent.Find(0xAFF10012)->val.uiVal, olRecursWeekly);
    EXPECT_EQ(sent.Find(0xAFF20012)->val.uiVal, olTuesday);
    const std::u16string dates = sent.Text(0xAFFF001F);
    EXPECT_EQ(CountOf(dates, u"\t"), 3u);
    for (const char16_t* date : {u"2026-03-10 ", u"2026-03-17 ", u"2026-03-24 "}) {
        EXPECT_NE(dates.find(date), std::u16string::npos);
    }
    const std::u16string modified = sent.Text(0xAFE0001F);
    EXPECT_EQ(CountOf(modified, u"~^!^~"), 24u);
    EXPECT_EQ(CountOf(modified, u"Moved~^!^~"), 2u);
    EXPECT_EQ(sent.Find(0x420D0040)->val.dblVal, At(2026, 3, 3, 10));

    Packet again;
    ASSERT_EQ(database.DBFillPacket(oid, again), oid);
    EXPECT_EQ(CountOf(again.Text(0xAFFF001F), u"\t"), 3u) << "all three are deleted occurrences now";
    EXPECT_EQ(again.Find(0xAFE0001F), nullptr) << "the first packet was the only copy";

    // The other side sends it back.
    SayAsTheOtherSideDoes(again, FileTimeAt(2026, 3, 3, 10));
    Packet received;
    received.Receive(again);
    const CEOID copy = database.DBWritePacket(0, received);
    ASSERT_NE(copy, 0u);
    Packet check;
    ASSERT_EQ(database.DBFillPacket(copy, check), copy);
    EXPECT_EQ(check.Text(0xAFFF001F), dates);
    EXPECT_EQ(check.Text(0x0037001F), u"Weekly");
}

TEST_F(HostRecords, RecipientsOfAMeetingTravelAsText) {
    const Held<IAppointment> meeting = owner->NewAppointment();
    meeting->put_Subject(Bstr(u"Breakfast"));
    meeting->put_Start(At(2026, 3, 3, 8));
    meeting->put_Duration(60);
    {
        Held<IRecipients> recipients;
        ASSERT_EQ(meeting->get_Recipients(recipients.Out()), S_OK);
        for (const char16_t* name : {u"Ann", u"Bob"}) {
            Held<IRecipient> recipient;
            ASSERT_EQ(recipients->Add(Bstr(name), recipient.Out()), S_OK);
            recipient->put_Address(Bstr((std::u16string(name) + u"@example.org").c_str()));
        }
    }
    const CEOID oid = Outlook::Saved(meeting);
    AppointmentDatabase database;
    Packet sent;
    ASSERT_EQ(database.DBFillPacket(oid, sent), oid);
    EXPECT_EQ(sent.Text(0xAFFC001F), u"Ann;Ann@example.org;Bob;Bob@example.org");

    SayAsTheOtherSideDoes(sent, FileTimeAt(2026, 3, 3, 8));
    Packet received;
    received.Receive(sent);
    const CEOID copy = database.DBWritePacket(0, received);
    ASSERT_NE(copy, 0u);
    Packet check;
    database.DBFillPacket(copy, check);
    EXPECT_EQ(check.Text(0xAFFC001F), u"Ann;Ann@example.org;Bob;Bob@example.org");
}

TEST_F(HostRecords, OurOwnWriteIsNotReportedBackToUsButToTheOtherPartner) {
    const CEOID oid = owner->AddContact(u"Ann");
    changewriter::Drain();
    ContactDatabase database;
    Packet sent;
    database.DBFillPacket(oid, sent);
    sent.PropDelete(0x3A06001F);
    sent.PropAddString(0x3A06001F, u"Anna", 1);
    sent.PropFini();
    Packet received;
    received.Receive(sent);
    ASSERT_EQ(database.DBWritePacket(oid, received), oid);
    changewriter::Drain();  // it notices our write late
    EXPECT_EQ(tables.States(oid)->first, 1);
    database.CloseDbDelta();
    EXPECT_EQ(tables.States(oid)->first, 0);
    EXPECT_EQ(tables.States(oid)->second, 1);
}

TEST_F(HostRecords, DeletingTakesTheItemOffTheDevice) {
    const CEOID oid = owner->AddTask(u"Call Bob");
    TaskDatabase database;
    EXPECT_EQ(database.DBDelete(oid, 0), 0);
    EXPECT_EQ(owner->Count(olFolderTasks), 0);
    EXPECT_EQ(database.DBDelete(oid, 0), 0) << "deleting what is gone is a success";
}

TEST_F(HostRecords, ANotificationAfterATransferStillFindsEveryChange) {
    const CEOID ann = owner->AddContact(u"Ann");
    const CEOID bob = owner->AddContact(u"Bob");
    changewriter::Drain();
    ContactDatabase database;
    Packet sent;
    database.DBFillPacket(ann, sent);  // drops the session's collection
    OBJNOTIFY notify = {};
    notify.uFlags = ONF_FILE | ONF_CHANGED;
    notify.oidInfo.wObjType = OBJTYPE_FILE;
    wcscpy(notify.oidInfo.infFile.szFileName, TEXT("\\KezChgFile.kez"));
    EXPECT_TRUE(database.ObjectNotify(&notify));
    ASSERT_EQ(notify.cOidChg, 2u);
    EXPECT_THAT((std::vector<UINT>{notify.poid[0], notify.poid[1]}), ::testing::UnorderedElementsAre(ann, bob));
}

TEST_F(HostRecords, APurgeEmptiesTheType) {
    for (int i = 0; i < 12; ++i) owner->AddAppointment(u"Meeting", At(2026, 3, 3, 10));
    AppointmentDatabase database;
    EXPECT_EQ(database.Purge(), 0);
    EXPECT_EQ(owner->Count(olFolderCalendar), 0);
}

TEST_F(HostRecords, NothingOfATransferStaysBehind) {
    const CEOID oid = owner->AddContact(u"Ann");
    owner.reset();
    auto transfer = [&] {
        ContactDatabase database;
        Packet sent, received;
        database.DBFillPacket(oid, sent);
        received.Receive(sent);
        database.DBWritePacket(oid, received);
        database.DBDelete(4711, 0);
        database.GetRecordCRC(oid);
    };
    transfer();
    LiveCountsCheck check;
    transfer();
}

}  // namespace
}  // namespace kez::tests
