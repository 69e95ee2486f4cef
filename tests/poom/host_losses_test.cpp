// What does not survive the conversion, one test a row of docs/conversion-losses.md that no other test states.
#include "tests/poom/host_fixture.h"

namespace kez::tests {
namespace {

class ConversionLoss : public HostBridge {
 protected:
    // Writes the properties that the session's item gives, unchanged, into a new item of the other session.
    void CopyRaw(DWORD type) {
        PropertyList list;
        ASSERT_TRUE(list.Read(*session, type));
        ASSERT_TRUE(other->InitializeItem(0, type, 0));
        for (const CEPROPVAL& property : list) {
            if (property.wFlags != 0) continue;
            if (type == kContacts) ContactPropToPoom(&property, &*other);
            if (type == kAppointments) AppointmentPropToPoom(&property, &*other);
            if (type == kTasks) TaskPropToPoom(&property, &*other);
        }
        session->ReleaseItems();
    }
    void SaveCopyAndLoad(DWORD type) {
        CEOID oid = 0;
        ASSERT_EQ(other->Save(&oid), S_OK);
        Load(type, oid);
    }
};

TEST_F(ConversionLoss, FieldsOutsideTheCatalogueStayBehind) {
    Load(kContacts, Make(kContacts, [&] {
             Reference<IItem> item;
             QueryItem(session->m_pContact, item.Out());
             CEPROPVAL nickname = TextProperty(PIMPR_NICKNAME, TEXT("Annie"));
             ASSERT_EQ(item->SetProps(0, 1, &nickname), S_OK);
         }));
    CopyRaw(kContacts);
    SaveCopyAndLoad(kContacts);
    Reference<IItem> item;
    QueryItem(session->m_pContact, item.Out());
    const CEPROPID wanted = PIMPR_NICKNAME;
    CEPROPVAL* value = nullptr;
    ULONG bytes = 0;
    item->GetProps(&wanted, CEDB_ALLOWREALLOC, 1, &value, &bytes, GetProcessHeap());
    EXPECT_EQ(value->wFlags, CEDB_PROPNOTFOUND);
    HeapFree(GetProcessHeap(), 0, value);
    session->ReleaseItems();
}

TEST_F(ConversionLoss, EmptyTextsAreNotThere) {
    Load(kContacts, Make(kContacts, [&] { EXPECT_TRUE(Write(TextProperty(0x4023001F, TEXT("")))); }));
    PropertyList list;
    list.Read(*session, kContacts);
    EXPECT_EQ(list.Find(0x4023001F)->wFlags, CEDB_PROPNOTFOUND);
    session->ReleaseItems();
}

TEST_F(ConversionLoss, ATextThatIsTooLongIsRefusedAndTheOthersStay) {
    const std::u16string tooLong(5000, u'x');
    const CEOID oid = Make(kContacts, [&] {
        EXPECT_TRUE(Write(TextProperty(0x3A06001F, TEXT("Ann"))));
        EXPECT_FALSE(Write(TextProperty(0x3A11001F, tooLong.c_str())));
    });
    Load(kContacts, oid);
    EXPECT_EQ(GetText(session->m_pContact, &IContact::get_FirstName), u"Ann");
    EXPECT_EQ(GetText(session->m_pContact, &IContact::get_LastName), u"");
    session->ReleaseItems();
}

TEST_F(ConversionLoss, SensitivityKnowsPrivateAndNormal) {
    for (LONG sensitivity = 0; sensitivity <= 3; ++sensitivity) {
        Load(kAppointments, Make(kAppointments, [&] { session->m_pAppt->put_Sensitivity(sensitivity); }));
        CopyRaw(kAppointments);
        EXPECT_EQ(Get(other->m_pAppt, &IAppointment::get_Sensitivity), sensitivity == 2 ? 2 : 0);
        Load(kTasks, Make(kTasks, [&] { session->m_pTask->put_Sensitivity(sensitivity); }));
        CopyRaw(kTasks);
        EXPECT_EQ(Get(other->m_pTask, &ITask::get_Sensitivity), sensitivity == 2 ? 2 : 0);
    }
}

TEST_F(ConversionLoss, TheItemsOwnWayToSayNotAllDayIsReadAsAllDay) {
    Load(kAppointments, Make(kAppointments, [&] { session->m_pAppt->put_AllDayEvent(VARIANT_FALSE); }));
    PropertyList list;
    list.Read(*session, kAppointments);
    EXPECT_EQ(list.Find(0x42150003)->val.boolVal, 0);
    CopyRaw(kAppointments);
    EXPECT_EQ(Get(other->m_pAppt, &IAppointment::get_AllDayEvent), VARIANT_TRUE);
}

TEST_F(ConversionLoss, BusyStatusEndsAsBusy) {
    for (LONG status = 0; status <= 3; ++status) {
        Load(kAppointments, Make(kAppointments, [&] { session->m_pAppt->put_BusyStatus(status); }));
        CopyRaw(kAppointments);
        EXPECT_EQ(Get(other->m_pAppt, &IAppointment::get_BusyStatus), olBusy);
    }
}

TEST_F(ConversionLoss, ReminderOptionsAreTheDevicesAgain) {
    Load(kAppointments, Make(kAppointments, [&] { session->m_pAppt->put_ReminderOptions(olVibrate | olLED); }));
    CopyRaw(kAppointments);
    EXPECT_EQ(Get(other->m_pAppt, &IAppointment::get_ReminderOptions), olDialog | olSound);
}

std::u16string RecipientsOf(CCEPoom& session) {
    WCHAR* text = nullptr;
    session.GetRecipients(&text);
    const std::u16string result = text != nullptr ? text : u"(none)";
    delete[] text;
    return result;
}

TEST_F(ConversionLoss, ASemicolonShiftsTheRecipients) {
    ASSERT_TRUE(session->InitializeItem(0, kAppointments, 0));
    Reference<IRecipients> recipients;
    session->m_pAppt->get_Recipients(recipients.Out());
    Reference<IRecipient> recipient;
    recipients->Add(AutomationText(TEXT("Miller; Ann")).Get(), recipient.Out());
    recipient->put_Address(AutomationText(TEXT("a@x")).Get());
    std::u16string text = RecipientsOf(*session);
    EXPECT_EQ(text, u"Miller; Ann;a@x");
    ASSERT_TRUE(other->InitializeItem(0, kAppointments, 0));
    other->SetRecipients(text.data());
    EXPECT_EQ(RecipientsOf(*other), u"Miller; Ann;a@x;a@x");
    Reference<IRecipients> copies;
    other->m_pAppt->get_Recipients(copies.Out());
    EXPECT_EQ(Get(copies.Get(), &IRecipients::get_Count), 2);
    session->ReleaseItems();
    other->ReleaseItems();
}

TEST_F(ConversionLoss, TheKindOfARecipientStaysBehind) {
    ASSERT_TRUE(session->InitializeItem(0, kAppointments, 0));
    Reference<IRecipients> recipients;
    session->m_pAppt->get_Recipients(recipients.Out());
    Reference<IRecipient> recipient;
    recipients->Add(AutomationText(TEXT("Ann")).Get(), recipient.Out());
    recipient->put_Address(AutomationText(TEXT("a@x")).Get());
    Reference<IRecipient2> kind;
    ASSERT_EQ(recipient->QueryInterface(IID_IRecipient2, reinterpret_cast<void**>(kind.Out())), S_OK);
    kind->put_Type(olRecipientTypeOptional);
    std::u16string text = RecipientsOf(*session);
    ASSERT_TRUE(other->InitializeItem(0, kAppointments, 0));
    other->SetRecipients(text.data());
    Reference<IRecipients> copies;
    other->m_pAppt->get_Recipients(copies.Out());
    copies->Item(1, recipient.Out());
    ASSERT_EQ(recipient->QueryInterface(IID_IRecipient2, reinterpret_cast<void**>(kind.Out())), S_OK);
    EXPECT_NE(Get(kind.Get(), &IRecipient2::get_Type), olRecipientTypeOptional);
    session->ReleaseItems();
    other->ReleaseItems();
}

TEST_F(ConversionLoss, ADueDateWithoutAStartIsLost) {
    const CEOID oid = Make(kTasks, [&] { session->m_pTask->put_DueDate(DateOf(2026, 3, 9)); });
    Load(kTasks, oid);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_DueDate), DATE_NONE);
    session->ReleaseItems();
}

