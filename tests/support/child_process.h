// Other processes, for tests of what several processes share.
//
// A child is a copy of this process. File locks that this process holds are the child's as well, so start a child
// before opening what is to be shared, and let it open its own.
#pragma once

#include <sys/types.h>

#include <functional>

namespace kez::tests {

class ChildProcess {
 public:
    // What a child can say and hear: one byte at a time.
    class Line {
     public:
        Line(int in, int out) : m_in(in), m_out(out) {}
        void Tell(char byte) const;
        char Hear() const;  // waits; 0 where the other side has ended

     private:
        int m_in;
        int m_out;
    };

    // Runs `body` in a child, whose exit status is what it returns (0 to 255); a child does no clean-up at its end.
    explicit ChildProcess(const std::function<int(const Line& parent)>& body);

    // Kills a child that still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    const Line& Talk() const { return m_line; }
    void Kill();
    int Wait();  // the exit status; -1 after a kill

 private:
    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    Line m_line{-1, -1};
};

}  // namespace kez::tests
