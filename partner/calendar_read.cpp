// Reading: what a calendar file says, as the fields of an item.
#include <algorithm>
#include <set>

#include "partner/calendar_format.h"
#include "partner/calendar_item.h"
#include "partner/record_fields.h"

namespace kez::partner {
namespace {

using sync::Fields;
using sync::ItemType;
using sync::ProblemCode;

constexpr std::int64_t kDay = 86400;
constexpr std::string_view kSeparator = "~^!^~";
constexpr const char* kOccurrenceFields[] = {"Subject",     "Location",    "Start",       "Duration",
                                             "AllDayEvent", "Sensitivity", "ReminderSet", "ReminderOptions",
                                             "Body",        "Categories",  "Recipients",  "BusyStatus"};

constexpr std::int64_t kLongestMinutes = 31 * kDay / 60;

std::string DaysText(std::int64_t minutes) {
    if (minutes % (kDay / 60) != 0) return std::to_string((minutes + 30) / 60) + " hours";
    const std::int64_t days = minutes * 60 / kDay;
    return std::to_string(days) + (days == 1 ? " day" : " days");
}

bool HoldsItem(const Component& component) { return component.name == "VEVENT" || component.name == "VTODO"; }
// Neither kept with an item of another UID nor an item for a device.
bool IsOtherItem(const Component& component) {
    return component.name == "VJOURNAL" || component.name == "VFREEBUSY" || component.name == "VAVAILABILITY";
}

std::string UidOf(const Component& component) {
    const ContentLine* line = component.First("UID");
    return line ? Trimmed(Text(*line)) : "";
}

std::string Plain(const Component& component, const char* property, Syntax syntax) {
    for (const ContentLine* line : component.Lines(property)) {
        std::string text = Unescape(Text(*line), syntax);
        std::erase(text, '\r');
        if (!text.empty()) return text;
    }
    return "";
}

// A value that is a word: "PRIVATE".
std::string Word(const Component& component, const char* property) {
    const ContentLine* line = component.First(property);
    return line ? UpperCase(Trimmed(Text(*line))) : "";
}

void Put(Fields& fields, const char* name, const std::string& value) {
    if (!value.empty()) fields[name] = value;
}

std::string SensitivityOf(const std::string& word) {
    if (word.empty() || word == "PUBLIC") return "0";
    if (word == "X-PERSONAL") return "1";
    return word == "CONFIDENTIAL" ? "3" : "2";
}

std::string BusyStatusOf(const Component& event) {
    const std::string own = Word(event, "X-MICROSOFT-CDO-BUSYSTATUS");
    if (own == "FREE") return "0";
    if (own == "TENTATIVE") return "1";
    if (own == "BUSY") return "2";
    if (own == "OOF") return "3";
    const std::string transparency = Word(event, "TRANSP");
    // The older version counts: 0 takes the time, 1 and more does not.
    bool isFree =
        transparency == "TRANSPARENT" || (!transparency.empty() && transparency[0] >= '1' && transparency[0] <= '9');
    return isFree ? "0" : "2";
}

void CommonFields(const Component& component, Syntax syntax, Fields& fields, std::vector<std::string>& losses) {
    Put(fields, "Subject", Plain(component, "SUMMARY", syntax));
    Put(fields, "Body", Plain(component, "DESCRIPTION", syntax));
    std::string categories;
    for (const auto& name : CategoriesOf(component, syntax)) {
        if (name.escaped.find("\\,") != std::string::npos)
            losses.push_back("category \"" + name.shown + "\": a device takes a comma for the end of a name");
        categories += (categories.empty() ? "" : ", ") + name.shown;
    }
    Put(fields, "Categories", categories);
    fields["Sensitivity"] = SensitivityOf(Word(component, "CLASS"));
}

std::string RecipientsOf(const Component& event) {
    std::string all;
    for (const ContentLine* line : event.Lines("ATTENDEE")) {
        auto [name, address] = RecipientOf(*line);
        if (name.empty() && address.empty()) continue;
        all += (all.empty() ? "" : ";") + name + ";" + address;
    }
    return all;
}

// When the alarm goes off, in UTC.
std::optional<std::int64_t> AlarmMoment(const Component& alarm, std::optional<std::int64_t> startUtc,
                                        std::optional<std::int64_t> endUtc, const TimeZones& zones) {
    const ContentLine* trigger = alarm.First("TRIGGER");
    if (!trigger) return std::nullopt;
    const std::string text = Trimmed(Text(*trigger));
    if (auto duration = ParseDuration(text)) {
        auto from = UpperCase(trigger->Parameter("RELATED")) == "END" ? endUtc : startUtc;
        return from ? std::optional(*from + *duration) : std::nullopt;
    }
    if (auto time = zones.Parse(*trigger, text)) return zones.ToUtc(*time);
    return std::nullopt;
}

std::optional<std::int64_t> ReminderMoment(const Component& component, std::optional<std::int64_t> startUtc,
                                           std::optional<std::int64_t> endUtc, const TimeZones& zones,
                                           std::vector<std::string>& losses) {
    std::optional<std::int64_t> moment;
    const std::vector<Component*> alarms = RemindersOf(component);
    if (!alarms.empty()) moment = AlarmMoment(*alarms.front(), startUtc, endUtc, zones);
    if (!alarms.empty() && !moment) losses.emplace_back("its alarm has no time that can be understood");
    std::size_t others = component.Components("VALARM").size() - (alarms.empty() ? 0 : 1);
    if (others > 0)
        losses.push_back(std::to_string(others) + (others == 1 ? " more alarm" : " more alarms") +
                         ": a device has one reminder, on its screen");
    for (const char* old : {"DALARM", "AALARM"}) {
        const ContentLine* line = component.First(old);
        if (moment || !line) continue;
        const std::vector<std::string> parts = Split(Text(*line), ';');
        if (auto time = parts.empty() ? std::nullopt : zones.Parse(*line, parts[0])) moment = zones.ToUtc(*time);
    }
    return moment;
}

void NameTheRest(const Component& component, std::vector<std::string>& losses) {
    std::string list;
    for (const char* name : {"ATTACH", "COMMENT", "CONTACT", "GEO", "ORGANIZER", "RELATED-TO", "RESOURCES", "URL"})
        if (component.First(name)) list += (list.empty() ? "" : ", ") + std::string(name);
    if (component.name == "VTODO") {
        for (const char* name : {"ATTENDEE", "LOCATION"})
            if (component.First(name)) list += (list.empty() ? "" : ", ") + std::string(name);
    }
    if (!list.empty()) losses.push_back("a device has no field for " + list);
}

void CutTexts(sync::Item& item, std::vector<std::string>& losses) {
    for (auto& [name, value] : item.fields) {
        const RecordField* field = FindField(item.type, name);
        if (!field || field->kind != ValueKind::Text || name == "ModifiedOccurrences") continue;
        if (DeviceLength(value) <= field->limit) continue;
        losses.push_back(name + " has " + std::to_string(DeviceLength(value)) +
                         " characters, a device holds the first " + std::to_string(field->limit));
        value = CutToDevice(value, field->limit);
    }
}

void RawText(const Component& component, std::string& out) {
    for (const auto& node : component.nodes) {
        if (node.line)
            out += node.line->raw;
        else
            RawText(*node.component, out);
    }
}

class Reader {
 public:
    Reader(const CalendarParts& parts, const TimeZones& zones)
        : m_parts(parts), m_master(*parts.master), m_zones(zones) {}

