// Packets and items: every field, every asymmetry, hostile bytes, and the device's own packet class as the judge.
#include "partner/packet_codec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <bit>
#include <cstring>

#include "packet/record_packet.h"
#include "partner/asymmetries.h"
#include "partner/record_fields.h"

namespace kez::partner {
namespace {

using sync::Fields;
using sync::Item;
using sync::ItemType;
using sync::PacketError;
using ::testing::HasSubstr;

RecordCodec Codec(std::int32_t biasMinutes = 0) {
    return RecordCodec([biasMinutes] { return biasMinutes; });
}

// One property as a device would send or read it.
struct Property {
    CEPROPVAL value{};
    std::u16string text;
    std::string blob;
};

std::string Sent(const std::vector<Property>& properties) {
    CKezCEPacket packet;
    packet.PropStart(7);
    for (const auto& property : properties) {
        CEPROPVAL value = property.value;
        if (TypeFromPropID(value.propid) == CEVT_LPWSTR)
            value.val.lpwstr = const_cast<WCHAR*>(property.text.c_str());
        else if (TypeFromPropID(value.propid) == CEVT_BLOB)
            value.val.blob = {static_cast<DWORD>(property.blob.size()),
                              reinterpret_cast<BYTE*>(const_cast<char*>(property.blob.data()))};
        packet.PropAdd(&value, 1);
    }
    int size = packet.PropFini();
    BYTE* bytes;
    DWORD length;
    packet.GetNextBytes(&bytes, &length, size);
    return {reinterpret_cast<char*>(bytes), length};
}

Property Of(CEPROPID propid, std::u16string text) {
    Property property;
    property.value.propid = propid;
    property.text = std::move(text);
    return property;
}
Property Of(CEPROPID propid, std::int64_t number) {
    Property property;
    property.value.propid = propid;
    property.value.val.lVal = static_cast<LONG>(number);
    return property;
}
Property OfTime(CEPROPID propid, const char* moment, int shiftMinutes = 0) {
    std::int64_t seconds = 0;
    EXPECT_TRUE(ParseMoment(moment, &seconds));
    seconds += shiftMinutes * 60;
    Property property;
    property.value.propid = propid;
    bool isDate = TypeFromPropID(propid) == CEVT_R8 || propid == 0x420D0040;
    std::uint64_t bits = isDate ? std::bit_cast<std::uint64_t>(DateOf(seconds)) : FileTimeOf(seconds);
    std::memcpy(&property.value.val, &bits, 8);
    return property;
}

// What the device's class finds in a packet: identifier and value as text.
std::map<CEPROPID, std::string> Received(const std::string& bytes) {
    CKezCEPacket packet;
    EXPECT_EQ(packet.SetNextBytes(reinterpret_cast<const BYTE*>(bytes.data()), static_cast<int>(bytes.size())), 0);
    CEPROPVAL* properties = nullptr;
    WORD count = 0;
    EXPECT_EQ(packet.GetPropList(&properties, &count), static_cast<int>(bytes.size()));
    std::map<CEPROPID, std::string> all;
    for (WORD i = 0; i < count; i++) {
        const auto& value = properties[i].val;
        std::string text;
        std::uint64_t bits = 0;
        switch (TypeFromPropID(properties[i].propid)) {
            case CEVT_LPWSTR:
                for (const WCHAR* p = value.lpwstr; *p; p++) text += *p < 128 ? std::string(1, char(*p)) : "?";
                break;
            case CEVT_BLOB:
                text.assign(reinterpret_cast<const char*>(value.blob.lpb), value.blob.dwCount);
                break;
            case CEVT_FILETIME:
                std::memcpy(&bits, &value, 8);
                text = MomentText(SecondsOfFileTime(bits));
                break;
            case CEVT_R8:
                text = MomentText(SecondsOfDate(value.dblVal));
                break;
            case CEVT_I2:
                text = std::to_string(value.iVal);
                break;
            case CEVT_UI2:
                text = std::to_string(value.uiVal);
                break;
            default:
                text = std::to_string(value.lVal);
        }
        all[properties[i].propid] = text;
    }
    return all;
}

Fields Decoded(ItemType type, const std::vector<Property>& properties, std::int32_t bias = 0) {
    return Codec(bias).Decode(type, Sent(properties)).fields;
}

// --- Contacts --------------------------------------------------------------------------------------------------

Item FullContact() {
    Item item;
    for (const auto& field : FieldsOf(ItemType::Contact)) {
        std::string name(field.name);
        item.fields[name] = field.kind == ValueKind::Day     ? "1980-05-17"
                            : field.kind == ValueKind::Bytes ? std::string("\xFF\xD8\0z", 4)
                                                             : name + " \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\nline";
    }
    return item;
}

TEST(PacketCodec, EveryContactFieldGoesBothWays) {
    Item item = FullContact();
    EXPECT_EQ(Codec().Decode(ItemType::Contact, Codec().Encode(item, nullptr)), item);
}

TEST(PacketCodec, ThePacketIsTheOneThatTheDevicesClassMakes) {
    Item item{ItemType::Contact, {{"FirstName", "Ada"}, {"LastName", "Byron"}, {"Birthday", "1815-12-10"}}};
    item.fields["Birthday"] = "1915-12-10";
    std::string ours = Codec().Encode(item, nullptr);
    std::string theirs = Sent({Of(0x3A06001F, u"Ada"), Of(0x3A11001F, u"Byron"), OfTime(0x40010040, "1915-12-10"),
                               Of(0x4013001F, u"Byron, Ada")});
    ASSERT_EQ(ours.size(), theirs.size());
    theirs[4] = 0;                                                                // the record's identifier
    for (int entry : {0, 1, 3}) theirs.replace(10 + 16 * entry + 8, 8, 8, '\0');  // addresses of texts
    EXPECT_EQ(ours, theirs);
}

TEST(PacketCodec, ABirthdayIsSentAsThatDayWithoutAShift) {
    Item item{ItemType::Contact, {{"FirstName", "A"}, {"Birthday", "1980-05-17"}}};
    EXPECT_EQ(Received(Codec(300).Encode(item, nullptr))[0x40010040], "1980-05-17 00:00:00");
}

TEST(PacketCodec, NoDateIsReadAsNone) {
    EXPECT_EQ(Decoded(ItemType::Contact, {OfTime(0x40010040, "4501-01-01"), OfTime(0x40030040, "1899-12-30")}),
              Fields{});
}

TEST(PacketCodec, APropertyThatTheDeviceDidNotFindIsAbsent) {
    Property missing = Of(0x3A06001F, u"");
    missing.value.wFlags = 0x0100;
    EXPECT_EQ(Decoded(ItemType::Contact, {missing, Of(0x3A11001F, u"B"), Of(0x12340003, 5)}),
              (Fields{{"LastName", "B"}}));
}

TEST(PacketCodec, WhatIsClearedIsSentInTheFormThatClearsIt) {
    Item held{
        ItemType::Contact,
        {{"FirstName", "A"}, {"JobTitle", "x"}, {"Birthday", "1980-05-17"}, {"Categories", "a"}, {"Picture", "p"}}};
    Item wanted{ItemType::Contact, {{"FirstName", "A"}}};
    EXPECT_EQ(Received(Codec().Encode(wanted, &held)),
              (std::map<CEPROPID, std::string>{
                  {0x3A17001F, ""}, {0x40010040, "4501-01-01 00:00:00"}, {0x4013001F, "A"}, {0xAFF0001F, ""}}));
    EXPECT_THAT(Codec().CannotClear(wanted, held), testing::ElementsAre(HasSubstr("picture")));
}

TEST(PacketCodec, WhatTheDeviceHoldsAlreadyIsNotSentWhereItStandsAlone) {
    const auto sent = [](const Item& wanted, const Item& held) {
        std::vector<CEPROPID> ids;
        for (const auto& [id, value] : Received(Codec().Encode(wanted, &held))) ids.push_back(id);
        return ids;
    };
    Item held{ItemType::Contact, {{"FirstName", "Ada"}, {"JobTitle", "x"}, {"Birthday", "1980-05-17"}, {"Body", "b"}}};
    Item wanted = held;
    wanted.fields["JobTitle"] = "y";
    EXPECT_THAT(sent(wanted, held), testing::ElementsAre(0x3A17001FU, 0x4013001FU))
        << "the filing text is made up anew";

    held.fields["FileAs"] = wanted.fields["FileAs"] = "Countess";
    EXPECT_THAT(sent(wanted, held), testing::ElementsAre(0x3A17001FU, 0x4013001FU)) << "a device may make up another";

    // Times, a pattern and its exceptions say something together only.
    held = {ItemType::Appointment,
            {{"Subject", "Weekly"},
             {"Location", "Hall"},
             {"Start", "2026-03-02 10:00:00"},
             {"Duration", "60"},
             {"IsRecurring", "1"},
             {"RecurrenceType", "1"},
             {"DayOfWeekMask", "2"},
             {"Interval", "1"},
             {"ExceptionDates", "2026-03-09 10:00:00"}}};
    wanted = held;
    wanted.fields["Subject"] = "Monthly";
    const auto appointment = Received(Codec().Encode(wanted, &held));
    EXPECT_EQ(appointment.count(0x0037001F), 1U);
    EXPECT_EQ(appointment.count(0x4208001F), 0U);
    EXPECT_EQ(appointment.count(0x420D0040), 1U);
    for (CEPROPID part : {0xAFF1000BU, 0xAFF10012U, 0xAFF20012U, 0xAFF50012U, 0xAFFF001FU}) {
        EXPECT_EQ(appointment.count(part), 1U) << part;
    }
}

TEST(PacketCodec, AnAppointmentsRecipientsAreClearedByABlank) {
    Item held{ItemType::Appointment,
              {{"Start", "2026-03-02 10:00:00"}, {"Recipients", "A;a@b"}, {"ExceptionDates", "x"}}};
    Item wanted{ItemType::Appointment, {{"Start", "2026-03-02 10:00:00"}}};
    auto received = Received(Codec().Encode(wanted, &held));
    EXPECT_EQ(received[0xAFFC001F], " ");
    EXPECT_EQ(received.count(0xAFFF001F), 0U);
    EXPECT_THAT(Codec().CannotClear(wanted, held), testing::ElementsAre(HasSubstr("occurrences")));
    EXPECT_TRUE(Codec().CannotClear(held, held).empty());
    Item two = held, other = held;
    two.fields["ExceptionDates"] = "x\ty";
    other.fields["ExceptionDates"] = "y";
    EXPECT_THAT(Codec().CannotClear(other, two), testing::ElementsAre(HasSubstr("occurrences")));
    EXPECT_TRUE(Codec().CannotClear(two, other).empty());
}

TEST(PacketCodec, LineBreaksAreTheDevicesOwn) {
    Item item{ItemType::Contact, {{"FirstName", "A"}, {"Body", "one\ntwo"}}};
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0xAFFA001F], "one\r\ntwo");
    EXPECT_EQ(Decoded(ItemType::Contact, {Of(0xAFFA001F, u"one\r\ntwo\rthree\nfour")})["Body"],
              "one\ntwo\nthree\nfour");
}

