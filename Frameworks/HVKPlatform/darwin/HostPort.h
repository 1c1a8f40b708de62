// HostPort.h - the Mach port of this host: obtained once for a machine, given back with it.
#pragma once

#include <mach/mach.h>

namespace hvk {

/// One send right to the host.
class HostPort {
public:
    HostPort() : port_(mach_host_self()) {}
    ~HostPort() { mach_port_deallocate(mach_task_self(), port_); }
    HostPort(const HostPort&) = delete;
    HostPort& operator=(const HostPort&) = delete;

    mach_port_t get() const { return port_; }

private:
    mach_port_t port_;
};

}  // namespace hvk
