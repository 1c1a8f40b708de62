// The process around the program: its streams, its terminal and its environment.

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "hvkstat/Program.h"

namespace {

/// Gives a standard stream that the caller had closed a descriptor, before another file gets its number: a write to it
/// fails as it should.
void occupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) < 0) (void)::open("/dev/null", O_RDONLY);
}

std::size_t terminalWidth() {
    winsize window{};
    constexpr std::size_t Usual = 80;
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col != 0 ? window.ws_col : Usual;
}

}  // namespace

int main(int count, char** arguments) {
    using namespace hvk::hvkstat;
    occupyStandardStreams();
    // A reader that went away is an error of write, and no signal.
    (void)::signal(SIGPIPE, SIG_IGN);

    Output output = Output::toDescriptor(STDOUT_FILENO);
    Output messages = Output::toDescriptor(STDERR_FILENO);
    const bool outputIsTerminal = ::isatty(STDOUT_FILENO) == 1;
    Host host{output, messages};
    host.terminal = outputIsTerminal && ::isatty(STDIN_FILENO) == 1;
    host.colours = outputIsTerminal && coloursWanted(std::getenv("NO_COLOR"), std::getenv("TERM"));
    if (outputIsTerminal) host.width = terminalWidth();
    return runProgram({arguments + 1, arguments + count}, host);
}
