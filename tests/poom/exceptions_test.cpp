// Reading a recurrence, its exceptions as texts, and the exceptions that a text brings.
#include "poom/date_text.h"
#include "poom/serialization_string.h"
#include "tests/poom/bridge_fixture.h"
#include "tests/support/failing_new.h"

namespace kez::tests {
namespace {

class Recurrence : public Bridge {
 protected:
    Recurrence() {
        pattern->exceptions = exceptions.Get();
        pattern->recurrenceType = olRecursWeekly;
        pattern->patternStartDate = 46083.0;
        pattern->startTime = 0.375;
        pattern->endTime = 0.5;
        pattern->patternEndDate = 46100.0;
        pattern->occurrences = 3;
        pattern->interval = 2;
        pattern->dayOfWeekMask = 10;
        pattern->dayOfMonth = 11;
        pattern->instance = 12;
        pattern->duration = 180;
        pattern->monthOfYear = 13;
    }
    ~Recurrence() override {
        session.reset();
        for (RecordingException* each : made) each->Release();
        for (RecordingAppointment* each : occurrences) each->Release();
        SysFreeString(list);
        SysFreeString(modified);
    }
    void LoadAppointment() {
        session->m_pAppt = appointment.Give();
        session->m_pRec = pattern.Give();
    }
    RecordingAppointment* Occurrence(const std::u16string& subject) {
        auto* occurrence = new RecordingAppointment(calls);
        occurrence->subject = subject;
        occurrence->location = u"here";
        occurrence->start = 46090.5;
        occurrence->duration = 45;
        occurrence->allDayEvent = VARIANT_TRUE;
        occurrence->sensitivity = 2;
        occurrence->reminderSet = VARIANT_FALSE;
        occurrence->reminderOptions = 12;
        occurrence->body = u"a note";
        occurrence->categories = u"Work, Home";
        occurrence->busyStatus = 3;
        occurrence->recipients = recipients.Get();
        occurrence->deleteNote = std::string(subject.begin(), subject.end());
        occurrences.push_back(occurrence);
        return occurrence;
    }
    void AddException(DATE originalDate, RecordingAppointment* occurrence) {
        auto* exception = new RecordingException(calls);
        exception->originalDate = originalDate;
        exception->occurrence = occurrence;
        exception->deleted = occurrence != nullptr ? VARIANT_FALSE : VARIANT_TRUE;
        made.push_back(exception);
        exceptions->list.push_back(exception);
    }
    BOOL ReadExceptions() { return session->GetRecExceptionLst(&list, &modified); }
    std::u16string List() const { return list != nullptr ? list : u""; }
    std::u16string Modified() const { return modified != nullptr ? modified : u""; }

