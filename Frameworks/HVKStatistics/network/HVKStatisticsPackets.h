// HVKStatisticsPackets.h - traffic by process and by interface, counted from the packets themselves.
//
// It owns at most one running capture. A host starts it, collects with `stats` and `interfaces` of the active item at
// its own cadence, and stops it.
//
//     framework.Packets()->start();
//     Value traffic = framework.Packets()->activeItem()->stats(now);
#pragma once

#include <memory>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKStatistics/core/StatisticsRoles.h"
#include "HVKStatistics/network/HVKStatisticsPacketItem.h"

namespace hvk {

/// The module. Thread: the one that samples.
class HVK_EXPORT HVKStatisticsPackets : public StatisticsModuleRole {
public:
    /// Captures nothing yet.
    explicit HVKStatisticsPackets(Machine& machine = Machine::current());
    ~HVKStatisticsPackets() override;

    /// An instance for a host that wants only this module; made on first use. The framework has one of its own.
    static HVKStatisticsPackets& Packets();

    /// Asks a running capture to end, makes a new item and starts its capture; `startAndPause` begins with a capture
    /// that counts nothing until it is resumed.
    void start();
    void startAndPause();

    /// Asks the active capture to end and forgets it.
    void stop();

    /// The capture; null when there is none. It may have ended by itself: `isCapturing` tells.
    const std::shared_ptr<HVKStatisticsPacketItem>& activeItem() const { return activeItem_; }

    /// Stored only: this module has no demonstration data.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

private:
    void begin(bool paused);

    Machine& machine_;
    std::shared_ptr<Queue> queue_;
    std::shared_ptr<HVKStatisticsPacketItem> activeItem_;
    bool demo_ = false;
};

}  // namespace hvk
