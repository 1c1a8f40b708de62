// What the machine that the tests run on tells of its own accord: disks, volumes, interfaces and tunnels that are
// really made, and storms that no socket holds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKPlatform/linux/events/RouteSource.h"
#include "HVKStatistics/core/HVKStatisticsHardwareNotifier.h"
#include "live/LinkMaker.h"
#include "live/LoopDevice.h"
#include "support/NotingDelegate.h"

namespace hvk {
namespace {

using test::NotingDelegate;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

/// How soon an event must have reached the delegate.
constexpr double Prompt = 1.0;

/// A clock that can be put on.
class ShiftedClock : public ForwardingClockPort {
public:
    using ForwardingClockPort::ForwardingClockPort;
    double wallSeconds() override { return target_.wallSeconds() + shift; }
    double shift = 0;
};

/// The events of this machine, those of disks that others plug left out.
class OwnEvents : public ForwardingHardwareEventsPort {
public:
    using ForwardingHardwareEventsPort::ForwardingHardwareEventsPort;
    Status watchDisks(std::function<void(DiskEvent, const Value&)> block) override {
        return target_.watchDisks([this, block = std::move(block)](DiskEvent event, const Value& description) {
            if (own.contains(description.value("DAMediaBSDName", ""))) block(event, description);
        });
    }
    std::set<std::string> own;
};

class LiveEvents : public testing::Test, public ForwardingMachine {
protected:
    LiveEvents() : ForwardingMachine(live_), clock_(live_.clock()), events_(live_.hardwareEvents()) {
        delegate_.told = [this] { queues().stopMain(); };
        notifier_.setDelegate(&delegate_);
    }
    ClockPort& clock() override { return clock_; }
    HardwareEventsPort& hardwareEvents() override { return events_; }

    void SetUp() override {
        if (::geteuid() != 0) GTEST_SKIP() << "only root may attach disks and make interfaces";
    }

    /// Runs the main queue until the delegate was told something, and answers what; nothing when it was not in time.
    std::vector<std::string> told(double seconds = Prompt) {
        const double end = clock_.monotonicSeconds() + seconds;
        std::vector<std::string> notes = delegate_.take();
        for (double left = seconds; notes.empty() && left > 0; left = end - clock_.monotonicSeconds()) {
            queues().runMain(left);
            notes = delegate_.take();
        }
        return notes;
    }

