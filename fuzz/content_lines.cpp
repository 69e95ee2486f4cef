// Any bytes as a file of content lines: nothing is lost, and an edit of a line stays in that line.
#include "partner/content_lines.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kez::partner;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    ContentDocument document(bytes);
    if (document.Text() != bytes) std::abort();
    for (ContentLine* line : document.Root().Lines()) {
        (void)Text(*line);
        (void)Bytes(*line);
        (void)line->Parameters("TYPE");
    }
    auto lines = document.Root().Lines();
    if (lines.empty()) return 0;
    ContentLine& line = *lines[size % lines.size()];
    std::string before = line.raw;
    document.SetText(line, "edited, \xC3\xA4", size % 2 ? Syntax::Card21 : Syntax::Card30);
    if (document.Text().size() + before.size() != bytes.size() + line.raw.size()) std::abort();
    return 0;
}
