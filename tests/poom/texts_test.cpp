// Categories, notes, recipients and reminders of the current item.
#include "platform/control/control.h"
#include "poom/text_tokens.h"
#include "tests/poom/bridge_fixture.h"
#include "tests/support/failing_new.h"

namespace kez::tests {
namespace {

class ItemTexts : public Bridge {
 protected:
    void LoadAll() {
        session->m_pTask = task.Give();
        session->m_pAppt = appointment.Give();
        session->m_pContact = contact.Give();
    }
    WCHAR* text = nullptr;
};

TEST_F(ItemTexts, CategoriesComeFromTheFirstItem) {
    task->categories = u"of the task";
    appointment->categories = u"of the appointment";
    contact->categories = u"of the contact";
    LoadAll();
    EXPECT_TRUE(session->GetCategories(&text));
    EXPECT_EQ(Taken(text), u"of the task");
    session->ReleaseItems();
    session->m_pAppt = appointment.Give();
    session->m_pContact = contact.Give();
    EXPECT_TRUE(session->GetCategories(&text));
    EXPECT_EQ(Taken(text), u"of the appointment");
    session->ReleaseItems();
    session->m_pContact = contact.Give();
    EXPECT_TRUE(session->GetCategories(&text));
    EXPECT_EQ(Taken(text), u"of the contact");
}

TEST_F(ItemTexts, NotesComeFromTheFirstItem) {
    task->body = u"of the task";
    appointment->body = u"of the appointment";
    contact->body = u"of the contact";
    LoadAll();
    EXPECT_TRUE(session->GetNote(&text));
    EXPECT_EQ(Taken(text), u"of the task");
    session->ReleaseItems();
    session->m_pAppt = appointment.Give();
    session->m_pContact = contact.Give();
    EXPECT_TRUE(session->GetNote(&text));
    EXPECT_EQ(Taken(text), u"of the appointment");
    session->ReleaseItems();
    session->m_pContact = contact.Give();
    EXPECT_TRUE(session->GetNote(&text));
    EXPECT_EQ(Taken(text), u"of the contact");
}

TEST_F(ItemTexts, GettersTraceTheirWay) {
    contact->categories = u"Work";
    contact->body = u"a note";
    session->m_pContact = contact.Give();
    session->GetCategories(&text);
    Taken(text);
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{50, " CCEPoom::GetCategories +"}, TraceLine{50, "CAT::SysStringLen(bstrTemp)=4"},
                            TraceLine{50, "CAT::wcslen(*ppbuf)=4"}, TraceLine{50, " CCEPoom::GetCategories -"}));
    session->GetNote(&text);
    Taken(text);
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{50, " CCEPoom::GetNote +"}, TraceLine{50, " CCEPoom::GetNote::get_Body()"},
                            TraceLine{50, "NOTE::SysStringLen(bstrTemp)=6"}, TraceLine{50, "NOTE::wcslen(*ppbuf)=6"},
                            TraceLine{50, " CCEPoom::GetNote -"}));
    EXPECT_EQ(calls.Take("IPOutlookApp::SysFreeString").size(), 2u) << "the item's strings go through the application";
}

TEST_F(ItemTexts, NoTextIsNull) {
    session->m_pContact = contact.Give();
    EXPECT_FALSE(session->GetCategories(&text));
    EXPECT_EQ(text, nullptr);
    EXPECT_FALSE(session->GetNote(&text));
    EXPECT_EQ(text, nullptr);
    session->ReleaseItems();
    EXPECT_FALSE(session->GetCategories(&text));
    EXPECT_FALSE(session->GetNote(&text));
}

TEST_F(ItemTexts, ATextThatCannotBeReadIsNull) {
    contact->categories = contact->body = u"there";
    session->m_pContact = contact.Give();
    calls.Fail("IContact::get_Categories", E_FAIL);
    EXPECT_FALSE(session->GetCategories(&text));
    calls.Fail("IContact::get_Body", E_FAIL);
    EXPECT_FALSE(session->GetNote(&text));
    EXPECT_EQ(text, nullptr);
}

