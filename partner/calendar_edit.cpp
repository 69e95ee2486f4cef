// Writing: the fields that differ become changes of single lines; a new file is an empty item that is changed.
#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>
#include <set>

#include "partner/calendar_format.h"
#include "partner/calendar_item.h"
#include "partner/record_fields.h"

namespace kez::partner {
namespace {

using sync::Fields;
using sync::Item;
using sync::ItemType;
using sync::ProblemCode;

constexpr std::int64_t kDay = 86400;
constexpr const char* kRuleFields[] = {"IsRecurring", "RecurrenceType", "Interval", "DayOfWeekMask",
                                       "DayOfMonth",  "MonthOfYear",    "Instance"};
constexpr const char* kEndFields[] = {"NoEndDate", "PatternEndDate"};

struct ValueWord {
    std::string_view value, word;
};
constexpr ValueWord kClasses[] = {{"0", "PUBLIC"}, {"1", "X-PERSONAL"}, {"2", "PRIVATE"}, {"3", "CONFIDENTIAL"}};
constexpr ValueWord kBusyWords[] = {{"0", "FREE"}, {"1", "TENTATIVE"}, {"2", "BUSY"}, {"3", "OOF"}};
constexpr ValueWord kPriorities[] = {{"2", "1"}, {"1", "5"}, {"0", "9"}};

template <std::size_t size>
std::string WordFor(const ValueWord (&words)[size], const std::string& value) {
    for (const auto& row : words)
        if (row.value == value) return std::string(row.word);
    return std::string(words[0].word);
}

std::int64_t Seconds(const Fields& fields, const char* name) {
    std::int64_t seconds = 0;
    ParseMoment(FieldOf(fields, name), &seconds);
    return seconds;
}

std::int64_t Number(const std::string& text) {
    bool isNumber = !text.empty() && text.size() < 10 && text.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? std::stoll(text) : 0;
}

std::int64_t ClockOf(std::int64_t wall) { return wall - DayOfMoment(wall) * kDay; }

std::vector<std::string> NamesOf(const std::string& categories) {
    std::vector<std::string> names;
    for (const std::string& name : Split(categories, ','))
        if (std::string plain = Trimmed(name); !plain.empty()) names.push_back(plain);
    return names;
}

// A parameter's value where it has to be quoted.
std::string Quoted(std::string text) {
    std::replace(text.begin(), text.end(), '"', '\'');
    std::erase_if(text, [](char c) { return c == '\n' || c == '\r'; });
    return "\"" + text + "\"";
}

// Changes one component so that it says the wanted fields, without its recurrence.
class ComponentEditor {
 public:
    ComponentEditor(ContentDocument& document, CalendarParts& parts, Component& component, const TimeZones& zones,
                    const Fields& current, const Fields& wanted)
        : m_document(document),
          m_calendar(*parts.calendar),
          m_component(component),
          m_syntax(parts.syntax),
          m_zones(zones),
          m_current(current),
          m_wanted(wanted) {}

    bool Differs(const char* field) const { return FieldOf(m_current, field) != FieldOf(m_wanted, field); }
    std::string Wanted(const char* field) const { return FieldOf(m_wanted, field); }

    void ChangeTexts() {
        ChangeText("Subject", "SUMMARY");
        ChangeText("Location", "LOCATION");
        ChangeText("Body", "DESCRIPTION");
        if (Differs("Sensitivity")) SetWord("CLASS", WordFor(kClasses, Wanted("Sensitivity")));
        if (Differs("Categories")) ChangeCategories();
    }

    void ChangeEvent() {
        if (Differs("BusyStatus")) ChangeBusyStatus();
        if (Differs("Recipients")) ChangeRecipients();
        if (Differs("ReminderSet") || Differs("ReminderMinutesBeforeStart")) ChangeReminder();
    }

