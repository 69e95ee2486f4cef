// The object handler: packets out, packets in, deletions, and the paths that stay as they are on purpose.
#include <thread>

#include "tests/provider/provider_fixture.h"
#include "tests/support/meant_leak.h"

namespace kez::tests {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr HRESULT kBusy = static_cast<HRESULT>(0x80140102);

class ObjectHandler : public ProviderTest {
 protected:
    ObjectHandler() { database.properties = {Text(0x3A06001F, u"Ann")}; }
    ~ObjectHandler() override {
        if (handler != nullptr) handler->Release();
    }

    static CEPROPVAL Text(CEPROPID id, const char16_t* text) {
        CEPROPVAL prop = {};
        prop.propid = id;
        prop.val.lpwstr = const_cast<LPWSTR>(text);
        return prop;
    }
    // A record as it arrives from the other side.
    static std::vector<BYTE> Record() {
        CKezCEPacket packet;
        const CEPROPVAL prop = Text(0x3A06001F, u"Ann");
        packet.PropStart(0);
        packet.PropAdd(&prop, 1);
        packet.PropFini();
        return std::vector<BYTE>(packet.GetPacketBuffer(), packet.GetPacketBuffer() + packet.GetPacketBytes());
    }
    static REPLSETUP ReadSetup(DWORD oid) {
        REPLSETUP setup = {};
        setup.cbStruct = sizeof setup;
        setup.fRead = TRUE;
        setup.oid = oid;
        return setup;
    }
    static REPLSETUP WriteSetup(DWORD oid, DWORD flags = 0) {
        REPLSETUP setup = ReadSetup(oid);
        setup.fRead = FALSE;
        setup.dwFlags = flags;
        return setup;
    }
    HRESULT Send(std::vector<BYTE> bytes) { return handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size())); }

    DatabaseDouble database;
    CKEZASPContactObjHandler* handler = new CKEZASPContactObjHandler(nullptr, &database);
    LPBYTE packet = nullptr;
    DWORD size = 0;
};

// --- Interface ---

TEST_F(ObjectHandler, AnswersItselfToEveryInterfaceAndCountsOneMore) {
    void* out = nullptr;
    EXPECT_EQ(handler->QueryInterface(IID_IStream, &out), S_OK);
    EXPECT_EQ(out, handler);
    EXPECT_EQ(handler->Release(), 1u);
    EXPECT_EQ(handler->QueryInterface(IID_IUnknown, nullptr), E_INVALIDARG);
}

TEST_F(ObjectHandler, DeletesItselfWithTheLastReference) {
    Trace(50);
    auto* own = new CKEZASPContactObjHandler(nullptr, &database);
    EXPECT_EQ(own->AddRef(), 2u);
    EXPECT_EQ(own->Release(), 1u);
    EXPECT_EQ(own->Release(), 0u);
    EXPECT_THAT(Log(),
                ElementsAre("CKEZASPContactObjHandler::CKEZASPContactObjHandler", "CKEZASPContactObjHandler::AddRef",
                            "CKEZASPContactObjHandler::Release", "CKEZASPContactObjHandler::Release",
                            "CKEZASPContactObjHandler::~CKEZASPContactObjHandler"));
}

TEST_F(ObjectHandler, EveryOperationStandsInTheEnginesOrder) {
    // Setup, Reset, GetPacket, SetPacket and DeleteObj answer E_INVALIDARG to nulls, each with its own arguments.
    void* const* table = *reinterpret_cast<void* const* const*>(static_cast<IReplObjHandler*>(handler));
    using OfSetup = HRESULT (*)(IReplObjHandler*, REPLSETUP*);
    using OfGet = HRESULT (*)(IReplObjHandler*, LPBYTE*, DWORD*, DWORD);
    using OfSet = HRESULT (*)(IReplObjHandler*, LPBYTE, DWORD);
    REPLSETUP setup = ReadSetup(11);
    EXPECT_EQ(reinterpret_cast<OfSetup>(table[3])(handler, &setup), S_OK);
    EXPECT_EQ(reinterpret_cast<OfGet>(table[5])(handler, &packet, &size, 8192), RWRN_LAST_PACKET);
    EXPECT_EQ(reinterpret_cast<OfSetup>(table[4])(handler, &setup), S_OK);
    EXPECT_EQ(reinterpret_cast<OfSetup>(table[7])(handler, &setup), S_OK);
    EXPECT_EQ(reinterpret_cast<OfSet>(table[6])(handler, nullptr, 0), E_POINTER);
    EXPECT_THAT(database.Notes(), ElementsAre("DBFillPacket 11", "Reset", "DBDelete 11"));
}