    Owned<RecordingExceptions> exceptions{calls};
    Owned<RecordingRecipients> recipients{calls};
    std::vector<RecordingException*> made;
    std::vector<RecordingAppointment*> occurrences;
    BSTR list = nullptr;
    BSTR modified = nullptr;
};

std::u16string Serialised(const std::u16string& subject, const std::u16string& recipients = u"") {
    return subject + u"~^!^~here~^!^~2026-03-09 12:00:00~^!^~45~^!^~1~^!^~2~^!^~0~^!^~12~^!^~a note~^!^~Work, Home" +
           u"~^!^~" + recipients + u"~^!^~3~^!^~";
}

// --- The snapshot ------------------------------------------------------------------------------------------------

TEST_F(Recurrence, ReadsEveryFieldOfThePattern) {
    LoadAppointment();
    appointment->recurring = VARIANT_TRUE;
    EXPECT_EQ(session->GetRecurring(), TRUE);
    const RecurrenceState& state = session->m_recurrence;
    EXPECT_EQ(state.bRecurrFound, TRUE);
    EXPECT_EQ(state.Duration, 180);
    EXPECT_EQ(state.Occurences, 3);
    EXPECT_EQ(state.RecurrenceType, 1);
    EXPECT_EQ(state.DayOfMonth, 11);
    EXPECT_EQ(state.DayOfWeekMask, 10);
    EXPECT_EQ(state.Instance, 12);
    EXPECT_EQ(state.Interval, 2);
    EXPECT_EQ(state.MonthOfYear, 13);
    EXPECT_EQ(state.bNoEndDate, FALSE);
    EXPECT_EQ(state.RecurrenceStartDate, 0.375);
    EXPECT_EQ(state.PatternStartDate, 46083.0);
    EXPECT_EQ(state.RecurrenceEndDate, 0.5);
    EXPECT_EQ(state.PatternEndDate, 46100.0);
    EXPECT_THAT(calls.Take("IRecurrencePattern"),
                ElementsAre("IRecurrencePattern::get_Duration", "IRecurrencePattern::get_Occurrences",
                            "IRecurrencePattern::get_RecurrenceType", "IRecurrencePattern::get_DayOfMonth",
                            "IRecurrencePattern::get_DayOfWeekMask", "IRecurrencePattern::get_Instance",
                            "IRecurrencePattern::get_Interval", "IRecurrencePattern::get_MonthOfYear",
                            "IRecurrencePattern::get_NoEndDate", "IRecurrencePattern::get_StartTime",
                            "IRecurrencePattern::get_PatternStartDate", "IRecurrencePattern::get_EndTime",
                            "IRecurrencePattern::get_PatternEndDate", "IRecurrencePattern::get_Exceptions"));
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{50, " CCEPoom::GetRecurring +"}, TraceLine{50, " CCEPoom::GetRecExceptionLst +"},
                            TraceLine{25, " CCEPoom::GetRecExceptionLst Result:  (null)"},
                            TraceLine{50, " CCEPoom::GetRecExceptionLst -"},
                            TraceLine{0, "CEPoom::GetRecurring::bRecurrFound\t\t=1"},
                            TraceLine{0, "CEPoom::GetRecurring::Duration\t\t\t\t=180"},
                            TraceLine{0, "CEPoom::GetRecurring::Occurences\t\t\t=3"},
                            TraceLine{0, "CEPoom::GetRecurring::RecurrenceType\t=1"},
                            TraceLine{0, "CEPoom::GetRecurring::DayOfMonth\t\t\t=11"},
                            TraceLine{0, "CEPoom::GetRecurring::DayOfWeekMask\t=10"},
                            TraceLine{0, "CEPoom::GetRecurring::Instance\t\t\t\t=12"},
                            TraceLine{0, "CEPoom::GetRecurring::Interval\t\t\t\t=2"},
                            TraceLine{0, "CEPoom::GetRecurring::MonthOfYear\t\t=13"},
                            TraceLine{0, "CEPoom::GetRecurring::bNoEndDate\t\t\t=0"},
                            TraceLine{0, "CEPoom::GetRecurring::RecurrenceStartDate=0.375000"},
                            TraceLine{0, "CEPoom::GetRecurring::PatternStartDate\t\t=46083.000000"},
                            TraceLine{0, "CEPoom::GetRecurring::RecurrenceEndDate\t=0.500000"},
                            TraceLine{0, "CEPoom::GetRecurring::PatternEndDate\t\t\t=46100.000000"},
                            TraceLine{0, "CEPoom::GetRecurring::Exception List\t\t\t=(null)"},
                            TraceLine{0, "CEPoom::GetRecurring::Exception Mod List =(null)"},
                            TraceLine{50, " CCEPoom::GetRecurring -"}));
}

TEST_F(Recurrence, AGetterThatFailsLeavesItsFieldAtZero) {
    const std::pair<const char*, LONG RecurrenceState::*> numbers[] = {
        {"get_Duration", &RecurrenceState::Duration},     {"get_Occurrences", &RecurrenceState::Occurences},
        {"get_Interval", &RecurrenceState::Interval},     {"get_RecurrenceType", &RecurrenceState::RecurrenceType},
        {"get_DayOfMonth", &RecurrenceState::DayOfMonth}, {"get_DayOfWeekMask", &RecurrenceState::DayOfWeekMask},
        {"get_Instance", &RecurrenceState::Instance},     {"get_MonthOfYear", &RecurrenceState::MonthOfYear}};
    for (const auto& [call, member] : numbers) {
        LoadAppointment();
        calls.Fail(std::string("IRecurrencePattern::") + call, E_FAIL);
        EXPECT_EQ(session->GetRecurring(), TRUE);
        EXPECT_EQ(session->m_recurrence.*member, 0) << call;
        session->ReleaseItems();
    }
    const std::pair<const char*, DATE RecurrenceState::*> dates[] = {
        {"get_StartTime", &RecurrenceState::RecurrenceStartDate},
        {"get_EndTime", &RecurrenceState::RecurrenceEndDate},
        {"get_PatternStartDate", &RecurrenceState::PatternStartDate},
        {"get_PatternEndDate", &RecurrenceState::PatternEndDate}};
    for (const auto& [call, member] : dates) {
        LoadAppointment();
        calls.Fail(std::string("IRecurrencePattern::") + call, E_FAIL);
        EXPECT_EQ(session->GetRecurring(), TRUE);
        EXPECT_EQ(session->m_recurrence.*member, 0.0) << call;
        session->ReleaseItems();
    }
    LoadAppointment();
    pattern->noEndDate = VARIANT_TRUE;
    calls.Fail("IRecurrencePattern::get_NoEndDate", E_FAIL);
    appointment->recurring = VARIANT_TRUE;
    calls.Fail("IAppointment::get_IsRecurring", E_FAIL);
    session->GetRecurring();
    EXPECT_EQ(session->m_recurrence.bNoEndDate, FALSE);
    EXPECT_EQ(session->m_recurrence.bRecurrFound, FALSE);
}