    // The moment that an event begins and how long it takes. A new form where the file has none, or where the old one
    // would not do (`isFormNeeded`).
    void ChangeTimes(std::int64_t start, std::optional<TimeForm> neededForm) {
        const bool isAllDay = Wanted("AllDayEvent") == "1";
        const std::int64_t length = Number(Wanted("Duration")) * 60;
        ContentLine* startLine = m_component.First("DTSTART");
        auto now = startLine ? m_zones.Parse(*startLine, Text(*startLine)) : std::nullopt;
        TimeForm form = now ? now->form : m_zones.DeviceForm();
        const bool wasMarked = now && form.kind != TimeKind::Date && FieldOf(m_current, "AllDayEvent") == "1";
        if (isAllDay && IsOld(m_syntax)) form = {TimeKind::Floating, ""};
        if (isAllDay && !wasMarked && !IsOld(m_syntax)) form = {TimeKind::Date, ""};
        if (!isAllDay && form.kind == TimeKind::Date) form = m_zones.DeviceForm();
        if (!isAllDay && neededForm) form = *neededForm;
        if (IsOld(m_syntax) && form.kind == TimeKind::Zoned) form = {TimeKind::Utc, ""};

        // The days of an all-day event are those of its own clock.
        auto moment = [&](std::int64_t wall, const TimeForm& as) {
            return isAllDay ? CalendarTime{wall, as} : m_zones.FromDevice(wall, as);
        };
        const bool startStays = now && now->form == form && FieldOf(m_current, "Start") == MomentText(start);
        if (!startStays) startLine = &SetTime("DTSTART", moment(start, form));

        ContentLine* endLine = m_component.First("DTEND");
        ContentLine* durationLine = endLine ? nullptr : m_component.First("DURATION");
        if (durationLine) {
            std::string text = isAllDay ? "P" + std::to_string(length / kDay) + "D" : DurationText(length);
            if (Differs("Duration") || Differs("AllDayEvent")) m_document.SetText(*durationLine, text, m_syntax);
        } else if (endLine || length > 0) {
            TimeForm endForm = form;
            auto end = endLine ? m_zones.Parse(*endLine, Text(*endLine)) : std::nullopt;
            if (end && !isAllDay && startStays && end->form.kind != TimeKind::Date) endForm = end->form;
            const bool isDefault = !endLine && isAllDay && form.kind == TimeKind::Date && length == kDay && startLine;
            if (!isDefault || !now) SetTime("DTEND", moment(start + length, endForm), startLine);
        }
        ChangeAllDayMark(isAllDay, form.kind == TimeKind::Date && now && !Differs("AllDayEvent"));
    }

    // Sets the line's value and form, or puts it in.
    ContentLine& SetTime(const char* property, const CalendarTime& time, const ContentLine* after = nullptr) {
        EnsureZone(time);
        std::string value = CalendarTimeText(time);
        ContentLine* line = m_component.First(property);
        if (!line)
            return m_document.Insert(m_component, after ? after : LastLine(), HeadFor(property, time), value, m_syntax);
        if (!IsOld(m_syntax)) {
            const bool isDate = time.form.kind == TimeKind::Date;
            const std::string kind = UpperCase(line->Parameter("VALUE"));
            if (isDate != (kind == "DATE")) m_document.SetParameter(*line, "VALUE", isDate ? "DATE" : "", m_syntax);
            const std::string zone = time.form.kind == TimeKind::Zoned ? time.form.zone : "";
            if (line->Parameter("TZID") != zone) m_document.SetParameter(*line, "TZID", zone, m_syntax);
        }
        m_document.SetText(*line, value, m_syntax);
        return *line;
    }

    std::string HeadFor(const std::string& property, const CalendarTime& time) const {
        if (IsOld(m_syntax)) return property;
        if (time.form.kind == TimeKind::Date) return property + ";VALUE=DATE";
        if (time.form.kind != TimeKind::Zoned) return property;
        const bool isPlain = time.form.zone.find_first_of(":;,") == std::string::npos;
        return property + ";TZID=" + (isPlain ? time.form.zone : Quoted(time.form.zone));
    }

    // A zone that the file names is one that the file explains.
    void EnsureZone(const CalendarTime& time) {
        if (time.form.kind != TimeKind::Zoned || time.form.zone != m_zones.DeviceForm().zone) return;
        for (const Component* zone : m_calendar.Components("VTIMEZONE"))
            if (const ContentLine* id = zone->First("TZID"); id && Trimmed(Text(*id)) == time.form.zone) return;
        // A file that did without the explanation goes on so.
        for (const Component* component : m_calendar.Components())
            for (const ContentLine* line : component->Lines())
                if (line->Parameter("TZID") == time.form.zone) return;
        m_document.InsertComponent(m_calendar, m_zones.DeviceZoneText(m_zones.ToDevice(time)));
    }

    void ChangeText(const char* field, const char* property) {
        if (!Differs(field)) return;
        std::string value = Wanted(field);
        // Further lines of the name would come to light when the first one goes.
        const std::vector<ContentLine*> lines = m_component.Lines(property);
        ContentLine* shown = nullptr;
        for (ContentLine* line : lines)
            if (!shown && !Text(*line).empty()) shown = line;
        if (!shown && !lines.empty()) shown = lines.front();
        if (value.empty()) {
            for (const ContentLine* line : lines) m_document.Remove(m_component, *line);
        } else if (shown) {
            m_document.SetText(*shown, Escape(value, m_syntax), m_syntax);
        } else {
            m_document.Insert(m_component, LastLine(), property, Escape(value, m_syntax), m_syntax);
        }
    }

    // Sets, puts in or, with no word, takes out a line whose value is a word.
    void SetWord(const char* property, const std::string& word) {
        ContentLine* line = m_component.First(property);
        if (word.empty()) {
            for (const ContentLine* one : m_component.Lines(property)) m_document.Remove(m_component, *one);
        } else if (!line) {
            m_document.Insert(m_component, LastLine(), property, word, m_syntax);
        } else if (UpperCase(Trimmed(Text(*line))) != word) {
            m_document.SetText(*line, word, m_syntax);
        }
    }

    ContentLine* LastLine() const {
        const std::vector<ContentLine*> lines = m_component.Lines();
        return lines.empty() ? nullptr : lines.back();
    }

