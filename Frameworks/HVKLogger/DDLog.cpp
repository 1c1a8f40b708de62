#include "HVKLogger/DDLog.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <mutex>

namespace hvk {

namespace {

spdlog::level::level_enum backendLevel(DDLogFlag flag) {
    switch (flag) {
        case DDLogFlag::Error: return spdlog::level::err;
        case DDLogFlag::Warning: return spdlog::level::warn;
        case DDLogFlag::Info: return spdlog::level::info;
        case DDLogFlag::Debug: return spdlog::level::debug;
    }
    return spdlog::level::info;
}

/// The sink and the level in force, behind one lock.
class LogState {
public:
    /// Never destroyed: modules of static duration may log while the process ends.
    static LogState& shared() {
        static LogState& state = *new LogState;
        return state;
    }

    void setSink(DDLog::Sink sink) {
        std::lock_guard lock(mutex_);
        sink_ = std::move(sink);
    }

    void setLevel(DDLogFlag level) {
        std::lock_guard lock(mutex_);
        level_ = level;
    }

    void write(const DDLogMessage& message) {
        std::lock_guard lock(mutex_);
        if (message.flag > level_) return;
        if (sink_) {
            sink_(message);
        } else {
            standardError_.log(backendLevel(message.flag), "{} [{} {}:{}]", message.message, message.file,
                               message.method, message.line);
        }
    }

private:
    LogState() : standardError_("hvk", std::make_shared<spdlog::sinks::stderr_sink_mt>()) {
        standardError_.set_level(spdlog::level::debug);
    }

    std::mutex mutex_;
    DDLog::Sink sink_;
    DDLogFlag level_ = DDLogFlag::Warning;
    spdlog::logger standardError_;
};

}  // namespace

void DDLog::log(DDLogFlag flag, std::string_view file, std::string_view method, int line, std::string_view message) {
    LogState::shared().write({flag, std::string(file), std::string(method), line, std::string(message)});
}

void DDLog::setSink(Sink sink) { LogState::shared().setSink(std::move(sink)); }

void DDLog::setLevel(DDLogFlag level) { LogState::shared().setLevel(level); }

}  // namespace hvk
