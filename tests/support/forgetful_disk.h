// A disk that forgets what nobody made durable: a layer below SQLite that knows of every file what was synced and what
// was only written since.
//
// Link kez_forgetful_disk and call Install() before the program opens its first volume. A file counts as durable as it
// is when it is first opened.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace kez::tests::forgetful_disk {

// Files as they are after the power was cut, by path.
using Files = std::map<std::filesystem::path, std::string>;

void Install();

// Whether a sector of 512 bytes that was written and not synced reached the disk. Nothing is written in order.
using Survives = std::function<bool()>;
Files CutPower(const Survives& survives);

// Called before each write and each sync that reaches the disk, so that the power can be cut there; null ends that.
void AtEachCall(std::function<void()> look);

std::size_t Syncs();  // so far

// Forgets all files, none of which is open any more.
void Forget();

}  // namespace kez::tests::forgetful_disk
