// What is left of a volume when the power is cut: everything that was flushed, and of the rest whole transactions from
// the oldest on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <map>
#include <random>
#include <vector>

#include "platform/propertydb/volume.h"
#include "tests/support/forgetful_disk.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using propertydb::PropertySet;
using propertydb::Transaction;
using propertydb::Volume;
using ::testing::IsEmpty;

constexpr CEPROPID kName = 0x0001001F;
constexpr CEPROPID kPicture = 0x00020041;
constexpr WCHAR kVolume[] = TEXT("\\test.vol");

using Records = std::map<CEOID, std::u16string>;

bool Nothing() { return false; }

class PowerCut : public ::testing::Test {
 protected:
    // A volume with one database; all of it is durable.
    PowerCut() {
        forgetful_disk::Install();
        {
            const auto volume = Volume::OpenOrCreate(kVolume);
            m_database = volume->CreateDatabase({u"Names", 0, {{{{kName}}}}, {}});
        }
        forgetful_disk::Forget();
        WCHAR path[] = TEXT("\\test.vol");
        EXPECT_TRUE(CeMountDBVolEx(&m_guid, path, nullptr, OPEN_EXISTING));
        m_volume = Volume::Open(kVolume);
    }
    ~PowerCut() override {
        forgetful_disk::AtEachCall(nullptr);
        Close();
        forgetful_disk::Forget();
    }

    void Close() {
        if (!m_volume) return;
        m_volume.reset();
        EXPECT_TRUE(CeUnmountDBVol(&m_guid));
    }

    CEOID Add(const std::u16string& name) { return m_volume->Insert(m_database, {{kName, name}}); }

    // What a device that starts with these files finds in its volume.
    Records AfterCut(const forgetful_disk::Files& files) {
        Close();
        forgetful_disk::Forget();
        for (const char* suffix : {"", "-wal", "-shm"}) {
            std::filesystem::remove(m_device.Folder() / (std::string("test.vol") + suffix));
        }
        for (const auto& [path, content] : files) std::ofstream(path, std::ios::binary) << content;
        EXPECT_TRUE(IsWhole());
        Records records;
        Volume::Open(kVolume)->Walk(m_database, -1, [&records](CEOID oid, const PropertySet& record) {
            records[oid] = record.Text(kName);
            return true;
        });
        return records;
    }

    bool IsWhole() {
        sqlite3* database = nullptr;
        std::string answer;
        EXPECT_EQ(sqlite3_open((m_device.Folder() / "test.vol").c_str(), &database), SQLITE_OK);
        sqlite3_exec(
            database, "PRAGMA integrity_check",
            [](void* into, int, char** values, char**) {
                static_cast<std::string*>(into)->append(values[0]);
                return 0;
            },
            &answer, nullptr);
        sqlite3_close(database);
        return answer == "ok";
    }

    TestDevice m_device;
    std::shared_ptr<Volume> m_volume;
    CEGUID m_guid{};
    CEOID m_database = 0;
};

TEST_F(PowerCut, WhatWasFlushedIsThereAlthoughNothingElseReachedTheDisk) {
    const CEOID ann = Add(u"Ann");
    const CEOID bob = Add(u"Bob");
    ASSERT_TRUE(CeFlushDBVol(&m_guid));
    m_volume->Delete(m_database, ann);
    Add(u"Cid");
    EXPECT_EQ(AfterCut(forgetful_disk::CutPower(Nothing)), (Records{{ann, u"Ann"}, {bob, u"Bob"}}));
}

TEST_F(PowerCut, WithoutAFlushNothingIsPromised) {
    Add(u"Ann");
    EXPECT_THAT(AfterCut(forgetful_disk::CutPower(Nothing)), IsEmpty());
}

TEST_F(PowerCut, AFlushTakesInWhatAnyConnectionOfTheProcessWrote) {
    auto apart = Volume::OpenApart(kVolume);
    const CEOID ann = apart->Insert(m_database, {{kName, u"Ann"}});
    ASSERT_TRUE(CeFlushDBVol(nullptr));
    const auto files = forgetful_disk::CutPower(Nothing);
    apart.reset();
    EXPECT_EQ(AfterCut(files), (Records{{ann, u"Ann"}}));
}

TEST_F(PowerCut, UnmountingAVolumeFlushesIt) {
    const CEOID ann = Add(u"Ann");
    ASSERT_TRUE(CeUnmountDBVol(&m_guid));
    const auto files = forgetful_disk::CutPower(Nothing);
    m_volume.reset();
    EXPECT_EQ(AfterCut(files), (Records{{ann, u"Ann"}}));
}

