// The packet's bytes are taken apart and put together here and not by the device's packet class: that class writes
// into the device's trace log, which tells of the device's own work only.
#include "partner/packet_codec.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

#include "packet/record_packet_format.h"
#include "partner/asymmetries.h"
#include "partner/calendar_item.h"
#include "partner/content_lines.h"
#include "partner/record_fields.h"

namespace kez::partner {
namespace {

using sync::Fields;
using sync::Item;
using sync::ItemType;
using sync::PacketError;

namespace format = ::record_packet;

// --- Bytes ---------------------------------------------------------------------------------------------------

std::uint64_t Number(const std::string& bytes, std::size_t at, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = size; i > 0; i--) number = number << 8 | static_cast<std::uint8_t>(bytes[at + i - 1]);
    return number;
}

void Append(std::string& bytes, std::uint64_t number, std::size_t size) {
    for (std::size_t i = 0; i < size; i++) bytes += static_cast<char>(number >> (8 * i) & 0xFF);
}

void AppendUtf8(std::string& out, std::uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

constexpr std::uint32_t kReplacement = 0xFFFD;

// UTF-16LE up to its terminator, as UTF-8 with "\n" for every line break.
std::string TextOf(const std::string& bytes, std::size_t at, std::size_t units) {
    std::string out;
    for (std::size_t i = 0; i < units; i++) {
        auto c = static_cast<std::uint32_t>(Number(bytes, at + 2 * i, 2));
        if (c == 0) break;
        if (c >= 0xD800 && c <= 0xDFFF) {
            auto low = i + 1 < units ? static_cast<std::uint32_t>(Number(bytes, at + 2 * i + 2, 2)) : 0;
            bool pair = c < 0xDC00 && low >= 0xDC00 && low <= 0xDFFF;
            c = pair ? 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00) : kReplacement;
            if (pair) i++;
        } else if (c == '\r') {
            if (i + 1 < units && Number(bytes, at + 2 * i + 2, 2) == '\n') continue;
            c = '\n';
        }
        AppendUtf8(out, c);
    }
    return out;
}

// The next character of UTF-8; bytes that are none give U+FFFD one by one.
std::uint32_t NextCharacter(const std::string& text, std::size_t& i) {
    auto lead = static_cast<std::uint8_t>(text[i++]);
    if (lead < 0x80) return lead;
    std::size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4 || i + more > text.size()) return kReplacement;
    std::uint32_t c = lead & (0x3FU >> more);
    for (std::size_t k = 0; k < more; k++) {
        auto next = static_cast<std::uint8_t>(text[i + k]);
        if ((next & 0xC0) != 0x80) return kReplacement;
        c = c << 6 | (next & 0x3FU);
    }
    constexpr std::uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    if (c < kSmallest[more] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return kReplacement;
    i += more;
    return c;
}

// The text and its terminator as UTF-16LE, with CR LF for every line break.
std::string WideText(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        std::uint32_t c = NextCharacter(text, i);
        if (c == '\n') Append(out, '\r', 2);
        if (c >= 0x10000) {
            Append(out, 0xD800 + ((c - 0x10000) >> 10), 2);
            c = 0xDC00 + ((c - 0x10000) & 0x3FF);
        }
        if (c != 0 && c != '\r') Append(out, c, 2);
    }
    Append(out, 0, 2);
    return out;
}

// --- Reading -------------------------------------------------------------------------------------------------

struct Entry {
    std::uint32_t propertyId;
    std::size_t value;  // where the eight bytes of the value stand
    std::size_t data;   // where the text or the blob stands
    std::size_t size;   // and its bytes
};

std::string Id(std::uint32_t propertyId) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", propertyId);
    return text;
}

// The entries that carry a value. Nothing outside the packet is read whatever it says.
std::vector<Entry> Entries(const std::string& packet) {
    if (packet.size() < format::kHeaderBytes)
        throw PacketError("the packet has " + std::to_string(packet.size()) + " bytes, fewer than its header");
    std::uint64_t length = Number(packet, format::kLengthOffset, 4);
    if (length != packet.size())
        throw PacketError("the packet says that it has " + std::to_string(length) + " bytes and has " +
                          std::to_string(packet.size()));
    std::size_t count = Number(packet, format::kCountOffset, 2);
    std::size_t data = format::kHeaderBytes + count * format::kEntryBytes;
    if (data > packet.size())
        throw PacketError("the packet says that it has " + std::to_string(count) +
                          " properties and is too short for them");
    std::vector<Entry> entries;
    for (std::size_t i = 0; i < count; i++) {
        std::size_t at = format::kHeaderBytes + i * format::kEntryBytes;
        auto propertyId = static_cast<std::uint32_t>(Number(packet, at + format::kEntryPropidOffset, 4));
        if (Number(packet, at + format::kEntryFlagsOffset, 2) != 0) continue;
        std::size_t value = at + format::kEntryValueOffset, size = 0;
        if (TypeFromPropID(propertyId) == CEVT_LPWSTR)
            size = Number(packet, at + format::kEntryLengthOffset, 2) / 2 * 2;
        else if (TypeFromPropID(propertyId) == CEVT_BLOB)
            size = Number(packet, value, 4);
        if (size > packet.size() - data)
            throw PacketError("the value of property " + Id(propertyId) + " runs past the end of the packet");
        entries.push_back({propertyId, value, data, size});
        data += size;
    }
    return entries;
}