    CalendarReading Result() {
        m_reading.item.type = m_parts.type;
        if (m_parts.type == ItemType::Appointment)
            Appointment();
        else
            Task();
        if (m_reading.problem) return std::move(m_reading);
        NameTheRest(m_master, m_reading.losses);
        AddDefaults(m_reading.item);
        DropUnusedRecurrence(m_reading.item);
        CutTexts(m_reading.item, m_reading.losses);
        return std::move(m_reading);
    }

 private:
    Fields& fields() { return m_reading.item.fields; }
    void Refuse(const std::string& why) { m_reading.problem = {ProblemCode::NotRepresentable, why, ""}; }
    void Lose(const std::string& what) { m_reading.losses.push_back(what); }

    void Appointment() {
        const ContentLine* line = m_master.First("DTSTART");
        m_reading.start = line ? m_zones.Parse(*line, Text(*line)) : std::nullopt;
        if (!m_reading.start) return Refuse(line ? "its start is no date" : "it has no start");
        fields() = EventFields(m_master, m_parts.syntax, m_zones, m_reading.losses);
        if (const TimeForm& form = m_reading.start->form; form.kind == TimeKind::Zoned && !m_zones.Knows(form.zone))
            Lose("its time zone " + form.zone + " is not known; its times are taken as the device's");
        const std::int64_t minutes = std::stoll(FieldOf(fields(), "Duration"));
        if (minutes > kLongestMinutes)
            return Refuse("it lasts " + DaysText(minutes) + ", a device holds at most " + DaysText(kLongestMinutes));
        ReadRecurrence();
        if (m_reading.problem || !m_reading.rule) return;
        FitIntoSeries(minutes);
        if (!m_reading.problem) ReadExceptions();
    }

