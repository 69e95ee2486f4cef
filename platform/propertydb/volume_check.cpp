#include "platform/propertydb/volume_check.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "platform/control/control.h"
#include "platform/propertydb/connection.h"
#include "platform/propertydb/record_codec.h"
#include "platform/propertydb/schema.h"
#include "platform/propertydb/sort_key.h"

namespace kez::propertydb {

namespace {

constexpr int kMostComplaints = 20;  // of SQLite's own check
constexpr const char* kTriggers[] = {"added", "changed", "deleted", "attached", "reattached", "detached"};

// SQLite's complaints about what can be made anew from the tables.
bool IsAboutAnIndex(const std::string& complaint) {
    return complaint.find("missing from index") != std::string::npos ||
           complaint.find("entries in index") != std::string::npos ||
           complaint.find("entry in index") != std::string::npos;
}

std::string Narrow(std::string_view utf16) {
    std::string text;
    for (std::size_t i = 0; i + 1 < utf16.size(); i += 2) text += utf16[i + 1] == 0 ? utf16[i] : '?';
    return text;
}

// One look at a volume, with or without putting right what it finds.
class Examination {
 public:
    Examination(const std::filesystem::path& file, bool repair) : m_connection(Share(file)), m_repair(repair) {}

    std::vector<VolumeFinding> Run() {
        std::lock_guard lock(m_connection.Mutex());
        // What is put right is no change of a record: the journal must not hear of it.
        sqlite3_db_config(Handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
        if (m_repair) Execute(Handle(), "BEGIN IMMEDIATE");
        CheckFile();
        for (const auto& [oid, database] : m_connection.AllDatabases()) CheckDatabase(*database);
        CheckLastOid();
        if (m_repair) Execute(Handle(), "COMMIT");
        return std::move(m_findings);
    }

 private:
    static std::shared_ptr<VolumeShare> Share(const std::filesystem::path& file) {
        auto share = std::make_shared<VolumeShare>();
        share->file = file;
        return share;
    }

    sqlite3* Handle() const { return m_connection.Handle(); }

    template <class Take>
    void ForEach(const std::string& sql, Take take) {
        Statement statement;
        statement.Prepare(Handle(), sql);
        Query query(statement);
        while (query.Step()) take(query);
    }

    std::int64_t Number(const std::string& sql) {
        std::int64_t number = 0;
        ForEach(sql, [&number](Query& query) { number = query.Number(0); });
        return number;
    }

    void Find(VolumeDefect defect, const Database* database, CEOID record, std::string text, bool repairable) {
        m_findings.push_back(
            {defect, database ? database->name : std::u16string(), record, std::move(text), repairable});
    }

    void Repair(const std::string& sql) {
        if (m_repair) Execute(Handle(), sql);
    }

    void CheckFile() {
        bool reindex = false;
        ForEach("PRAGMA integrity_check(" + std::to_string(kMostComplaints) + ")", [&](Query& query) {
            const std::string complaint = Narrow(query.Blob(0));
            if (complaint == "ok") return;
            const bool isIndex = IsAboutAnIndex(complaint);
            reindex |= isIndex;
            Find(isIndex ? VolumeDefect::Index : VolumeDefect::Damaged, nullptr, 0, complaint, isIndex);
        });
        if (reindex) Repair("REINDEX");
    }

    void CheckDatabase(const Database& database) {
        CheckIndexes(database);
        CheckRecords(database);
        CheckCounters(database);
        const std::string orphans = "FROM " + AttachmentTable(database.oid) + " WHERE record NOT IN (SELECT oid FROM " +
                                    RecordTable(database.oid) + ")";
        if (const std::int64_t count = Number("SELECT count(*) " + orphans)) {
            Find(VolumeDefect::Attachment, &database, 0,
                 std::to_string(count) + " attachments belong to records that are not there", true);
            Repair("DELETE " + orphans);
        }
        if (database.journal) CheckJournal(database);
    }

    bool HasObject(const std::string& type, const std::string& name) {
        return Number("SELECT count(*) FROM sqlite_master WHERE type = '" + type + "' AND name = '" + name + "'") != 0;
    }

    void CheckIndexes(const Database& database) {
        for (const Order& order : database.orders) {
            const std::string name = "order_" + std::to_string(database.oid) + "_" + std::to_string(order.slot);
            if (HasObject("index", name)) continue;
            Find(VolumeDefect::Index, &database, 0, "the index of a sort order is missing", true);
            if (m_repair) CreateKeyIndex(Handle(), database.oid, order.slot);
        }
    }

    void CheckRecords(const Database& database) {
        std::string columns = "oid, props";
        std::string assignments;
        for (std::size_t i = 0; i < database.orders.size(); ++i) {
            const std::string column = KeyColumn(database.orders[i].slot);
            columns += ", " + column;
            assignments += (i ? ", " : "") + column + " = ?" + std::to_string(i + 2);
        }
        std::vector<std::pair<CEOID, std::vector<std::string>>> wrong;
        ForEach("SELECT " + columns + " FROM " + RecordTable(database.oid) + " ORDER BY oid", [&](Query& query) {
            const auto oid = static_cast<CEOID>(query.Number(0));
            PropertyViews views;
            try {
                Decode(query.Blob(1), views);
            } catch (const VolumeError& error) {
                Find(VolumeDefect::Record, &database, oid, "it cannot be read: " + std::string(error.what()), false);
                return;
            }
            std::vector<std::string> keys;
            bool isWrong = false;
            for (std::size_t i = 0; i < database.orders.size(); ++i) {
                MakeSortKey(database.orders[i].sort, views, oid, keys.emplace_back());
                isWrong |= query.Blob(static_cast<int>(i) + 2) != keys.back();
            }
            if (!isWrong) return;
            Find(VolumeDefect::Key, &database, oid, "it stands in the wrong place of a sort order", true);
            wrong.emplace_back(oid, std::move(keys));
        });
        if (!m_repair || wrong.empty()) return;
        Statement update;
        update.Prepare(Handle(), "UPDATE " + RecordTable(database.oid) + " SET " + assignments + " WHERE oid = ?1");
        for (const auto& [oid, keys] : wrong) {
            Query query(update);
            query.Bind(1, oid);
            for (std::size_t i = 0; i < keys.size(); ++i)
                query.Bind(static_cast<int>(i) + 2, std::string_view(keys[i]));
            query.Run();
        }
        Moved(database);
    }

    // Lists that others keep of the database are old.
    void Moved(const Database& database) {
        Repair("UPDATE state SET changes = changes + 1, modified = " + std::to_string(control::Now()) +
               " WHERE database = " + std::to_string(database.oid));
    }

    void CheckCounters(const Database& database) {
        const std::string oid = std::to_string(database.oid);
        std::optional<std::pair<std::int64_t, std::int64_t>> told;
        ForEach("SELECT records, bytes FROM state WHERE database = " + oid,
                [&told](Query& query) { told.emplace(query.Number(0), query.Number(1)); });
        std::pair<std::int64_t, std::int64_t> counted;
        ForEach("SELECT count(*), coalesce(sum(length(props)), 0) FROM " + RecordTable(database.oid),
                [&counted](Query& query) {
                    counted = {query.Number(0), query.Number(1)};
                });
        if (told == counted) return;
        std::string text = "its counters are missing";
        if (told) {
            text = "it counts " + std::to_string(told->first) + " records of " + std::to_string(told->second) +
                   " bytes and holds " + std::to_string(counted.first) + " of " + std::to_string(counted.second);
        }
        Find(VolumeDefect::Counters, &database, 0, text, true);
        Repair("INSERT INTO state (database, records, bytes) VALUES (" + oid + ", " + std::to_string(counted.first) +
               ", " + std::to_string(counted.second) +
               ") ON CONFLICT (database) DO UPDATE SET records = excluded.records, bytes = excluded.bytes");
        Moved(database);
    }

    void CheckJournal(const Database& database) {
        const std::string oid = std::to_string(database.oid);
        const bool whole = std::all_of(std::begin(kTriggers), std::end(kTriggers), [&](const std::string name) {
            return HasObject("trigger", "journal_" + name + "_" + oid);
        });
        if (whole) return;
        Find(VolumeDefect::Journal, &database, 0, "changes of its records are not noted in the journal", true);
        if (!m_repair) return;
        for (const std::string name : kTriggers) Repair("DROP TRIGGER IF EXISTS journal_" + name + "_" + oid);
        CreateJournalTriggers(Handle(), database.oid);
    }

    void CheckLastOid() {
        std::int64_t highest = 0;
        for (const auto& [oid, database] : m_connection.AllDatabases()) {
            highest = std::max({highest, static_cast<std::int64_t>(oid),
                                Number("SELECT coalesce(max(oid), 0) FROM " + RecordTable(oid))});
        }
        const std::int64_t last = Number("SELECT coalesce(max(last_number), -1) FROM state WHERE database = 0");
        if (last >= highest && last >= 0) return;
        Find(VolumeDefect::LastOid, nullptr, 0, "identifiers that are in use would be given again", true);
        Repair("INSERT INTO state (database, last_number) VALUES (0, " + std::to_string(highest) +
               ") ON CONFLICT (database) DO UPDATE SET last_number = excluded.last_number");
    }

    Connection m_connection;
    bool m_repair;
    std::vector<VolumeFinding> m_findings;
};

}  // namespace

std::vector<VolumeFinding> CheckVolume(const std::filesystem::path& file) {
    try {
        return Examination(file, false).Run();
    } catch (const VolumeError& error) {
        const bool damaged = error.Code() == ERROR_INTERNAL_DB_CORRUPTION;
        return {{damaged ? VolumeDefect::Damaged : VolumeDefect::NotAVolume, {}, 0, error.what(), false}};
    }
}

void RepairVolume(const std::filesystem::path& file) { Examination(file, true).Run(); }

}  // namespace kez::propertydb
