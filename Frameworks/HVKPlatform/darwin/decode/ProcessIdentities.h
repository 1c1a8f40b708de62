// ProcessIdentities.h - remembers the identity of each process between two readings of the table.
//
// proc_pid_rusage tells when a process started in ticks, proc_pidinfo in calendar time; the kernel sets both together.
// The ticks come with every reading and so tell, at no cost, whether a pid is still the process whose identity was
// asked before. It owns no call. Thread: the owner's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace hvk::decode {

/// Identities by pid, as of the last pass. What a pass does not ask for is forgotten. A steady pass allocates nothing.
class ProcessIdentities {
public:
    /// Begins a pass, which asks for pids in ascending order; a pid out of order is merely not known.
    void beginPass();

    /// The identity of the process that has this pid and started at `startTicks`; 0 when it is not known. Keeps it for
    /// the next pass.
    std::uint64_t find(std::int32_t pid, std::uint64_t startTicks);

    /// Keeps the identity of a process that was not known for the next pass.
    void remember(std::int32_t pid, std::uint64_t startTicks, std::uint64_t identity);

    /// Ends the pass: what it kept is what the next one knows.
    void endPass();

private:
    struct Entry {
        std::int32_t pid;
        std::uint64_t startTicks;
        std::uint64_t identity;
    };

    std::vector<Entry> known_;
    std::vector<Entry> kept_;
    std::size_t position_ = 0;
};

}  // namespace hvk::decode