TEST(PacketCodec, BrokenTextsAreReadWithReplacements) {
    EXPECT_EQ(Decoded(ItemType::Contact, {Of(0x3A06001F, std::u16string{0xD83D, 'a', 0xDE00})})["FirstName"],
              "\xEF\xBF\xBD"
              "a\xEF\xBF\xBD");
    Item item{ItemType::Contact, {{"FirstName", "a\xFF\xC3\xF0\x80z"}}};
    EXPECT_EQ(Codec().Decode(ItemType::Contact, Codec().Encode(item, nullptr)).fields["FirstName"],
              "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz");
}

// --- Asymmetries, one by one -------------------------------------------------------------------------------------

TEST(Asymmetry, FileAsThatTheDeviceMadeUpIsNotAField) {
    std::vector<Property> sent = {Of(0x3A06001F, u"Ada"), Of(0x3A11001F, u"Byron"), Of(0x4013001F, u"Byron, Ada")};
    EXPECT_EQ(Decoded(ItemType::Contact, sent).count("FileAs"), 0U);
    sent[2].text = u"The Countess";
    EXPECT_EQ(Decoded(ItemType::Contact, sent)["FileAs"], "The Countess");
    Item item{ItemType::Contact, {{"FirstName", "Ada"}, {"LastName", "King"}}};
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0x4013001F], "King, Ada");
    item.fields["FileAs"] = "King, Ada";
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields.count("FileAs"), 0U);
}

