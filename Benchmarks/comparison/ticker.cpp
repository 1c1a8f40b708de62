// ticker.cpp - one pass of the processes module after another, once a second, for the comparison with other programs.
//
//     hvk_process_ticker COUNT [--proc]
//
// --proc: without the kernel's task iterator, as without privilege.

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKStatistics/processes/HVKStatisticsProcesses.h"

int main(int argc, char** argv) {
    using namespace hvk;
    const int count = argc > 1 ? std::atoi(argv[1]) : 0;
    const bool proc = argc > 2 && std::string_view(argv[2]) == "--proc";
    LinuxMachine machine("/", proc ? ProcessSourceChoice::Proc : ProcessSourceChoice::Best);
    HVKStatisticsProcesses processes(machine);
    for (int tick = 0; tick < count; ++tick) {
        if (tick != 0) machine.queues().runMain(1);
        processes.update(machine.clock().wallSeconds());
    }
    std::printf("%zu\n", processes.processes().size());
    return processes.processes().empty() ? 1 : 0;
}