std::string MomentOf(ValueKind kind, std::int64_t seconds) {
    if (IsNoMoment(seconds)) return "";
    return kind == ValueKind::Day ? DayText(seconds) : MomentText(seconds);
}

std::string ValueOf(const RecordField& field, const Entry& entry, const std::string& packet, std::int32_t biasMinutes) {
    std::uint64_t raw = Number(packet, entry.value, 8);
    switch (field.kind) {
        case ValueKind::Text:
            return TextOf(packet, entry.data, entry.size / 2);
        case ValueKind::Bytes:
            return packet.substr(entry.data, entry.size);
        case ValueKind::Day:
        case ValueKind::WallTime:
            // Nothing after the year 9999 is a date.
            return raw > 0x24C85A5ED1C04000U ? "" : MomentOf(field.kind, SecondsOfFileTime(raw));
        case ValueKind::Date:
            return MomentOf(field.kind, SecondsOfDate(std::bit_cast<double>(raw)));
        case ValueKind::Start: {
            std::int64_t utc = SecondsOfDate(std::bit_cast<double>(raw));
            return IsNoMoment(utc) ? "" : MomentOf(field.kind, utc - std::int64_t{biasMinutes} * 60);
        }
        case ValueKind::Flag:
        case ValueKind::Number:
            break;
    }
    std::int64_t number = 0;
    switch (TypeFromPropID(field.propertyId)) {
        case CEVT_I2:
            number = static_cast<std::int16_t>(raw & 0xFFFF);
            break;
        case CEVT_UI2:
            number = static_cast<std::int64_t>(raw & 0xFFFF);
            break;
        case CEVT_I4:
        case CEVT_BOOL:
            number = static_cast<std::int32_t>(raw & 0xFFFFFFFF);
            break;
        default:
            number = static_cast<std::int64_t>(raw & 0xFFFFFFFF);
            break;
    }
    if (field.kind == ValueKind::Flag) return number != 0 ? "1" : "0";
    return std::to_string(number);
}

void Canonical(Item& item) {
    std::erase_if(item.fields, [](const auto& field) { return field.second.empty(); });
    for (auto& [name, value] : item.fields)
        if (const RecordField* field = FindField(item.type, name); field && field->kind == ValueKind::Day)
            value.resize(std::min<std::size_t>(value.size(), 10));
    AddDefaults(item);
    for (const auto& row : Asymmetries())
        if (row.fromDevice && HoldsFor(row, item.type)) row.fromDevice(item.fields);
    DropUnusedRecurrence(item);
    std::erase_if(item.fields, [](const auto& field) { return field.second.empty(); });
}

// --- Writing -------------------------------------------------------------------------------------------------

std::optional<std::int64_t> Decimal(const std::string& text) {
    std::size_t digits = text.starts_with('-') ? 1 : 0;
    if (text.size() == digits || text.size() > 11 || text.find_first_not_of("0123456789", digits) != std::string::npos)
        return std::nullopt;
    return std::stoll(text);
}

// Whether the number fits the property's type.
bool Fits(std::int64_t number, std::uint32_t propertyId) {
    switch (TypeFromPropID(propertyId)) {
        case CEVT_I2:
            return number >= INT16_MIN && number <= INT16_MAX;
        case CEVT_UI2:
            return number >= 0 && number <= UINT16_MAX;
        case CEVT_UI4:
            return number >= 0 && number <= UINT32_MAX;
        default:
            return number >= INT32_MIN && number <= INT32_MAX;
    }
}

constexpr std::int64_t kFirstMoment = -2208988800;   // 1900-01-01
constexpr std::int64_t kEndOfMoments = 32503680000;  // 3000-01-01

