// A folder as a store: what is listed and read, what a write does, and what is left by failures and power cuts.
#include "partner/folder_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <new>
#include <set>
#include <thread>

#include "partner/said_change.h"
#include "partner/vcard.h"
#include "support/real_files.h"
#include "support/test_files.h"

namespace kez::partner {
namespace {

using sync::Item;
using sync::ItemType;
using sync::ProblemCode;
using sync::StoreError;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using tests::DiskFiles;

const std::string kFolder = "/book";

Item Person(const std::string& name) { return {ItemType::Contact, {{"FirstName", name}, {"LastName", "Byron"}}}; }

std::string CardText(const std::string& uid, const std::string& name) {
    return "BEGIN:VCARD\nVERSION:3.0\n" + (uid.empty() ? "" : "UID:" + uid + "\n") + "FN:" + name + "\nN:;" + name +
           ";;;\nX-KEEP:me\nEND:VCARD\n";
}

// A store over a disk in memory, opened anew as often as a test wants.
struct Book {
    DiskFiles files{kFolder};
    MemoryFolderCache cache;
    CardFormat cards;
    Durability durability = Durability::Batch;
    std::unique_ptr<FolderStore> store;

    FolderStore& Open() {
        store =
            std::make_unique<FolderStore>(kFolder, std::vector<const ItemFormat*>{&cards}, files, cache, durability);
        return *store;
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& [name, bytes] : files.Visible()) names.push_back(name);
        return names;
    }
};

std::string Show(const sync::Listing& listing) {
    std::string all;
    for (const auto& item : listing.items)
        all +=
            item.id + (item.hint.empty() ? "" : "=" + item.hint) + (item.problem ? "!" + item.problem->text : "") + "|";
    return all;
}

// --- Listing and reading -----------------------------------------------------------------------------------------

TEST(FolderStore, ItemsAreFilesOfTheirExtension) {
    Book book;
    book.files.Put("a.vcf", CardText("1", "Ada"));
    book.files.Put("B.VCF", CardText("", "Bea"));
    for (const char* name : {".hidden.vcf", "c.txt", "d.vcf~", ".kez-1-1.tmp", ".vcf"})
        book.files.Put(name, CardText("9", "x"));
    book.files.Put("folder.vcf", "");
    book.files.SetKind("folder.vcf", FileKind::Folder);
    EXPECT_EQ(Show(book.Open().List(ItemType::Contact)), "B.VCF|a.vcf=1|");
    EXPECT_EQ(Show(book.store->List(ItemType::Task)), "");
    EXPECT_TRUE(book.store->Holds(ItemType::Contact));
    EXPECT_FALSE(book.store->Holds(ItemType::Task));
    auto read = book.store->Read(ItemType::Contact, "a.vcf");
    EXPECT_FALSE(read.problem);
    EXPECT_EQ(read.item.fields, (sync::Fields{{"FirstName", "Ada"}}));
    EXPECT_EQ(read.raw, CardText("1", "Ada"));
    EXPECT_EQ(read.revision, book.store->List(ItemType::Contact).items[1].revision);
    EXPECT_THAT(read.losses, ElementsAre(HasSubstr("X-KEEP")));
}

TEST(FolderStore, OneBadFileStopsNothingElse) {
    Book book;
    book.files.Put("a.vcf", "garbage");
    book.files.Put("b.vcf", CardText("1", "Bea"));
    book.files.Put("c.vcf", CardText("1", "Cleo"));
    book.files.Put("d.vcf", CardText("2", "Dee") + CardText("3", "Eve"));
    book.files.Put("e.vcf", "elsewhere");
    book.files.SetKind("e.vcf", FileKind::Link);
    EXPECT_EQ(Show(book.Open().List(ItemType::Contact)),
              "a.vcf!there is no BEGIN:VCARD line in the file|b.vcf=1|c.vcf=1!b.vcf has the same UID 1|"
              "d.vcf!the file holds 2 cards (the second from line 8), a folder has one card a file; \"kezsync import\" "
              "takes such a file|e.vcf!it is a symbolic link, which is not followed|");
    EXPECT_EQ(book.store->Read(ItemType::Contact, "a.vcf").problem.code, ProblemCode::Unreadable);
    EXPECT_EQ(book.store->Read(ItemType::Contact, "e.vcf").problem.code, ProblemCode::Unreadable);
    EXPECT_EQ(book.store->Read(ItemType::Contact, "gone.vcf").problem.code, ProblemCode::Gone);
    EXPECT_EQ(book.store->Read(ItemType::Task, "b.vcf").problem.code, ProblemCode::Refused);
}

TEST(FolderStore, OfFilesWithOneUidTheFirstByNameIsTheItem) {
    const auto shown = [](std::vector<std::pair<std::string, std::string>> files) {
        Book book;
        for (const auto& [name, uid] : files) book.files.Put(name, CardText(uid, "Ada"));
        return Show(book.Open().List(ItemType::Contact));
    };
    EXPECT_EQ(shown({{"1.vcf", "1"}, {"2.vcf", "2"}}), "1.vcf=1|2.vcf=2|");
    EXPECT_EQ(shown({{"1.vcf", "1"}, {"2.vcf", "1"}}), "1.vcf=1|2.vcf=1!1.vcf has the same UID 1|")
        << "one is named by it";
    EXPECT_EQ(shown({{"1.vcf", "2"}, {"2.vcf", "2"}}), "1.vcf=2|2.vcf=2!1.vcf has the same UID 2|")
        << "the second is named by it";
    EXPECT_EQ(shown({{"1.VCF", "1"}, {"1.vcf", "1"}}), "1.VCF=1|1.vcf=1!1.VCF has the same UID 1|");
    EXPECT_EQ(shown({{"a.vcf", "1"}, {"b.vcf", "1"}, {"c.vcf", "1"}}),
              "a.vcf=1|b.vcf=1!a.vcf has the same UID 1|c.vcf=1!a.vcf has the same UID 1|");
    EXPECT_EQ(shown({{"a.vcf", ""}, {"b.vcf", ""}}), "a.vcf|b.vcf|") << "no UID is none";
}

// --- Listings that are expected -----------------------------------------------------------------------------------

std::string EventText(const std::string& kind, const std::string& uid) {
    return "BEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:" + kind + "\nUID:" + uid +
           "\nSUMMARY:x\nDTSTART:20260302T100000Z\nEND:" + kind + "\nEND:VCALENDAR\n";
}

// A store of all three types.
struct Shelf : Book {
    std::vector<std::unique_ptr<ItemFormat>> formats = AllFormats("UTC");

