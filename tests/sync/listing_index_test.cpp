#include "sync/listing_index.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace kez::sync {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<Listed> Items(const std::vector<std::string>& ids) {
    std::vector<Listed> items;
    for (const std::string& id : ids) items.push_back({id, "revision of " + id, {}, {}, {}});
    return items;
}

std::vector<std::string> Left(const ListingIndex& index) {
    std::vector<std::string> ids;
    for (const Listed* item : index.Left()) ids.push_back(item->id);
    return ids;
}

std::string RevisionTaken(ListingIndex& index, const std::string& id) {
    const Listed* item = index.Take(id);
    return item ? item->revision : "none";
}

TEST(ListingIndex, EachItemIsFoundOnceInWhateverOrderItIsAskedFor) {
    std::vector<std::string> ids;
    for (int i = 0; i < 200; ++i) ids.push_back("item-" + std::to_string(i));
    std::vector<std::string> asked = ids;
    for (const unsigned order : {0U, 1U, 2U, 3U}) {
        if (order == 1) std::reverse(asked.begin(), asked.end());
        if (order > 1) std::shuffle(asked.begin(), asked.end(), std::mt19937(order));
        std::vector<Listed> items = Items(ids);
        ListingIndex index(items);
        for (const std::string& id : asked) EXPECT_EQ(RevisionTaken(index, id), "revision of " + id);
        for (const std::string& id : asked) EXPECT_EQ(RevisionTaken(index, id), "none") << "taken already";
        EXPECT_THAT(Left(index), IsEmpty());
    }
}

TEST(ListingIndex, WhatIsNotThereIsNotFoundAndWhatStandsBetweenIsLeftInOrder) {
    std::vector<Listed> items = Items({"a", "new-1", "c", "new-2", "new-3", "new-4", "new-5", "e", "new-6"});
    ListingIndex index(items);
    EXPECT_EQ(RevisionTaken(index, "a"), "revision of a");
    EXPECT_EQ(RevisionTaken(index, "b"), "none");
    EXPECT_EQ(RevisionTaken(index, "c"), "revision of c");
    EXPECT_EQ(RevisionTaken(index, "d"), "none");
    EXPECT_EQ(RevisionTaken(index, "e"), "revision of e") << "beyond four new ones";
    EXPECT_EQ(RevisionTaken(index, "f"), "none");
    EXPECT_THAT(Left(index), ElementsAre("new-1", "new-2", "new-3", "new-4", "new-5", "new-6"));
}

TEST(ListingIndex, OfSeveralItemsWithOneIdentifierOnlyOneCounts) {
    std::vector<Listed> items = Items({"x", "y", "x", "z", "z"});
    items[2].revision = "second x";
    {
        ListingIndex index(items);
        EXPECT_THAT(Left(index), ElementsAre("x", "y", "z"));
        EXPECT_EQ(index.Left()[0], &items[0]);
    }
    ListingIndex index(items);
    EXPECT_EQ(RevisionTaken(index, "y"), "revision of y");
    EXPECT_EQ(RevisionTaken(index, "x"), "second x") << "the next one that is so called";
    EXPECT_THAT(Left(index), ElementsAre("z")) << "an item that was found is not new as well";
}

TEST(ListingIndex, OfNothingNothingIsLeft) {
    std::vector<Listed> items;
    ListingIndex index(items);
    EXPECT_EQ(index.Take("a"), nullptr);
    EXPECT_EQ(index.Take(""), nullptr);
    EXPECT_THAT(Left(index), IsEmpty());
}

}  // namespace
}  // namespace kez::sync
