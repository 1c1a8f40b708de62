#include "HVKStatistics/network/HVKStatisticsPackets.h"

namespace hvk {

HVKStatisticsPackets::HVKStatisticsPackets(Machine& machine) : machine_(machine) {}

HVKStatisticsPackets::~HVKStatisticsPackets() { stop(); }

HVKStatisticsPackets& HVKStatisticsPackets::Packets() {
    static HVKStatisticsPackets& instance = *new HVKStatisticsPackets;
    return instance;
}

void HVKStatisticsPackets::start() { begin(false); }

void HVKStatisticsPackets::startAndPause() { begin(true); }

void HVKStatisticsPackets::begin(bool paused) {
    if (activeItem_) activeItem_->stop();
    // Concurrent: the loop of a capture that ends need not be waited for.
    if (!queue_) queue_ = machine_.queues().concurrent("packets");
    activeItem_ = std::make_shared<HVKStatisticsPacketItem>(machine_, queue_);
    activeItem_->paused = paused;
    activeItem_->capture();
}

void HVKStatisticsPackets::stop() {
    if (!activeItem_) return;
    activeItem_->stop();
    activeItem_.reset();
}

}  // namespace hvk
