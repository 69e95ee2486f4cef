// Memory that is given up on purpose: what is allocated while one of these lives is no finding of the leak
// checker's.
#pragma once

extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace kez::tests {

class MeantLeak {
 public:
    MeantLeak() {
        if (__lsan_disable != nullptr) __lsan_disable();
    }
    ~MeantLeak() {
        if (__lsan_enable != nullptr) __lsan_enable();
    }
    MeantLeak(const MeantLeak&) = delete;
    MeantLeak& operator=(const MeantLeak&) = delete;
};

}  // namespace kez::tests
