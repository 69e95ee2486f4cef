// Opening the collection of a type, walking it, and deleting all of it.
#include <thread>

#include "platform/control/control.h"
#include "tests/poom/bridge_fixture.h"

namespace kez::tests {
namespace {

class Collection : public Bridge {
 protected:
    Collection() {
        app->folder = folder.Get();
        folder->collection = collection.Get();
    }
    ~Collection() override {
        session.reset();
        for (RecordingItem* made : items) made->Release();
    }
    // An item in the collection with the given identifier.
    RecordingItem* Add(CEOID oid) {
        auto* made = new RecordingItem(calls);
        made->values[PIMPR_OID].ulVal = oid;
        made->shelf = &collection->shelf;
        collection->shelf.push_back(made);
        items.push_back(made);
        return made;
    }
    void Open(DWORD type = 24) {
        ASSERT_TRUE(session->InitializeType(type, 0));
        session->m_iIndex = 1;
        Forget();
    }

    Owned<RecordingFolder> folder{calls};
    Owned<RecordingCollection> collection{calls};
    std::vector<RecordingItem*> items;
};

std::string Pointer(const void* pointer) {
    char text[16] = {};
    _snprintf(text, sizeof(text) - 1, "0x%08x", static_cast<DWORD>(reinterpret_cast<DWORD_PTR>(pointer)));
    return text;
}

TEST_F(Collection, OpensTheFolderOfEachTypeByEitherCode) {
    const struct {
        DWORD type;
        const char* call;
    } cases[] = {{24, "IPOutlookApp::GetDefaultFolder(10)"}, {'A', "IPOutlookApp::GetDefaultFolder(10)"},
                 {25, "IPOutlookApp::GetDefaultFolder(9)"},  {'D', "IPOutlookApp::GetDefaultFolder(9)"},
                 {26, "IPOutlookApp::GetDefaultFolder(13)"}, {'T', "IPOutlookApp::GetDefaultFolder(13)"}};
    for (const auto& each : cases) {
        EXPECT_TRUE(session->InitializeType(each.type, 3));
        EXPECT_EQ(session->m_pCollection, collection.Get());
        EXPECT_EQ(session->m_bInInitializeType, FALSE);
        EXPECT_THAT(calls.Take(), ElementsAre(each.call, "IFolder::get_Items"));
        session->ReleaseItems();
    }
}

TEST_F(Collection, OpeningTracesItsWay) {
    EXPECT_TRUE(session->InitializeType(24, 3));
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{25, "CCEPoom::InitializeType(3) +"}, TraceLine{25, "Getting default folder"},
                            TraceLine{25, "Retrieving collection (m_pCollection = 0x00000000)"},
                            TraceLine{25, "Collection retrieved (m_pCollection = " + Pointer(collection.Get()) + ")"},
                            TraceLine{25, "CCEPoom::InitializeType() returning (hr = 0x00000000) -"}));
}

TEST_F(Collection, AnOpenCollectionStaysAlthoughTheTypeChanges) {
    Open(24);
    EXPECT_TRUE(session->InitializeType(26, 9));
    EXPECT_EQ(session->m_dwDBType, 26u);
    EXPECT_EQ(session->m_pCollection, collection.Get());
    EXPECT_THAT(calls.Take(), IsEmpty());
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CCEPoom::InitializeType(9) +",
                                              "m_pCollection already set, returning early from InitializeType()",
                                              "CCEPoom::InitializeType() returning (hr = 0x00000000) -"));
}

TEST_F(Collection, AnUnknownTypeOpensNothing) {
    EXPECT_FALSE(session->InitializeType('G', 0));
    EXPECT_EQ(session->m_dwDBType, static_cast<DWORD>('G'));
    EXPECT_EQ(session->m_bInInitializeType, FALSE);
    EXPECT_THAT(calls.Take(), IsEmpty());
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CCEPoom::InitializeType(0) +", "Getting default folder",
                                              "CCEPoom::InitializeType() returning (hr = 0x80004005) -"));
}

TEST_F(Collection, OpeningWithoutLogonFails) {
    CCEPoom::m_polApp = nullptr;
    control::PlanFault({"CoCreateInstance", 1, 1, static_cast<std::uint32_t>(E_FAIL)});
    EXPECT_FALSE(session->InitializeType(24, 0));
    control::ClearFaults();
    EXPECT_EQ(session->m_bInInitializeType, FALSE);
    EXPECT_THAT(TakeTraceTexts("CCEPoom::InitializeType"),
                ElementsAre("CCEPoom::InitializeType(0) +", "CCEPoom::InitializeType() returning (hr = 0x80004005) -"));
    CCEPoom::m_polApp = app.Get();
}