// What is wrong with a value, or "".
std::string WrongWith(const RecordField& field, const std::string& value) {
    std::string name(field.name);
    switch (field.kind) {
        case ValueKind::Text:
            if (DeviceLength(value) > field.limit)
                return name + " has " + std::to_string(DeviceLength(value)) + " characters, a device holds " +
                       std::to_string(field.limit);
            return "";
        case ValueKind::Bytes:
            if (value.size() > field.limit)
                return name + " has " + std::to_string(value.size()) + " bytes, a device is given at most " +
                       std::to_string(field.limit);
            return "";
        case ValueKind::Flag:
            return value == "0" || value == "1" ? "" : name + " is \"" + value + "\" and not 0 or 1";
        case ValueKind::Number: {
            auto number = Decimal(value);
            return number && Fits(*number, field.propertyId) ? ""
                                                             : name + " is \"" + value + "\" and no number that fits";
        }
        default:
            break;
    }
    std::int64_t seconds;
    if (!ParseMoment(value, &seconds)) return name + " is \"" + value + "\" and no date";
    if (seconds < kFirstMoment || seconds >= kEndOfMoments)
        return name + " is " + value + ", a device holds the years 1900 to 2999";
    return "";
}

// A packet in the making: entries in ascending order of property identifier, and their data in the same order.
class Packet {
 public:
    void Add(std::uint32_t propertyId, std::uint16_t length, std::uint64_t value, const std::string& data = "") {
        Append(m_entries, propertyId, 4);
        Append(m_entries, length, 2);
        Append(m_entries, 0, 2);
        Append(m_entries, value, 8);
        m_data += data;
        m_count++;
    }

    std::string Bytes() const {
        std::string packet;
        Append(packet, format::kHeaderBytes + m_entries.size() + m_data.size() + format::kSlackBytes, 4);
        Append(packet, 0, 4);  // the engine names the record
        Append(packet, m_count, 2);
        return packet + m_entries + m_data + std::string(format::kSlackBytes, '\0');
    }

 private:
    std::string m_entries;
    std::string m_data;
    std::size_t m_count = 0;
};

void AddText(Packet& packet, std::uint32_t propertyId, const std::string& text) {
    std::string wide = WideText(text);
    packet.Add(propertyId, static_cast<std::uint16_t>(wide.size()), 0, wide);
}

void AddMoment(Packet& packet, std::uint32_t propertyId, std::int64_t seconds) {
    bool isDate = TypeFromPropID(propertyId) == CEVT_R8;
    packet.Add(propertyId, 8, isDate ? std::bit_cast<std::uint64_t>(DateOf(seconds)) : FileTimeOf(seconds));
}

void AddValue(Packet& packet, const RecordField& field, const std::string& value) {
    std::int64_t seconds = 0;
    switch (field.kind) {
        case ValueKind::Text:
            AddText(packet, field.propertyId, value);
            return;
        case ValueKind::Bytes:
            packet.Add(field.propertyId, static_cast<std::uint16_t>(value.size()), value.size(), value);
            return;
        case ValueKind::Flag:
        case ValueKind::Number: {
            bool isShort = TypeFromPropID(field.propertyId) == CEVT_I2 || TypeFromPropID(field.propertyId) == CEVT_UI2;
            auto number = static_cast<std::uint64_t>(*Decimal(value));
            packet.Add(field.propertyId, isShort ? 2 : 4, number & (isShort ? 0xFFFFU : 0xFFFFFFFFU));
            return;
        }
        default:
            ParseMoment(value, &seconds);
            AddMoment(packet, field.propertyId, seconds);
    }
}

// The form that clears a field, where there is one.
void AddClearing(Packet& packet, const RecordField& field) {
    if (field.kind == ValueKind::Day || field.kind == ValueKind::WallTime)
        AddMoment(packet, field.propertyId, kNoMoment);
    else if (field.name == "Recipients")
        AddText(packet, field.propertyId, " ");
    else if (field.kind == ValueKind::Text && field.name != "ExceptionDates")
        AddText(packet, field.propertyId, "");
}

// Whether a field of a device's item keeps its value while others are written. What the device makes up or works out
// from several fields (a filing text, times, a pattern with its exceptions) is sent whole or not at all.
bool StandsAlone(ItemType type, const RecordField& field) {
    if (type == ItemType::Contact) return field.name != "FileAs";
    return field.kind == ValueKind::Text && field.name != "ExceptionDates";
}

// A field that a device sends and takes no notice of.
bool IsSentOnly(std::string_view name) {
    return name == "ModifiedOccurrences" || name == "ModifiedOccurrenceDates" || name == "DateCompleted";
}

}  // namespace

RecordCodec::RecordCodec(std::function<std::int32_t()> currentBiasMinutes)
    : m_currentBiasMinutes(std::move(currentBiasMinutes)) {}