TEST_F(ItemTexts, WithoutMemoryThereIsNoTextAndTheItemsIsFreed) {
    contact->categories = contact->body = u"there";
    session->m_pContact = contact.Give();
    FailNothrowNew(1);
    EXPECT_FALSE(session->GetCategories(&text));
    EXPECT_EQ(text, nullptr);
    FailNothrowNew(1);
    EXPECT_FALSE(session->GetNote(&text));
    EXPECT_EQ(text, nullptr);
    FailNothrowNew(0);
    Lines failures;
    for (const TraceLine& line : TakeTraces()) {
        if (line.level == 0) failures.push_back(line);
    }
    EXPECT_THAT(failures, ElementsAre(TraceLine{0, "OUT OF MEMORY"}, TraceLine{0, "OUT OF MEMORY"}));
}

TEST_F(ItemTexts, AStringThatTheApplicationDoesNotFreeIsFreed) {
    contact->categories = u"there";
    session->m_pContact = contact.Give();
    calls.Fail("IPOutlookApp::SysFreeString", E_FAIL);
    EXPECT_TRUE(session->GetCategories(&text));
    Taken(text);
}

TEST_F(ItemTexts, ATextKeepsEveryCharacter) {
    const std::u16string odd = u"\U0001F600 \xD800 \u0100 ~^!^~ \t;\r\n";
    contact->body = odd;
    session->m_pContact = contact.Give();
    EXPECT_TRUE(session->GetNote(&text));
    EXPECT_EQ(Taken(text), odd);
    EXPECT_TRUE(session->SetNote(odd.c_str()));
    EXPECT_EQ(contact->body, odd);
}

TEST_F(ItemTexts, CategoriesAreSetOnEveryItem) {
    LoadAll();
    EXPECT_EQ(session->SetCategories(TEXT("Work")), TRUE);
    EXPECT_THAT(calls.Take(), ElementsAre("ITask::put_Categories(\"Work\")", "IAppointment::put_Categories(\"Work\")",
                                          "IContact::put_Categories(\"Work\")"));
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{50, " CCEPoom::SetCategories +"}, TraceLine{50, " CCEPoom::SetCategories -"}));
}

TEST_F(ItemTexts, TheNoteIsSetOnTheFirstItem) {
    LoadAll();
    EXPECT_EQ(session->SetNote(TEXT("a note")), TRUE);
    EXPECT_THAT(calls.Take(), ElementsAre("ITask::put_Body(\"a note\")"));
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{50, " CCEPoom::SetNote +"}, TraceLine{50, " CCEPoom::SetNote -"}));
    session->ReleaseItems();
    session->m_pAppt = appointment.Give();
    session->m_pContact = contact.Give();
    session->SetNote(TEXT("a note"));
    EXPECT_THAT(calls.Take(), ElementsAre("IAppointment::put_Body(\"a note\")"));
}

TEST_F(ItemTexts, SettersSucceedWhateverTheItemSays) {
    session->m_pContact = contact.Give();
    calls.Fail("IContact::put_Categories", E_FAIL);
    EXPECT_EQ(session->SetCategories(TEXT("Work")), TRUE);
    calls.Fail("IContact::put_Body", E_FAIL);
    EXPECT_EQ(session->SetNote(TEXT("note")), TRUE);
    session->ReleaseItems();
    EXPECT_EQ(session->SetCategories(TEXT("Work")), TRUE);
    EXPECT_EQ(session->SetNote(TEXT("note")), TRUE);
}

// --- Recipients --------------------------------------------------------------------------------------------------

class Recipients : public ItemTexts {
 protected:
    Recipients() {
        appointment->recipients = recipients.Get();
        session->m_pAppt = appointment.Give();
    }
    std::u16string Read() {
        result = session->GetRecipients(&text);
        return Taken(text);
    }
    BOOL Write(std::u16string list) { return session->SetRecipients(list.data()); }
    std::vector<std::pair<std::u16string, std::u16string>> List() {
        std::vector<std::pair<std::u16string, std::u16string>> list;
        for (const RecordingRecipient* each : recipients->list) list.emplace_back(each->name, each->address);
        return list;
    }
    using Pairs = std::vector<std::pair<std::u16string, std::u16string>>;

    Owned<RecordingRecipients> recipients{calls};
    BOOL result = FALSE;
};

