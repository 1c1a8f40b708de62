// RegistryBenchmarks.cpp - the device tree beside bare readings of the same directories: all entries of this machine,
// the disks among a hundred, the counters of one.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKPlatform/LiveMachine.h"
#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"

namespace hvk::bench {

namespace {

namespace fs = std::filesystem;
using Utilities = HVKStatisticsIOKitUtilities;

/// A machine of a hundred disks in a temporary directory, removed at the end.
class HundredDisks {
public:
    HundredDisks() {
        std::string pattern = (fs::temp_directory_path() / "hvk disks XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        root_ = pattern;
        fs::create_directories(root_ / "sys/class/block");
        fs::create_directories(root_ / "proc");
        for (int index = 0; index < 100; ++index) {
            const std::string host = "host" + std::to_string(index);
            const std::string name = "sd" + std::to_string(index);
            const fs::path device = fs::path("devices/pci0000:00/0000:00:17.0") / host / "block" / name;
            fs::create_directories(root_ / "sys" / device);
            for (const fs::path& directory : {device, device.parent_path().parent_path()})
                std::ofstream(root_ / "sys" / directory / "uevent");
            fs::create_directory_symlink("../../../../../../class/block", root_ / "sys" / device / "subsystem");
            fs::create_directory_symlink("../.." / device, root_ / "sys/class/block" / name);
        }
        machine = std::move(*makeSavedMachine(root_.string()));
    }
    ~HundredDisks() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    HundredDisks(const HundredDisks&) = delete;
    HundredDisks& operator=(const HundredDisks&) = delete;

    std::string links() const { return (root_ / "sys/class/block").string(); }

    std::unique_ptr<Machine> machine;

private:
    fs::path root_;
};

std::size_t goThrough(Utilities iterator) {
    std::size_t entries = 0;
    while (iterator.nextObject() != 0) ++entries;
    return entries;
}

/// Lists a directory of links, reads each and asks for what it leads to.
void followLinks(const std::string& path) {
    DIR* const directory = ::opendir(path.c_str());
    if (directory == nullptr) std::abort();
    while (const dirent* const entry = ::readdir(directory)) {
        std::array<char, 4096> target;
        struct stat information {};
        if (::readlinkat(::dirfd(directory), entry->d_name, target.data(), target.size()) > 0)
            benchmark::DoNotOptimize(::fstatat(::dirfd(directory), entry->d_name, &information, 0));
    }
    ::closedir(directory);
}

/// Lists a directory and all below it, links apart.
void listAll(int at, const char* name) {
    const int descriptor = ::openat(at, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) return;
    DIR* const directory = ::fdopendir(descriptor);
    while (const dirent* const entry = ::readdir(directory))
        if (entry->d_type == DT_DIR && entry->d_name[0] != '.') listAll(descriptor, entry->d_name);
    ::closedir(directory);
}

void openReadClose(const std::string& path) {
    std::array<char, 4096> buffer;
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    benchmark::DoNotOptimize(::read(descriptor, buffer.data(), buffer.size()));
    ::close(descriptor);
}

}  // namespace

void registerRegistryBenchmarks() {
    auto disks = std::make_shared<HundredDisks>();
    registerPair(
        {"registry: the media of 100 disks, saved", 5, "list /sys/class/block, read each link and stat its device"},
        [disks] {
            if (goThrough(Utilities::iteratorWithServiceMatch(disks->machine->registry(), "IOMedia")) != 100)
                std::abort();
        },
        [disks] { followLinks(disks->links()); });

    std::shared_ptr<Machine> machine = makeLiveMachine();
    RegistryPort& registry = machine->registry();
    registerPair(
        {"registry: every entry, this machine", 2, "list every directory below /sys/devices"},
        [machine, &registry] {
            const RegistryReference root(registry, Utilities::objectAtPath(registry, "IOService:/"));
            goThrough(Utilities::initWithDeepChildIteratorFromObject(registry, root.get()));
        },
        [] { listAll(AT_FDCWD, "/sys/devices"); });

    auto drivers = Utilities::iteratorWithServiceMatch(registry, "IOBlockStorageDriver");
    if (drivers.nextObject() == 0) return;  // a machine without a disk
    auto driver = std::make_shared<RegistryReference>(registry, drivers.object());
    registry.retain(driver->get());
    const std::string file = drivers.propertyWithKey("sysfs-path").get<std::string>() + "/stat";
    registerPair(
        {"registry: the counters of a disk, this machine", 2, "open, read, close its stat"},
        [machine, &registry, driver] {
            if (Utilities::property(registry, "Statistics", driver->get()).is_null()) std::abort();
        },
        [file] { openReadClose(file); });
}

}  // namespace hvk::bench
