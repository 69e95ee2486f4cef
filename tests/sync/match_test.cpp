#include "sync/match.h"

#include <gmock/gmock.h>

namespace kez::sync {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

Candidate Contact(const std::string& id, Fields fields) { return {id, {ItemType::Contact, std::move(fields)}}; }

TEST(MatchByContent, SameNameAndMoreInCommonThanAgainst) {
    EXPECT_THAT(MatchByContent({Contact("d1", {{"FirstName", "Ada"}, {"LastName", "Lovelace"}, {"Phone", "1"}})},
                               {Contact("f1", {{"FirstName", "ada "}, {"LastName", "LOVELACE"}}),
                                Contact("f2", {{"FirstName", "Ada"}, {"LastName", "Lovelace"}, {"Phone", "1"}})}),
                ElementsAre(Pair(0u, 1u)));
}

TEST(MatchByContent, HundredPeopleOnBothSidesAreAHundredPairs) {
    std::vector<Candidate> device;
    std::vector<Candidate> folder;
    for (int i = 0; i < 100; ++i) {
        const std::string n = std::to_string(i);
        device.push_back(
            Contact("d" + n, {{"FirstName", "First" + n}, {"LastName", "Last"}, {"FileAs", "Last, First" + n}}));
        folder.push_back(Contact("f" + n, {{"FirstName", "First" + n}, {"LastName", "Last"}, {"City", "Town"}}));
    }
    const auto matches = MatchByContent(device, folder);
    ASSERT_EQ(matches.size(), 100u);
    for (const auto& [i, j] : matches) EXPECT_EQ(i, j);
}

TEST(MatchByContent, NamesakesWithNothingElseInCommonStayApart) {
    EXPECT_THAT(
        MatchByContent({Contact("d", {{"FirstName", "J"}, {"LastName", "S"}, {"A", "1"}, {"B", "2"}, {"C", "3"}})},
                       {Contact("f", {{"FirstName", "J"}, {"LastName", "S"}, {"A", "4"}, {"B", "5"}, {"C", "6"}})}),
        IsEmpty());
}

TEST(MatchByContent, TwinsArePairedOneToOne) {
    const Fields twin{{"FirstName", "Twin"}, {"LastName", "T"}};
    EXPECT_EQ(MatchByContent({Contact("d1", twin), Contact("d2", twin)},
                             {Contact("f1", twin), Contact("f2", twin), Contact("f3", twin)})
                  .size(),
              2u);
}

TEST(MatchByContent, ItemsWithoutANameMatchOnlyWhereAllIsTheSame) {
    EXPECT_THAT(MatchByContent({Contact("d", {{"Body", "x"}, {"Title", "y"}})}, {Contact("f", {{"Body", "x"}})}),
                IsEmpty());
    EXPECT_EQ(MatchByContent({Contact("d", {{"Body", "x"}})}, {Contact("f", {{"Body", "x"}})}).size(), 1u);
}

TEST(MatchByContent, AppointmentsMatchBySubjectAndStart) {
    const Item a{ItemType::Appointment, {{"Subject", "Dentist"}, {"Start", "2026-03-02 10:00:00"}}};
    const Item b{ItemType::Appointment, {{"Subject", "Dentist"}, {"Start", "2026-04-02 10:00:00"}}};
    EXPECT_THAT(MatchByContent({{"d1", a}, {"d2", b}}, {{"f1", b}}), ElementsAre(Pair(1u, 0u)));
}

}  // namespace
}  // namespace kez::sync
