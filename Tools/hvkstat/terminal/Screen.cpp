#include "hvkstat/terminal/Screen.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string_view>

namespace hvk::hvkstat {

namespace {

// Without line wrap meanwhile: a line that is too long for the screen is cut off by it.
constexpr std::string_view Enter = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[H\x1b[2J";
constexpr std::string_view Leave = "\x1b[?7h\x1b[?25h\x1b[?1049l";

constexpr std::array EndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::array CrashSignals = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL};

// What signal handlers reach. Set while a screen is up.
std::atomic<int> wakeDescriptor{-1};
static_assert(std::atomic<int>::is_always_lock_free);
termios savedTerminal;
std::array<struct sigaction, EndingSignals.size()> savedEnding;
std::array<struct sigaction, CrashSignals.size()> savedCrash;

/// Gives the terminal back; only calls that a signal handler may make.
void restoreTerminal() {
    std::string_view rest = Leave;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (written <= 0) break;
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    (void)::tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
}

void onEndingSignal(int) {
    const int savedError = errno;
    const char byte = 'e';
    (void)!::write(wakeDescriptor.load(), &byte, 1);
    errno = savedError;
}

/// Restores the terminal, then lets the signal do what it does.
void onCrash(int number) {
    restoreTerminal();
    (void)::signal(number, SIG_DFL);
    (void)::raise(number);
}

void setHandler(int number, void (*handler)(int), struct sigaction& saved) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    (void)::sigaction(number, &action, &saved);
}

void installHandlers() {
    for (std::size_t index = 0; index < EndingSignals.size(); ++index)
        setHandler(EndingSignals[index], onEndingSignal, savedEnding[index]);
    for (std::size_t index = 0; index < CrashSignals.size(); ++index)
        setHandler(CrashSignals[index], onCrash, savedCrash[index]);
}

void removeHandlers() {
    for (std::size_t index = 0; index < EndingSignals.size(); ++index)
        (void)::sigaction(EndingSignals[index], &savedEnding[index], nullptr);
    for (std::size_t index = 0; index < CrashSignals.size(); ++index)
        (void)::sigaction(CrashSignals[index], &savedCrash[index], nullptr);
}

/// Keys arrive at once and unseen; Ctrl-Z, which would leave the screen behind, is off.
termios keyByKey(const termios& terminal) {
    termios changed = terminal;
    changed.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    changed.c_cc[VMIN] = 1;
    changed.c_cc[VTIME] = 0;
    changed.c_cc[VSUSP] = _POSIX_VDISABLE;
    return changed;
}

}  // namespace

Screen::Screen(Output& output, std::function<void()> wake) : wake_(std::move(wake)) {
    std::array<int, 2> ends{};
    if (::tcgetattr(STDIN_FILENO, &savedTerminal) != 0 || ::pipe(ends.data()) != 0) return;
    readEnd_ = ends[0];
    writeEnd_ = ends[1];
    for (const int end : ends) (void)::fcntl(end, F_SETFD, FD_CLOEXEC);
    wakeDescriptor = writeEnd_;
    installHandlers();
    const termios changed = keyByKey(savedTerminal);
    works_ = ::tcsetattr(STDIN_FILENO, TCSANOW, &changed) == 0;
    if (!works_) {
        removeHandlers();
        return;
    }
    output.write(Enter);
    watcher_ = std::thread([this] { watch(); });
}

Screen::~Screen() {
    if (works_) {
        const char byte = 'x';
        (void)!::write(writeEnd_, &byte, 1);
        watcher_.join();
        restoreTerminal();
        removeHandlers();
    }
    wakeDescriptor = -1;
    for (const int end : {readEnd_, writeEnd_})
        if (end >= 0) ::close(end);
}

bool Screen::ended() {
    std::lock_guard lock(mutex_);
    return ended_;
}

void Screen::rest(double seconds) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return ended_; });
}

ScreenSize Screen::size() const {
    winsize window{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) != 0 || window.ws_row == 0 || window.ws_col == 0) return {};
    return {window.ws_row, window.ws_col};
}

void Screen::watch() {
    // select, since not every system can poll a terminal.
    for (;;) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(STDIN_FILENO, &readable);
        FD_SET(readEnd_, &readable);
        if (::select(readEnd_ + 1, &readable, nullptr, nullptr, nullptr) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (FD_ISSET(readEnd_, &readable)) break;
        char key = 0;
        const ssize_t count = ::read(STDIN_FILENO, &key, 1);
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (count <= 0 || key == 'q' || key == 'Q') break;
    }
    {
        std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    wake_();
}

}  // namespace hvk::hvkstat