    // A device takes no occurrence that lasts into the next one, and no reminder that comes before the last one.
    void FitIntoSeries(std::int64_t minutes) {
        const std::int64_t gap = m_reading.rule->pattern.ShortestGap() * kDay / 60;
        if (minutes > gap)
            return Refuse("its occurrences last " + DaysText(minutes) + " and come every " + DaysText(gap));
        const std::string before = FieldOf(fields(), "ReminderMinutesBeforeStart");
        if (before.empty() || std::stoll(before) <= gap) return;
        Lose("its alarm, which comes before the last occurrence: a device has no reminder for it");
        fields()["ReminderSet"] = "0";
        fields().erase("ReminderMinutesBeforeStart");
    }

    void Task() {
        CommonFields(m_master, m_parts.syntax, fields(), m_reading.losses);
        const ContentLine* startLine = m_master.First("DTSTART");
        const ContentLine* dueLine = m_master.First("DUE");
        auto start = startLine ? m_zones.Parse(*startLine, Text(*startLine)) : std::nullopt;
        auto due = dueLine ? m_zones.Parse(*dueLine, Text(*dueLine)) : std::nullopt;
        if (const ContentLine* duration = m_master.First("DURATION"); duration && start && !due) {
            if (auto seconds = ParseDuration(Trimmed(Text(*duration)))) due = {start->wall + *seconds, start->form};
        }
        auto day = [&](const CalendarTime& time, const char* field, const char* what) {
            std::int64_t wall = m_zones.ToDevice(time);
            if (time.form.kind != TimeKind::Date && wall % kDay != 0)
                Lose("the time of day of its " + std::string(what) + ": a device holds the day");
            fields()[field] = DayText(wall) + " 00:00:00";
        };
        if (start) day(*start, "StartDate", "start");
        if (due) day(*due, "DueDate", "due date");
        ReadCompletion();
        std::string priority = Word(m_master, "PRIORITY");
        fields()["Importance"] = priority.size() != 1 || priority[0] == '0' || priority[0] == '5' ? "1"
                                 : priority[0] >= '1' && priority[0] <= '4'                       ? "2"
                                 : priority[0] >= '6' && priority[0] <= '9'                       ? "0"
                                                                                                  : "1";
        auto utc = [&](const std::optional<CalendarTime>& time) {
            return time ? std::optional(m_zones.ToUtc(*time)) : std::nullopt;
        };
        if (auto moment = ReminderMoment(m_master, utc(start), utc(due), m_zones, m_reading.losses)) {
            fields()["ReminderSet"] = "1";
            fields()["ReminderTime"] = MomentText(m_zones.ToDevice({*moment, {TimeKind::Utc, ""}}));
        }
        m_reading.start = start ? start : due;
        if (m_reading.start)
            m_reading.start =
                CalendarTime{DayOfMoment(m_zones.ToDevice(*m_reading.start)) * kDay, {TimeKind::Date, ""}};
        ReadRecurrence();
        if (m_reading.rule && !m_reading.rule->surplus.empty())
            return Refuse("a task has no deleted occurrences on a device, and the closest pattern also falls on " +
                          DayText(m_reading.rule->surplus.front() * kDay));
        if (m_reading.rule && (m_master.First("EXDATE") || !m_parts.changed.empty()))
            Lose("deleted and changed occurrences: those of a task are all alike on a device");
    }

