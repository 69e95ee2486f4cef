// Records through an open database: what each call gives, and with which last error it fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/propertydb/options.h"
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

}  // namespace
}  // namespace kez::tests