    LinuxMachine live_;
    ShiftedClock clock_;
    OwnEvents events_;
    NotingDelegate delegate_;
    HVKStatisticsHardwareNotifier notifier_{*this};
};

/// The file system of a small disk; empty when it cannot be made.
std::string fileSystemImage() {
    char name[] = "/tmp/hvk-image-XXXXXX";
    const int file = ::mkstemp(name);
    const bool made = file >= 0 && ::ftruncate(file, 4 << 20) == 0 &&
                      std::system(("mkfs.ext4 -q -F " + std::string(name) + " >/dev/null 2>&1").c_str()) == 0;
    ::close(file);
    std::ifstream stream(name, std::ios::binary);
    std::string content;
    if (made) content.assign(std::istreambuf_iterator<char>(stream), {});
    ::unlink(name);
    return content;
}

/// A directory that something is mounted on, in a mount namespace that nobody else sees.
class MountPoint {
public:
    MountPoint() {
        char name[] = "/tmp/hvk mount-XXXXXX";
        isPrivate_ = ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        if (::mkdtemp(name) != nullptr) path_ = name;
    }
    ~MountPoint() {
        unmount();
        ::rmdir(path_.c_str());
    }
    bool isPrivate() const { return isPrivate_; }
    bool mount(const std::string& device) {
        return ::mount(("/dev/" + device).c_str(), path_.c_str(), "ext4", MS_RDONLY, nullptr) == 0;
    }
    bool unmount() { return ::umount2(path_.c_str(), MNT_DETACH) == 0; }
    const std::string& path() const { return path_; }

private:
    bool isPrivate_ = false;
    std::string path_;
};

TEST_F(LiveEvents, ADiskImageIsToldWhenItIsMountedAndWhenItGoes) {
    const std::string image = fileSystemImage();
    MountPoint place;  // before anything watches this process's mounts
    if (!place.isPrivate()) GTEST_SKIP() << "no mount namespace can be made";
    if (image.empty()) GTEST_SKIP() << "there is no mkfs.ext4";
    LoopDevice early(image);
    ASSERT_FALSE(early.name().empty()) << early.why();
    events_.own.insert(early.name());
    notifier_.startDisks();
    EXPECT_THAT(told(0.5), IsEmpty()) << "what is there at first is silent";
    clock_.shift = 10;

    std::vector<std::pair<DiskEvent, std::string>> seen;
    ASSERT_TRUE(events_.watchDisks([&](DiskEvent event, const Value& description) {
        if (description["DAMediaBSDName"] == early.name())
            seen.emplace_back(event, description.value("DAVolumePath", ""));
    }));
    ASSERT_TRUE(place.mount(early.name()));
    EXPECT_THAT(told(), ElementsAre("removable disks"));
    ASSERT_TRUE(place.unmount());
    LoopDevice late(image);
    events_.own.insert(late.name());
    ASSERT_TRUE(place.mount(late.name()));
    EXPECT_THAT(told(), ElementsAre("removable disks")) << "an image without a volume is nobody's concern";
    ASSERT_TRUE(place.unmount());
    early.detach();
    EXPECT_THAT(told(), ElementsAre("removable disks"));
    EXPECT_THAT(seen, ElementsAre(std::pair(DiskEvent::Appeared, std::string()),
                                  std::pair(DiskEvent::DescriptionChanged, place.path()),
                                  std::pair(DiskEvent::DescriptionChanged, std::string()),
                                  std::pair(DiskEvent::Disappeared, std::string())));
}

TEST_F(LiveEvents, AMemoryDiskIsToldWhenItIsAddedAndWhenItGoes) {
    std::ifstream add("/sys/class/zram-control/hot_add");
    if (!add) GTEST_SKIP() << "the kernel has no zram";
    notifier_.startDisks();
    clock_.shift = 10;
    EXPECT_THAT(told(0.2), IsEmpty());
    std::string number;
    ASSERT_TRUE(std::getline(add, number));
    events_.own.insert("zram" + number);
    EXPECT_THAT(told(), ElementsAre("disks"));
    std::ofstream("/sys/class/zram-control/hot_remove") << number;
    EXPECT_THAT(told(), ElementsAre("disks"));
}

TEST_F(LiveEvents, InterfacesAreToldByTheirKeys) {
    if (!enterEmptyNetwork()) GTEST_SKIP() << "no network namespace can be made";
    LinkMaker links;
    notifier_.startNetwork();
    ASSERT_TRUE(links.addPair("left", "right"));
    EXPECT_THAT(told(), ElementsAre("network State:/Network/Interface State:/Network/Interface/left/Link "
                                    "State:/Network/Interface/right/Link"));
    ASSERT_TRUE(links.setAddress("left", "10.99.0.1"));
    EXPECT_THAT(told(), ElementsAre("network State:/Network/Interface/left/IPv4"));
    ASSERT_TRUE(links.setAddress("left", "10.99.0.1")) << "the same again";
    ASSERT_TRUE(links.set("left", true));
    EXPECT_THAT(told(), ElementsAre("network State:/Network/Interface/left/Link"));
    ASSERT_TRUE(links.set("left", false));
    EXPECT_THAT(told(), ElementsAre("network State:/Network/Interface/left/Link"));
    Descriptor tunnel = LinkMaker::tunnel("tunnel");
    ASSERT_TRUE(tunnel) << "no /dev/net/tun";
    EXPECT_THAT(told(), ElementsAre("network State:/Network/Interface State:/Network/Interface/tunnel/Link"));
    ASSERT_TRUE(links.remove("left"));
    EXPECT_THAT(told(), ElementsAre("network State:/Network/Interface State:/Network/Interface/left/IPv4 "
                                    "State:/Network/Interface/left/Link State:/Network/Interface/right/Link"));
}

TEST_F(LiveEvents, ATunnelIsToldOnce) {
    if (!enterEmptyNetwork()) GTEST_SKIP() << "no network namespace can be made";
    LinkMaker links;
    notifier_.startNetworkTunnel();
    EXPECT_THAT(told(), ElementsAre("tunnel"));
    Descriptor tunnel = LinkMaker::tunnel("tunnel");
    ASSERT_TRUE(tunnel) << "no /dev/net/tun";
    ASSERT_TRUE(links.setAddress("tunnel", "10.98.0.1"));
    ASSERT_TRUE(links.setPeer("tunnel", "10.98.0.2"));
    notifier_.checkNetworkTunnels();
    EXPECT_THAT(delegate_.take(), IsEmpty()) << "it is not up";
    ASSERT_TRUE(links.set("tunnel", true));
    notifier_.checkNetworkTunnels();
    notifier_.checkNetworkTunnels();
    EXPECT_THAT(delegate_.take(), ElementsAre("tunnel"));
    EXPECT_THAT(*notifier_.networkTunnels(), ElementsAre(NetworkTunnelLink{"tunnel", "10.98.0.1", "10.98.0.2"}));
    tunnel.close();
    notifier_.checkNetworkTunnels();
    EXPECT_THAT(delegate_.take(), ElementsAre("tunnel"));
}

/// Bytes of this process in memory.
std::size_t residentBytes() {
    std::ifstream file("/proc/self/statm");
    std::size_t pages = 0;
    file >> pages >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

/// As little as the kernel allows: one event.
constexpr std::size_t SmallBuffer = 2304;
constexpr std::size_t BoundedGrowth = 32 << 20;

/// The disks of a port, put together from what it tells.
class DisksTold {
public:
    explicit DisksTold(HardwareEventsPort& port) {
        status_ = port.watchDisks([this](DiskEvent event, const Value& description) {
            const std::string name = description.value("DAMediaBSDName", "");
            if (event == DiskEvent::Disappeared)
                names_.erase(name);
            else
                names_.insert(name);
        });
    }
    const Status& status() const { return status_; }
    const std::set<std::string>& names() const { return names_; }

private:
    Status status_;
    std::set<std::string> names_;
};

/// What the kernel lists.
std::set<std::string> disksListed(const LinuxRoot& root, Diagnostics& diagnostics) {
    DiskTable table(root, diagnostics.source("listing", "test"));
    table.lookAtEverything();
    std::set<std::string> names;
    for (const auto& [name, state] : *table.states()) names.insert(state->description.value("DAMediaBSDName", ""));
    return names;
}

/// Nobody runs the main queue during the storm, and a disk comes in the middle of it.
TEST_F(LiveEvents, AStormOfDeviceEventsLosesNoState) {
    const LinuxRoot root("/");
    Diagnostics diagnostics;
    LinuxRegistryPort registry(root, readTopology(root), diagnostics);
    std::ofstream device("/sys/class/mem/null/uevent");
    if (!device) GTEST_SKIP() << "the kernel takes no made-up device events";
    LinuxHardwareEventsPort port(root, registry, queues(), diagnostics, {SmallBuffer, SmallBuffer});
    DisksTold disks(port);
    ASSERT_TRUE(disks.status());
    const std::size_t before = residentBytes();
    LoopDevice comes;
    std::optional<LoopDevice> goes(std::in_place);
    ASSERT_FALSE(comes.name().empty()) << comes.why();
    for (int burst = 0; burst < 5; ++burst) {
        for (int event = 0; event < 20'000; ++event) device << "change" << std::flush;
        if (burst == 2) goes.reset();
    }
    ASSERT_TRUE(device.good());
    const double end = clock_.monotonicSeconds() + Prompt;
    while (disks.names() != disksListed(root, diagnostics) && clock_.monotonicSeconds() < end) queues().runMain(0.01);
    EXPECT_EQ(disks.names(), disksListed(root, diagnostics));
    EXPECT_TRUE(disks.names().contains(comes.name()));
    EXPECT_GT(port.deviceOverflows(), 0U) << "the storm was none";
    EXPECT_LT(port.deviceEventsHeard(), 100'000U);
    EXPECT_LT(residentBytes(), before + BoundedGrowth);
    const auto reports = diagnostics.reports();
    EXPECT_TRUE(std::any_of(reports.begin(), reports.end(), [](const SourceReport& one) {
        return one.source == "device events" && one.note.find("lost") != std::string::npos;
    }));
    port.stop();
}

/// The state is followed message by message and read anew when messages were lost: both ways end at the kernel's own.
TEST_F(LiveEvents, AStormOfLinkChangesLosesNoState) {
    if (!enterEmptyNetwork()) GTEST_SKIP() << "no network namespace can be made";
    LinkMaker links;
    Diagnostics diagnostics;
    ConfigurationKeys keys;
    auto opened = RouteSource::open(std::size_t{64} << 10, diagnostics.source("links", "test"),
                                    [&](const ConfigurationKeys& changed) { keys = changed; });
    ASSERT_TRUE(opened) << opened.failure().detail;
    RouteSource& source = **opened;
    std::vector<pollfd> waited;
    source.appendTo(waited);
    waited.front().revents = POLLIN;
    const std::size_t before = residentBytes();
    EventSource::Clock::time_point now{};
    const auto storm = [&](int changes) {
        ASSERT_TRUE(links.addPair("left", "right"));
        for (int change = 0; change < changes; ++change) {
            ASSERT_TRUE(links.set("left", change % 2 == 0));
            if (change % 100 == 0) links.setAddress("left", ("10.97.0." + std::to_string(change / 100)).c_str());
        }
    };
    const auto settle = [&] {
        for (int turn = 0; turn < 100; ++turn) source.turn(waited.data(), now += std::chrono::milliseconds(50));
    };
    storm(20);
    settle();
    EXPECT_EQ(source.overflows(), 0U);
    EXPECT_EQ(source.state(), *RouteSource::listing());
    ASSERT_TRUE(links.remove("left"));
    settle();
    EXPECT_EQ(source.state(), *RouteSource::listing());

    storm(10'000);
    ASSERT_TRUE(links.remove("left"));
    ASSERT_TRUE(links.addPair("other", "peer"));
    ASSERT_TRUE(links.setAddress("other", "10.97.1.1"));
    keys.clear();
    settle();
    EXPECT_GT(source.overflows(), 0U) << "the storm was none";
    EXPECT_EQ(source.state(), *RouteSource::listing());
    EXPECT_THAT(keys, IsSupersetOf({"State:/Network/Interface", "State:/Network/Interface/other/Link",
                                    "State:/Network/Interface/other/IPv4"}));
    EXPECT_LT(residentBytes(), before + BoundedGrowth);
}

/// The same on the thread, within the time that a person notices.
TEST_F(LiveEvents, TheEndOfAStormOfLinkChangesIsToldPromptly) {
    if (!enterEmptyNetwork()) GTEST_SKIP() << "no network namespace can be made";
    const LinuxRoot root("/");
    Diagnostics diagnostics;
    LinuxRegistryPort registry(root, readTopology(root), diagnostics);
    LinuxHardwareEventsPort port(root, registry, queues(), diagnostics, {SmallBuffer, SmallBuffer});
    std::set<std::string> keys;
    ASSERT_TRUE(port.watchConfiguration(
        "test", {}, {"State:/Network/.*"},
        [&](const std::vector<std::string>& changed) { keys.insert(changed.begin(), changed.end()); }));
    LinkMaker links;
    ASSERT_TRUE(links.addPair("left", "right"));
    for (int change = 0; change < 10'000; ++change) ASSERT_TRUE(links.set("left", change % 2 == 0));
    ASSERT_TRUE(links.addPair("last", "peer"));
    const double end = clock_.monotonicSeconds() + Prompt;
    while (!keys.contains("State:/Network/Interface/last/Link") && clock_.monotonicSeconds() < end)
        queues().runMain(0.01);
    EXPECT_THAT(keys, IsSupersetOf({"State:/Network/Interface/last/Link", "State:/Network/Interface/left/Link"}));
    port.stop();
}

}  // namespace
}  // namespace hvk
