#include "HVKPlatform/linux/events/BusSource.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace hvk {

namespace {

using namespace std::chrono_literals;

constexpr const char* Source = "system bus";
constexpr const char* LoginManager = "org.freedesktop.login1";
constexpr auto RetryAfter = 30s;
constexpr auto CallPatience = 2s;
constexpr const char* SleepMatch =
    "type='signal',sender='org.freedesktop.login1',interface='org.freedesktop.login1.Manager',"
    "member='PrepareForSleep'";
constexpr const char* BluetoothMatch =
    "type='signal',sender='org.bluez',interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',"
    "arg0='org.bluez.Device1'";

Failure failureOf(const sdbus::Error& error, const char* source) {
    const std::string& name = error.getName();
    FailureKind kind = FailureKind::Absent;
    if (name.ends_with(".AccessDenied") || name.ends_with(".AuthFailed")) kind = FailureKind::Denied;
    if (name.ends_with(".Timeout") || name.ends_with(".NoReply")) kind = FailureKind::TimedOut;
    return {kind, source, error.getMessage().empty() ? name : error.getMessage()};
}

}  // namespace

std::pair<std::shared_ptr<BusSource>, Status> BusSource::open(Healths healths, Takes takes) {
    std::shared_ptr<BusSource> source(new BusSource(healths, std::move(takes)));
    Status status = source->connect();
    if (!status) source->retry_ = Clock::now() + RetryAfter;
    return {std::move(source), std::move(status)};
}

Status BusSource::connect() {
    try {
        connection_ = sdbus::createSystemBusConnection();
        connection_->addMatch(
            SleepMatch, [this](sdbus::Message& message) { hearSleep(message); }, sdbus::floating_slot);
        connection_->addMatch(
            BluetoothMatch, [this](sdbus::Message& message) { hearProperties(message); }, sdbus::floating_slot);
    } catch (const sdbus::Error& error) {
        connection_.reset();
        return healths_.bus.failed(failureOf(error, Source));
    }
    healths_.bus.works();
    return {};
}

void BusSource::disconnect(const sdbus::Error& error, Clock::time_point now) {
    (void)healths_.bus.failed(failureOf(error, Source));
    lock_.reset();
    connection_.reset();
    retry_ = now + RetryAfter;
}

void BusSource::appendTo(std::vector<pollfd>& waited) const {
    pollfd one{-1, 0, 0};
    if (connection_) {
        try {
            const auto wanted = connection_->getEventLoopPollData();
            one = {wanted.fd, wanted.events, 0};
        } catch (const sdbus::Error&) {
            // The next turn finds out why.
        }
    }
    waited.push_back(one);
}

std::optional<EventSource::Clock::time_point> BusSource::due() const {
    if (!connection_) return retry_;
    try {
        // What a call brought besides its answer waits inside the connection, where no descriptor speaks of it.
        const int milliseconds = connection_->getEventLoopPollData().getPollTimeout();
        if (milliseconds >= 0) return Clock::now() + std::chrono::milliseconds(milliseconds);
    } catch (const sdbus::Error&) {
        return Clock::now();
    }
    return std::nullopt;
}

void BusSource::turn(const pollfd*, Clock::time_point now) {
    if (!connection_) {
        if (!retry_ || *retry_ > now) return;
        retry_.reset();
        if (!connect())
            retry_ = now + RetryAfter;
        else if (holds_)
            holdSleep();
        return;
    }
    try {
        // So many at a turn, so that the other sources have theirs.
        for (int count = 0; count < 256 && connection_->processPendingRequest(); ++count) {
        }
    } catch (const sdbus::Error& error) {
        disconnect(error, now);
    }
}

void BusSource::holdSleep() {
    holds_ = true;
    if (!connection_ || lock_) return;
    try {
        auto manager = sdbus::createProxy(*connection_, LoginManager, "/org/freedesktop/login1");
        sdbus::UnixFd lock;
        manager->callMethod("Inhibit")
            .onInterface("org.freedesktop.login1.Manager")
            .withTimeout(CallPatience)
            .withArguments(std::string("sleep"), std::string("HVKStatisticsKit"), std::string("takes a last reading"),
                           std::string("delay"))
            .storeResultsTo(lock);
        lock_ = std::move(lock);
        healths_.lock.works();
    } catch (const sdbus::Error& error) {
        (void)healths_.lock.failed(failureOf(error, LoginManager));
    }
}

void BusSource::hearSleep(sdbus::Message& message) {
    bool sleeps = false;
    try {
        message >> sleeps;
    } catch (const sdbus::Error& error) {
        (void)healths_.bus.failed({FailureKind::Malformed, LoginManager, error.getMessage()});
        return;
    }
    if (!sleeps && holds_) holdSleep();
    if (takes_.sleep) takes_.sleep(sleeps);
}

void BusSource::hearProperties(sdbus::Message& message) {
    std::string interface;
    std::map<std::string, sdbus::Variant> changed;
    try {
        message >> interface >> changed;
        const auto connected = changed.find("Connected");
        if (connected != changed.end() && connected->second.get<bool>() && takes_.connected) takes_.connected();
    } catch (const sdbus::Error& error) {
        (void)healths_.bus.failed({FailureKind::Malformed, "org.bluez", error.getMessage()});
    }
}

}  // namespace hvk
