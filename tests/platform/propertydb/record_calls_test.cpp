// Records through an open database: what each call gives, and with which last error it fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "platform/propertydb/options.h"
#include "platform/propertydb/volume.h"
#include "property_world.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using propertydb::PropertySet;
using ::testing::ElementsAre;

class RecordCalls : public ::testing::Test {
 protected:
    LiveCountsCheck m_counts;
    TestDevice m_device;
    Mounted m_volume;
};

TEST_F(RecordCalls, AWrittenRecordReadsBackWithAllItsTypes) {
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("any"));
    Opened open(m_volume.Guid(), database);
    PropertySet written;
    written.SetNumber(Id(1, CEVT_I2), -7);
    written.SetNumber(Id(2, CEVT_I4), -70000);
    written.Set(Id(3, CEVT_R8), 0.25);
    written.SetNumber(Id(4, CEVT_BOOL), 1);
    written.SetNumber(Id(5, CEVT_UI2), 0xFFFF);
    written.SetNumber(Id(6, CEVT_UI4), 0xFFFFFFFF);
    written.SetText(Id(7, CEVT_LPWSTR), u"Zo\u00EB \xD83D\xDE00");
    written.SetNumber(Id(8, CEVT_FILETIME), 0x01C679BE69BABA30);
    written.Set(Id(9, CEVT_BLOB), propertydb::Bytes{0, 1, 0, 255});
    written.SetText(Id(10, CEVT_LPWSTR), u"");
    written.Set(Id(11, CEVT_BLOB), propertydb::Bytes{});
    std::vector<CEPROPVAL> values;
    for (const auto& entry : written) values.push_back(ValueOf(entry));
    const CEOID oid = open.Write(0, values);
    ASSERT_NE(oid, 0u) << GetLastError();
    EXPECT_GT(oid, 0x01000000u);
    CEOID read = 0;
    EXPECT_EQ(open.Read(&read), written);
    EXPECT_EQ(read, oid);
}

TEST_F(RecordCalls, SteppingSeesEveryRecordInTheSortOrder) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY);
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    const CEOID b = open.Write(0, {NumberValue(kNumber, 20)});
    const CEOID a = open.Write(0, {NumberValue(kNumber, 10)});
    const CEOID c = open.Write(0, {NumberValue(kNumber, 30)});
    EXPECT_THAT(open.All(), ElementsAre(a, b, c));
    EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 20)}), b);
    EXPECT_EQ(open.Write(0, {NumberValue(kNumber, 20)}), 0u);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
}

// --- Seeking ------------------------------------------------------------------------------------------------

struct SeekRow {
    const char* what;
    DWORD flags;  // of the order's property
    int start;    // index of the record the handle stands on before; -1 before the first, 99 at the end
    DWORD type;
    LONG number;  // or the value sought
    int lands;    // index of the record; -1: fails
    DWORD error;
};

// Records with the numbers 10, 20, 20, 30, 40; for a descending order 40, 30, 20, 20, 10.
const SeekRow kSeeks[] = {
    {"first", 0, -1, CEDB_SEEK_BEGINNING, 0, 0, 0},
    {"third", 0, -1, CEDB_SEEK_BEGINNING, 2, 2, 0},
    {"last by number", 0, -1, CEDB_SEEK_BEGINNING, 4, 4, 0},
    {"beyond the last", 0, -1, CEDB_SEEK_BEGINNING, 5, -1, ERROR_NO_MORE_ITEMS},
    {"negative from the beginning", 0, -1, CEDB_SEEK_BEGINNING, -1, -1, ERROR_INVALID_PARAMETER},
    {"last", 0, -1, CEDB_SEEK_END, 0, 4, 0},
    {"last but one", 0, -1, CEDB_SEEK_END, 1, 3, 0},
    {"first from the end", 0, -1, CEDB_SEEK_END, 4, 0, 0},
    {"before the first from the end", 0, -1, CEDB_SEEK_END, 5, -1, ERROR_NO_MORE_ITEMS},
    {"one on", 0, 1, CEDB_SEEK_CURRENT, 1, 2, 0},
    {"two on", 0, 1, CEDB_SEEK_CURRENT, 2, 3, 0},
    {"none", 0, 1, CEDB_SEEK_CURRENT, 0, 1, 0},
    {"one back", 0, 1, CEDB_SEEK_CURRENT, -1, 0, 0},
    {"three back", 0, 4, CEDB_SEEK_CURRENT, -3, 1, 0},
    {"back over the first", 0, 1, CEDB_SEEK_CURRENT, -2, -1, ERROR_NO_MORE_ITEMS},
    {"on over the last", 0, 4, CEDB_SEEK_CURRENT, 1, -1, ERROR_NO_MORE_ITEMS},
    {"one on from a fresh handle", 0, -1, CEDB_SEEK_CURRENT, 1, 0, 0},
    {"none from a fresh handle", 0, -1, CEDB_SEEK_CURRENT, 0, -1, ERROR_NO_MORE_ITEMS},
    {"back from the end", 0, 99, CEDB_SEEK_CURRENT, -1, 4, 0},
    {"on from the end", 0, 99, CEDB_SEEK_CURRENT, 1, -1, ERROR_NO_MORE_ITEMS},
    {"first equal", 0, 4, CEDB_SEEK_VALUEFIRSTEQUAL, 20, 1, 0},
    {"none equal", 0, 0, CEDB_SEEK_VALUEFIRSTEQUAL, 25, -1, ERROR_NO_MORE_ITEMS},
    {"next equal", 0, 1, CEDB_SEEK_VALUENEXTEQUAL, 20, 2, 0},
    {"next is not equal", 0, 2, CEDB_SEEK_VALUENEXTEQUAL, 20, -1, ERROR_NO_MORE_ITEMS},
    {"greater is strict", 0, -1, CEDB_SEEK_VALUEGREATER, 20, 3, 0},
    {"greater from further on", 0, 4, CEDB_SEEK_VALUEGREATER, 10, 4, 0},
    {"none greater", 0, -1, CEDB_SEEK_VALUEGREATER, 40, -1, ERROR_NO_MORE_ITEMS},
    {"greater or equal", 0, -1, CEDB_SEEK_VALUEGREATEROREQUAL, 20, 1, 0},
    {"greater or equal between", 0, -1, CEDB_SEEK_VALUEGREATEROREQUAL, 25, 3, 0},
    {"greater from the end", 0, 99, CEDB_SEEK_VALUEGREATER, 10, -1, ERROR_NO_MORE_ITEMS},
    {"smaller is strict", 0, 4, CEDB_SEEK_VALUESMALLER, 20, 0, 0},
    {"smaller from the end", 0, 99, CEDB_SEEK_VALUESMALLER, 99, 4, 0},
    {"smaller goes back only", 0, 1, CEDB_SEEK_VALUESMALLER, 99, 1, 0},
    {"none smaller", 0, 4, CEDB_SEEK_VALUESMALLER, 10, -1, ERROR_NO_MORE_ITEMS},
    {"smaller from a fresh handle", 0, -1, CEDB_SEEK_VALUESMALLER, 99, -1, ERROR_NO_MORE_ITEMS},
    {"smaller or equal", 0, 4, CEDB_SEEK_VALUESMALLEROREQUAL, 20, 2, 0},
    {"smaller or equal between", 0, 4, CEDB_SEEK_VALUESMALLEROREQUAL, 35, 3, 0},
    {"descending: first", CEDB_SORT_DESCENDING, -1, CEDB_SEEK_BEGINNING, 0, 0, 0},
    {"descending: first equal", CEDB_SORT_DESCENDING, -1, CEDB_SEEK_VALUEFIRSTEQUAL, 20, 2, 0},
    {"descending: later is less", CEDB_SORT_DESCENDING, -1, CEDB_SEEK_VALUEGREATER, 20, 4, 0},
    {"descending: earlier is more", CEDB_SORT_DESCENDING, 4, CEDB_SEEK_VALUESMALLER, 20, 1, 0},
    {"descending: later or equal", CEDB_SORT_DESCENDING, -1, CEDB_SEEK_VALUEGREATEROREQUAL, 35, 1, 0},
};

