// Writing received properties into items: each identifier reaches its setter, and what the item refuses is told.
#include "poom/property_writers.h"

#include "tests/poom/bridge_fixture.h"

namespace kez::tests {
namespace {

class Writers : public Bridge {
 protected:
    Writers() { contact->item = item.Get(); }

    BOOL ToContact(const CEPROPVAL& property) {
        if (session->m_pContact == nullptr) session->m_pContact = contact.Give();
        return ContactPropToPoom(&property, &*session);
    }
    BOOL ToTask(const CEPROPVAL& property) {
        if (session->m_pTask == nullptr) session->m_pTask = task.Give();
        return TaskPropToPoom(&property, &*session);
    }
    BOOL ToAppointment(const CEPROPVAL& property) {
        if (session->m_pAppt == nullptr) session->m_pAppt = appointment.Give();
        return AppointmentPropToPoom(&property, &*session);
    }
    // The calls of one write, without the question for IItem that each write to a contact begins with.
    Texts Made() {
        Texts made = calls.Take();
        if (!made.empty() && made[0] == "QueryInterface(IItem)") made.erase(made.begin());
        return made;
    }
};

// --- Contacts ------------------------------------------------------------------------------------------------

constexpr struct {
    CEPROPID packet;
    const char* setter;
} kContactSetters[] = {
    {0x4013001F, "IContact::put_FileAs"},
    {0x4023001F, "IContact::put_Title"},
    {0x3A06001F, "IContact::put_FirstName"},
    {0x4024001F, "IContact::put_MiddleName"},
    {0x3A11001F, "IContact::put_LastName"},
    {0x3A05001F, "IContact::put_Suffix"},
    {0x4002001F, "IContact::put_AssistantName"},
    {0x4004001F, "IContact::put_AssistantTelephoneNumber"},
    {0x4006001F, "IContact::put_Children"},
    {0x4008001F, "IContact::put_WebPage"},
    {0x400A001F, "IContact::put_Spouse"},
    {0x4083001F, "IContact::put_Email1Address"},
    {0x4093001F, "IContact::put_Email2Address"},
    {0x40A3001F, "IContact::put_Email3Address"},
    {0x3A25001F, "IContact::put_HomeFaxNumber"},
    {0x3A09001F, "IContact::put_HomeTelephoneNumber"},
    {0x3A2F001F, "IContact::put_Home2TelephoneNumber"},
    {0x3A1C001F, "IContact::put_MobileTelephoneNumber"},
    {0x4009001F, "IContact::put_PagerNumber"},
    {0x3A1D001F, "IContact::put_RadioTelephoneNumber"},
    {0x3A24001F, "IContact::put_BusinessFaxNumber"},
    {0x3A08001F, "IContact::put_BusinessTelephoneNumber"},
    {0x4007001F, "IContact::put_Business2TelephoneNumber"},
    {0x3A1E001F, "IContact::put_CarTelephoneNumber"},
    {0x3A16001F, "IContact::put_CompanyName"},
    {0x3A18001F, "IContact::put_Department"},
    {0x3A19001F, "IContact::put_OfficeLocation"},
    {0x3A17001F, "IContact::put_JobTitle"},
    {0x4040001F, "IContact::put_HomeAddressStreet"},
    {0x4041001F, "IContact::put_HomeAddressCity"},
    {0x4042001F, "IContact::put_HomeAddressState"},
    {0x4043001F, "IContact::put_HomeAddressPostalCode"},
    {0x4044001F, "IContact::put_HomeAddressCountry"},
    {0x4045001F, "IContact::put_BusinessAddressStreet"},
    {0x4046001F, "IContact::put_BusinessAddressCity"},
    {0x4047001F, "IContact::put_BusinessAddressState"},
    {0x4048001F, "IContact::put_BusinessAddressPostalCode"},
    {0x4049001F, "IContact::put_BusinessAddressCountry"},
    {0x404A001F, "IContact::put_OtherAddressStreet"},
    {0x404B001F, "IContact::put_OtherAddressCity"},
    {0x404C001F, "IContact::put_OtherAddressState"},
    {0x404D001F, "IContact::put_OtherAddressPostalCode"},
    {0x404E001F, "IContact::put_OtherAddressCountry"},
};

TEST_F(Writers, EveryTextOfAContactReachesItsSetter) {
    for (const auto& row : kContactSetters) {
        EXPECT_TRUE(ToContact(TextProperty(row.packet, TEXT("some text")))) << row.setter;
        EXPECT_THAT(Made(), ElementsAre(std::string(row.setter) + "(\"some text\")"));
        EXPECT_THAT(TakeTraces(), IsEmpty());
    }
}

TEST_F(Writers, ARefusedTextOfAContactIsTraced) {
    for (const auto& row : kContactSetters) {
        calls.Fail(row.setter, E_FIELDTOOLARGE);
        EXPECT_FALSE(ToContact(TextProperty(row.packet, TEXT("x")))) << row.setter;
        char expected[128] = {};
        _snprintf(expected, sizeof(expected) - 1, "CKezAspDBContact::PropToPoom::0x%08x - hr=0x80040066", row.packet);
        EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{0, expected}));
    }
}