TEST_F(Collection, AFolderThatCannotBeHadFailsWithItsCode) {
    calls.Fail("IPOutlookApp::GetDefaultFolder", E_ACCESSDENIED);
    EXPECT_FALSE(session->InitializeType(24, 0));
    EXPECT_EQ(session->m_bInInitializeType, FALSE);
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CCEPoom::InitializeType(0) +", "Getting default folder",
                                              "CCEPoom::InitializeType() returning (hr = 0x80070005) -"));
}

TEST_F(Collection, ACollectionThatCannotBeHadFailsAndCanBeAskedAgain) {
    calls.Fail("IFolder::get_Items", E_FAIL);
    EXPECT_FALSE(session->InitializeType(24, 0));
    EXPECT_EQ(session->m_pCollection, nullptr);
    EXPECT_THAT(TakeTraceTexts("Coll"), ElementsAre("Collection retrieved (m_pCollection = 0x00000000)"));
    EXPECT_TRUE(session->InitializeType(24, 0));
    EXPECT_EQ(session->m_pCollection, collection.Get());
}

TEST_F(Collection, WaitsTwentyOneSecondsForTheFlagAndThenOpensAnyway) {
    control::SetSleepPolicy(control::SleepPolicy::Recorded);
    std::thread holder([this] { session->m_bInInitializeType.store(TRUE, std::memory_order_relaxed); });
    holder.join();

    EXPECT_TRUE(session->InitializeType(24, 0));

    EXPECT_EQ(control::TakeRecordedSleeps(), std::vector<std::uint32_t>(21, 1000));
    control::SetSleepPolicy(control::SleepPolicy::Real);
    EXPECT_EQ(session->m_pCollection, collection.Get());
    EXPECT_EQ(session->m_bInInitializeType, FALSE);
    Texts expected(21, "m_bInInitializeType == TRUE, sleeping for 1 second");
    expected.insert(expected.begin(), "CCEPoom::InitializeType(0) +");
    expected.push_back("Slept for 20 seconds, ending loop");
    Texts traces = TakeTraceTexts();
    traces.resize(expected.size());
    EXPECT_EQ(traces, expected);
}

TEST_F(Collection, AFlagThatAnotherThreadLowersEndsTheWait) {
    control::SetSleepPolicy(control::SleepPolicy::Recorded);
    session->m_bInInitializeType = TRUE;
    // The other caller is done when the third second has gone by.
    int seconds = 0;
    const int idle = control::AddIdleWork([&] {
        if (++seconds < 3) return;
        std::thread([this] { session->m_bInInitializeType.store(FALSE, std::memory_order_relaxed); }).join();
    });
    EXPECT_TRUE(session->InitializeType(24, 0));
    control::RemoveIdleWork(idle);
    EXPECT_EQ(control::TakeRecordedSleeps().size(), 3u);
    control::SetSleepPolicy(control::SleepPolicy::Real);
    EXPECT_THAT(TakeTraceTexts("Slept"), IsEmpty());
}

TEST_F(Collection, CountsItsItems) {
    Add(1);
    Add(2);
    Open();
    EXPECT_EQ(session->GetRecordCount(), 2);
    EXPECT_THAT(TakeTraces(), IsEmpty());
    calls.Fail("IPOutlookItemCollection::get_Count", E_FAIL);
    EXPECT_EQ(session->GetRecordCount(), 0);
}

TEST_F(Collection, CountsNothingWithoutCollection) {
    EXPECT_EQ(session->GetRecordCount(), 0);
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{25, "CCEPoom::GetRecordCount() - m_pCollection is NULL, returning 0"}));
}

TEST_F(Collection, WalksFromTheFirstToTheEnd) {
    Add(101);
    Add(102);
    Open();
    session->m_iIndex = 7;
    EXPECT_EQ(session->GetFirstID(), 101u);
    EXPECT_EQ(session->GetNextID(), 102u);
    EXPECT_EQ(session->GetNextID(), 0u);
    EXPECT_EQ(session->m_iIndex, 3);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{25, "CCEPoom::GetNextID() - m_iIndex = 1"},
                                          TraceLine{25, "CCEPoom::GetNextID() - m_iIndex = 2"},
                                          TraceLine{25, "CCEPoom::GetNextID() - m_iIndex = 3"},
                                          TraceLine{25, "CCEPoom::GetNextID() - No more items"}));
}

TEST_F(Collection, AnEmptyFolderHasNoFirstItem) {
    Open();
    EXPECT_EQ(session->GetRecordCount(), 0);
    EXPECT_EQ(session->GetFirstID(), 0u);
    EXPECT_THAT(TakeTraceTexts(),
                ElementsAre("CCEPoom::GetNextID() - m_iIndex = 1", "CCEPoom::GetNextID() - No more items"));
}