TEST_F(Recurrence, ATaskIsReadTheSameWay) {
    session->m_pTask = task.Give();
    session->m_pRec = pattern.Give();
    task->recurring = VARIANT_TRUE;
    EXPECT_EQ(session->GetRecurring(), TRUE);
    EXPECT_EQ(session->m_recurrence.bRecurrFound, TRUE);
}

TEST_F(Recurrence, OnlyTheAutomationTrueIsRecurringAndEndless) {
    LoadAppointment();
    appointment->recurring = 1;
    pattern->noEndDate = 1;
    session->GetRecurring();
    EXPECT_EQ(session->m_recurrence.bRecurrFound, FALSE);
    EXPECT_EQ(session->m_recurrence.bNoEndDate, FALSE);
}

TEST_F(Recurrence, AMissingPatternIsFetched) {
    session->m_pAppt = appointment.Give();
    appointment->pattern = pattern.Get();
    EXPECT_EQ(session->GetRecurring(), TRUE);
    EXPECT_EQ(session->m_pRec, pattern.Get());
    session->ReleaseItems();
    session->m_pTask = task.Give();
    task->pattern = pattern.Get();
    EXPECT_EQ(session->GetRecurring(), TRUE);
    EXPECT_EQ(session->m_pRec, pattern.Get());
}

TEST_F(Recurrence, WithoutPatternItSucceedsWithNothingFound) {
    session->m_pAppt = appointment.Give();
    session->m_recurrence.bRecurrFound = TRUE;
    EXPECT_EQ(session->GetRecurring(), TRUE);
    EXPECT_EQ(session->m_recurrence.bRecurrFound, FALSE);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{50, " CCEPoom::GetRecurring +"},
                                          TraceLine{0, " CCEPoom::GetRecurring::m_pRec==NULL"},
                                          TraceLine{50, " CCEPoom::GetRecurring -"}));
}

TEST_F(Recurrence, WithoutAppointmentAndTaskThereIsNone) {
    session->m_pContact = contact.Give();
    EXPECT_EQ(session->GetRecurring(), FALSE);
    EXPECT_THAT(TakeTraceTexts(), ElementsAre(" CCEPoom::GetRecurring +", " CCEPoom::GetRecurring -"));
}

TEST_F(Recurrence, TheTextsShowTheirFirstCharacterInTheTrace) {
    AddException(46090.375, Occurrence(u"Moved"));
    LoadAppointment();
    session->GetRecurring();
    EXPECT_EQ(std::u16string(session->m_bstrExcList), u"2026-03-09 09:00:00\t");
    EXPECT_EQ(std::u16string(session->m_bstrExcModList), Serialised(u"Moved"));
    const Texts traces = TakeTraceTexts("CEPoom::GetRecurring::Exc");
    EXPECT_THAT(traces, ElementsAre("CEPoom::GetRecurring::Exception List\t\t\t=2",
                                    "CEPoom::GetRecurring::Exception Mod List =M"));
}

TEST_F(Recurrence, ASecondReadingReplacesTheTexts) {
    AddException(46090.375, Occurrence(u"Moved"));
    LoadAppointment();
    session->GetRecurring();
    exceptions->list.clear();
    session->GetRecurring();
    EXPECT_EQ(session->m_bstrExcList, nullptr);
    EXPECT_EQ(session->m_bstrExcModList, nullptr);
}

// --- The exception list ------------------------------------------------------------------------------------------

TEST_F(Recurrence, OneDeletedAndTwoModifiedExceptionsMakeTheTexts) {
    AddException(46083.375, Occurrence(u"First"));
    AddException(46090.375, nullptr);
    AddException(46097.375, Occurrence(u"Third"));
    LoadAppointment();
    EXPECT_EQ(ReadExceptions(), TRUE);
    EXPECT_EQ(List(), u"2026-03-02 09:00:00\t2026-03-09 09:00:00\t2026-03-16 09:00:00\t");
    EXPECT_EQ(SysStringLen(list), 3u * 21 + 1);
    EXPECT_EQ(Modified(), Serialised(u"First") + Serialised(u"Third"));
    EXPECT_THAT(calls.Take("IAppointment::Delete"),
                ElementsAre("IAppointment::Delete(First)", "IAppointment::Delete(Third)"));
}