TEST_F(RecordCalls, EverySeekEndsWhereItsTableSays) {
    const SORTORDERSPECEX orders[] = {OrderOf({{kNumber}}), OrderOf({{kNumber, CEDB_SORT_DESCENDING}})};
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {orders[0], orders[1]});
    {
        Opened open(m_volume.Guid(), database);
        for (const ULONG number : {30, 10, 20, 40, 20}) ASSERT_NE(open.Write(0, {NumberValue(kNumber, number)}), 0u);
    }
    for (const SeekRow& row : kSeeks) {
        SCOPED_TRACE(row.what);
        Opened open(m_volume.Guid(), database, &orders[row.flags ? 1 : 0]);
        std::vector<CEOID> all;
        {
            Opened other(m_volume.Guid(), database, &orders[row.flags ? 1 : 0]);
            all = other.All();
        }
        ASSERT_EQ(all.size(), 5u);
        if (row.start == 99) {
            EXPECT_EQ(open.Seek(CEDB_SEEK_BEGINNING, 5), 0u);
        } else if (row.start >= 0) {
            EXPECT_EQ(open.Seek(CEDB_SEEK_CEOID, static_cast<LONG>(all[static_cast<std::size_t>(row.start)])),
                      all[static_cast<std::size_t>(row.start)]);
        }
        SetLastError(0);
        DWORD index = 77;
        const bool byValue = row.type >= CEDB_SEEK_VALUESMALLER;
        const CEOID landed = byValue
                                 ? open.Seek(row.type, {NumberValue(kNumber, static_cast<ULONG>(row.number))}, &index)
                                 : open.Seek(row.type, row.number, &index);
        EXPECT_EQ(landed, row.lands < 0 ? 0u : all[static_cast<std::size_t>(row.lands)]);
        EXPECT_EQ(index, row.lands < 0 ? 77u : static_cast<DWORD>(row.lands));
        EXPECT_EQ(GetLastError(), row.error);
    }
}

TEST_F(RecordCalls, AFailedMoveEndsAtTheEndButForTheEndAndTheIdentifier) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    const CEOID a = open.Write(0, {NumberValue(kNumber, 1)});
    EXPECT_EQ(open.Seek(CEDB_SEEK_END, 1), 0u);
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, 0), a);
    EXPECT_EQ(open.Seek(CEDB_SEEK_CEOID, static_cast<LONG>(a + 1)), 0u);
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, 0), a);
    EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 5)}), 0u);
    CEOID read = a;
    open.Read(&read);
    EXPECT_EQ(read, 0u);
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
}

