// Appointments and tasks in iCalendar files (and vCalendar 1.0), one item a file: a VEVENT or VTODO and the VEVENTs of
// its changed occurrences, all of one UID.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "partner/item_format.h"

namespace kez::partner {

std::int64_t SystemSeconds();  // since 1970-01-01 UTC

class CalendarFormat : public ItemFormat {
 public:
    // `deviceZone` is the tz name in which the device shows times. `now` dates the changes (LAST-MODIFIED, DTSTAMP).
    explicit CalendarFormat(std::string deviceZone, std::function<std::int64_t()> now = SystemSeconds);

    std::string_view Extension() const override { return ".ics"; }
    bool Holds(sync::ItemType type) const override { return type != sync::ItemType::Contact; }
    FileReading Read(std::string_view bytes, const std::string& fileName) const override;
    Writing Edit(std::string_view bytes, const sync::Item& wanted) const override;
    Writing Make(const sync::Item& item, const std::string& uid, const std::string& revision) const override;

 private:
    std::string m_deviceZone;
    std::function<std::int64_t()> m_now;
};

// The items of a file that holds several, each as the text of a file of its own. Of two whole items with one UID each
// is one of them; an item that stands outside of a calendar gets one.
std::vector<std::string> SplitCalendar(std::string_view bytes);

}  // namespace kez::partner
