// NVML.h - the vendor's management library of one family of graphics processors, opened at run time.
//
// The library is opened at the first question and stays open: closing it puts a driver that nobody else uses to sleep
// and costs a second at the next question. A machine without it answers Absent. It does not look whether the device
// sleeps; who asks has to.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "HVKPlatform/Result.h"

namespace hvk {

/// The figures of one device; what it does not tell is negative.
struct NVMLFigures {
    std::string name;           ///< "GeForce RTX 3060"
    double utilization = -1;    ///< percent of the last sample period in which a kernel ran
    double memoryTotal = -1;    ///< bytes
    double memoryUsed = -1;     ///< bytes
    double memoryFree = -1;     ///< bytes
    double coreClock = -1;      ///< MHz
    double memoryClock = -1;    ///< MHz
    double fanPercentage = -1;  ///< percent of the highest speed
    double power = -1;          ///< watts
    double temperature = -1;    ///< degrees Celsius
};

/// The library. Thread: any, one question at a time.
class NVML {
public:
    /// `library` is what the dynamic linker is asked for. Opens nothing yet.
    explicit NVML(std::string library = "libnvidia-ml.so.1");
    NVML(const NVML&) = delete;
    NVML& operator=(const NVML&) = delete;
    /// Leaves the library open, as its threads may still run while the process ends.
    ~NVML() = default;

    /// The figures of the device at a PCI address, "0000:01:00.0". Absent without library or device, Denied when this
    /// process may not ask, Gone when the device fell off its bus, Malformed for a library without the functions.
    Result<NVMLFigures> figures(const std::string& address);

private:
    struct Functions;

    Status open();
    Failure failure(int code, const std::string& what) const;

    std::string library_;
    std::mutex mutex_;
    bool opened_ = false;
    std::optional<Failure> closed_;  ///< why the library cannot be used
    std::shared_ptr<const Functions> functions_;
};

}  // namespace hvk
