// The real files that tests read: a small licensed copy that is always there, and a larger set where the environment
// variable KEZ_REAL_DATA names its folder.
#pragma once

#include <string>
#include <vector>

namespace kez::tests {

// Full paths of all files with this extension (".vcf"), sorted.
std::vector<std::string> RealFiles(const std::string& extension);

std::string ReadFile(const std::string& path);

// What the independent reader prints for these files: one line a property.
std::string IndependentReading(const std::vector<std::string>& paths);

}  // namespace kez::tests