// Seeks so many records that the database is kept in memory, and goes on while it changes: each seek still finds what
// is there at that moment.
TEST_F(RecordCalls, ManySeeksFindWhatIsThereWhoeverChangesItInBetween) {
    constexpr ULONG kRecords = 300;
    const SORTORDERSPECEX order = OrderOf({{kNumber}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    // Two records of each even number, in the order of their identifiers.
    std::vector<CEOID> first, second;
    for (ULONG i = 0; i < kRecords; ++i) {
        first.push_back(open.Write(0, {NumberValue(kNumber, 2 * i), TextValue(kText, TEXT("first"))}));
        second.push_back(open.Write(0, {NumberValue(kNumber, 2 * i), TextValue(kText, TEXT("second"))}));
    }
    const auto seek = [&](ULONG number) {
        return open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, number)});
    };
    const auto seekAll = [&] {
        for (ULONG i = 0; i < kRecords; ++i) {
            const ULONG which = i * 7 % kRecords;
            ASSERT_EQ(seek(2 * which), first[which]);
            ASSERT_EQ(seek(2 * which + 1), 0u);
            ASSERT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
        }
    };
    seekAll();
    EXPECT_EQ(seek(100), first[50]);
    EXPECT_EQ(open.Read().Text(kText), u"first");
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, 1), second[50]);
    EXPECT_EQ(open.Read().Text(kText), u"second");
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, -2), second[49]);

    EXPECT_EQ(open.Write(first[50], {TextValue(kText, TEXT("changed"))}), first[50]);
    EXPECT_EQ(seek(100), first[50]);
    EXPECT_EQ(open.Read().Text(kText), u"changed");
    seekAll();
    const auto elsewhere = propertydb::Volume::OpenApart(TEXT("\\test.vol"));
    seek(100);
    EXPECT_TRUE(elsewhere->Update(database, first[50], {{kText, u"elsewhere"}}));
    EXPECT_EQ(open.Read().Text(kText), u"elsewhere") << "the record was found before it changed";
    seekAll();
    EXPECT_TRUE(elsewhere->Delete(database, first[50]));
    EXPECT_EQ(seek(100), second[50]);
    first[50] = second[50];
    seekAll();
    EXPECT_EQ(open.Write(second[50], {NumberValue(kNumber, 1001)}), second[50]);
    EXPECT_EQ(seek(100), 0u);
    EXPECT_EQ(seek(1001), second[50]);
}

TEST_F(RecordCalls, SeeksInATransactionSeeItsOwnWrites) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY);
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    const HANDLE session = CeCreateSession(m_volume.Guid());
    {
        Opened open(m_volume.Guid(), database, &order, 0, session);
        for (ULONG i = 0; i < 100; ++i) open.Write(0, {NumberValue(kNumber, i)});
        const auto seek = [&](ULONG number) {
            return open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, number)});
        };
        for (ULONG i = 0; i < 100; ++i) ASSERT_NE(seek(i), 0u);
        EXPECT_TRUE(CeBeginTransaction(session, CEDB_ISOLATION_SERIALIZABLE));
        const CEOID added = open.Write(0, {NumberValue(kNumber, 500)});
        EXPECT_TRUE(open.Delete(seek(7)));
        for (ULONG i = 0; i < 100; ++i) ASSERT_EQ(seek(i) == 0, i == 7) << i;
        EXPECT_EQ(seek(500), added);
        EXPECT_TRUE(CeEndTransaction(session, FALSE));
        for (ULONG i = 0; i < 100; ++i) ASSERT_NE(seek(i), 0u);
        EXPECT_EQ(seek(500), 0u);
    }
    CloseHandle(session);
}

TEST_F(RecordCalls, SeeksWithBadArgumentsAreRefused) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}, {kText}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    Opened unordered(m_volume.Guid(), database);
    open.Write(0, {NumberValue(kNumber, 1), TextValue(kText, TEXT("a"))});
    const auto refused = [](CEOID result, DWORD error) {
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(GetLastError(), error);
    };
    refused(unordered.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 1)}), ERROR_INVALID_PARAMETER);
    refused(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {TextValue(kText, TEXT("a"))}), ERROR_INVALID_PARAMETER);
    refused(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL,
                      {NumberValue(kNumber, 1), TextValue(kText, TEXT("a")), NumberValue(kSigned, 1)}),
            ERROR_INVALID_PARAMETER);
    refused(CeSeekDatabaseEx(open.Get(), CEDB_SEEK_VALUEFIRSTEQUAL, 0, 1, nullptr), ERROR_INVALID_PARAMETER);
    refused(open.Seek(0, 0), ERROR_INVALID_PARAMETER);
    refused(open.Seek(CEDB_SEEK_BEGINNING | CEDB_SEEK_END, 0), ERROR_INVALID_PARAMETER);
    refused(open.Seek(CEDB_SEEK_CEOID, 0), ERROR_INVALID_PARAMETER);
    refused(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL | CEDB_SEEK_PREFIX, {NumberValue(kNumber, 1)}),
            ERROR_INVALID_PARAMETER);
    refused(CeSeekDatabaseEx(nullptr, CEDB_SEEK_BEGINNING, 0, 0, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_NE(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 1)}), 0u) << "leading properties suffice";
    EXPECT_NE(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 1), TextValue(kText, TEXT("a"))}), 0u);
}

TEST_F(RecordCalls, AnOrderWithoutPositionsRefusesSeeksByNumber) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}}, CEDB_SORT_NO_POSITIONAL);
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    const CEOID a = open.Write(0, {NumberValue(kNumber, 1)});
    for (const DWORD type : {CEDB_SEEK_BEGINNING, CEDB_SEEK_END, CEDB_SEEK_CURRENT}) {
        EXPECT_EQ(open.Seek(type, 0), 0u);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 1)}), a);
}

TEST_F(RecordCalls, APrefixFindsTextThatBeginsWithItInEitherKindOfOrder) {
    const SORTORDERSPECEX folded = OrderOf({{kText, CEDB_SORT_CASEINSENSITIVE}});
    const SORTORDERSPECEX exact = OrderOf({{kText}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("texts"), {folded, exact});
    CEOID maria = 0;
    {
        Opened open(m_volume.Guid(), database);
        for (const WCHAR* name : {TEXT("Zoe"), TEXT("anna"), TEXT("MARIA"), TEXT("Mo")}) {
            const CEOID oid = open.Write(0, {TextValue(kText, name)});
            if (name[1] == u'A') maria = oid;
        }
    }
    for (const SORTORDERSPECEX& order : {folded, exact}) {
        Opened open(m_volume.Guid(), database, &order);
        EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL | CEDB_SEEK_PREFIX, {TextValue(kText, TEXT("mar"))}), maria);
        EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL | CEDB_SEEK_PREFIX, {TextValue(kText, TEXT("marx"))}), 0u);
        EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
        EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {TextValue(kText, TEXT("mar"))}), 0u);
    }
}

