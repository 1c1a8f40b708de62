#include "HVKPlatform/linux/events/ConfigurationWatch.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace hvk {

namespace {

/// More keys than that say no more than that everything may be other.
constexpr std::size_t MostKeys = 4096;
constexpr const char* WholeKeys[] = {"State:/Network/Interface", "State:/Network/Global/IPv4",
                                     "State:/Network/Global/IPv6"};

}  // namespace

Result<std::shared_ptr<ConfigurationWatch>> ConfigurationWatch::make(const std::vector<std::string>& keys,
                                                                     const std::vector<std::string>& patterns,
                                                                     Block block) {
    std::shared_ptr<ConfigurationWatch> watch(new ConfigurationWatch);
    watch->keys_ = keys;
    watch->block_ = std::move(block);
    try {
        for (const std::string& pattern : patterns) watch->patterns_.emplace_back(pattern, std::regex::optimize);
    } catch (const std::regex_error& fault) {
        return Failure{FailureKind::Malformed, "configuration pattern", fault.what()};
    }
    return watch;
}

bool ConfigurationWatch::isWatched(const std::string& key) const {
    return std::find(keys_.begin(), keys_.end(), key) != keys_.end() ||
           std::any_of(patterns_.begin(), patterns_.end(),
                       [&](const std::regex& one) { return std::regex_match(key, one); });
}

bool ConfigurationWatch::keep(const ConfigurationKeys& changed) {
    ConfigurationKeys watched;
    if (changed.size() <= MostKeys)
        std::copy_if(changed.begin(), changed.end(), std::inserter(watched, watched.end()),
                     [this](const std::string& key) { return isWatched(key); });
    std::lock_guard lock(mutex_);
    kept_.merge(watched);
    if (changed.size() > MostKeys || kept_.size() > MostKeys) {
        kept_.clear();
        for (const char* key : WholeKeys)
            if (isWatched(key)) kept_.insert(key);
    }
    return !kept_.empty();
}

void ConfigurationWatch::tell() {
    std::vector<std::string> keys;
    {
        std::lock_guard lock(mutex_);
        keys.assign(kept_.begin(), kept_.end());
        kept_.clear();
    }
    if (!keys.empty()) block_(keys);
}

}  // namespace hvk
