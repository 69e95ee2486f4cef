#include "sync/report.h"

namespace kez::sync {

std::string_view ToString(Outcome outcome) {
    switch (outcome) {
        case Outcome::Sent:
            return "sent";
        case Outcome::Received:
            return "received";
        case Outcome::Merged:
            return "merged";
        case Outcome::DeletedOnDevice:
            return "deleted on device";
        case Outcome::DeletedInFolder:
            return "deleted in folder";
        case Outcome::Matched:
            return "matched";
        case Outcome::Unresolved:
            return "unresolved";
        case Outcome::Failed:
            return "failed";
    }
    return "";
}

void Report::Add(Entry entry) {
    switch (entry.outcome) {
        case Outcome::Sent:
            ++counts.sent;
            break;
        case Outcome::Received:
            ++counts.received;
            break;
        case Outcome::Merged:
            ++counts.merged;
            break;
        case Outcome::DeletedOnDevice:
            ++counts.deletedOnDevice;
            break;
        case Outcome::DeletedInFolder:
            ++counts.deletedInFolder;
            break;
        case Outcome::Matched:
            ++counts.matched;
            break;
        case Outcome::Unresolved:
            ++counts.unresolved;
            break;
        case Outcome::Failed:
            ++counts.failed;
            break;
    }
    entries.push_back(std::move(entry));
}

}  // namespace kez::sync
