#include "cli/output.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "sync/merge.h"

namespace kez::cli {
namespace {

constexpr char kPicture[] = "Picture";

std::string Enumerated(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

const char* ColorOf(sync::Outcome outcome) {
    switch (outcome) {
        case sync::Outcome::Failed:
            return "\x1b[31m";
        case sync::Outcome::Unresolved:
            return "\x1b[33m";
        case sync::Outcome::DeletedInFolder:
        case sync::Outcome::DeletedOnDevice:
            return "\x1b[35m";
        default:
            return "\x1b[32m";
    }
}

}  // namespace

std::string JsonText(const Json& value) { return value.dump(2, ' ', false, Json::error_handler_t::replace); }

Json ProblemAsJson(const sync::Problem& problem) {
    static constexpr const char* kCodes[] = {
        "none", "gone", "changed-meanwhile", "unreadable", "refused", "not-representable", "duplicate", "failed"};
    Json json{{"code", kCodes[static_cast<int>(problem.code)]}, {"text", problem.text}};
    if (!problem.where.empty()) json["where"] = problem.where;
    return json;
}

Json FieldsAsJson(const sync::Fields& fields) {
    Json json = Json::object();
    for (const auto& [name, value] : fields) {
        if (name == kPicture) {
            json[name] = {{"bytes", value.size()}, {"sha256", sync::Digest(value)}};
        } else {
            json[name] = value;
        }
    }
    return json;
}

Json ItemAsJson(const OwnedItem& item) {
    return {{"oid", item.oid},
            {"type", std::string(ToString(item.item.type))},
            {"title", sync::Title(item.item)},
            {"fields", FieldsAsJson(item.item.fields)}};
}

Json ReportAsJson(const sync::Report& report) {
    const sync::Counts& counts = report.counts;
    Json json{{"summary",
               {{"sent", counts.sent},
                {"received", counts.received},
                {"merged", counts.merged},
                {"matched", counts.matched},
                {"deletedOnDevice", counts.deletedOnDevice},
                {"deletedInFolder", counts.deletedInFolder},
                {"unchanged", counts.unchanged},
                {"unresolved", counts.unresolved},
                {"failed", counts.failed},
                {"seconds", report.seconds}}},
              {"items", Json::array()},
              {"findings", Json::array()}};
    for (const sync::Entry& entry : report.entries) {
        Json item{{"outcome", std::string(ToString(entry.outcome))},
                  {"type", std::string(ToString(entry.type))},
                  {"title", entry.title},
                  {"new", entry.isNew}};
        if (!entry.deviceId.empty()) item["oid"] = std::strtoull(entry.deviceId.c_str(), nullptr, 10);
        if (!entry.folderId.empty()) item["file"] = entry.folderId;
        if (!entry.fields.empty()) item["fields"] = entry.fields;
        if (entry.problem) item["problem"] = ProblemAsJson(entry.problem);
        if (!entry.notes.empty()) item["notes"] = entry.notes;
        json["items"].push_back(std::move(item));
    }
    for (const sync::Problem& finding : report.findings) json["findings"].push_back(ProblemAsJson(finding));
    return json;
}

Json ConflictAsJson(const sync::WaitingConflict& conflict) {
    Json json{{"type", std::string(ToString(conflict.type))}, {"title", conflict.title}, {"text", conflict.text}};
    if (!conflict.deviceId.empty()) json["oid"] = std::strtoull(conflict.deviceId.c_str(), nullptr, 10);
    if (!conflict.folderId.empty()) json["file"] = conflict.folderId;
    if (!conflict.fields.empty()) json["fields"] = conflict.fields;
    if (!conflict.choice.empty()) json["choice"] = conflict.choice;
    return json;
}

void PrintItem(const OwnedItem& item) {
    std::printf("%s %u: %s\n", std::string(ToString(item.item.type)).c_str(), item.oid, sync::Title(item.item).c_str());
    for (const auto& [name, value] : item.item.fields) {
        std::string text = name == kPicture ? std::to_string(value.size()) + " bytes" : value;
        for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 1 + 4) {
            text.replace(at, 1, "\n    ");
        }
        std::printf("  %s: %s\n", name.c_str(), text.c_str());
    }
}

namespace {

// What a synchronisation would do with an item.
std::string Intention(const sync::Entry& entry) {
    switch (entry.outcome) {
        case sync::Outcome::Sent:
            return entry.isNew ? "create on device" : "update on device";
        case sync::Outcome::Received:
            return entry.isNew ? "create in folder" : "update in folder";
        case sync::Outcome::Merged:
            return entry.isNew ? "keep both" : "merge";
        case sync::Outcome::DeletedOnDevice:
            return "delete on device";
        case sync::Outcome::DeletedInFolder:
            return "delete in folder";
        case sync::Outcome::Matched:
            return "match";
        case sync::Outcome::Unresolved:
            return "leave unresolved";
        case sync::Outcome::Failed:
            return "would fail";
    }
    return {};
}

std::string Line(std::string line, const sync::Entry& entry) {
    line.resize(std::max<std::size_t>(line.size(), 18), ' ');
    line += "  " + entry.title;
    if (entry.problem) {
        line += ": " + entry.problem.text;
        if (!entry.problem.where.empty() && entry.problem.where != entry.title)
            line += " (" + entry.problem.where + ")";
    } else if (entry.isNew) {
        line += "  (new)";
    } else if (!entry.fields.empty()) {
        line += "  (" + Enumerated(entry.fields) + ")";
    }
    return line;
}

}  // namespace

std::string Line(const sync::Entry& entry) { return Line(std::string(ToString(entry.outcome)), entry); }

void PrintPlan(const sync::Report& report, const OutputOptions& options) {
    if (options.json) {
        Json json = ReportAsJson(report);
        json["dryRun"] = true;
        std::printf("%s\n", JsonText(json).c_str());
        return;
    }
    const bool color = UseColor(options);
    for (const sync::Entry& entry : report.entries) {
        std::printf("%s%s%s\n", color ? ColorOf(entry.outcome) : "", Line(Intention(entry), entry).c_str(),
                    color ? "\x1b[0m" : "");
        for (const std::string& note : entry.notes) std::printf("%20s%s\n", "", note.c_str());
    }
    for (const sync::Problem& finding : report.findings) {
        std::printf("finding             %s: %s\n", finding.where.c_str(), finding.text.c_str());
    }
    const sync::Counts& counts = report.counts;
    if (options.quiet && report.Complete()) return;
    std::printf("would send %zu, receive %zu, merge %zu, match %zu, delete on device %zu, delete in folder %zu; ",
                counts.sent, counts.received, counts.merged, counts.matched, counts.deletedOnDevice,
                counts.deletedInFolder);
    std::printf("unchanged %zu, unresolved %zu, would fail %zu. Nothing was changed.\n", counts.unchanged,
                counts.unresolved, counts.failed);
}

void PrintReport(const sync::Report& report, const OutputOptions& options) {
    if (options.json) {
        std::printf("%s\n", JsonText(ReportAsJson(report)).c_str());
        return;
    }
    const bool color = UseColor(options);
    for (const sync::Entry& entry : report.entries) {
        const bool harmless = !entry.problem && entry.notes.empty();
        if (options.quiet && harmless) continue;
        // A long list of new items says less than its count.
        if (harmless && entry.isNew && !options.verbose && report.entries.size() > 40) continue;
        std::printf("%s%s%s\n", color ? ColorOf(entry.outcome) : "", Line(entry).c_str(), color ? "\x1b[0m" : "");
        for (const std::string& note : entry.notes) std::printf("%20s%s\n", "", note.c_str());
    }
    for (const sync::Problem& finding : report.findings) {
        std::printf("finding             %s: %s\n", finding.where.c_str(), finding.text.c_str());
    }
    const sync::Counts& counts = report.counts;
    if (options.quiet && report.Complete()) return;
    std::printf("sent %zu, received %zu, merged %zu, matched %zu, deleted on device %zu, deleted in folder %zu, ",
                counts.sent, counts.received, counts.merged, counts.matched, counts.deletedOnDevice,
                counts.deletedInFolder);
    std::printf("unchanged %zu, unresolved %zu, failed %zu, in %.2f s\n", counts.unchanged, counts.unresolved,
                counts.failed, report.seconds);
}

void PrintError(const std::string& text) { std::fprintf(stderr, "kezsync: %s\n", text.c_str()); }

bool StandardOutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

bool UseColor(const OutputOptions& options) {
    if (options.color != Color::Auto) return options.color == Color::Always;
    return StandardOutputIsTerminal() && !std::getenv("NO_COLOR");
}

}  // namespace kez::cli
