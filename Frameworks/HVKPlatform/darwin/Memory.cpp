#include "HVKPlatform/darwin/Memory.h"

#include <mach/mach.h>
#include <sys/sysctl.h>

#include <cstddef>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/Outcome.h"
#include "HVKPlatform/darwin/decode/Failures.h"
#include "HVKPlatform/darwin/decode/Memory.h"
#include "HVKPlatform/darwin/decode/System.h"

namespace hvk {

// A later SDK's record is longer; its beginning is the same.
static_assert(sizeof(vm_statistics64) >= decode::VirtualMemorySize);
static_assert(offsetof(vm_statistics64, wire_count) == 12 && offsetof(vm_statistics64, pageins) == 32 &&
              offsetof(vm_statistics64, pageouts) == 40 && offsetof(vm_statistics64, purgeable_count) == 88 &&
              offsetof(vm_statistics64, compressor_page_count) == 128 &&
              offsetof(vm_statistics64, external_page_count) == 136 &&
              offsetof(vm_statistics64, internal_page_count) == 140);
static_assert(sizeof(xsw_usage) == decode::SwapUsageSize);
static_assert(offsetof(xsw_usage, xsu_avail) == 8 && offsetof(xsw_usage, xsu_used) == 16);

DarwinMemoryPort::DarwinMemoryPort(const HostPort& host, Diagnostics& diagnostics)
    : host_(host),
      swap_("vm.swapusage", {CTL_VM, VM_SWAPUSAGE}),
      size_("hw.memsize", {CTL_HW, HW_MEMSIZE}),
      statisticsHealth_(diagnostics.source("host_statistics64", "memory counters")),
      swapHealth_(diagnostics.source(swap_.name(), "swap space")),
      sizeHealth_(diagnostics.source(size_.name(), "size of the memory")) {}

Result<VirtualMemoryStatistics> DarwinMemoryPort::virtualMemory() {
    alignas(vm_statistics64) std::array<std::uint8_t, decode::VirtualMemorySize> record{};
    mach_msg_type_number_t words = record.size() / sizeof(integer_t);
    countSystemCalls();
    const kern_return_t code =
        host_statistics64(host_.get(), HOST_VM_INFO64, reinterpret_cast<host_info64_t>(record.data()), &words);
    if (code != KERN_SUCCESS)
        return statisticsHealth_.failed(decode::kernelFailure("host_statistics64", static_cast<std::uint32_t>(code)));
    const std::size_t written = std::min(words * sizeof(integer_t), record.size());
    return noted(statisticsHealth_, decode::decodeVirtualMemory(std::span(record).first(written)));
}

Result<SwapUsage> DarwinMemoryPort::swapUsage() {
    std::array<std::uint8_t, decode::SwapUsageSize> record{};
    const auto bytes = swap_.read(record);
    if (!bytes) return swapHealth_.failed(bytes.failure());
    return noted(swapHealth_, decode::decodeSwapUsage(*bytes));
}

Result<std::uint64_t> DarwinMemoryPort::physicalMemory() {
    std::array<std::uint8_t, sizeof(std::uint64_t)> record{};
    const auto bytes = size_.read(record);
    if (!bytes) return sizeHealth_.failed(bytes.failure());
    return noted(sizeHealth_, decode::decodeSize(size_.name(), *bytes));
}

}  // namespace hvk
