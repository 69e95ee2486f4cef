#include "platform/changewriter/device_check.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "platform/changewriter/change_writer.h"
#include "platform/propertydb/volume.h"

namespace kez::changewriter {

namespace {

using propertydb::JournalEntry;
using propertydb::PropertySet;
using propertydb::Transaction;
using propertydb::Volume;

constexpr std::size_t kAll = ~std::size_t{0} >> 1;

struct Told {
    CEOID record = 0;
    std::int64_t states[2] = {};
};

std::int64_t StateIn(const PropertySet& record, CEPROPID id) { return record.Number(id); }

// Marks what is wrong as found, or puts it right.
class Examination {
 public:
    explicit Examination(bool repair) : m_repair(repair) {}

    std::vector<TableFinding> Run() {
        if (!Volume::Exists(kPimVolume)) return {};
        if (!Volume::Exists(kChangeVolume)) {
            Find(TableDefect::NoVolume, kChangeVolume + 1, 0, "is missing: nobody would hear of changes on the device");
            if (!m_repair) return std::move(m_findings);
        }
        if (m_repair) {
            CreateChangeTables();
            Drain();
        }
        const auto pim = Volume::OpenApart(kPimVolume);
        const auto changes = Volume::OpenApart(kChangeVolume);
        std::optional<Transaction> transaction;
        if (m_repair) transaction.emplace(changes);
        const std::vector<JournalEntry> waiting = pim->ReadJournal(0, kAll);
        if (!waiting.empty()) {
            Find(TableDefect::NotCarried, kChangeVolume + 1, 0,
                 "lacks " + std::to_string(waiting.size()) + " changes of items that the journal holds");
        }
        for (const ChangeTable& table : kChangeTables) Check(table, *pim, *changes, waiting);
        if (transaction) transaction->Commit();
        return std::move(m_findings);
    }

 private:
    void Find(TableDefect defect, LPCWSTR table, CEOID item, std::string text) {
        m_findings.push_back({defect, table, item, std::move(text)});
    }

    void Check(const ChangeTable& table, Volume& pim, Volume& changes, const std::vector<JournalEntry>& waiting) {
        const CEOID itemDatabase = pim.FindDatabase(table.pimDatabase);
        const CEOID tableDatabase = changes.FindDatabase(table.table);
        if (!tableDatabase) {
            Find(TableDefect::NoTable, table.table, 0, "is missing: nobody would hear of changes on the device");
            return;
        }
        if (!itemDatabase) return;
        std::set<CEOID> underWay;
        for (const JournalEntry& entry : waiting) {
            if (entry.database == itemDatabase) underWay.insert(entry.record);
        }
        std::map<CEOID, Told> told;
        changes.Walk(tableDatabase, -1, [&told](CEOID record, const PropertySet& properties) {
            const auto item = static_cast<CEOID>(StateIn(properties, kItemOid));
            told[item] = {record, {StateIn(properties, kStateOfPartner0), StateIn(properties, kStateOfOthers)}};
            return true;
        });
        std::set<CEOID> items;
        for (const CEOID item : *pim.OrderedOids(itemDatabase, -1)) items.insert(item);
        auto mark = [&](CEOID item, CEOID record, DWORD state) {
            if (!m_repair) return;
            const PropertySet states{{kStateOfPartner0, std::int64_t{state}}, {kStateOfOthers, std::int64_t{state}}};
            if (record) {
                changes.Update(tableDatabase, record, states);
            } else {
                PropertySet made = states;
                made.SetNumber(kItemOid, item);
                changes.Insert(tableDatabase, made);
            }
        };
        for (const CEOID item : items) {
            if (told.count(item) || underWay.count(item)) continue;
            Find(TableDefect::NoRecord, table.table, item, "has no record of this item: changes of it may be missed");
            mark(item, 0, kStateChanged);
        }
        for (const auto& [item, record] : told) {
            if (underWay.count(item)) continue;
            const bool isThere = items.count(item) != 0;
            const auto has = [&record = record](auto test) { return test(record.states[0]) || test(record.states[1]); };
            if (has([](std::int64_t state) { return state < 0 || state > kStateDeleted; })) {
                Find(TableDefect::UnknownState, table.table, item, "holds a state of this item that there is not");
            } else if (isThere && has([](std::int64_t state) { return state == kStateDeleted; })) {
                Find(TableDefect::WrongDeleted, table.table, item, "says that this item was deleted, but it is there");
            } else if (!isThere && has([](std::int64_t state) { return state == kStateChanged; })) {
                Find(TableDefect::NoItem, table.table, item, "says that an item was changed that is not there");
            } else {
                continue;
            }
            mark(item, record.record, isThere ? kStateChanged : kStateDeleted);
        }
    }

    bool m_repair;
    std::vector<TableFinding> m_findings;
};

}  // namespace

std::vector<TableFinding> CheckChangeTables() { return Examination(false).Run(); }

std::vector<CEOID> ItemsOf(const ChangeTable& table) {
    if (!Volume::Exists(kPimVolume)) return {};
    const auto pim = Volume::OpenApart(kPimVolume);
    const CEOID database = pim->FindDatabase(table.pimDatabase);
    return database ? *pim->OrderedOids(database, -1) : std::vector<CEOID>();
}

void RepairChangeTables() { Examination(true).Run(); }

}  // namespace kez::changewriter