Item RecordCodec::Decode(ItemType type, const std::string& packet) const {
    Item item{type, {}};
    std::vector<Entry> entries = Entries(packet);
    std::int32_t bias = m_currentBiasMinutes();
    for (const auto& entry : entries) {
        for (const auto& field : FieldsOf(type))
            if (field.propertyId == entry.propertyId)  // of two with one identifier, the first counts
                item.fields.try_emplace(std::string(field.name), ValueOf(field, entry, packet, bias));
    }
    Canonical(item);
    return item;
}

std::string RecordCodec::Encode(const Item& wanted, const Item* held) const {
    Item item = wanted;
    std::erase_if(item.fields, [](const auto& field) { return field.second.empty(); });
    AddDefaults(item);
    auto isHeld = [&](const std::string& name) {
        if (!held || !held->fields.count(name) || !wanted.fields.count(name)) return false;
        return held->fields.at(name) == wanted.fields.at(name);
    };
    for (const auto& field : FieldsOf(item.type))
        if (auto found = item.fields.find(std::string(field.name));
            found != item.fields.end() && !IsSentOnly(field.name))
            if (std::string wrong = WrongWith(field, found->second); !wrong.empty()) throw PacketError(wrong);
    for (const auto& row : Asymmetries())
        if (row.toDevice && HoldsFor(row, item.type)) row.toDevice(item.fields);
    DropUnusedRecurrence(item);

    Packet packet;
    for (const auto& field : FieldsOf(item.type)) {
        if (IsSentOnly(field.name)) continue;
        std::string name(field.name);
        // Not sent, it stays what somebody makes of it meanwhile.
        if (StandsAlone(item.type, field) && isHeld(name)) continue;
        if (auto found = item.fields.find(name); found != item.fields.end())
            AddValue(packet, field, found->second);
        else if (held && held->fields.count(name))
            AddClearing(packet, field);
    }
    return packet.Bytes();
}

std::string RecordCodec::WhyNotHeld(const Item& item) const {
    for (const auto& [name, value] : item.fields) {
        if (value.empty() || IsSentOnly(name)) continue;
        const RecordField* field = FindField(item.type, name);
        if (!field) return "a device has no field " + name;
        if (std::string wrong = WrongWith(*field, value); !wrong.empty()) return wrong;
    }
    if (item.type == ItemType::Appointment && !item.fields.count("Start")) return "it has no start";
    return "";
}

Item RecordCodec::AsHeldByDevice(const Item& sent) const {
    Item item = sent;
    std::erase_if(item.fields, [](const auto& field) { return field.second.empty(); });
    AddDefaults(item);
    for (const auto& row : Asymmetries())
        if (row.asHeld && HoldsFor(row, item.type)) row.asHeld(item.fields);
    Canonical(item);
    return item;
}

bool RecordCodec::HasAll(const std::string& name, const std::string& whole, const std::string& part) const {
    const auto hasAll = [](const auto& entries, const auto& wanted) {
        return std::all_of(wanted.begin(), wanted.end(), [&](const auto& entry) {
            return std::find(entries.begin(), entries.end(), entry) != entries.end();
        });
    };
    if (name == "ModifiedOccurrences") return hasAll(OccurrencesOf(whole), OccurrencesOf(part));
    if (name == "ModifiedOccurrenceDates" || name == "ExceptionDates") {
        return hasAll(TabbedDates(whole), TabbedDates(part));
    }
    return whole == part;
}

std::string RecordCodec::Occurrences(const std::string& text) const {
    std::string said;
    for (sync::Fields occurrence : OccurrencesOf(text)) {
        if (const auto found = occurrence.find("Categories"); found != occurrence.end()) {
            found->second = CategoriesText(found->second);
        }
        said += SerialisedOccurrence(occurrence);
    }
    return said;
}

std::vector<std::string> RecordCodec::CannotClear(const Item& wanted, const Item& held) const {
    std::vector<std::string> kept;
    auto lost = [&](const char* name) { return held.fields.count(name) && !wanted.fields.count(name); };
    if (lost("Picture")) kept.emplace_back("a device keeps its picture until it is given another one");
    auto dates = [](const Item& item) {
        auto found = item.fields.find("ExceptionDates");
        const std::vector<std::string> list = Split(found == item.fields.end() ? "" : found->second, '\t');
        return std::set<std::string>(list.begin(), list.end());
    };
    const std::set<std::string> before = dates(held), after = dates(wanted);
    if (std::any_of(before.begin(), before.end(),
                    [&](const std::string& date) { return !date.empty() && !after.count(date); }))
        kept.emplace_back("a device does not bring back occurrences that were deleted");
    return kept;
}

}  // namespace kez::partner
