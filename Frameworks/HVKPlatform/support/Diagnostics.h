// Diagnostics.h - what `hvkstat doctor` knows of the sources a machine is read from.
//
// An adapter registers each source once and notes every reading's outcome; noting a success after a success costs one
// uncontended lock and no allocation. It owns no policy: who failed, why, how often, and what would mend it.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// The state of one source at one moment.
struct SourceReport {
    std::string source;   ///< what is read: "/proc/stat", "host_processor_info"
    std::string purpose;  ///< what for: "processor ticks"
    std::string mend;     ///< what a person can do when it fails; empty when nothing helps
    std::uint64_t readings = 0;
    std::uint64_t failures = 0;
    std::optional<Failure> failure;      ///< why the last reading failed; empty when it worked or never happened
    std::optional<Failure> lastFailure;  ///< the most recent failure, kept after the source works again
    std::string note;                    ///< something worth knowing although the source works; empty as a rule
};

/// One registered source. Thread: any.
class HVK_EXPORT SourceHealth {
public:
    SourceHealth(std::string source, std::string purpose, std::string mend);

    /// Notes that a reading worked.
    void works();

    /// Notes that a reading failed and hands the failure back, for `return health.failed(...)`.
    Failure failed(Failure failure);

    /// Sets what is worth knowing although the source works.
    void note(std::string text);

    /// What has been noted so far; all zero and without a failure before the first reading.
    SourceReport report() const;

private:
    mutable std::mutex mutex_;
    SourceReport report_;
};

/// The sources of a machine, in the order in which they were registered. Thread: any.
class HVK_EXPORT Diagnostics {
public:
    /// Registers a source; the reference stays valid for the life of this object.
    SourceHealth& source(std::string source, std::string purpose, std::string mend = {});

    /// The state of every source.
    std::vector<SourceReport> reports() const;

private:
    mutable std::mutex mutex_;
    std::deque<SourceHealth> sources_;
};

}  // namespace hvk
