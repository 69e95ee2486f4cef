// Reading an item into properties: the catalogue, the identifiers, the picture.
#include <algorithm>

#include "platform/control/control.h"
#include "poom/catalogue.h"
#include "tests/poom/bridge_fixture.h"
#include "tests/poom/published_identifiers.h"

namespace kez::tests {
namespace {

template <std::size_t N, std::size_t M>
void ExpectRows(const std::array<CatalogueRow, N>& catalogue, const Row (&rows)[M], DWORD type, DWORD letter) {
    ASSERT_EQ(N, M);
    for (std::size_t i = 0; i < N; ++i) {
        EXPECT_EQ(catalogue[i].poom, rows[i].poom) << "row " << i + 1;
        EXPECT_EQ(catalogue[i].packet, rows[i].packet) << "row " << i + 1;
        EXPECT_EQ(ConvertPropID(rows[i].poom, type), rows[i].packet) << "row " << i + 1;
        EXPECT_EQ(ConvertPropID(rows[i].poom, letter), rows[i].packet) << "row " << i + 1;
        EXPECT_NE(*catalogue[i].name, 0);
        EXPECT_NE(*catalogue[i].meaning, 0);
    }
    EXPECT_THAT(TakeTraces(), IsEmpty());
}

TEST(PropertyCatalogue, HoldsEveryRowInOrder) {
    ExpectRows(kContactCatalogue, kContactRows, 24, 'A');
    ExpectRows(kAppointmentCatalogue, kAppointmentRows, 25, 'D');
    ExpectRows(kTaskCatalogue, kTaskRows, 26, 'T');
}

TEST(PropertyCatalogue, AnIdentifierOfAnotherTypePassesWithAWarning) {
    EXPECT_EQ(ConvertPropID(0x0020001F, 24), 0x0020001Fu);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{25, "WARNING!! No conversion for type 0x0020001f!"}));
    EXPECT_EQ(ConvertPropID(0x0020001F, 26), 0x0037001Fu);
    EXPECT_EQ(ConvertPropID(0x0020001F, 25), 0x0037001Fu);
    EXPECT_THAT(TakeTraces(), IsEmpty());
}

TEST(PropertyCatalogue, AnIdentifierMatchesInAllItsBits) {
    EXPECT_EQ(ConvertPropID(0x00200013, 25), 0x00200013u);
    EXPECT_EQ(ConvertPropID(0xFFFFFFFF, 25), 0xFFFFFFFFu);
    EXPECT_EQ(ConvertPropID(0, 25), 0u);
    EXPECT_EQ(TakeTraces().size(), 3u);
}

TEST(PropertyCatalogue, AnUnknownTypePassesWithAWarning) {
    EXPECT_EQ(ConvertPropID(0x0020001F, 99), 0x0020001Fu);
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{25, "WARNING!! Invalid dwType 99"}));
    EXPECT_EQ(CatalogueOf(99).count, 0u);
}

TEST(PropertyCatalogue, BothTaskRowsOfCompletionShareTheirNumber) {
    EXPECT_EQ(ConvertPropID(0x00640040, 26), 0x410F0040u);
    EXPECT_EQ(ConvertPropID(0x1065000B, 26), 0x410F0002u);
}