TEST_F(ConversionLoss, ATaskIsCompletedWhenItIsWritten) {
    Load(kTasks, Make(kTasks, [&] { session->m_pTask->put_Complete(VARIANT_TRUE); }));
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_DateCompleted), DateOf(2026, 3, 2));
    control::AdvanceClock(24 * 60 * 60 * 1000);
    CopyRaw(kTasks);
    SaveCopyAndLoad(kTasks);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_DateCompleted), DateOf(2026, 3, 3));
    session->ReleaseItems();
}

TEST_F(ConversionLoss, TheReminderTimeOfATaskAndItsTeamFlagStayBehind) {
    const DATE time = DateOf(2026, 3, 8, 17, 30);
    Load(kTasks, Make(kTasks, [&] {
             session->m_pTask->put_StartDate(DateOf(2026, 3, 8));
             session->m_pTask->put_DueDate(DateOf(2026, 3, 9));
             session->m_pTask->put_ReminderSet(VARIANT_TRUE);
             session->m_pTask->put_ReminderTime(time);
             session->m_pTask->put_TeamTask(VARIANT_TRUE);
         }));
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_ReminderTime), time);
    CopyRaw(kTasks);
    SaveCopyAndLoad(kTasks);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_ReminderSet), VARIANT_TRUE);
    EXPECT_NE(Get(session->m_pTask, &ITask::get_ReminderTime), time);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_TeamTask), VARIANT_FALSE);
    session->ReleaseItems();
}