TEST_F(Recurrence, ReadingExceptionsTracesItsWay) {
    AddException(46090.375, nullptr);
    AddException(46097.375, Occurrence(u"Third"));
    LoadAppointment();
    ReadExceptions();
    Lines traces = TakeTraces();
    traces.erase(
        std::remove_if(traces.begin(), traces.end(),
                       [](const TraceLine& line) { return line.text.find("GetRecipients") != std::string::npos; }),
        traces.end());
    EXPECT_THAT(
        traces,
        ElementsAre(TraceLine{50, " CCEPoom::GetRecExceptionLst +"},
                    TraceLine{25, " CCEPoom::GetRecExceptionLst Exceptions exist."},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst Count:  2"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst Got nth Item:  1"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst GetAppointment():  0x80004005"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst Appointment Original Date:  46090.375000"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst 1 Item is deleted."},
                    TraceLine{25, " CCEPoom::GetRecExceptionLst Exception:  2026-03-09 09:00:00"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst Got nth Item:  2"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst GetAppointment():  0x0"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst Appointment Original Date:  46097.375000"},
                    TraceLine{25, "CCEPoom::GetRecExceptionLst 2 Item is modified."},
                    TraceLine{25, "GetRecExceptionLst get_AppointmentItem result:  0x0"},
                    TraceLine{50, "CCEPoom::SerializeApptItem   +"},
                    TraceLine{25,
                              "SerializeApptItem result:   Third~^!^~here~^!^~2026-03-09 12:00:00~^!^~45~^!^~1~^!^~"
                              "2~^!^~0~^!^~12~^!^~a note~^!^~Work, Home~^!^~~^!^~3~^!^~"},
                    TraceLine{50, "CCEPoom::SerializeApptItem   -"},
                    TraceLine{25, "SerializeApptItem Delete result:  0x0"},
                    TraceLine{25, " CCEPoom::GetRecExceptionLst Exception:  2026-03-16 09:00:00"},
                    TraceLine{25, " CCEPoom::GetRecExceptionLst Result:  2026-03-09 09:00:00\t2026-03-16 09:00:00\t"},
                    TraceLine{50, " CCEPoom::GetRecExceptionLst -"}));
}

TEST_F(Recurrence, AnExceptionWithoutDateIsNeitherListedNorSerialised) {
    AddException(0.0, Occurrence(u"Nowhere"));
    AddException(46090.375, nullptr);
    LoadAppointment();
    EXPECT_EQ(ReadExceptions(), TRUE);
    EXPECT_EQ(List(), u"2026-03-09 09:00:00\t");
    EXPECT_EQ(Modified(), u"");
    EXPECT_THAT(calls.Take("IAppointment::Delete"), IsEmpty());
}

TEST_F(Recurrence, AnOccurrenceThatCannotBeSerialisedStaysAndIsListed) {
    AddException(46090.375, Occurrence(u"Stays"));
    LoadAppointment();
    calls.Fail("IAppointment::get_BusyStatus", E_FAIL);
    ReadExceptions();
    EXPECT_EQ(List(), u"2026-03-09 09:00:00\t");
    EXPECT_EQ(Modified(), u"");
    EXPECT_THAT(calls.Take("IAppointment::Delete"), IsEmpty());
    Lines failures;
    for (const TraceLine& line : TakeTraces()) {
        if (line.text.find("FAILED") != std::string::npos) failures.push_back(line);
    }
    EXPECT_THAT(failures, ElementsAre(TraceLine{0, "SerializeApptItem FAILED no record will be sent to ActiveSync."}));
}

TEST_F(Recurrence, AnOccurrenceThatCannotBeHadIsListed) {
    AddException(46090.375, Occurrence(u"Hidden"));
    LoadAppointment();
    calls.Fail("IException::get_AppointmentItem", E_FAIL, 2);
    ReadExceptions();
    EXPECT_EQ(List(), u"2026-03-09 09:00:00\t");
    EXPECT_THAT(TakeTraceTexts("CCEPoom::SerializeApptItem"),
                ElementsAre("CCEPoom::SerializeApptItem   +", "CCEPoom::SerializeApptItem  Failed"));
}

TEST_F(Recurrence, AnOccurrenceThatCannotBeDeletedTravelsAllTheSame) {
    AddException(46090.375, Occurrence(u"Stuck"));
    LoadAppointment();
    calls.Fail("IAppointment::Delete", E_ACCESSDENIED);
    ReadExceptions();
    EXPECT_EQ(Modified(), Serialised(u"Stuck"));
    EXPECT_THAT(TakeTraceTexts("SerializeApptItem Delete"),
                ElementsAre("SerializeApptItem Delete result:  0x80070005"));
}

TEST_F(Recurrence, AnOccurrenceIsNotDeletedWithoutMemoryForItsText) {
    // Each allocation of an automation string of this reading fails in turn; the occurrence leaves only with its text.
    for (std::uint32_t nth = 1; nth <= 12; ++nth) {
        AddException(46090.375, Occurrence(u"Kept"));
        LoadAppointment();
        calls.Take();
        control::PlanFault({"SysAllocStringLen", nth, 1, 0});
        ReadExceptions();
        control::ClearFaults();
        EXPECT_EQ(!calls.Take("IAppointment::Delete").empty(), !Modified().empty()) << "allocation " << nth;
        session->ReleaseItems();
        exceptions->list.clear();
        SysFreeString(list);
        SysFreeString(modified);
        list = modified = nullptr;
    }
    for (std::uint32_t nth = 1; nth <= 8; ++nth) {
        AddException(46090.375, Occurrence(u"Kept"));
        LoadAppointment();
        calls.Take();
        FailNothrowNew(nth);
        ReadExceptions();
        FailNothrowNew(0);
        EXPECT_EQ(!calls.Take("IAppointment::Delete").empty(), !Modified().empty()) << "allocation " << nth;
        session->ReleaseItems();
        exceptions->list.clear();
        SysFreeString(list);
        SysFreeString(modified);
        list = modified = nullptr;
    }
}

TEST_F(Recurrence, CallsThatFailLeaveTheirExceptionOut) {
    AddException(46083.375, nullptr);
    AddException(46090.375, nullptr);
    LoadAppointment();
    calls.Fail("IExceptions::Item", E_FAIL);
    ReadExceptions();
    EXPECT_EQ(List(), u"2026-03-09 09:00:00\t");
    calls.Fail("IException::get_OriginalDate", E_FAIL);
    ReadExceptions();
    EXPECT_EQ(List(), u"2026-03-09 09:00:00\t");
    calls.Fail("IException::get_Deleted", E_FAIL);
    ReadExceptions();
    EXPECT_EQ(List(), u"2026-03-02 09:00:00\t2026-03-09 09:00:00\t");
}

TEST_F(Recurrence, WithoutCollectionOrPatternThereIsNoList) {
    AddException(46083.375, nullptr);
    LoadAppointment();
    calls.Fail("IRecurrencePattern::get_Exceptions", E_FAIL);
    EXPECT_EQ(ReadExceptions(), FALSE);
    EXPECT_EQ(list, nullptr);
    calls.Fail("IExceptions::get_Count", E_FAIL);
    ReadExceptions();
    EXPECT_EQ(list, nullptr);
    session->ReleaseItems();
    EXPECT_EQ(ReadExceptions(), FALSE);
    EXPECT_EQ(list, nullptr);
}

// --- One occurrence ----------------------------------------------------------------------------------------------

class Serialising : public Recurrence {
 protected:
    std::u16string Serialise(RecordingAppointment* occurrence) {
        BSTR text = nullptr;
        result = session->SerializeApptItem(occurrence, &text);
        const std::u16string taken = text != nullptr ? std::u16string(text, SysStringLen(text)) : u"";
        SysFreeString(text);
        return taken;
    }
    BOOL result = FALSE;
};

std::size_t Separators(const std::u16string& text) {
    std::size_t count = 0;
    for (std::size_t at = text.find(u"~^!^~"); at != std::u16string::npos; at = text.find(u"~^!^~", at + 5)) ++count;
    return count;
}

TEST_F(Serialising, TwelveFieldsEachEndInASeparator) {
    recipients->Fill({{u"Ann", u"a@x"}, {u"Bob", u"b@x"}});
    EXPECT_EQ(Serialise(Occurrence(u"Talk")), Serialised(u"Talk", u"Ann;a@x;Bob;b@x"));
    EXPECT_EQ(result, TRUE);
    EXPECT_THAT(
        calls.Take("IAppointment::get"),
        ElementsAre("IAppointment::get_Subject", "IAppointment::get_Location", "IAppointment::get_Start",
                    "IAppointment::get_Duration", "IAppointment::get_AllDayEvent", "IAppointment::get_Sensitivity",
                    "IAppointment::get_ReminderSet", "IAppointment::get_ReminderOptions", "IAppointment::get_Body",
                    "IAppointment::get_Categories", "IAppointment::get_Recipients", "IAppointment::get_BusyStatus"));
}

TEST_F(Serialising, TheRecipientsAreTheOccurrencesOwn) {
    Owned<RecordingRecipients> others(calls);
    others->Fill({{u"Cid", u"c@x"}});
    appointment->recipients = others.Get();
    session->m_pAppt = appointment.Give();
    recipients->Fill({{u"Ann", u"a@x"}});
    EXPECT_EQ(Serialise(Occurrence(u"Talk")), Serialised(u"Talk", u"Ann;a@x"));
    EXPECT_EQ(session->m_pAppt, appointment.Get());
}

TEST_F(Serialising, FieldsWithoutValueKeepTheirSeparators) {
    auto* empty = Occurrence(u"");
    empty->location = empty->body = empty->categories = u"";
    empty->recipients = nullptr;
    EXPECT_EQ(Serialise(empty),
              u"~^!^~~^!^~2026-03-09 12:00:00~^!^~45~^!^~1~^!^~2~^!^~0~^!^~12~^!^~~^!^~~^!^~~^!^~3~^!^~");
    for (const char* call :
         {"get_Subject", "get_Location", "get_Start", "get_Duration", "get_AllDayEvent", "get_Sensitivity",
          "get_ReminderSet", "get_ReminderOptions", "get_Body", "get_Categories", "get_Recipients"}) {
        calls.Fail(std::string("IAppointment::") + call, E_FAIL);
        EXPECT_EQ(Separators(Serialise(Occurrence(u"Talk"))), 12u) << call;
        EXPECT_EQ(result, TRUE) << "only the last read decides";
    }
}

TEST_F(Serialising, OnlyTheLastReadDecides) {
    calls.Fail("IAppointment::get_BusyStatus", E_FAIL);
    EXPECT_EQ(Separators(Serialise(Occurrence(u"Talk"))), 12u);
    EXPECT_EQ(result, FALSE);
}

TEST_F(Serialising, NoAppointmentFails) {
    EXPECT_EQ(Serialise(nullptr), u"");
    EXPECT_EQ(result, FALSE);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{50, "CCEPoom::SerializeApptItem   +"},
                                          TraceLine{0, "CCEPoom::SerializeApptItem  Failed"}));
}

