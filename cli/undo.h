// What it takes to take a synchronisation back: the device's volumes and the state as they were before, and the files
// that it touched. Kept in the device folder under ".kezundo/<partner>", one synchronisation for each partnership.
//
// A record is begun when a plan has something to do, grows with the files that are touched, and counts only once the
// synchronisation has ended; one that was killed cannot be taken back.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "partner/file_layer.h"
#include "sync/state.h"

namespace kez::cli {

// Files as they are, but what is there before a file is replaced or removed is kept first, once recording has begun.
class UndoFiles : public partner::RealFileLayer {
 public:
    // Copies of files go into `place`, which is there; what was done is listed in its file "files".
    void Record(const std::filesystem::path& place);
    void EndRecord();  // the list is whole; throws std::runtime_error where it could not be written

    void Write(const std::string& path, const std::string& bytes, std::uint32_t mode) override;
    void Rename(const std::string& from, const std::string& to) override;
    void RenameNew(const std::string& from, const std::string& to) override;
    void Remove(const std::string& path) override;

 private:
    bool Concerns(const std::string& path) const;
    // The name of the copy of what is there, "" where there is nothing; null where that was noted before.
    std::optional<std::string> Keep(const std::string& path);
    void Note(const std::optional<std::string>& copy, const std::string& path, const std::string& says);
    std::string TakeDraft(const std::string& path);

    std::filesystem::path m_place;
    std::ofstream m_list;
    std::set<std::string> m_noted;
    std::map<std::string, std::string> m_drafts;  // what files say that are to take a place, by path
};

class UndoRecord {
 public:
    // A `durable` one survives a power cut from End on.
    UndoRecord(const std::filesystem::path& device, unsigned partner, bool durable = true);

    // At the start of every synchronisation: what the other partnership's record says is then not the whole story.
    void TellOthers() const;

    // Before a synchronisation writes: copies the volumes and the state; the place where files go.
    std::filesystem::path Begin(const std::filesystem::path& folder, sync::State& state);
    // After it, with the device closed: what both sides hold now. Where nothing came of it, the record of the
    // synchronisation before stays instead.
    void End();

    // What changed since End, one sentence each. Throws std::runtime_error where there is nothing to take back, or
    // it belongs to another folder.
    std::vector<std::string> ChangedSince(const std::filesystem::path& folder) const;

    struct Done {
        std::size_t restored = 0;
        std::size_t removed = 0;
    };
    // Puts everything back and forgets the record. Killed at any moment, it goes on where it is called again.
    Done Restore(const std::filesystem::path& folder, const std::filesystem::path& stateFile);

 private:
    struct Kept {
        std::string copy;  // "" for a file that was not there
        std::string says;  // after it; "" for one that is not there any more
    };
    std::map<std::string, Kept> Files(const std::filesystem::path& place) const;
    std::map<std::string, std::int64_t> Counters() const;
    void CopyVolumes() const;
    void StartSync(const char* copy) const;
    void MakeDurable() const;

    std::filesystem::path m_device;
    std::filesystem::path m_place;
    std::filesystem::path m_begun;
    bool m_durable;
    bool m_isOpen = false;
};

}  // namespace kez::cli
