// Sleep and Bluetooth on a message bus of the test's own, with a login manager that the test plays.

#include "HVKPlatform/linux/events/BusSource.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace hvk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A bus that the process takes for the system's.
class OwnBus {
public:
    OwnBus() {
        // A bus's address takes no blanks.
        char name[] = "/tmp/hvk-bus-XXXXXX";
        if (::mkdtemp(name) == nullptr) return;
        directory_ = name;
        std::ofstream(directory_ + "/bus.conf")
            << "<busconfig><type>system</type><listen>unix:path=" << socket()
            << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
               "<allow receive_sender=\"*\"/><allow own=\"*\"/><allow user=\"*\"/></policy></busconfig>";
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + socket()).c_str(), 1);
        start();
    }
    ~OwnBus() {
        stop();
        std::filesystem::remove_all(directory_);
    }

    /// Whether there is a bus.
    bool works() const { return works_; }

    void start() {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0) return;
        const std::string configuration = "--config-file=" + directory_ + "/bus.conf";
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(ready[1], 3);
            ::execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--nopidfile",
                     "--print-address=3", nullptr);
            ::_exit(1);
        }
        ::close(ready[1]);
        char address[256];
        works_ = ::read(ready[0], address, sizeof address) > 0;
        ::close(ready[0]);
    }

    void stop() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    std::string socket() const { return directory_ + "/bus"; }

    std::string directory_;
    pid_t pid_ = -1;
    bool works_ = false;
};

/// Plays the login manager and the Bluetooth daemon.
class OtherPrograms {
public:
    OtherPrograms() : connection_(sdbus::createSystemBusConnection("org.freedesktop.login1")) {
        bluetooth_ = sdbus::createSystemBusConnection("org.bluez");
        manager_ = sdbus::createObject(*connection_, "/org/freedesktop/login1");
        manager_->registerMethod("Inhibit").onInterface(Manager).implementedAs(
            [this](const std::string& what, const std::string&, const std::string&, const std::string& mode) {
                EXPECT_EQ(what + " " + mode, "sleep delay");
                int ends[2];
                EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
                locks_.push_back(ends[0]);
                return sdbus::UnixFd(ends[1], sdbus::adopt_fd);
            });
        manager_->registerSignal("PrepareForSleep").onInterface(Manager).withParameters<bool>();
        manager_->finishRegistration();
        device_ = sdbus::createObject(*bluetooth_, "/org/bluez/hci0/dev_1");
        connection_->enterEventLoopAsync();
    }
    ~OtherPrograms() {
        connection_->leaveEventLoop();
        for (const int lock : locks_) ::close(lock);
    }

    void sleep(bool sleeps) { manager_->emitSignal("PrepareForSleep").onInterface(Manager).withArguments(sleeps); }

    void bluetooth(const char* interface, const char* property, bool value) {
        const std::map<std::string, sdbus::Variant> changed = {{property, sdbus::Variant(value)}};
        device_->emitSignal("PropertiesChanged")
            .onInterface("org.freedesktop.DBus.Properties")
            .withArguments(std::string(interface), changed, std::vector<std::string>());
    }

    std::size_t lockCount() const { return locks_.size(); }

    /// Whether the holder of the last lock has given it back.
    bool isFree() const {
        char byte = 0;
        ::fcntl(locks_.back(), F_SETFL, O_NONBLOCK);
        return ::read(locks_.back(), &byte, 1) == 0;
    }

private:
    static constexpr const char* Manager = "org.freedesktop.login1.Manager";
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IConnection> bluetooth_;
    std::unique_ptr<sdbus::IObject> manager_;
    std::unique_ptr<sdbus::IObject> device_;
    std::vector<int> locks_;
};