    Shelf() {
        files.Put("a.vcf", CardText("1", "Ada"));
        files.Put("b.ics", EventText("VEVENT", "2"));
        files.Put("c.vcf", CardText("3", "Cleo"));
        files.Put("d.ics", EventText("VTODO", "4"));
        std::vector<const ItemFormat*> all;
        for (const auto& format : formats) all.push_back(format.get());
        store = std::make_unique<FolderStore>(kFolder, all, files, cache, durability);
        store->Mark();
    }
    std::string List(ItemType type) {
        sync::Listing listing = store->List(type);
        return (listing.trusted ? "" : "untrusted: ") + Show(listing);
    }
    std::size_t Looks() const {
        return static_cast<std::size_t>(std::count_if(files.calls.begin(), files.calls.end(),
                                                      [](const auto& call) { return call.starts_with("list"); }));
    }
};

const std::vector<ItemType> kAll{std::begin(sync::kAllItemTypes), std::end(sync::kAllItemTypes)};

TEST(FolderStore, ListingsThatAreExpectedReadTheFolderOnce) {
    Shelf shelf;
    const std::size_t before = shelf.Looks();
    shelf.store->ExpectLists(kAll);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(shelf.List(ItemType::Appointment), "b.ics=2|");
        EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|");
        EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=4|");
        EXPECT_EQ(shelf.Looks() - before, round == 0 ? 1U : 4U) << "each is expected once";
    }
}

TEST(FolderStore, AListingThatIsNotExpectedSeesTheFolderAsItIs) {
    Shelf shelf;
    shelf.store->ExpectLists({ItemType::Contact});
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=4|");
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|");
    shelf.files.Put("e.vcf", CardText("5", "Eve"));
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|e.vcf=5|");
    shelf.store->ExpectLists(kAll);
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|e.vcf=5|");
    shelf.files.Put("f.ics", EventText("VTODO", "6"));
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|e.vcf=5|");
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=4|") << "as it was when it was looked at";
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=4|f.ics=6|");
    shelf.store->ExpectLists(kAll);
    shelf.store->ExpectLists({ItemType::Task});
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=4|f.ics=6|");
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|e.vcf=5|") << "no longer expected, and whole";
}

TEST(FolderStore, AFolderThatCannotBeReadAheadIsNotTakenForEmpty) {
    Shelf shelf;
    shelf.store->ExpectLists(kAll);
    shelf.files.before = [&](const std::string& call) {
        if (call.starts_with("list")) shelf.files.failAt = static_cast<int>(shelf.files.calls.size());
    };
    EXPECT_THROW(shelf.store->List(ItemType::Contact), StoreError);
    shelf.files.before = nullptr;
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=4|");
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|");
}

TEST(FolderStore, ALookAheadThatFailsInAnyWayIsNotTakenForAnEmptyFolder) {
    Shelf shelf;
    shelf.store->ExpectLists(kAll);
    shelf.files.before = [](const std::string& call) {
        if (call.starts_with("list")) throw std::bad_alloc();
    };
    EXPECT_THROW(shelf.store->List(ItemType::Contact), std::bad_alloc);
    shelf.files.before = nullptr;
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|");
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=4|");
}

TEST(FolderStore, TheMarkerIsMissedInEachExpectedListing) {
    Shelf shelf;
    shelf.files.Remove(kFolder + "/" + FolderStore::kMarkerName);
    shelf.store->ExpectLists(kAll);
    for (const ItemType type : kAll) EXPECT_THAT(shelf.List(type), testing::StartsWith("untrusted: "));
    shelf.files.Put(FolderStore::kMarkerName, "x\n");
    shelf.store->ExpectLists(kAll);
    for (const ItemType type : kAll) EXPECT_THAT(shelf.List(type), testing::Not(testing::StartsWith("untrusted: ")));
}

TEST(FolderStore, WhatChangesAfterTheLookAheadIsSeenNow) {
    Shelf shelf;
    shelf.store->ExpectLists(kAll);
    EXPECT_EQ(shelf.List(ItemType::Contact), "a.vcf=1|c.vcf=3|");
    shelf.files.Put("d.ics", EventText("VTODO", "9"));
    shelf.files.Remove(kFolder + "/b.ics");
    EXPECT_EQ(shelf.List(ItemType::Appointment), "") << "gone before it was read";
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=9|");
    shelf.store->ExpectLists(kAll);
    EXPECT_EQ(shelf.List(ItemType::Task), "d.ics=9|");
}