class Properties : public Bridge {
 protected:
    Properties() {
        item->stream = stream.Get();
        contact->item = item.Get();
        appointment->item = item.Get();
        task->item = item.Get();
    }
    ~Properties() override {
        session.reset();
        FreeList();
    }
    // Reads the current item of the type.
    BOOL Read(DWORD type, bool convert = true) {
        FreeList();
        session->m_dwDBType = type;
        const BOOL read = session->GetProps(9, type, &list, &count, convert ? 1 : 0);
        return read;
    }
    BOOL ReadContact(bool convert = true) {
        session->m_pContact = contact.Give();
        const BOOL read = Read(24, convert);
        session->ReleaseItems();
        return read;
    }
    BOOL ReadPicture(std::size_t bytes) {
        stream->content.resize(bytes);
        for (std::size_t i = 0; i < bytes; ++i) stream->content[i] = static_cast<BYTE>(i * 7 + i / 251);
        stream->position = 0;
        return ReadContact();
    }
    // What a caller of GetProps does with the list.
    void FreeList() {
        if (list == nullptr) return;
        for (WORD i = 0; i < count; ++i) {
            if (list[i].propid == 0xAFE90041 && list[i].wFlags == 0) LocalFree(list[i].val.blob.lpb);
        }
        HeapFree(GetProcessHeap(), 0, list);
        list = nullptr;
    }
    CEPROPVAL& Picture() { return list[53]; }
    void ExpectPicture(std::size_t bytes, std::size_t room) {
        ASSERT_EQ(Picture().propid, 0xAFE90041u);
        EXPECT_EQ(Picture().wFlags, 0);
        ASSERT_EQ(Picture().val.blob.dwCount, bytes);
        EXPECT_EQ(LocalSize(Picture().val.blob.lpb), room);
        const BYTE* read = Picture().val.blob.lpb;
        EXPECT_TRUE(std::equal(read, read + bytes, stream->content.begin()));
    }
    Texts PictureTraces() {
        Texts traces = TakeTraceTexts();
        Texts found;
        for (const std::string& text : traces) {
            if (text.find("prop[") != 0 && text.find("CCEPoom::") != 0) found.push_back(text);
        }
        return found;
    }

    Owned<RecordingStream> stream{calls};
    CEPROPVAL* list = nullptr;
    WORD count = 0;
};

TEST_F(Properties, AreAskedInTheOrderOfTheCatalogue) {
    const struct {
        DWORD type;
        const Row* rows;
        WORD count;
    } cases[] = {{25, kAppointmentRows, 9}, {26, kTaskRows, 8}};
    for (const auto& each : cases) {
        if (each.type == 25) session->m_pAppt = appointment.Give();
        if (each.type == 26) session->m_pTask = task.Give();
        for (WORD i = 0; i < each.count; ++i) item->values[each.rows[i].poom].ulVal = 1000u + i;
        ASSERT_TRUE(Read(each.type));
        ASSERT_EQ(count, each.count);
        for (WORD i = 0; i < count; ++i) {
            EXPECT_EQ(list[i].propid, each.rows[i].packet);
            EXPECT_EQ(list[i].val.ulVal, 1000u + i) << "the value is moved as it is";
        }
        session->ReleaseItems();
    }
}

TEST_F(Properties, BothTaskRowsOfCompletionComeOut) {
    session->m_pTask = task.Give();
    ASSERT_TRUE(Read('T'));
    EXPECT_EQ(list[5].propid, 0x410F0040u);
    EXPECT_EQ(list[6].propid, 0x410F0002u);
}

TEST_F(Properties, ReadingATaskTracesEachProperty) {
    session->m_pTask = task.Give();
    ASSERT_TRUE(Read(26));
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{25, "CCEPoom::GetProps(oid = 9, dwType = 26) +"},
                                          TraceLine{25, "Retrieved props (8 props)"}, TraceLine{25, "Converting"},
                                          TraceLine{25, "prop[0].propid = 0x0037001f, old propid = 0x0020001f"},
                                          TraceLine{25, "prop[1].propid = 0x00260003, old propid = 0x00600013"},
                                          TraceLine{25, "prop[2].propid = 0x00040002, old propid = 0x00210013"},
                                          TraceLine{25, "prop[3].propid = 0x41040040, old propid = 0x00620040"},
                                          TraceLine{25, "prop[4].propid = 0x41050040, old propid = 0x00630040"},
                                          TraceLine{25, "prop[5].propid = 0x410f0040, old propid = 0x00640040"},
                                          TraceLine{25, "prop[6].propid = 0x410f0002, old propid = 0x1065000b"},
                                          TraceLine{25, "prop[7].propid = 0x45030002, old propid = 0x0028000b"},
                                          TraceLine{25, "CCEPoom::GetProps() -"}));
}

