// Device paths and the files behind them.
#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <string>

namespace kez::kernel {

// The host file that a device path names, found without regard to ASCII case; where nothing of that name is there,
// the file that would be made. Nothing (with last error 3, or 123 for an unusable name) for an empty path, for a
// path that climbs out of the device folder, and while no device is open. Symbolic links that lead out of the
// device folder are refused.
std::optional<std::filesystem::path> HostPath(LPCWSTR devicePath);

std::string ToUtf8(LPCWSTR text);                  // lone surrogates become U+FFFD
std::u16string FromUtf8(const std::string& text);  // broken sequences become U+FFFD

}  // namespace kez::kernel
