// WindowServer.h - whether the window server still gets answers from an application.
//
// The functions are looked up at the first question: the graphical frameworks are opened only by a program that asks,
// and not every system has them all. Thread: one at a time.
#pragma once

#include <MacTypes.h>

#include <cstdint>

#include "HVKPlatform/Result.h"

namespace hvk {

/// This process's connection to the window server.
class WindowServer {
public:
    /// Whether the application does not answer. Absent when the process is no application or this one has no
    /// connection (it runs outside a graphical session), Unsupported when this system lacks the functions.
    Result<bool> isUnresponsive(std::int32_t pid);

private:
    using FindSerialNumber = OSStatus (*)(pid_t, ProcessSerialNumber*);
    using Connection = int (*)();
    using IsUnresponsive = bool (*)(int connection, const ProcessSerialNumber*);

    void lookUp();

    bool lookedUp_ = false;
    FindSerialNumber findSerialNumber_ = nullptr;
    Connection connection_ = nullptr;
    IsUnresponsive isUnresponsive_ = nullptr;
};

}  // namespace hvk