TEST_F(Properties, TheIdentifiersFollowTheTypeOfTheSession) {
    session->m_pTask = task.Give();
    session->m_dwDBType = 24;
    ASSERT_TRUE(session->GetProps(9, 26, &list, &count, 1));
    EXPECT_EQ(list[0].propid, 0x0020001Fu) << "no contact knows a subject";
    EXPECT_EQ(TakeTraceTexts("WARNING!! No conversion").size(), 8u);
}

TEST_F(Properties, WithoutConversionTheyAreTheItems) {
    ASSERT_TRUE(ReadContact(false));
    EXPECT_EQ(count, 54);
    for (WORD i = 0; i < count; ++i) EXPECT_EQ(list[i].propid, kContactRows[i].poom);
    EXPECT_EQ(Picture().wFlags, CEDB_PROPNOTFOUND);
    EXPECT_THAT(TakeTraceTexts("Reading"), IsEmpty());
    EXPECT_THAT(calls.Take("IItem::OpenProperty"), IsEmpty());
}

TEST_F(Properties, TheCountIsOptional) {
    session->m_pTask = task.Give();
    session->m_dwDBType = 26;
    EXPECT_TRUE(session->GetProps(9, 26, &list, nullptr, 1));
    EXPECT_EQ(list[0].propid, 0x0037001Fu);
}

TEST_F(Properties, NoListIsTracedAndNothingConverted) {
    session->m_pContact = contact.Give();
    session->m_dwDBType = 24;
    EXPECT_FALSE(session->GetProps(9, 24, nullptr, &count, 1));
    EXPECT_EQ(count, 0);
    EXPECT_THAT(TakeTraceTexts(),
                ElementsAre("CCEPoom::GetProps(oid = 9, dwType = 24) +", "Invalid pProps", "CCEPoom::GetProps() -"));
}

TEST_F(Properties, AnItemThatFailsGivesNoList) {
    calls.Fail("IItem::GetProps", E_FAIL);
    EXPECT_FALSE(ReadContact());
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_THAT(TakeTraceTexts("Invalid"), ElementsAre("Invalid pProps"));
    calls.Fail("QueryInterface(IItem)", E_NOINTERFACE);
    EXPECT_FALSE(ReadContact());
    EXPECT_THAT(TakeTraceTexts("Invalid"), ElementsAre("Invalid pProps"));
}

TEST_F(Properties, WithoutItemOrTypeThereIsNoList) {
    for (const DWORD type : {24u, 25u, 26u, 99u}) {
        EXPECT_FALSE(Read(type));
        EXPECT_EQ(count, 0);
        EXPECT_THAT(TakeTraceTexts("Invalid"), ElementsAre("Invalid pProps"));
    }
}

TEST_F(Properties, APictureOf100BytesIsOneRead) {
    ASSERT_TRUE(ReadPicture(100));
    ExpectPicture(100, 32768);
    EXPECT_THAT(calls.Take("IStream"), ElementsAre("IStream::Stat(1)", "IStream::Read(32768)"));
    EXPECT_THAT(PictureTraces(),
                ElementsAre("Retrieved props (54 props)", "Converting", "Reading stream data", "Stream opened",
                            "stat.cbSize = 100", "Reading stream chunk", "Done reading stream (100 size)"));
}

TEST_F(Properties, APictureOf65536BytesEndsWithAnEmptyRead) {
    ASSERT_TRUE(ReadPicture(65536));
    ExpectPicture(65536, 98304);
    EXPECT_THAT(calls.Take("IStream::Read"),
                ElementsAre("IStream::Read(32768)", "IStream::Read(32768)", "IStream::Read(32768)"));
    EXPECT_THAT(PictureTraces(),
                ElementsAre("Retrieved props (54 props)", "Converting", "Reading stream data", "Stream opened",
                            "stat.cbSize = 65536", "Reading stream chunk", "Read 32768 bytes (32768 total)",
                            "Read 32768 bytes (65536 total)", "Done reading stream (65536 size)"));
}