TEST(FolderStore, WhatItWroteIsKnownWhetherItWasFlushedOrNot) {
    Book book;
    const auto makeAndDelete = [&](const std::string& a, const std::string& b) {
        const auto gone = book.store->Create(Person("Gone"), a);
        EXPECT_EQ(book.store->Create(Person("Kept"), b).id, b + ".vcf");
        EXPECT_FALSE(book.store->Delete(ItemType::Contact, gone.id, ""));
        EXPECT_TRUE(book.store->ChangedAt(b + ".vcf"));
        EXPECT_FALSE(book.store->ChangedAt(a + ".vcf"));
    };
    const auto saved = [&] {
        std::string names;
        for (const auto& [name, file] : book.cache.Load()) names += name + " ";
        return names;
    };
    book.Open();
    makeAndDelete("a", "b");  // nothing was listed before
    EXPECT_EQ(saved(), "");
    book.store->Flush();
    EXPECT_EQ(saved(), "b.vcf ");
    makeAndDelete("c", "d");
    makeAndDelete("e", "f");
    EXPECT_EQ(Show(book.store->List(ItemType::Contact)), "b.vcf=b|d.vcf=d|f.vcf=f|");
    EXPECT_FALSE(book.store->Delete(ItemType::Contact, "b.vcf", ""));
    book.store->Flush();
    EXPECT_EQ(saved(), "d.vcf f.vcf ");
    EXPECT_FALSE(book.store->Delete(ItemType::Contact, "d.vcf", "")) << "not looked at since the flush";
    book.store->Flush();
    EXPECT_EQ(saved(), "f.vcf ");
    EXPECT_EQ(Show(book.Open().List(ItemType::Contact)), "f.vcf=f|");
}

TEST(FolderStore, WhatWentIsForgottenAndWhatWasNotReadIsNot) {
    Book book;
    for (const char* name : {"a", "b", "c", "d"}) book.files.Put(std::string(name) + ".vcf", CardText(name, "Ada"));
    book.Open().List(ItemType::Contact);
    book.files.Remove(kFolder + "/a.vcf");
    book.files.Remove(kFolder + "/d.vcf");
    book.files.Put("aa.vcf", CardText("aa", "Bea"));
    book.files.Put("c.vcf", CardText("c", "Cleo"));
    book.files.Put("e.vcf", CardText("e", "Dee"));
    book.files.before = [](const std::string& call) {
        if (call == "read c.vcf") throw FileError(EIO, "cannot read c.vcf");
    };
    EXPECT_EQ(Show(book.Open().List(ItemType::Contact)), "aa.vcf=aa|b.vcf=b|c.vcf!cannot read c.vcf|e.vcf=e|");
    std::vector<std::string> known;
    for (const auto& [name, file] : book.cache.Load()) known.push_back(name);
    EXPECT_THAT(known, ElementsAre("aa.vcf", "b.vcf", "c.vcf", "e.vcf"));
}

TEST(FolderStore, NothingOutsideTheFolderIsTouched) {
    Book book;
    book.Open();
    book.files.calls.clear();
    for (const char* id : {"../x.vcf", "/etc/x.vcf", "a/b.vcf", ".kezfolder", "", "x.txt", ".x.vcf"}) {
        EXPECT_EQ(book.store->Read(ItemType::Contact, id).problem.code, ProblemCode::Refused) << id;
        EXPECT_EQ(book.store->Update(id, Person("Ada"), "").problem.code, ProblemCode::Refused) << id;
        EXPECT_EQ(book.store->Delete(ItemType::Contact, id, "").code, ProblemCode::Refused) << id;
    }
    EXPECT_THAT(book.files.calls, IsEmpty());
}

TEST(FolderStore, UnchangedFilesAreNotReadAgain) {
    Book book;
    book.files.Put("a.vcf", CardText("1", "Ada"));
    book.files.Put("b.vcf", CardText("2", "Bea"));
    auto first = book.Open().List(ItemType::Contact);
    book.files.calls.clear();
    auto second = book.Open().List(ItemType::Contact);
    EXPECT_THAT(book.files.calls, testing::Not(testing::Contains(HasSubstr("read"))));
    EXPECT_EQ(Show(first), Show(second));
    book.files.Put("b.vcf", CardText("2", "Bee"));
    book.files.Put("a.vcf", CardText("1", "Ada"));  // touched: the same bytes
    auto third = book.Open().List(ItemType::Contact);
    EXPECT_EQ(third.items[0].revision, first.items[0].revision);
    EXPECT_NE(third.items[1].revision, first.items[1].revision);
    book.files.Remove(kFolder + "/a.vcf");
    EXPECT_EQ(Show(book.Open().List(ItemType::Contact)), "b.vcf=2|");
    EXPECT_EQ(book.cache.Load().size(), 1U);
}

TEST(FolderStore, AStampThatIsTooYoungIsNotTrusted) {
    Book book;
    book.files.Put("a.vcf", CardText("1", "Ada"));
    std::string before = book.Open().List(ItemType::Contact).items[0].revision;
    // As if the file had been read in the very moment of its change.
    auto cached = book.cache.Load();
    cached["a.vcf"].checked = cached["a.vcf"].stamp.modified;
    book.cache.Save({{"a.vcf", cached["a.vcf"]}});
    book.files.calls.clear();
    EXPECT_EQ(book.Open().List(ItemType::Contact).items[0].revision, before);
    EXPECT_THAT(book.files.calls, testing::Contains("read a.vcf"));
}

