#include "sync/merge.h"

#include <gmock/gmock.h>

namespace kez::sync {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Difference, NamesWhatWasSetChangedAndRemoved) {
    const Changes changes = Difference({{"kept", "1"}, {"changed", "1"}, {"removed", "1"}},
                                       {{"kept", "1"}, {"changed", "2"}, {"set", "3"}});
    EXPECT_EQ(changes, (Changes{{"changed", "2"}, {"removed", std::nullopt}, {"set", "3"}}));
}

TEST(Difference, LongValuesAreComparedByTheirDigest) {
    const std::string picture(100000, 'p');
    const Fields remembered = Remembered({{"Picture", picture}, {"Name", "short"}});
    EXPECT_TRUE(IsDigest(remembered.at("Picture")));
    EXPECT_LT(remembered.at("Picture").size(), 100u);
    EXPECT_EQ(remembered.at("Name"), "short");
    EXPECT_THAT(Difference(remembered, {{"Picture", picture}, {"Name", "short"}}), IsEmpty());
    std::string other = picture;
    other.back() = 'q';
    EXPECT_EQ(Difference(remembered, {{"Picture", other}, {"Name", "short"}}), (Changes{{"Picture", other}}));
}

TEST(Difference, RememberingTwiceChangesNothing) {
    const Fields once = Remembered({{"Body", std::string(5000, 'b')}});
    EXPECT_EQ(Remembered(once), once);
}

TEST(Digest, IsTheStandardOne) {
    EXPECT_EQ(Digest("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(MergeOfChanges, DifferentFieldsGoToTheOtherSide) {
    const Merged merged = Merge({{"Phone", "1"}}, {{"City", "B"}, {"Fax", std::nullopt}});
    EXPECT_EQ(merged.forFolder, (Changes{{"Phone", "1"}}));
    EXPECT_EQ(merged.forDevice, (Changes{{"City", "B"}, {"Fax", std::nullopt}}));
    EXPECT_THAT(merged.disputed, IsEmpty());
}

TEST(MergeOfChanges, TheSameChangeOnBothSidesIsNoDispute) {
    const Merged merged = Merge({{"Phone", "1"}, {"Fax", std::nullopt}}, {{"Phone", "1"}, {"Fax", std::nullopt}});
    EXPECT_THAT(merged.forFolder, IsEmpty());
    EXPECT_THAT(merged.forDevice, IsEmpty());
    EXPECT_THAT(merged.disputed, IsEmpty());
}

TEST(MergeOfChanges, DifferentValuesOrARemovalAgainstAChangeAreDisputed) {
    const Merged merged = Merge({{"Phone", "1"}, {"Fax", std::nullopt}}, {{"Phone", "2"}, {"Fax", "3"}});
    EXPECT_THAT(merged.disputed, ElementsAre("Fax", "Phone"));
    EXPECT_THAT(merged.forDevice, IsEmpty());
    EXPECT_THAT(merged.forFolder, IsEmpty());
}

TEST(MergeOfUnremembered, WhatOnlyOneSideSaysGoesToTheOther) {
    const Merged merged =
        MergeUnremembered({{"Name", "A"}, {"Phone", "1"}, {"Fax", "5"}}, {{"Name", "A"}, {"City", "B"}, {"Fax", "6"}});
    EXPECT_EQ(merged.forFolder, (Changes{{"Phone", "1"}}));
    EXPECT_EQ(merged.forDevice, (Changes{{"City", "B"}}));
    EXPECT_THAT(merged.disputed, ElementsAre("Fax"));
}

TEST(Applied, SetsAndRemoves) {
    EXPECT_EQ(Applied({{"a", "1"}, {"b", "2"}}, {{"a", std::nullopt}, {"c", "3"}}), (Fields{{"b", "2"}, {"c", "3"}}));
}

TEST(Titles, NameWhatAPersonWouldCallTheItem) {
    EXPECT_EQ(Title({ItemType::Contact, {{"FirstName", "Ada"}, {"LastName", "Lovelace"}}}), "Ada Lovelace");
    EXPECT_EQ(Title({ItemType::Contact, {{"CompanyName", "Engines"}, {"Email1Address", "e@x"}}}), "Engines");
    EXPECT_EQ(Title({ItemType::Contact, {}}), "unnamed contact");
    EXPECT_EQ(Title({ItemType::Appointment, {{"Subject", "Weekly"}, {"Start", "2026-03-02 10:00:00"}}}),
              "Weekly (2026-03-02 10:00)");
    EXPECT_EQ(Title({ItemType::Task, {{"Subject", "Two\nlines"}, {"DueDate", "2026-03-02 00:00:00"}}}),
              "Two lines (2026-03-02)");
    EXPECT_EQ(Title({ItemType::Task, {}}), "unnamed task");
}

}  // namespace
}  // namespace kez::sync