TEST_F(Writers, OnlyPlainSuccessCounts) {
    calls.Fail("IContact::put_Title", S_FALSE);
    EXPECT_FALSE(ToContact(TextProperty(0x4023001F, TEXT("Dr."))));
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{0, "CKezAspDBContact::PropToPoom::0x4023001f - hr=0x00000001"}));
}

TEST_F(Writers, ATextWithoutMemoryIsRefused) {
    control::PlanFault({"SysAllocString", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_FALSE(ToContact(TextProperty(0x4023001F, TEXT("Dr."))));
    control::ClearFaults();
    EXPECT_THAT(Made(), IsEmpty()) << "an empty text must not take the place of the one that is there";
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CKezAspDBContact::PropToPoom::0x4023001f - hr=0x8007000e"));
}

TEST_F(Writers, ABirthdayIsSetWithoutAZoneShift) {
    const FILETIME time = FileTimeOf(1980, 5, 17);
    EXPECT_TRUE(ToContact(DateProperty(0x40010040, time)));
    EXPECT_THAT(Made(), ElementsAre("IContact::put_Birthday(" + Shown(DateOf(1980, 5, 17)) + ")"));
    EXPECT_EQ(DateOf(1980, 5, 17), 29358.0);
    char expected[64] = {};
    _snprintf(expected, sizeof(expected) - 1, "PropToPoom BirthDate - (%x %x)", time.dwHighDateTime,
              time.dwLowDateTime);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{25, expected}));
}

TEST_F(Writers, AnAnniversaryIsSetSilently) {
    EXPECT_TRUE(ToContact(DateProperty(0x40030040, FileTimeOf(2001, 2, 3))));
    EXPECT_THAT(Made(), ElementsAre("IContact::put_Anniversary(" + Shown(DateOf(2001, 2, 3)) + ")"));
    EXPECT_THAT(TakeTraces(), IsEmpty());
    calls.Fail("IContact::put_Anniversary", E_INVALIDARG);
    EXPECT_FALSE(ToContact(DateProperty(0x40030040, FileTimeOf(2001, 2, 3))));
}

TEST_F(Writers, TextsWithoutSetterGoThroughTheItem) {
    const std::pair<CEPROPID, const char*> rows[] = {
        {0xAFE1001F, "0x0093001f"}, {0xAFE2001F, "0x0094001f"}, {0xAFE3001F, "0x0095001f"}, {0xAFE4001F, "0x00a0001f"},
        {0xAFE5001F, "0x008d001f"}, {0xAFE6001F, "0x00aa001f"}, {0xAFE7001F, "0x00ab001f"}, {0xAFE8001F, "0x00a9001f"}};
    for (const auto& [packet, poom] : rows) {
        EXPECT_TRUE(ToContact(TextProperty(packet, TEXT("ann")))) << poom;
        EXPECT_THAT(Made(), ElementsAre(std::string("IItem::SetProps(") + poom + " \"ann\")"));
        const Lines expected = packet == 0xAFE1001F ? Lines{{0, "CKezAspDBContact::PropToPoom Setting IM1"}} : Lines{};
        EXPECT_EQ(TakeTraces(), expected);
    }
}