    void RemoveReminders() {
        for (const Component* alarm : RemindersOf(m_component)) m_document.Remove(m_component, *alarm);
        for (const char* old : {"DALARM", "AALARM"})
            for (const ContentLine* line : m_component.Lines(old)) m_document.Remove(m_component, *line);
    }

    // One alarm that goes off then.
    void SetReminder(const std::string& trigger, bool isMoment) {
        const std::vector<Component*> alarms = RemindersOf(m_component);
        ContentLine* line = alarms.empty() ? nullptr : alarms.front()->First("TRIGGER");
        if (line) {
            for (const char* parameter : {"RELATED", "VALUE", "TZID"})
                if (!line->Parameter(parameter).empty()) m_document.SetParameter(*line, parameter, "", m_syntax);
            if (isMoment) m_document.SetParameter(*line, "VALUE", "DATE-TIME", m_syntax);
            m_document.SetText(*line, trigger, m_syntax);
            return;
        }
        RemoveReminders();
        std::string subject = Wanted("Subject");
        Component& alarm = m_document.InsertComponent(m_component, "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER" +
                                                                       std::string(isMoment ? ";VALUE=DATE-TIME" : "") +
                                                                       ":" + trigger + "\r\nEND:VALARM\r\n");
        m_document.Insert(alarm, alarm.Lines().back(), "DESCRIPTION",
                          Escape(subject.empty() ? "Reminder" : subject, m_syntax), m_syntax);
    }

 private:
    void ChangeAllDayMark(bool isAllDay, bool staysDate) {
        ContentLine* mark = m_component.First("X-MICROSOFT-CDO-ALLDAYEVENT");
        if (mark ? UpperCase(Trimmed(Text(*mark))) == (isAllDay ? "TRUE" : "FALSE") : !isAllDay || staysDate) return;
        SetWord("X-MICROSOFT-CDO-ALLDAYEVENT", isAllDay ? "TRUE" : "FALSE");
    }

    void ChangeCategories() {
        std::map<std::string, std::string> known;
        for (const auto& name : CategoriesOf(m_component, m_syntax)) known[name.shown] = name.escaped;
        std::string value;
        for (const std::string& name : NamesOf(Wanted("Categories"))) {
            auto found = known.find(name);
            value += (value.empty()     ? ""
                      : IsOld(m_syntax) ? ";"
                                        : ",") +
                     (found == known.end() ? Escape(name, m_syntax, true) : found->second);
        }
        const std::vector<ContentLine*> lines = m_component.Lines("CATEGORIES");
        for (std::size_t i = value.empty() ? 0 : 1; i < lines.size(); i++) m_document.Remove(m_component, *lines[i]);
        if (value.empty()) return;
        if (lines.empty())
            m_document.Insert(m_component, LastLine(), "CATEGORIES", value, m_syntax);
        else
            m_document.SetText(*lines.front(), value, m_syntax);
    }

    void ChangeBusyStatus() {
        const std::string status = Wanted("BusyStatus");
        const bool isOld = IsOld(m_syntax);
        SetWord("TRANSP", status == "0" ? (isOld ? "1" : "TRANSPARENT") : (isOld ? "0" : "OPAQUE"));
        SetWord("X-MICROSOFT-CDO-BUSYSTATUS", WordFor(kBusyWords, status));
        const ContentLine* line = m_component.First("STATUS");
        const std::string word = line ? UpperCase(Trimmed(Text(*line))) : "";
        if (status == "1" && word != "CANCELLED") SetWord("STATUS", "TENTATIVE");
        if (status != "1" && word == "TENTATIVE") SetWord("STATUS", "CONFIRMED");
    }

    void ChangeRecipients() {
        std::vector<std::pair<std::string, std::string>> pairs;
        const std::vector<std::string> tokens = Split(Wanted("Recipients"), ';');
        for (std::size_t i = 0; i < tokens.size(); i += 2)
            if (!tokens[i].empty()) pairs.emplace_back(tokens[i], i + 1 < tokens.size() ? tokens[i + 1] : tokens[i]);
        for (const ContentLine* line : m_component.Lines("ATTENDEE")) {
            auto kept = std::find(pairs.begin(), pairs.end(), RecipientOf(*line));
            if (kept == pairs.end())
                m_document.Remove(m_component, *line);
            else
                pairs.erase(kept);
        }
        for (const auto& [name, address] : pairs) {
            const bool isAddress = address.find(':') != std::string::npos;
            m_document.Insert(m_component, LastLine(), IsOld(m_syntax) ? "ATTENDEE" : "ATTENDEE;CN=" + Quoted(name),
                              (isAddress ? "" : "mailto:") + address, m_syntax);
        }
    }

