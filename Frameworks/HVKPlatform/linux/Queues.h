// Queues.h - queues on Asio.
//
// Each queue has threads of its own, started when it first has work: a request that hangs in the kernel (a dead network
// mount) holds its queue and nothing else. The main queue has none; its work runs inside `runMain`.
#pragma once

#include <memory>

#include "HVKPlatform/ports/Queues.h"

namespace hvk {

class AsioQueue;

/// The queues of a live machine. Destroying it drops the work that has not begun and waits, for a bounded time, for
/// what has; a thread that hangs in the kernel is left behind.
class AsioQueuesPort : public QueuesPort {
public:
    AsioQueuesPort();
    ~AsioQueuesPort() override;
    Queue& main() override;
    std::shared_ptr<Queue> serial(const std::string& name) override;
    std::shared_ptr<Queue> concurrent(const std::string& name) override;
    void runMain(double seconds) override;
    void stopMain() override;

    class Threads;  ///< counts the threads of all queues, so that the end can wait for them

private:
    std::shared_ptr<Queue> make(const std::string& name, std::size_t threads);

    std::shared_ptr<Threads> threads_;
    std::shared_ptr<AsioQueue> main_;
};

}  // namespace hvk