TEST_F(Writers, AnUnchangedTextThroughTheItemCountsAsRefused) {
    calls.Fail("IItem::SetProps", S_FALSE);
    EXPECT_FALSE(ToContact(TextProperty(0xAFE5001F, TEXT("ann"))));
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CKezAspDBContact::PropToPoom::0xafe5001f - hr=0x00000001"));
}

TEST_F(Writers, WithoutItsItemAContactStillTakesWhatHasASetter) {
    contact->item = nullptr;
    EXPECT_TRUE(ToContact(TextProperty(0x4023001F, TEXT("Dr."))));
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{0,
                                      "CKezAspDBContact::PropToPoom::0x4023001f - hr=0x80004002 - failed to "
                                      "retrieve pItem"}));
    EXPECT_FALSE(ToContact(TextProperty(0xAFE5001F, TEXT("ann"))));
    EXPECT_THAT(TakeTraceTexts(),
                ElementsAre("CKezAspDBContact::PropToPoom::0xafe5001f - hr=0x80004002 - failed to retrieve pItem",
                            "CKezAspDBContact::PropToPoom::0xafe5001f - hr=0x80004002"));
    CEPROPVAL picture = Property(0xAFE90041);
    BYTE byte = 1;
    picture.val.blob = {1, &byte};
    EXPECT_FALSE(ToContact(picture));
    EXPECT_THAT(
        TakeTraceTexts(),
        ElementsAre("CKezAspDBContact::PropToPoom::0xafe90041 - hr=0x80004002 - failed to retrieve pItem",
                    "Writing picture field", "Opening property", "Done writing property (dwCount = 1, ulWritten = 0)",
                    "CKezAspDBContact::PropToPoom::0xafe90041 - hr=0x80004002"));
}

TEST_F(Writers, WithoutContactNothingIsWritten) {
    for (const CEPROPID id : {0x4023001Fu, 0x40010040u, 0x40030040u, 0xAFE1001Fu}) {
        const CEPROPVAL property = Property(id);
        EXPECT_FALSE(ContactPropToPoom(&property, &*session));
    }
    EXPECT_THAT(Made(), IsEmpty());
}

TEST_F(Writers, WhatNoContactKnowsIsTracedAndCountsAsWritten) {
    for (const CEPROPID id : {0xAFF0001Fu, 0x0037001Fu, 0x40230002u}) {
        EXPECT_TRUE(ToContact(Property(id)));
        char expected[64] = {};
        _snprintf(expected, sizeof(expected) - 1, "Unhandled prop 0x%08x", id);
        EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{25, expected}));
        EXPECT_THAT(Made(), IsEmpty());
    }
}

class PictureWriter : public Writers {
 protected:
    PictureWriter() { item->stream = stream.Get(); }
    BOOL Write(DWORD count) {
        CEPROPVAL picture = Property(0xAFE90041);
        picture.val.blob = {count, bytes};
        return ToContact(picture);
    }
    Owned<RecordingStream> stream{calls};
    BYTE bytes[5] = {9, 8, 7, 6, 5};
};

TEST_F(PictureWriter, WritesTheWholePictureAtOnceAndCommits) {
    EXPECT_TRUE(Write(5));
    EXPECT_THAT(Made(),
                ElementsAre("IItem::OpenProperty(0x00ff0064 0x40000000)", "IStream::Write(5)", "IStream::Commit(0)"));
    EXPECT_THAT(stream->content, ElementsAre(9, 8, 7, 6, 5));
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{25, "Writing picture field"}, TraceLine{25, "Opening property"},
                                          TraceLine{25, "Writing stream"},
                                          TraceLine{25, "Done writing property (dwCount = 5, ulWritten = 5)"}));
}