    void ChangeReminder() {
        if (Wanted("ReminderSet") != "1") return RemoveReminders();
        const std::int64_t minutes = Number(Wanted("ReminderMinutesBeforeStart"));
        if (!IsOld(m_syntax)) return SetReminder(minutes ? DurationText(-minutes * 60) : "PT0M", false);
        RemoveReminders();
        const std::int64_t start = m_zones.ToUtc({Seconds(m_wanted, "Start"), {TimeKind::Floating, ""}});
        m_document.Insert(m_component, LastLine(), "DALARM",
                          CalendarTimeText({start - minutes * 60, {TimeKind::Utc, ""}}) + ";;1;Reminder", m_syntax);
    }

    ContentDocument& m_document;
    Component& m_calendar;
    Component& m_component;
    Syntax m_syntax;
    const TimeZones& m_zones;
    const Fields& m_current;
    const Fields& m_wanted;
};

class CalendarEditor {
 public:
    CalendarEditor(ContentDocument& document, CalendarParts& parts, const TimeZones& zones, CalendarReading& reading,
                   const Item& wanted, std::int64_t now)
        : m_document(document),
          m_parts(parts),
          m_zones(zones),
          m_reading(reading),
          m_wanted(wanted.fields),
          m_stamp(CalendarTimeText({now, {TimeKind::Utc, ""}})),
          m_editor(document, parts, *parts.master, zones, reading.item.fields, m_wanted) {}

    sync::Problem Apply() {
        if (FieldOf(m_wanted, "IsRecurring") == "1") {
            const char* start = m_parts.type == ItemType::Appointment    ? "Start"
                                : FieldOf(m_wanted, "StartDate").empty() ? "DueDate"
                                                                         : "StartDate";
            m_pattern = PatternOf(m_wanted, DayOfMoment(Seconds(m_wanted, start)));
            if (!m_pattern || FieldOf(m_wanted, start).empty())
                return {ProblemCode::NotRepresentable, "its recurrence is no pattern that is known", ""};
            m_first = m_pattern->Next(m_pattern->start);
            if (!m_first) return {ProblemCode::NotRepresentable, "its recurrence has no occurrence", ""};
            if (IsOld(m_parts.syntax) && RuleDiffers() && OldRuleText(*m_pattern).empty())
                return {ProblemCode::NotRepresentable, "a file of vCalendar 1.0 has no words for its recurrence", ""};
        }
        m_editor.ChangeTexts();
        if (m_parts.type == ItemType::Appointment)
            Appointment();
        else
            Task();
        return {};
    }

    // Dates the change, in the lines that are there.
    void Stamp() {
        for (const char* property : {"LAST-MODIFIED", "DTSTAMP"})
            if (ContentLine* line = m_parts.master->First(property)) m_document.SetText(*line, m_stamp, m_parts.syntax);
        ContentLine* sequence = m_parts.master->First("SEQUENCE");
        if (sequence && m_timesChanged)
            m_document.SetText(*sequence, std::to_string(Number(Trimmed(Text(*sequence))) + 1), m_parts.syntax);
    }

 private:
    const Fields& current() const { return m_reading.item.fields; }
    bool Differs(const char* field) const { return m_editor.Differs(field); }
    template <std::size_t size>
    bool AnyDiffers(const char* const (&names)[size]) const {
        return std::any_of(std::begin(names), std::end(names), [&](const char* name) { return Differs(name); });
    }
    bool RuleDiffers() const { return AnyDiffers(kRuleFields) || AnyDiffers(kEndFields); }

    void Appointment() {
        std::int64_t start = Seconds(m_wanted, "Start");
        if (m_first) start = *m_first * kDay + ClockOf(start);
        std::optional<TimeForm> needed;
        const bool isAllDay = FieldOf(m_wanted, "AllDayEvent") == "1";
        if (m_first && AnyDiffers(kRuleFields) && !isAllDay) needed = FormForRule();
        const CalendarTime* before = m_reading.start ? &*m_reading.start : nullptr;
        const bool moves = Differs("Start") || Differs("AllDayEvent") ||
                           (needed && before && *needed != before->form) ||
                           FieldOf(current(), "Start") != MomentText(start);
        m_timesChanged = moves || Differs("Duration") || RuleDiffers();
        if (moves || Differs("Duration")) m_editor.ChangeTimes(start, needed);
        const ContentLine* line = m_parts.master->First("DTSTART");
        m_start = line ? m_zones.Parse(*line, Text(*line)) : std::nullopt;
        if (!m_start) m_start = CalendarTime{start, {TimeKind::Floating, ""}};
        m_deviceStart = start;
        m_editor.ChangeEvent();
        ChangeRule(moves);
        ChangeExceptions(moves);
    }

    // A rule is made of the device's days: it says the same in another zone's days only where they are the same, and
    // in UTC only where the device's clock never changes.
    std::optional<TimeForm> FormForRule() const {
        if (!m_reading.start || m_reading.start->form.kind == TimeKind::Date) return std::nullopt;
        const bool isSameDay = DayOfMoment(m_zones.ToDevice(*m_reading.start)) == DayOfMoment(m_reading.start->wall);
        if (m_reading.start->form.kind == TimeKind::Utc || !isSameDay) return m_zones.DeviceForm();
        return std::nullopt;
    }

