// ConfigurationWatch.h - which configuration keys somebody watches, and which of them he has not been told yet.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <regex>
#include <string>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/events/NetworkState.h"

namespace hvk {

/// One watch. Thread: any.
class ConfigurationWatch {
public:
    using Block = std::function<void(const std::vector<std::string>& keys)>;

    /// Malformed when a pattern is no regular expression.
    static Result<std::shared_ptr<ConfigurationWatch>> make(const std::vector<std::string>& keys,
                                                            const std::vector<std::string>& patterns, Block block);

    /// Keeps those keys that are watched; whether there are any. Of very many only the keys of the whole are kept: the
    /// list of interfaces, and where traffic goes.
    bool keep(const ConfigurationKeys& changed);

    /// Tells what was kept. Called on the main queue.
    void tell();

private:
    ConfigurationWatch() = default;

    bool isWatched(const std::string& key) const;

    std::vector<std::string> keys_;
    std::vector<std::regex> patterns_;
    Block block_;
    std::mutex mutex_;
    ConfigurationKeys kept_;
};

}  // namespace hvk