TEST(Asymmetry, CategoriesHaveOneSeparator) {
    EXPECT_EQ(Decoded(ItemType::Task, {Of(0xAFF0001F, u"a,b , c")})["Categories"], "a, b, c");
}

TEST(Asymmetry, ATextOfOneHyphenDoesNotComeBack) {
    Item item{ItemType::Contact, {{"FirstName", "-"}, {"Body", "-"}, {"Categories", "-"}}};
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields, (Fields{{"FirstName", "-"}}));
}

TEST(Asymmetry, AllDayIsWrittenAsOneOrTwoAndReadAsOneOrZero) {
    Item item{ItemType::Appointment, {{"Start", "2026-03-02 00:00:00"}, {"AllDayEvent", "1"}}};
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0x42150003], "1");
    item.fields["AllDayEvent"] = "0";
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0x42150003], "2");
    EXPECT_EQ(Decoded(ItemType::Appointment, {Of(0x42150003, 0)})["AllDayEvent"], "0");
    EXPECT_EQ(Decoded(ItemType::Appointment, {Of(0x42150003, 1)})["AllDayEvent"], "1");
}

TEST(Asymmetry, AnAllDayEventIsWholeDays) {
    for (auto [minutes, days] : {std::pair{"0", "1440"}, {"1", "1440"}, {"1440", "1440"}, {"1441", "2880"}}) {
        Item item{ItemType::Appointment,
                  {{"Start", "2026-03-02 09:30:00"}, {"AllDayEvent", "1"}, {"Duration", minutes}}};
        EXPECT_EQ(Codec().AsHeldByDevice(item).fields["Duration"], days);
        EXPECT_EQ(Codec().AsHeldByDevice(item).fields["Start"], "2026-03-02 00:00:00");
    }
}

