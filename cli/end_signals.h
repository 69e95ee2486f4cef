// The signals that ask for an end (SIGINT, SIGTERM), held back while this lives: what is under way then ends in order.
#pragma once

namespace kez::cli {

class EndSignals {
 public:
    // To be made before any thread is: those that are started later hold them back as well. Throws std::runtime_error.
    EndSignals();
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    int File() const { return m_file; }  // for poll: readable once one came
    bool Came() const;

 private:
    int m_file = -1;
};

}  // namespace kez::cli
