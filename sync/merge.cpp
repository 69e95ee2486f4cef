#include "sync/merge.h"

#include <sha256.h>

namespace kez::sync {
namespace {

constexpr std::size_t kLongestRemembered = 512;
constexpr char kDigestMark[] = "\x01sha256:";  // no text field starts with a control character

bool IsSame(const std::string& remembered, const std::string& now) {
    if (remembered == now) return true;
    return IsDigest(remembered) && now.size() > kLongestRemembered && remembered == kDigestMark + Digest(now);
}

}  // namespace

std::string Digest(const std::string& bytes) {
    char hex[SHA256_DIGEST_STRING_LENGTH];
    SHA256Data(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), hex);
    return hex;
}

bool IsDigest(const std::string& value) { return value.rfind(kDigestMark, 0) == 0; }

Fields Remembered(const Fields& fields) {
    Fields remembered = fields;
    for (auto& [name, value] : remembered) {
        if (value.size() > kLongestRemembered) value = kDigestMark + Digest(value);
    }
    return remembered;
}

Changes Difference(const Fields& before, const Fields& now) {
    Changes changes;
    for (const auto& [name, value] : now) {
        const auto old = before.find(name);
        if (old == before.end() || !IsSame(old->second, value)) changes[name] = value;
    }
    for (const auto& [name, value] : before) {
        if (!now.count(name)) changes[name] = std::nullopt;
    }
    return changes;
}

Fields Applied(Fields fields, const Changes& changes) {
    for (const auto& [name, value] : changes) {
        if (value) {
            fields[name] = *value;
        } else {
            fields.erase(name);
        }
    }
    return fields;
}

Merged Merge(const Changes& device, const Changes& folder) {
    Merged merged;
    for (const auto& [name, value] : device) {
        const auto other = folder.find(name);
        if (other == folder.end()) {
            merged.forFolder[name] = value;
        } else if (other->second != value) {
            merged.disputed.push_back(name);
        }
    }
    for (const auto& [name, value] : folder) {
        if (!device.count(name)) merged.forDevice[name] = value;
    }
    return merged;
}

Merged MergeUnremembered(const Fields& device, const Fields& folder) {
    return Merge(Changes(device.begin(), device.end()), Changes(folder.begin(), folder.end()));
}

}  // namespace kez::sync
