// HVKStatisticsGPU.h - the graphics processors: which there are, how busy they are, and which of two draws.
//
// It owns the inventory and the rules by which an accelerator's "PerformanceStatistics" become figures. Where the
// accelerators come from is the registry's business; on Linux the drivers' own files and libraries stand behind it.
//
//     HVKStatisticsGPU graphics(machine);
//     if (graphics.update(now) != 0) rebuildMenu(graphics.immutableItems());
//     for (const auto& item : graphics.devices()) draw(item->name, item->processor);
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/ports/Graphics.h"
#include "HVKStatistics/core/HVKStatisticsOSVersion.h"
#include "HVKStatistics/core/StatisticsRoles.h"
#include "HVKStatistics/graphics/HVKStatisticsGPUItem.h"

namespace hvk {

/// What `update` answers when the inventory was rebuilt or another processor became active.
inline constexpr std::int64_t StatisticsGPUChangedMask = 4;

/// The module. Thread: the one that updates it; `immutableItems` may be called on any.
class HVK_EXPORT HVKStatisticsGPU : public StatisticsGPURole {
public:
    using Item = std::shared_ptr<HVKStatisticsGPUItem>;

    /// No items yet: the first update finds them.
    explicit HVKStatisticsGPU(Machine& machine = Machine::current());
    ~HVKStatisticsGPU() override;

    /// An instance for a host that wants only this module; made on first use. The framework has one of its own.
    static HVKStatisticsGPU& GPU();

    /// Reads all accelerators that are not hidden and appends one record to the history of each. Rebuilds the inventory
    /// first when it is marked. 4 when that was done or another processor became active, otherwise 0. A figure that an
    /// accelerator does not tell now keeps its value; so do all of one that sleeps.
    std::int64_t update(double time);

    /// By key: {"key", "name", "processor", "memory", "type", "features"}.
    Value stats() const;

    /// The items in the order in which they were found, hidden ones included.
    const std::vector<Item>& devices() const { return devices_; }

    /// A copy of the list as the last rebuild left it. Thread: any.
    std::vector<Item> immutableItems() const;

    /// The items' keys, in their order.
    std::vector<std::string> keys() const;

    /// {"type": "gpu", "fields": ["processor", "memory"], "keys": true}
    static Value historyConfig();

    /// Every item's `historyAverage`, in their order, without those that have none; maybe an empty array.
    Value historyAverage(double start, double end, std::int64_t interval) const;

    /// Keeps the recipe of the model. Of its section "gpu" the entry "hide-intergrated" counts, whatever it holds: the
    /// integrated processor is hidden from the next rebuild on and nothing is asked about switching.
    void loadFromPlatform(const Value& recipe) override;
    const Value& platform() const { return platform_; }

    /// Whether the next update rebuilds the inventory; true at first.
    bool changed() const { return changed_; }
    void setChanged(bool changed) override { changed_ = changed; }

    /// Whether the question for a switching controller has been settled.
    bool setupComplete() const { return setupComplete_; }

    /// Whether the machine switches between two processors, and tells which one draws.
    bool hasGPUSwotching() const { return hasGPUSwotching_; }

    /// Frames a second that the window server draws; 0 where nobody tells.
    float fps() const { return fps_; }

    /// Stored only; the host decides when to call `loadDemoData`, and shows `demoItem`.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

    /// Made-up figures for screenshots: one active processor at 44 percent with 22 percent of its memory in use, a full
    /// history, and 60 frames a second. The items stay as they are.
    void loadDemoData();
    const Item& demoItem() const { return demoItem_; }

    /// Gives back what the module holds of the system: the accelerators and the connection to the controller. The items
    /// keep their figures; the next update finds the accelerators again.
    void cleanup();

    /// The share of an item's video memory in use, 0 to 1, by an accelerator's statistics; null stands for none. An
    /// item of unknown memory size learns it from them. 0 for counters that make no sense.
    double processDeviceMemoryUsage(HVKStatisticsGPUItem& item, const Value& stats) const;

    /// A registry value as a number: of data its first 32 bits, the lowest byte first; 0 for null and what is none.
    static double convertNumericValue(const Value& value);
    /// A registry value as text: of data the bytes up to the first zero; "" for null and what is none.
    static std::string convertString(const Value& value);

private:
    void updateDevices();
    Item deviceFromIterator(const std::string& path, RegistryHandle accelerator);
    std::int64_t typeOf(const std::string& model, RegistryHandle accelerator) const;
    double memorySizeOf(RegistryHandle accelerator) const;
    void numberNames();
    void updatePlatformState();
    bool hidesIntegrated() const;
    void performSetup();
    bool updateActiveGPU();
    void readItem(HVKStatisticsGPUItem& item, double time);
    void publish();

    Machine& machine_;
    HVKStatisticsOSVersion version_;
    std::vector<Item> devices_;
    std::unordered_map<const HVKStatisticsGPUItem*, RegistryReference> services_;  ///< what `service` stands for
    bool changed_ = true;
    bool setupComplete_ = false;
    bool hasGPUSwotching_ = false;
    float fps_ = 0;
    bool demo_ = false;
    Item demoItem_;
    Value platform_;
    GraphicsControlConnection connection_ = 0;  ///< 0 when there is none

    mutable std::mutex mutex_;  ///< guards the copy below
    std::vector<Item> published_;
};

}  // namespace hvk