    void ReadCompletion() {
        const std::string status = Word(m_master, "STATUS"), percent = Word(m_master, "PERCENT-COMPLETE");
        const ContentLine* line = m_master.First("COMPLETED");
        auto completed = line ? m_zones.Parse(*line, Text(*line)) : std::nullopt;
        bool isComplete = status == "COMPLETED" || percent == "100" ||
                          (completed && status != "NEEDS-ACTION" && status != "IN-PROCESS" && status != "CANCELLED");
        fields()["Complete"] = isComplete ? "1" : "0";
        if (isComplete && completed) fields()["DateCompleted"] = DayText(m_zones.ToDevice(*completed)) + " 00:00:00";
        if (!isComplete && ((!percent.empty() && percent != "0") || status == "IN-PROCESS" || status == "CANCELLED"))
            Lose("how far it is done: a device knows done and not done");
    }

    void ReadRecurrence() {
        RecurrenceSet set;
        if (!AddRules("RRULE", set.rules) || !AddRules("EXRULE", set.exceptionRules)) return;
        if (!AddDates(set.dates)) return;
        if (set.rules.empty() && set.dates.empty()) return;
        if (!m_reading.start) return Refuse("it recurs and has no date to start from");
        CalendarTime start = *m_reading.start;
        if (FieldOf(fields(), "AllDayEvent") == "1") start.form = {TimeKind::Date, ""};
        m_reading.rule = ReadRecurrenceSet(set, start, m_zones);
        if (!m_reading.rule->whyNot.empty()) return Refuse(m_reading.rule->whyNot);
        SetPattern(fields(), m_reading.rule->pattern);
        if (m_reading.rule->drifts)
            Lose("it keeps the time of " +
                 (m_reading.start->form.kind == TimeKind::Utc ? "UTC" : m_reading.start->form.zone) +
                 "; on the device it stays at the time of its first date all year");
    }

    // The values of the lines of that name; where one cannot be understood, the item is refused.
    bool AddRules(const char* property, std::vector<std::string>& rules) {
        for (const ContentLine* line : m_master.Lines(property)) {
            const std::string text = Trimmed(Text(*line));
            rules.push_back(IsOld(m_parts.syntax) ? RuleOfOldText(text) : text);
            if (!rules.back().empty()) continue;
            Refuse("a device cannot hold its rule " + text);
            return false;
        }
        return true;
    }

    // The further dates of the item; refuses one that cannot be understood, or that has a length of its own.
    bool AddDates(std::vector<CalendarTime>& dates) {
        const std::string minutes = FieldOf(fields(), "Duration");
        for (const ContentLine* line : m_master.Lines("RDATE")) {
            std::string text = Text(*line);
            if (IsOld(m_parts.syntax)) std::replace(text.begin(), text.end(), ';', ',');
            for (const std::string& value : Split(text, ',')) {
                if (Trimmed(value).empty()) continue;
                const std::vector<std::string> period = Split(value, '/');
                const auto time = m_zones.Parse(*line, period[0]);
                bool isLikeTheOthers = time.has_value();
                if (time && period.size() > 1) {
                    const auto end = m_zones.Parse(*line, period[1]);
                    const auto length = end ? std::optional(m_zones.ToDevice(*end) - m_zones.ToDevice(*time))
                                            : ParseDuration(Trimmed(period[1]));
                    isLikeTheOthers = length && std::to_string(*length / 60) == minutes;
                }
                if (!isLikeTheOthers) {
                    Refuse("a device cannot hold its further date (RDATE) " + Trimmed(value));
                    return false;
                }
                dates.push_back(*time);
            }
        }
        return true;
    }

