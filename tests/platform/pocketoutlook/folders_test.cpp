// What the three folders have in common: one number space, each folder's order, and series counted out by occurrence.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/pocketoutlook/outlook_session.h"

namespace kez::tests {
namespace {

using testing::ElementsAre;

template <class Item>
Ref<Item> New(Outlook& outlook, INT type) {
    IDispatch* item = nullptr;
    outlook.App()->CreateItem(type, &item);
    return Ref<Item>::Attach(static_cast<Item*>(item));
}

CEOID AddAppointment(Outlook& outlook, const char16_t* subject, DATE start) {
    const auto appointment = New<IAppointment>(outlook, olAppointmentItem);
    PutText(appointment, &IAppointment::put_Subject, subject);
    appointment->put_Start(start);
    return appointment->Save() == S_OK ? OidOf(appointment) : 0;
}

CEOID AddTask(Outlook& outlook, const char16_t* subject) {
    const auto task = New<ITask>(outlook, olTaskItem);
    PutText(task, &ITask::put_Subject, subject);
    return task->Save() == S_OK ? OidOf(task) : 0;
}

Ref<IAppointment> AppointmentAt(const Ref<IPOutlookItemCollection>& items, INT index) {
    IDispatch* item = nullptr;
    items->Item(index, &item);
    return Ref<IAppointment>::Attach(static_cast<IAppointment*>(item));
}

DATE StartOf(const Ref<IAppointment>& appointment) {
    DATE start = 0;
    if (appointment) appointment->get_Start(&start);
    return start;
}

std::vector<CEOID> OidsIn(const Ref<IPOutlookItemCollection>& items) {
    std::vector<CEOID> oids;
    for (INT i = 1; i <= CountOf(items); i++) {
        IDispatch* entry = nullptr;
        items->Item(i, &entry);
        const auto dispatch = Ref<IDispatch>::Attach(entry);
        oids.push_back(OidOf(Query<IItem>(dispatch, IID_IItem)));
    }
    return oids;
}

TEST(OutlookFolders, ItemsOfAllTypesShareOneNumberSpace) {
    Outlook outlook;
    const CEOID contact = outlook.AddContact(u"Ann");
    const CEOID task = AddTask(outlook, u"Water the flowers");
    const CEOID appointment = AddAppointment(outlook, u"Lunch", DateOf(2026, 3, 2, 12));
    EXPECT_LT(contact, task);
    EXPECT_LT(task, appointment);
    for (const auto& [oid, id] :
         {std::pair{contact, IID_IContact}, {task, IID_ITask}, {appointment, IID_IAppointment}}) {
        Ref<IItem> item;
        ASSERT_EQ(outlook.App()->GetItemFromOidEx(oid, 0, item.Out()), S_OK);
        EXPECT_TRUE(Query<IUnknown>(item, id));
    }
    EXPECT_THAT(OidsIn(outlook.Items(olFolderContacts)), ElementsAre(contact));
    EXPECT_THAT(OidsIn(outlook.Items(olFolderTasks)), ElementsAre(task));
    EXPECT_THAT(OidsIn(outlook.Items(olFolderCalendar)), ElementsAre(appointment));
}

TEST(OutlookFolders, AppointmentsComeByStartThenOidAndTasksByOid) {
    Outlook outlook;
    const CEOID late = AddAppointment(outlook, u"Late", DateOf(2026, 5, 1, 9));
    const CEOID early = AddAppointment(outlook, u"Early", DateOf(2026, 3, 1, 9));
    const CEOID same = AddAppointment(outlook, u"Same", DateOf(2026, 3, 1, 9));
    EXPECT_THAT(OidsIn(outlook.Items(olFolderCalendar)), ElementsAre(early, same, late));
    const CEOID zebra = AddTask(outlook, u"Zebra");
    const CEOID ape = AddTask(outlook, u"Ape");
    EXPECT_THAT(OidsIn(outlook.Items(olFolderTasks)), ElementsAre(zebra, ape));
    const auto tasks = outlook.Items(olFolderTasks);
    EXPECT_EQ(tasks->Sort(Bstr(u"[Subject]"), VARIANT_FALSE), S_OK);
    EXPECT_THAT(OidsIn(tasks), ElementsAre(ape, zebra));
}

class Recurrences : public testing::Test {
 protected:
    Recurrences() {
        const auto series = New<IAppointment>(m_outlook, olAppointmentItem);
        series->put_Start(DateOf(2026, 3, 2, 10));
        Ref<IRecurrencePattern> pattern;
        series->GetRecurrencePattern(pattern.Out());
        pattern->put_RecurrenceType(olRecursDaily);
        EXPECT_EQ(series->Save(), S_OK);
        m_series = OidOf(series);
        m_single = AddAppointment(m_outlook, u"Lunch", DateOf(2026, 3, 3, 12));
        m_items->put_IncludeRecurrences(VARIANT_TRUE);
    }

    Outlook m_outlook;
    CEOID m_series = 0;
    CEOID m_single = 0;
    Ref<IPOutlookItemCollection> m_items = m_outlook.Items(olFolderCalendar);
};

TEST_F(Recurrences, ASeriesIsOneEntryUnlessRecurrencesAreIncluded) {
    m_items->put_IncludeRecurrences(VARIANT_FALSE);
    EXPECT_THAT(OidsIn(m_items), ElementsAre(m_series, m_single));
}

TEST_F(Recurrences, OccurrencesAndSingleAppointmentsComeByTheirStarts) {
    EXPECT_EQ(StartOf(AppointmentAt(m_items, 1)), DateOf(2026, 3, 2, 10));
    EXPECT_EQ(StartOf(AppointmentAt(m_items, 2)), DateOf(2026, 3, 3, 10));
    EXPECT_EQ(OidOf(AppointmentAt(m_items, 3)), m_single);
    EXPECT_EQ(StartOf(AppointmentAt(m_items, 4)), DateOf(2026, 3, 4, 10));
    EXPECT_EQ(StartOf(AppointmentAt(m_items, 400)), DateOf(2027, 4, 4, 10))
        << "a series without an end has no last one";
    EXPECT_FALSE(AppointmentAt(m_items, 0));
}

TEST_F(Recurrences, ADeletedOccurrenceIsLeftOut) {
    const auto second = AppointmentAt(m_items, 2);
    ASSERT_EQ(second->Delete(), S_OK);
    EXPECT_EQ(OidOf(AppointmentAt(m_items, 2)), m_single);
    EXPECT_EQ(StartOf(AppointmentAt(m_items, 3)), DateOf(2026, 3, 4, 10));
}

TEST_F(Recurrences, OtherOrdersCountEachSeriesOnce) {
    EXPECT_EQ(m_items->Sort(Bstr(u"[Start]"), VARIANT_TRUE), S_OK);
    EXPECT_EQ(OidOf(AppointmentAt(m_items, 1)), m_single);
    EXPECT_EQ(OidOf(AppointmentAt(m_items, 2)), m_series);
    EXPECT_FALSE(AppointmentAt(m_items, 3));
}

}  // namespace
}  // namespace kez::tests
