// Screen.h - a screen of one's own on the terminal, and the keys and signals that end it.
//
// It owns the terminal's state: whatever ends the program, short of SIGKILL, gives the terminal back as it was found.
// It draws nothing.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>

#include "hvkstat/Output.h"

namespace hvk::hvkstat {

struct ScreenSize {
    std::size_t rows = 24;
    std::size_t columns = 80;
};

/// The alternate screen, from construction to destruction. There can be one at a time. Thread: the one that made it.
class Screen {
public:
    /// Takes over the terminal at standard input and `output`. `wake` is called once, from another thread, when q, an
    /// end of the input or a signal (SIGINT, SIGTERM, SIGHUP, SIGQUIT) ends the screen.
    Screen(Output& output, std::function<void()> wake);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Whether the terminal could be taken over.
    bool works() const { return works_; }

    /// Whether somebody asked for the end.
    bool ended();

    /// Waits so many real seconds, or until the end is asked for.
    void rest(double seconds);

    /// The terminal's size now; 24 by 80 when it does not tell.
    ScreenSize size() const;

private:
    void watch();

    std::function<void()> wake_;
    bool works_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false;
    int readEnd_ = -1;
    int writeEnd_ = -1;
    std::thread watcher_;
};

}  // namespace hvk::hvkstat