TEST(Asymmetry, TheStartLeavesAsADateInUtcAndArrivesAsWallClock) {
    // One hour east of Greenwich: the device adds -60 minutes.
    EXPECT_EQ(Decoded(ItemType::Appointment, {OfTime(0x420D0040, "2026-03-02 10:00:00", -60)}, -60)["Start"],
              "2026-03-02 10:00:00");
    Item item{ItemType::Appointment, {{"Start", "2026-03-02 10:00:00"}}};
    EXPECT_EQ(Received(Codec(-60).Encode(item, nullptr))[0x420D0040], "2026-03-02 10:00:00");
}

TEST(Asymmetry, EverySecondOfADaySurvivesTheDate) {
    for (int second = 0; second < 86400; second += 7) {
        Property start = OfTime(0x420D0040, "2026-03-02");
        double date = DateOf(SecondsOfFileTime(FileTimeOf(1772409600 + second)));
        std::memcpy(&start.value.val, &date, 8);
        ASSERT_EQ(Decoded(ItemType::Appointment, {start})["Start"], MomentText(1772409600 + second));
        second += 1000;
    }
}

TEST(Asymmetry, AReminderIsWrittenAsAnAutomationFlag) {
    Item item{ItemType::Appointment,
              {{"Start", "2026-03-02 10:00:00"}, {"ReminderSet", "1"}, {"ReminderMinutesBeforeStart", "15"}}};
    auto received = Received(Codec().Encode(item, nullptr));
    EXPECT_EQ(received[0x45030002], "-1");
    EXPECT_EQ(received[0x45010003], "15");
    EXPECT_EQ(Decoded(ItemType::Appointment, {Of(0x45010003, 15), Of(0x45030002, 1)})["ReminderSet"], "1");
}

