#include "HVKPlatform/darwin/Processor.h"

#include <mach/mach.h>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/decode/Failures.h"
#include "HVKPlatform/darwin/decode/Processor.h"

namespace hvk {

static_assert(sizeof(processor_cpu_load_info) == decode::ProcessorLoadSize);
static_assert(CPU_STATE_USER == ProcessorStateUser && CPU_STATE_SYSTEM == ProcessorStateSystem &&
              CPU_STATE_IDLE == ProcessorStateIdle && CPU_STATE_NICE == ProcessorStateNice &&
              CPU_STATE_MAX == ProcessorStateCount);

DarwinProcessorPort::DarwinProcessorPort(const HostPort& host, Diagnostics& diagnostics)
    : host_(host), health_(diagnostics.source("host_processor_info", "processor ticks")) {}

ProcessorArchitecture DarwinProcessorPort::architecture() {
#if defined(__arm64__)
    return ProcessorArchitecture::Clustered;
#else
    return ProcessorArchitecture::Paired;
#endif
}

Status DarwinProcessorPort::loadInfo(std::vector<ProcessorTicks>& ticks) {
    natural_t processors = 0;
    processor_info_array_t words = nullptr;
    mach_msg_type_number_t wordCount = 0;
    countSystemCalls();
    const kern_return_t code =
        host_processor_info(host_.get(), PROCESSOR_CPU_LOAD_INFO, &processors, &words, &wordCount);
    if (code != KERN_SUCCESS)
        return health_.failed(decode::kernelFailure("host_processor_info", static_cast<std::uint32_t>(code)));

    const std::size_t size = wordCount * sizeof(integer_t);
    const Status status =
        decode::decodeProcessorLoad({reinterpret_cast<const std::uint8_t*>(words), size}, processors, ticks);
    // The array is the kernel's, mapped into this task for one reading.
    countSystemCalls();
    vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(words), size);
    if (!status) return health_.failed(status.failure());
    health_.works();
    return {};
}

}  // namespace hvk
