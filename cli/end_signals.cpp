#include "cli/end_signals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace kez::cli {

EndSignals::EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    m_file = signalfd(-1, &signals, SFD_CLOEXEC);
    if (m_file < 0) throw std::runtime_error("this system cannot wait for signals");
}

// They stay held back: one that came is answered, and would end the process once more.
EndSignals::~EndSignals() { close(m_file); }

bool EndSignals::Came() const {
    pollfd file{m_file, POLLIN, 0};
    return poll(&file, 1, 0) > 0;
}

}  // namespace kez::cli
