// Who asked to be told of changes in a volume, and the telling.
#pragma once

#include <windbase.h>

#include <atomic>
#include <mutex>
#include <vector>

namespace kez::propertydb {

// A change that somebody may want to be told of.
struct Change {
    UINT kind;  // DB_CEOID_CREATED, ...
    CEOID oid;
    CEOID parent;
};

class Notifications {
 public:
    // A number for Remove. `database` is the one whose changes are told.
    int Add(CEOID database, const CENOTIFYREQUEST& request);
    void Remove(int number);
    bool Wanted() const { return m_count.load(std::memory_order_relaxed) != 0; }
    // Tells everyone, in this thread, what a committed transaction changed; more than `most` changes are told as one
    // change of the volume. A notification that its window does not take is freed.
    void Tell(const std::vector<Change>& changes, const CEGUID& volume, std::size_t most);

 private:
    struct Listener {
        int number;
        CEOID database;
        CENOTIFYREQUEST request;
    };
    std::mutex m_mutex;
    std::vector<Listener> m_listeners;
    std::atomic<int> m_count{0};
    int m_last = 0;
};

}  // namespace kez::propertydb
