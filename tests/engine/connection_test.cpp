// The order of a connection's calls, and what the engine makes of a provider that does not keep its promises.
#include "engine/connection.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include "tests/doubles/fake_provider.h"
#include "tests/support/test_device.h"

namespace kez::engine {
namespace {

using sync::ItemType;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ConnectionTest : public testing::Test {
 protected:
    ConnectionTest() : library(FAKE_PROVIDER_FILE) {
        void* handle = dlopen(FAKE_PROVIDER_FILE, RTLD_NOW | RTLD_NOLOAD);
        fake = reinterpret_cast<tests::FakeProvider* (*)()>(dlsym(handle, "TheFakeProvider"))();
        dlclose(handle);
        *fake = {};
        options.types = {ItemType::Contact};
    }
    std::vector<std::string> TakeCalls() { return std::exchange(fake->calls, {}); }

    tests::TestDevice device;
    ProviderLibrary library;
    tests::FakeProvider* fake = nullptr;
    ConnectionOptions options;
};

TEST_F(ConnectionTest, BeginsAndEndsInThePlatformsOrder) {
    {
        Connection connection(library, options);
        EXPECT_THAT(TakeCalls(),
                    ElementsAre("InitObjType KEZContact 1", "ReportStatus NULL 15 1", "ReportStatus NULL 1 0"));
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("ReportStatus NULL 2 0", "ReportStatus NULL 15 0", "ReportStatus NULL 6 0",
                                         "InitObjType NULL 1"));
    EXPECT_EQ(fake->liveHandlers, 0);
}

TEST_F(ConnectionTest, TheSecondPartnershipHasItsBit) {
    options.partnerBit = 2;
    Connection connection(library, options);
    EXPECT_EQ(fake->calls.front(), "InitObjType KEZContact 2");
}

TEST_F(ConnectionTest, ARefusedTypeEndsTheConnectionAndNamesIt) {
    fake->refuseType = true;
    try {
        Connection connection(library, options);
        FAIL();
    } catch (const ProviderError& error) {
        EXPECT_THAT(error.what(), HasSubstr("KEZContact"));
    }
    EXPECT_EQ(fake->calls.back(), "InitObjType NULL 1");
}

TEST_F(ConnectionTest, AListingIsCopiedBeforeItIsFreed) {
    fake->list = {11, 12, 13};
    fake->unchanged = 2;
    fake->changed = 1;
    Connection connection(library, options);
    TakeCalls();
    const ObjectList list = connection.List(ItemType::Contact);
    EXPECT_THAT(TakeCalls(), ElementsAre("FindObjects KEZContact 0", "FindObjects KEZContact 2"));
    EXPECT_THAT(list.unchanged, ElementsAre(11u, 12u));
    EXPECT_THAT(list.changed, ElementsAre(13u));
    EXPECT_FALSE(list.untouched);
    EXPECT_FALSE(list.incomplete);
}

TEST_F(ConnectionTest, AGapInTheListingIsAFindingAndMakesItIncomplete) {
    fake->list = {11, 0, 13};
    fake->unchanged = 1;
    fake->changed = 2;
    Connection connection(library, options);
    const ObjectList list = connection.List(ItemType::Contact);
    EXPECT_TRUE(list.incomplete);
    EXPECT_THAT(list.changed, ElementsAre(13u));
    EXPECT_THAT(connection.TakeFindings(), ElementsAre(HasSubstr("has a gap at position 1")));
    EXPECT_THAT(connection.TakeFindings(), IsEmpty());
}

TEST_F(ConnectionTest, NoListAtAllIsNotAnEmptyList) {
    fake->listNothing = true;
    Connection connection(library, options);
    EXPECT_TRUE(connection.List(ItemType::Contact).untouched);
    fake->listResult = E_FAIL;
    EXPECT_TRUE(connection.List(ItemType::Contact).untouched);
    EXPECT_THAT(connection.TakeFindings(), ElementsAre(HasSubstr("failed")));
}

TEST_F(ConnectionTest, AChangeFileIsShownInTheSweepAndAgainAsChangedAfterTheListing) {
    device.WriteText("KezChgFile.kez", "x");
    fake->list = {11, 12, 13};
    fake->unchanged = 2;
    fake->changed = 1;
    fake->noticed = {12, 13, 99};
    fake->noticedChanged = 2;
    Connection connection(library, options);
    EXPECT_EQ(TakeCalls().back(), "ObjectNotify KEZContact \\KezChgFile.kez");
    const ObjectList list = connection.List(ItemType::Contact);
    EXPECT_EQ(TakeCalls().back(), "ObjectNotify KEZContact \\KezChgFile.kez changed");
    EXPECT_THAT(list.unchanged, ElementsAre(11u));
    EXPECT_THAT(list.changed, ElementsAre(13u, 12u)) << "each once";
    EXPECT_THAT(list.deleted, ElementsAre(99u));
}

TEST_F(ConnectionTest, TheIdentifierZeroInANotificationIsIgnoredAndReported) {
    device.WriteText("KezChgFile.kez", "x");
    fake->list = {11};
    fake->unchanged = 1;
    fake->noticed = {0, 12, 0, 99};
    fake->noticedChanged = 2;
    Connection connection(library, options);
    const ObjectList list = connection.List(ItemType::Contact);
    EXPECT_THAT(list.changed, ElementsAre(12u));
    EXPECT_THAT(list.deleted, ElementsAre(99u));
    EXPECT_THAT(connection.TakeFindings(),
                ElementsAre(HasSubstr("KEZContact lists the identifier 0"), HasSubstr("identifier 0")));
}

TEST_F(ConnectionTest, EveryVolumeIsListedAndGivenBackBeforeTheNext) {
    fake->list = {11, 12};
    fake->unchanged = 1;
    fake->changed = 1;
    fake->volumes = {{21}, {31, 32}};
    Connection connection(library, options);
    TakeCalls();
    const ObjectList list = connection.List(ItemType::Contact);
    EXPECT_THAT(list.unchanged, ElementsAre(11u, 21u, 31u, 32u));
    EXPECT_THAT(list.changed, ElementsAre(12u));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("FindObjects KEZContact 0", "FindObjects KEZContact 2", "FindObjects KEZContact 0",
                            "FindObjects KEZContact 2", "FindObjects KEZContact 0", "FindObjects KEZContact 2"));
    EXPECT_THAT(fake->oddities, IsEmpty());
}

TEST_F(ConnectionTest, EveryStructureCarriesItsSizeAndNothingOfTheCallBefore) {
    device.WriteText("KezChgFile.kez", "x");
    fake->list = {11, 12};
    fake->unchanged = 2;
    fake->noticed = {12};
    fake->noticedChanged = 1;
    fake->pieces = {"abcd"};
    fake->oidNew = 77;
    {
        Connection connection(library, options);
        UINT count = 0;
        std::string packet;
        CEOID written = 0;
        for (int time = 0; time < 2; ++time) {
            EXPECT_TRUE(connection.CountItems(ItemType::Contact, count));
            (void)connection.List(ItemType::Contact);
            connection.Upload(ItemType::Contact, 7, packet);
            connection.Acknowledge(ItemType::Contact, 7);
            connection.Download(ItemType::Contact, 0, "abcd", written);
            connection.Delete(ItemType::Contact, 7);
        }
    }
    EXPECT_THAT(fake->oddities, IsEmpty());
}

TEST_F(ConnectionTest, AProviderThatCannotCountIsNotTakenAtAnyNumber) {
    fake->count = 5;
    Connection connection(library, options);
    UINT count = 0;
    EXPECT_TRUE(connection.CountItems(ItemType::Contact, count));
    EXPECT_EQ(count, 5u);
    fake->cannotCount = true;
    EXPECT_FALSE(connection.CountItems(ItemType::Contact, count));
}

TEST_F(ConnectionTest, AnUploadGathersThePiecesBetweenSetupAndReset) {
    fake->pieces = {"abcd", "efg", "h"};
    Connection connection(library, options);
    TakeCalls();
    std::string packet;
    EXPECT_EQ(connection.Upload(ItemType::Contact, 7, packet), RWRN_LAST_PACKET);
    EXPECT_EQ(packet, "abcdefgh");
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Setup read 7", "GetPacket 8192", "GetPacket 8192", "GetPacket 8192", "Reset read"));
}

TEST_F(ConnectionTest, AnEmptyLastPacketGivesNothing) {
    Connection connection(library, options);
    std::string packet = "old";
    EXPECT_EQ(connection.Upload(ItemType::Contact, 7, packet), RWRN_LAST_PACKET);
    EXPECT_EQ(packet, "");
}

TEST_F(ConnectionTest, AProviderThatHandsOutEmptyPiecesForEverIsStopped) {
    fake->pieces = {"abcd", ""};
    fake->lastIsEmpty = true;
    Connection connection(library, options);
    std::string packet;
    EXPECT_TRUE(FAILED(connection.Upload(ItemType::Contact, 7, packet)));
    EXPECT_THAT(connection.TakeFindings(), ElementsAre(HasSubstr("empty packet")));
    EXPECT_EQ(fake->calls.back(), "Reset read");
}

TEST_F(ConnectionTest, APieceLargerThanAllowedIsRefused) {
    fake->pieces = {std::string(MAX_PACKET_SIZE + 1, 'x')};
    Connection connection(library, options);
    std::string packet;
    EXPECT_TRUE(FAILED(connection.Upload(ItemType::Contact, 7, packet)));
    EXPECT_THAT(connection.TakeFindings(), ElementsAre(HasSubstr("260001 bytes")));
}

TEST_F(ConnectionTest, ADownloadIsCutIntoPiecesOfAtMostTheRecommendedSize) {
    options.recommendedSize = 4;
    fake->oidNew = 77;
    Connection connection(library, options);
    TakeCalls();
    CEOID written = 0;
    EXPECT_EQ(connection.Download(ItemType::Contact, 0, "abcdefghij", written), S_OK);
    EXPECT_EQ(written, 77u);
    EXPECT_EQ(fake->received, "abcdefghij");
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Setup write 0 new", "SetPacket 4", "SetPacket 4", "SetPacket 2", "Reset write"));
}

TEST_F(ConnectionTest, ASizeThatNoPacketMayHaveIsTakenForTheNearestThatOneMay) {
    for (const auto& [asked, used] : std::vector<std::pair<DWORD, DWORD>>{{0, 4}, {3, 4}, {4, 4}, {260001, 260000}}) {
        options.recommendedSize = asked;
        Connection connection(library, options);
        std::string packet;
        connection.Upload(ItemType::Contact, 7, packet);
        EXPECT_THAT(TakeCalls(), testing::Contains("GetPacket " + std::to_string(used)));
    }
}

TEST_F(ConnectionTest, ADownloadWithoutAnIdentifierIsReportedAsFailed) {
    Connection connection(library, options);
    CEOID written = 5;
    connection.Download(ItemType::Contact, 9, "abcdefgh", written);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(fake->calls.back(), HasSubstr("ReportStatus KEZContact 16"));
}

TEST_F(ConnectionTest, AfterAFailedPieceNoOtherFollows) {
    options.recommendedSize = 4;
    fake->setResult = RERR_TRY_AGAIN;
    Connection connection(library, options);
    TakeCalls();
    CEOID written = 0;
    EXPECT_EQ(connection.Download(ItemType::Contact, 9, "abcdefgh", written), RERR_TRY_AGAIN);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Setup write 9", "SetPacket 4", "Reset write", HasSubstr("ReportStatus KEZContact 16")));
}

TEST_F(ConnectionTest, ADeletionHasNeitherSetupNorReset) {
    Connection connection(library, options);
    TakeCalls();
    connection.Delete(ItemType::Contact, 9);
    connection.Acknowledge(ItemType::Contact, 8);
    EXPECT_THAT(TakeCalls(), ElementsAre("DeleteObj 9", "ObjectNotify KEZContact clear 8"));
}

TEST_F(ConnectionTest, ADeletionThatFailsIsReportedToTheProvider) {
    fake->deleteResult = RERR_TRY_AGAIN;
    Connection connection(library, options);
    TakeCalls();
    EXPECT_EQ(connection.Delete(ItemType::Contact, 9), RERR_TRY_AGAIN);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("DeleteObj 9", "ReportStatus KEZContact 17 " + std::to_string(RERR_TRY_AGAIN)));
}

TEST_F(ConnectionTest, PurgeRequestsCarryTypeAndCode) {
    Connection connection(library, options);
    connection.Request(ItemType::Contact, 8);
    EXPECT_EQ(fake->calls.back(), "SyncData KEZContact 8");
}

TEST(ProviderLibraryTest, AFileThatIsNoProviderIsNamed) {
    try {
        ProviderLibrary library("/nowhere/DevKEZASPContact.so");
        FAIL();
    } catch (const ProviderError& error) {
        EXPECT_THAT(error.what(), HasSubstr("/nowhere/DevKEZASPContact.so"));
    }
}

}  // namespace
}  // namespace kez::engine
