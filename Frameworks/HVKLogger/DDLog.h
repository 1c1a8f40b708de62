// DDLog.h - the log of the framework: one line an event, with a flag, the source file, the method and the line.
//
// Messages begin with their area ("Statistics: Disks changed"). Lines go to standard error by default; a host hands its
// own sink to `setSink`. Logging never fails and never throws; any thread may log.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "HVKBase/Export.h"

namespace hvk {

/// How much a line matters. The informational flag is for events, the error flag for dropped requests.
enum class DDLogFlag { Error, Warning, Info, Debug };

/// One line of the log.
struct DDLogMessage {
    DDLogFlag flag = DDLogFlag::Info;
    std::string file;    ///< e.g. "Frameworks/HVKStatistics/HVKStatisticsHardwareNotifier"
    std::string method;  ///< e.g. "disksChanged:"
    int line = 0;
    std::string message;
};

/// The log.
class HVK_EXPORT DDLog {
public:
    using Sink = std::function<void(const DDLogMessage&)>;

    /// Writes one line to the sink in force when its flag is at or above the level in force.
    static void log(DDLogFlag flag, std::string_view file, std::string_view method, int line, std::string_view message);

    /// Replaces where lines go; an empty function brings back standard error. Not to be called from a sink.
    static void setSink(Sink sink);

    /// The least important flag that is written; `Warning` at first, so that a quiet host stays quiet.
    static void setLevel(DDLogFlag level);
};

}  // namespace hvk

/// Logs at the informational level from where it stands.
#define HVKLogInfo(message) ::hvk::DDLog::log(::hvk::DDLogFlag::Info, __FILE__, __func__, __LINE__, (message))
/// Logs at the error level from where it stands.
#define HVKLogError(message) ::hvk::DDLog::log(::hvk::DDLogFlag::Error, __FILE__, __func__, __LINE__, (message))
