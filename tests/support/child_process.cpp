// Children by fork, with a pipe in each direction.
#include "tests/support/child_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace kez::tests {

void ChildProcess::Line::Tell(char byte) const {
    if (write(m_out, &byte, 1) != 1) throw std::runtime_error("the other process does not listen");
}

char ChildProcess::Line::Hear() const {
    char byte = 0;
    ssize_t got;
    do {
        got = read(m_in, &byte, 1);
    } while (got < 0 && errno == EINTR);
    return got == 1 ? byte : 0;
}

ChildProcess::ChildProcess(const std::function<int(const Line& parent)>& body) {
    int toChild[2];
    int toParent[2];
    if (pipe(toChild) != 0 || pipe(toParent) != 0) throw std::runtime_error("cannot make a pipe");
    m_pid = fork();
    if (m_pid < 0) throw std::runtime_error("cannot start a process");
    if (m_pid == 0) {
        close(toChild[1]);
        close(toParent[0]);
        int status = 255;
        try {
            status = body(Line(toChild[0], toParent[1]));
        } catch (...) {
            // The status tells it.
        }
        _exit(status);
    }
    close(toChild[0]);
    close(toParent[1]);
    m_in = toParent[0];
    m_out = toChild[1];
    m_line = Line(m_in, m_out);
}

ChildProcess::~ChildProcess() {
    if (m_pid > 0) Kill();
    close(m_in);
    close(m_out);
}

void ChildProcess::Kill() {
    kill(m_pid, SIGKILL);
    Wait();
}

int ChildProcess::Wait() {
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace kez::tests
