#include "HVKPlatform/linux/events/ServiceWatches.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace hvk {

namespace {

/// Those of `some` that are not among `others`.
std::vector<RegistryEntryPointer> without(const std::vector<RegistryEntryPointer>& some,
                                          const std::vector<RegistryEntryPointer>& others) {
    std::unordered_set<std::uint64_t> known;
    for (const auto& one : others) known.insert(one->id);
    std::vector<RegistryEntryPointer> left;
    std::copy_if(some.begin(), some.end(), std::back_inserter(left),
                 [&](const auto& one) { return known.count(one->id) == 0; });
    return left;
}

}  // namespace

Result<RegistryHandle> ServiceWatches::add(ServiceEvent event, const RegistryMatch& match,
                                           std::function<void(RegistryHandle)> block) {
    auto present = registry_.matchingEntries(match);
    if (!present) return present.failure();
    auto watch = std::make_shared<Watch>(Watch{event, match, std::move(block), 0, std::move(*present)});
    watch->iterator = registry_.makeIterator(watch->present);
    watches_.push_back(watch);
    return watch->iterator;
}

void ServiceWatches::look() {
    // A block may add a watch.
    const auto watches = watches_;
    for (const auto& watch : watches) {
        const auto exhausted = registry_.isExhausted(watch->iterator);
        if (!exhausted) std::erase(watches_, watch);
        if (!exhausted || !*exhausted) continue;
        auto now = registry_.matchingEntries(watch->match);
        if (!now) continue;
        const bool leaves = watch->event == ServiceEvent::Terminate;
        auto news = leaves ? without(watch->present, *now) : without(*now, watch->present);
        watch->present = std::move(*now);
        if (news.empty()) continue;
        registry_.refill(watch->iterator, std::move(news));
        watch->block(watch->iterator);
    }
}

}  // namespace hvk