TEST_F(Collection, WalkingWithoutCollectionIsTraced) {
    EXPECT_EQ(session->GetNextID(), 0u);
    EXPECT_THAT(TakeTraceTexts(),
                ElementsAre("CCEPoom::GetNextID() - m_iIndex = 1", "CCEPoom::GetNextID() - Invalid m_pCollection"));
}

TEST_F(Collection, AnEntryThatIsNoItemEndsTheWalk) {
    Add(101);
    Open();
    calls.Fail("QueryInterface(IItem)", E_NOINTERFACE);
    EXPECT_EQ(session->GetNextID(), 0u);
    EXPECT_EQ(session->m_iIndex, 1);
    EXPECT_THAT(TakeTraceTexts("CCEPoom::GetNextID() - I"),
                ElementsAre("CCEPoom::GetNextID() - Invalid pItem (hr = -2147467262)"));
}

TEST_F(Collection, AnItemThatHidesItsIdentifierEndsTheWalkWhereItIs) {
    Add(101);
    Open();
    calls.Fail("IItem::GetProps", E_FAIL);
    EXPECT_EQ(session->GetNextID(), 0u);
    EXPECT_EQ(session->m_iIndex, 1);
    EXPECT_EQ(session->GetNextID(), 101u);
}

TEST_F(Collection, PurgeOfTwelveTracesAFewPasses) {
    for (CEOID oid = 1; oid <= 12; ++oid) Add(oid);
    Open();
    EXPECT_EQ(session->Purge(), TRUE);
    EXPECT_TRUE(collection->shelf.empty());
    Lines expected = {{25, "CCEPoom::Purge() +"}};
    for (const int pass : {12, 11, 10, 9, 8, 7, 5, 1}) {
        expected.push_back({25, "Purging record " + std::to_string(pass) + " of 12"});
    }
    expected.push_back({25, "CCEPoom::Purge() -"});
    EXPECT_EQ(TakeTraces(), expected);
    for (const std::string& call : calls.Take("IPOutlookItemCollection::Item")) {
        EXPECT_EQ(call, "IPOutlookItemCollection::Item(1)");
    }
}

TEST_F(Collection, PurgeTakesThePositionOfTheWalkWhereverItStands) {
    for (CEOID oid = 1; oid <= 3; ++oid) Add(oid);
    Open();
    session->m_iIndex = 2;
    EXPECT_EQ(session->Purge(), TRUE);
    EXPECT_EQ(collection->shelf.size(), 1u) << "what lies before it stays";
    EXPECT_THAT(calls.Take("IPOutlookItemCollection::Item"),
                ElementsAre("IPOutlookItemCollection::Item(2)", "IPOutlookItemCollection::Item(2)",
                            "IPOutlookItemCollection::Item(2)"));
    EXPECT_EQ(session->m_iIndex, 2);
}

TEST_F(Collection, PurgeGoesOnPastItemsThatStay) {
    for (CEOID oid = 1; oid <= 3; ++oid) Add(oid);
    Open();
    calls.Fail("IItem::Delete", E_FAIL, 1, 2);
    EXPECT_EQ(session->Purge(), TRUE);
    EXPECT_EQ(collection->shelf.size(), 1u);
    EXPECT_THAT(TakeTraceTexts("pItem"), ElementsAre("pItem->Delete() failed with hr=0x80004005 (i = 2)"));
}

TEST_F(Collection, PurgePassesOverEntriesThatCannotBeHad) {
    for (CEOID oid = 1; oid <= 3; ++oid) Add(oid);
    Open();
    calls.Fail("IPOutlookItemCollection::Item", E_FAIL);
    calls.Fail("QueryInterface(IItem)", E_NOINTERFACE);
    EXPECT_EQ(session->Purge(), TRUE);
    EXPECT_EQ(collection->shelf.size(), 2u);
    EXPECT_THAT(TakeTraceTexts("pItem"), IsEmpty());
}

TEST_F(Collection, PurgeWithoutACountDeletesNothing) {
    Add(1);
    Open();
    calls.Fail("IPOutlookItemCollection::get_Count", E_FAIL);
    EXPECT_EQ(session->Purge(), TRUE);
    EXPECT_EQ(collection->shelf.size(), 1u);
}

TEST_F(Collection, PurgeWithoutCollectionFails) {
    EXPECT_EQ(session->Purge(), FALSE);
    EXPECT_THAT(TakeTraceTexts(),
                ElementsAre("CCEPoom::Purge() +", "Unable to purge, m_pCollection is NULL", "CCEPoom::Purge() -"));
}

}  // namespace
}  // namespace kez::tests