TEST_F(PictureWriter, NoBytesLeaveTheOldPicture) {
    CEPROPVAL picture = Property(0xAFE90041);
    EXPECT_TRUE(ToContact(picture));
    EXPECT_THAT(Made(), IsEmpty());
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("Writing picture field", "No data to write (blob.lpb = 0x00000000)"));
}

TEST_F(PictureWriter, AStreamThatCannotBeOpenedChangesNothing) {
    calls.Fail("IItem::OpenProperty", E_ACCESSDENIED);
    EXPECT_TRUE(Write(5));
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("Writing picture field", "Opening property",
                                              "Done writing property (dwCount = 5, ulWritten = 0)"));
}

TEST_F(PictureWriter, FailuresOfTheStreamAreOnlyTraced) {
    calls.Fail("IStream::Write", E_FAIL);
    calls.Fail("IStream::Commit", E_FAIL);
    EXPECT_TRUE(Write(5));
    EXPECT_THAT(TakeTraceTexts(),
                ElementsAre("Writing picture field", "Opening property", "Writing stream", "Write failed",
                            "Commit failed", "Done writing property (dwCount = 5, ulWritten = 0)"));
}

// --- Tasks ---------------------------------------------------------------------------------------------------

TEST_F(Writers, EveryPropertyOfATaskReachesItsSetter) {
    const std::pair<CEPROPVAL, std::string> rows[] = {
        {TextProperty(0x0037001F, TEXT("buy")), "ITask::put_Subject(\"buy\")"},
        {ShortProperty(0x00040002, 2), "ITask::put_Sensitivity(2)"},
        {ShortProperty(0x00040002, 3), "ITask::put_Sensitivity(0)"},
        {ShortProperty(0x00040002, 0), "ITask::put_Sensitivity(0)"},
        {LongProperty(0x00260003, 2), "ITask::put_Importance(2)"},
        {DateProperty(0x41040040, FileTimeOf(2026, 3, 4)), "ITask::put_StartDate(" + Shown(DateOf(2026, 3, 4)) + ")"},
        {DateProperty(0x41050040, FileTimeOf(2026, 3, 5)), "ITask::put_DueDate(" + Shown(DateOf(2026, 3, 5)) + ")"},
        {ShortProperty(0x410F0002, 1), "ITask::put_Complete(1)"},
        {ShortProperty(0x410F0002, -1), "ITask::put_Complete(-1)"},
        {ShortProperty(0x45030002, 5), "ITask::put_ReminderSet(-1)"},
        {ShortProperty(0x45030002, 0), "ITask::put_ReminderSet(0)"},
    };
    for (const auto& [property, call] : rows) {
        EXPECT_TRUE(ToTask(property)) << call;
        EXPECT_THAT(Made(), ElementsAre(call));
        EXPECT_THAT(TakeTraces(), IsEmpty());
        const std::string setter = call.substr(0, call.find('('));
        if (setter == "ITask::put_Importance") continue;
        calls.Fail(setter, E_INVALIDARG);
        EXPECT_FALSE(ToTask(property)) << call;
        char expected[64] = {};
        _snprintf(expected, sizeof(expected) - 1, "CKezAspDBTask::PropToPoom::0x%08x - hr=0x80070057", property.propid);
        EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{0, expected}));
        Made();
    }
}

TEST_F(Writers, AnImportanceThatIsTakenTheSecondTimeStays) {
    calls.Fail("ITask::put_Importance", E_FAIL);
    EXPECT_TRUE(ToTask(LongProperty(0x00260003, 2)));
    EXPECT_THAT(Made(), ElementsAre("ITask::put_Importance(2)", "ITask::put_Importance(2)"));
    EXPECT_EQ(task->importance, 2);
}