TEST(SaidChange, IsReadInEveryFormItIsWrittenIn) {
    const std::int64_t moment = 1772445600;  // 2026-03-02 10:00:00 UTC
    for (const auto& [line, seconds] :
         std::vector<std::pair<std::string, std::int64_t>>{{"REV:20260302T100000Z", moment},
                                                           {"rev:2026-03-02T10:00:00Z", moment},
                                                           {"REV:2026-03-02T10:00:00.123Z", moment},
                                                           {"REV;VALUE=DATE-AND-OR-TIME:20260302T100000", moment},
                                                           {"REV:2026-03-02T12:00:00+02:00", moment},
                                                           {"REV:20260302T053000-0430", moment},
                                                           {"REV:20260302T120000+02", moment},
                                                           {"LAST-MODIFIED:20260302T100000Z", moment},
                                                           {"LAST-MODIFIED;X-P=\"a:7\":20260302T100000Z", moment},
                                                           {"REV:2026-03-02", 0},
                                                           {"REV:20260230T100000Z", 0},
                                                           {"REV:20260302T250000Z", 0},
                                                           {"REV:20260302T10", 0},
                                                           {"REV:2026", 0},
                                                           {"REV:", 0},
                                                           {"REV", 0},
                                                           {"REVISION:20260302T100000Z", 0},
                                                           {"NOTE:REV:20260302T100000Z", 0}}) {
        EXPECT_EQ(SaidChange("BEGIN:VCARD\r\n" + line + "\r\nEND:VCARD\r\n"), seconds) << line;
    }
    EXPECT_EQ(SaidChange("REV:20260302T100000Z\nREV:20260302T100001Z"), moment + 1);
    EXPECT_EQ(
        SaidChange("begin:vtimezone\nLAST-MODIFIED:20300101T000000Z\nend:vtimezone\nLAST-MODIFIED:20260302T100000Z"),
        moment);
    EXPECT_EQ(SaidChange(""), 0);
}

TEST(FolderStore, AChangedFileTellsWhenWhereThatIsNews) {
    const auto card = [](const std::string& name, const std::string& rev) {
        return "BEGIN:VCARD\nVERSION:3.0\nFN:" + name + "\nN:;" + name + ";;;\n" + rev + "END:VCARD\n";
    };
    constexpr std::int64_t kSecond = 1'000'000'000;
    Book book;
    const auto changed = [&book] {
        FolderStore& store = book.Open();
        (void)store.List(ItemType::Contact);
        return store.ChangedAt("ada.vcf");
    };
    const auto written = [&book] { return book.files.Look(kFolder + "/ada.vcf").stamp.modified; };
    book.files.Put("ada.vcf", card("Ada", "REV:20260302T100000Z\n"));
    EXPECT_EQ(changed(), 1772445600 * kSecond) << "a new file is believed";
    book.files.Put("ada.vcf", card("Ada King", "REV:20260302T100000Z\n"));
    EXPECT_EQ(changed(), written()) << "who changed the name left the time alone";
    book.files.Put("ada.vcf", card("Ada Byron", "REV:20260302T100001Z\n"));
    EXPECT_EQ(changed(), 1772445601 * kSecond);
    EXPECT_EQ(changed(), 1772445601 * kSecond) << "it was looked at twice";
    book.files.Put("ada.vcf", card("Ada Byron", ""));
    EXPECT_EQ(changed(), written());
    book.files.Remove(kFolder + "/ada.vcf");
    EXPECT_EQ(changed(), std::nullopt);
}