TEST(Asymmetry, MinutesOfAReminderThatIsNotSetSayNothing) {
    EXPECT_EQ(
        Decoded(ItemType::Appointment, {Of(0x45010003, 15), Of(0x45030002, 0)}).count("ReminderMinutesBeforeStart"),
        0U);
    Item item{ItemType::Appointment, {{"Start", "2026-03-02 10:00:00"}}};
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0x45030002], "0");
}

TEST(Asymmetry, BusyStatusAlwaysEndsBusy) {
    Item item{ItemType::Appointment, {{"Start", "2026-03-02 10:00:00"}, {"BusyStatus", "3"}}};
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0x000F0002], "3");
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields["BusyStatus"], "2");
}

TEST(Asymmetry, SensitivityEndsPublicOrPrivate) {
    for (auto [sent, held] : {std::pair{"0", "0"}, {"1", "0"}, {"2", "2"}, {"3", "0"}}) {
        EXPECT_EQ(Codec().AsHeldByDevice({ItemType::Task, {{"Sensitivity", sent}}}).fields["Sensitivity"], held);
        EXPECT_EQ(Codec().AsHeldByDevice({ItemType::Appointment, {{"Sensitivity", sent}}}).fields["Sensitivity"], held);
    }
}

TEST(Asymmetry, ARecipientWithoutAnAddressHasItsName) {
    Item item{ItemType::Appointment, {{"Start", "2026-03-02 10:00:00"}, {"Recipients", "Ann;ann@x;Bob"}}};
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields["Recipients"], "Ann;ann@x;Bob;Bob");
    EXPECT_EQ(Decoded(ItemType::Appointment, {Of(0xAFFC001F, u"Ann;ann@x;")})["Recipients"], "Ann;ann@x");
}

TEST(Asymmetry, OccurrencesSayTheSameInTheSameBytesAsAFile) {
    const std::string end = "~^!^~";
    const auto occurrence = [&](const std::string& options, const std::string& body, const std::string& categories) {
        std::string text;
        for (const std::string& field : {std::string("Talk"), std::string("Hall"), std::string("2026-03-09 13:00:00"),
                                         std::string("60"), std::string("0"), std::string("0"), std::string("0"),
                                         options, body, categories, std::string(), std::string("2")}) {
            text += field + end;
        }
        return text;
    };
    const std::string said = occurrence("0", "a\nb", "x, y");
    EXPECT_EQ(Codec().Occurrences(occurrence("12", "a\r\nb", "x,y") + occurrence("0", "a\nb", "x, y")), said + said);
    EXPECT_EQ(Codec().Occurrences(""), "");
}

TEST(RecordCodec, AListHasAllOfAnotherWhereEachOfItsEntriesIsThere) {
    const auto occurrence = [](const std::string& subject) {
        std::string text = subject;
        for (int i = 0; i < 12; ++i) text += "~^!^~";
        return text;
    };
    const std::string whole = occurrence("a") + occurrence("b") + occurrence("c");
    EXPECT_TRUE(Codec().HasAll("ModifiedOccurrences", whole, occurrence("c") + occurrence("a")));
    EXPECT_FALSE(Codec().HasAll("ModifiedOccurrences", whole, occurrence("a") + occurrence("d")));
    for (const char* dates : {"ExceptionDates", "ModifiedOccurrenceDates"}) {
        EXPECT_TRUE(Codec().HasAll(dates, "2026-03-09 10:00:00\t2026-03-16 10:00:00", "2026-03-16 10:00:00")) << dates;
        EXPECT_FALSE(Codec().HasAll(dates, "2026-03-09 10:00:00", "2026-03-16 10:00:00")) << dates;
    }
    EXPECT_TRUE(Codec().HasAll("Location", "Town", "Town"));
    EXPECT_FALSE(Codec().HasAll("Location", "Town", "To"));
}

