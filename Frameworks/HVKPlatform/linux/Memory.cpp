#include "HVKPlatform/linux/Memory.h"

#include <algorithm>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

constexpr double ZramListSeconds = 10;

/// What is left of `from` after `parts`, never less than 0: the kernel's lines are not of one instant.
std::uint64_t remainder(std::uint64_t from, std::initializer_list<std::uint64_t> parts) {
    for (const std::uint64_t part : parts) from -= std::min(from, part);
    return from;
}

}  // namespace

ZramDevices::ZramDevices(const LinuxRoot& root, ClockPort& clock, Diagnostics& diagnostics)
    : root_(root),
      clock_(clock),
      source_(diagnostics.source("/sys/block/zramN/mm_stat", "memory that compressed RAM disks occupy")) {}

void ZramDevices::findDevices() {
    const double now = clock_.monotonicSeconds();
    if (foundAt_ && now - *foundAt_ < ZramListSeconds) return;
    foundAt_ = now;
    std::vector<KernelFile> devices;
    for (const std::string& name : root_.list("/sys/block"))
        if (name.starts_with("zram")) devices.emplace_back(root_, "/sys/block/" + name + "/mm_stat");
    const auto isSame = [](const KernelFile& left, const KernelFile& right) { return left.name() == right.name(); };
    if (!std::equal(devices.begin(), devices.end(), devices_.begin(), devices_.end(), isSame))
        devices_ = std::move(devices);
}

std::uint64_t ZramDevices::memoryUsed() {
    findDevices();
    std::uint64_t bytes = 0;
    for (KernelFile& device : devices_) {
        const auto text = device.read();
        if (!text) {
            (void)source_.failed(text.failure());
            continue;
        }
        if (const auto used = parse::parseZramMemoryUsed(*text)) {
            bytes += *used;
            source_.works();
        } else {
            (void)source_.failed({FailureKind::Malformed, device.name(), "there is no third number"});
        }
    }
    return bytes;
}

LinuxMemoryPort::LinuxMemoryPort(const LinuxRoot& root, std::uint64_t pageSize, ClockPort& clock,
                                 Diagnostics& diagnostics)
    : pageSize_(pageSize),
      memInfo_(root, "/proc/meminfo"),
      vmStat_(root, "/proc/vmstat"),
      zswapPool_(root, "/sys/kernel/debug/zswap/pool_total_size"),
      zram_(root, clock, diagnostics),
      memInfoSource_(diagnostics.source("/proc/meminfo", "memory and swap", "mount procfs at /proc")),
      vmStatSource_(diagnostics.source("/proc/vmstat", "pages read and written", "mount procfs at /proc")) {}

Result<parse::MemInfo> LinuxMemoryPort::readMemInfo() {
    const auto text = memInfo_.read();
    if (!text) return memInfoSource_.failed(text.failure());
    auto info = parse::parseMemInfo(*text);
    if (!info) return memInfoSource_.failed(info.failure());
    memInfoSource_.works();
    return info;
}

std::uint64_t LinuxMemoryPort::compressedBytes(const parse::MemInfo& info) {
    std::uint64_t zswap = info.zswap.value_or(0);
    if (!info.zswap) {
        // Before Linux 5.19 only debugfs tells, to root; without it the pool is part of the wired memory.
        if (const auto text = zswapPool_.read()) zswap = parse::toUnsigned(parse::trimmed(*text)).value_or(0);
    }
    return zswap + zram_.memoryUsed();
}

Result<VirtualMemoryStatistics> LinuxMemoryPort::virtualMemory() {
    pendingSwap_.reset();
    const auto info = readMemInfo();
    if (!info) return info.failure();
    pendingSwap_ = SwapUsage{info->swapTotal, info->swapFree, remainder(info->swapTotal, {info->swapFree})};

    if (const auto text = vmStat_.readThrough("pgpgout"); !text) {
        (void)vmStatSource_.failed(text.failure());
    } else if (const auto counts = parse::parsePagingCounts(*text); !counts) {
        (void)vmStatSource_.failed(counts.failure());
    } else {
        paging_ = *counts;
        vmStatSource_.works();
    }

    const std::uint64_t compressed = compressedBytes(*info);
    const std::uint64_t internal = info->anonymous + info->shared;
    const std::uint64_t external =
        remainder(info->buffers + info->cached + info->reclaimable.value_or(info->reclaimableSlab), {info->shared});

    VirtualMemoryStatistics statistics;
    statistics.freeCount = info->free / pageSize_;
    statistics.activeCount = info->active / pageSize_;
    statistics.inactiveCount = info->inactive / pageSize_;
    statistics.compressorPageCount = compressed / pageSize_;
    statistics.externalPageCount = external / pageSize_;
    statistics.internalPageCount = internal / pageSize_;
    // Whatever is neither free nor of a process, a file or the compressor is held by the kernel and its drivers.
    statistics.wireCount = remainder(info->total, {info->free, internal, external, compressed}) / pageSize_;
    statistics.pageIns = paging_.pagedInKiB * 1024 / pageSize_;
    statistics.pageOuts = paging_.pagedOutKiB * 1024 / pageSize_;
    return statistics;
}

Result<SwapUsage> LinuxMemoryPort::swapUsage() {
    if (pendingSwap_) {
        const SwapUsage usage = *pendingSwap_;
        pendingSwap_.reset();
        return usage;
    }
    const auto info = readMemInfo();
    if (!info) return info.failure();
    return SwapUsage{info->swapTotal, info->swapFree, remainder(info->swapTotal, {info->swapFree})};
}

Result<std::uint64_t> LinuxMemoryPort::physicalMemory() {
    const auto info = readMemInfo();
    if (!info) return info.failure();
    return info->total;
}

}  // namespace hvk
