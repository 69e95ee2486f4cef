// Finds the file behind a device path, component by component. What the host itself keeps at the root of a device
// folder (names that start with ".kez") does not exist for the device.
#include "platform/kernel/device_path.h"

#include <algorithm>
#include <vector>

#include "platform/control/control.h"

namespace kez::kernel {

namespace {

namespace fs = std::filesystem;

char LowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
}

bool SameName(const std::string& a, const std::string& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return LowerCase(x) == LowerCase(y); });
}

std::nullopt_t Fail(DWORD error) {
    SetLastError(error);
    return std::nullopt;
}

// The names in `path` with "." and ".." worked off.
std::optional<std::vector<std::string>> Split(const std::u16string& path) {
    std::vector<std::string> names;
    for (std::size_t start = 0; start < path.size();) {
        const std::size_t end = std::min(path.find_first_of(u"\\/", start), path.size());
        const std::u16string name = path.substr(start, end - start);
        start = end + 1;
        if (name.empty() || name == u".") continue;
        if (name == u"..") {
            if (names.empty()) return Fail(ERROR_PATH_NOT_FOUND);
            names.pop_back();
            continue;
        }
        const bool usable = std::none_of(name.begin(), name.end(), [](WCHAR character) {
            return character < u' ' || std::u16string_view(u"<>:\"|?*").find(character) != std::u16string_view::npos;
        });
        constexpr std::size_t kLongestHostName = 255;
        std::string utf8 = ToUtf8(name.c_str());
        if (!usable || utf8.size() > kLongestHostName) return Fail(ERROR_INVALID_NAME);
        names.push_back(std::move(utf8));
    }
    constexpr const char* kHostPrefix = ".kez";
    if (!names.empty() && SameName(names.front().substr(0, 4), kHostPrefix)) return Fail(ERROR_INVALID_NAME);
    return names;
}

// The entry of `folder` that has this name but for the case; of several the first in byte order.
std::optional<std::string> FindName(const fs::path& folder, const std::string& name) {
    std::error_code error;
    if (fs::exists(fs::symlink_status(folder / name, error))) return name;
    std::optional<std::string> found;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        std::string candidate = entry->path().filename().string();
        if (SameName(candidate, name) && (!found || candidate < *found)) found = std::move(candidate);
    }
    return found;
}

// False for a symbolic link that leads out of the device folder, or nowhere.
bool StaysInside(const fs::path& path, const fs::path& root) {
    std::error_code error;
    if (!fs::is_symlink(fs::symlink_status(path, error))) return true;
    const fs::path target = fs::canonical(path, error);
    if (error) return false;
    return std::mismatch(root.begin(), root.end(), target.begin(), target.end()).first == root.end();
}

}  // namespace

std::optional<fs::path> HostPath(LPCWSTR devicePath) {
    const fs::path root = control::DeviceFolder();
    if (!devicePath || *devicePath == 0 || root.empty()) return Fail(ERROR_PATH_NOT_FOUND);
    const std::u16string text(devicePath, wcslen(devicePath));
    if (text.size() >= MAX_PATH) return Fail(ERROR_PATH_NOT_FOUND);
    const auto names = Split(text);
    if (!names) return std::nullopt;
    fs::path path = root;
    for (std::size_t i = 0; i < names->size(); ++i) {
        const bool last = i + 1 == names->size();
        const auto found = FindName(path, (*names)[i]);
        if (!found && !last) return Fail(ERROR_PATH_NOT_FOUND);
        path /= found.value_or((*names)[i]);
        std::error_code error;
        if (found && !StaysInside(path, root)) return Fail(ERROR_PATH_NOT_FOUND);
        if (!last && !fs::is_directory(path, error)) return Fail(ERROR_PATH_NOT_FOUND);
    }
    return path;
}

}  // namespace kez::kernel
