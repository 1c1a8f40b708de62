// Queues.h - queues and timers of libdispatch.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <mutex>
#include <vector>

#include "HVKPlatform/ports/Queues.h"
#include "HVKPlatform/support/WorkLedger.h"

namespace hvk {

/// QueuesPort of macOS.
///
/// `main` is the process's own main queue: in a host that runs its run loop anyway its work runs there, and `runMain`
/// is for programs that have none. Only the main thread drains it; `runMain` on another thread runs that thread's run
/// loop for the time. Once this object is destroyed no work starts; its destructor waits for work that runs on other
/// threads.
class DarwinQueuesPort : public QueuesPort {
public:
    DarwinQueuesPort();
    ~DarwinQueuesPort() override;

    Queue& main() override { return *main_; }
    std::shared_ptr<Queue> serial(const std::string& name) override;
    std::shared_ptr<Queue> concurrent(const std::string& name) override;
    void runMain(double seconds) override;
    void stopMain() override;

private:
    struct MainRun;

    std::shared_ptr<WorkLedger> ledger_;
    std::unique_ptr<Queue> main_;
    std::mutex mutex_;
    std::vector<MainRun*> mainRuns_;
};

}  // namespace hvk