    std::string EndText() const {
        if (!m_pattern->ends) return "";
        const std::int64_t clock = ClockOf(m_deviceStart);
        const std::int64_t last = m_pattern->lastDay * kDay;
        if (m_parts.type == ItemType::Task || m_start->form.kind == TimeKind::Date)
            return ";UNTIL=" + CalendarTimeText({last, {TimeKind::Date, ""}});
        if (m_start->form.kind == TimeKind::Floating)
            return ";UNTIL=" + CalendarTimeText({last + clock, {TimeKind::Floating, ""}});
        // In another zone, the last occurrence may be at another time of the device's day.
        const bool isOwn = m_start->form == m_zones.DeviceForm();
        return ";UNTIL=" + CalendarTimeText(m_zones.FromDevice(last + (isOwn ? clock : kDay - 1), {TimeKind::Utc, ""}));
    }

    // " #0" for none.
    std::string OldEndText() const {
        if (!m_pattern->ends) return " #0";
        const std::int64_t last = m_pattern->lastDay * kDay + ClockOf(m_deviceStart);
        const bool isDay = m_start->form.kind == TimeKind::Date;
        return " " + CalendarTimeText(isDay ? CalendarTime{last, {TimeKind::Floating, ""}}
                                            : m_zones.FromDevice(last, m_start->form));
    }

    void ChangeRule(bool moves) {
        Component& master = *m_parts.master;
        ContentLine* line = master.First("RRULE");
        if (!m_first) {
            if (Differs("IsRecurring"))
                for (const char* property : {"RRULE", "EXRULE", "RDATE"})
                    for (const ContentLine* one : master.Lines(property)) m_document.Remove(master, *one);
            return;
        }
        if (m_reading.rule && m_reading.rule->isList) {
            if (!RuleDiffers() && (!moves || IsOld(m_parts.syntax))) return;
            // A pattern takes the place of everything that named the dates.
            for (const char* property : {"RRULE", "EXRULE", "RDATE"})
                for (const ContentLine* one : master.Lines(property)) m_document.Remove(master, *one);
            line = nullptr;
        }
        if (IsOld(m_parts.syntax)) {
            if (!RuleDiffers()) return;
            const std::string rule = OldRuleText(*m_pattern) + OldEndText();
            m_rulesNew = !line || AnyDiffers(kRuleFields);
            if (line)
                m_document.SetText(*line, rule, m_parts.syntax);
            else
                m_document.Insert(master, AfterTimes(), "RRULE", rule, m_parts.syntax);
            return;
        }
        const std::string text = line ? Trimmed(Text(*line)) : "";
        const bool hasUntil = UpperCase(text).find("UNTIL=") != std::string::npos;
        if (!line) {
            m_rulesNew = true;
            m_document.Insert(master, AfterTimes(), "RRULE", RuleText(*m_pattern) + EndText(), m_parts.syntax);
        } else if (AnyDiffers(kRuleFields)) {
            m_rulesNew = true;
            m_document.SetText(*line, RuleText(*m_pattern) + EndText(), m_parts.syntax);
        } else if (AnyDiffers(kEndFields) || (moves && hasUntil && !IsOld(m_parts.syntax))) {
            std::string kept;
            for (const std::string& part : Split(text, ';'))
                if (!UpperCase(part).starts_with("UNTIL=") && !UpperCase(part).starts_with("COUNT="))
                    kept += (kept.empty() ? "" : ";") + part;
            m_document.SetText(*line, kept + EndText(), m_parts.syntax);
        }
    }

    const ContentLine* AfterTimes() const {
        for (const char* property : {"DTEND", "DURATION", "DUE", "DTSTART"})
            if (const ContentLine* line = m_parts.master->First(property)) return line;
        return m_editor.LastLine();
    }

    // The occurrence of that day, as DTSTART has its time.
    CalendarTime OccurrenceOn(std::int64_t day) const {
        if (m_start->form.kind == TimeKind::Date) return {day * kDay, m_start->form};
        return m_zones.FromDevice(day * kDay + ClockOf(m_deviceStart), m_start->form);
    }

