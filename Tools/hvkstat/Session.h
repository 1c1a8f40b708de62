// Session.h - one run over one machine: the machine, the framework on it, and the passes of the chosen modules.
//
// It owns which machine is opened, when a module is updated, and what each pass cost. All figures come from the
// framework, all times from the machine's clock; what they look like is decided elsewhere.
//
//     auto session = Session::open(options);
//     (*session)->wait(1);
//     const double time = (*session)->sample();
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "HVKPlatform/Machine.h"
#include "HVKStatistics/HVKStatisticsFramework.h"
#include "hvkstat/Modules.h"
#include "hvkstat/Options.h"

namespace hvk {
class RecordedMachine;
}

namespace hvk::hvkstat {

/// What one update of one module cost, the cost of asking included.
struct PassCost {
    const ModuleEntry* module = nullptr;
    Result<double> processorSeconds = unsupported("thread processor time");
    Result<std::uint64_t> systemCalls = unsupported("system call count");
};

/// A machine being measured. Thread: the one that made it.
class Session {
public:
    /// Opens the machine that the options name and makes the framework, which takes the first reading. Fails with the
    /// reason when there is no such machine.
    static Result<std::unique_ptr<Session>> open(const Options& options);

    /// Measures `machine` with the named modules (all when none is named; unknown names are left out). `recorded` is
    /// the same machine when its time is not the real one.
    Session(std::unique_ptr<Machine> machine, const std::vector<std::string>& modules,
            RecordedMachine* recorded = nullptr);

    Machine& machine() { return *machine_; }
    HVKStatisticsFramework& framework() { return *framework_; }
    const std::vector<const ModuleEntry*>& modules() const { return modules_; }

    /// The machine when it is a recorded one, else null.
    RecordedMachine* recorded() { return recorded_; }

    /// Lets the machine's main queue run for so many of the machine's seconds.
    void wait(double seconds);

    /// Updates every module once and returns the time that they were given.
    double sample();

    /// The cost of each module's last update, in the order of `modules`; empty before the first.
    const std::vector<PassCost>& lastPass() const { return lastPass_; }

    /// The last sample for a person.
    ReportView view(double time);

    /// The last sample for a program: "time", and each module's figures under its name.
    Value stats(double time);

private:
    PassCost update(const ModuleEntry& module, double time);

    std::unique_ptr<Machine> machine_;
    RecordedMachine* recorded_;
    std::vector<const ModuleEntry*> modules_;
    std::unique_ptr<HVKStatisticsFramework> framework_;
    std::string model_;
    std::string system_;
    std::vector<PassCost> lastPass_;
    std::optional<std::uint64_t> sensorRevision_;  ///< which sensors are known, where they come and go
};

}  // namespace hvk::hvkstat