TEST_F(Recipients, AreJoinedByOneSeparator) {
    recipients->Fill({{u"Ann", u"a@x"}, {u"Bob", u"bob@y"}});
    EXPECT_EQ(Read(), u"Ann;a@x;Bob;bob@y");
    EXPECT_EQ(result, TRUE);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{0, " CCEPoom::GetRecipients +"},
                                          TraceLine{0, " CCEPoom::GetRecipients::[1]len = 8"},
                                          TraceLine{0, " CCEPoom::GetRecipients::[2]len = 10"},
                                          TraceLine{0, " CCEPoom::GetRecipients::iTotalSize=18"},
                                          TraceLine{0, " CCEPoom::GetRecipients (Ann;a@x;Bob;bob@y) -"},
                                          TraceLine{0, " CCEPoom::GetRecipients (2Found) -"}));
    EXPECT_EQ(session->m_pRecipients, nullptr);
}

TEST_F(Recipients, WithoutAddressContributeNothing) {
    recipients->Fill({{u"Ann", u"a@x"}, {u"Bob", u""}});
    EXPECT_EQ(Read(), u"Ann;a@x;") << "the last pair is not the last recipient";
    recipients->Fill({{u"", u"c@x"}, {u"Dan", u"d@x"}});
    EXPECT_EQ(Read(), u"Ann;a@x;Dan;d@x");
}

TEST_F(Recipients, AllWithoutAddressGiveAnEmptyText) {
    recipients->Fill({{u"Bob", u""}});
    EXPECT_EQ(Read(), u"");
    EXPECT_EQ(result, TRUE);
    EXPECT_THAT(TakeTraceTexts(" CCEPoom::GetRecipients (1"), ElementsAre(" CCEPoom::GetRecipients (1Found) -"));
}

TEST_F(Recipients, NoneAreNoText) {
    EXPECT_EQ(Read(), u"");
    EXPECT_EQ(result, FALSE);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{0, " CCEPoom::GetRecipients +"},
                                          TraceLine{0, " CCEPoom::GetRecipients (None Found) -"}));
    calls.Fail("IAppointment::get_Recipients", E_FAIL);
    Read();
    EXPECT_EQ(result, FALSE);
    recipients->Fill({{u"Ann", u"a@x"}});
    calls.Fail("IRecipients::get_Count", E_FAIL);
    Read();
    EXPECT_EQ(result, FALSE);
}

TEST_F(Recipients, OfOtherItemsAreNotAskedFor) {
    session->ReleaseItems();
    session->m_pTask = task.Give();
    Forget();
    EXPECT_FALSE(session->GetRecipients(&text));
    EXPECT_EQ(text, nullptr);
    EXPECT_THAT(TakeTraces(), IsEmpty());
}

TEST_F(Recipients, WithoutMemoryThereIsNoText) {
    recipients->Fill({{u"Ann", u"a@x"}});
    // The doubles' own allocations throw; the text's is the only one that may fail quietly.
    FailNothrowNew(1);
    Read();
    FailNothrowNew(0);
    EXPECT_EQ(result, FALSE);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(TakeTraces().back(), (TraceLine{0, "CEPoom::GetRecipients::ERR: OUT_OF_MEMORY"}));
}

TEST_F(Recipients, ThatCanBeReadOnlyOnceAreLeftOut) {
    recipients->Fill({{u"Ann", u"a@x"}, {u"Bob", u"b@x"}});
    for (const char* call : {"IRecipients::Item", "IRecipient::get_Name", "IRecipient::get_Address"}) {
        calls.Fail(call, E_FAIL, 1, 1);  // in the first pass: no room for it in the second
        EXPECT_EQ(Read(), u"Ann;a@x;") << call;
        calls.Fail(call, E_FAIL, 1, 3);  // in the second pass
        EXPECT_EQ(Read(), u"Bob;b@x") << call;
    }
}