TEST_F(RecordCalls, RecordsWithoutTheKeyPropertyStandLastOrFirstAndEqualNothing) {
    const SORTORDERSPECEX last = OrderOf({{kNumber}}, CEDB_SORT_UNIQUE);
    const SORTORDERSPECEX first = OrderOf({{kNumber, CEDB_SORT_UNKNOWNFIRST | CEDB_SORT_DESCENDING}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {last, first});
    Opened open(m_volume.Guid(), database, &last);
    const CEOID without = open.Write(0, {TextValue(kText, TEXT("a"))});
    const CEOID also = open.Write(0, {TextValue(kText, TEXT("b"))});
    const CEOID with = open.Write(0, {NumberValue(kNumber, 0xFFFFFFFF)});
    EXPECT_THAT(open.All(), ElementsAre(with, without, also));
    EXPECT_THAT(Opened(m_volume.Guid(), database, &first).All(), ElementsAre(without, also, with));
    EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 0)}), 0u);
}

TEST_F(RecordCalls, WithoutASortOrderRecordsComeInTheOrderTheyWereMade) {
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("any"), {OrderOf({{kNumber}})});
    Opened open(m_volume.Guid(), database);
    const CEOID a = open.Write(0, {NumberValue(kNumber, 9)});
    const CEOID b = open.Write(0, {NumberValue(kNumber, 1)});
    EXPECT_THAT(open.All(), ElementsAre(a, b));
    EXPECT_EQ(open.Seek(CEDB_SEEK_END, 0), b);
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, -1), a);
}

TEST_F(RecordCalls, FarPositionsAndTheirNumbersAreFound) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    for (ULONG i = 0; i < 300; ++i) open.Write(0, {NumberValue(kNumber, (i * 7) % 300)});
    const auto numberAt = [&] { return open.Read().Number(kNumber); };
    DWORD index = 0;
    EXPECT_NE(open.Seek(CEDB_SEEK_BEGINNING, 200, &index), 0u);
    EXPECT_EQ(index, 200u);
    EXPECT_EQ(numberAt(), 200);
    EXPECT_NE(open.Seek(CEDB_SEEK_END, 200, &index), 0u);
    EXPECT_EQ(index, 99u);
    EXPECT_EQ(numberAt(), 99);
    for (int again = 0; again < 3; ++again) {
        EXPECT_NE(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, 123)}, &index), 0u);
        EXPECT_EQ(index, 123u);
    }
    EXPECT_NE(open.Seek(CEDB_SEEK_CURRENT, 100, &index), 0u);
    EXPECT_EQ(index, 223u);
    EXPECT_EQ(numberAt(), 223);
    EXPECT_EQ(open.Seek(CEDB_SEEK_BEGINNING, 300), 0u);
}

TEST_F(RecordCalls, AnOrderOfSeveralPropertiesSortsByEachInTurn) {
    const SORTORDERSPECEX order = OrderOf({{kText, CEDB_SORT_CASEINSENSITIVE}, {kSigned, CEDB_SORT_DESCENDING}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("pairs"), {order});
    Opened open(m_volume.Guid(), database, &order);
    const auto write = [&](const WCHAR* text, LONG number) {
        return open.Write(0, {TextValue(kText, text), NumberValue(kSigned, static_cast<ULONG>(number))});
    };
    const CEOID b1 = write(TEXT("b"), -1);
    const CEOID a0 = write(TEXT("a"), 0);
    const CEOID a5 = write(TEXT("A"), 5);
    const CEOID ab = write(TEXT("ab"), 9);
    EXPECT_THAT(open.All(), ElementsAre(a5, a0, ab, b1));
    EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {TextValue(kText, TEXT("A")), NumberValue(kSigned, 0)}), a0);
}

struct KeyRow {
    CEPROPID id;
    std::vector<propertydb::Value> ascending;
};

TEST_F(RecordCalls, ValuesOfEveryTypeSortAsTheyCompare) {
    using propertydb::Bytes;
    using I = std::int64_t;
    const KeyRow rows[] = {
        {Id(1, CEVT_I2), {I{-32768}, I{-1}, I{0}, I{1}, I{32767}}},
        {Id(1, CEVT_UI2), {I{0}, I{1}, I{0x8000}, I{0xFFFF}}},
        {Id(1, CEVT_I4), {I{-2147483648}, I{-1}, I{0}, I{2147483647}}},
        {Id(1, CEVT_UI4), {I{0}, I{0x7FFFFFFF}, I{0x80000000}, I{0xFFFFFFFF}}},
        {Id(1, CEVT_BOOL), {I{0}, I{1}}},
        {Id(1, CEVT_R8), {-1e300, -1.5, -0.25, 0.0, 1e-300, 2.0, 1e300}},
        {Id(1, CEVT_FILETIME), {I{0}, I{255}, I{256}, I{0x7FFFFFFFFFFFFFFF}, I{-1}}},
        {Id(1, CEVT_LPWSTR), {u"", u"B", u"a", u"a ", u"aa", u"b", u"\u00E9", u"\uFFFD"}},
        {Id(1, CEVT_BLOB), {Bytes{}, Bytes{0}, Bytes{0, 0}, Bytes{0, 1}, Bytes{1}, Bytes{255}}},
    };
    int number = 0;
    for (const KeyRow& row : rows) {
        for (const DWORD flags : {DWORD{0}, CEDB_SORT_DESCENDING}) {
            SCOPED_TRACE("type " + std::to_string(TypeFromPropID(row.id)) + " flags " + std::to_string(flags));
            const SORTORDERSPECEX order = OrderOf({{row.id, flags}});
            const std::u16string name = {u'd', static_cast<char16_t>(u'a' + number++)};
            Opened open(m_volume.Guid(), MakeDatabase(m_volume.Guid(), name.c_str(), {order}), &order);
            std::vector<CEOID> written;
            for (const auto& value : row.ascending) written.push_back(open.Write(0, {ValueOf({row.id, value})}));
            if (flags) std::reverse(written.begin(), written.end());
            EXPECT_EQ(open.All(), written);
        }
    }
}