    void ChangeExceptions(bool moves) {
        Component& master = *m_parts.master;
        if (!m_first) {
            if (!Differs("IsRecurring")) return;
            for (const ContentLine* line : master.Lines("EXDATE")) m_document.Remove(master, *line);
            for (const Component* component : m_parts.changed) m_document.Remove(*m_parts.calendar, *component);
            return;
        }
        std::set<std::int64_t> wanted;
        for (const std::string& date : TabbedDates(FieldOf(m_wanted, "ExceptionDates"))) {
            std::int64_t moment;
            if (ParseMoment(date, &moment)) wanted.insert(DayOfMoment(moment));
        }
        const std::map<std::int64_t, Fields> occurrences = WantedOccurrences(wanted);
        for (const auto& [day, occurrence] : occurrences) wanted.insert(day);
        std::set<std::int64_t> before;
        for (const std::string& date : TabbedDates(FieldOf(current(), "ExceptionDates"))) {
            std::int64_t moment;
            if (ParseMoment(date, &moment)) before.insert(DayOfMoment(moment));
        }

        // Dates that go, and dates that move with the series.
        std::set<std::int64_t> deleted;
        std::map<ContentLine*, std::string> values;
        std::set<ContentLine*> touched;
        for (const auto& date : DatesOf(master, "EXDATE", m_zones, m_parts.syntax)) {
            const std::int64_t day = DayOfMoment(m_zones.ToDevice(date.time));
            const bool isChanged = occurrences.count(day) != 0;
            const bool goes = isChanged || (before.count(day) && !wanted.count(day));
            std::string value = date.value;
            if (!goes && moves && before.count(day)) {
                touched.insert(date.line);
                value = CalendarTimeText(OccurrenceOn(day));
            }
            if (goes) {
                touched.insert(date.line);
                continue;
            }
            deleted.insert(day);
            const char* separator = IsOld(m_parts.syntax) ? ";" : ",";
            values[date.line] += (values[date.line].empty() ? "" : separator) + value;
        }
        for (ContentLine* line : touched) {
            if (values[line].empty()) {
                m_document.Remove(master, *line);
                continue;
            }
            if (moves) SetForm(*line, OccurrenceOn(m_pattern->start));
            m_document.SetText(*line, values[line], m_parts.syntax);
        }

        std::set<std::int64_t> surplus;
        if (!m_rulesNew && m_reading.rule)
            surplus.insert(m_reading.rule->surplus.begin(), m_reading.rule->surplus.end());
        std::set<std::int64_t> shown;  // by a component of their own
        for (Component* component : m_parts.changed) {
            const ContentLine* line = component->First("RECURRENCE-ID");
            auto time = m_zones.Parse(*line, Text(*line));
            if (!time) continue;
            const std::int64_t day = DayOfMoment(m_zones.ToDevice(*time));
            if (before.count(day) && !wanted.count(day)) {
                m_document.Remove(*m_parts.calendar, *component);
                continue;
            }
            shown.insert(day);
            if (moves && before.count(day)) {
                ComponentEditor editor(m_document, m_parts, *component, m_zones, current(), m_wanted);
                editor.SetTime("RECURRENCE-ID", OccurrenceOn(day));
            }
        }
        for (const auto& [day, occurrence] : occurrences) {
            auto there = m_reading.changed.find(day);
            if (there != m_reading.changed.end() && shown.count(day)) {
                ChangeOccurrence(day, *there->second, occurrence);
            } else if (!shown.count(day)) {
                NewOccurrence(day, occurrence);
                shown.insert(day);
            }
        }
        for (std::int64_t day : wanted) {
            if (deleted.count(day) || shown.count(day) || surplus.count(day)) continue;
            const CalendarTime time = OccurrenceOn(day);
            const std::vector<ContentLine*> lines = master.Lines("EXDATE");
            const ContentLine* after = !lines.empty() ? lines.back() : master.First("RRULE");
            if (!after) after = AfterTimes();
            m_document.Insert(master, after, m_editor.HeadFor("EXDATE", time), CalendarTimeText(time), m_parts.syntax);
        }
    }

    void SetForm(ContentLine& line, const CalendarTime& time) {
        if (IsOld(m_parts.syntax)) return;
        m_document.SetParameter(line, "VALUE", time.form.kind == TimeKind::Date ? "DATE" : "", m_parts.syntax);
        m_document.SetParameter(line, "TZID", time.form.kind == TimeKind::Zoned ? time.form.zone : "", m_parts.syntax);
    }

    // The changed occurrences by their days. Where their dates are missing, an occurrence that stays on its day is
    // known by it; the others come in the order of the dates that are left.
    std::map<std::int64_t, Fields> WantedOccurrences(const std::set<std::int64_t>& exceptions) const {
        std::map<std::int64_t, Fields> byDay;
        const std::vector<Fields> occurrences = OccurrencesOf(FieldOf(m_wanted, "ModifiedOccurrences"));
        const std::vector<std::string> dates = TabbedDates(FieldOf(m_wanted, "ModifiedOccurrenceDates"));
        if (dates.size() == occurrences.size()) {
            for (std::size_t i = 0; i < dates.size(); i++) {
                std::int64_t moment;
                if (ParseMoment(dates[i], &moment)) byDay[DayOfMoment(moment)] = occurrences[i];
            }
            return byDay;
        }
        std::vector<const Fields*> moved;
        for (const Fields& occurrence : occurrences) {
            const std::int64_t day = DayOfMoment(Seconds(occurrence, "Start"));
            if (exceptions.count(day) && !byDay.count(day))
                byDay[day] = occurrence;
            else
                moved.push_back(&occurrence);
        }
        auto next = moved.begin();
        for (std::int64_t day : exceptions)
            if (next != moved.end() && !byDay.count(day)) byDay[day] = **next++;
        return byDay;
    }

