// Any bytes as a calendar file: what is read can be sent to a device, writing what was read changes nothing, and every
// change of a few fields makes a file that says them.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "partner/calendar_format.h"
#include "partner/packet_codec.h"
#include "partner/record_fields.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kez::partner;
    using kez::sync::Item;
    using kez::sync::ItemType;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const CalendarFormat format("Europe/Berlin", [] { return std::int64_t{1772445600}; });
    for (const auto& text : SplitCalendar(bytes)) (void)format.Read(text, "all.ics");

    const FileReading reading = format.Read(bytes, "one.ics");
    if (reading.problem) return 0;
    const ItemFormat::Writing same = format.Edit(bytes, reading.item);
    if (same.problem || same.bytes != bytes) std::abort();
    const RecordCodec codec([] { return 0; });
    if (codec.WhyNotHeld(reading.item).empty())
        (void)codec.Decode(reading.item.type, codec.Encode(reading.item, nullptr));

    Item renamed = reading.item;
    renamed.fields["Subject"] = "Changed";
    const ItemFormat::Writing edited = format.Edit(bytes, renamed);
    if (edited.problem) std::abort();
    FileReading back = format.Read(edited.bytes, "one.ics");
    if (back.problem || back.item.fields["Subject"] != "Changed") std::abort();

    // These may be refused, as a rule in a file of the older version is; what is written has to be readable.
    Item moved = reading.item;
    moved.fields[moved.type == ItemType::Task ? "DueDate" : "Start"] = "2026-03-02 00:00:00";
    moved.fields["ExceptionDates"] = "2026-03-09 00:00:00";
    moved.fields["IsRecurring"] = "1";
    moved.fields["RecurrenceType"] = "1";
    moved.fields["DayOfWeekMask"] = "2";
    moved.fields["Interval"] = "1";
    moved.fields["NoEndDate"] = "1";
    moved.fields["ReminderSet"] = "1";
    moved.fields["Categories"] = "A, B";
    const ItemFormat::Writing rewritten = format.Edit(bytes, moved);
    if (!rewritten.problem &&
        format.Read(rewritten.bytes, "one.ics").problem.code == kez::sync::ProblemCode::Unreadable)
        std::abort();
    return 0;
}