TEST(Asymmetry, OccurrencesAreReadFromEightBitTextsAndNeverSent) {
    std::u16string text = u"caf?~^!^~";
    text[3] = 0xFFE9;
    text += static_cast<char16_t>(0xFF80);
    EXPECT_EQ(Decoded(ItemType::Appointment, {Of(0xAFF1000B, 1), Of(0xAFE0001F, text)})["ModifiedOccurrences"],
              "caf\xC3\xA9~^!^~\xC2\x80");
    Item item{ItemType::Appointment,
              {{"Start", "2026-03-02 10:00:00"},
               {"IsRecurring", "1"},
               {"RecurrenceType", "1"},
               {"ModifiedOccurrences", "x"},
               {"ModifiedOccurrenceDates", "2026-03-09 10:00:00"}}};
    EXPECT_EQ(Codec().WhyNotHeld(item), "") << "no device holds them, and none has to";
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields.count("ModifiedOccurrenceDates"), 0U);
    EXPECT_EQ(Received(Codec().Encode(item, nullptr)).count(0xAFE0001F), 0U);
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields.count("ModifiedOccurrences"), 0U);
}

TEST(Asymmetry, APatternSaysWhetherItEnds) {
    Item item{ItemType::Appointment,
              {{"Start", "2026-03-02 10:00:00"}, {"IsRecurring", "1"}, {"RecurrenceType", "0"}, {"Interval", "2"}}};
    auto endless = Received(Codec().Encode(item, nullptr));
    EXPECT_EQ(endless[0xAFF1000B], "1");
    EXPECT_EQ(endless[0xAFF10012], "0");
    EXPECT_EQ(endless[0xAFF9000B], "1");
    item.fields["PatternEndDate"] = "2026-04-01 10:00:00";
    auto ending = Received(Codec().Encode(item, nullptr));
    EXPECT_EQ(ending[0xAFF9000B], "0");
    EXPECT_EQ(ending[0xAFF80005], "2026-04-01 00:00:00");
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields["PatternEndDate"], "2026-04-01 00:00:00");
}

TEST(Asymmetry, TheEndDateOfAPatternWithoutAnEndIsNone) {
    auto fields = Decoded(ItemType::Task, {Of(0xAFF1000B, 1), Of(0xAFF10012, 1), Of(0xAFF20012, 2), Of(0xAFF50012, 1),
                                           OfTime(0xAFF80005, "4501-01-01"), Of(0xAFF9000B, 1)});
    EXPECT_EQ(fields.count("PatternEndDate"), 0U);
    EXPECT_EQ(fields["NoEndDate"], "1");
    EXPECT_EQ(fields["DayOfWeekMask"], "2");
}

TEST(Asymmetry, WhatDoesNotRecurSaysSo) {
    Item item{ItemType::Task, {{"Subject", "x"}}};
    auto received = Received(Codec().Encode(item, nullptr));
    EXPECT_EQ(received[0xAFF1000B], "0");
    EXPECT_EQ(received.count(0xAFF10012), 0U);
}

TEST(Asymmetry, ExceptionDatesAreSortedAndEndInTabs) {
    auto fields = Decoded(ItemType::Appointment,
                          {Of(0xAFF1000B, 1), Of(0xAFF10012, 1),
                           Of(0xAFFF001F, u"2026-03-09 10:00:00\t2026-03-02 10:00:00\t2026-03-09 10:00:00\t")});
    EXPECT_EQ(fields["ExceptionDates"], "2026-03-02 10:00:00\t2026-03-09 10:00:00");
    Item item{ItemType::Appointment, fields};
    item.fields["Start"] = "2026-03-02 10:00:00";
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0xAFFF001F], "2026-03-02 10:00:00\t2026-03-09 10:00:00\t");
}

