// Child.h - a process that a live test starts, watches and ends.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>

namespace hvk {

/// A child that works as told, says so, and waits to be ended. The constructor returns when the work is done, unless it
/// is told to go on.
class Child {
public:
    /// Whether the constructor waits for the end of the work.
    enum class Return { WhenDone, AtOnce };

    template <class Work>
    explicit Child(Work work, Return when = Return::WhenDone) {
        int ready[2];
        if (::pipe(ready) != 0) return;
        pid_ = ::fork();
        if (pid_ == 0) {
            if (when == Return::AtOnce) (void)!::write(ready[1], "x", 1);
            work();
            if (when == Return::WhenDone) (void)!::write(ready[1], "x", 1);
            for (;;) ::pause();
        }
        char byte = 0;
        ::close(ready[1]);
        (void)!::read(ready[0], &byte, 1);
        ::close(ready[0]);
    }
    ~Child() { end(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    void end() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    std::int32_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
};

}  // namespace hvk