TEST_F(RecordCalls, FoldingFlagsMakeTextsEqual) {
    struct Row {
        DWORD flags;
        const WCHAR* one;
        const WCHAR* other;
    };
    const Row rows[] = {
        {CEDB_SORT_CASEINSENSITIVE, TEXT("STRA\u00C9E \u0416"), TEXT("stra\u00E9e \u0436")},
        {CEDB_SORT_IGNORENONSPACE, TEXT("R\u00E9sum\u00E9"), TEXT("Resume\u0301")},
        {CEDB_SORT_IGNORESYMBOLS, TEXT("co-op."), TEXT("coop")},
        {CEDB_SORT_IGNOREKANATYPE, TEXT("\u30A2"), TEXT("\u3042")},
        {CEDB_SORT_IGNOREWIDTH, TEXT("\uFF21\uFF11"), TEXT("A1")},
    };
    for (const Row& row : rows) {
        const SORTORDERSPECEX order = OrderOf({{kText, row.flags}}, CEDB_SORT_UNIQUE);
        const std::u16string name = {u'f', static_cast<char16_t>(u'a' + row.flags / 8)};
        Opened open(m_volume.Guid(), MakeDatabase(m_volume.Guid(), name.c_str(), {order}), &order);
        const CEOID oid = open.Write(0, {TextValue(kText, row.one)});
        EXPECT_EQ(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {TextValue(kText, row.other)}), oid) << row.flags;
    }
}

// --- Reading ------------------------------------------------------------------------------------------------

class ReadCalls : public RecordCalls {
 protected:
    ReadCalls() : m_database(MakeDatabase(m_volume.Guid(), TEXT("any"))), m_open(m_volume.Guid(), m_database) {
        m_bytes = {1, 2, 3};
        m_oid = m_open.Write(0, {NumberValue(kNumber, 7), TextValue(kText, TEXT("seven")), BlobValue(kBlob, m_bytes)});
    }
    CEOID m_database;
    Opened m_open;
    std::vector<BYTE> m_bytes;
    CEOID m_oid;
};

TEST_F(ReadCalls, TheElementsComeInTheOrderAskedWithDuplicatesAndMissingOnes) {
    CEPROPID ids[] = {kText, kSigned, kNumber, kText, Id(9, CEVT_STREAM)};
    WORD count = 5;
    BYTE* buffer = nullptr;
    DWORD size = 0;
    ASSERT_EQ(CeReadRecordProps(m_open.Get(), CEDB_ALLOWREALLOC, &count, ids, &buffer, &size), m_oid);
    const auto* elements = reinterpret_cast<const CEPROPVAL*>(buffer);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(size, LocalSize(buffer));
    EXPECT_EQ(std::u16string(elements[0].val.lpwstr), u"seven");
    EXPECT_EQ(elements[1].propid, kSigned);
    EXPECT_EQ(elements[1].wFlags, CEDB_PROPNOTFOUND);
    EXPECT_EQ(elements[1].val.lVal, 0) << "a missing value reads as zero";
    EXPECT_EQ(elements[2].val.ulVal, 7u);
    EXPECT_EQ(elements[2].wFlags, 0u);
    EXPECT_EQ(std::u16string(elements[3].val.lpwstr), u"seven");
    EXPECT_EQ(elements[4].wFlags, CEDB_PROPNOTFOUND);
    EXPECT_GE(reinterpret_cast<BYTE*>(elements[0].val.lpwstr), buffer);
    EXPECT_LT(reinterpret_cast<BYTE*>(elements[0].val.lpwstr), buffer + size);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(elements[0].val.lpwstr) % 2, 0u);
    LocalFree(buffer);
}

TEST_F(ReadCalls, AFixedBufferThatIsTooSmallIsToldItsNeed) {
    WORD count = 0;
    BYTE* none = nullptr;
    DWORD size = 0;
    EXPECT_EQ(CeReadRecordProps(m_open.Get(), 0, &count, nullptr, &none, &size), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    ASSERT_GT(size, 3 * sizeof(CEPROPVAL));
    std::vector<BYTE> own(size);
    BYTE* buffer = own.data();
    DWORD tooSmall = size - 1;
    EXPECT_EQ(CeReadRecordProps(m_open.Get(), 0, &count, nullptr, &buffer, &tooSmall), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(tooSmall, size);
    EXPECT_EQ(CeReadRecordProps(m_open.Get(), 0, &count, nullptr, &buffer, &size), m_oid);
    EXPECT_EQ(buffer, own.data());
    EXPECT_EQ(count, 3u);
}

TEST_F(ReadCalls, ABlockOfTheCallersGrowsAndOneFreeFreesEverything) {
    WORD count = 0;
    BYTE* buffer = static_cast<BYTE*>(LocalAlloc(LPTR, 4));
    DWORD size = 4;
    EXPECT_EQ(CeReadRecordProps(m_open.Get(), CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &size), m_oid);
    EXPECT_EQ(SetOf(buffer, count).Text(kText), u"seven");
    LocalFree(buffer);
}

TEST_F(ReadCalls, AHeapThatIsNamedGivesTheBlock) {
    WORD count = 0;
    BYTE* buffer = nullptr;
    DWORD size = 0;
    const auto blocks = control::Live().heapBlocks;
    EXPECT_EQ(CeReadRecordPropsEx(m_open.Get(), CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &size, GetProcessHeap()),
              m_oid);
    EXPECT_EQ(control::Live().heapBlocks, blocks + 1);
    EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, buffer));
    buffer = nullptr;
    EXPECT_EQ(CeReadRecordPropsEx(m_open.Get(), CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &size, nullptr), m_oid);
    EXPECT_EQ(LocalFree(buffer), nullptr);
}