    void ReadExceptions() {
        const Pattern& pattern = m_reading.rule->pattern;
        std::int64_t start = 0;
        ParseMoment(FieldOf(fields(), "Start"), &start);
        const std::int64_t clock = start - DayOfMoment(start) * kDay;
        std::set<std::int64_t> days(m_reading.rule->surplus.begin(), m_reading.rule->surplus.end());
        for (const auto& date : DatesOf(m_master, "EXDATE", m_zones, m_parts.syntax)) {
            std::int64_t day = DayOfMoment(m_zones.ToDevice(date.time));
            if (pattern.Has(day))
                days.insert(day);
            else
                Lose("the deleted date " + DayText(day * kDay) + ", which is none of the series");
        }
        for (Component* component : m_parts.changed) {
            const ContentLine* line = component->First("RECURRENCE-ID");
            auto time = m_zones.Parse(*line, Text(*line));
            if (!time) {
                Lose("a changed occurrence without a date");
                continue;
            }
            if (!line->Parameter("RANGE").empty())
                return Refuse("its occurrences from " + DayText(m_zones.ToDevice(*time)) +
                              " on are changed all together, which a device cannot hold");
            std::int64_t day = DayOfMoment(m_zones.ToDevice(*time));
            if (!pattern.Has(day)) {
                Lose("the changed occurrence of " + DayText(day * kDay) + ", which is no date of the series");
                continue;
            }
            days.insert(day);
            if (Word(*component, "STATUS") != "CANCELLED") m_reading.changed[day] = component;
        }
        std::string exceptions, texts, dates;
        for (std::int64_t day : days) exceptions += (exceptions.empty() ? "" : "\t") + MomentText(day * kDay + clock);
        for (const auto& [day, component] : m_reading.changed) {
            std::vector<std::string> unsaid;
            Fields occurrence = EventFields(*component, m_parts.syntax, m_zones, unsaid);
            if (!occurrence.count("Start")) occurrence["Start"] = MomentText(day * kDay + clock);
            Lose("the changed occurrence of " + DayText(day * kDay) + " is shown as deleted on the device");
            texts += SerialisedOccurrence(occurrence);
            dates += (dates.empty() ? "" : "\t") + MomentText(day * kDay + clock);
        }
        Put(fields(), "ExceptionDates", exceptions);
        Put(fields(), "ModifiedOccurrences", texts);
        Put(fields(), "ModifiedOccurrenceDates", dates);
    }