    void ChangeOccurrence(std::int64_t day, Component& component, const Fields& occurrence) {
        std::vector<std::string> unsaid;
        Fields now = EventFields(component, m_parts.syntax, m_zones, unsaid);
        if (!now.count("Start")) now["Start"] = MomentText(day * kDay + ClockOf(Seconds(current(), "Start")));
        if (SerialisedOccurrence(now) == SerialisedOccurrence(occurrence)) return;
        EditOccurrence(component, now, occurrence);
    }

    void NewOccurrence(std::int64_t day, const Fields& occurrence) {
        const ContentLine* uid = m_parts.master->First("UID");
        Component& component =
            m_document.InsertComponent(*m_parts.calendar, "BEGIN:VEVENT\r\n" + (uid ? uid->raw : "") +
                                                              "DTSTAMP:" + m_stamp + "\r\nEND:VEVENT\r\n");
        Fields none;
        ComponentEditor editor(m_document, m_parts, component, m_zones, none, occurrence);
        editor.SetTime("RECURRENCE-ID", OccurrenceOn(day));
        EditOccurrence(component, none, occurrence);
    }

    void EditOccurrence(Component& component, const Fields& now, Fields wanted) {
        if (FieldOf(wanted, "ReminderSet") == "1") {
            std::string minutes = FieldOf(now, "ReminderMinutesBeforeStart");
            if (minutes.empty()) minutes = FieldOf(m_wanted, "ReminderMinutesBeforeStart");
            wanted["ReminderMinutesBeforeStart"] = minutes.empty() ? "15" : minutes;
        }
        Item item{ItemType::Appointment, now};
        AddDefaults(item);
        Item target{ItemType::Appointment, wanted};
        AddDefaults(target);
        ComponentEditor editor(m_document, m_parts, component, m_zones, item.fields, target.fields);
        editor.ChangeTexts();
        if (editor.Differs("Start") || editor.Differs("Duration") || editor.Differs("AllDayEvent")) {
            std::optional<TimeForm> form;
            if (!component.First("DTSTART") && m_start->form.kind != TimeKind::Date) form = m_start->form;
            editor.ChangeTimes(Seconds(target.fields, "Start"), form);
        }
        editor.ChangeEvent();
    }

    // --- Tasks ---

    void Task() {
        ChangeDay("StartDate", "DTSTART");
        ChangeDay("DueDate", "DUE");
        if (Differs("Importance")) m_editor.SetWord("PRIORITY", WordFor(kPriorities, FieldOf(m_wanted, "Importance")));
        if (Differs("Complete") || (Differs("DateCompleted") && !FieldOf(m_wanted, "DateCompleted").empty()))
            ChangeCompletion();
        ChangeReminder();
        m_timesChanged = Differs("StartDate") || Differs("DueDate") || RuleDiffers();
        m_deviceStart = 0;
        m_start = CalendarTime{0, {TimeKind::Date, ""}};
        ChangeRule(false);
    }

    void ChangeDay(const char* field, const char* property) {
        if (!Differs(field)) return;
        Component& master = *m_parts.master;
        ContentLine* line = master.First(property);
        const std::string value = FieldOf(m_wanted, field);
        // Two things that say when it is due would be one too many.
        if (property == std::string_view("DUE"))
            for (const ContentLine* duration : master.Lines("DURATION")) m_document.Remove(master, *duration);
        if (value.empty()) {
            for (const ContentLine* one : master.Lines(property)) m_document.Remove(master, *one);
            return;
        }
        std::int64_t wall = DayOfMoment(Seconds(m_wanted, field)) * kDay;
        auto now = line ? m_zones.Parse(*line, Text(*line)) : std::nullopt;
        const ContentLine* other = master.First(property == std::string_view("DUE") ? "DTSTART" : "DUE");
        if (!now && other) now = m_zones.Parse(*other, Text(*other));  // both are of one form
        if (now && now->form.kind != TimeKind::Date)
            m_editor.SetTime(property, m_zones.FromDevice(wall + ClockOf(m_zones.ToDevice(*now)), now->form));
        else
            m_editor.SetTime(property, {wall, IsOld(m_parts.syntax) ? TimeForm{TimeKind::Floating, ""}
                                                                    : TimeForm{TimeKind::Date, ""}});
    }

    void ChangeCompletion() {
        Component& master = *m_parts.master;
        if (FieldOf(m_wanted, "Complete") == "1") {
            m_editor.SetWord("STATUS", "COMPLETED");
            if (!IsOld(m_parts.syntax)) m_editor.SetWord("PERCENT-COMPLETE", "100");
            std::int64_t day = Seconds(m_wanted, "DateCompleted");
            const std::int64_t noon = DayOfMoment(day) * kDay + kDay / 2;
            if (!FieldOf(m_wanted, "DateCompleted").empty())
                m_editor.SetTime("COMPLETED", m_zones.FromDevice(noon, {TimeKind::Utc, ""}));
            else if (!master.First("COMPLETED"))
                m_document.Insert(master, m_editor.LastLine(), "COMPLETED", m_stamp, m_parts.syntax);
            return;
        }
        m_editor.SetWord("STATUS", IsOld(m_parts.syntax) ? "NEEDS ACTION" : "NEEDS-ACTION");
        if (master.First("PERCENT-COMPLETE")) m_editor.SetWord("PERCENT-COMPLETE", "0");
        m_editor.SetWord("COMPLETED", "");
    }