TEST_F(PowerCut, AFlushSyncsOnceAndOnlyWhereSomethingWasWritten) {
    Add(u"Ann");
    const std::size_t before = forgetful_disk::Syncs();
    ASSERT_TRUE(CeFlushDBVol(&m_guid));
    EXPECT_EQ(forgetful_disk::Syncs(), before + 1);
    ASSERT_TRUE(CeFlushDBVol(&m_guid));
    ASSERT_TRUE(CeFlushDBVol(nullptr));
    EXPECT_EQ(forgetful_disk::Syncs(), before + 1);
}

TEST_F(PowerCut, AFlushThatIsPutOffComesWithThatOfAllVolumes) {
    control::SetFlushPolicy(control::FlushPolicy::PutOff);
    const CEOID ann = Add(u"Ann");
    const std::size_t before = forgetful_disk::Syncs();
    EXPECT_TRUE(CeFlushDBVol(&m_guid));
    CEGUID unknown{};
    EXPECT_FALSE(CeFlushDBVol(&unknown)) << "it still looks at what it is given";
    EXPECT_EQ(forgetful_disk::Syncs(), before);
    ASSERT_TRUE(CeFlushDBVol(nullptr));
    EXPECT_EQ(forgetful_disk::Syncs(), before + 1);
    Add(u"Bob");
    EXPECT_TRUE(CeFlushDBVol(&m_guid));
    EXPECT_EQ(AfterCut(forgetful_disk::CutPower(Nothing)), (Records{{ann, u"Ann"}}));
}

TEST_F(PowerCut, AFlushThatIsPutOffComesWithTheLastUnmount) {
    control::SetFlushPolicy(control::FlushPolicy::PutOff);
    const CEOID ann = Add(u"Ann");
    ASSERT_TRUE(CeFlushDBVol(&m_guid));
    ASSERT_TRUE(CeUnmountDBVol(&m_guid));
    const auto files = forgetful_disk::CutPower(Nothing);
    m_volume.reset();
    EXPECT_EQ(AfterCut(files), (Records{{ann, u"Ann"}}));
}

// The power is cut at calls of chance in the middle of commits, flushes and checkpoints, and of what was not synced any
// sectors reach the disk. What is found is what was there after some commit: the last one before the last flush, or a
// later one.
TEST_F(PowerCut, AnyCutLeavesWholeTransactionsAndNoneThatWasFlushedIsMissing) {
    struct Cut {
        forgetful_disk::Files files;
        std::size_t flushed;
        std::size_t commits;
    };
    std::mt19937 random(7);
    std::vector<Records> after{{}};  // after each commit
    std::size_t flushed = 0;
    std::vector<Cut> cuts;
    bool looking = false;
    forgetful_disk::AtEachCall([&] {
        if (looking || random() % 30 != 0) return;
        looking = true;
        const unsigned of = 2 + random() % 3;
        cuts.push_back({forgetful_disk::CutPower([&] { return random() % of == 0; }), flushed, after.size() - 1});
        looking = false;
    });
    for (int round = 0; round < 300; ++round) {
        Records records = after.back();
        Transaction transaction(m_volume);
        for (unsigned i = 0, count = 1 + random() % 6; i < count; ++i) {
            const std::u16string name(1 + random() % 20, static_cast<char16_t>(u'a' + random() % 26));
            const auto some = records.empty()
                                  ? records.end()
                                  : std::next(records.begin(), static_cast<std::ptrdiff_t>(random() % records.size()));
            switch (some == records.end() ? 0 : random() % 4) {
                case 0:
                case 1: {
                    const std::vector<std::uint8_t> picture(random() % 8000, 7);
                    const CEOID oid = m_volume->Insert(m_database, {{kName, name}, {kPicture, picture}});
                    records[oid] = name;
                    break;
                }
                case 2:
                    ASSERT_TRUE(m_volume->Update(m_database, some->first, {{kName, name}}));
                    some->second = name;
                    break;
                default:
                    ASSERT_TRUE(m_volume->Delete(m_database, some->first));
                    records.erase(some);
            }
        }
        transaction.Commit();
        after.push_back(records);
        if (random() % 8 == 0) {
            ASSERT_TRUE(CeFlushDBVol(&m_guid));
            flushed = after.size() - 1;
        }
    }
    forgetful_disk::AtEachCall(nullptr);
    ASSERT_GT(cuts.size(), 20u);
    std::size_t lost = 0;
    for (const Cut& cut : cuts) {
        const Records found = AfterCut(cut.files);
        // The commit that was under way may have come through.
        const std::size_t last = std::min(cut.commits + 1, after.size() - 1);
        std::size_t at = cut.flushed;
        while (at <= last && after[at] != found) ++at;
        EXPECT_LE(at, last) << "flushed " << cut.flushed << ", committed " << cut.commits << ": " << found.size()
                            << " records as after no commit in between";
        lost += at < cut.commits;
    }
    EXPECT_GT(lost, 0u) << "no cut took anything away: the disk forgets nothing";
}

}  // namespace
}  // namespace kez::tests