TEST_F(ReadCalls, WhereNothingAskedForIsThereTheBlockComesWithError232) {
    CEPROPID ids[] = {kSigned, Id(8, CEVT_BOOL)};
    WORD count = 2;
    BYTE* buffer = nullptr;
    DWORD size = 0;
    EXPECT_EQ(CeReadRecordProps(m_open.Get(), CEDB_ALLOWREALLOC, &count, ids, &buffer, &size), 0u);
    EXPECT_EQ(GetLastError(), ERROR_NO_DATA);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(reinterpret_cast<CEPROPVAL*>(buffer)[1].wFlags, CEDB_PROPNOTFOUND);
    LocalFree(buffer);
}

TEST_F(ReadCalls, ReadingRefusesBadArguments) {
    WORD count = 0;
    BYTE* buffer = nullptr;
    DWORD size = 0;
    CEPROPID id = kText;
    const auto refused = [](CEOID result, DWORD error) {
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(GetLastError(), error);
    };
    refused(CeReadRecordProps(m_open.Get(), 1, nullptr, nullptr, &buffer, &size), ERROR_INVALID_PARAMETER);
    refused(CeReadRecordProps(m_open.Get(), 1, &count, &id, &buffer, &size), ERROR_INVALID_PARAMETER);
    refused(CeReadRecordProps(m_open.Get(), 1, &count, nullptr, nullptr, &size), ERROR_INVALID_PARAMETER);
    refused(CeReadRecordProps(m_open.Get(), 1, &count, nullptr, &buffer, nullptr), ERROR_INVALID_PARAMETER);
    refused(CeReadRecordProps(m_open.Get(), 2, &count, nullptr, &buffer, &size), ERROR_INVALID_PARAMETER);
    refused(CeReadRecordProps(INVALID_HANDLE_VALUE, 1, &count, nullptr, &buffer, &size), ERROR_INVALID_HANDLE);
    Opened fresh(m_volume.Guid(), m_database);
    refused(CeReadRecordProps(fresh.Get(), 1, &count, nullptr, &buffer, &size), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(buffer, nullptr);
}

TEST_F(ReadCalls, WithAutomaticIncrementEachReadMovesOn) {
    const CEOID second = m_open.Write(0, {NumberValue(kNumber, 8)});
    Opened open(m_volume.Guid(), m_database, nullptr, CEDB_AUTOINCREMENT);
    CEOID oid = 0;
    open.Read(&oid);
    EXPECT_EQ(oid, m_oid);
    open.Read(&oid);
    EXPECT_EQ(oid, second);
    open.Read(&oid);
    EXPECT_EQ(oid, 0u);
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(open.Seek(CEDB_SEEK_BEGINNING, 0), m_oid);
    EXPECT_TRUE(open.Delete(m_oid));
    open.Read(&oid);
    EXPECT_EQ(oid, second) << "deleting the current record moves on by one";
}

// --- Writing and deleting -----------------------------------------------------------------------------------

TEST_F(ReadCalls, OnlyTheListedPropertiesChange) {
    EXPECT_EQ(m_open.Write(m_oid, {Removal(kBlob), NumberValue(kNumber, 9), Removal(kSigned)}), m_oid);
    EXPECT_EQ(m_open.Read(), (PropertySet{{kNumber, std::int64_t{9}}, {kText, u"seven"}}));
    EXPECT_EQ(m_open.Write(m_oid, {NumberValue(kNumber, 1), NumberValue(kNumber, 2)}), m_oid);
    EXPECT_EQ(m_open.Read().Number(kNumber), 2) << "of two values for one property the last counts";
    EXPECT_EQ(m_open.Write(m_oid, {Removal(kNumber), Removal(kText)}), m_oid);
    CEOID oid = m_oid;
    m_open.Read(&oid);
    EXPECT_EQ(oid, 0u);
    EXPECT_EQ(GetLastError(), ERROR_NO_DATA);
}

TEST_F(ReadCalls, AWriteLeavesTheHandleOnTheWrittenRecord) {
    const CEOID second = m_open.Write(0, {NumberValue(kNumber, 8)});
    EXPECT_EQ(m_open.Seek(CEDB_SEEK_CURRENT, 0), second);
    EXPECT_EQ(m_open.Write(m_oid, {NumberValue(kNumber, 9)}), m_oid);
    EXPECT_EQ(m_open.Seek(CEDB_SEEK_CURRENT, 1), second);
}

TEST_F(ReadCalls, RefusedWritesSayWhyAndChangeNothing) {
    std::u16string tooLong(CEDB_MAXPROPDATASIZE / 2 + 1, u'x');
    std::vector<std::u16string> halves(3, std::u16string(30000, u'y'));
    CEPROPVAL noText = TextValue(kText, nullptr);
    CEPROPVAL noBlob{};
    noBlob.propid = kBlob;
    noBlob.val.blob.dwCount = 3;
    struct Row {
        const char* what;
        CEOID oid;
        std::vector<CEPROPVAL> values;
        DWORD error;
    };
    const Row rows[] = {
        {"nothing to write", m_oid, {}, ERROR_INVALID_PARAMETER},
        {"no such record", m_oid + 100, {NumberValue(kNumber, 1)}, ERROR_NOT_FOUND},
        {"a type no record holds", m_oid, {NumberValue(Id(1, 7), 1)}, ERROR_INVALID_PARAMETER},
        {"a stream", m_oid, {NumberValue(Id(1, CEVT_STREAM), 1)}, ERROR_INVALID_PARAMETER},
        {"an automatic number", m_oid, {NumberValue(Id(1, CEVT_AUTO_I4), 1)}, ERROR_INVALID_PARAMETER},
        {"no text", m_oid, {noText}, ERROR_INVALID_PARAMETER},
        {"no bytes", m_oid, {noBlob}, ERROR_INVALID_PARAMETER},
        {"a property too long", m_oid, {TextValue(kText, tooLong.c_str())}, ERROR_BAD_LENGTH},
        {"a record too long",
         m_oid,
         {TextValue(Id(11, CEVT_LPWSTR), halves[0].c_str()), TextValue(Id(12, CEVT_LPWSTR), halves[1].c_str()),
          TextValue(Id(13, CEVT_LPWSTR), halves[2].c_str())},
         ERROR_BAD_LENGTH},
    };
    const PropertySet before = m_open.Read();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(m_open.Write(row.oid, row.values), 0u);
        EXPECT_EQ(GetLastError(), row.error);
        EXPECT_EQ(m_open.Read(), before);
    }
    CEPROPVAL value = NumberValue(kNumber, 1);
    EXPECT_EQ(CeWriteRecordProps(nullptr, 0, 1, &value), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(CeWriteRecordProps(m_open.Get(), 0, 1, nullptr), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(ReadCalls, TheLongestRecordAndPropertyFit) {
    std::vector<BYTE> longest(CEDB_MAXPROPDATASIZE, 7);
    const CEOID oid = m_open.Write(0, {BlobValue(kBlob, longest)});
    ASSERT_NE(oid, 0u);
    EXPECT_EQ(m_open.Read().Blob(kBlob), longest);
}

TEST_F(RecordCalls, AUniqueKeyIsRefusedTwiceOnInsertAndOnChange) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY);
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    const CEOID a = open.Write(0, {NumberValue(kNumber, 1)});
    const CEOID b = open.Write(0, {NumberValue(kNumber, 2)});
    EXPECT_EQ(open.Write(b, {NumberValue(kNumber, 1)}), 0u);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(open.Write(a, {NumberValue(kNumber, 1), NumberValue(kSigned, 5)}), a) << "its own key is no duplicate";
    EXPECT_EQ(open.Write(a, {NumberValue(kNumber, 3)}), a);
    EXPECT_THAT(open.All(), ElementsAre(b, a));
}

TEST_F(RecordCalls, IdentifiersAreNeverUsedTwice) {
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("any"));
    Opened open(m_volume.Guid(), database);
    const CEOID a = open.Write(0, {NumberValue(kNumber, 1)});
    EXPECT_GT(a, database);
    EXPECT_TRUE(open.Delete(a));
    const CEOID b = open.Write(0, {NumberValue(kNumber, 1)});
    EXPECT_GT(b, a);
    EXPECT_GT(MakeDatabase(m_volume.Guid(), TEXT("more")), b);
}