TEST_F(Serialising, TextsAreNarrowedAndSignExtended) {
    const std::pair<const char16_t*, const char16_t*> rows[] = {
        {u"caf\u00E9", u"caf\uFFE9"},  // a byte above 0x7F comes back as a negative character
        {u"a\u0100b", u"a"},           // a low byte of 0 ends the text
        {u"\u20AC5", u"\uFFAC5"},      // what does not fit loses its high byte
        {u"\U0001F600", u"="},         // U+D83D and U+DE00: the second ends the text
        {u"x\xD83D", u"x="},           // half a pair is a character like any other
        {u"a~^!^~b", u"a~^!^~b"},      // a separator inside is not protected
        {u"tab\tsemi;colon", u"tab\tsemi;colon"},
    };
    for (const auto& [subject, expected] : rows) {
        EXPECT_EQ(Serialise(Occurrence(subject)), Serialised(expected)) << "as the subject";
    }
}

// --- The serialisation string ------------------------------------------------------------------------------------

TEST(SerialisationText, EveryByteComesBackSignExtended) {
    std::u16string all;
    for (char16_t character = 1; character < 256; ++character) all += character;
    SerializationString text;
    text.Append(all.c_str());
    EXPECT_EQ(text.Length(), 255u);
    BSTR wide = text.ToAutomationString();
    ASSERT_EQ(SysStringLen(wide), 255u);
    for (UINT i = 0; i < 255; ++i) EXPECT_EQ(wide[i], i < 127 ? i + 1 : 0xFF00 + i + 1);
    SysFreeString(wide);
}

