// What doubles are asked, in order, and which of their calls have to fail.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

namespace kez::tests {

class RecordedCalls {
 public:
    // Notes a call and answers what it has to return.
    HRESULT Made(const std::string& call, const std::string& argument = "");
    // The `nth` call of this name from now (1 is the next) fails, and `times` - 1 behind it.
    void Fail(const std::string& call, HRESULT code, int times = 1, int nth = 1);
    // The calls since the last time, only those whose name begins with `prefix`, as "name" or "name(argument)".
    std::vector<std::string> Take(const std::string& prefix = "");

 private:
    struct Failure {
        HRESULT code;
        int before;
        int times;
    };
    std::vector<std::string> m_made;
    std::map<std::string, Failure> m_failures;
};

// An argument as it is noted: numbers in decimal, dates with up to six places, texts by their low bytes.
std::string Shown(LONG value);
std::string Shown(DATE value);
std::string Shown(const WCHAR* value);
inline std::string Shown(VARIANT_BOOL value) { return Shown(static_cast<LONG>(value)); }

}  // namespace kez::tests