TEST_F(RecordCalls, AfterDeletingTheCurrentRecordTheReadFailsAndTheStepNeitherSkipsNorRepeats) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened open(m_volume.Guid(), database, &order);
    std::vector<CEOID> all;
    for (ULONG i = 0; i < 5; ++i) all.push_back(open.Write(0, {NumberValue(kNumber, i)}));
    EXPECT_EQ(open.Seek(CEDB_SEEK_CEOID, static_cast<LONG>(all[2])), all[2]);
    EXPECT_TRUE(open.Delete(all[2]));
    CEOID read = 1;
    open.Read(&read);
    EXPECT_EQ(read, 0u);
    EXPECT_EQ(GetLastError(), ERROR_KEY_DELETED);
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, 0), all[3]);
    EXPECT_EQ(open.Seek(CEDB_SEEK_CEOID, static_cast<LONG>(all[1])), all[1]);
    EXPECT_TRUE(open.Delete(all[1]));
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, -1), all[0]);
    EXPECT_TRUE(open.Delete(all[0]));
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, 1), all[3]);
    EXPECT_TRUE(open.Delete(all[3]));
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, 1), all[4]);
}

TEST_F(RecordCalls, WithTheOtherReadingTheStepAfterADeletionSkipsOne) {
    propertydb::SetAfterDeletion(propertydb::AfterDeletion::Following);
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"));
    Opened open(m_volume.Guid(), database);
    std::vector<CEOID> all;
    for (ULONG i = 0; i < 4; ++i) all.push_back(open.Write(0, {NumberValue(kNumber, i)}));
    EXPECT_EQ(open.Seek(CEDB_SEEK_BEGINNING, 0), all[0]);
    EXPECT_TRUE(open.Delete(all[0]));
    EXPECT_EQ(open.Seek(CEDB_SEEK_CURRENT, 1), all[2]);
    propertydb::SetAfterDeletion(propertydb::AfterDeletion::Gap);
}