TEST(SerialisationText, GrowsPieceByPiece) {
    SerializationString text("ab");
    EXPECT_STREQ(text.Text(), "ab");
    std::string expected = "ab";
    for (int i = 0; i < 100; ++i) {
        text.Append(TEXT("0123456789"));
        text.Append("x");
        text.Append(SerializationString("yz"));
        expected += "0123456789xyz";
    }
    EXPECT_EQ(text.Text(), expected);
    EXPECT_EQ(text.Length(), expected.size());
    text.Append(static_cast<LPCWSTR>(nullptr));
    EXPECT_EQ(text.Length(), expected.size());
}

TEST(SerialisationText, NothingIsAnEmptyText) {
    const SerializationString text;
    EXPECT_STREQ(text.Text(), "");
    BSTR wide = text.ToAutomationString();
    EXPECT_NE(wide, nullptr);
    EXPECT_EQ(SysStringLen(wide), 0u);
    SysFreeString(wide);
}

TEST(SerialisationText, KnowsThatMemoryRanOut) {
    SerializationString text("ab");
    FailNothrowNew(1);
    text.Append("a text that needs more room");
    FailNothrowNew(0);
    EXPECT_TRUE(text.Broken());
    text.Append("more");
    EXPECT_STREQ(text.Text(), "ab");
}