TEST_F(ObjectHandler, MissingArgumentsAreRefused) {
    EXPECT_EQ(handler->Setup(nullptr), E_INVALIDARG);
    EXPECT_EQ(handler->Reset(nullptr), E_INVALIDARG);
    EXPECT_EQ(handler->DeleteObj(nullptr), E_INVALIDARG);
    EXPECT_EQ(handler->GetPacket(nullptr, &size, 100), E_INVALIDARG);
    EXPECT_EQ(handler->GetPacket(&packet, nullptr, 100), E_INVALIDARG);
    EXPECT_THAT(database.Notes(), IsEmpty());
}

// --- Sending ---

TEST_F(ObjectHandler, HandsOutARecordInPiecesOfTheRecommendedSize) {
    REPLSETUP setup = ReadSetup(11);
    handler->Setup(&setup);
    std::vector<BYTE> received;
    HRESULT hr = S_OK;
    int pieces = 0;
    while (hr == S_OK) {
        hr = handler->GetPacket(&packet, &size, 50);
        received.insert(received.end(), packet, packet + size);
        ++pieces;
    }
    EXPECT_EQ(hr, RWRN_LAST_PACKET);
    EXPECT_EQ(pieces, 3);  // 134 bytes
    EXPECT_THAT(database.Notes(), ElementsAre("DBFillPacket 11"));
    CKezCEPacket check;
    EXPECT_EQ(check.SetNextBytes(received.data(), static_cast<INT>(received.size())), 0);
    EXPECT_EQ(check.m_dwOid, 11u);
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, ARecordThatCannotBeReadIsAnEmptyLastPacket) {
    database.fillResult = 0;
    REPLSETUP setup = ReadSetup(11);
    handler->Setup(&setup);
    packet = reinterpret_cast<LPBYTE>(1);
    size = 99;
    Trace(1);
    EXPECT_EQ(handler->GetPacket(&packet, &size, 8192), RWRN_LAST_PACKET);
    EXPECT_EQ(packet, nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::GetPacket DBFInd::RERR_BAD_OBJECT-"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, ARecordWithoutPropertiesIsAnEmptyLastPacketToo) {
    database.properties.clear();
    REPLSETUP setup = ReadSetup(11);
    handler->Setup(&setup);
    EXPECT_EQ(handler->GetPacket(&packet, &size, 8192), RWRN_LAST_PACKET);
    EXPECT_EQ(size, 0u);
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, GettingWithoutASetupIsAnEmptyLastPacket) {
    EXPECT_EQ(handler->GetPacket(&packet, &size, 8192), RWRN_LAST_PACKET);
    EXPECT_EQ(packet, nullptr);
    EXPECT_THAT(database.Notes(), IsEmpty());
}

TEST_F(ObjectHandler, ASetupThatFindsNoMemoryIsAnEmptyLastPacket) {
    REPLSETUP setup = ReadSetup(11);
    FailNothrowNew(1);
    EXPECT_EQ(handler->Setup(&setup), S_OK);
    EXPECT_EQ(handler->GetPacket(&packet, &size, 8192), RWRN_LAST_PACKET);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(handler->Reset(&setup), S_OK);
}

TEST_F(ObjectHandler, AfterTheLastPieceTheRecordIsReadAnew) {
    REPLSETUP setup = ReadSetup(11);
    handler->Setup(&setup);
    handler->GetPacket(&packet, &size, 8192);
    EXPECT_EQ(handler->GetPacket(&packet, &size, 8192), RWRN_LAST_PACKET);
    EXPECT_GT(size, 0u);
    EXPECT_THAT(database.Notes(), ElementsAre("DBFillPacket 11", "DBFillPacket 11"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, SendingTracesEachPacket) {
    REPLSETUP setup = ReadSetup(11);
    Trace(50);
    handler->Setup(&setup);
    handler->GetPacket(&packet, &size, 100);
    handler->GetPacket(&packet, &size, 100);
    handler->Reset(&setup);
    std::vector<std::string> own;
    for (const std::string& line : Log()) {
        if (line.rfind("CKezCEPacket", 0) != 0 && line.find("m_pReadSetup") == std::string::npos &&
            line.rfind("CKeeCEPacket", 0) != 0 && line.rfind("KEZCEPacket", 0) != 0 && line.rfind("ListAdd", 0) != 0) {
            own.push_back(line);
        }
    }
    EXPECT_THAT(own, ElementsAre("CKEZASPContactObjHandler::Setup::READ +", "CKEZASPContactObjHandler::GetPacket+",
                                 "Send (or continue sending) packets...",
                                 "CKEZASPContactObjHandler::GetPacket S_OK (MORE TO COME) -",
                                 "CKEZASPContactObjHandler::GetPacket+", "Send (or continue sending) packets...",
                                 "CKEZASPContactObjHandler::GetPacket RWRN_LAST_PACKET-",
                                 "CKEZASPContactObjHandler::Reset::READ -"));
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::GetPacket::m_pReadSetup->oid=11"));
}

// --- Receiving ---

TEST_F(ObjectHandler, WritesANewRecordAndReturnsItsIdentifier) {
    REPLSETUP setup = WriteSetup(4711, RSF_NEW_OBJECT);
    handler->Setup(&setup);
    EXPECT_EQ(Send(Record()), S_OK);
    EXPECT_THAT(database.Notes(), ElementsAre("DBWritePacket 0 1"));
    EXPECT_EQ(setup.oidNew, 21u);
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, WritesAnOldRecordUnderItsIdentifier) {
    REPLSETUP setup = WriteSetup(4711);
    handler->Setup(&setup);
    EXPECT_EQ(Send(Record()), S_OK);
    EXPECT_THAT(database.Notes(), ElementsAre("DBWritePacket 4711 1"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, WritesOnlyWhenTheLastPieceHasCome) {
    REPLSETUP setup = WriteSetup(4711);
    handler->Setup(&setup);
    const std::vector<BYTE> record = Record();
    for (std::size_t at = 0; at < record.size(); at += 20) {
        EXPECT_THAT(database.Notes(), IsEmpty()) << at;
        EXPECT_EQ(Send({record.begin() + static_cast<std::ptrdiff_t>(at),
                        record.begin() + static_cast<std::ptrdiff_t>(std::min(record.size(), at + 20))}),
                  S_OK);
    }
    EXPECT_THAT(database.Notes(), ElementsAre("DBWritePacket 4711 1"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, ALastPieceOfOneByteIsStillAwaited) {
    REPLSETUP setup = WriteSetup(4711);
    handler->Setup(&setup);
    const std::vector<BYTE> record = Record();
    EXPECT_EQ(Send({record.begin(), record.end() - 1}), S_OK);
    EXPECT_THAT(database.Notes(), IsEmpty());
    EXPECT_EQ(Send({record.back()}), S_OK);
    EXPECT_THAT(database.Notes(), ElementsAre("DBWritePacket 4711 1"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, AFailedWriteIsStillOkAndLeavesTheNewIdentifierAlone) {
    database.writeResult = 0;
    REPLSETUP setup = WriteSetup(4711);
    setup.oidNew = 77;
    handler->Setup(&setup);
    Trace(1);
    EXPECT_EQ(Send(Record()), S_OK);
    EXPECT_EQ(setup.oidNew, 77u);
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::SetPacket- DB function failed. -"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, ARecordThatFindsNoMemoryIsStillOkAndNotWritten) {
    REPLSETUP setup = WriteSetup(4711);
    handler->Setup(&setup);
    std::vector<BYTE> record = Record();
    control::Fault fault;
    fault.call = "LocalAlloc";
    fault.code = ERROR_NOT_ENOUGH_MEMORY;
    control::PlanFault(fault);
    Trace(1);
    EXPECT_EQ(Send(record), S_OK);
    EXPECT_THAT(database.Notes(), IsEmpty());
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::SetPacket E_OUTOFMEMORY -"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, BytesThatAreNoRecordAreNotWritten) {
    const std::vector<BYTE> tooShort = {1, 2};
    const std::vector<BYTE> negative = {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0};
    std::vector<BYTE> tooLong = Record();
    tooLong.push_back(0);
    std::vector<BYTE> tooManyEntries = Record();
    tooManyEntries[8] = 0xFF;
    tooManyEntries[9] = 0xFF;
    for (const std::vector<BYTE>& bytes : {tooShort, negative, tooLong, tooManyEntries}) {
        REPLSETUP setup = WriteSetup(4711);
        handler->Setup(&setup);
        Trace(100);
        EXPECT_EQ(Send(bytes), S_OK);
        EXPECT_EQ(setup.oidNew, 0u);
        EXPECT_THAT(database.Notes(), Each("Reset"));
        handler->Reset(&setup);
    }
}

TEST_F(ObjectHandler, WithoutASetupItAnswersAPointerErrorAndIsBusyEverAfter) {
    Trace(50);
    EXPECT_EQ(Send(Record()), E_POINTER);
    EXPECT_EQ(Send(Record()), kBusy);
    REPLSETUP setup = WriteSetup(4711);
    handler->Setup(&setup);
    EXPECT_EQ(Send(Record()), kBusy) << "until a new handler is made";
    EXPECT_THAT(database.Notes(), IsEmpty());
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::SetPacket WritePacket was not set. -"));
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::SetPacket BUSY -"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, ASetPacketDuringASetPacketIsBusyAndADeletionGoesOn) {
    REPLSETUP setup = WriteSetup(4711);
    handler->Setup(&setup);
    HRESULT inner = S_OK;
    HRESULT deletion = E_FAIL;
    database.whileWriting = [&] {
        inner = Send(Record());
        deletion = handler->DeleteObj(&setup);
    };
    Trace(50);
    EXPECT_EQ(Send(Record()), S_OK);
    EXPECT_EQ(inner, kBusy);
    EXPECT_EQ(deletion, S_OK);
    EXPECT_THAT(database.Notes(), ElementsAre("DBWritePacket 4711 1", "DBDelete 4711"));
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::DeleteObj BUSY"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, ReceivingTracesTheRecord) {
    REPLSETUP setup = WriteSetup(4711);
    Trace(50);
    handler->Setup(&setup);
    const std::vector<BYTE> record = Record();
    // The second piece begins with the text: what stands before it depends on where the text was in memory.
    Send({record.begin(), record.begin() + 26});
    Send({record.begin() + 26, record.end()});
    handler->Reset(&setup);
    std::vector<std::string> own;
    for (const std::string& line : Log()) {
        if (line.rfind("CKEZASPContactObjHandler", 0) == 0 && line.find("m_pWriteSetup") == std::string::npos) {
            own.push_back(line);
        }
    }
    EXPECT_THAT(own,
                ElementsAre("CKEZASPContactObjHandler::Setup::WRITE +", "CKEZASPContactObjHandler::SetPacket (1a) +",
                            "CKEZASPContactObjHandler::SetPacket::SetNextBytes Before Packet Size 26",
                            "CKEZASPContactObjHandler::SetPacket::SetNextBytes After",
                            "CKEZASPContactObjHandler::SetPacket - AWAIT MORE PACKETS (S_OK) -",
                            "CKEZASPContactObjHandler::SetPacket (6c) +",
                            "CKEZASPContactObjHandler::SetPacket::SetNextBytes Before Packet Size 108",
                            "CKEZASPContactObjHandler::SetPacket::SetNextBytes After",
                            "CKEZASPContactObjHandler::SetPacket::134 bytes received",
                            "CKEZASPContactObjHandler::SetPacket -", "CKEZASPContactObjHandler::Reset::WRITE -"));
    EXPECT_EQ(device.ReadText("dbgdump.txt"), std::string(record.begin() + 26, record.end()))
        << "the raw bytes, never more than came";
}

// --- Overlap, reset ---

TEST_F(ObjectHandler, AReadAndAWriteMayOverlap) {
    REPLSETUP read = ReadSetup(11);
    REPLSETUP write = WriteSetup(4711);
    handler->Setup(&read);
    handler->Setup(&write);
    EXPECT_EQ(handler->GetPacket(&packet, &size, 100), S_OK);
    EXPECT_EQ(Send(Record()), S_OK);
    handler->Reset(&write);
    EXPECT_EQ(handler->GetPacket(&packet, &size, 100), RWRN_LAST_PACKET) << "the read goes on";
    handler->Reset(&read);
}

TEST_F(ObjectHandler, ResetFreesThePacketOfItsSideAndAsksTheDatabaseFirst) {
    REPLSETUP setup = ReadSetup(11);
    const std::int64_t before = control::Live().localBlocks;
    handler->Setup(&setup);
    handler->GetPacket(&packet, &size, 8192);
    EXPECT_GT(control::Live().localBlocks, before);
    EXPECT_EQ(handler->Reset(&setup), S_OK);
    EXPECT_EQ(control::Live().localBlocks, before);
    EXPECT_EQ(database.Notes().back(), "Reset");
    EXPECT_EQ(handler->Reset(&setup), S_OK) << "twice is harmless";
}

TEST_F(ObjectHandler, ASetupOverAHeldPacketDoesNotFreeIt) {
    REPLSETUP setup = ReadSetup(11);
    const std::int64_t without = control::Live().localBlocks;
    {
        MeantLeak overwritten;
        handler->Setup(&setup);
        handler->GetPacket(&packet, &size, 8192);
    }
    const LPBYTE held = packet;
    const DWORD heldSize = size;
    const std::int64_t before = control::Live().localBlocks;
    handler->Setup(&setup);
    EXPECT_EQ(control::Live().localBlocks, before);
    EXPECT_EQ(LocalSize(held), heldSize);
    LocalFree(held);  // nobody else ever will
    control::LiveCounts left;
    left.localBlocks = control::Live().localBlocks - without;  // what the packet keeps beside its bytes
    EXPECT_LE(left.localBlocks, 1);
    StaysForGood(left);
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, ASetupOverAHeldWriteDoesNotFreeItEither) {
    REPLSETUP setup = WriteSetup(4711);
    const std::vector<BYTE> record = Record();
    const std::int64_t without = control::Live().localBlocks;
    {
        MeantLeak overwritten;
        handler->Setup(&setup);
        Send({record.begin(), record.begin() + 26});
    }
    control::LiveCounts left;
    left.localBlocks = control::Live().localBlocks - without;
    EXPECT_GT(left.localBlocks, 0);
    StaysForGood(left);
    handler->Setup(&setup);
    EXPECT_EQ(control::Live().localBlocks - without, left.localBlocks);
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, PacketsThatAreStillHeldOutliveIt) {
    auto* own = new CKEZASPContactObjHandler(nullptr, &database);
    REPLSETUP read = ReadSetup(11);
    REPLSETUP write = WriteSetup(4711);
    std::vector<BYTE> record = Record();
    const std::int64_t without = control::Live().localBlocks;
    {
        MeantLeak held;
        own->Setup(&read);
        own->GetPacket(&packet, &size, 8192);
        own->Setup(&write);
        own->SetPacket(record.data(), 26);
    }
    control::LiveCounts left;
    left.localBlocks = control::Live().localBlocks - without;
    StaysForGood(left);
    EXPECT_EQ(own->Release(), 0u);
    EXPECT_EQ(control::Live().localBlocks - without, left.localBlocks);
    EXPECT_EQ(LocalSize(packet), size);
}

TEST_F(ObjectHandler, AfterAResetTheSetupOfItsSideIsNotLookedAtAnyMore) {
    REPLSETUP read = ReadSetup(11);
    REPLSETUP write = WriteSetup(4711);
    handler->Setup(&read);
    handler->Setup(&write);
    handler->Reset(&read);
    handler->Reset(&write);
    Trace(50);
    EXPECT_EQ(handler->GetPacket(&packet, &size, 8192), RWRN_LAST_PACKET);
    EXPECT_EQ(Send(Record()), E_POINTER);
    EXPECT_THAT(Log(), Not(Contains(HasSubstr("oid="))));
    EXPECT_THAT(database.Notes(), Each("Reset"));
}

TEST_F(ObjectHandler, AResetWithoutADatabaseIsOk) {
    auto* own = new CKEZASPContactObjHandler(nullptr, nullptr);
    REPLSETUP setup = ReadSetup(11);
    EXPECT_EQ(own->Setup(&setup), S_OK);
    EXPECT_EQ(own->Reset(&setup), S_OK);
    own->Release();
}

// --- Deleting ---

TEST_F(ObjectHandler, DeletingIsOkWhateverBecameOfIt) {
    REPLSETUP setup = WriteSetup(0xAB);
    Trace(50);
    EXPECT_EQ(handler->DeleteObj(&setup), S_OK);
    database.deleteResult = E_FAIL;
    EXPECT_EQ(handler->DeleteObj(&setup), S_OK);
    EXPECT_THAT(
        Log(),
        ElementsAre("CKEZASPContactObjHandler::DeleteObj (ab) +", "CKEZASPContactObjHandler::DeleteObj::Set DELETEBUSY",
                    "CKEZASPContactObjHandler::DeleteObj::Clear DELETEBUSY", "CKEZASPContactObjHandler::DeleteObj-",
                    "CKEZASPContactObjHandler::DeleteObj (ab) +", "CKEZASPContactObjHandler::DeleteObj::Set DELETEBUSY",
                    "CKEZASPContactObjHandler::DeleteObj::Clear DELETEBUSY", "Delete failed with HRESULT = 0x80004005",
                    "CKEZASPContactObjHandler::DeleteObj-"));
}

TEST_F(ObjectHandler, AnAnswerThatIsNotNegativeIsNoFailedDeletion) {
    REPLSETUP setup = WriteSetup(11);
    database.deleteResult = S_FALSE;
    Trace(50);
    EXPECT_EQ(handler->DeleteObj(&setup), S_OK);
    EXPECT_THAT(Log(), Not(Contains(HasSubstr("Delete failed"))));
}

TEST_F(ObjectHandler, ADeletionDuringADeletionIsBusyAndAWriteGoesOn) {
    REPLSETUP setup = WriteSetup(11);
    handler->Setup(&setup);
    HRESULT inner = S_OK;
    HRESULT writing = E_FAIL;
    database.whileDeleting = [&] {
        inner = handler->DeleteObj(&setup);
        writing = Send(Record());
    };
    Trace(50);
    EXPECT_EQ(handler->DeleteObj(&setup), S_OK);
    EXPECT_EQ(inner, kBusy);
    EXPECT_EQ(writing, S_OK);
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::DeleteObj DELETEBUSY"));
    EXPECT_THAT(Log(), Contains("CKEZASPContactObjHandler::SetPacket DELETEBUSY"));
    handler->Reset(&setup);
}

TEST_F(ObjectHandler, AnExceptionOutOfADeletionStillClearsItsFlag) {
    REPLSETUP setup = WriteSetup(11);
    database.whileDeleting = [] { throw 1; };
    EXPECT_THROW(handler->DeleteObj(&setup), int);
    database.whileDeleting = nullptr;
    EXPECT_EQ(handler->DeleteObj(&setup), S_OK);
}

TEST_F(ObjectHandler, ItsCountIsKeptFromSeveralThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int n = 0; n < 1000; ++n) {
                handler->AddRef();
                handler->Release();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(handler->AddRef(), 2u);
    handler->Release();
}

}  // namespace
}  // namespace kez::tests
