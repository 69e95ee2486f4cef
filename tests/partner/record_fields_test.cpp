#include "partner/record_fields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

namespace kez::partner {
namespace {

using sync::Item;
using sync::ItemType;

TEST(RecordFields, RowsAreInOrderAndNamesAreUnique) {
    for (ItemType type : sync::kAllItemTypes) {
        auto fields = FieldsOf(type);
        EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(),
                                   [](const auto& a, const auto& b) { return a.propertyId < b.propertyId; }));
        std::set<std::string_view> names;
        for (const auto& field : fields) EXPECT_TRUE(names.insert(field.name).second) << field.name;
    }
    EXPECT_EQ(FieldsOf(ItemType::Contact).size(), 56U);  // the catalogue's 54, categories and body
    EXPECT_EQ(FindField(ItemType::Contact, "Email1Address")->propertyId, 0x4083001FU);
    EXPECT_EQ(FindField(ItemType::Contact, "Nothing"), nullptr);
}

TEST(RecordFields, MomentsGoBothWays) {
    std::int64_t seconds;
    ASSERT_TRUE(ParseMoment("1980-05-17", &seconds));
    EXPECT_EQ(MomentText(seconds), "1980-05-17 00:00:00");
    EXPECT_EQ(SecondsOfFileTime(FileTimeOf(seconds)), seconds);
    EXPECT_EQ(SecondsOfDate(DateOf(seconds)), seconds);
    ASSERT_TRUE(ParseMoment("1900-02-28 23:59:59", &seconds));
    EXPECT_EQ(MomentText(seconds), "1900-02-28 23:59:59");
    EXPECT_EQ(DayText(seconds), "1900-02-28");
    EXPECT_EQ(SecondsOfDate(DateOf(seconds)), seconds);
    ASSERT_TRUE(ParseMoment("4501-01-01", &seconds));
    EXPECT_EQ(seconds, kNoMoment);
    EXPECT_EQ(FileTimeOf(kNoMoment), 0x0CB34557A3DD4000U);
    EXPECT_EQ(DateOf(kNoMoment), 949998.0);
    for (const char* bad : {"", "1980-5-17", "1980-02-30", "1600-01-01", "1980-05-17T10:00:00", "1980-05-17 24:00:00",
                            "1980-05-17 10:60:00", "198O-05-17", "1980-05-17 10:00:0x", "1980/05/17"})
        EXPECT_FALSE(ParseMoment(bad, &seconds)) << bad;
}

TEST(RecordFields, NoDateIsTold) {
    std::int64_t seconds;
    EXPECT_TRUE(IsNoMoment(kNoMoment));
    EXPECT_TRUE(IsNoMoment(SecondsOfDate(0.0)));
    EXPECT_EQ(SecondsOfDate(1e300), kNoMoment);
    EXPECT_EQ(SecondsOfDate(std::numeric_limits<double>::quiet_NaN()), kNoMoment);
    ASSERT_TRUE(ParseMoment("1900-01-01", &seconds));
    EXPECT_FALSE(IsNoMoment(seconds));
}

TEST(RecordFields, LengthsAreTheDevices) {
    EXPECT_EQ(DeviceLength("a\xC3\xA4\xE2\x82\xAC"), 3U);
    EXPECT_EQ(DeviceLength("\xF0\x9F\x98\x80"), 2U);
    EXPECT_EQ(DeviceLength("a\nb"), 4U);
    EXPECT_EQ(CutToDevice("a\xF0\x9F\x98\x80"
                          "b",
                          2),
              "a");
    EXPECT_EQ(CutToDevice("a\xF0\x9F\x98\x80"
                          "b",
                          3),
              "a\xF0\x9F\x98\x80");
    EXPECT_EQ(CutToDevice("ab\n", 3), "ab");
}

TEST(RecordFields, FileAsIsMadeUpAsTheDeviceDoes) {
    EXPECT_EQ(DefaultFileAs({{"FirstName", "Ada"}, {"LastName", "Lovelace"}, {"CompanyName", "C"}}), "Lovelace, Ada");
    EXPECT_EQ(DefaultFileAs({{"FirstName", "Ada"}}), "Ada");
    EXPECT_EQ(DefaultFileAs({{"LastName", "Lovelace"}}), "Lovelace");
    EXPECT_EQ(DefaultFileAs({{"CompanyName", "C"}, {"Email1Address", "a@b"}}), "C");
    EXPECT_EQ(DefaultFileAs({{"Email1Address", "a@b"}}), "a@b");
    EXPECT_EQ(DefaultFileAs({}), "");
    std::string longName(1000, 'x');
    EXPECT_EQ(DefaultFileAs({{"FirstName", longName}, {"LastName", longName}}).size(), 1022U);
}

TEST(RecordFields, CategoriesHaveOneForm) {
    EXPECT_EQ(CategoriesText("a,b ,  c,,"), "a, b, c");
    EXPECT_EQ(CategoriesText(""), "");
}

TEST(RecordFields, OnlyWhatAPatternUsesIsKept) {
    struct {
        const char* type;
        std::set<std::string> used;
    } rows[] = {
        {"0", {"Interval", "DayOfWeekMask"}},
        {"1", {"Interval", "DayOfWeekMask"}},
        {"2", {"Interval", "DayOfMonth"}},
        {"3", {"Interval", "Instance", "DayOfWeekMask"}},
        {"4", {}},
        {"5", {"DayOfMonth", "MonthOfYear"}},
        {"6", {"Instance", "DayOfWeekMask", "MonthOfYear"}},
    };
    for (const auto& row : rows) {
        Item item{ItemType::Appointment,
                  {{"IsRecurring", "1"},
                   {"RecurrenceType", row.type},
                   {"Interval", "1"},
                   {"DayOfWeekMask", "2"},
                   {"DayOfMonth", "3"},
                   {"MonthOfYear", "4"},
                   {"Instance", "5"},
                   {"NoEndDate", "1"},
                   {"PatternEndDate", "2030-01-01 00:00:00"}}};
        DropUnusedRecurrence(item);
        std::set<std::string> expected = row.used;
        expected.insert({"IsRecurring", "RecurrenceType", "NoEndDate"});
        std::set<std::string> left;
        for (const auto& [name, value] : item.fields) left.insert(name);
        EXPECT_EQ(left, expected) << row.type;
    }
}

TEST(RecordFields, EveryDayIsNoFilterOfADailyPattern) {
    Item item{ItemType::Task, {{"IsRecurring", "1"}, {"RecurrenceType", "0"}, {"DayOfWeekMask", "127"}}};
    DropUnusedRecurrence(item);
    EXPECT_EQ(item.fields.count("DayOfWeekMask"), 0U);
}

TEST(RecordFields, WhatDoesNotRecurHasNoPattern) {
    Item item{ItemType::Task,
              {{"IsRecurring", "0"}, {"RecurrenceType", "1"}, {"Interval", "1"}, {"ExceptionDates", "x"}}};
    DropUnusedRecurrence(item);
    EXPECT_EQ(item.fields, (sync::Fields{{"IsRecurring", "0"}}));
}

TEST(RecordFields, AbsenceStandsForTheDevicesDefaults) {
    Item task{ItemType::Task, {{"Importance", "2"}}};
    AddDefaults(task);
    EXPECT_EQ(
        task.fields,
        (sync::Fields{
            {"Complete", "0"}, {"Importance", "2"}, {"IsRecurring", "0"}, {"ReminderSet", "0"}, {"Sensitivity", "0"}}));
    Item contact;
    AddDefaults(contact);
    EXPECT_TRUE(contact.fields.empty());
}

}  // namespace
}  // namespace kez::partner