// --- The received list -------------------------------------------------------------------------------------------

class ReceivedList : public Recurrence {
 protected:
    BOOL Apply(std::u16string text) {
        LoadAppointment();
        calls.Take();
        const std::u16string before = text;
        const CEPROPVAL property = TextProperty(0xAFFF001F, text.data());
        const BOOL applied = session->SetRecExceptionLst(text.data(), &property);
        EXPECT_EQ(text, before) << "the packet's text is left as it was";
        session->ReleaseItems();
        return applied;
    }
};

TEST_F(ReceivedList, ListedOccurrencesAreDeleted) {
    pattern->days[DateOf(2026, 3, 9, 9)] = Occurrence(u"one");
    pattern->days[DateOf(2026, 3, 16, 9)] = Occurrence(u"two");
    EXPECT_EQ(Apply(u"2026-03-09 09:00:00\t2026-03-16 09:00:00\t"), TRUE);
    EXPECT_THAT(calls.Take(), ElementsAre("IRecurrencePattern::get_Exceptions", "IExceptions::get_Count",
                                          "IRecurrencePattern::GetOccurrence(46090.375)", "IAppointment::Delete(one)",
                                          "IRecurrencePattern::GetOccurrence(46097.375)", "IAppointment::Delete(two)"));
    Lines traces = TakeTraces();
    traces.resize(traces.size() - 2);  // ReleaseItems
    EXPECT_THAT(traces,
                ElementsAre(TraceLine{50, " CCEPoom::SetRecExceptionLst +"},
                            TraceLine{25,
                                      " CCEPoom::SetRecExceptionLst Exception list:  2026-03-09 09:00:00\t2026-03-16 "
                                      "09:00:00\t"},
                            TraceLine{25, " CCEPoom::SetRecExceptionLst Next Token:  2026-03-09 09:00:00"},
                            TraceLine{25, "CCEPoom::SetRecExceptionLst GetOccurance:  46090.375000"},
                            TraceLine{25, "CCEPoom::SetRecExceptionLst About to Delete Appt"},
                            TraceLine{25, " CCEPoom::SetRecExceptionLst Next Token:  2026-03-16 09:00:00"},
                            TraceLine{25, "CCEPoom::SetRecExceptionLst GetOccurance:  46097.375000"},
                            TraceLine{25, "CCEPoom::SetRecExceptionLst About to Delete Appt"},
                            TraceLine{50, " CCEPoom::SetRecExceptionLst -"}));
}

TEST_F(ReceivedList, TokensThatAreNoDatesAreSkippedSilently) {
    pattern->days[DateOf(2026, 3, 9, 9)] = Occurrence(u"one");
    EXPECT_EQ(Apply(u"2008-3-01 10:00:00\tx\t\t\t2026-03-09 09:00:00"), TRUE);
    EXPECT_THAT(calls.Take("IRecurrencePattern::GetOcc"), ElementsAre("IRecurrencePattern::GetOccurrence(46090.375)"));
    EXPECT_THAT(TakeTraceTexts(" CCEPoom::SetRecExceptionLst Next"),
                ElementsAre(" CCEPoom::SetRecExceptionLst Next Token:  2008-3-01 10:00:00",
                            " CCEPoom::SetRecExceptionLst Next Token:  x",
                            " CCEPoom::SetRecExceptionLst Next Token:  2026-03-09 09:00:00"));
}

TEST_F(ReceivedList, OccurrencesThatCannotBeFoundAreTracedAndPassedOver) {
    pattern->days[DateOf(2026, 3, 16, 9)] = Occurrence(u"two");
    EXPECT_EQ(Apply(u"2026-03-09 09:00:00\t2026-03-16 09:00:00\t"), TRUE);
    EXPECT_THAT(calls.Take("IAppointment"), ElementsAre("IAppointment::Delete(two)"));
    Lines failures;
    for (const TraceLine& line : TakeTraces()) {
        if (line.text.find("failed") != std::string::npos) failures.push_back(line);
    }
    EXPECT_THAT(failures, ElementsAre(TraceLine{0, "CCEPoom::SetRecExceptionLst failed to retrieve occurence"}));
}

