// ProcessTable.h - the processes of a recorded machine.
#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/ProcessTable.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// One process as the recording describes it.
struct RecordedProcess {
    Result<ProcessInformation> information = undescribed("processes: information");
    ProcessUsage usage;
    Result<std::uint64_t> footprint = undescribed("processes: footprint");
    Result<std::int32_t> responsible = undescribed("processes: responsible");
    Result<std::vector<std::string>> arguments = undescribed("processes: arguments");
    Result<std::string> displayName = undescribed("processes: displayName");
    Result<std::string> applicationType = undescribed("processes: applicationType");
    Result<bool> isUnresponsive = undescribed("processes: isUnresponsive");
};

/// The processes by pid. A frame that changes some makes a new table; the others share it.
using RecordedProcesses = std::map<std::int32_t, RecordedProcess>;

/// What the port answers.
struct ProcessTableAnswers {
    Result<std::int64_t> timebaseFrequency = undescribed("processes.timebaseFrequency");
    Result<std::shared_ptr<const RecordedProcesses>> table = undescribed("processes.table");
};

/// Reads a section "processes": "table" lists all of them anew, "changes" patches some by pid (null: it ended). What a
/// patch does not name stays. Throws RecordingFault.
void readProcessTable(const RecordingField& section, ProcessTableAnswers& answers);

/// The port.
class HVK_EXPORT RecordedProcessTable : public RecordedPort<ProcessTablePort, ProcessTableAnswers> {
public:
    explicit RecordedProcessTable(Diagnostics& diagnostics);
    Result<std::int64_t> timebaseFrequency() override;
    Status pids(std::vector<std::int32_t>& pids) override;
    Result<ProcessInformation> information(std::int32_t pid) override;
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override;
    Result<std::uint64_t> footprint(std::int32_t pid) override;
    Result<std::int32_t> responsible(std::int32_t pid) override;
    Result<std::vector<std::string>> arguments(std::int32_t pid) override;
    Result<std::string> displayName(std::int32_t pid, const std::string& path) override;
    Result<std::string> applicationType(std::int32_t pid) override;
    Result<bool> isUnresponsive(std::int32_t pid) override;

private:
    /// The table in force, null when the recording answers a failure instead.
    std::shared_ptr<const RecordedProcesses> table() const;
    template <class T>
    Result<T> ask(std::int32_t pid, Result<T> RecordedProcess::*member) const;

    SourceHealth& timebase_;
    SourceHealth& table_;
};

}  // namespace hvk