TEST(Asymmetry, ACompletedTaskIsWrittenAsAnAutomationFlag) {
    Item item{ItemType::Task, {{"Subject", "x"}, {"Complete", "1"}, {"DateCompleted", "2026-03-02 00:00:00"}}};
    auto received = Received(Codec().Encode(item, nullptr));
    EXPECT_EQ(received[0x410F0002], "-1");
    EXPECT_EQ(received.count(0x410F0040), 0U);
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields.count("DateCompleted"), 0U);
    auto fields = Decoded(ItemType::Task, {Of(0x410F0002, 1), OfTime(0x410F0040, "2026-03-02")});
    EXPECT_EQ(fields["Complete"], "1");
    EXPECT_EQ(fields["DateCompleted"], "2026-03-02 00:00:00");
}

TEST(Asymmetry, ImportanceThatTheDeviceRefusesEndsNormal) {
    for (auto [sent, held] : {std::pair{"0", "0"}, {"1", "1"}, {"2", "2"}, {"3", "1"}})
        EXPECT_EQ(Codec().AsHeldByDevice({ItemType::Task, {{"Importance", sent}}}).fields["Importance"], held);
}

TEST(Asymmetry, ATasksReminderTimeIsReceivedOnly) {
    Item item{ItemType::Task, {{"ReminderSet", "1"}, {"ReminderTime", "2026-03-02 08:00:00"}}};
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0xAFFB0005], "2026-03-02 08:00:00");
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields.count("ReminderTime"), 0U);
    item.fields["ReminderSet"] = "0";  // the time would set it
    EXPECT_EQ(Received(Codec().Encode(item, nullptr)).count(0xAFFB0005), 0U);
}

TEST(Asymmetry, ADueDateNeedsAStartThatIsNotLater) {
    Item item{ItemType::Task, {{"DueDate", "2026-03-02 00:00:00"}}};
    EXPECT_EQ(Received(Codec().Encode(item, nullptr))[0x41040040], "2026-03-02 00:00:00");
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields["StartDate"], "2026-03-02 00:00:00");
    item.fields["StartDate"] = "2026-03-05 00:00:00";
    EXPECT_EQ(Codec().AsHeldByDevice(item).fields["DueDate"], "2026-03-05 00:00:00");
}

TEST(Asymmetry, EveryRowHoldsForSomeTypeAndDoesSomething) {
    for (const auto& row : Asymmetries()) {
        bool holds = false;
        for (ItemType type : sync::kAllItemTypes) holds = holds || HoldsFor(row, type);
        EXPECT_TRUE(holds && (row.fromDevice || row.toDevice || row.asHeld)) << row.what;
    }
}

// --- Items that no device can hold ---------------------------------------------------------------------------------