    const CalendarParts& m_parts;
    const Component& m_master;
    const TimeZones& m_zones;
    CalendarReading m_reading;
};

}  // namespace

std::string FieldOf(const Fields& fields, const char* name) {
    auto found = fields.find(name);
    return found == fields.end() ? "" : found->second;
}

std::int64_t DayOfMoment(std::int64_t wall) { return wall >= 0 ? wall / kDay : -((-wall + kDay - 1) / kDay); }

std::vector<std::string> TabbedDates(const std::string& text) {
    std::vector<std::string> dates;
    std::string one;
    for (char c : text + "\t") {
        if (c != '\t') {
            one += c;
        } else if (!one.empty()) {
            dates.push_back(std::move(one));
            one.clear();
        }
    }
    return dates;
}

CalendarParts PartsOf(ContentDocument& document, const std::string& fileName) {
    CalendarParts parts;
    auto fail = [&](ProblemCode code, const std::string& why) { parts.problem = {code, why, fileName}; };
    std::set<std::pair<std::string, std::string>> items;
    for (Component* calendar : document.Root().Components("VCALENDAR")) {
        for (Component* component : calendar->Components()) {
            if (!HoldsItem(*component)) continue;
            const bool isFirst = items.empty();
            items.insert({component->name, UidOf(*component)});
            if (isFirst) {
                parts.calendar = calendar;
                parts.type = component->name == "VEVENT" ? ItemType::Appointment : ItemType::Task;
                parts.uid = UidOf(*component);
            }
            const bool isSecond = !isFirst && parts.uid.empty();
            if (items.size() > 1 || isSecond || calendar != parts.calendar) {
                fail(ProblemCode::Unreadable, "it holds several items; kezsync import takes such a file apart");
                return parts;
            }
            if (!component->closed) {
                fail(ProblemCode::Unreadable, "it ends in the middle of an item");
                return parts;
            }
            if (component->First("RECURRENCE-ID")) {
                parts.changed.push_back(component);
            } else if (parts.master) {
                fail(ProblemCode::Unreadable, "it holds two items with the UID " + parts.uid);
                return parts;
            } else {
                parts.master = component;
            }
        }
    }
    if (items.empty()) {
        bool isCalendar = !document.Root().Components("VCALENDAR").empty();
        fail(isCalendar ? ProblemCode::NotRepresentable : ProblemCode::Unreadable,
             isCalendar ? "it holds no event and no task" : "it is no calendar file");
        return parts;
    }
    parts.syntax = ContentDocument::SyntaxOf(*parts.calendar, Syntax::Calendar20);
    // An invitation to one occurrence of a series that is not in the file is an appointment of its own.
    if (!parts.master && parts.changed.size() == 1) {
        parts.master = parts.changed.front();
        parts.changed.clear();
    }
    if (!parts.master)
        fail(ProblemCode::NotRepresentable, "it holds changed occurrences without the series that they belong to");
    return parts;
}

std::vector<CategoryName> CategoriesOf(const Component& component, Syntax syntax) {
    std::vector<CategoryName> names;
    for (const ContentLine* line : component.Lines("CATEGORIES")) {
        std::string text = Text(*line);
        for (const std::string& escaped :
             Split(text, IsOld(syntax) && text.find(',') == std::string::npos ? ';' : ',')) {
            std::string shown = Trimmed(Unescape(escaped, syntax));
            std::replace(shown.begin(), shown.end(), ',', ';');
            if (!shown.empty()) names.push_back({shown, Trimmed(escaped)});
        }
    }
    return names;
}

std::pair<std::string, std::string> RecipientOf(const ContentLine& attendee) {
    std::string name = Trimmed(attendee.Parameter("CN")), address = Trimmed(Text(attendee));
    if (UpperCase(address).starts_with("MAILTO:")) address = Trimmed(address.substr(7));
    for (std::string* text : {&name, &address}) std::replace(text->begin(), text->end(), ';', ',');
    if (name.empty()) name = address;
    if (address.empty()) address = name;
    return {name, address};
}

std::vector<Component*> RemindersOf(const Component& component) {
    std::vector<Component*> alarms;
    for (Component* alarm : component.Components("VALARM")) {
        std::string action = Word(*alarm, "ACTION");
        if (action != "EMAIL" && action != "NONE") alarms.push_back(alarm);
    }
    return alarms;
}

std::vector<ListedDate> DatesOf(const Component& component, const char* property, const TimeZones& zones,
                                Syntax syntax) {
    std::vector<ListedDate> dates;
    for (ContentLine* line : component.Lines(property)) {
        std::string text = Text(*line);
        if (IsOld(syntax)) std::replace(text.begin(), text.end(), ';', ',');
        for (const std::string& value : Split(text, ','))
            if (auto time = zones.Parse(*line, value)) dates.push_back({line, Trimmed(value), *time});
    }
    return dates;
}

Fields EventFields(const Component& event, Syntax syntax, const TimeZones& zones, std::vector<std::string>& losses) {
    Fields fields;
    CommonFields(event, syntax, fields, losses);
    Put(fields, "Location", Plain(event, "LOCATION", syntax));
    Put(fields, "Recipients", RecipientsOf(event));
    fields["BusyStatus"] = BusyStatusOf(event);

    const ContentLine* startLine = event.First("DTSTART");
    auto start = startLine ? zones.Parse(*startLine, Text(*startLine)) : std::nullopt;
    if (!start) return fields;
    const ContentLine* endLine = event.First("DTEND");
    auto end = endLine ? zones.Parse(*endLine, Text(*endLine)) : std::nullopt;
    if (const ContentLine* line = event.First("DURATION"); line && !end)
        if (auto duration = ParseDuration(Trimmed(Text(*line))))
            end = CalendarTime{start->wall + *duration, start->form};
    if (end && end->form.kind == TimeKind::Date) end->form = start->form;
    const bool isMidnight = start->wall % kDay == 0 && (!end || end->wall % kDay == 0);
    const bool isAllDay =
        start->form.kind == TimeKind::Date || (isMidnight && Word(event, "X-MICROSOFT-CDO-ALLDAYEVENT") == "TRUE");
    fields["AllDayEvent"] = isAllDay ? "1" : "0";
    std::int64_t length = 0;
    if (isAllDay) {
        fields["Start"] = MomentText(start->wall);
        std::int64_t days = end ? (end->wall - start->wall + kDay - 1) / kDay : 1;
        length = std::max<std::int64_t>(days, 1) * kDay;
    } else {
        const std::int64_t begins = zones.ToDevice(*start);
        fields["Start"] = MomentText(begins);
        length = end ? zones.ToDevice(*end) - begins : 0;
        if (length < 0) losses.emplace_back("its end, which is before its start");
        length = std::max<std::int64_t>(length, 0);
    }
    if (length % 60 != 0) losses.emplace_back("the seconds of its duration");
    fields["Duration"] = std::to_string(length / 60);

    // A whole day begins where the device is.
    CalendarTime from = *start;
    if (isAllDay) from.form = {TimeKind::Floating, ""};
    const std::int64_t startUtc = zones.ToUtc(from);
    if (auto moment = ReminderMoment(event, startUtc, startUtc + length, zones, losses)) {
        if (*moment > startUtc) losses.emplace_back("its alarm comes after its start; on the device it comes with it");
        fields["ReminderSet"] = "1";
        fields["ReminderMinutesBeforeStart"] = std::to_string(std::max<std::int64_t>(0, (startUtc - *moment) / 60));
    }
    return fields;
}

std::string SerialisedOccurrence(const Fields& occurrence) {
    std::string text;
    for (const char* name : kOccurrenceFields) {
        std::string value = FieldOf(occurrence, name);
        // How a device rings is nothing that a file could say.
        if (std::string_view("ReminderOptions") == name) value = "0";
        if (value.empty())
            for (const char* flag : {"AllDayEvent", "Sensitivity", "ReminderSet", "Duration"})
                if (std::string_view(flag) == name) value = "0";
        text += value + std::string(kSeparator);
    }
    return text;
}

std::vector<Fields> OccurrencesOf(const std::string& text) {
    std::vector<Fields> occurrences;
    std::size_t at = 0, index = 0;
    Fields one;
    for (std::size_t end; (end = text.find(kSeparator, at)) != std::string::npos; at = end + kSeparator.size()) {
        std::string value = text.substr(at, end - at);
        std::erase(value, '\r');
        if (!value.empty()) one[kOccurrenceFields[index]] = value;
        if (++index < std::size(kOccurrenceFields)) continue;
        occurrences.push_back(std::move(one));
        one.clear();
        index = 0;
    }
    return occurrences;
}

CalendarReading ReadParts(const CalendarParts& parts, const TimeZones& zones) { return Reader(parts, zones).Result(); }

FileReading CalendarFormat::Read(std::string_view bytes, const std::string& fileName) const {
    ContentDocument document(bytes);
    CalendarParts parts = PartsOf(document, fileName);
    FileReading result;
    result.problem = parts.problem;
    result.uid = parts.uid;
    result.item.type = parts.type;
    if (result.problem) return result;
    TimeZones zones(parts.calendar, m_deviceZone);
    CalendarReading reading = ReadParts(parts, zones);
    result.problem = reading.problem;
    if (result.problem)
        result.problem.where = fileName;
    else
        result.item = std::move(reading.item);
    result.losses = std::move(reading.losses);
    return result;
}

std::vector<std::string> SplitCalendar(std::string_view bytes) {
    ContentDocument document(bytes);
    std::vector<std::string> texts;
    // Some programs hand out items without a calendar around them.
    for (const Component* component : document.Root().Components()) {
        if (!HoldsItem(*component) || !component->closed) continue;
        texts.emplace_back("BEGIN:VCALENDAR\r\nVERSION:2.0\r\n");
        RawText(*component, texts.back());
        texts.back() += (texts.back().back() == '\n' ? "" : "\r\n") + std::string("END:VCALENDAR\r\n");
    }
    for (const Component* calendar : document.Root().Components("VCALENDAR")) {
        std::string before, end;
        std::vector<std::string> groups;
        std::map<std::pair<std::string, std::string>, std::size_t> known;
        std::set<std::size_t> whole;  // groups that have their item, and not only changed occurrences of it
        for (const auto& node : calendar->nodes) {
            if (node.line) {
                (node.line->kind == ContentLine::Kind::End ? end : before) += node.line->raw;
                continue;
            }
            const Component& component = *node.component;
            if (IsOtherItem(component)) continue;
            if (!HoldsItem(component)) {
                RawText(component, before);
                continue;
            }
            std::string uid = UidOf(component);
            auto [found, isNew] = known.insert({{component.name, uid}, groups.size()});
            const bool isItself = !component.First("RECURRENCE-ID");
            if (isNew || uid.empty() || (isItself && whole.count(found->second))) {
                found->second = groups.size();
                groups.emplace_back();
            }
            if (isItself) whole.insert(found->second);
            RawText(component, groups[found->second]);
        }
        for (const auto& group : groups) texts.push_back(before + group + end);
    }
    return texts;
}

}  // namespace kez::partner
