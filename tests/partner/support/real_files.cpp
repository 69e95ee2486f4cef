#include "real_files.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace kez::tests {

std::vector<std::string> RealFiles(const std::string& extension) {
    std::vector<std::string> folders{KEZ_TEST_DATA "/real"};
    if (const char* more = std::getenv("KEZ_REAL_DATA")) folders.emplace_back(more);
    std::vector<std::string> files;
    for (const auto& folder : folders)
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
            if (entry.is_regular_file() && entry.path().extension() == extension) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string IndependentReading(const std::vector<std::string>& paths) {
    std::string command = "python3 '" KEZ_PARTNER_TESTS "/independent_reader.py'";
    for (const auto& path : paths) command += " '" + path + "'";
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return "";
    std::array<char, 65536> buffer;
    for (std::size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) out.append(buffer.data(), n);
    return pclose(pipe) == 0 ? out : "the reader failed\n" + out;
}

}  // namespace kez::tests