TEST_F(Recipients, AreReplacedByThoseOfTheText) {
    recipients->Fill({{u"Old", u"o@x"}, {u"Older", u"oo@x"}});
    std::u16string list = u"Ann;ann-address;Bob";
    EXPECT_EQ(session->SetRecipients(list.data()), TRUE);
    EXPECT_EQ(List(), (Pairs{{u"Ann", u"ann-address"}, {u"Bob", u"Bob"}}));
    EXPECT_EQ(list, std::u16string(u"Ann\0ann-address\0Bob", 19)) << "cut in place";
    EXPECT_THAT(
        calls.Take("IRecipient"),
        ElementsAre("IRecipients::get_Count", "IRecipients::Remove(2)", "IRecipients::Remove(1)",
                    "IRecipients::get_Count", "IRecipients::Add(\"Ann\")", "IRecipient::put_Address(\"ann-address\")",
                    "IRecipients::Add(\"Bob\")", "IRecipient::put_Address(\"Bob\")"));
    char address[64] = {};
    _snprintf(address, sizeof(address) - 1, "AddrOfPbuf=%d, pBuf=Ann;ann-address;Bob",
              static_cast<DWORD>(reinterpret_cast<DWORD_PTR>(list.data())));
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{0, " CCEPoom::SetRecipients +"}, TraceLine{50, address},
                                          TraceLine{0, "CEPoom::SetRecipients::Clean old list: 2 items"},
                                          TraceLine{0, "CEPoom::SetRecipients::Add New Items: 0 existing items"},
                                          TraceLine{0, "Recipient=Ann"}, TraceLine{0, "Address=ann-address"},
                                          TraceLine{0, "Recipient=Bob"}, TraceLine{0, " CCEPoom::SetRecipients -"}));
}

TEST_F(Recipients, ABlankRemovesAllAndAnEmptyTextNone) {
    recipients->Fill({{u"Old", u"o@x"}});
    EXPECT_EQ(Write(u""), TRUE);
    EXPECT_EQ(session->SetRecipients(nullptr), TRUE);
    EXPECT_EQ(recipients->list.size(), 1u);
    EXPECT_THAT(TakeTraces(), IsEmpty());
    EXPECT_EQ(Write(u" "), TRUE);
    EXPECT_TRUE(recipients->list.empty());
    EXPECT_THAT(TakeTraceTexts("CEPoom::SetRecipients::Add"), IsEmpty());
}

TEST_F(Recipients, TwoBlanksAreAName) {
    EXPECT_EQ(Write(u"  "), TRUE);
    EXPECT_EQ(List(), (Pairs{{u"  ", u"  "}}));
}

TEST_F(Recipients, RunsOfSeparatorsAreOne) {
    EXPECT_EQ(Write(u";;Ann;;a@x;;;Bob;b@x;;"), TRUE);
    EXPECT_EQ(List(), (Pairs{{u"Ann", u"a@x"}, {u"Bob", u"b@x"}}));
}

TEST_F(Recipients, OnlySeparatorsAreNobody) {
    recipients->Fill({{u"Old", u"o@x"}});
    EXPECT_EQ(Write(u";;;"), TRUE);
    EXPECT_TRUE(recipients->list.empty());
}

TEST_F(Recipients, OfNoAppointmentAreNotSet) {
    session->ReleaseItems();
    Forget();
    EXPECT_EQ(Write(u"Ann;a@x"), TRUE);
    EXPECT_THAT(TakeTraces(), IsEmpty());
}

TEST_F(Recipients, CallsThatFailDoNotStopTheOthers) {
    calls.Fail("IRecipients::Add", E_FAIL);
    EXPECT_EQ(Write(u"Ann;a@x;Bob;b@x"), TRUE);
    EXPECT_EQ(List(), (Pairs{{u"Bob", u"b@x"}}));
    calls.Fail("IRecipients::Remove", E_FAIL);
    EXPECT_EQ(Write(u"Cid;c@x"), TRUE);
    EXPECT_EQ(List(), (Pairs{{u"Bob", u"b@x"}, {u"Cid", u"c@x"}}));
    calls.Fail("IRecipient::put_Address", E_FAIL);
    EXPECT_EQ(Write(u"Dan;d@x"), TRUE);
    EXPECT_EQ(List(), (Pairs{{u"Dan", u""}}));
    calls.Fail("IAppointment::get_Recipients", E_FAIL);
    EXPECT_EQ(Write(u"Eve;e@x"), TRUE);
    EXPECT_EQ(List(), (Pairs{{u"Dan", u""}}));
    EXPECT_EQ(TakeTraces().back(), (TraceLine{0, " CCEPoom::SetRecipients -"}));
}