TEST(FolderStore, AFolderThatIsNoneIsRefused) {
    RealFileLayer files;
    MemoryFolderCache cache;
    CardFormat cards;
    auto open = [&](const std::string& path) {
        try {
            FolderStore store(path, {&cards}, files, cache);
        } catch (const StoreError& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_THAT(open("/no/such/folder"), HasSubstr("/no/such/folder: there is no such folder"));
    EXPECT_THAT(open("/dev/null"), HasSubstr("/dev/null is no folder"));
}

TEST(FolderStore, TheMarkerTellsAFolderFromAnEmptyPlace) {
    Book book;
    EXPECT_EQ(book.Open().Identity(), "");
    book.store->Mark();
    std::string identity = book.store->Identity();
    EXPECT_EQ(identity, "random-1");
    book.store->Mark();
    EXPECT_EQ(book.Open().Identity(), identity);
    EXPECT_TRUE(book.store->List(ItemType::Contact).trusted);
    book.files.Remove(kFolder + "/.kezfolder");
    auto listing = book.store->List(ItemType::Contact);
    EXPECT_FALSE(listing.trusted);
    EXPECT_THAT(listing.findings[0].text, HasSubstr("marker file is gone"));
}

// --- Writing -----------------------------------------------------------------------------------------------------

TEST(FolderStore, ANewItemIsAFileNamedByItsUid) {
    Book book;
    auto result = book.Open().Create(Person("Ada"), "uid-1");
    EXPECT_FALSE(result.problem);
    EXPECT_EQ(result.id, "uid-1.vcf");
    EXPECT_EQ(result.held, Person("Ada"));
    EXPECT_EQ(result.revision, book.store->Read(ItemType::Contact, "uid-1.vcf").revision);
    EXPECT_EQ(Show(book.store->List(ItemType::Contact)), "uid-1.vcf=uid-1|");
    EXPECT_THAT(book.files.Visible()["uid-1.vcf"], HasSubstr("REV:2026-03-02T10:00:0"));
    // Names that are no file names, and none at all.
    EXPECT_EQ(book.store->Create(Person("Bea"), "../x").id, "random-1.vcf");
    EXPECT_EQ(book.store->Read(ItemType::Contact, "random-1.vcf").raw.find("UID:../x") != std::string::npos, true);
    EXPECT_EQ(book.store->Create(Person("Cleo"), "").id, "random-2.vcf");
}

TEST(FolderStore, NothingIsMadeTwice) {
    Book book;
    EXPECT_FALSE(book.Open().Create(Person("Ada"), "1").problem);
    auto again = book.Open().Create(Person("Ada"), "1");
    EXPECT_EQ(again.problem.code, ProblemCode::Duplicate);
    EXPECT_EQ(again.problem.where, "1.vcf");
    // A file of that name that is another item's is no obstacle.
    book.files.Put("2.vcf", CardText("other", "Bea"));
    EXPECT_EQ(book.store->Create(Person("Cleo"), "2").id, "2-2.vcf");
    EXPECT_THAT(book.Names(), ElementsAre("1.vcf", "2-2.vcf", "2.vcf"));
}

TEST(FolderStore, ItemsThatAreMadeTogetherAreAllOnTheirWayToTheDiskBeforeOneIsWaitedFor) {
    const std::vector<Item> people{Person("Ada"), Person("Bea"), Person("Cleo")};
    Book book;
    book.Open();
    book.files.calls.clear();
    const auto made = book.store->CreateAll(people);
    ASSERT_EQ(made.size(), 3u);
    for (std::size_t i = 0; i < made.size(); ++i) {
        EXPECT_FALSE(made[i].problem) << made[i].problem.text;
        EXPECT_EQ(made[i].held, people[i]);
        EXPECT_EQ(made[i].id, "random-" + std::to_string(i + 1) + ".vcf");
        EXPECT_EQ(made[i].revision, book.store->Read(ItemType::Contact, made[i].id).revision);
    }
    EXPECT_THAT(book.files.started, ElementsAre(".kez-77-1.tmp", ".kez-77-2.tmp", ".kez-77-3.tmp"));
    std::string order;
    for (const std::string& call : book.files.calls) {
        if (call.starts_with("write")) order += 'w';
        if (call.starts_with("sync .kez")) order += 's';
        if (call.starts_with("make") || call.starts_with("rename")) order += 'r';
    }
    EXPECT_EQ(order, "wwwsssrrr");
    EXPECT_TRUE(book.store->CreateAll({}).empty());

    book.durability = Durability::None;
    book.files.started.clear();
    (void)book.Open().CreateAll(people);
    EXPECT_THAT(book.files.started, IsEmpty());
}

TEST(FolderStore, OfItemsThatAreMadeTogetherOneThatFailsKeepsNoOtherBack) {
    for (const std::string failing : {"write", "sync", "rename"}) {
        Book book;
        book.Open();
        int count = 0;
        book.files.before = [&](const std::string& call) {
            if (call.starts_with(failing) && ++count == 2) throw FileError(EIO, failing + " failed");
        };
        const auto made =
            book.store->CreateAll({Person("Ada"), Person("Bea"), Item{ItemType::Task, {}}, Person("Cleo")});
        book.files.before = nullptr;
        EXPECT_EQ(count, 3) << failing;
        ASSERT_EQ(made.size(), 4u);
        EXPECT_FALSE(made[0].problem);
        EXPECT_EQ(made[1].problem.text, failing + " failed");
        EXPECT_EQ(made[2].problem.code, ProblemCode::Refused);
        EXPECT_FALSE(made[3].problem);
        EXPECT_THAT(book.Names(), ElementsAre(made[0].id, made[3].id)) << "no hidden file is left";
    }
}

TEST(FolderStore, AFolderThatTakesNothingMoreIsLeftWithoutHalfMadeItems) {
    Book book;
    book.Open();
    book.files.before = [&](const std::string& call) {
        if (call == "write .kez-77-3.tmp") throw FileError(EROFS, "read-only");
    };
    EXPECT_THROW((void)book.store->CreateAll({Person("Ada"), Person("Bea"), Person("Cleo")}), StoreError);
    book.files.before = nullptr;
    EXPECT_THAT(book.Names(), IsEmpty());
}

TEST(FolderStore, AnUpdateChangesTheLinesThatDiffer) {
    Book book;
    book.files.Put("a.vcf", CardText("1", "Ada"));
    Item wanted = book.Open().Read(ItemType::Contact, "a.vcf").item;
    wanted.fields["JobTitle"] = "Countess";
    std::string revision = book.store->Read(ItemType::Contact, "a.vcf").revision;
    auto result = book.store->Update("a.vcf", wanted, revision);
    EXPECT_FALSE(result.problem);
    EXPECT_EQ(result.held, wanted);
    EXPECT_EQ(book.files.Visible()["a.vcf"],
              "BEGIN:VCARD\nVERSION:3.0\nUID:1\nFN:Ada\nN:;Ada;;;\nX-KEEP:me\nTITLE:Countess\nEND:VCARD\n");
    EXPECT_EQ(book.store->Update("a.vcf", wanted, revision).problem.code, ProblemCode::ChangedMeanwhile);
    // What is so already is not written.
    book.files.calls.clear();
    EXPECT_EQ(book.store->Update("a.vcf", wanted, result.revision).revision, result.revision);
    EXPECT_THAT(book.files.calls, ElementsAre("read a.vcf"));
}

TEST(FolderStore, AChangeOfSomebodyElseIsNotOverwritten) {
    Book book;
    book.files.Put("a.vcf", CardText("1", "Ada"));
    auto read = book.Open().Read(ItemType::Contact, "a.vcf");
    book.files.before = [&](const std::string& call) {
        if (call.starts_with("write")) {
            book.files.before = nullptr;
            book.files.Put("a.vcf", CardText("1", "Eve"));
        }
    };
    EXPECT_EQ(book.store->Update("a.vcf", Person("Ada"), read.revision).problem.code, ProblemCode::ChangedMeanwhile);
    EXPECT_EQ(book.files.Visible(), (std::map<std::string, std::string>{{"a.vcf", CardText("1", "Eve")}}));
    EXPECT_EQ(book.store->Delete(ItemType::Contact, "a.vcf", read.revision).code, ProblemCode::ChangedMeanwhile);
    EXPECT_EQ(book.store->Update("gone.vcf", Person("Ada"), "").problem.code, ProblemCode::Gone);
}

TEST(FolderStore, DeletingWhatIsGoneSucceeds) {
    Book book;
    book.files.Put("a.vcf", CardText("1", "Ada"));
    std::string revision = book.Open().List(ItemType::Contact).items[0].revision;
    EXPECT_FALSE(book.store->Delete(ItemType::Contact, "a.vcf", revision));
    EXPECT_FALSE(book.store->Delete(ItemType::Contact, "a.vcf", revision));
    EXPECT_THAT(book.Names(), IsEmpty());
    EXPECT_EQ(Show(book.store->List(ItemType::Contact)), "");
}

TEST(FolderStore, ABrokenFileIsNeverRewritten) {
    Book book;
    book.files.Put("a.vcf", "garbage");
    EXPECT_EQ(book.Open().Update("a.vcf", Person("Ada"), "").problem.code, ProblemCode::Unreadable);
    EXPECT_EQ(book.files.Visible()["a.vcf"], "garbage");
    EXPECT_EQ(book.store->Create({ItemType::Task, {{"Subject", "x"}}}, "1").problem.code, ProblemCode::Refused);
}

TEST(FolderStore, LeftoversOfKilledRunsGoBeforeTheFirstWrite) {
    Book book;
    for (const char* name : {".kez-1234-1.tmp", ".kez-77-9.tmp", ".kez-x.tmp", ".kez-note"}) book.files.Put(name, "x");
    EXPECT_FALSE(book.Open().Create(Person("Ada"), "1").problem);
    EXPECT_THAT(book.Names(), ElementsAre(".kez-note", ".kez-x.tmp", "1.vcf"));
    // Another run that is still at work keeps its file.
    book.files.processesLive = true;
    book.files.Put(".kez-1234-1.tmp", "x");
    EXPECT_FALSE(book.Open().Create(Person("Bea"), "2").problem);
    EXPECT_THAT(book.Names(), testing::Contains(".kez-1234-1.tmp"));
}

TEST(FolderStore, DurabilityIsPaidForAsItIsSet) {
    auto syncs = [](Durability durability) {
        Book book;
        book.durability = durability;
        book.Open();
        for (int i = 0; i < 150; i++) EXPECT_FALSE(book.store->Create(Person("Ada"), std::to_string(i)).problem);
        book.store->Flush();
        book.store->Flush();
        int files = 0, folders = 0;
        for (const auto& call : book.files.calls) {
            files += call.starts_with("sync .kez-");
            folders += call == "sync .";
        }
        return std::pair(files, folders);
    };
    EXPECT_EQ(syncs(Durability::Item), std::pair(150, 150));
    EXPECT_EQ(syncs(Durability::Batch), std::pair(150, 2));
    EXPECT_EQ(syncs(Durability::None), std::pair(0, 0));
}

TEST(FolderStore, AFolderThatCannotBeWrittenStopsTheRun) {
    for (int error : {EACCES, EROFS}) {
        Book book;
        book.Open();
        book.files.calls.clear();
        book.files.failWith = error;
        book.files.failAt = 2;  // after looking for leftovers, the write
        EXPECT_THROW(
            {
                try {
                    (void)book.store->Create(Person("Ada"), "1");
                } catch (const StoreError& e) {
                    EXPECT_THAT(e.what(), HasSubstr("nothing can be written to /book"));
                    throw;
                }
            },
            StoreError);
    }
}

// --- Failures and power cuts at every moment ---------------------------------------------------------------------

struct Step {
    std::string what;
    std::function<sync::Problem(FolderStore&)> run;
};

std::vector<Step> Steps() {
    return {
        {"create", [](FolderStore& s) { return s.Create(Person("New"), "new").problem; }},
        {"update", [](FolderStore& s) { return s.Update("a.vcf", Person("Changed"), "").problem; }},
        {"delete", [](FolderStore& s) { return s.Delete(ItemType::Contact, "b.vcf", ""); }},
    };
}

Book& Filled(Book& book) {
    book.files.Put(".kezfolder", "id\n");
    book.files.Put("a.vcf", CardText("a", "Ada"));
    book.files.Put("b.vcf", CardText("b", "Bea"));
    book.files.calls.clear();
    return book;
}

TEST(FolderStoreFaults, EveryFileOperationMayFail) {
    for (const auto& step : Steps()) {
        Book clean;
        EXPECT_FALSE(step.run(Filled(clean).Open()));
        clean.store->Flush();
        int total = static_cast<int>(clean.files.calls.size());
        ASSERT_GT(total, 3) << step.what;
        for (int n = 1; n <= total; n++) {
            for (int error : {EIO, ENOSPC, EACCES}) {
                Book book;
                Filled(book).files.failAt = n;
                book.files.failWith = error;
                bool failed = false;
                std::string message;
                try {
                    book.Open();
                    sync::Problem problem = step.run(*book.store);
                    failed = static_cast<bool>(problem);
                    message = problem.text;
                    book.store->Flush();
                } catch (const StoreError& e) {
                    failed = true;
                    message = e.what();
                }
                std::string where =
                    step.what + ", call " + std::to_string(n) + ": " + book.files.calls[std::size_t(n) - 1];
                EXPECT_TRUE(!failed || message.size() > 10) << where;
                // Old or new, nothing half, and nothing of another item.
                auto now = book.files.Visible();
                EXPECT_TRUE(now["a.vcf"] == CardText("a", "Ada") || now["a.vcf"] == clean.files.Visible()["a.vcf"])
                    << where;
                if (now.count("b.vcf")) {
                    EXPECT_EQ(now["b.vcf"], CardText("b", "Bea")) << where;
                }
                if (now.count("new.vcf")) {
                    EXPECT_EQ(ReadCard(now["new.vcf"], "").item, Person("New")) << where;
                }
                // Run again, it ends as if it had not failed.
                book.files.failAt = 0;
                sync::Problem again = step.run(book.Open());
                EXPECT_TRUE(!again || again.code == ProblemCode::Duplicate) << where << again.text;
                book.store->Flush();
                for (const auto& [name, bytes] : clean.files.Visible())
                    EXPECT_EQ(book.files.Visible().count(name), 1U) << where << " " << name;
                EXPECT_EQ(book.files.Visible().size(), clean.files.Visible().size()) << where;
            }
        }
    }
}

TEST(FolderStoreFaults, OfItemsThatAreMadeTogetherThoseAreThereThatAreSaidToBe) {
    const std::vector<Item> people{Person("Ada"), Person("Bea"), Person("Cleo")};
    for (Durability durability : {Durability::Item, Durability::Batch}) {
        int total = 1;
        for (int n = 1; n <= total; n++) {
            for (int error : {EIO, ENOSPC, EROFS}) {
                Book book;
                book.durability = durability;
                Filled(book).Open();
                book.files.calls.clear();
                book.files.failAt = n;
                book.files.failWith = error;
                std::size_t said = 2;  // there were two before
                bool stopped = false;
                try {
                    for (const auto& made : book.store->CreateAll(people)) said += !made.problem;
                } catch (const StoreError&) {
                    stopped = true;
                }
                total = std::max(total, static_cast<int>(book.files.calls.size()));
                const std::string where = "call " + std::to_string(n) + ": " + book.files.calls[std::size_t(n) - 1];
                std::size_t there = 0;
                for (const std::string& name : book.Names()) {
                    EXPECT_FALSE(name.starts_with(".kez-")) << where << " left " << name;
                    there += name[0] != '.';
                }
                if (!stopped) {
                    EXPECT_EQ(there, said) << where;
                }
            }
        }
        EXPECT_GT(total, 12);
    }
}

TEST(FolderStoreFaults, APowerCutAtAnyMomentLeavesOldOrNew) {
    struct Cut {};
    for (Durability durability : {Durability::Item, Durability::Batch}) {
        for (int n = 1; n < 200; n++) {
            Book book;
            book.durability = durability;
            Filled(book);
            bool flushed = false;
            int count = 0;
            book.files.before = [&](const std::string&) {
                if (++count == n) throw Cut{};
            };
            try {
                book.Open();
                for (const auto& step : Steps()) EXPECT_FALSE(step.run(*book.store));
                book.store->Flush();
                flushed = true;
            } catch (const Cut&) {
            }
            book.files.before = nullptr;
            book.files.PowerCut();
            auto now = book.files.Visible();
            Item a = ReadCard(now["a.vcf"], "").item;
            EXPECT_TRUE(now["a.vcf"] == CardText("a", "Ada") || a == Person("Changed")) << n << now["a.vcf"];
            if (now.count("b.vcf")) {
                EXPECT_EQ(now["b.vcf"], CardText("b", "Bea")) << n;
            }
            if (now.count("new.vcf")) {
                EXPECT_EQ(ReadCard(now["new.vcf"], "").item, Person("New")) << n;
            }
            if (!flushed) continue;
            EXPECT_EQ(a, Person("Changed"));
            EXPECT_EQ(now.count("b.vcf"), 0U);
            EXPECT_EQ(now.count("new.vcf"), 1U);
            break;
        }
    }
}

// --- The real file system ----------------------------------------------------------------------------------------

class RealFolder : public ::testing::Test {
 protected:
    void SetUp() override {
        char text[] = "/tmp/kez-folder-XXXXXX";
        m_path = mkdtemp(text);
    }
    void TearDown() override { std::filesystem::remove_all(m_path); }
    FolderStore Open() { return FolderStore(m_path, {&m_cards}, m_files, m_cache, Durability::None); }

    std::string m_path;
    RealFileLayer m_files;
    MemoryFolderCache m_cache;
    CardFormat m_cards;
};

TEST_F(RealFolder, AListThatIsMadeAheadIsTheSame) {
    for (int i = 0; i < 300; ++i) std::ofstream(m_path + "/" + std::to_string(i) + (i % 3 ? ".vcf" : ".txt")) << i;
    const NameFilter cards = [](std::string_view name) { return name.ends_with(".vcf"); };
    auto ahead = m_files.ListAhead(m_path, cards).get();
    const auto now = m_files.List(m_path, cards);
    ASSERT_EQ(ahead.size(), 200U);
    EXPECT_TRUE(std::is_sorted(now.begin(), now.end(), [](const auto& a, const auto& b) { return a.name < b.name; }));
    EXPECT_TRUE(std::equal(ahead.begin(), ahead.end(), now.begin(), now.end(), [](const auto& a, const auto& b) {
        return a.name == b.name && a.kind == b.kind && a.stamp == b.stamp;
    }));
    auto missing = m_files.ListAhead(m_path + "/none", cards);
    EXPECT_THROW(missing.get(), FileError);
}

TEST_F(RealFolder, AListThatIsMadeAheadIsMadeBesideItsCaller) {
    std::ofstream(m_path + "/a.vcf") << "a";
    std::thread::id asked;
    auto ahead = m_files.ListAhead(m_path, [&](std::string_view) {
        asked = std::this_thread::get_id();
        return true;
    });
    ASSERT_EQ(ahead.wait_for(std::chrono::minutes(1)), std::future_status::ready) << "begins without being asked for";
    EXPECT_EQ(ahead.get().size(), 1U);
    EXPECT_NE(asked, std::this_thread::get_id());
}

// Looks ahead before it says so: what comes after comes too late for it.
struct QuickFiles : RealFileLayer {
    std::future<std::vector<FileEntry>> ListAhead(const std::string& folder, NameFilter wanted) override {
        auto look = RealFileLayer::ListAhead(folder, std::move(wanted));
        look.wait();
        return look;
    }
};

TEST_F(RealFolder, AnotherFolderThatIsInItsPlaceForAWhileIsNotLookedAtAhead) {
    for (const char* name : {"a", "b"}) std::ofstream(m_path + "/" + name + ".vcf") << CardText(name, "Ada");
    QuickFiles files;
    FolderStore store(m_path, {&m_cards}, files, m_cache, Durability::None);
    store.Mark();
    const std::string away = m_path + "-away";
    std::filesystem::rename(m_path, away);
    std::filesystem::create_directory(m_path);
    std::filesystem::copy_file(away + "/.kezfolder", m_path + "/.kezfolder");
    store.ExpectLists({ItemType::Contact});
    EXPECT_THROW(store.List(ItemType::Contact), StoreError);
    store.ExpectLists({ItemType::Contact});
    std::filesystem::rename(m_path, m_path + "-other");
    std::filesystem::rename(away, m_path);
    const sync::Listing listing = store.List(ItemType::Contact);
    EXPECT_TRUE(listing.trusted);
    EXPECT_EQ(Show(listing), "a.vcf=a|b.vcf=b|");
    std::filesystem::remove_all(m_path + "-other");
}

TEST_F(RealFolder, AStoreThatGoesWaitsForItsLookAhead) {
    for (int i = 0; i < 300; ++i) std::ofstream(m_path + "/" + std::to_string(i) + ".vcf") << i;
    for (int i = 0; i < 20; ++i) Open().ExpectLists({ItemType::Contact});
    FolderStore store = Open();
    store.ExpectLists({ItemType::Contact});
    EXPECT_EQ(store.List(ItemType::Contact).items.size(), 300U);
}

TEST_F(RealFolder, NamesOfExpectedItemsAreRandomAndComeInTheirOrder) {
    FolderStore store = Open();
    std::vector<std::string> names;
    const auto make = [&](std::size_t count) {
        for (const auto& made : store.CreateAll(std::vector<Item>(count, Person("Ada")))) names.push_back(made.id);
    };
    store.ExpectNew(ItemType::Contact, 300);
    for (int i = 0; i < 30; ++i) make(10);
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), 300u);
    EXPECT_LT(names.front(), "01");
    EXPECT_GT(names.back(), "fe");
    make(1);
    EXPECT_NE(names[300], names[299]) << "one that was not expected has any name";
    store.ExpectNew(ItemType::Contact, 1);
    make(2);
    for (const std::string& name : names) {
        EXPECT_THAT(name,
                    testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}\\.vcf"));
    }
}

