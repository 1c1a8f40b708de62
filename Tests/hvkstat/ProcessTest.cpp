// The program as a process: its streams, its terminal, its signals. No test waits for anything but the program itself.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "hvkstat/Stage.h"

namespace hvk::hvkstat {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int PatienceMilliseconds = 20000;

/// Everything that arrives until the other end is closed, or until `wanted` has come.
std::string readUntil(int descriptor, const std::string& wanted = {}) {
    std::string text;
    for (;;) {
        if (!wanted.empty() && text.find(wanted) != std::string::npos) return text;
        pollfd ready{descriptor, POLLIN, 0};
        if (::poll(&ready, 1, PatienceMilliseconds) <= 0) {
            ADD_FAILURE() << "nothing came after: " << text;
            return text;
        }
        std::array<char, 4096> buffer{};
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        // A terminal whose program has gone answers EIO.
        if (count <= 0) return text;
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

/// The program, started with the given streams; -1 leaves out a stream.
class Process {
public:
    Process(std::vector<std::string> arguments, int input, int output, int messages) {
        arguments.insert(arguments.begin(), HVKSTAT_PROGRAM);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        child_ = ::fork();
        if (child_ != 0) return;
        // SIGPIPE as a shell hands it on.
        ::signal(SIGPIPE, SIG_DFL);
        int stream = 0;
        for (const int descriptor : {input, output, messages}) {
            if (descriptor >= 0)
                ::dup2(descriptor, stream);
            else
                ::close(stream);
            ++stream;
        }
        ::setenv("TERM", "xterm", 1);
        ::execv(pointers[0], pointers.data());
        ::_exit(127);
    }

    ~Process() {
        if (child_ > 0) wait();
    }

    void kill(int number) const { ::kill(child_, number); }

    /// The exit code; 128 and the signal for one that a signal ended.
    int wait() {
        int status = 0;
        ::waitpid(child_, &status, 0);
        child_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t child_;
};

struct Pipe {
    std::array<int, 2> ends{};
    Pipe() { EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0); }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    int readEnd() const { return ends[0]; }
    int writeEnd() const { return ends[1]; }
    void closeRead() { close(0); }
    void closeWrite() { close(1); }

private:
    void close(std::size_t index) {
        if (ends[index] >= 0) ::close(ends[index]);
        ends[index] = -1;
    }
};

class HvkstatProcess : public testing::Test {
protected:
    TemporaryFile machine{sixSeconds().dump()};

    std::vector<std::string> on(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--machine", machine.path()});
        return arguments;
    }
};

TEST_F(HvkstatProcess, FullDiskIsAFailureAndSaysSo) {
    for (const auto& arguments : {on({"report"}),
                                  on({"report", "--json", "--count", "1000"}),
                                  on({"doctor"}),
                                  on({"history", "cpu", "--start", "-5"}),
                                  {"--help"}}) {
        Pipe messages;
        const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
        ASSERT_GE(full, 0);
        Process process(arguments, full, full, messages.writeEnd());
        messages.closeWrite();
        EXPECT_EQ(readUntil(messages.readEnd()), "hvkstat: cannot write the output: No space left on device\n");
        EXPECT_EQ(process.wait(), 1);
        ::close(full);
    }
    Pipe messages;
    Process closed(on({"report"}), -1, -1, messages.writeEnd());
    messages.closeWrite();
    EXPECT_THAT(readUntil(messages.readEnd()), StartsWith("hvkstat: cannot write the output: "));
    EXPECT_EQ(closed.wait(), 1);
}

TEST_F(HvkstatProcess, ReaderThatLeavesEndsItQuietly) {
    Pipe output;
    Pipe messages;
    output.closeRead();
    Process process(on({"report", "--count", "1000000000"}), -1, output.writeEnd(), messages.writeEnd());
    messages.closeWrite();
    EXPECT_EQ(readUntil(messages.readEnd()), "");
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(HvkstatProcess, PipedWithoutACommandItIsOneReport) {
    Pipe output;
    Process process(on({}), -1, output.writeEnd(), STDERR_FILENO);
    output.closeWrite();
    const std::string text = readUntil(output.readEnd());
    EXPECT_THAT(text, HasSubstr("Example,1"));
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(process.wait(), 0);
}

/// A terminal of the test's own.
struct Terminal {
    int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int slave = -1;
    Terminal() {
        EXPECT_EQ(::grantpt(master), 0);
        EXPECT_EQ(::unlockpt(master), 0);
        slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(slave, 0);
    }
    ~Terminal() {
        closeSlave();
        ::close(master);
    }
    void closeSlave() {
        if (slave >= 0) ::close(slave);
        slave = -1;
    }
};

TEST_F(HvkstatProcess, LiveViewGivesTheTerminalBack) {
    const std::string leave = "\x1b[?7h\x1b[?25h\x1b[?1049l";
    struct Case {
        const char* key;
        int signal;
    };
    for (const Case& ending : {Case{"q", 0}, Case{"", SIGTERM}, Case{"", SIGINT}, Case{"", SIGABRT}}) {
        Terminal terminal;
        // An hour between samples: only the key or the signal can end it in time.
        Process process(on({"--interval", "3600"}), terminal.slave, terminal.slave, terminal.slave);
        terminal.closeSlave();
        const std::string shown = readUntil(terminal.master, "q quits");
        EXPECT_THAT(shown, StartsWith("\x1b[?1049h"));
        EXPECT_THAT(shown, HasSubstr("Example,1"));
        if (ending.signal != 0)
            process.kill(ending.signal);
        else
            EXPECT_EQ(::write(terminal.master, ending.key, 1), 1);
        EXPECT_THAT(readUntil(terminal.master), EndsWith(leave));
        EXPECT_EQ(process.wait(), ending.signal == SIGABRT ? 128 + SIGABRT : 0);
    }
}

}  // namespace
}  // namespace hvk::hvkstat