TEST_F(Writers, AnImportanceThatIsRefusedTwiceBecomesNormal) {
    calls.Fail("ITask::put_Importance", E_INVALIDARG, 2);
    EXPECT_TRUE(ToTask(LongProperty(0x00260003, 3)));
    EXPECT_THAT(Made(),
                ElementsAre("ITask::put_Importance(3)", "ITask::put_Importance(3)", "ITask::put_Importance(1)"));
    EXPECT_EQ(task->importance, 1);
    calls.Fail("ITask::put_Importance", E_INVALIDARG, 3);
    EXPECT_FALSE(ToTask(LongProperty(0x00260003, 3)));
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CKezAspDBTask::PropToPoom::0x00260003 - hr=0x80070057"));
}

TEST_F(Writers, TheReminderOfATaskIsSwitchedOnBeforeItsTime) {
    CEPROPVAL property = Property(0xAFFB0005);
    property.val.dblVal = 46083.25;
    EXPECT_TRUE(ToTask(property));
    EXPECT_THAT(Made(), ElementsAre("ITask::put_ReminderSet(-1)", "ITask::put_ReminderTime(46083.25)"));
    calls.Fail("ITask::put_ReminderTime", E_INVALIDARG);
    EXPECT_FALSE(ToTask(property));
    EXPECT_EQ(task->reminderSet, VARIANT_TRUE);
}

TEST_F(Writers, WhatNoTaskKnowsIsSilentlyWritten) {
    for (const CEPROPID id : {0x410F0040u, 0xAFF0001Fu, 0x4208001Fu, 0x0000FFFFu}) {
        EXPECT_TRUE(ToTask(Property(id)));
    }
    EXPECT_THAT(Made(), IsEmpty());
    EXPECT_THAT(TakeTraces(), IsEmpty());
}

TEST_F(Writers, WithoutTaskNothingIsWritten) {
    const CEPROPVAL property = TextProperty(0x0037001F, TEXT("x"));
    EXPECT_FALSE(TaskPropToPoom(&property, &*session));
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CKezAspDBTask::PropToPoom::0x0037001f - hr=0x80004003"));
}

// --- Appointments --------------------------------------------------------------------------------------------

TEST_F(Writers, EveryPropertyOfAnAppointmentReachesItsSetter) {
    const struct {
        CEPROPVAL property;
        std::string call;
        std::string trace;
    } rows[] = {
        {TextProperty(0x0037001F, TEXT("talk")), "IAppointment::put_Subject(\"talk\")", "Subject: talk"},
        {TextProperty(0x4208001F, TEXT("here")), "IAppointment::put_Location(\"here\")", ""},
        {DateProperty(0x420D0040, FileTimeOf(2026, 3, 2, 9, 30)),
         "IAppointment::put_Start(" + Shown(DateOf(2026, 3, 2, 9, 30)) + ")", ""},
        {LongProperty(0x42130003, 45), "IAppointment::put_Duration(45)", "Duration: 45"},
        {LongProperty(0x42150003, 2), "IAppointment::put_AllDayEvent(0)", "AllDay: 2"},
        {LongProperty(0x42150003, 1), "IAppointment::put_AllDayEvent(-1)", "AllDay: 1"},
        {LongProperty(0x42150003, 0), "IAppointment::put_AllDayEvent(-1)", "AllDay: 0"},
        {LongProperty(0x42150003, 0x10002), "IAppointment::put_AllDayEvent(0)", "AllDay: 2"},
        {ShortProperty(0x00040002, 2), "IAppointment::put_Sensitivity(2)", ""},
        {ShortProperty(0x00040002, 1), "IAppointment::put_Sensitivity(0)", ""},
        {LongProperty(0x45010003, 15), "IAppointment::put_ReminderMinutesBeforeStart(15)", ""},
        {ShortProperty(0x45030002, 1), "IAppointment::put_ReminderSet(1)", ""},
        {ShortProperty(0x45030002, -1), "IAppointment::put_ReminderSet(-1)", ""},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(ToAppointment(row.property)) << row.call;
        EXPECT_THAT(Made(), ElementsAre(row.call));
        char result[96] = {};
        _snprintf(result, sizeof(result) - 1, "CKezAspDBAppt::PropToPoom::propid=0x%08x, hr=0x00000000",
                  row.property.propid);
        Lines expected;
        if (!row.trace.empty()) expected.push_back({75, row.trace});
        expected.push_back({75, result});
        EXPECT_EQ(TakeTraces(), expected);

        calls.Fail(row.call.substr(0, row.call.find('(')), E_INVALIDARG);
        EXPECT_FALSE(ToAppointment(row.property)) << row.call;
        char dump[64] = {};
        _snprintf(dump, sizeof(dump) - 1, "\t\tPropVal dump of 0x%08x", row.property.propid);
        _snprintf(result, sizeof(result) - 1, "CKezAspDBAppt::PropToPoom::propid=0x%08x, hr=0x80070057",
                  row.property.propid);
        Lines traces = TakeTraces();
        ASSERT_GE(traces.size(), 2u);
        EXPECT_EQ(traces[traces.size() - 2], (TraceLine{75, result}));
        EXPECT_EQ(traces.back(), (TraceLine{25, dump}));
        Made();
    }
}

