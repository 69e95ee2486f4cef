// log: the device's log, whole or in part.
//
// A line of the log is "MMDD hh:mm:ss.mmm ", two blanks for each call that is under way, and the text; a call's first
// trace ends in "+", its last in "-". Lines do not say at which level they were written. Some calls have a last trace
// and no first one, which takes the lines after it two blanks too far to the left.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <optional>
#include <regex>
#include <thread>
#include <utility>

#include "cli/commands.h"
#include "platform/control/control.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kTimeSize = 17;  // "0302 10:00:00.000"

struct LogLine {
    std::string whole;
    std::string time;
    std::string text;
    std::size_t depth = 0;
};

bool BeginsWithTime(const std::string& line) {
    constexpr char kShape[] = "0000 00:00:00.000 ";
    if (line.size() < sizeof kShape - 1) return false;
    for (std::size_t i = 0; i < sizeof kShape - 1; ++i) {
        const bool digit = line[i] >= '0' && line[i] <= '9';
        if (kShape[i] == '0' ? !digit : line[i] != kShape[i]) return false;
    }
    return true;
}

// A line without a time goes on with the text of the one before, or heads the log.
LogLine Parsed(std::string line, std::size_t depthBefore) {
    LogLine parsed;
    if (BeginsWithTime(line)) {
        const std::size_t text = std::min(line.find_first_not_of(' ', kTimeSize), line.size());
        parsed.time = line.substr(0, kTimeSize);
        parsed.depth = (text - kTimeSize - 1) / 2;
        parsed.text = line.substr(text);
    } else {
        parsed.depth = depthBefore;
        parsed.text = line;
    }
    parsed.whole = std::move(line);
    return parsed;
}

std::regex PatternOf(const std::string& pattern) {
    try {
        return std::regex(pattern, std::regex::ECMAScript | std::regex::optimize);
    } catch (const std::regex_error& error) {
        throw UsageError("--grep: \"" + pattern + "\" is no regular expression: " + error.what());
    }
}

// Which lines are wanted; asked for every line in its turn.
class LineFilter {
 public:
    explicit LineFilter(const LogOptions& options) : m_options(options) {
        if (!options.pattern.empty()) m_pattern = PatternOf(options.pattern);
    }

    bool Wants(const LogLine& line) {
        const std::optional<std::size_t> depth = m_options.operation.empty() ? line.depth : DepthInOperation(line);
        return depth && *depth <= m_options.level && line.whole.find(m_options.contains) != std::string::npos &&
               (!m_pattern || std::regex_search(line.text, *m_pattern));
    }

 private:
    struct Operation {
        std::size_t depth;
        std::string owner;
        std::size_t strays = 0;  // last traces without a first one so far
    };

    // Nothing for a line that is not part of a wanted operation.
    std::optional<std::size_t> DepthInOperation(const LogLine& line) {
        const char last = line.text.empty() ? ' ' : line.text.back();
        if (m_operation) {
            const bool isBack = line.depth + m_operation->strays <= m_operation->depth;
            if (!isBack) return line.depth + m_operation->strays - m_operation->depth;
            if (last == '-' && OwnerOf(line.text) != m_operation->owner) {
                ++m_operation->strays;
                return 1;
            }
            m_operation.reset();
            if (last == '-') return 0;
        }
        if (line.text.find(m_options.operation) == std::string::npos) return std::nullopt;
        if (last == '+') m_operation = {line.depth, OwnerOf(line.text)};
        return 0;
    }

    // The class, or the function of none, that writes a trace.
    static std::string OwnerOf(const std::string& text) { return text.substr(0, text.find_first_of(": (+-")); }

    const LogOptions& m_options;
    std::optional<std::regex> m_pattern;
    std::optional<Operation> m_operation;  // that is under way
};

// The lines of a file that may grow, and that may be replaced by a new one.
class LogFile {
 public:
    explicit LogFile(fs::path file) : m_path(std::move(file)) {}
    ~LogFile() { Close(); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    bool Open() {
        Close();
        m_file = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
        return m_file >= 0;
    }

    // The next line that is whole; with `last` also what stands behind the last line end.
    std::optional<std::string> Next(bool last) {
        for (;;) {
            if (const std::size_t end = m_rest.find('\n'); end != std::string::npos) {
                std::string line = m_rest.substr(0, end);
                m_rest.erase(0, end + 1);
                return Trimmed(std::move(line));
            }
            char bytes[65536];
            const ssize_t size = m_file < 0 ? 0 : read(m_file, bytes, sizeof bytes);
            if (size <= 0) break;
            m_rest.append(bytes, static_cast<std::size_t>(size));
        }
        if (!last || m_rest.empty()) return std::nullopt;
        return Trimmed(std::exchange(m_rest, {}));
    }

    // Whether another file has taken the name since.
    bool WasReplaced() const {
        struct stat opened {};
        struct stat there {};
        return stat(m_path.c_str(), &there) == 0 &&
               (m_file < 0 || fstat(m_file, &opened) != 0 || opened.st_ino != there.st_ino ||
                there.st_size < lseek(m_file, 0, SEEK_CUR));
    }

 private:
    static std::string Trimmed(std::string line) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return line;
    }
    void Close() {
        if (m_file >= 0) close(m_file);
        m_file = -1;
    }

    fs::path m_path;
    int m_file = -1;
    std::string m_rest;
};

Json LineAsJson(const LogLine& line) { return {{"time", line.time}, {"depth", line.depth}, {"text", line.text}}; }

}  // namespace

ExitCode Log(const Common& common, const LogOptions& options) {
    LineFilter filter(options);
    if (!control::IsDevice(common.device)) {
        throw control::DeviceError(common.device.string() + " is no device folder; kezsync init makes one");
    }
    const fs::path path = common.device / (options.previous ? "DevLog-.txt" : "DevLog.txt");
    LogFile file(path);
    if (!file.Open()) {
        throw std::runtime_error(path.string() +
                                 " is not there; sync with --log-level 50 (or up to 100) to have one written");
    }
    Json all = Json::array();
    std::size_t depth = 0;
    for (;;) {
        while (auto next = file.Next(!options.follow)) {
            const LogLine line = Parsed(std::move(*next), depth);
            depth = line.depth;
            if (!filter.Wants(line)) continue;
            if (!common.output.json) {
                std::printf("%s\n", line.whole.c_str());
            } else if (options.follow) {
                std::printf("%s\n", JsonText(LineAsJson(line)).c_str());
            } else {
                all.push_back(LineAsJson(line));
            }
        }
        if (!options.follow) break;
        std::fflush(stdout);
        if (file.WasReplaced()) {
            file.Open();
            continue;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (common.output.json) std::printf("%s\n", JsonText(all).c_str());
    return kDone;
}

}  // namespace kez::cli