TEST_F(RecordCalls, DeletingRefusesWhatIsNotThere) {
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("any"));
    Opened open(m_volume.Guid(), database);
    EXPECT_FALSE(open.Delete(0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(open.Delete(0x05000000));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    for (const HANDLE bad : {HANDLE(nullptr), INVALID_HANDLE_VALUE}) {
        EXPECT_FALSE(CeDeleteRecord(bad, 1));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
}

TEST_F(RecordCalls, TwoHandlesSeeEachOthersChanges) {
    const SORTORDERSPECEX order = OrderOf({{kNumber}});
    const CEOID database = MakeDatabase(m_volume.Guid(), TEXT("numbers"), {order});
    Opened one(m_volume.Guid(), database, &order);
    Opened other(m_volume.Guid(), database, &order);
    std::vector<CEOID> all;
    for (ULONG i = 0; i < 100; i += 10) all.push_back(one.Write(0, {NumberValue(kNumber, i)}));
    EXPECT_EQ(one.Seek(CEDB_SEEK_BEGINNING, 0), all[0]);
    EXPECT_EQ(one.Seek(CEDB_SEEK_CURRENT, 1), all[1]);  // has read ahead from here
    EXPECT_TRUE(other.Delete(all[2]));
    EXPECT_EQ(one.Seek(CEDB_SEEK_CURRENT, 1), all[3]);
    const CEOID between = other.Write(0, {NumberValue(kNumber, 35)});
    EXPECT_EQ(one.Seek(CEDB_SEEK_CURRENT, 1), between);
    EXPECT_EQ(other.Write(between, {NumberValue(kNumber, 85)}), between);
    EXPECT_EQ(one.Seek(CEDB_SEEK_CURRENT, 1), all[9]) << "the place follows the record";
    EXPECT_TRUE(other.Delete(all[9]));
    CEOID read = 1;
    one.Read(&read);
    EXPECT_EQ(GetLastError(), ERROR_KEY_DELETED);
}

// --- Planned faults -----------------------------------------------------------------------------------------

TEST_F(ReadCalls, EveryCallFailsAsPlannedAndWorksAgain) {
    CEGUID* volume = m_volume.Guid();
    CEDBASEINFOEX info = InfoFor(TEXT("new"));
    CEOIDINFOEX oidInfo{};
    oidInfo.wVersion = 2;
    BY_HANDLE_DB_INFORMATION byHandle{};
    byHandle.wVersion = 1;
    CEPROPVAL value = NumberValue(kNumber, 1);
    CEPROPSPEC sort{};
    CEPROPID id = kNumber;
    CENOTIFYREQUEST request{};
    CENOTIFICATION notification{};
    WORD count = 0;
    BYTE* buffer = nullptr;
    DWORD size = 0;
    CEOID oid = m_database;
    WCHAR path[MAX_PATH] = TEXT("\\test.vol");
    struct Row {
        const char* call;
        std::function<bool()> failed;
    };
    const Row rows[] = {
        {"CeMountDBVolEx", [&] { return !CeMountDBVolEx(volume, path, nullptr, OPEN_ALWAYS); }},
        {"CeUnmountDBVol", [&] { return !CeUnmountDBVol(volume); }},
        {"CeFlushDBVol", [&] { return !CeFlushDBVol(volume); }},
        {"CeEnumDBVolumes", [&] { return !CeEnumDBVolumes(volume, path, MAX_PATH); }},
        {"CeOpenDatabaseInSession",
         [&] {
             return CeOpenDatabaseInSession(nullptr, volume, &oid, nullptr, nullptr, 0, nullptr) ==
                    INVALID_HANDLE_VALUE;
         }},
        {"CeOidGetInfoEx2", [&] { return !CeOidGetInfoEx2(volume, m_database, &oidInfo); }},
        {"CeSeekDatabaseEx", [&] { return !CeSeekDatabaseEx(m_open.Get(), CEDB_SEEK_BEGINNING, 0, 0, nullptr); }},
        {"CeReadRecordProps", [&] { return !CeReadRecordProps(m_open.Get(), 1, &count, nullptr, &buffer, &size); }},
        {"CeReadRecordPropsEx",
         [&] { return !CeReadRecordPropsEx(m_open.Get(), 1, &count, nullptr, &buffer, &size, nullptr); }},
        {"CeWriteRecordProps", [&] { return !CeWriteRecordProps(m_open.Get(), m_oid, 1, &value); }},
        {"CeDeleteRecord", [&] { return !CeDeleteRecord(m_open.Get(), m_oid); }},
        {"CeCreateDatabaseWithProps", [&] { return !CeCreateDatabaseWithProps(volume, &info, 0, nullptr); }},
        {"CeCreateDatabaseEx2", [&] { return !CeCreateDatabaseEx2(volume, &info); }},
        {"CeSetDatabaseInfoEx2", [&] { return !CeSetDatabaseInfoEx2(volume, m_database, &info); }},
        {"CeDeleteDatabaseEx", [&] { return !CeDeleteDatabaseEx(volume, m_database); }},
        {"CeAddDatabaseProps", [&] { return !CeAddDatabaseProps(volume, m_database, 1, &sort); }},
        {"CeRemoveDatabaseProps", [&] { return !CeRemoveDatabaseProps(volume, m_database, 1, &id); }},
        {"CeGetDatabaseProps", [&] { return !CeGetDatabaseProps(volume, m_database, &count, nullptr); }},
        {"CeFindFirstDatabaseEx", [&] { return CeFindFirstDatabaseEx(volume, 0) == INVALID_HANDLE_VALUE; }},
        {"CeFindNextDatabaseEx", [&] { return !CeFindNextDatabaseEx(nullptr, volume); }},
        {"CeGetDBInformationByHandle", [&] { return !CeGetDBInformationByHandle(m_open.Get(), &byHandle); }},
        {"CeCreateSession", [&] { return CeCreateSession(volume) == INVALID_HANDLE_VALUE; }},
        {"CeGetDatabaseSession", [&] { return CeGetDatabaseSession(m_open.Get()) == INVALID_HANDLE_VALUE; }},
        {"CeBeginTransaction", [&] { return !CeBeginTransaction(nullptr, 1); }},
        {"CeEndTransaction", [&] { return !CeEndTransaction(nullptr, TRUE); }},
        {"CeFreeNotification", [&] { return !CeFreeNotification(&request, &notification); }},
    };
    const PropertySet before = m_open.Read();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.call);
        control::PlanFault({row.call, 1, 1, 4321});
        EXPECT_TRUE(row.failed());
        EXPECT_EQ(GetLastError(), 4321u);
        control::ClearFaults();
    }
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(m_open.Read(), before) << "a call that fails as planned has done nothing";
}

TEST_F(ReadCalls, ABlockThatCannotBeHadIsError8) {
    control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    WORD count = 0;
    BYTE* buffer = nullptr;
    DWORD size = 0;
    EXPECT_EQ(CeReadRecordProps(m_open.Get(), 1, &count, nullptr, &buffer, &size), 0u);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(buffer, nullptr);
}

}  // namespace
}  // namespace kez::tests
