// ReportView.h - what one sample shows to a person, decided and ready to be drawn: plain figures, no machine behind.
//
// Modules.cpp fills it from the framework; ReportText draws it. A part that was not asked for is empty.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "HVKStatistics/processor/HVKStatisticsMemory.h"

namespace hvk::hvkstat {

/// One logical processor; percent of its own time.
struct CoreView {
    int type = 0;  ///< one of HVKStatisticsCPUCoreType
    double user = 0;
    double system = 0;
};

/// All processors; percent of all their time.
struct ProcessorsView {
    double user = 0;
    double system = 0;
    std::vector<CoreView> cores;  ///< in the framework's order; empty when the machine tells of none
};

/// A family of processes.
struct FamilyView {
    std::int32_t pid = 0;  ///< of its head
    std::string name;
    double cpu = 0;  ///< percent of one processor
};

/// The processes.
struct ProcessesView {
    std::size_t count = 0;
    std::vector<FamilyView> families;  ///< the busiest first
};

/// One sensor, in the unit of its kind.
struct SensorView {
    std::string name;
    std::int64_t type = 0;  ///< one of StatisticsSensorType
    double value = 0;
};

/// The sensors.
struct SensorsView {
    std::size_t count = 0;            ///< all of them
    std::vector<SensorView> sensors;  ///< those that a host shows by default, as far as they answer
};

/// One graphics processor, in percent.
struct GraphicsView {
    std::string name;
    double processor = 0;
    double memory = 0;
    bool hasMemory = false;  ///< whether it has video memory of its own
};

/// What passed one interface since the sample before, in bytes.
struct TrafficView {
    std::string interface;
    double download = 0;
    double upload = 0;
};

struct UptimeView {
    double boot = 0;    ///< seconds since 1970; 0 when unknown
    double uptime = 0;  ///< seconds
};

/// One sample of a machine.
struct ReportView {
    double time = 0;     ///< of the sample, seconds since 1970
    std::string model;   ///< empty when the machine does not know
    std::string system;  ///< the same
    std::optional<ProcessorsView> processors;
    std::optional<HVKStatisticsMemorySample> memory;
    std::optional<HVKStatisticsLoadSample> load;
    std::optional<ProcessesView> processes;
    std::optional<SensorsView> sensors;
    std::optional<std::vector<GraphicsView>> graphics;
    std::optional<std::vector<TrafficView>> traffic;  ///< empty too when packets cannot be captured
    std::optional<UptimeView> uptime;
};

}  // namespace hvk::hvkstat