TEST_F(ReceivedList, ADateThatIsNoneIsLookedForAllTheSame) {
    EXPECT_EQ(Apply(u"2026-13-40 99:99:99\t"), TRUE);
    EXPECT_THAT(calls.Take("IRecurrencePattern::GetOcc"), ElementsAre("IRecurrencePattern::GetOccurrence(0)"));
}

TEST_F(ReceivedList, WithoutPatternOrTextNothingHappens) {
    WCHAR text[] = TEXT("2026-03-09 09:00:00\t");
    EXPECT_EQ(session->SetRecExceptionLst(text, nullptr), FALSE);
    LoadAppointment();
    EXPECT_EQ(session->SetRecExceptionLst(nullptr, nullptr), FALSE);
    EXPECT_THAT(calls.Take(), IsEmpty());
    EXPECT_THAT(TakeTraceTexts(),
                ElementsAre(" CCEPoom::SetRecExceptionLst +",
                            " CCEPoom::SetRecExceptionLst Exception list:  2026-03-09 09:00:00\t",
                            " CCEPoom::SetRecExceptionLst -", " CCEPoom::SetRecExceptionLst +",
                            " CCEPoom::SetRecExceptionLst Exception list:  (null)", " CCEPoom::SetRecExceptionLst -"));
}

TEST_F(ReceivedList, WithoutTheCollectionNothingIsDeleted) {
    for (const char* call : {"IRecurrencePattern::get_Exceptions", "IExceptions::get_Count"}) {
        calls.Fail(call, E_FAIL);
        EXPECT_EQ(Apply(u"2026-03-09 09:00:00\t"), FALSE);
        EXPECT_THAT(calls.Take("IRecurrencePattern::GetOcc"), IsEmpty());
    }
}

// --- Dates as text -----------------------------------------------------------------------------------------------

TEST(DateTexts, AreWrittenWithLeadingZeros) {
    EXPECT_EQ(std::u16string(FormatDate(DateOf(2026, 3, 9, 9, 5)).text), u"2026-03-09 09:05:00");
    EXPECT_EQ(std::u16string(FormatDate(0.0).text), u"1899-12-30 00:00:00");
    EXPECT_EQ(std::u16string(FormatDate(1e10).text), u"0000-00-00 00:00:00");
    EXPECT_EQ(std::u16string(FormatDate(2958465.9999999).text), u"10000-01-01 00:00:00");
}

TEST(DateTexts, AreReadFieldByField) {
    WCHAR text[] = TEXT("2026-03-09 08:07:06");
    SYSTEMTIME parts = {};
    parts.wDayOfWeek = 5;
    parts.wMilliseconds = 99;
    EXPECT_TRUE(ParseDate(text, &parts));
    EXPECT_EQ(parts.wYear, 2026);
    EXPECT_EQ(parts.wMonth, 3);
    EXPECT_EQ(parts.wDay, 9);
    EXPECT_EQ(parts.wHour, 8);
    EXPECT_EQ(parts.wMinute, 7);
    EXPECT_EQ(parts.wSecond, 6);
    EXPECT_EQ(parts.wDayOfWeek, 5);
    EXPECT_EQ(parts.wMilliseconds, 99);
    EXPECT_EQ(std::u16string(text), u"2026-03-09 08:07:06");
}

TEST(DateTexts, NeedTheirSeparatorsInPlace) {
    for (const char16_t* text : {u"", u"2008-3-01 10:00:00", u"2026/03/09 08:07:06", u"2026-03-09T08:07:06",
                                 u"2026-03-09 08.07:06", u"2026-03-09 08:07.06", u"2026-03-09 08:07"}) {
        std::u16string token = text;
        SYSTEMTIME parts = {};
        parts.wYear = 77;
        EXPECT_FALSE(ParseDate(token.data(), &parts)) << std::string(token.begin(), token.end());
        EXPECT_EQ(parts.wYear, 77);
    }
}

TEST(DateTexts, FieldsThatAreNoNumbersAreZero) {
    std::u16string token = u"year-mm-dd hh:mm:";
    SYSTEMTIME parts = {};
    EXPECT_TRUE(ParseDate(token.data(), &parts));
    EXPECT_EQ(parts.wYear, 0);
    EXPECT_EQ(parts.wSecond, 0);
}

}  // namespace
}  // namespace kez::tests
