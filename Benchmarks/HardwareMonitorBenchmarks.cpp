// HardwareMonitorBenchmarks.cpp - one pass over the 200 channels of 12 chips through the controller's calls.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKPlatform/linux/Clock.h"
#include "HVKPlatform/linux/HardwareMonitors.h"
#include "HVKPlatform/linux/UserClient.h"

namespace hvk::bench {

namespace {

constexpr int Chips = 12;
constexpr int Channels = 200;

/// A tree of the chips, removed at the end.
class MonitorTree {
public:
    MonitorTree() {
        std::string pattern = (std::filesystem::temp_directory_path() / "hvk sensors XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        root = pattern;
        for (int channel = 0; channel < Channels; ++channel) {
            const std::string directory = root + "/sys/class/hwmon/hwmon" + std::to_string(channel % Chips);
            std::filesystem::create_directories(directory);
            std::ofstream(directory + "/name") << "chip" << channel % Chips << '\n';
            files.push_back(directory + "/temp" + std::to_string(channel / Chips + 1) + "_input");
            std::ofstream(files.back()) << 30000 + channel << '\n';
        }
    }
    ~MonitorTree() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    MonitorTree(const MonitorTree&) = delete;
    MonitorTree& operator=(const MonitorTree&) = delete;

    std::string root;
    std::vector<std::string> files;
};

/// The controller over the tree, with the requests of a client that knows the keys.
class ControllerPass {
public:
    explicit ControllerPass(const MonitorTree& tree) : root_(tree.root), clock_(root_) {
        const auto connection = client_.open(ControllerServiceClass, ControllerClientType);
        if (!connection) std::abort();
        connection_ = *connection;
        for (const MonitorChannelDescription& channel : monitors_.descriptions()) {
            auto& request = requests_.emplace_back();
            const std::uint32_t size = 4;
            std::memcpy(request.data(), &channel.key, sizeof channel.key);
            std::memcpy(request.data() + 28, &size, sizeof size);
            request[42] = 5;
        }
        if (requests_.size() != Channels) std::abort();
    }

    void operator()() {
        for (const auto& request : requests_)
            benchmark::DoNotOptimize(client_.callStructure(connection_, ControllerCallSelector, request, reply_));
    }

private:
    using Call = std::array<std::uint8_t, ControllerCallSize>;

    LinuxRoot root_;
    LinuxClockPort clock_;
    Diagnostics diagnostics_;
    HardwareMonitors monitors_{root_, clock_, diagnostics_, DescriptorBudget::Keep::Everything};
    LinuxUserClientPort client_{monitors_};
    UserClientConnection connection_ = 0;
    std::vector<Call> requests_;
    Call reply_{};
};

/// The same files, kept open and read from their beginning.
class BareReadings {
public:
    explicit BareReadings(const MonitorTree& tree) {
        for (const std::string& file : tree.files) descriptors_.push_back(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    }
    ~BareReadings() {
        for (const int descriptor : descriptors_) ::close(descriptor);
    }
    BareReadings(const BareReadings&) = delete;
    BareReadings& operator=(const BareReadings&) = delete;

    void operator()() {
        char text[32];
        for (const int descriptor : descriptors_) benchmark::DoNotOptimize(::pread(descriptor, text, sizeof text, 0));
    }

private:
    std::vector<int> descriptors_;
};

}  // namespace

void registerHardwareMonitorBenchmarks() {
    auto tree = std::make_shared<MonitorTree>();
    auto controller = std::make_shared<ControllerPass>(*tree);
    auto bare = std::make_shared<BareReadings>(*tree);
    registerPair(
        {"200 channels of hardware monitors", 1.3, "pread of the same files, kept open"},
        [tree, controller] { (*controller)(); }, [tree, bare] { (*bare)(); });
}

}  // namespace hvk::bench