TEST_F(RealFolder, ItemsAreMadeChangedAndDeleted) {
    FolderStore store(m_path + "/", {&m_cards}, m_files, m_cache, Durability::Item);
    EXPECT_EQ(store.Name(), m_path);
    store.Mark();
    auto made = store.Create(Person("Ada"), "");
    ASSERT_FALSE(made.problem) << made.problem.text;
    chmod((m_path + "/" + made.id).c_str(), 0640);
    auto changed = store.Update(made.id, Person("Bea"), made.revision);
    ASSERT_FALSE(changed.problem) << changed.problem.text;
    struct stat status;
    ASSERT_EQ(stat((m_path + "/" + made.id).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(store.List(ItemType::Contact).items.size(), 1U);
    EXPECT_EQ(store.Create(Person("Ada"), "x").id, "x.vcf");
    EXPECT_EQ(store.Create(Person("Ada"), "x").problem.code, ProblemCode::Duplicate);
    EXPECT_FALSE(store.Delete(ItemType::Contact, made.id, changed.revision));
    store.Flush();
    EXPECT_EQ(store.List(ItemType::Contact).items.size(), 1U);
    EXPECT_EQ(Open().Identity(), store.Identity());
}

TEST_F(RealFolder, LinksAreNotFollowedOutOfTheFolder) {
    std::ofstream(m_path + "/../kez-outside.vcf") << CardText("1", "Ada");
    std::filesystem::create_symlink(m_path + "/../kez-outside.vcf", m_path + "/in.vcf");
    FolderStore store = Open();
    EXPECT_EQ(store.List(ItemType::Contact).items[0].problem->code, ProblemCode::Unreadable);
    EXPECT_EQ(store.Read(ItemType::Contact, "in.vcf").problem.code, ProblemCode::Unreadable);
    EXPECT_EQ(store.Update("in.vcf", Person("Bea"), "").problem.code, ProblemCode::Unreadable);
    EXPECT_EQ(tests::ReadFile(m_path + "/../kez-outside.vcf"), CardText("1", "Ada"));
    std::filesystem::remove(m_path + "/../kez-outside.vcf");
}

TEST_F(RealFolder, AFolderThatIsReplacedWhileInUseIsNoticed) {
    FolderStore store = Open();
    std::filesystem::rename(m_path, m_path + ".old");
    EXPECT_THROW(store.List(ItemType::Contact), StoreError);
    std::filesystem::create_directory(m_path);
    EXPECT_THROW(store.List(ItemType::Contact), StoreError);
    std::filesystem::remove_all(m_path + ".old");
}

TEST_F(RealFolder, ChangesOfOneTickAreNoticed) {
    FolderStore store = Open();
    for (int i = 0; i < 50; i++) {
        std::ofstream(m_path + "/a.vcf", std::ios::trunc) << CardText("1", "Ada");
        std::string before = store.List(ItemType::Contact).items[0].revision;
        std::ofstream(m_path + "/a.vcf", std::ios::trunc) << CardText("1", "Eve");
        EXPECT_NE(store.List(ItemType::Contact).items[0].revision, before);
    }
}

}  // namespace
}  // namespace kez::partner