TEST(Tokens, ATextCanBePutBackTogether) {
    WCHAR text[] = TEXT("\ta\tb\t\tc");
    WCHAR* place = text;
    WCHAR* cut = nullptr;
    std::u16string found;
    while (WCHAR* token = NextToken(place, TEXT('\t'), &cut)) {
        found += token;
        if (cut != nullptr) *cut = TEXT('\t');
    }
    EXPECT_EQ(found, u"abc");
    EXPECT_EQ(std::u16string(text), u"\ta\tb\t\tc");
}

// --- Reminders ---------------------------------------------------------------------------------------------------

class Reminders : public ItemTexts {
 protected:
    BOOL Read() { return session->GetReminder(&set, &options, &when); }
    BOOL set = 7;
    LONG options = 7;
    FILETIME when = {7, 7};
};

TEST_F(Reminders, OfATaskArePointsInTime) {
    session->m_pTask = task.Give();
    task->reminderSet = VARIANT_TRUE;
    task->reminderOptions = 12;
    task->reminderTime = DateOf(2026, 3, 9, 8, 30);
    EXPECT_EQ(Read(), TRUE);
    EXPECT_EQ(set, TRUE);
    EXPECT_EQ(options, 12);
    const FILETIME expected = FileTimeOf(2026, 3, 9, 8, 30);
    EXPECT_EQ(CompareFileTime(&when, &expected), 0);
    EXPECT_THAT(calls.Take(),
                ElementsAre("ITask::get_ReminderOptions", "ITask::get_ReminderSet", "ITask::get_ReminderTime"));
    EXPECT_THAT(TakeTraces(), IsEmpty());
}

TEST_F(Reminders, OnlyTheAutomationTrueIsSet) {
    session->m_pTask = task.Give();
    task->reminderSet = 1;
    EXPECT_EQ(Read(), FALSE);
    EXPECT_EQ(set, FALSE);
}

TEST_F(Reminders, OfAnAppointmentCountWholeDays) {
    session->m_pAppt = appointment.Give();
    appointment->reminderSet = VARIANT_TRUE;
    appointment->reminderOptions = 3;
    appointment->start = DateOf(2026, 3, 9, 10);
    const std::pair<LONG, FILETIME> rows[] = {{0, FileTimeOf(2026, 3, 9, 10)},
                                              {59999, FileTimeOf(2026, 3, 9, 10)},
                                              {60000, FileTimeOf(2026, 3, 8, 10)},
                                              {150000, FileTimeOf(2026, 3, 7, 10)}};
    for (const auto& [number, expected] : rows) {
        appointment->reminderMinutesBeforeStart = number;
        EXPECT_EQ(Read(), TRUE);
        EXPECT_EQ(CompareFileTime(&when, &expected), 0) << number;
    }
    EXPECT_EQ(options, 3);
}

TEST_F(Reminders, OfNothingLeaveTheTimeAlone) {
    session->m_pContact = contact.Give();
    EXPECT_EQ(Read(), FALSE);
    EXPECT_EQ(set, FALSE);
    EXPECT_EQ(when.dwLowDateTime, 7u);
    EXPECT_EQ(session->SetReminder(TRUE, 1, &when), FALSE);
}

TEST_F(Reminders, AreWrittenToATask) {
    session->m_pTask = task.Give();
    when = FileTimeOf(2026, 3, 9, 8, 30);
    EXPECT_EQ(session->SetReminder(TRUE, 12, &when), TRUE);
    EXPECT_EQ(session->SetReminder(FALSE, 0, &when), TRUE);
    const std::string time = Shown(DateOf(2026, 3, 9, 8, 30));
    EXPECT_THAT(calls.Take(), ElementsAre("ITask::put_ReminderSet(-1)", "ITask::put_ReminderOptions(12)",
                                          "ITask::put_ReminderTime(" + time + ")", "ITask::put_ReminderSet(0)",
                                          "ITask::put_ReminderOptions(0)", "ITask::put_ReminderTime(" + time + ")"));
}

