#include "HVKStatistics/processes/ProcessFamilies.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

namespace hvk {

namespace {

using Names = std::span<const std::string_view>;

constexpr std::string_view Indexers[] = {"mdbulkimport",        "mds",
                                         "mds_stores",          "mdsync",
                                         "mdworker_shared",     "mdworker",
                                         "corespotlightd",      "CoreSpotlightService",
                                         "spotlightknowledged", "SpotlightAggregator"};
constexpr std::string_view NotificationServices[] = {"usernoted", "usernotificationsd"};
constexpr std::string_view SafariServices[] = {"com.apple.Safari.SafeBrowsing.Service", "com.apple.Safari.History"};
constexpr std::string_view Shells[] = {"debugserver", "sh",  "sudo", "login", "bash", "csh",
                                       "zsh",         "ksh", "tcsh", "fish",  "node"};
constexpr std::string_view Interpreters[] = {"ruby", "perl"};
constexpr std::string_view Launcher = "xpcproxy";

bool isAmong(Names names, std::string_view name) { return std::find(names.begin(), names.end(), name) != names.end(); }

bool containsInLowerCase(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(), [](char letter, char wanted) {
               return (letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter) == wanted;
           }) != text.end();
}

std::uint32_t rulesOfName(std::string_view name) {
    std::uint32_t rules = ProcessFamilyRuleKnown;
    if (isAmong(Indexers, name)) rules |= ProcessFamilyRuleOfSpotlight;
    if (isAmong(NotificationServices, name)) rules |= ProcessFamilyRuleOfNotificationCenter;
    if (isAmong(SafariServices, name)) rules |= ProcessFamilyRuleOfSafari;
    if (name == "powermetrics" || name.starts_with("nginx")) rules |= ProcessFamilyRuleAlone;
    if (name == "sh") rules |= ProcessFamilyRuleTakesAnyParent;
    const bool isInterpreter = std::any_of(std::begin(Interpreters), std::end(Interpreters),
                                           [name](std::string_view one) { return name.starts_with(one); });
    if (isInterpreter || isAmong(Shells, name) || containsInLowerCase(name, Launcher))
        rules |= ProcessFamilyRuleAbsorbsNothing;
    return rules;
}

bool startsEverything(const StatisticsProcessItem& item) {
    return item.type == StatisticsProcessTypeKernel || item.type == StatisticsProcessTypeLaunchd;
}

/// The place of a process that may have `item` in its family at all.
std::size_t candidate(const StatisticsProcessList& processes, std::int32_t pid, const StatisticsProcessItem& item) {
    const std::size_t index = processes.indexOf(pid);
    if (index == processes.size()) return NoProcess;
    const StatisticsProcessItem& found = *processes[index];
    return found.pid == item.pid || startsEverything(found) || !found.readable ? NoProcess : index;
}

}  // namespace

std::uint32_t familyRules(StatisticsProcessItem& item) {
    if (item.familyRules == 0) item.familyRules = rulesOfName(item.name);
    return item.familyRules;
}

void ProcessFamilies::find(const StatisticsProcessList& processes) {
    spotlight_ = notificationCenter_ = NoProcess;
    safaris_.clear();
    std::size_t indexer = NoProcess;
    for (std::size_t index = 0; index < processes.size(); ++index) {
        StatisticsProcessItem& item = *processes[index];
        if ((item.type & StatisticsProcessTypeSpotlight) != 0) {
            std::size_t& first = (familyRules(item) & ProcessFamilyRuleOfSpotlight) != 0 ? indexer : spotlight_;
            first = std::min(first, index);
        }
        if ((item.type & StatisticsProcessTypeNotificationCenter) != 0)
            notificationCenter_ = std::min(notificationCenter_, index);
        if ((item.type & StatisticsProcessTypeSafari) != 0) safaris_.emplace_back(item.user, index);
    }
    if (spotlight_ == NoProcess) spotlight_ = indexer;
    std::sort(safaris_.begin(), safaris_.end());
}

std::size_t ProcessFamilies::safari(std::uint32_t user) const {
    const auto place = std::lower_bound(safaris_.begin(), safaris_.end(), std::pair(user, std::size_t{0}));
    return place == safaris_.end() || place->first != user ? NoProcess : place->second;
}

std::size_t ProcessFamilies::headOf(const StatisticsProcessList& processes, std::size_t index) const {
    StatisticsProcessItem& item = *processes[index];
    if (startsEverything(item)) return NoProcess;
    const std::uint32_t rules = familyRules(item);
    if ((rules & ProcessFamilyRuleOfSpotlight) != 0) return spotlight_;
    if ((rules & ProcessFamilyRuleOfNotificationCenter) != 0) return notificationCenter_;
    if ((rules & ProcessFamilyRuleOfSafari) != 0) return safari(item.user);
    return familyParent(processes, item);
}

std::size_t familyParent(const StatisticsProcessList& processes, StatisticsProcessItem& item) {
    std::size_t index = candidate(processes, item.parent, item);
    if (index == NoProcess) index = candidate(processes, item.controlling, item);
    const std::uint32_t rules = familyRules(item);
    if (index == NoProcess || (rules & ProcessFamilyRuleAlone) != 0) return NoProcess;
    if ((rules & ProcessFamilyRuleTakesAnyParent) != 0) return index;
    return (familyRules(*processes[index]) & ProcessFamilyRuleAbsorbsNothing) != 0 ? NoProcess : index;
}

}  // namespace hvk