TEST_F(Writers, TheBusyStatusRunsThroughItsWholeChain) {
    const struct {
        CEPROPVAL property;
        Texts values;
    } rows[] = {
        {ShortProperty(0x000F0002, 0), {"0", "1", "3", "2"}},
        {ShortProperty(0x000F0002, 1), {"1", "3", "2"}},
        {ShortProperty(0x000F0002, 2), {"1", "3", "2"}},
        {ShortProperty(0x000F0002, 3), {"1", "3", "2"}},
        {Property(1), {"1", "3", "2"}},
        {Property(3), {"3", "2"}},
        {Property(0x12340003), {"2"}},
        {Property(0xAFF0001F), {"2"}},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(ToAppointment(row.property));
        Texts expected;
        for (const std::string& value : row.values) expected.push_back("IAppointment::put_BusyStatus(" + value + ")");
        EXPECT_EQ(Made(), expected);
        EXPECT_EQ(appointment->busyStatus, olBusy);
    }
}

TEST_F(Writers, OnlyTheLastBusyStatusDecides) {
    calls.Fail("IAppointment::put_BusyStatus", E_FAIL, 2);
    EXPECT_TRUE(ToAppointment(ShortProperty(0x000F0002, 3)));
    calls.Fail("IAppointment::put_BusyStatus", E_FAIL);
    EXPECT_FALSE(ToAppointment(Property(0x12340003)));
}

TEST_F(Writers, RecipientsGoToTheSessionAndCountAsWritten) {
    Owned<RecordingRecipients> recipients(calls);
    appointment->recipients = recipients.Get();
    WCHAR text[] = TEXT("Ann;ann-address");
    EXPECT_TRUE(ToAppointment(TextProperty(0xAFFC001F, text)));
    ASSERT_EQ(recipients->list.size(), 1u);
    EXPECT_EQ(recipients->list[0]->address, u"ann-address");
    EXPECT_EQ(TakeTraces().back(), (TraceLine{75, "CKezAspDBAppt::PropToPoom::propid=0xaffc001f, hr=0x00000000"}));
}

TEST_F(Writers, WithoutAppointmentNothingIsWritten) {
    CEPROPVAL property = TextProperty(0x0037001F, TEXT("x"));
    EXPECT_FALSE(AppointmentPropToPoom(&property, &*session));
    EXPECT_THAT(TakeTraceTexts("CKez"), ElementsAre("CKezAspDBAppt::PropToPoom::propid=0x0037001f, hr=0x80004003"));
}

}  // namespace
}  // namespace kez::tests