TEST_F(Reminders, LessThanADayBeforeAnAppointmentBecomeNothing) {
    session->m_pAppt = appointment.Give();
    appointment->start = DateOf(2026, 3, 9, 10);
    const std::pair<FILETIME, LONG> rows[] = {{FileTimeOf(2026, 3, 9, 9), 0},
                                              {FileTimeOf(2026, 3, 8, 10, 1), 0},
                                              {FileTimeOf(2026, 3, 8, 10), 60000},
                                              {FileTimeOf(2026, 3, 6, 9), 180000},
                                              {FileTimeOf(2026, 3, 11, 10), -120000}};
    for (const auto& [time, expected] : rows) {
        EXPECT_EQ(session->SetReminder(TRUE, 5, &time), TRUE);
        EXPECT_EQ(appointment->reminderMinutesBeforeStart, expected);
    }
    const Texts made = calls.Take();
    EXPECT_THAT(Texts(made.begin(), made.begin() + 4),
                ElementsAre("IAppointment::get_Start", "IAppointment::put_ReminderSet(-1)",
                            "IAppointment::put_ReminderOptions(5)", "IAppointment::put_ReminderMinutesBeforeStart(0)"));
}

TEST_F(Reminders, CallsThatFailLeaveTheirPartOut) {
    session->m_pTask = task.Give();
    task->reminderSet = VARIANT_TRUE;
    task->reminderOptions = 12;
    task->reminderTime = DateOf(2026, 3, 9, 8, 30);
    calls.Fail("ITask::get_ReminderOptions", E_FAIL);
    EXPECT_EQ(Read(), TRUE);
    EXPECT_EQ(options, 7);
    calls.Fail("ITask::get_ReminderSet", E_FAIL);
    EXPECT_EQ(Read(), FALSE);
    calls.Fail("ITask::get_ReminderTime", E_FAIL);
    EXPECT_EQ(Read(), TRUE);
    const FILETIME none = FileTimeOf(1899, 12, 30);
    EXPECT_EQ(CompareFileTime(&when, &none), 0);
    for (const char* call : {"put_ReminderSet", "put_ReminderOptions", "put_ReminderTime"}) {
        calls.Take();
        calls.Fail(std::string("ITask::") + call, E_FAIL);
        EXPECT_EQ(session->SetReminder(TRUE, 12, &when), TRUE) << call;
        EXPECT_EQ(calls.Take("ITask::put").size(), 3u) << call;
    }
    session->ReleaseItems();

    session->m_pAppt = appointment.Give();
    appointment->start = DateOf(2026, 3, 9, 10);
    appointment->reminderMinutesBeforeStart = 60000;
    appointment->reminderSet = VARIANT_TRUE;
    calls.Fail("IAppointment::get_ReminderMinutesBeforeStart", E_FAIL);
    EXPECT_EQ(Read(), TRUE);
    const FILETIME start = FileTimeOf(2026, 3, 9, 10);
    EXPECT_EQ(CompareFileTime(&when, &start), 0);
    calls.Fail("IAppointment::get_ReminderSet", E_FAIL);
    EXPECT_EQ(Read(), FALSE);
    calls.Fail("IAppointment::get_ReminderOptions", E_FAIL);
    EXPECT_EQ(Read(), TRUE);
    calls.Fail("IAppointment::get_Start", E_FAIL);
    EXPECT_EQ(Read(), TRUE);
    const FILETIME dayBeforeNone = FileTimeOf(1899, 12, 29);
    EXPECT_EQ(CompareFileTime(&when, &dayBeforeNone), 0);
    for (const char* call : {"put_ReminderSet", "put_ReminderOptions", "put_ReminderMinutesBeforeStart"}) {
        calls.Take();
        calls.Fail(std::string("IAppointment::") + call, E_FAIL);
        EXPECT_EQ(session->SetReminder(TRUE, 5, &start), TRUE) << call;
        EXPECT_EQ(calls.Take("IAppointment::put").size(), 3u) << call;
    }
}

TEST_F(Reminders, ATimeThatIsNoneCountsFromTheFirstDay) {
    session->m_pTask = task.Give();
    when = {0xFFFFFFFF, 0xFFFFFFFF};
    EXPECT_EQ(session->SetReminder(TRUE, 12, &when), TRUE);
    EXPECT_EQ(task->reminderTime, 0.0);
    task->reminderTime = 1e10;
    when = {7, 7};
    Read();
    EXPECT_EQ(when.dwLowDateTime, 0u);
}

}  // namespace
}  // namespace kez::tests