class BusSources : public testing::Test {
protected:
    std::pair<std::shared_ptr<BusSource>, Status> open() {
        return BusSource::open({diagnostics_.source("bus", "test"), diagnostics_.source("lock", "test")},
                               {[this](bool sleeps) { notes_.push_back(sleeps ? "sleeps" : "wakes"); },
                                [this] { notes_.emplace_back("connected"); }});
    }

    /// Gives the source its turns until it tells something.
    std::vector<std::string> told(BusSource& source) {
        for (int turn = 0; turn < 50 && notes_.empty(); ++turn) {
            std::vector<pollfd> waited;
            source.appendTo(waited);
            ::poll(waited.data(), waited.size(), 100);
            source.turn(waited.data(), EventSource::Clock::now());
        }
        return std::exchange(notes_, {});
    }

    Diagnostics diagnostics_;
    std::vector<std::string> notes_;
};

TEST_F(BusSources, SleepIsHeldUntilItIsAllowed) {
    OwnBus bus;
    ASSERT_TRUE(bus.works()) << "dbus-daemon does not start";
    OtherPrograms others;
    const auto [source, status] = open();
    ASSERT_TRUE(status) << status.failure().detail;
    EXPECT_EQ(others.lockCount(), 0U) << "nobody watches sleep yet";
    source->holdSleep();
    source->holdSleep();
    ASSERT_EQ(others.lockCount(), 1U);
    others.sleep(true);
    EXPECT_THAT(told(*source), ElementsAre("sleeps"));
    EXPECT_FALSE(others.isFree());
    source->letSleep();
    EXPECT_TRUE(others.isFree());
    others.sleep(false);
    EXPECT_THAT(told(*source), ElementsAre("wakes"));
    EXPECT_EQ(others.lockCount(), 2U) << "the next sleep is held too";
    EXPECT_TRUE(source->holdsSleep());
}

TEST_F(BusSources, OnlyABluetoothDeviceThatConnectsIsTold) {
    OwnBus bus;
    ASSERT_TRUE(bus.works()) << "dbus-daemon does not start";
    OtherPrograms others;
    const auto [source, status] = open();
    ASSERT_TRUE(status) << status.failure().detail;
    others.bluetooth("org.bluez.Device1", "Connected", false);
    others.bluetooth("org.bluez.Device1", "Trusted", true);
    others.bluetooth("org.bluez.Adapter1", "Connected", true);
    others.bluetooth("org.bluez.Device1", "Connected", true);
    EXPECT_THAT(told(*source), ElementsAre("connected"));
}

TEST_F(BusSources, ABusThatGoesIsLookedForAgain) {
    OwnBus bus;
    ASSERT_TRUE(bus.works()) << "dbus-daemon does not start";
    const auto [source, status] = open();
    ASSERT_TRUE(status);
    source->holdSleep();
    EXPECT_EQ(diagnostics_.reports()[1].failure->source, "org.freedesktop.login1") << "there is no login manager";
    bus.stop();
    std::vector<pollfd> waited;
    source->appendTo(waited);
    ASSERT_EQ(::poll(waited.data(), 1, 5000), 1);
    auto now = EventSource::Clock::now();
    source->turn(waited.data(), now);
    ASSERT_TRUE(diagnostics_.reports()[0].failure) << "the loss is noticed";
    bus.start();
    OtherPrograms others;
    source->turn(waited.data(), now += std::chrono::seconds(29));
    EXPECT_FALSE(source->holdsSleep()) << "too soon";
    source->turn(waited.data(), now += std::chrono::seconds(2));
    EXPECT_TRUE(source->holdsSleep());
    EXPECT_FALSE(diagnostics_.reports()[0].failure);
}

TEST_F(BusSources, WithoutABusTheReasonIsGiven) {
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    const auto [source, status] = open();
    ASSERT_FALSE(status);
    EXPECT_EQ(status.failure().kind, FailureKind::Absent);
    EXPECT_FALSE(status.failure().detail.empty());
    EXPECT_TRUE(source->due());
}

}  // namespace
}  // namespace hvk