    void ChangeReminder() {
        const bool isWanted = FieldOf(m_wanted, "ReminderSet") == "1";
        if (!isWanted) {
            if (Differs("ReminderSet")) m_editor.RemoveReminders();
            return;
        }
        std::string time = FieldOf(m_wanted, "ReminderTime");
        if (time.empty() && Differs("ReminderSet")) {
            // The device tells that there is a reminder, not when: it is the morning of the day.
            const std::string due = FieldOf(m_wanted, "DueDate"), start = FieldOf(m_wanted, "StartDate");
            if (std::string day = due.empty() ? start : due; !day.empty()) time = day.substr(0, 10) + " 08:00:00";
        }
        std::int64_t wall;
        if (time.empty() || time == FieldOf(current(), "ReminderTime") || !ParseMoment(time, &wall)) return;
        const CalendarTime moment = m_zones.FromDevice(wall, {TimeKind::Utc, ""});
        if (!IsOld(m_parts.syntax)) return m_editor.SetReminder(CalendarTimeText(moment), true);
        m_editor.RemoveReminders();
        m_document.Insert(*m_parts.master, m_editor.LastLine(), "DALARM", CalendarTimeText(moment) + ";;1;Reminder",
                          m_parts.syntax);
    }

    ContentDocument& m_document;
    CalendarParts& m_parts;
    const TimeZones& m_zones;
    CalendarReading& m_reading;
    const Fields& m_wanted;
    std::string m_stamp;
    ComponentEditor m_editor;
    std::optional<Pattern> m_pattern;     // wanted
    std::optional<std::int64_t> m_first;  // its first day
    std::optional<CalendarTime> m_start;  // DTSTART as it is now in the file
    std::int64_t m_deviceStart = 0;       // the same on the device's clock
    bool m_rulesNew = false;
    bool m_timesChanged = false;
};

Item Canonical(Item item) {
    // A line of blanks is an error to other readers.
    std::erase_if(item.fields,
                  [](const auto& field) { return field.second.find_first_not_of(' ') == std::string::npos; });
    AddDefaults(item);
    DropUnusedRecurrence(item);
    if (FieldOf(item.fields, "ReminderSet") != "1") {
        item.fields.erase("ReminderMinutesBeforeStart");
        item.fields.erase("ReminderTime");
    }
    return item;
}

ItemFormat::Writing Changed(const std::string& bytes, const Item& item, const std::string& deviceZone, std::int64_t now,
                            bool isNew) {
    ItemFormat::Writing writing;
    ContentDocument document(bytes);
    CalendarParts parts = PartsOf(document, "");
    writing.problem = parts.problem;
    if (writing.problem) return writing;
    TimeZones zones(parts.calendar, deviceZone);
    CalendarReading reading;
    reading.item.type = parts.type;
    if (!isNew) {
        reading = ReadParts(parts, zones);
        // What cannot be understood as a whole is not changed in part.
        if (reading.problem) {
            writing.problem = reading.problem;
            return writing;
        }
    } else {
        AddDefaults(reading.item);
    }
    const Item wanted = Canonical(item);
    CalendarEditor editor(document, parts, zones, reading, wanted, now);
    writing.problem = editor.Apply();
    if (writing.problem) return writing;
    writing.bytes = document.Text();
    if (!isNew && writing.bytes != bytes) {
        editor.Stamp();
        writing.bytes = document.Text();
    }
    return writing;
}

}  // namespace

std::int64_t SystemSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

CalendarFormat::CalendarFormat(std::string deviceZone, std::function<std::int64_t()> now)
    : m_deviceZone(std::move(deviceZone)), m_now(std::move(now)) {}

ItemFormat::Writing CalendarFormat::Edit(std::string_view bytes, const Item& wanted) const {
    return Changed(std::string(bytes), wanted, m_deviceZone, m_now(), false);
}

ItemFormat::Writing CalendarFormat::Make(const Item& item, const std::string& uid, const std::string& revision) const {
    if (item.type == ItemType::Appointment && FieldOf(item.fields, "Start").empty())
        return {{ProblemCode::NotRepresentable, "it has no start", ""}, ""};
    const std::string kind = item.type == ItemType::Task ? "VTODO" : "VEVENT";
    auto stamp = ParseCalendarTime(revision);
    const std::string dated = CalendarTimeText({stamp ? stamp->wall : 0, {TimeKind::Utc, ""}});
    std::string bytes = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//kezsync//kezsync//EN\r\nBEGIN:" + kind +
                        "\r\nUID:" + Escape(uid, Syntax::Calendar20) + "\r\nDTSTAMP:" + dated + "\r\nEND:" + kind +
                        "\r\nEND:VCALENDAR\r\n";
    return Changed(bytes, item, m_deviceZone, stamp ? stamp->wall : 0, true);
}

}  // namespace kez::partner
