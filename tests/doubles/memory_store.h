// A store in memory that keeps the store contract, as a folder does (revisions) or as a device does (change flags
// that listing clears). It can normalise what it is given, refuse items, and stop the process's work at a chosen
// call, as a crash would.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "sync/store.h"

namespace kez::tests {

// Thrown in place of a crash; nothing in the product catches it.
struct Crash {};

class MemoryStore : public sync::Store {
 public:
    enum class Kind { Revisions, ChangeFlags };
    explicit MemoryStore(Kind kind, std::string name) : m_kind(kind), m_name(std::move(name)) {}

    std::string Name() const override { return m_name; }
    std::string Identity() const override { return m_name; }
    bool Holds(sync::ItemType) const override { return true; }

    sync::Listing List(sync::ItemType type) override {
        Called();
        if (atList) atList();
        sync::Listing listing;
        listing.trusted = trusted;
        for (auto& [id, entry] : m_items) {
            if (entry.item.type != type || unlisted.count(id)) continue;
            sync::Listed listed;
            listed.id = id;
            listed.hint = entry.hint;
            if (m_kind == Kind::Revisions) {
                listed.revision = std::to_string(entry.revision);
            } else {
                listed.changed = m_flags.erase(id) != 0;
            }
            if (unreadable.count(id))
                listed.problem = std::make_shared<const sync::Problem>(
                    sync::Problem{sync::ProblemCode::Unreadable, "is garbage", id});
            listing.items.push_back(std::move(listed));
        }
        return listing;
    }

    sync::ReadResult Read(sync::ItemType type, const std::string& id) override {
        Called();
        ++reads;
        const auto found = m_items.find(id);
        sync::ReadResult result;
        if (found == m_items.end() || found->second.item.type != type) {
            result.problem = {sync::ProblemCode::Gone, "is gone", id};
            return result;
        }
        result.item = found->second.item;
        result.revision = std::to_string(found->second.revision);
        if (atRead) atRead(result);
        return result;
    }

    sync::WriteResult Create(const sync::Item& item, const std::string& hint) override {
        Called();
        ++writes;
        if (refuse && refuse(item)) return {{sync::ProblemCode::Refused, "is not wanted here", {}}, {}, {}, {}, {}};
        sync::Item taken = item;
        if (takesInPart) takesInPart(taken);
        const std::string id = Put({}, taken, hint);
        m_flags.erase(id);  // its own write is no change
        Called();
        sync::WriteResult result = Written(id);
        for (const auto& [name, value] : item.fields) {
            if (taken.fields.count(name) && taken.fields.at(name) == value) continue;
            result.problem = {sync::ProblemCode::Failed, "did not take over " + name, id};
        }
        return result;
    }

    std::vector<sync::WriteResult> CreateAll(const std::vector<sync::Item>& items) override {
        together.push_back(items.size());
        return Store::CreateAll(items);
    }

    void ExpectNew(sync::ItemType, std::size_t count) override { expectedNew = count; }
    void ExpectLists(const std::vector<sync::ItemType>& types) override { expectedLists.push_back(types); }

    sync::WriteResult Update(const std::string& id, const sync::Item& wanted, const std::string& expected) override {
        Called();
        if (atUpdate) std::exchange(atUpdate, nullptr)();
        ++writes;
        const auto found = m_items.find(id);
        if (found == m_items.end()) return {{sync::ProblemCode::Gone, "is gone", id}, {}, {}, {}, {}};
        if (!expected.empty() && expected != std::to_string(found->second.revision)) {
            return {{sync::ProblemCode::ChangedMeanwhile, "changed meanwhile", id}, {}, {}, {}, {}};
        }
        if (refuse && refuse(wanted)) return {{sync::ProblemCode::Refused, "is not wanted here", {}}, id, {}, {}, {}};
        Put(id, wanted, found->second.hint);
        m_flags.erase(id);
        Called();
        return Written(id);
    }

    sync::Problem Delete(sync::ItemType, const std::string& id, const std::string& expected) override {
        Called();
        ++writes;
        const auto found = m_items.find(id);
        if (found != m_items.end() && !expected.empty() && expected != std::to_string(found->second.revision)) {
            return {sync::ProblemCode::ChangedMeanwhile, "changed meanwhile", id};
        }
        m_items.erase(id);
        Called();
        return {};
    }

    void Flush() override {
        Called();
        if (atFlush) atFlush();
    }

    // What a user does.
    std::string Add(sync::Item item) {
        const std::string id = Put({}, std::move(item), {});
        m_flags.insert(id);
        return id;
    }
    void Edit(const std::string& id, const std::string& field, const std::string& value) {
        sync::Item item = m_items.at(id).item;
        if (value.empty()) {
            item.fields.erase(field);
        } else {
            item.fields[field] = value;
        }
        Put(id, item, m_items.at(id).hint);
        m_flags.insert(id);
    }
    void Touch(const std::string& id) { ++m_items.at(id).revision; }
    void Remove(const std::string& id) { m_items.erase(id); }
    bool Has(const std::string& id) const { return m_items.count(id) != 0; }
    const sync::Fields& At(const std::string& id) const { return m_items.at(id).item.fields; }
    std::vector<std::string> Ids() const {
        std::vector<std::string> ids;
        for (const auto& [id, entry] : m_items) ids.push_back(id);
        return ids;
    }
    std::multiset<sync::Fields> Contents() const {
        std::multiset<sync::Fields> contents;
        for (const auto& [id, entry] : m_items) contents.insert(entry.item.fields);
        return contents;
    }
    std::size_t Size() const { return m_items.size(); }

    bool trusted = true;
    std::set<std::string> unlisted;  // there, but missed by listings
    std::set<std::string> unreadable;
    std::function<bool(const sync::Item&)> refuse;
    std::function<void(sync::Item&)> normalise;
    std::function<void(sync::Item&)> takesInPart;   // what of a new item is written, and the rest is a problem
    std::function<void(sync::ReadResult&)> atRead;  // makes of each reading what it likes
    std::function<void()> atFlush;
    std::function<void()> atUpdate;  // what somebody does once, when the next update has begun
    int crashAtCall = 0;             // 0: never; counts down over all calls, before and after each write
    int calls = 0;
    int reads = 0;
    int writes = 0;
    std::size_t expectedNew = 0;
    std::vector<std::vector<sync::ItemType>> expectedLists;
    std::function<void()> atList;
    std::vector<std::size_t> together;  // how many items were to be made at once, each time

 private:
    struct Entry {
        sync::Item item;
        std::string hint;
        int revision = 0;
    };

    void Called() {
        ++calls;
        if (crashAtCall && --crashAtCall == 0) throw Crash{};
    }
    std::string Put(const std::string& given, sync::Item item, const std::string& hint) {
        if (normalise) normalise(item);
        const std::string id = given.empty() ? m_name + std::to_string(++m_last) : given;
        Entry& entry = m_items[id];
        entry.item = std::move(item);
        entry.hint = hint;
        ++entry.revision;
        return id;
    }
    sync::WriteResult Written(const std::string& id) {
        const Entry& entry = m_items.at(id);
        return {{}, id, std::to_string(entry.revision), entry.item, {}};
    }

    Kind m_kind;
    std::string m_name;
    std::map<std::string, Entry> m_items;
    std::set<std::string> m_flags;
    int m_last = 0;
};

}  // namespace kez::tests