TEST_F(Properties, PicturesOfOtherSizesComeWhole) {
    const std::pair<std::size_t, std::size_t> sizes[] = {{0, 32768},     {1, 32768},     {32767, 32768},
                                                         {32768, 65536}, {32769, 65536}, {3000000, 3014656}};
    for (const auto& [bytes, room] : sizes) {
        ASSERT_TRUE(ReadPicture(bytes));
        ExpectPicture(bytes, room);
    }
}

TEST_F(Properties, APictureThatCannotBeOpenedTravelsAsItIs) {
    calls.Fail("IItem::OpenProperty", E_ACCESSDENIED);
    ASSERT_TRUE(ReadPicture(100));
    EXPECT_EQ(Picture().propid, 0xAFE90041u);
    EXPECT_EQ(Picture().wFlags, CEDB_PROPNOTFOUND);
    EXPECT_THAT(PictureTraces(), ElementsAre("Retrieved props (54 props)", "Converting", "Reading stream data",
                                             "Failed to open stream"));
}

TEST_F(Properties, AReadThatFailsEndsThePicture) {
    calls.Fail("IStream::Read", E_FAIL, 1, 2);
    ASSERT_TRUE(ReadPicture(65536));
    ExpectPicture(32768, 65536);
    calls.Fail("IStream::Read", E_FAIL);
    ASSERT_TRUE(ReadPicture(65536));
    ExpectPicture(0, 32768);
}

// Says that it read although it failed.
class BoastingStream : public RecordingStream {
 public:
    using RecordingStream::RecordingStream;
    HRESULT Read(void*, ULONG, ULONG* read) override {
        *read = 100;
        return E_FAIL;
    }
};

TEST_F(Properties, AReadThatFailsBringsNoBytesWhateverItSays) {
    Owned<BoastingStream> boasting(calls);
    item->stream = boasting.Get();
    ASSERT_TRUE(ReadContact());
    ExpectPicture(0, 32768);
}

TEST_F(Properties, AFullReadThatIsNotQuiteSuccessfulIsTheLast) {
    calls.Fail("IStream::Read", S_FALSE);
    ASSERT_TRUE(ReadPicture(65536));
    ExpectPicture(32768, 32768);
}

TEST_F(Properties, AStreamWithoutStatisticsIsReadAllTheSame) {
    calls.Fail("IStream::Stat", E_NOTIMPL);
    ASSERT_TRUE(ReadPicture(100));
    ExpectPicture(100, 32768);
    EXPECT_THAT(TakeTraceTexts("stat"), ElementsAre("stat.cbSize = 0"));
}

TEST_F(Properties, WithoutMemoryForAPictureItTravelsAsItIs) {
    control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    ASSERT_TRUE(ReadPicture(100));
    control::ClearFaults();
    EXPECT_EQ(Picture().wFlags, CEDB_PROPNOTFOUND);
}

TEST_F(Properties, ABlockThatCannotGrowInPlaceMoves) {
    control::PlanFault({"LocalReAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    ASSERT_TRUE(ReadPicture(40000));
    control::ClearFaults();
    ExpectPicture(40000, 65536);
}

TEST_F(Properties, WithoutMemoryForMoreThePictureEnds) {
    control::PlanFault({"LocalReAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    control::PlanFault({"LocalAlloc", 2, 1, ERROR_NOT_ENOUGH_MEMORY});
    ASSERT_TRUE(ReadPicture(40000));
    control::ClearFaults();
    ExpectPicture(32768, 32768);
}

}  // namespace
}  // namespace kez::tests