TEST_F(ConversionLoss, ANumberOfOccurrencesBecomesTheDateOfTheLast) {
    const CEOID oid = MakeSeries();
    Load(kAppointments, oid);
    session->m_pRec->put_NoEndDate(VARIANT_FALSE);
    session->m_pRec->put_Occurrences(3);
    ASSERT_EQ(session->m_pAppt->Save(), S_OK);
    ASSERT_TRUE(session->GetRecurring());
    EXPECT_EQ(session->m_recurrence.PatternEndDate, DateOf(2026, 3, 16));
    EXPECT_EQ(session->m_recurrence.bNoEndDate, FALSE);
    session->ReleaseItems();
}

TEST_F(ConversionLoss, AModifiedOccurrenceIsADeletedOneOnBothSides) {
    const CEOID oid = MakeSeries();
    Load(kAppointments, oid);
    ChangeOccurrence(DateOf(2026, 3, 9), [](IAppointment* occurrence) {
        occurrence->put_Subject(AutomationText(TEXT("\u20AC5 ~^!^~ \u0100 rest")).Get());
        ASSERT_EQ(occurrence->Save(), S_OK);
    });
    ASSERT_TRUE(session->GetRecurring());
    const std::u16string modified = session->m_bstrExcModList;
    EXPECT_EQ(modified.substr(0, 14), u"\uFFAC5 ~^!^~ ~^!^~") << "cut to low bytes, ended by U+0100";
    std::u16string list = session->m_bstrExcList;

    const CEPROPVAL property = TextProperty(0xAFFF001F, list.data());
    ASSERT_TRUE(other->InitializeItem(0, kAppointments, 0));
    other->m_pAppt->put_Start(DateOf(2026, 3, 2, 9));
    other->m_recurrence = session->m_recurrence;
    other->m_pExcList = &property;
    session->ReleaseItems();
    SaveCopyAndLoad(kAppointments);
    Reference<IAppointment> occurrence;
    EXPECT_NE(session->m_pRec->GetOccurrence(DateOf(2026, 3, 9), occurrence.Out()), S_OK);
    EXPECT_EQ(session->m_pRec->GetOccurrence(DateOf(2026, 3, 16), occurrence.Out()), S_OK);
    occurrence.Out();
    session->ReleaseItems();
}

}  // namespace
}  // namespace kez::tests
