// ProcessFamilies.h - the rules of the families: which process is the head of another.
//
// A helper counts as part of the service or application that it helps; what a person started from a shell does not
// count as part of the terminal. Names are compared exactly, letter case included. Thread: the sampling thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKStatistics/processes/StatisticsProcessList.h"

namespace hvk {

/// No place in a list.
inline constexpr std::size_t NoProcess = std::numeric_limits<std::size_t>::max();

/// What a name says; bits of `StatisticsProcessItem::familyRules`.
enum ProcessFamilyRule : std::uint32_t {
    ProcessFamilyRuleKnown = 1,                 ///< the name was looked at
    ProcessFamilyRuleOfSpotlight = 2,           ///< an indexer: hangs under Spotlight
    ProcessFamilyRuleOfNotificationCenter = 4,  ///< a notification service
    ProcessFamilyRuleOfSafari = 8,              ///< a service of the same user's Safari
    ProcessFamilyRuleAlone = 16,                ///< never hangs under anything
    ProcessFamilyRuleTakesAnyParent = 32,       ///< "sh": joins whatever started it
    ProcessFamilyRuleAbsorbsNothing = 64,  ///< a shell, interpreter or launcher: what it starts is a row of its own
};

/// The rules for the name of an item; remembered on it.
HVK_EXPORT std::uint32_t familyRules(StatisticsProcessItem& item);

/// The processes that services hang under, as places in a list.
class HVK_EXPORT ProcessFamilies {
public:
    /// Looks for them in one pass over the list; what it needs is kept for the next time.
    void find(const StatisticsProcessList& processes);

    /// The first process whose type has bit 4. One that is itself an indexer comes after all that are not, so that the
    /// indexers gather under the application. `NoProcess` when there is none, like the others.
    std::size_t spotlight() const { return spotlight_; }

    /// The first whose type has bit 64.
    std::size_t notificationCenter() const { return notificationCenter_; }

    /// The first whose type has bit 8 and whose user is `user`. Logarithmic.
    std::size_t safari(std::uint32_t user) const;

    /// What the process at `index` hangs under: a service's head, or its `familyParent`; nothing for the kernel and
    /// launchd.
    std::size_t headOf(const StatisticsProcessList& processes, std::size_t index) const;

private:
    std::size_t spotlight_ = NoProcess;
    std::size_t notificationCenter_ = NoProcess;
    std::vector<std::pair<std::uint32_t, std::size_t>> safaris_;  ///< by user, then by place
};

/// The process that started the item, else the one responsible for it, when that one takes the item into its family:
/// neither may be the item itself, the kernel, launchd or unreadable, and shells, interpreters and launchers take only
/// "sh". `NoProcess` for a row of its own.
HVK_EXPORT std::size_t familyParent(const StatisticsProcessList& processes, StatisticsProcessItem& item);

}  // namespace hvk