TEST(PacketCodec, WhatADeviceCannotHoldIsNamed) {
    struct {
        Item item;
        const char* why;
    } rows[] = {
        {{ItemType::Contact, {{"FirstName", std::string(1023, 'x')}}},
         "FirstName has 1023 characters, a device holds 1022"},
        {{ItemType::Contact, {{"Body", std::string(32767, 'x')}}}, "Body has 32767 characters"},
        {{ItemType::Contact, {{"Picture", std::string(33 << 20, 'x')}}}, "Picture has 34603008 bytes"},
        {{ItemType::Contact, {{"Birthday", "1899-12-31"}}}, "a device holds the years 1900 to 2999"},
        {{ItemType::Contact, {{"Birthday", "soon"}}}, "Birthday is \"soon\" and no date"},
        {{ItemType::Contact, {{"Shoe", "43"}}}, "a device has no field Shoe"},
        {{ItemType::Task, {{"Importance", "high"}}}, "Importance is \"high\" and no number"},
        {{ItemType::Task, {{"Importance", "99999999999"}}}, "no number that fits"},
        {{ItemType::Task, {{"Sensitivity", "40000"}}}, "no number that fits"},
        {{ItemType::Appointment, {{"Start", "2026-03-02 10:00:00"}, {"RecurrenceType", "-1"}}}, "no number that fits"},
        {{ItemType::Task, {{"Complete", "yes"}}}, "Complete is \"yes\" and not 0 or 1"},
        {{ItemType::Appointment, {{"Subject", "x"}}}, "it has no start"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(Codec().WhyNotHeld(row.item), HasSubstr(row.why));
        if (row.item.fields.count("Subject") || row.item.fields.count("Shoe")) continue;
        EXPECT_THROW((void)Codec().Encode(row.item, nullptr), PacketError) << row.why;
    }
    EXPECT_EQ(Codec().WhyNotHeld({ItemType::Contact, {{"FirstName", std::string(1022, 'x')}}}), "");
}

// --- Hostile bytes ---------------------------------------------------------------------------------------------

std::string WhyRefused(const std::string& packet) {
    try {
        (void)Codec().Decode(ItemType::Contact, packet);
    } catch (const PacketError& error) {
        return error.what();
    }
    return "";
}

TEST(PacketCodec, HostilePacketsAreRefusedWithTheReason) {
    std::string good = Codec().Encode(FullContact(), nullptr);
    EXPECT_THAT(WhyRefused(""), HasSubstr("fewer than its header"));
    EXPECT_THAT(WhyRefused(good.substr(0, good.size() - 1)), HasSubstr("says that it has"));
    EXPECT_THAT(WhyRefused(good + "x"), HasSubstr("says that it has"));
    std::string many = good;
    many[9] = '\x7F';
    EXPECT_THAT(WhyRefused(many), HasSubstr("too short for them"));
    std::string longText = good;
    longText[10 + 4] = longText[10 + 5] = '\xFF';
    EXPECT_THAT(WhyRefused(longText), HasSubstr("runs past the end of the packet"));
    std::string blob = Sent({Of(0xAFE90041, u"")});
    blob.replace(18, 4, "\xFF\xFF\xFF\xFF");
    EXPECT_THAT(WhyRefused(blob), HasSubstr("property 0xAFE90041 runs past"));
}

TEST(PacketCodec, NoBytesMakeItFail) {
    EXPECT_TRUE(rc::check([] {
        Item item = FullContact();
        std::string packet = Codec().Encode(item, nullptr);
        for (int i = 0; i < 8; i++)
            packet[*rc::gen::inRange<std::size_t>(4, packet.size())] = static_cast<char>(*rc::gen::arbitrary<char>());
        try {
            (void)Codec().Decode(*rc::gen::elementOf(std::vector<ItemType>(std::begin(sync::kAllItemTypes),
                                                                           std::end(sync::kAllItemTypes))),
                                 packet);
        } catch (const PacketError& error) {
            RC_ASSERT(std::string(error.what()).size() > 10);
        }
    }));
}

TEST(PacketCodec, WhatWasHeldOnceIsHeldTheSameAgain) {
    EXPECT_TRUE(rc::check([] {
        Item item;
        item.type =
            *rc::gen::elementOf(std::vector<ItemType>(std::begin(sync::kAllItemTypes), std::end(sync::kAllItemTypes)));
        for (const auto& field : FieldsOf(item.type)) {
            if (!*rc::gen::arbitrary<bool>()) continue;
            std::string value;
            switch (field.kind) {
                case ValueKind::Flag:
                    value = *rc::gen::element<std::string>("0", "1");
                    break;
                case ValueKind::Number:
                    value = std::to_string(*rc::gen::inRange(0, 7));
                    break;
                case ValueKind::Bytes:
                case ValueKind::Text:
                    value =
                        *rc::gen::element<std::string>("a", "b,c", "-", "x;y;z", "\xC3\xA4\n", "2026-03-02 10:00:00\t");
                    break;
                default:
                    value = MomentText(*rc::gen::inRange<std::int64_t>(0, 2000000000));
            }
            item.fields[std::string(field.name)] = value;
        }
        Item held = Codec().AsHeldByDevice(item);
        RC_ASSERT(Codec().AsHeldByDevice(held) == held);
        // Contacts come back from their packet as the device holds them.
        if (item.type == ItemType::Contact) {
            Item back = Codec().Decode(item.type, Codec().Encode(item, nullptr));
            RC_ASSERT(Codec().AsHeldByDevice(back) == held);
        }
    }));
}

}  // namespace
}  // namespace kez::partner
