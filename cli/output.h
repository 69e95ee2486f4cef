// What the commands print: plain lines for people, one JSON document for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/owner.h"
#include "sync/report.h"
#include "sync/state.h"

namespace kez::cli {

using Json = nlohmann::ordered_json;

enum class Color { Auto, Always, Never };

struct OutputOptions {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    Color color = Color::Auto;
};

// A JSON value of bytes that may be no valid UTF-8: broken bytes become U+FFFD.
std::string JsonText(const Json& value);

Json FieldsAsJson(const sync::Fields& fields);  // a picture as {"bytes": n, "sha256": "..."}
Json ItemAsJson(const OwnedItem& item);
Json ProblemAsJson(const sync::Problem& problem);
Json ReportAsJson(const sync::Report& report);
Json ConflictAsJson(const sync::WaitingConflict& conflict);

void PrintItem(const OwnedItem& item);  // a heading and "name: value" lines
void PrintReport(const sync::Report& report, const OutputOptions& options);
void PrintPlan(const sync::Report& report, const OutputOptions& options);  // of a rehearsal: what would be done

// One line on standard error: "kezsync: " and the text.
void PrintError(const std::string& text);

// An entry of a report in one line: "received  Ada Lovelace  (FirstName, City)".
std::string Line(const sync::Entry& entry);

bool StandardOutputIsTerminal();
bool UseColor(const OutputOptions& options);

}  // namespace kez::cli
