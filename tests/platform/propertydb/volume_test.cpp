// The volume as host code uses it.
#include "platform/propertydb/volume.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "property_world.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using namespace kez::propertydb;
using ::testing::ElementsAre;

class VolumeTest : public ::testing::Test {
 protected:
    TestDevice m_device;
    std::shared_ptr<Volume> m_volume = Volume::OpenOrCreate(TEXT("\\test.vol"));
};

TEST_F(VolumeTest, RecordsComeBackChangedAndInTheOrderOfTheDatabase) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    const CEOID z = m_volume->Insert(database, {{kText, u"Zoe"}, {kNumber, std::int64_t{5}}});
    const CEOID a = m_volume->Insert(database, {{kText, u"Ann"}});
    EXPECT_THAT(*m_volume->OrderedOids(database), ElementsAre(a, z));
    PropertySet change;
    change.SetText(kText, u"Aaron");
    change.SetRemoved(kNumber);
    EXPECT_TRUE(m_volume->Update(database, z, change));
    EXPECT_THAT(*m_volume->OrderedOids(database), ElementsAre(z, a));
    EXPECT_EQ(*m_volume->Read(database, z), (PropertySet{{kText, u"Aaron"}}));
    EXPECT_TRUE(m_volume->Delete(database, a));
    EXPECT_FALSE(m_volume->Delete(database, a));
    EXPECT_EQ(m_volume->State(database).records, 1u);
}

TEST_F(VolumeTest, ATransactionWithoutCommitLeavesNothing) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    {
        Transaction transaction(m_volume);
        m_volume->Insert(database, {{kText, u"Ann"}});
        EXPECT_EQ(m_volume->OrderedOids(database)->size(), 1u);
    }
    EXPECT_EQ(m_volume->OrderedOids(database)->size(), 0u);
    EXPECT_EQ(m_volume->State(database).records, 0u);
}

TEST_F(VolumeTest, TheJournalNotesWhatHappensToRecordsAndWhatIsAttachedToThem) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    m_volume->EnableJournal(database);
    m_volume->EnableJournal(database);
    const CEOID a = m_volume->Insert(database, {{kText, u"Ann"}});
    EXPECT_TRUE(m_volume->PutAttachment(database, a, 1, {5, {}, Bytes(100000, 7)}));
    EXPECT_EQ(m_volume->ReadAttachment(database, a, 1, 5)->data, Bytes(100000, 7));
    EXPECT_TRUE(m_volume->Delete(database, a));
    std::vector<JournalAction> actions;
    for (const JournalEntry& entry : m_volume->ReadJournal(0, 100)) {
        EXPECT_EQ(entry.record, a);
        actions.push_back(entry.action);
    }
    EXPECT_THAT(actions, ElementsAre(JournalAction::Added, JournalAction::Changed, JournalAction::Deleted));
    EXPECT_FALSE(m_volume->ReadAttachment(database, a, 1, 5));
    m_volume->TrimJournal(2);
    EXPECT_EQ(m_volume->ReadJournal(0, 100).size(), 1u);
}

}  // namespace
}  // namespace kez::tests
